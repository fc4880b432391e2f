# SPDX-License-Identifier: Apache-2.0
"""The programs under test as a user meets them: the demo gateway, the desktop client in a home of its own, and the
texts of its catalogs."""

import glob
import json
import os
import re
import shutil
import signal
import subprocess
import sys
import time
import unittest

import accessible
import polib
from desktop import SCREEN, TIME_FACTOR, Desktop, wait_for, wait_until_steady

HERE = os.path.dirname(os.path.abspath(__file__))
SOURCE = os.path.dirname(os.path.dirname(HERE))
BIN = os.environ.get("NEBRIX_BIN", os.path.join(SOURCE, "build", "dev", "bin"))
# Ends a program that moves its environment's variables while it has threads.
WATCHED_ENVIRONMENT = {"LD_PRELOAD": os.path.join(BIN, "test-components", "libenvironmentwatch.so"),
                       "DESKTOP_STARTUP_ID": "tests_TIME1"}
LOG = "/tmp/nebrixclient.log"
LANGUAGES = sorted(os.path.basename(path)[:-3] for path in glob.glob(os.path.join(SOURCE, "lang", "*.po")))
LONGEST_GAP = 100 * TIME_FACTOR  # milliseconds
LONGEST_QUIT = 2.0 * TIME_FACTOR  # seconds


def catalog(language):
    """Every key with its text."""
    return {entry.msgid: entry.msgstr for entry in polib.pofile(os.path.join(SOURCE, "lang", language + ".po"))}


def pattern(text):
    """The text as a regular expression, with anything in place of its placeholders."""
    return re.escape(text).replace("%s", ".+")


def plain(label):
    """A label without its mnemonic."""
    return label.replace("&", "")


def status_list(*lines):
    """What a plug-in answers when it is polled."""
    return json.dumps([{"code": 5, "status": line} for line in lines]) + "\n"


class Gateway:
    def __init__(self, desktop, *options):
        self.process = desktop.start([os.path.join(BIN, "nebrix-demo-gateway"), *options], stdout=subprocess.PIPE,
                                     text=True, env={"TMPDIR": desktop.directory})
        self._urls = {}
        for line in self.process.stdout:
            words = line.split()
            if words[0] == "mediation":
                self._urls[words[1]] = words[2]
            elif words[0] == "listening":
                self.authority = words[1]
                return
        raise AssertionError("the gateway did not start")

    def mediation(self, component="plugindll", language="en", more=""):
        return self._urls[component].replace("lang=en", "lang=" + language) + more

    def close(self):
        self.process.terminate()
        self.process.wait()
        self.process.stdout.close()


class Home:
    """A home directory with a local configuration; None for none."""

    number = 0

    def __init__(self, desktop, domains=None):
        Home.number += 1
        self.path = os.path.join(desktop.directory, f"home{Home.number}")
        os.makedirs(self.path)
        os.symlink(desktop.gtk_config, os.path.join(self.path, ".config"))
        self.settings_path = os.path.join(self.path, ".Nebrix", "nebrixclient.xml")
        if domains is not None:
            os.makedirs(os.path.dirname(self.settings_path))
            entries = "".join(f"<domains>{domain}</domains>" for domain in domains)
            with open(self.settings_path, "w", encoding="utf-8") as file:
                file.write(f"<nebrixclient><sslcertignoredomains>{entries}</sslcertignoredomains></nebrixclient>")

    def settings(self):
        with open(self.settings_path, encoding="utf-8") as file:
            return file.read()


