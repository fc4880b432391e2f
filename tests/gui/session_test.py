#!/usr/bin/python3
# SPDX-License-Identifier: Apache-2.0
"""Start, panel and instances."""

import os
import re
import signal
import subprocess
import unittest

import Xlib.X

from client import BIN, LANGUAGES, LOG, WATCHED_ENVIRONMENT, Flow, Home, catalog, pattern, status_list
from desktop import wait_for

EN = catalog("en")
PLUGIN = os.path.join(BIN, "test-components", "libtest-plugin.so")
PANEL_TITLE = "NebrixClient"
PANEL_LINES = (("init", "VPN_INIT"), ("authenticating", "VPN_AUTHENTICATING"), ("reconnecting", "VPN_RECONNECTING"),
               ("getconfig", "VPN_GETCONFIG"), ("authError", "VPN_AUTHERROR"), ("connected", "VPN_CONNECTED"),
               ("", "VPN_STOPPED"), ("connected ip=192.0.2.7", "VPN_GIVENIP %s"))


def internet_sockets(pid):
    sockets = {os.readlink(f"/proc/{pid}/fd/{fd}") for fd in os.listdir(f"/proc/{pid}/fd")}
    found = []
    for table in ("tcp", "tcp6", "udp", "udp6"):
        with open(f"/proc/{pid}/net/{table}", encoding="ascii") as file:
            found += [line for line in file.readlines()[1:] if f"socket:[{line.split()[9]}]" in sockets]
    return found


class StartTest(Flow):
    def test_without_argument_there_is_only_the_about_dialog(self):
        locks = {name for name in os.listdir("/tmp") if name.startswith("nebrixclient:")}
        client = self.start()
        title = catalog("en")["TarnClient"]
        dialog = client.dialog(title)
        texts = [node.name for node in dialog.walk() if node.role == "label"]
        self.assertIn("8.9.0.35", texts)
        self.assertIn("© Nebrix 2023", texts)
        self.assertEqual(dialog.nameless_controls(), [])
        self.assertIsNone(client.tray_icon())
        self.assertEqual([w.title for w in client.windows() if w.shown], [title])
        self.assertEqual(internet_sockets(client.pid), [])
        self.assertEqual({name for name in os.listdir("/tmp") if name.startswith("nebrixclient:")}, locks)
        self.desktop.key("Return")
        client.wait_for_end()

    def test_the_system_language_decides_without_argument(self):
        client = self.start(env={"LANG": "fr_FR.UTF-8", "LC_ALL": "fr_FR.UTF-8", **WATCHED_ENVIRONMENT})
        dialog = client.dialog(catalog("fr")["TarnClient"])
        wait_for(lambda: dialog.find("push button", "Fermer"), what=dialog.outline())

    def test_the_environment_stays_as_it_is_once_there_are_threads(self):
        client = self.session(language="de", env=WATCHED_ENVIRONMENT)
        wait_for(lambda: any("192.0.2." in text for text in client.texts()), what="address")
        self.assertEqual(client.end(), 0)

    def test_the_same_argument_again_shows_the_first_ones_panel(self):
        first = self.session()
        panel = first.wait_for_panel()
        wait_for(lambda: any("192.0.2." in text for text in first.texts()), what="address")
        with open(f"/proc/{first.pid}/maps", encoding="utf-8") as maps:
            self.assertNotIn("libGL", maps.read(), "the graphics driver, of which nothing is needed")
        self.desktop.click(panel)
        wait_for(lambda: not first.panel(), what="panel clicked away")
        second = self.start(self.gateway.mediation(), home=Home(self.desktop, [self.gateway.authority]))
        self.assertNotEqual(second.wait_for_end(), 0)
        first.wait_for_panel()
        self.assertTrue(any("192.0.2." in text for text in first.texts()))

    def test_the_same_argument_again_shows_what_is_so_now(self):
        refused = self.start(self.gateway.mediation(), home=Home(self.desktop, []))
        checking = self.session("hostchecker", gateway=self.start_faulty_gateway("--timer", "600"))
        refused.dialog(EN["Error"])

        def checked():  # its panel may be gone again by the time it is looked for
            with open(LOG, encoding="utf-8", errors="replace") as log:
                return re.search(re.escape(checking.home.path) + ".*Hostchecker.sendResponse", log.read(), re.DOTALL)
        wait_for(checked, what="host check")
        silent = self.session(gateway=self.start_faulty_gateway("--fault", "silent"))  # and says more in ten seconds
        silent.wait_for_tray_icon()
        for client, key in ((silent, "Loading"), (refused, "NOT_CONNECTED"), (checking, "HOSTCHECKING")):
            wait_for(lambda c=client: not c.panel(), what="panel hidden")
            client.process.send_signal(signal.SIGUSR1)
            client.wait_for_text(EN[key])
            self.assertEqual(client.texts(), [PANEL_TITLE, EN[key]])
            panel = client.wait_for_panel()
            self.desktop.click(panel)

    def test_options_are_answered_without_a_display(self):
        for words, status, answer in ((["--help"], 0, "usage: nebrixclient [options] [MEDIATION]"), (["-V"], 0, "8.9.0.35"),
                                      ([self.gateway.mediation(), "--version"], 0, "8.9.0.35"),
                                      (["--display=:9"], 2, "--display"), (["-"], 2, "is no link"),
                                      (["--", "--link"], 2, "is no link")):
            with self.subTest(words=words):
                program = subprocess.run([os.path.join(BIN, "nebrixclient"), *words], env={}, text=True, check=False,
                                         capture_output=True, timeout=10)
                self.assertEqual(program.returncode, status, program)
                self.assertIn(answer, program.stderr if status else program.stdout)


