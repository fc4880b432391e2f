#!/usr/bin/python3
"""A StatusNotifierWatcher with a host, for tests: shows nothing, tells what it sees, and acts as the user would.

Runs on DBUS_SESSION_BUS_ADDRESS and needs no display. What happens is printed, one line each:

    ready                          the name is owned
    registered <service> <path>    an item came
    unregistered <service> <path>  an item went, or gave up its name
    changed <signal>               the item said so (NewIcon, NewToolTip, NewStatus)
    layout <revision>              the item's menu changed

Commands come on standard input, one a line; each is answered by one line of JSON, {"error": ...} when it failed. All
but the last are about the item that registered last:

    item         {"Id", "Title", "Status", "ToolTip": [title, text], "icons": [[width, height, bytes]], ...}
    menu         [[id, label, type, enabled, has icon], ...], sub-menus in line after their entry
    open         tells the menu that it is about to be shown, as hosts do; whether it said that it changed
    click <id>   clicks the menu's entry
    activate     what a left click does with a host that draws no menus
    contextmenu  the same for a right click
    items        all registered items: [[service, path], ...]
    quit         ends
"""

import json
import sys
import threading

import gi

gi.require_version("Gio", "2.0")
from gi.repository import Gio, GLib  # noqa: E402

WATCHER = "org.kde.StatusNotifierWatcher"
WATCHER_PATH = "/StatusNotifierWatcher"
ITEM = "org.kde.StatusNotifierItem"
MENU = "com.canonical.dbusmenu"
PROPERTIES = "org.freedesktop.DBus.Properties"
TIMEOUT_MILLISECONDS = 5000

INTERFACE = """
<node><interface name="org.kde.StatusNotifierWatcher">
  <method name="RegisterStatusNotifierItem"><arg name="service" type="s" direction="in"/></method>
  <method name="RegisterStatusNotifierHost"><arg name="service" type="s" direction="in"/></method>
  <property name="RegisteredStatusNotifierItems" type="as" access="read"/>
  <property name="IsStatusNotifierHostRegistered" type="b" access="read"/>
  <property name="ProtocolVersion" type="i" access="read"/>
  <signal name="StatusNotifierItemRegistered"><arg type="s"/></signal>
  <signal name="StatusNotifierItemUnregistered"><arg type="s"/></signal>
  <signal name="StatusNotifierHostRegistered"/>
  <signal name="StatusNotifierHostUnregistered"/>
</interface></node>
"""


class Item:
    """One registered item, seen from the host. Every question waits for its answer."""

    def __init__(self, connection, service, path):
        self.connection = connection
        self.service = service
        self.path = path

    def call(self, path, interface, method, arguments=None):
        answer = self.connection.call_sync(
            self.service, path, interface, method, arguments, None,
            Gio.DBusCallFlags.NO_AUTO_START, TIMEOUT_MILLISECONDS, None)
        return answer.unpack()

    def properties(self):
        return self.call(self.path, PROPERTIES, "GetAll", GLib.Variant("(s)", (ITEM,)))[0]

    def describe(self):
        values = self.properties()
        icons = [[width, height, len(data)] for width, height, data in values.pop("IconPixmap", [])]
        tool_tip = values.pop("ToolTip", ("", [], "", ""))
        return {**values, "ToolTip": [tool_tip[2], tool_tip[3]], "icons": icons}

    def menu_path(self):
        return self.properties()["Menu"]

    def menu(self):
        arguments = GLib.Variant("(iias)", (0, -1, []))
        _, root = self.call(self.menu_path(), MENU, "GetLayout", arguments)
        return [line for entry in root[2] for line in flattened(entry)]

    def open(self):
        return self.call(self.menu_path(), MENU, "AboutToShow", GLib.Variant("(i)", (0,)))[0]

    def click(self, entry):
        event = GLib.Variant("(isvu)", (entry, "clicked", GLib.Variant("i", 0), 0))
        self.call(self.menu_path(), MENU, "Event", event)

    def press(self, method):
        self.call(self.path, ITEM, method, GLib.Variant("(ii)", (0, 0)))


def flattened(entry):
    number, values, children = entry
    line = [number, values.get("label", ""), values.get("type", "standard"), values.get("enabled", True),
            bool(values.get("icon-data"))]
    return [line] + [below for child in children for below in flattened(child)]