class Client:
    def __init__(self, flow, argument=None, home=None, env=None, wrapper=()):
        self.desktop = flow.desktop
        self.bus = flow.bus
        self.home = home or Home(self.desktop)
        self.reports = os.path.join(self.home.path, "sanitizer")
        suppressions = f"suppressions={os.path.join(HERE, 'lsan.supp')}:print_suppressions=0"
        self._name = flow.id().rsplit(".", 1)[1] + "-" + os.path.basename(self.home.path)
        self.begun = time.monotonic()
        command = [*wrapper, os.path.join(BIN, "nebrixclient"), *([argument] if argument else [])]
        self.process = self.desktop.start(command, stderr=sys.stderr, env={
            "HOME": self.home.path,
            "ASAN_OPTIONS": f"detect_leaks=1:verify_asan_link_order=0:log_path={self.reports}",
            "UBSAN_OPTIONS": f"print_stacktrace=1:log_path={self.reports}", "LSAN_OPTIONS": suppressions,
            **(env or {})})
        self.pid = self.process.pid
        self._watchdog = flow.watchdog
        self._tell_watchdog("watch")

    def _tell_watchdog(self, word):
        self._watchdog.stdin.write(f"{word} {self.pid}\n")

    def windows(self):
        return self.desktop.windows(self.pid)

    def window(self, title):
        return next((w for w in self.windows() if w.shown and w.title == title), None)

    def panel(self):
        """The panel while it is shown."""
        return next((w for w in self.windows() if w.shown and not w.title and w.rect[2] >= 341), None)

    def wait_for_panel(self):
        return wait_for(self.panel, what="panel")

    def tray_icon(self):
        return next(iter(self.desktop.tray_icons(self.pid)), None)

    def wait_for_tray_icon(self):
        """The icon, once the bar has put it where it stays."""
        wait_until_steady(lambda: (icon := self.tray_icon()) and icon.rect, "tray icon")
        return self.tray_icon()

    def application(self):
        return wait_for(lambda: self.bus.application(self.pid), what="accessible application")

    def dialog(self, title, role="dialog"):
        """The accessible tree of the window with this title and role, once it is shown; a screenshot is kept of it."""
        def shown():
            for node in self.application().children():
                if (node.name, node.role) == (title, role) and node.has(accessible.SHOWING) and self.window(title):
                    return node
            return None
        node = wait_for(shown, what=f"window {title!r}, shown: {[w.title for w in self.windows() if w.shown]}")
        self.desktop.screenshot(f"{self._name}-{title}")
        return node

    def panel_node(self):
        """The panel's accessible tree while it is shown."""
        return next((node for node in self.application().children()
                     if node.role == "notification" and node.has(accessible.SHOWING)), None)

    def texts(self):
        """The panel's labels."""
        panel = self.panel_node()
        return [node.name for node in panel.walk() if node.role == "label"] if panel else []

    def wait_for_text(self, text, seconds=6.0):
        # Up to three dots follow the text of a state that lasts.
        wait_for(lambda: any(re.fullmatch(re.escape(text) + r"\.{0,3}", label) for label in self.texts()), seconds,
                 f"panel text {text!r}")

    def open_menu(self, button=3):
        """Clicks the tray icon until the menu is there: a tray that still arranges its icons loses a click."""
        for _ in range(3):
            self.desktop.click(self.wait_for_tray_icon(), button)
            try:
                return wait_for(lambda: self.application().find("menu"), 3.0, what="tray menu")
            except AssertionError:
                continue
        raise AssertionError("no tray menu")

    def choose(self, name):
        self.open_menu()
        self.desktop.click(wait_for(lambda: self.application().find("menu item", name), what=f"menu entry {name}"))

    def ended(self):
        return self.process.poll() is not None

    def wait_for_end(self, seconds=5.0):
        wait_for(self.ended, seconds, "end of the client")
        return self.process.returncode

    def end(self):
        """By the signal of a session's end; its status."""
        self.process.terminate()
        return self.wait_for_end()

    def close(self):
        """Ends the client if it still runs; says what the watchdog and the sanitizers found."""
        self._tell_watchdog("end")
        gap, answers = self._watchdog.stdout.readline().split()
        found = []
        if float(gap) > LONGEST_GAP:
            found.append(f"event loop left alone for {gap} ms")
        if self.ended() and self.process.returncode < 0:
            found.append(f"ended by signal {-self.process.returncode}")
        if not self.ended():
            if answers == "0" and time.monotonic() - self.begun > 1:
                found.append("the watchdog had no answer at all")
            self.process.send_signal(signal.SIGTERM)
            try:
                self.wait_for_end()
            except AssertionError:
                self.process.kill()
                self.process.wait()
        for report in glob.glob(self.reports + ".*"):
            with open(report, encoding="utf-8", errors="replace") as file:
                found.append(file.read())
        shutil.rmtree(self.home.path, ignore_errors=True)
        return float(gap), found


class Flow(unittest.TestCase):
    """A test with the desktop of its class, and clients that are ended and judged after it."""

    tray = True
    gtk_settings = ""
    screen = SCREEN
    gateway_options = ()
    make_desktop = Desktop

    @classmethod
    def setUpClass(cls):
        cls.desktop = cls.make_desktop(cls.tray, cls.gtk_settings, cls.screen)
        cls.addClassCleanup(cls.desktop.close)
        cls.bus = accessible.Bus(cls.desktop.environment)
        cls.watchdog = cls.desktop.start(
            ["/usr/bin/python3", os.path.join(HERE, "watchdog.py"), str(cls.desktop.server_pid)],
            stdin=subprocess.PIPE, stdout=subprocess.PIPE, stderr=None, text=True, bufsize=1)
        cls.addClassCleanup(cls.watchdog.stdin.close)
        cls.addClassCleanup(cls.watchdog.stdout.close)
        cls.gateway = Gateway(cls.desktop, *cls.gateway_options)
        cls.addClassCleanup(cls.gateway.close)

    def setUp(self):
        self.begun = time.monotonic()
        self.clients = []
        self.addCleanup(self.judge)

    def judge(self):
        self.desktop.move_mouse(self.screen[0] // 2, self.screen[1] - 100)
        worst = 0.0
        for client in self.clients:
            gap, found = client.close()
            worst = max(worst, gap)
            with self.subTest("watchdog and sanitizers"):
                self.assertEqual(found, [])
        print(f"{self.id()}: {time.monotonic() - self.begun:.2f} s, longest gap {worst} ms")

    def start(self, argument=None, **options):
        self.clients.append(Client(self, argument, **options))
        return self.clients[-1]

    def start_faulty_gateway(self, *options):
        gateway = Gateway(self.desktop, *options)
        self.addCleanup(gateway.close)
        return gateway

    def session(self, component="plugindll", language="en", gateway=None, **options):
        """A client of the gateway, which it trusts."""
        gateway = gateway or self.gateway
        home = Home(self.desktop, [gateway.authority])
        return self.start(gateway.mediation(component, language), home=home, **options)
