#!/usr/bin/python3
# SPDX-License-Identifier: Apache-2.0
"""Quit in every phase of a session: the tray icon goes first, and the process within two seconds."""

import os
import signal
import socket
import subprocess
import time
import unittest

from accessible import SENSITIVE
from client import HERE, LONGEST_QUIT, Flow, Home, catalog
from desktop import wait_for
from desktopservices import SessionManager
from xsessionmanager import XSessionManager

EN = catalog("en")
DEAF_RESOLVER = os.path.join(HERE, "deafresolver.py")


def deaf_host():
    """A listener whose queue is full, so that further connections get no answer at all."""
    listener = socket.socket()
    listener.bind(("127.0.0.1", 0))
    listener.listen(0)
    waiting = []
    for _ in range(4):
        caller = socket.socket()
        caller.setblocking(False)
        caller.connect_ex(listener.getsockname())
        waiting.append(caller)
    return [listener, *waiting]


def is_running(pid):
    try:
        with open(f"/proc/{pid}/stat", encoding="ascii") as file:
            return file.read().rsplit(")", 1)[1].split()[0] != "Z"
    except FileNotFoundError:
        return False


def slow_unzip(directory):
    """An unzip that never comes to its end: the file that has its number, and what puts it in the system's place."""
    pid, program = os.path.join(directory, "unzip-pid"), os.path.join(directory, "slow-unzip")
    with open(program, "w", encoding="utf-8") as file:
        file.write("#!/bin/sh\necho $$ >" + pid + "\nexec sleep 600\n")
    os.chmod(program, 0o755)
    return pid, ["unshare", "--map-root-user", "--mount", "sh", "-c",
                 'mount --bind "$0" "$(readlink -f /usr/bin/unzip)" && exec "$@"', program]


def namespaces_work(*kinds):
    return subprocess.run(["unshare", "--map-root-user", *kinds, "true"], stderr=subprocess.DEVNULL).returncode == 0