class StatusNotifierWatcher:
    """Owns the watcher's name while started. `tell` is called with each line of news, from the main loop."""

    def __init__(self, tell, has_host=True):
        self.tell = tell
        self.has_host = has_host
        self.items = []
        self.followed = {}
        self.connection = None
        self.name = 0
        self.exported = 0

    def start(self):
        self.connection = Gio.bus_get_sync(Gio.BusType.SESSION, None)
        interface = Gio.DBusNodeInfo.new_for_xml(INTERFACE).interfaces[0]
        self.exported = self.connection.register_object(WATCHER_PATH, interface, self._method, self._property, None)
        self.name = Gio.bus_own_name_on_connection(
            self.connection, WATCHER, Gio.BusNameOwnerFlags.NONE, lambda *_: self.tell("ready"), None)

    def stop(self):
        """Forgets every item, as a watcher that crashes does."""
        Gio.bus_unown_name(self.name)
        self.connection.unregister_object(self.exported)
        for item in list(self.items):
            self._stop_following(item)
        self.items.clear()

    def set_host(self, has_host):
        self.has_host = has_host
        self._emit("StatusNotifierHostRegistered" if has_host else "StatusNotifierHostUnregistered", None)

    def item(self):
        if not self.items:
            raise LookupError("no item is registered")
        return self.items[-1]

    def answer(self, line):
        """What the command yields, as something that JSON can hold."""
        command, _, argument = line.strip().partition(" ")
        commands = {
            "item": lambda: self.item().describe(),
            "menu": lambda: self.item().menu(),
            "open": lambda: self.item().open(),
            "click": lambda: self.item().click(int(argument)),
            "activate": lambda: self.item().press("Activate"),
            "contextmenu": lambda: self.item().press("ContextMenu"),
            "items": lambda: [[item.service, item.path] for item in self.items],
        }
        try:
            return commands[command]()
        except KeyError:
            return {"error": f"unknown command {command}"}
        except (GLib.Error, LookupError, ValueError) as error:
            return {"error": str(error)}

    def _emit(self, signal, arguments):
        self.connection.emit_signal(None, WATCHER_PATH, WATCHER, signal, arguments)

    def _method(self, _connection, sender, _path, _interface, method, arguments, invocation):
        if method == "RegisterStatusNotifierItem":
            self._register(sender, arguments.unpack()[0])
        invocation.return_value(None)

    def _property(self, _connection, _sender, _path, _interface, name):
        values = {
            "RegisteredStatusNotifierItems": ("as", [item.service + item.path for item in self.items]),
            "IsStatusNotifierHostRegistered": ("b", self.has_host),
            "ProtocolVersion": ("i", 0),
        }
        return GLib.Variant(*values[name])

    def _register(self, sender, argument):
        """The argument is a bus name, or an object path of the sender. A second registration is told like the first."""
        service, path = (sender, argument) if argument.startswith("/") else (argument, "/StatusNotifierItem")
        item = Item(self.connection, service, path)
        self.items.append(item)
        self._follow(item)
        self._emit("StatusNotifierItemRegistered", GLib.Variant("(s)", (service + path,)))
        self.tell(f"registered {service} {path}")

    def _follow(self, item):
        watch = Gio.bus_watch_name_on_connection(
            self.connection, item.service, Gio.BusNameWatcherFlags.NONE, None, lambda *_: self._gone(item))
        signals = [self._subscribe(item, interface) for interface in (ITEM, MENU)]
        self.followed[item] = (watch, signals)

    def _subscribe(self, item, interface):
        return self.connection.signal_subscribe(
            item.service, interface, None, None, None, Gio.DBusSignalFlags.NONE, self._signal)

    def _signal(self, _connection, _sender, _path, interface, signal, arguments):
        if interface == ITEM:
            self.tell(f"changed {signal}")
        elif signal == "LayoutUpdated":
            self.tell(f"layout {arguments.unpack()[0]}")

    def _gone(self, item):
        self._stop_following(item)
        self.items.remove(item)
        self._emit("StatusNotifierItemUnregistered", GLib.Variant("(s)", (item.service + item.path,)))
        self.tell(f"unregistered {item.service} {item.path}")

    def _stop_following(self, item):
        watch, signals = self.followed.pop(item)
        Gio.bus_unwatch_name(watch)
        for signal in signals:
            self.connection.signal_unsubscribe(signal)


def main():
    loop = GLib.MainLoop()
    watcher = StatusNotifierWatcher(lambda line: print(line, flush=True))

    def answer(line):
        if line.strip() == "quit":
            loop.quit()
        else:
            print(json.dumps(watcher.answer(line)), flush=True)

    def read():
        for line in sys.stdin:
            GLib.idle_add(answer, line)
        GLib.idle_add(loop.quit)

    watcher.start()
    # A thread, because the input's buffer may hold lines that the main loop would not see.
    threading.Thread(target=read, daemon=True).start()
    loop.run()
    watcher.stop()


if __name__ == "__main__":
    main()
