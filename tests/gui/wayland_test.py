#!/usr/bin/python3
# SPDX-License-Identifier: Apache-2.0
"""A Wayland desktop whose bar speaks StatusNotifier: the program through XWayland, as people run it, and without."""

import os
import unittest

from client import BIN, LANGUAGES, WATCHED_ENVIRONMENT, Flow, Home, catalog, plain, status_list
from desktop import SCREEN, wait_for, wait_until_steady
from desktopservices import StatusNotifierWatcher
from waylanddesktop import BACKGROUND, Compositor, WaylandDesktop

EN = catalog("en")
RECORDER = os.path.join(BIN, "test-components", "libtest-plugin.so")
WAYS = {"natively": ("env", "-u", "DISPLAY"), "xwayland": ()}


class WaylandTest(Flow):
    tray = False
    make_desktop = WaylandDesktop
    gateway_options = ("--component", f"plugindll={RECORDER}")

    def setUp(self):
        super().setUp()
        self.watcher = StatusNotifierWatcher(self.desktop.environment["DBUS_SESSION_BUS_ADDRESS"])
        self.addCleanup(self.watcher.close)
        self.calls = os.path.join(self.desktop.directory, "calls")
        self.status = os.path.join(self.desktop.directory, "status")
        with open(self.status, "w", encoding="utf-8") as file:
            file.write(status_list("connected ip=192.0.2.7"))

    def connected(self, way, language="en", **env):
        """A client that tells its address on its panel."""
        env.update(NEBRIX_TEST_STATUS=self.status, NEBRIX_TEST_CALLS=self.calls + way)
        client = self.session(language=language, wrapper=WAYS[way], env=env)
        wait_for(lambda: any("192.0.2.7" in text for text in client.texts()), what="address")
        return client

    def click(self, look, what):
        """Clicks where it says: x, y, width and height of what has come to rest."""
        x, y, width, height = wait_until_steady(look, what)
        self.desktop.click((x + width // 2, y + height // 2))

    def press(self, client, title, name, role="push button"):
        """In the window with the keyboard; a program without X11 does not know where on the screen it is."""
        def place():
            window = next((node for node in client.application().children() if node.name == title), None)
            control = window and self.desktop.focus() == (client.pid, title) and window.find(role, name)
            if not control:
                return None
            x, y, width, height = control.extents(of_window=True)
            left, top, _, _ = client.window(title).rect
            return left + x, top + y, width, height
        self.click(place, f"{name} in {title}, with the keyboard: {self.desktop.focus()}")

    def check_end(self, client, way, status=0):
        self.assertEqual(client.wait_for_end(), status)
        with open(self.calls + way, encoding="utf-8") as file:
            self.assertIn("DllStop2", file.read())

    def test_the_panel_has_its_corner_and_not_the_keyboard(self):
        for way in WAYS:
            with self.subTest(way=way):
                other = self.start()
                wait_for(lambda o=other: self.desktop.focus() == (o.pid, EN["TarnClient"]), what="other window")
                client = self.connected(way)
                self.desktop.screenshot("wayland-panel-" + way)
                _, _, width, height = client.panel_node().extents()
                left, right = SCREEN[0] - width, SCREEN[0] - 2
                corners = [self.desktop.pixel(x, y) for x in (left, right) for y in (0, height - 1)]
                self.assertEqual(corners, [BACKGROUND] * 4)
                inside = [self.desktop.pixel(left + width // 2, y) for y in (5, height - 5)]
                self.assertNotIn(BACKGROUND, inside)
                self.desktop.key("Return")
                other.wait_for_end()
                self.desktop.click((left + width // 2, height - 5))
                wait_for(lambda c=client: not c.texts(), what="panel clicked away")
                client.process.terminate()
                self.check_end(client, way)

    def shown(self, client, name):
        """Where the menu entry is on the screen, once it is."""
        entry = client.application().find("menu item", name)
        return entry and self.desktop.pixel(*entry.middle()) != BACKGROUND and entry.extents()

    def test_the_menu_opens_closes_and_quits(self):
        client = self.connected("xwayland")
        wait_for(lambda: self.watcher.items, what="registration")
        self.assertIsNone(self.watcher.call_item("Activate"))  # so that the host opens it
        for method, place, close in (("ContextMenu", (400, 300), lambda: self.desktop.click((900, 700))),
                                     ("SecondaryActivate", (0, 0), lambda: self.desktop.key("Escape"))):
            self.watcher.call_item(method, place)
            wait_until_steady(lambda: self.shown(client, "Quit"), "menu")
            self.desktop.screenshot("wayland-menu-" + method)
            self.assertEqual(client.application().find("menu").extents()[:2] == place, place != (0, 0))
            close()
            wait_for(lambda: not client.application().find("menu"), what="menu closed")
        self.watcher.call_item("ContextMenu")
        self.click(lambda: self.shown(client, "Quit"), "menu")
        self.check_end(client, "xwayland")

    def test_without_xwayland_the_bar_has_the_menu_or_a_window_comes(self):
        client = self.connected("natively", **WATCHED_ENVIRONMENT)
        wait_for(lambda: self.watcher.items, what="registration")
        self.watcher.click(0)
        self.press(client, EN["SETTINGS_TITLE"], "Cancel")
        wait_for(lambda: not client.window(EN["SETTINGS_TITLE"]), what="settings closed")
        self.watcher.call_item("SecondaryActivate", (0, 0))
        wait_for(lambda: client.window("NebrixClient"), what="window with the commands")
        self.desktop.screenshot("wayland-commands")
        self.press(client, "NebrixClient", "Quit")
        self.check_end(client, "natively")

    def test_what_comes_by_itself_is_seen_and_answered(self):
        silent = self.start_faulty_gateway("--fault", "silent")
        waiting = {language: self.session(language=language, gateway=silent, wrapper=wrapper)
                   for language, wrapper in zip(LANGUAGES, WAYS.values())}
        for language, client in waiting.items():
            client.wait_for_text(catalog(language)["Loading"])
        for client in waiting.values():
            wait_for(lambda c=client: not c.texts(), what="panel hidden")
        unsigned = self.start_faulty_gateway("--fault", "wrong-signature")
        for way in WAYS:
            failed = self.session(gateway=unsigned, wrapper=WAYS[way])
            wait_for(lambda c=failed: self.desktop.focus() == (c.pid, EN["Error"]), what="fatal box")
            self.desktop.screenshot("wayland-fatal-" + way)
            self.desktop.key("Return")
            self.assertEqual(failed.wait_for_end(), 1)
            home = Home(self.desktop, [])
            client = self.start(self.gateway.mediation(), home=home, wrapper=WAYS[way])
            self.press(client, EN["Error"], plain(EN["CERTIFICATE_SHOW"]))
            self.press(client, EN["CERTIFICATE_TITLE"], plain(EN["CERTIFICATE_COMPARED"]), "check box")
            self.desktop.screenshot("wayland-certificate-" + way)
            self.press(client, EN["CERTIFICATE_TITLE"], plain(EN["CERTIFICATE_TRUST"]))
            wait_for(lambda h=home: os.path.exists(h.settings_path) and "<sha256>" in h.settings(), what="settings saved")
            self.assertEqual(client.end(), 0)
        for language, client in waiting.items():
            client.wait_for_text(catalog(language)["WAITING_FOR %s"] % silent.authority, 12)
            self.desktop.screenshot("wayland-waiting-" + language)
            self.assertEqual(client.end(), 0)

    def test_the_component_is_stopped_when_the_compositor_crashes(self):
        compositor = Compositor(self.desktop)
        clients = {way: self.connected(way, language, **compositor.environment)
                   for way, language in zip(WAYS, LANGUAGES)}
        compositor.process.kill()
        for way, client in clients.items():
            self.check_end(client, way, 1)


if __name__ == "__main__":
    unittest.main(verbosity=0)
