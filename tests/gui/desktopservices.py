# SPDX-License-Identifier: Apache-2.0
"""What a desktop offers on its session bus, as far as the client uses it: a StatusNotifierWatcher and a session manager.
Neither shows anything; both act as the user would."""

import threading

from accessible import connect
from gi.repository import Gio, GLib

ITEM = "org.kde.StatusNotifierItem"
MENU = "com.canonical.dbusmenu"
BUS = "org.freedesktop.DBus"
TIMEOUT = 5000  # milliseconds
NO_ANSWER = object()


class Service:
    """Owns a name on the bus with this address until it is closed, which looks like a crash. Answers from a thread of its
    own; everything else belongs to the test's thread and waits for its answer. A method M is answered by `on_M`."""

    name = path = interface = ""

    def __init__(self, address):
        self.gone = []  # bus names of programs that have left the bus
        self._address = address
        self._ready = threading.Event()
        self._thread = threading.Thread(target=self._run, daemon=True)
        self._thread.start()
        assert self._ready.wait(TIMEOUT / 1000)

    def _run(self):
        context = GLib.MainContext()
        context.push_thread_default()
        self._loop = GLib.MainLoop(context)
        self.connection = connect(self._address)
        for interface in Gio.DBusNodeInfo.new_for_xml(f"<node>{self.interface}</node>").interfaces:
            self.connection.register_object(self.path, interface, self._method, self._property, None)
        self.connection.signal_subscribe(BUS, BUS, "NameOwnerChanged", None, None, 0, self._owner_changed)
        self.call(BUS, "/", BUS, "RequestName", GLib.Variant("(su)", (self.name, 0)))
        self._ready.set()
        self._loop.run()
        self.connection.close_sync(None)

    def close(self):
        self._loop.quit()
        self._thread.join()

    def _method(self, _connection, sender, _path, _interface, method, arguments, invocation):
        result = getattr(self, "on_" + method)(sender, *arguments.unpack())
        if result is not NO_ANSWER:
            invocation.return_value(result)

    def _property(self, _connection, _sender, _path, _interface, name):
        return getattr(self, "get_" + name)()

    def _owner_changed(self, _connection, _sender, _path, _interface, _signal, arguments):
        name, _, owner = arguments.unpack()
        if not owner:
            self.gone.append(name)

    def call(self, service, path, interface, method, arguments):
        flags = Gio.DBusCallFlags.NO_AUTO_START
        return self.connection.call_sync(service, path, interface, method, arguments, None, flags, TIMEOUT,
                                         None).unpack()


class StatusNotifierWatcher(Service):
    """Its own host. `forgets`: how many registrations it answers and does not list."""

    name = "org.kde.StatusNotifierWatcher"
    path = "/StatusNotifierWatcher"
    interface = """
        <interface name="org.kde.StatusNotifierWatcher">
          <method name="RegisterStatusNotifierItem"><arg name="service" type="s" direction="in"/></method>
          <property name="IsStatusNotifierHostRegistered" type="b" access="read"/>
          <property name="RegisteredStatusNotifierItems" type="as" access="read"/>
        </interface>"""

    def __init__(self, address, forgets=0):
        self.items = []  # (bus name, object path), as they registered
        self.forgets = forgets
        super().__init__(address)

    def on_RegisterStatusNotifierItem(self, sender, service):
        """The argument is a bus name, or an object path of the sender."""
        if self.forgets:
            self.forgets -= 1
        else:
            self.items.append((sender, service) if service.startswith("/") else (service, "/StatusNotifierItem"))

    def get_IsStatusNotifierHostRegistered(self):
        return GLib.Variant("b", True)

    def get_RegisteredStatusNotifierItems(self):
        return GLib.Variant("as", [service + "@" + path for service, path in self.items])

    def call_item(self, method, place=(400, 300)):
        """As hosts do for a click; None for a method that the item refuses."""
        try:
            return self.call(*self.items[-1], ITEM, method, GLib.Variant("(ii)", place))
        except GLib.Error:
            return None

    def item(self):
        """The properties of the item that registered last."""
        service, path = self.items[-1]
        return self.call(service, path, BUS + ".Properties", "GetAll", GLib.Variant("(s)", (ITEM,)))[0]

    def _call_menu(self, method, arguments):
        return self.call(self.items[-1][0], self.item()["Menu"], MENU, method, arguments)

    def menu(self):
        """The entries of that item's menu: number and properties."""
        _, (_, _, entries) = self._call_menu("GetLayout", GLib.Variant("(iias)", (0, -1, [])))
        return [(number, values) for number, values, _ in entries]

    def click(self, entry):
        number, _ = self.menu()[entry]
        self._call_menu("Event", GLib.Variant("(isvu)", (number, "clicked", GLib.Variant("i", 0), 0)))


class HangingWatcher(Service):
    """Has the watcher's name, and answers nothing."""

    name = StatusNotifierWatcher.name
    path = StatusNotifierWatcher.path
    interface = """
        <interface name="org.freedesktop.DBus.Properties">
          <method name="Get"><arg type="s" direction="in"/><arg type="s" direction="in"/></method>
        </interface>"""

    def on_Get(self, *_):
        return NO_ANSWER


class SessionManager(Service):
    """GNOME's protocol: a client is asked whether the session may end, then told that it does, and answers both. One
    client; what else of the desktop registers is left alone."""

    name = "org.gnome.SessionManager"
    path = "/org/gnome/SessionManager"
    client = "org.gnome.SessionManager.ClientPrivate"
    interface = f"""
        <interface name="{name}">
          <method name="RegisterClient">
            <arg type="s" direction="in"/><arg type="s" direction="in"/><arg type="o" direction="out"/>
          </method>
        </interface>
        <interface name="{client}">
          <method name="EndSessionResponse"><arg type="b" direction="in"/><arg type="s" direction="in"/></method>
        </interface>"""

    def __init__(self, address):
        self.registered = False
        self.answers = []
        super().__init__(address)

    def on_RegisterClient(self, _sender, application, _startup):
        if application != "nebrixclient":
            return GLib.Variant("(o)", (self.path + "/Other",))
        self.registered = True
        return GLib.Variant("(o)", (self.path,))

    def on_EndSessionResponse(self, _sender, ready, _reason):
        self.answers.append(ready)

    def tell(self, signal):
        self.connection.emit_signal(None, self.path, self.client, signal, GLib.Variant("(u)", (0,)))
