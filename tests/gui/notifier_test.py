#!/usr/bin/python3
# SPDX-License-Identifier: Apache-2.0
"""Desktops with a StatusNotifierWatcher, whatever it is like, or with no tray at all, and trays that come and go."""

import os
import time
import unittest

from client import Flow, catalog, plain
from desktop import wait_for
from desktopservices import HangingWatcher, StatusNotifierWatcher

DE = catalog("de")


class TrayTest(Flow):
    def watcher(self, kind=StatusNotifierWatcher, **options):
        watcher = kind(self.desktop.environment["DBUS_SESSION_BUS_ADDRESS"], **options)
        self.addCleanup(watcher.close)
        return watcher


class WithoutTrayTest(TrayTest):
    tray = False

    def test_the_icon_is_at_the_watcher(self):
        watcher = self.watcher()
        client = self.session(language="fr")
        wait_for(lambda: watcher.items, what="registration")
        item = watcher.item()
        self.assertEqual(item["ToolTip"][2], "TarnClient")
        self.assertIn((24, 24, 24 * 24 * 4), [(width, height, len(data)) for width, height, data in item["IconPixmap"]])
        texts = catalog("fr")
        self.assertEqual([entry.get("label", entry.get("type", "")).replace("_", "") for _, entry in watcher.menu()],
                         [plain(texts["MENU_SETTINGS"]), plain(texts["MENU_LOGS"]), "separator", "À propos", "Quitter"])
        self.assertEqual(["icon-data" in entry for _, entry in watcher.menu()], [True, True, False, True, True])
        watcher.click(0)
        client.dialog(plain(texts["SETTINGS_TITLE"]))
        wait_for(lambda: [entry["enabled"] for _, entry in watcher.menu() if "label" in entry] == [False] * 3 + [True],
                 what="entries that would open a window, shown as unavailable")
        self.desktop.key("Escape")
        wait_for(lambda: not client.window(plain(texts["SETTINGS_TITLE"])), what="settings closed")
        # A window that looked older than what was last typed into would not get the keyboard.
        for entry, title in enumerate(("SETTINGS_TITLE", "LOG_TITLE")):
            now = self.desktop.server_time()
            watcher.click(entry)
            window = wait_for(lambda t=title: client.window(plain(texts[t])), what=title)
            self.assertGreaterEqual(window.property("_NET_WM_USER_TIME"), [now])
            self.desktop.key("Escape")
            wait_for(lambda t=title: not client.window(plain(texts[t])), what=title + " closed")

        watcher.close()
        restarted = self.watcher()
        wait_for(lambda: restarted.items, what="registration at the watcher that came anew")
        self.assertEqual(restarted.items, watcher.items)
        restarted.click(-1)
        client.wait_for_end(2)
        wait_for(lambda: restarted.items[0][0] in restarted.gone, what="item gone")

    def test_after_three_seconds_without_an_answer_or_a_place_in_the_list_the_window_comes(self):
        for kind, options in ((HangingWatcher, {}), (StatusNotifierWatcher, {"forgets": 1000})):
            with self.subTest(kind=kind.__name__):
                watcher = self.watcher(kind, **options)
                client = self.session()
                wait_for(lambda c=client: c.window("NebrixClient"), 4.5, "window with the commands")
                self.assertGreater(time.monotonic() - client.begun, 2.5)
                watcher.forgets = 0
                if options:
                    wait_for(lambda c=client: not c.window("NebrixClient"), 10, "window gone with the item in the list")
                watcher.close()
                client.end()

    def test_without_any_tray_there_is_one_window_with_the_commands(self):
        client = self.session(language="de")
        window = client.dialog("NebrixClient", "frame")
        wait_for(lambda: any("192.0.2." in node.name for node in window.walk()), what="status in the window")
        buttons = [node.name for node in window.walk() if node.role == "push button"]
        self.assertEqual(buttons, [plain(DE["MENU_SETTINGS"]), plain(DE["MENU_LOGS"]), "Über", "Beenden"])
        self.assertEqual(window.nameless_controls(), [])
        self.assertIsNone(client.panel())
        self.assertIn(client.window("NebrixClient").id, self.desktop.task_list())
        # A tray that comes later takes the window's place.
        watcher = self.watcher()
        wait_for(lambda: watcher.items, what="registration")
        wait_for(lambda: not client.window("NebrixClient") and client.panel(), what="panel again")
        watcher.close()
        window = client.dialog("NebrixClient", "frame")
        self.desktop.click(window.find("push button", "Beenden"))
        client.wait_for_end(2)

    def test_without_a_session_bus_there_is_the_window_and_still_no_bus(self):
        client = self.session(wrapper=["env", "-u", "DBUS_SESSION_BUS_ADDRESS"])
        wait_for(lambda: client.window("NebrixClient"), what="window with the commands")
        self.assertFalse(os.path.exists(os.path.join(client.home.path, ".dbus")), "a bus that was started for the client")


class WithTrayTest(TrayTest):
    def test_a_watcher_goes_first_and_the_tray_takes_its_place(self):
        watcher = self.watcher()
        client = self.session()
        wait_for(lambda: watcher.items, what="registration")
        self.assertIsNone(client.tray_icon())
        watcher.close()
        client.wait_for_tray_icon()
        self.watcher()
        wait_for(lambda: not client.tray_icon(), what="one icon again")

    def test_a_tray_that_crashes_takes_the_icon_with_it_and_not_the_program(self):
        client = self.session()
        for _ in range(3):
            client.wait_for_tray_icon()
            self.desktop.bar.kill()
            wait_for(lambda: client.window("NebrixClient"), what="window in place of the tray")
            self.desktop.bar = self.desktop.start_bar()
            self.desktop.bar_windows = self.desktop.windows(self.desktop.bar.pid)
            wait_for(lambda: not client.window("NebrixClient"), what="window gone")
        client.choose("Quit")
        self.assertEqual(client.wait_for_end(), 0)


if __name__ == "__main__":
    unittest.main(verbosity=0)
