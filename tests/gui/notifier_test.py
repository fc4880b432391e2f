#!/usr/bin/python3
"""Desktops without an X11 tray: a StatusNotifierWatcher, or nothing."""

import json
import os
import queue
import subprocess
import threading
import unittest

from client import HERE, Flow, catalog, plain
from desktop import wait_for

EN = catalog("en")


class Watcher:
    """The watcher as a process, whose answers and news are kept apart."""

    def __init__(self, desktop):
        self.process = desktop.start(["/usr/bin/python3", os.path.join(HERE, "statusnotifierwatcher.py")],
                                     stdin=subprocess.PIPE, stdout=subprocess.PIPE, text=True, bufsize=1)
        self.news = []
        self._answers = queue.Queue()
        threading.Thread(target=self._read, daemon=True).start()
        self.wait_for("ready")

    def _read(self):
        for line in self.process.stdout:
            if line.split()[0] in ("ready", "registered", "unregistered", "changed", "layout"):
                self.news.append(line.strip())
            else:
                self._answers.put(json.loads(line))

    def wait_for(self, start):
        wait_for(lambda: any(line.startswith(start) for line in self.news), what=f"{start!r} in {self.news}")

    def ask(self, command):
        self.process.stdin.write(command + "\n")
        return self._answers.get(timeout=10)

    def close(self):
        self.process.kill()
        self.process.wait()
        self.process.stdin.close()


class WithoutTrayTest(Flow):
    tray = False

    def watcher(self):
        watcher = Watcher(self.desktop)
        self.addCleanup(watcher.close)
        return watcher

    def test_the_icon_is_at_the_watcher(self):
        watcher = self.watcher()
        client = self.session(language="fr")
        watcher.wait_for("registered")
        item = watcher.ask("item")
        self.assertEqual(item["ToolTip"][0], "TarnClient")
        self.assertIn([24, 24, 24 * 24 * 4], item["icons"])
        texts = catalog("fr")
        menu = watcher.ask("menu")
        self.assertEqual([(plain(label.replace("_", "")), kind) for _, label, kind, _, _ in menu],
                         [(plain(texts["MENU_SETTINGS"]), "standard"), (plain(texts["MENU_LOGS"]), "standard"),
                          ("", "separator"), ("À propos", "standard"), ("Quitter", "standard")])
        watcher.ask(f"click {menu[0][0]}")
        client.dialog(plain(texts["SETTINGS_TITLE"]))
        self.desktop.screenshot("notifier-settings-fr")
        self.desktop.key("Escape")
        wait_for(lambda: not client.window(plain(texts["SETTINGS_TITLE"])), what="settings closed")

        watcher.close()
        restarted = self.watcher()
        restarted.wait_for("registered")
        self.assertEqual(len(restarted.ask("items")), 1)
        restarted.ask(f"click {restarted.ask('menu')[-1][0]}")
        client.wait_for_end(2)
        restarted.wait_for("unregistered")

    def test_without_any_tray_there_is_a_window_with_the_commands(self):
        client = self.session()
        window = client.dialog("NebrixClient")
        wait_for(lambda: any("192.0.2." in node.name for node in window.walk()), what="status in the window")
        buttons = [node.name for node in window.walk() if node.role == "push button"]
        self.assertEqual(buttons, [plain(EN["MENU_SETTINGS"]), plain(EN["MENU_LOGS"]), "About", "Quit"])
        self.assertEqual(window.nameless_controls(), [])
        self.desktop.screenshot("no-tray")
        self.assertIn(client.window("NebrixClient").id, self.desktop.task_list())
        # A tray that comes later takes the window's place.
        watcher = self.watcher()
        watcher.wait_for("registered")
        wait_for(lambda: not client.window("NebrixClient"), what="window gone")
        watcher.close()
        window = client.dialog("NebrixClient")
        self.desktop.click(window.find("push button", "Quit"))
        client.wait_for_end(2)


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
