# SPDX-License-Identifier: Apache-2.0
"""A session manager of the X Session Management Protocol for one client, on the system's own libSM."""

import ctypes
import select
import threading

SM, ICE = ctypes.CDLL("libSM.so.6"), ctypes.CDLL("libICE.so.6")
ICE.IceComposeNetworkIdList.restype = ICE.IceAcceptConnection.restype = ctypes.c_void_p
Callback = ctypes.CFUNCTYPE(ctypes.c_int, *[ctypes.c_void_p] * 4)
REGISTER, SAVED, CALLBACKS = 0, 5, 10  # places in libSM's table, and its length


class XSessionManager:
    def __init__(self):
        self.saved = 0  # times that the client has said so, first when it registers
        self._yes = Callback(lambda *_: 1)
        self._known = {REGISTER: Callback(self._register), SAVED: Callback(self._count)}
        self._welcome = Callback(self._take)
        error, ports, number = ctypes.create_string_buffer(200), ctypes.POINTER(ctypes.c_void_p)(), ctypes.c_int()
        assert SM.SmsInitialize(b"tests", b"1", self._welcome, None, self._yes, len(error), error), error.value
        assert ICE.IceListenForConnections(ctypes.byref(number), ctypes.byref(ports), len(error), error), error.value
        ICE.IceSetIOErrorHandler(self._yes)  # libICE's own ends the program with the client
        self.address = ctypes.string_at(ICE.IceComposeNetworkIdList(number, ports)).decode()
        self._ports = [ctypes.c_void_p(port) for port in ports[:number.value]]
        for port in self._ports:
            ICE.IceSetHostBasedAuthProc(port, self._yes)  # whoever comes
        threading.Thread(target=self._run, daemon=True).start()

    def _run(self):
        listening = {ICE.IceGetListenConnectionNumber(port): port for port in self._ports}
        port = listening[select.select(list(listening), [], [])[0][0]]
        connection = ctypes.c_void_p(ICE.IceAcceptConnection(port, ctypes.byref(ctypes.c_int())))
        while ICE.IceProcessMessages(connection, None, None) == 0:
            pass

    def _take(self, client, _data, mask, callbacks):
        self._client = ctypes.c_void_p(client)
        ctypes.cast(mask, ctypes.POINTER(ctypes.c_ulong))[0] = (1 << CALLBACKS) - 1
        table = ctypes.cast(callbacks, ctypes.POINTER(ctypes.c_void_p))  # function and data in turns
        for place in range(CALLBACKS):
            table[2 * place] = ctypes.cast(self._known.get(place, self._yes), ctypes.c_void_p)
        return 1

    def _register(self, *_):
        SM.SmsRegisterClientReply(self._client, b"the client")
        self.save(False)
        return 1

    def _count(self, *_):
        self.saved += 1
        return 1

    def save(self, before_the_end=True):
        SM.SmsSaveYourself(self._client, 1, before_the_end, 0, False)

    def end_client(self):
        SM.SmsDie(self._client)