class QuitTest(Flow):
    gateway_options = ("--timer", "600")

    def check_quit(self, client, name, has_icon=True):
        """Quits from the menu or, without a tray icon, by SIGTERM."""
        if has_icon:
            client.open_menu()
            entry = wait_for(lambda: client.application().find("menu item", "Quit"), what="quit entry")
            begun = time.monotonic()
            self.desktop.click(entry)
        else:
            begun = time.monotonic()
            client.process.send_signal(signal.SIGTERM)
        icon_went_first = False
        while not client.ended() and time.monotonic() - begun < 5 * LONGEST_QUIT:
            icon_went_first = icon_went_first or not client.tray_icon() and not client.ended()
            time.sleep(0.002)
        taken = time.monotonic() - begun
        print(f"quit {name}: {taken:.3f} s")
        self.assertTrue(client.ended())
        self.assertEqual(client.process.returncode, 0)
        self.assertLess(taken, LONGEST_QUIT)
        if has_icon and taken > 0.3:  # else too quick to be told apart
            self.assertTrue(icon_went_first, "the tray icon goes first")

    def phase(self, name):
        """A client that is in this phase, and has been seen to be."""
        if name == "connecting":
            sockets = deaf_host()
            for each in sockets:
                self.addCleanup(each.close)
            port = sockets[0].getsockname()[1]
            client = self.start(f"https://id@127.0.0.1:{port}/mediation/plugindll?lang=en", home=Home(self.desktop, []))
            client.wait_for_text(EN["Loading"])
            state = f":{port:04X} 02"  # SYN sent
            with open("/proc/net/tcp", encoding="ascii") as file:
                wait_for(lambda: file.seek(0) == 0 and state in file.read(), what="connection attempt")
            return client
        if name == "resolving":
            client = self.start("https://id@gateway.test/mediation/plugindll?lang=en", home=Home(self.desktop, []),
                                wrapper=["unshare", "--map-root-user", "--mount", "--net", "/usr/bin/python3",
                                         DEAF_RESOLVER, os.path.join(self.desktop.directory, "asked")])
            wait_for(lambda: os.path.exists(os.path.join(self.desktop.directory, "asked")), what="question")
            return client
        if name == "unpacking":
            pid, wrapper = slow_unzip(self.desktop.directory)
            client = self.session(wrapper=wrapper)
            wait_for(lambda: os.path.exists(pid), what="unzip")
            return client
        if name in ("polling", "waiting-between-checks"):
            client = self.session("plugindll" if name == "polling" else "hostchecker")
            key = None if name == "polling" else "HOSTCHECKING"
            wait_for(lambda: any("192.0.2." in t or t == EN.get(key) for t in client.texts()), what="panel")
            return client
        gateway = self.start_faulty_gateway("--fault", {"mediation": "silent", "download": "archive-silent"}[name])
        client = self.session(gateway=gateway)
        client.wait_for_text(EN["Loading" if name == "mediation" else "STATUS_DOWNLOADING_COMPENENTS"])
        return client

    def test_from_the_menu(self):
        for name in ("connecting", "mediation", "download", "polling"):
            with self.subTest(phase=name):
                self.check_quit(self.phase(name), name)

    def test_from_the_menu_over_a_dialog(self):
        client = self.phase("polling")
        client.choose("Settings")
        client.dialog(EN["SETTINGS_TITLE"])
        menu = client.open_menu()
        self.assertEqual([node.name for node in menu.walk() if node.role == "menu item" and node.has(SENSITIVE)], ["Quit"])
        self.desktop.key("Escape")
        wait_for(lambda: not client.application().find("menu"), what="menu closed")
        self.check_quit(client, "over-a-dialog")

    def test_while_resolving(self):
        if not namespaces_work("--mount", "--net"):
            self.skipTest("no user namespaces here, which a resolver that does not answer needs")
        self.check_quit(self.phase("resolving"), "resolving")

    def test_while_unpacking(self):
        if not namespaces_work("--mount"):
            self.skipTest("no user namespaces here, which an unzip that does not end needs")
        self.check_quit(self.phase("unpacking"), "unpacking")
        with open(os.path.join(self.desktop.directory, "unzip-pid"), encoding="ascii") as file:
            pid = int(file.read())
        wait_for(lambda: not is_running(pid), 2, "the unpacking program gone too")

    def test_by_signal(self):
        for name in ("mediation", "download", "polling", "waiting-between-checks"):
            with self.subTest(phase=name):
                self.check_quit(self.phase(name), name + "-signal", has_icon=False)

    def test_by_the_session_manager(self):
        manager = SessionManager(self.desktop.environment["DBUS_SESSION_BUS_ADDRESS"])
        self.addCleanup(manager.close)
        client = self.phase("mediation")
        wait_for(lambda: manager.registered, what="registration")
        wait_for(lambda: manager.tell("QueryEndSession") or manager.answers, what="consent")
        self.assertFalse(client.ended(), "asking is not ending")
        manager.tell("EndSession")
        client.wait_for_end(LONGEST_QUIT)
        self.assertTrue(all(manager.answers))

    def test_by_an_x_session_manager(self):
        manager = XSessionManager()
        client = self.session(gateway=self.start_faulty_gateway("--fault", "silent"),
                              env={"SESSION_MANAGER": manager.address})
        wait_for(lambda: manager.saved == 1, what="registration")
        manager.save()
        wait_for(lambda: manager.saved == 2, what="consent")
        self.assertFalse(client.ended(), "saving is not ending")
        manager.end_client()
        self.assertEqual(client.wait_for_end(LONGEST_QUIT), 0)

    def test_by_signal_with_the_menu_open(self):
        client = self.phase("polling")
        client.open_menu()
        self.check_quit(client, "menu-open", has_icon=False)

    def test_by_signal_with_dialogs_open(self):
        client = self.start(self.gateway.mediation(language="de"), home=Home(self.desktop, []))
        error = client.dialog(catalog("de")["Error"])
        self.desktop.click(error.find("push button", "Einstellungen"))
        client.dialog(catalog("de")["SETTINGS_TITLE"])
        self.check_quit(client, "settings-over-error-open", has_icon=False)
        client = self.phase("polling")
        client.choose("Log")
        self.desktop.click(client.dialog(EN["LOG_TITLE"], "frame").find("push button", "Save as…"))
        wait_for(lambda: client.application().find("file chooser"), what="file dialog")
        self.check_quit(client, "save-as-open", has_icon=False)


if __name__ == "__main__":
    unittest.main(verbosity=0)
