# SPDX-License-Identifier: Apache-2.0
"""What assistive technology is told about a program's windows: AT-SPI over its bus, asked anew each time.

Not through libatspi (gir1.2-atspi-2.0), which calls the program again from inside its handler of the program's signals and
then waits for itself for ever (2.46)."""

from gi.repository import Gio, GLib

ROOT = "/org/a11y/atspi/accessible/root"
ACCESSIBLE = "org.a11y.atspi.Accessible"
SHOWING, SENSITIVE = 25, 24
LABELLED_BY = 2
TIMEOUT = 10000  # milliseconds

# Roles of what a user can do something with or is shown a value by.
CONTROLS = {"push button", "toggle button", "check box", "combo box", "text", "password text", "list box", "list",
            "table", "tree table", "progress bar", "spin button", "slider", "radio button", "entry"}


def connect(address):
    flags = Gio.DBusConnectionFlags
    return Gio.DBusConnection.new_for_address_sync(
        address, flags.AUTHENTICATION_CLIENT | flags.MESSAGE_BUS_CONNECTION, None, None)


class Bus:
    """The accessibility bus of the desktop with this environment."""

    def __init__(self, environment):
        session = connect(environment["DBUS_SESSION_BUS_ADDRESS"])
        address = session.call_sync("org.a11y.Bus", "/org/a11y/bus", "org.a11y.Bus", "GetAddress", None, None, 0,
                                    10000, None).unpack()[0]
        self.connection = connect(address)

    def call(self, name, path, interface, method, arguments=None):
        return self.connection.call_sync(name, path, interface, method, arguments, None, 0, TIMEOUT, None).unpack()

    def announcements(self):
        """What programs have a screen reader say from now on; a function that gives all of it so far."""
        heard = []
        self.connection.signal_subscribe(None, "org.a11y.atspi.Event.Object", "Announcement", None, None, 0,
                                         lambda *event: heard.append(event[5].unpack()[3]))
        self.call("org.a11y.atspi.Registry", "/org/a11y/atspi/registry", "org.a11y.atspi.Registry", "RegisterEvent",
                  GLib.Variant("(sass)", ("object:announcement", [], "")))

        def said():
            while GLib.MainContext.default().iteration(False):
                pass
            return heard
        return said

    def application(self, pid):
        """The root of the process's tree, or None."""
        for node in Node(self, "org.a11y.atspi.Registry", ROOT).children():
            try:
                owner = self.call("org.freedesktop.DBus", "/", "org.freedesktop.DBus", "GetConnectionUnixProcessID",
                                  GLib.Variant("(s)", (node.bus_name,)))[0]
            except GLib.Error:
                continue
            if owner == pid:
                return node
        return None


class Node:
    def __init__(self, bus, bus_name, path):
        self._bus = bus
        self.bus_name = bus_name
        self.path = path

    def _call(self, interface, method, arguments=None):
        return self._bus.call(self.bus_name, self.path, interface, method, arguments)

    def _get(self, interface, name):
        return self._call("org.freedesktop.DBus.Properties", "Get", GLib.Variant("(ss)", (interface, name)))[0]

    def children(self):
        return [Node(self._bus, *reference) for reference in self._call(ACCESSIBLE, "GetChildren")[0]]

    @property
    def name(self):
        return self._get(ACCESSIBLE, "Name")

    @property
    def description(self):
        """Of a control without one of its own, its tool tip."""
        return self._get(ACCESSIBLE, "Description")

    @property
    def role(self):
        return self._call(ACCESSIBLE, "GetRoleName")[0]

    def has(self, state):
        words = self._call(ACCESSIBLE, "GetState")[0]
        return bool(words[state // 32] >> (state % 32) & 1)

    def is_named(self):
        if self.name.strip():
            return True
        return any(kind == LABELLED_BY and targets for kind, targets in self._call(ACCESSIBLE, "GetRelationSet")[0])

    @property
    def text(self):
        return self._call("org.a11y.atspi.Text", "GetText", GLib.Variant("(ii)", (0, -1)))[0]

    def extents(self, of_window=False):
        """On the screen or in the window: x, y, width, height."""
        return self._call("org.a11y.atspi.Component", "GetExtents", GLib.Variant("(u)", (of_window,)))[0]

    def middle(self):
        x, y, width, height = self.extents()
        return x + width // 2, y + height // 2

    def walk(self, cells=False):
        """This node and all that are shown below it, as they are met; a table's cells, which may be many, on demand.
        What goes meanwhile is left out."""
        try:
            yield self
            below = self.children() if cells or "table" not in self.role else []
        except GLib.Error:
            return
        for child in below:
            try:
                shown = child.has(SHOWING)
            except GLib.Error:
                continue
            if shown:
                yield from child.walk(cells)

    def find(self, role=None, name=None):
        """The first shown node below with this role and name, or None."""
        for node in self.walk(cells=role == "table cell"):
            try:
                if node is not self and (role is None or node.role == role) and (name is None or node.name == name):
                    return node
            except GLib.Error:
                continue
        return None

    def outline(self):
        """Role and name of everything shown, for comparison and for messages."""
        result = []
        for node in self.walk():
            try:
                result.append((node.role, node.name))
            except GLib.Error:
                continue
        return result

    def nameless_controls(self):
        return [node.role for node in self.walk() if node.role in CONTROLS and not node.is_named()]