class PanelTest(Flow):
    gateway_options = ("--component", f"plugindll={PLUGIN}")

    def tell(self, text):
        with open(self.status + ".new", "w", encoding="utf-8") as file:
            file.write(text)
        os.rename(self.status + ".new", self.status)

    def setUp(self):
        super().setUp()
        self.status = os.path.join(self.desktop.directory, "status")
        self.tell("[]\n")

    def check_place(self, panel):
        x, y, width, _ = self.desktop.work_area()
        self.assertEqual(panel.rect[:2], (x + width - panel.rect[2] - 1, y), panel.rect)
        corners = [r for r in panel.shape_rectangles() if r[0] <= 0 and r[1] <= 0]
        self.assertEqual(corners, [], "rounded")
        for state in ("_NET_WM_STATE_SKIP_TASKBAR", "_NET_WM_STATE_SKIP_PAGER", "_NET_WM_STATE_ABOVE"):
            self.assertIn(state, panel.states())

    def test_a_session_tells_each_state_in_each_language(self):
        clients = {language: self.session(language=language, env={"NEBRIX_TEST_STATUS": self.status})
                   for language in LANGUAGES}
        for line, key in PANEL_LINES:
            self.tell(status_list(line))
            for language, client in clients.items():
                text = catalog(language)[key].replace("%s", "192.0.2.7")
                with self.subTest(language=language, line=line):
                    client.wait_for_text(text)
                    self.assertEqual(client.texts()[:2], [PANEL_TITLE, catalog(language)["Connected"]])
        for language, client in clients.items():
            panel = client.wait_for_panel()
            self.check_place(panel)
            self.desktop.xdotool("windowraise", panel.id)
            self.desktop.screenshot(f"panel-connected-{language}")

    def test_what_comes_before_the_plugin(self):
        for fault, key in (("silent", "Loading"), ("archive-silent", "STATUS_DOWNLOADING_COMPENENTS")):
            for language in ("en", "de"):
                with self.subTest(language=language, fault=fault):
                    gateway = self.start_faulty_gateway("--fault", fault)
                    client = self.session(language=language, gateway=gateway)
                    client.wait_for_text(catalog(language)[key])
                    self.check_place(client.wait_for_panel())
                    self.desktop.screenshot(f"panel-{fault}-{language}")
                    bar = client.application().find("progress bar", catalog(language)["PROGRESS_NAME"])
                    self.assertEqual(bar is not None, fault == "archive-silent", "a progress bar while it downloads")
                    if bar is not None:
                        amount = catalog(language)["PROGRESS_AMOUNT %s %s"].replace("%s", r"\d+[.,]\d\skB")
                        self.assertRegex(client.texts()[-1], amount + "$", "no rate is known yet")
                    if language == "en" and fault == "silent":
                        wait_for(lambda c=client: not c.panel(), 2.6, "panel hidden")

    def test_any_line_fits_the_screen_on_one_line(self):
        client = self.session(env={"NEBRIX_TEST_STATUS": self.status})
        self.tell(status_list("connected ip=192.0.2.7"))
        client.wait_for_text(EN["VPN_GIVENIP %s"].replace("%s", "192.0.2.7"))
        height = client.panel().rect[3]
        beginning, end = EN["VPN_GIVENIP %s"].split("%s")
        for address in ("a\n" * 1300, "W" * 2600, "W" * 99):
            with self.subTest(address=address[:4]):
                self.tell(status_list("connected ip=" + address))
                shown = pattern(beginning) + ".*" + address[:2].replace("\n", " ") + ".*" + pattern(end)
                wait_for(lambda s=shown: any(re.fullmatch(s, text) for text in client.texts()), what=shown)
                self.check_place(client.wait_for_panel())
                self.assertEqual(client.panel().rect[3], height)
                self.assertLess(client.panel().rect[2], self.screen[0])
                tips = [re.sub(r"\s", "", node.description) for node in client.panel_node().walk()]
                self.assertEqual(sum(re.sub(r"\s", "", address) in tip for tip in tips), 1, "whole in the tool tip")
                self.desktop.screenshot("panel-line-" + address[:1] + str(len(address)))
        with open(LOG, encoding="utf-8", errors="replace") as file:
            log = file.read()
        for unwanted in ("WxLogTarget.assertion", re.search("//(.*)@", self.gateway.mediation())[1]):
            self.assertNotIn(unwanted, log)

    def test_its_corners_are_transparent_while_a_compositor_runs(self):
        selection = self.desktop.display.get_atom("_NET_WM_CM_S0")
        owner = self.desktop.root.create_window(0, 0, 1, 1, 0, Xlib.X.CopyFromParent)
        owner.set_selection_owner(selection, Xlib.X.CurrentTime)
        self.desktop.display.sync()
        client = self.session(env={"NEBRIX_TEST_STATUS": self.status})
        self.tell(status_list("connected"))
        client.wait_for_text(EN["VPN_CONNECTED"])
        panel = client.wait_for_panel()
        self.assertEqual(panel.shape_rectangles(), [(0, 0, *panel.rect[2:])])
        window = self.desktop.display.create_resource_object("window", panel.id)
        for place, alpha in (((0, 0), 0), ((5, 5), 255)):
            pixel = window.get_image(*place, 1, 1, Xlib.X.ZPixmap, 0xFFFFFFFF).data
            self.assertEqual((len(pixel), pixel[3]), (4, alpha), place)
        owner.destroy()
        self.desktop.display.sync()
        # GTK may take it off the screen for a moment.
        wait_for(lambda: (panel := client.panel()) and len(panel.shape_rectangles()) > 1, what="corners cut out again")
        left, top, width, _ = panel.shape_rectangles()[0]
        wait_for(lambda: len({window.get_image(x, top, 1, 1, Xlib.X.ZPixmap, 0xFFFFFF).data[:3]
                              for x in (left, left + width // 2)}) == 1, what="one colour all along the edge")

    def test_thousands_of_lines_at_once_leave_the_event_loop_running(self):
        said = self.bus.announcements()
        client = self.session(env={"NEBRIX_TEST_STATUS": self.status})
        client.wait_for_panel()
        self.tell(status_list(*(f"connected ip=192.0.2.{number}" for number in range(5000)), "authError"))
        client.wait_for_text(EN["VPN_AUTHERROR"])  # the watchdog judges
        wait_for(lambda: EN["Connected"] + "\n" + EN["VPN_AUTHERROR"] in said(), what="the last of them said")
        self.assertLess(len(said()), 100, "not each of them")


if __name__ == "__main__":
    unittest.main(verbosity=0)
