"""A StatusNotifierWatcher that is its own host: shows nothing, and acts as the user would."""

import threading

from accessible import connect
from gi.repository import Gio, GLib

WATCHER = "org.kde.StatusNotifierWatcher"
ITEM = "org.kde.StatusNotifierItem"
MENU = "com.canonical.dbusmenu"
BUS = "org.freedesktop.DBus"
TIMEOUT = 5000  # milliseconds

INTERFACE = """
<node><interface name="org.kde.StatusNotifierWatcher">
  <method name="RegisterStatusNotifierItem"><arg name="service" type="s" direction="in"/></method>
  <property name="IsStatusNotifierHostRegistered" type="b" access="read"/>
</interface></node>
"""


class StatusNotifierWatcher:
    """On the bus with this address until it is closed, which looks like a crash. Answers from a thread of its own;
    everything else belongs to the test's thread and waits for its answer."""

    def __init__(self, address):
        self.items = []  # (bus name, object path), as they registered
        self.gone = []  # bus names of items that have left the bus
        self._address = address
        self._ready = threading.Event()
        self._thread = threading.Thread(target=self._run, daemon=True)
        self._thread.start()
        assert self._ready.wait(TIMEOUT / 1000)

    def _run(self):
        context = GLib.MainContext()
        context.push_thread_default()
        self._loop = GLib.MainLoop(context)
        self._connection = connect(self._address)
        interface = Gio.DBusNodeInfo.new_for_xml(INTERFACE).interfaces[0]
        self._connection.register_object("/StatusNotifierWatcher", interface, self._register,
                                         lambda *_: GLib.Variant("b", True), None)
        self._connection.signal_subscribe(BUS, BUS, "NameOwnerChanged", None, None, 0, self._owner_changed)
        self._call(BUS, "/", BUS, "RequestName", GLib.Variant("(su)", (WATCHER, 0)))
        self._ready.set()
        self._loop.run()
        self._connection.close_sync(None)

    def close(self):
        self._loop.quit()
        self._thread.join()

    def _register(self, _connection, sender, _path, _interface, _method, arguments, invocation):
        """The argument is a bus name, or an object path of the sender."""
        argument = arguments.unpack()[0]
        self.items.append((sender, argument) if argument.startswith("/") else (argument, "/StatusNotifierItem"))
        invocation.return_value(None)

    def _owner_changed(self, _connection, _sender, _path, _interface, _signal, arguments):
        name, _, owner = arguments.unpack()
        if not owner:
            self.gone.append(name)

    def _call(self, service, path, interface, method, arguments):
        flags = Gio.DBusCallFlags.NO_AUTO_START
        return self._connection.call_sync(service, path, interface, method, arguments, None, flags, TIMEOUT,
                                          None).unpack()

    def item(self):
        """The properties of the item that registered last."""
        service, path = self.items[-1]
        return self._call(service, path, BUS + ".Properties", "GetAll", GLib.Variant("(s)", (ITEM,)))[0]

    def _call_menu(self, method, arguments):
        return self._call(self.items[-1][0], self.item()["Menu"], MENU, method, arguments)

    def menu(self):
        """The entries of that item's menu: number and properties."""
        _, (_, _, entries) = self._call_menu("GetLayout", GLib.Variant("(iias)", (0, -1, [])))
        return [(number, values) for number, values, _ in entries]

    def click(self, entry):
        number, _ = self.menu()[entry]
        self._call_menu("Event", GLib.Variant("(isvu)", (number, "clicked", GLib.Variant("i", 0), 0)))
