#!/usr/bin/python3
"""Desktops without an X11 tray: a StatusNotifierWatcher, or nothing."""

import os
import unittest

from client import Flow, catalog, plain
from desktop import wait_for
from desktopservices import StatusNotifierWatcher

EN = catalog("en")


class WithoutTrayTest(Flow):
    tray = False

    def watcher(self):
        watcher = StatusNotifierWatcher(self.desktop.environment["DBUS_SESSION_BUS_ADDRESS"])
        self.addCleanup(watcher.close)
        return watcher

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
        watcher.click(0)
        client.dialog(plain(texts["SETTINGS_TITLE"]))
        self.desktop.screenshot("notifier-settings-fr")
        self.desktop.key("Escape")
        wait_for(lambda: not client.window(plain(texts["SETTINGS_TITLE"])), what="settings closed")

        watcher.close()
        restarted = self.watcher()
        wait_for(lambda: restarted.items, what="registration at the watcher that came anew")
        self.assertEqual(restarted.items, watcher.items)
        restarted.click(-1)
        client.wait_for_end(2)
        wait_for(lambda: restarted.items[0][0] in restarted.gone, what="item gone")

    def test_without_any_tray_there_is_a_window_with_the_commands(self):
        client = self.session()
        window = client.dialog("NebrixClient", "frame")
        wait_for(lambda: any("192.0.2." in node.name for node in window.walk()), what="status in the window")
        buttons = [node.name for node in window.walk() if node.role == "push button"]
        self.assertEqual(buttons, [plain(EN["MENU_SETTINGS"]), plain(EN["MENU_LOGS"]), "About", "Quit"])
        self.assertEqual(window.nameless_controls(), [])
        self.desktop.screenshot("no-tray")
        self.assertIn(client.window("NebrixClient").id, self.desktop.task_list())
        # A tray that comes later takes the window's place.
        watcher = self.watcher()
        wait_for(lambda: watcher.items, what="registration")
        wait_for(lambda: not client.window("NebrixClient"), what="window gone")
        watcher.close()
        window = client.dialog("NebrixClient", "frame")
        self.desktop.click(window.find("push button", "Quit"))
        client.wait_for_end(2)

    def test_without_a_session_bus_there_is_the_window_and_still_no_bus(self):
        client = self.session(wrapper=["env", "-u", "DBUS_SESSION_BUS_ADDRESS"])
        wait_for(lambda: client.window("NebrixClient"), what="window with the commands")
        self.assertFalse(os.path.exists(os.path.join(client.home.path, ".dbus")), "a bus that was started for the client")


class DarkThemeTest(Flow):
    gtk_settings = "gtk-application-prefer-dark-theme=1\n"

    def test_pictures_in_the_dark_theme(self):
        client = self.session(language="de")
        wait_for(lambda: any("192.0.2." in text for text in client.texts()), what="connected")
        client.open_menu()
        self.desktop.screenshot("dark-menu-de")
        self.desktop.key("Escape")
        wait_for(lambda: not client.application().find("menu"), what="menu closed")
        client.choose(plain(catalog("de")["MENU_SETTINGS"]))
        client.dialog(plain(catalog("de")["SETTINGS_TITLE"]))
        self.desktop.screenshot("dark-settings-de")


if __name__ == "__main__":
    unittest.main(verbosity=0)
