#!/usr/bin/python3
# SPDX-License-Identifier: Apache-2.0
"""The log window."""

import os
import re
import unittest

from accessible import SENSITIVE
from client import LOG, Flow, catalog, pattern, plain
from desktop import TIME_FACTOR, wait_for

EN = catalog("en")


class LogWindowTest(Flow):
    def open(self, language="en"):
        client = self.session(language=language)
        wait_for(lambda: any("192.0.2." in text for text in client.texts()), what="connected")
        client.choose(plain(catalog(language)["MENU_LOGS"]))
        return client, client.dialog(catalog(language)["LOG_TITLE"], "frame")

    @staticmethod
    def append(*texts):
        with open(LOG, "a", encoding="utf-8") as file:
            for text in texts:
                file.write(f"26-01-02 03:04:05.678 [gui-test] {text}\n")

    @staticmethod
    def number_of_lines(window):
        found = re.search(re.escape(EN["LOG_LINES %s"]).replace("%s", r"([\d.,]+)"), str(window.outline()))
        return int(re.sub(r"\D", "", found.group(1))) if found else 0

    @staticmethod
    def shown_lines(window):
        """The messages of the lines in view."""
        return [node.name for node in window.walk(cells=True) if node.role == "table cell" and node.name]

    def pasted_number(self, window):
        """Of the line that was copied from the long log: all its cells would take minutes to ask for."""
        self.desktop.key("ctrl+f", "ctrl+v")
        return int((re.findall(r"Test\.long (\d+)", window.find("text").text) or [0])[0])

    def wait_for_line(self, window, text, shown=True):
        wait_for(lambda: any(text in line for line in self.shown_lines(window)) == shown,
                 what=f"{text!r} {'in' if shown else 'out of'} view")

    def test_it_follows_finds_filters_and_saves(self):
        client, window = self.open()
        self.assertEqual(window.nameless_controls(), [])
        self.wait_for_line(window, "Module loaded")
        self.append("TRACE Test.follow first marker", "WARNING Test.follow lonely warning",
                    *(f"TRACE Test.follow filler {number}" for number in range(40)), "TRACE Test.follow newest marker")
        self.wait_for_line(window, "newest marker")

        self.desktop.key("ctrl+f")
        self.desktop.type("first marker")
        self.desktop.key("Return")
        self.wait_for_line(window, "first marker")
        self.desktop.key("ctrl+f", "ctrl+a")
        self.desktop.type("nowhere to be found")
        self.desktop.key("F3")
        wait_for(lambda: window.find("label", EN["LOG_NOT_FOUND"]), what="not found")

        choice = window.find("combo box")
        self.desktop.click(choice)
        self.desktop.click(wait_for(lambda: client.application().find("menu item", "WARNING"), what="category"))
        self.wait_for_line(window, "lonely warning")
        self.assertFalse([line for line in self.shown_lines(window) if "marker" in line])
        self.assertIn("\u26a0 WARNING", self.shown_lines(window), "marked by a sign too")
        self.desktop.screenshot("log-filtered")
        x, y = next(node for node in window.walk(cells=True) if "lonely warning" in node.name).middle()
        for place in ((x, y), (x + 3, y)):
            self.desktop.move_mouse(*place)
        wait_for(lambda: any(w.shown and y < w.rect[1] < y + 40 for w in client.windows()), what="the row's tip below it")
        self.desktop.screenshot("log-tip")

        target = os.path.join(client.home.path, "saved.log")
        self.desktop.click(window.find("push button", plain(EN["LOG_SAVE_AS"])))
        wait_for(lambda: len([w for w in client.windows() if w.shown and w.title]) > 1, what="file dialog")
        wait_for(lambda: client.application().find("file chooser"), what="file dialog")
        self.desktop.key("ctrl+a")
        self.desktop.type(target)
        self.desktop.key("Return")
        wait_for(lambda: window.find("label", EN["LOG_SAVED %s"].replace("%s", target)), what="saved")
        with open(target, encoding="utf-8") as saved, open(LOG, encoding="utf-8") as log:
            self.assertEqual(saved.read(), log.read()[:os.path.getsize(target)])
        self.desktop.key("Escape")
        wait_for(lambda: not client.window(EN["LOG_TITLE"]), what="log window closed")

    def test_a_long_log_is_not_loaded_whole(self):
        client = self.session()
        wait_for(lambda: any("192.0.2." in text for text in client.texts()), what="connected")
        with open(f"/proc/{client.pid}/statm", encoding="ascii") as memory:
            before = int(memory.read().split()[1])
            with open(LOG, "rb") as log:
                written = len(log.readlines())
            self.append(*(f"TRACE Test.long {n} " + "a line of a long log " * 5 for n in range(200000)))  # 30 MB
            client.choose(plain(EN["MENU_LOGS"]))
            window = client.dialog(EN["LOG_TITLE"], "frame")
            wait_for(lambda: (b := window.find("push button", plain(EN["LOG_EARLIER"]))) and b.has(SENSITIVE),
                     what="earlier lines to be had")
            self.assertLess(self.number_of_lines(window), 100000)
            memory.seek(0)
            self.assertLess((int(memory.read().split()[1]) - before) * 4096 / TIME_FACTOR, 30e6)
        shown = self.number_of_lines(window)
        self.desktop.click(window.find("push button", plain(EN["LOG_EARLIER"])))
        wait_for(lambda: self.number_of_lines(window) > shown, what="earlier lines")
        # The file is searched whole, and what is found loaded.
        self.desktop.key("ctrl+f")
        self.desktop.type("MODULE LOADED\n")
        found = wait_for(lambda: re.search(pattern(EN["LOG_FOUND %s"]).replace(".+", r"(\d+)"), str(window.outline())),
                         what="found")
        self.assertLessEqual(int(found.group(1)), written)
        self.assertGreater(self.number_of_lines(window), shown + 10000, "other lines are held")
        later = window.find("push button", plain(EN["LOG_LATER"]))
        seen = 0
        for _ in range(2):
            wait_for(lambda: later.has(SENSITIVE), what="later lines to be had")
            self.desktop.click(later)  # which gives the list the focus
            self.desktop.key("End", "ctrl+c")
            seen = wait_for(lambda: (n := self.pasted_number(window)) > seen and n, what=f"lines behind {seen}")
        self.desktop.click(window.find("check box", plain(EN["LOG_FOLLOW"])))
        wait_for(lambda: self.number_of_lines(window) <= shown, what="back at the end")
        held = self.number_of_lines(window)
        self.append("TRACE Test.long newest marker")
        wait_for(lambda: self.number_of_lines(window) == held + 1, what="following")


if __name__ == "__main__":
    unittest.main(verbosity=0)
