#!/usr/bin/python3
# SPDX-License-Identifier: Apache-2.0
"""The tray menu, the dialogs behind it and those that open by themselves."""

import gettext
import hashlib
import os
import re
import signal
import socket
import ssl
import time
import unittest

from accessible import SENSITIVE
from client import BIN, LANGUAGES, Flow, Home, catalog, pattern, plain
from desktop import wait_for

EN = catalog("en")
# wxWidgets' own labels, from its catalogs.
STOCK = {language: [plain(gettext.translation("wxstd-3.2", "/usr/share/locale", [language], fallback=True).gettext(label))
                    for label in ("&About", "&Quit")] for language in LANGUAGES}


def press(flow, dialog, name, role="push button"):
    control = wait_for(lambda: dialog.find(role, name), what=f"{role} {name!r} in {dialog.outline()}")
    flow.desktop.click(control)


class TrayMenuTest(Flow):
    def test_both_clicks_open_the_same_menu_in_each_language(self):
        clients = {language: self.session(language=language) for language in LANGUAGES}
        for language, client in clients.items():
            with self.subTest(language=language):
                outlines = []
                for button in (1, 3):
                    outlines.append(client.open_menu(button).outline())
                    self.desktop.screenshot(f"tray-menu-{language}-{button}")
                    self.desktop.key("Escape")
                    wait_for(lambda c=client: not c.application().find("menu"), what="menu closed")
                texts = catalog(language)
                about, leave = STOCK[language]
                self.assertEqual(outlines[0][1:], [
                    ("menu item", plain(texts["MENU_SETTINGS"])), ("menu item", plain(texts["MENU_LOGS"])),
                    ("separator", ""), ("menu item", about), ("menu item", leave)])
                self.assertEqual(*outlines)

    def test_about_from_the_menu(self):
        client = self.session(language="de")
        client.choose(STOCK["de"][0])
        dialog = client.dialog(catalog("de")["TarnClient"])
        self.assertTrue(dialog.find("label", "8.9.0.35"))
        self.assertEqual(dialog.nameless_controls(), [])
        self.desktop.key("Escape")
        wait_for(lambda: not client.window(catalog("de")["TarnClient"]), what="about closed")


class SettingsTest(Flow):
    def open(self, language="en", **options):
        client = self.session(language=language, **options)
        client.choose(plain(catalog(language)["MENU_SETTINGS"]))
        return client, client.dialog(plain(catalog(language)["SETTINGS_TITLE"]))

    def domains(self, dialog):
        return [node.name for node in dialog.walk(cells=True) if node.role == "table cell"]

    def enter(self, dialog, domain, button="SETTINGS_ADD"):
        self.desktop.click(dialog.find("text", EN["SETTINGS_NEW_DOMAIN"]))
        self.desktop.type(domain)
        if button is None:
            self.desktop.key("Return")
        else:
            press(self, dialog, plain(EN[button]))
        wait_for(lambda: dialog.find("text", EN["SETTINGS_NEW_DOMAIN"]).text == "" or not domain.strip(),
                 what="field cleared")

    def test_what_is_saved_is_in_the_file(self):
        client, dialog = self.open()
        self.assertEqual(dialog.nameless_controls(), [])
        self.desktop.click(dialog.find("text", plain(EN["SETTINGS_PROXY_LOGIN"])) or dialog.find("text"))
        self.desktop.type("DOMAIN\\user")
        self.desktop.key("Tab")
        self.desktop.type("secret")
        self.assertNotIn("secret", str(dialog.outline()))
        self.assertIn(("panel", EN["SSL"]), dialog.outline(), "a group has the name of its own")
        self.assertIn(("icon", EN["WARNING_SIGN"]), dialog.outline())
        self.assertTrue(any(EN["SETTINGS_HINT %s"] % self.gateway.authority == node.description for node in dialog.walk()))
        for domain in ("one.example ", "one.example", "ONE.example"):
            self.enter(dialog, domain)
        self.enter(dialog, "two.example", None)
        expected = [self.gateway.authority, "one.example", "ONE.example", "two.example"]
        self.assertEqual(self.domains(dialog), expected)
        self.desktop.screenshot("settings-added")
        self.desktop.click(dialog.find("table cell", "one.example"))
        self.desktop.xdotool("keydown", "Control_L")
        self.desktop.click(dialog.find("table cell", "two.example"))
        self.desktop.xdotool("keyup", "Control_L")
        press(self, dialog, plain(EN["SETTINGS_REMOVE"]))
        wait_for(lambda: self.domains(dialog) == [self.gateway.authority, "ONE.example"], what="two removed")
        # What is left in the field is asked about.
        self.desktop.click(dialog.find("text", EN["SETTINGS_NEW_DOMAIN"]))
        self.desktop.type("three.example")
        for answer in ("Cancel", "Yes"):
            press(self, dialog, "Save")
            question = wait_for(lambda: client.application().find("alert"), what="question")
            self.desktop.screenshot("settings-question")
            self.assertNotIn("ONE.example", client.home.settings())
            press(self, question, answer)
            wait_for(lambda: not client.application().find("alert"), what="question answered")
        wait_for(lambda: "ONE.example" in client.home.settings(), what="file saved")
        self.assertIn("three.example", client.home.settings())
        text = client.home.settings()
        self.assertIn(self.gateway.authority, text)
        self.assertNotIn("one.example", text)
        for part in ("<login>user<", "<domain>DOMAIN<", "<password>secret<"):
            self.assertIn(part, text)
        # What was stored is what the dialog shows when it is opened anew.
        client.choose(plain(EN["MENU_SETTINGS"]))
        again = client.dialog(EN["SETTINGS_TITLE"])
        self.assertEqual(self.domains(again), [self.gateway.authority, "ONE.example", "three.example"])
        fields = [node.text for node in again.walk() if node.role == "text"]
        self.assertIn("DOMAIN\\user", fields)

    def test_cancelled_settings_leave_the_file_as_it_was(self):
        client, dialog = self.open()
        before, changed = client.home.settings(), os.stat(client.home.settings_path).st_mtime_ns
        for leave in (lambda: press(self, dialog, "Cancel"), lambda: self.desktop.key("Escape")):
            self.enter(dialog, "cancelled.example")
            leave()
            wait_for(lambda: not client.window(EN["SETTINGS_TITLE"]), what="settings closed")
            self.assertEqual(client.home.settings(), before)
            self.assertEqual(os.stat(client.home.settings_path).st_mtime_ns, changed)
            client.choose(plain(EN["MENU_SETTINGS"]))
            dialog = client.dialog(EN["SETTINGS_TITLE"])
            self.assertEqual(self.domains(dialog), [self.gateway.authority])


class SmallScreenTest(Flow):
    gtk_settings = "gtk-font-name=Sans 20\n"
    screen = (800, 600)

    def test_windows_fit_the_screen_and_the_focus_is_in_view(self):
        client = self.session(language="de")
        german = catalog("de")
        wait_for(lambda: any("192.0.2." in text for text in client.texts()), what="a panel that waits for nothing more")
        for entry, title, role in (("MENU_LOGS", "LOG_TITLE", "frame"), ("MENU_SETTINGS", "SETTINGS_TITLE", "dialog")):
            client.choose(plain(german[entry]))
            dialog = client.dialog(german[title], role)
            wait_for(lambda: not client.panel(), what="panel out of the way")
            x, y, width, height = client.window(german[title]).rect
            self.desktop.screenshot("small-screen-" + entry)
            self.assertTrue(x >= 0 and x + width <= 800 and y + height <= 600, (x, y, width, height))
            buttons = [node.middle() for node in dialog.walk() if node.role in ("push button", "check box")]
            self.assertTrue(entry == "MENU_SETTINGS" or all(x < a < x + width and y < b < y + height for a, b in buttons))
        self.assertTrue(dialog.find("scroll bar"))
        below = dialog.find("table", german["SETTINGS_DOMAIN_LIST"])
        top = dialog.find("push button", "Speichern").middle()[1] - 20
        self.assertGreater(below.extents()[1] + below.extents()[3], top, "out of view")
        self.desktop.key(*["Tab"] * 5)
        wait_for(lambda: below.extents()[1] + below.extents()[3] < top, what="the focus in view")
        self.desktop.screenshot("small-screen-scrolled")
        self.desktop.key("Escape", "Escape")
        client.wait_for_panel()


class ConnectionErrorTest(Flow):
    def refused(self, language="en"):
        """A client that does not trust the gateway yet."""
        client = self.start(self.gateway.mediation(language=language), home=Home(self.desktop, []))
        return client, self.told(client, "CERTIFICATE_SELF_SIGNED %s", self.gateway.authority, language)

    def told(self, client, key, host, language="en"):
        """The dialog, once it says this of this host."""
        dialog = client.dialog(catalog(language)["Error"])
        message = catalog(language)[key].replace("%s", host)
        wait_for(lambda: dialog.find("label", message), what=f"{message!r} in {dialog.outline()}")
        return dialog

    def test_each_cause_has_words_of_its_own(self):
        with socket.socket() as taken:  # bound and not listening
            taken.bind(("127.0.0.1", 0))
            closed = f"127.0.0.1:{taken.getsockname()[1]}"
            for authority, key in ((closed, "CONNECTION_REFUSED %s"), ("127.0.0.1:99999", "CONNECTION_BAD_LINK")):
                with self.subTest(key=key):
                    client = self.start(f"https://id@{authority}/mediation?lang=de", home=Home(self.desktop, []))
                    self.told(client, key, authority, "de")

    def test_settings_then_retry(self):
        client, error = self.refused()
        self.assertEqual(error.nameless_controls(), [])
        press(self, error, plain(EN["Settings"]))
        settings = client.dialog(EN["SETTINGS_TITLE"])
        self.desktop.click(settings.find("text", EN["SETTINGS_NEW_DOMAIN"]))
        self.desktop.type(self.gateway.authority)
        press(self, settings, plain(EN["SETTINGS_ADD"]))
        press(self, settings, "Save")
        wait_for(lambda: not client.window(EN["SETTINGS_TITLE"]), what="settings closed")
        self.assertTrue(client.window(EN["Error"]), "the error stays open")
        press(self, error, plain(EN["Retry"]))
        wait_for(lambda: any("192.0.2." in text for text in client.texts()), what="connected after the retry")
        self.assertIsNone(client.window(EN["Error"]))

    def test_a_second_failure_opens_a_fresh_dialog_and_closing_it_goes_on(self):
        client, error = self.refused("de")
        first = client.window(catalog("de")["Error"]).id
        self.desktop.key("Return")  # Retry is the default
        again = wait_for(lambda: (w := client.window(catalog("de")["Error"])) and w.id != first and w, what="fresh dialog")
        client.dialog(catalog("de")["Error"])
        self.desktop.key("Escape")
        wait_for(lambda: not client.window(catalog("de")["Error"]), what="dialog closed")
        self.assertTrue(again and client.tray_icon())
        self.assertFalse(client.ended())
        self.start(self.gateway.mediation(language="de"), home=client.home)
        client.dialog(catalog("de")["Error"])  # of a new attempt
        self.desktop.key("Escape")
        wait_for(lambda: not client.window(catalog("de")["Error"]), what="dialog closed")
        begun = time.monotonic()
        client.choose(STOCK["de"][1])
        client.wait_for_end()
        self.assertLess(time.monotonic() - begun, 2)


class CertificateTest(Flow):
    def gateway_at(self, port="0"):
        return self.start_faulty_gateway("--port", port, "--client-id", "me")

    def shown(self, client):
        press(self, client.dialog(EN["Error"]), plain(EN["CERTIFICATE_SHOW"]))
        dialog = client.dialog(EN["CERTIFICATE_TITLE"])
        self.assertEqual(dialog.nameless_controls(), [])
        self.assertFalse(dialog.find("push button", plain(EN["CERTIFICATE_TRUST"])).has(SENSITIVE))
        digests = [re.sub(r"[:\s]", "", node.text).lower() for node in dialog.walk() if node.role == "text"]
        return dialog, digests

    def fingerprint(self, gateway):
        host, port = gateway.authority.split(":")
        return hashlib.sha256(ssl.PEM_cert_to_DER_cert(ssl.get_server_certificate((host, int(port))))).hexdigest()

    def test_a_trusted_certificate_opens_the_session_and_a_changed_key_is_refused(self):
        first = self.gateway_at()
        link, port, home = first.mediation(), first.authority.split(":")[1], Home(self.desktop, ["typed"])
        client = self.start(link, home=home)
        dialog, digests = self.shown(client)
        self.assertEqual(digests, [self.fingerprint(first)])
        press(self, dialog, "Cancel")
        wait_for(lambda: not client.window(EN["CERTIFICATE_TITLE"]), what="certificate closed")
        dialog, _ = self.shown(client)
        press(self, dialog, plain(EN["CERTIFICATE_COMPARED"]), "check box")
        wait_for(lambda: dialog.find("push button", plain(EN["CERTIFICATE_TRUST"])).has(SENSITIVE), what="button enabled")
        press(self, dialog, plain(EN["CERTIFICATE_TRUST"]))
        wait_for(lambda: any("192.0.2." in text for text in client.texts()), what="connected")
        trusted = wait_for(lambda: re.search("<sha256>(.*)</sha256>", home.settings()), what="settings saved")[1]
        client.end()
        first.close()

        without = self.start(link, home=home)
        self.assertIsNone(without.dialog(EN["Error"]).find("push button", plain(EN["CERTIFICATE_SHOW"])))
        press(self, without.dialog(EN["Error"]), plain(EN["Quit"]))
        without.wait_for_end()

        second = self.gateway_at(port)
        client = self.start(link, home=home)
        error = client.dialog(EN["Error"])
        self.assertTrue(error.find("label", EN["CERTIFICATE_CHANGED %s"] % second.authority), error.outline())
        dialog, digests = self.shown(client)
        self.assertEqual(digests[:2], [self.fingerprint(second), trusted])
        self.assertEqual(len(set(digests)), 3)
        client.end()  # under two dialogs
        self.assertIn(f"<sha256>{trusted}</sha256>", home.settings())

    def test_another_host_is_decided_on_while_the_settings_are_open_and_neither_is_lost(self):
        elsewhere = self.gateway_at()
        gateway = self.start_faulty_gateway("--client-id", "me", "--elsewhere", elsewhere.authority)
        gateway.process.send_signal(signal.SIGSTOP)
        client = self.session(gateway=gateway)
        client.choose(plain(EN["MENU_SETTINGS"]))
        settings = client.dialog(EN["SETTINGS_TITLE"])
        self.desktop.click(settings.find("text", EN["SETTINGS_NEW_DOMAIN"]))
        self.desktop.type("typed\n")
        gateway.process.send_signal(signal.SIGCONT)
        client.dialog(EN["Error"])
        dialog, digests = self.shown(client)
        self.assertEqual(digests, [self.fingerprint(elsewhere)])
        self.assertTrue(dialog.find("label", EN["CERTIFICATE_QUESTION_DOWNLOAD %s"] % elsewhere.authority), dialog.outline())
        press(self, dialog, plain(EN["CERTIFICATE_COMPARED"]), "check box")
        wait_for(lambda: dialog.find("push button", plain(EN["CERTIFICATE_TRUST"])).has(SENSITIVE), what="button enabled")
        press(self, dialog, plain(EN["CERTIFICATE_TRUST"]))
        wait_for(lambda: any("192.0.2." in text for text in client.texts()), what="connected")
        wait_for(lambda: "<sha256>" in client.home.settings(), what="settings saved")
        press(self, settings, "Save")
        wait_for(lambda: "<domains>typed<" in client.home.settings(), what="settings saved again")
        for part in (f"<server>{elsewhere.authority}<", f"<domains>{elsewhere.authority}<", f"<domains>{gateway.authority}<"):
            self.assertIn(part, client.home.settings())
        self.assertEqual(client.end(), 0)


class OtherEndsTest(Flow):
    gateway_options = ("--timer", "30")

    def test_the_host_checker_takes_the_tray_icon_away(self):
        gateway = self.start_faulty_gateway("--fault", "archive-silent")
        waiting = self.session("hostchecker", gateway=gateway)
        client = self.session("hostchecker", "fr")
        client.wait_for_text(catalog("fr")["HOSTCHECKING"])
        wait_for(lambda: not client.tray_icon(), what="tray icon gone")
        tip = pattern(catalog("fr")["NEXT_HOSTCHECK %s"])
        wait_for(lambda: any(re.fullmatch(tip, node.description) for node in client.panel_node().walk()), what="tool tip")
        self.desktop.screenshot("hostchecker-fr")
        wait_for(lambda: not waiting.tray_icon(), what="tray icon gone while the component is fetched")
        self.assertFalse(client.ended() or waiting.ended())

    def test_a_failure_is_told_before_the_program_goes(self):
        cases = (("plugindll", "wrong-signature", "END_SIGNATURE", "", "en"),
                 ("plugindll", "archive-404", "END_ARCHIVE_NOT_FOUND %s", None, "fr"),
                 ("plugindll", "refusal", "END_REFUSED %s", "the demonstration refuses", "de"),
                 ("hostchecker", "post-refusal", "END_HOSTCHECK_REFUSED %s", "the demonstration refuses the host check",
                  "es"),
                 ("hostchecker", "bad-post-answer", "END_POST_LOST %s", None, "de"),
                 ("plugindllnotunnel", "--service=..", "END_RESOURCE_FAILED", "", "fr"))
        for component, fault, key, fill, language in cases:
            with self.subTest(fault=fault):
                gateway = self.start_faulty_gateway(fault if fault.startswith("-") else "--fault=" + fault)
                client = self.session(component, language, gateway=gateway)
                texts = catalog(language)
                box = client.dialog(texts["Error"])
                why = texts[key].replace("%s", gateway.authority if fill is None else fill)
                self.assertEqual([node.name for node in box.walk() if node.role == "label"],
                                 [texts["UNKNOWN_ERROR_HAS_OCCURED"], why])
                self.assertEqual(box.nameless_controls(), [])
                if fault == "refusal":
                    self.desktop.key("Escape")
                elif fault == "archive-404":
                    press(self, box, plain(texts["SHOW_LOG"]))
                    log = client.dialog(texts["LOG_TITLE"], "frame")
                    wait_for(lambda: log.find("table cell"), what="log lines")
                    self.assertFalse(client.ended(), "the log can be read")
                    self.desktop.key("Escape")
                else:
                    press(self, box, STOCK[language][1])
                self.assertEqual(client.wait_for_end(), 1)

    def test_a_component_that_does_not_answer_is_told_and_so_is_its_end(self):
        zoo = os.path.join(BIN, "test-components", "libtest-zoo.so")
        client = self.session(language="de", gateway=self.start_faulty_gateway("--component", f"plugindll={zoo}"),
                              env={"NEBRIX_TEST_ZOO": "DllGetErrors2@2=slow,DllGetErrors2@5=quit3"})
        texts = catalog("de")
        client.wait_for_text(texts["COMPONENT_SILENT"])
        self.desktop.screenshot("component-silent-de")
        client.wait_for_text(texts["Connected"])
        box = client.dialog(texts["Error"])
        self.assertTrue(box.find("label", texts["END_COMPONENT_GONE"]), box.outline())
        press(self, box, STOCK["de"][1])
        self.assertEqual(client.wait_for_end(), 1)

    def test_a_home_that_cannot_be_had_is_told(self):
        client = self.start(self.gateway.mediation(), env={"HOME": "/proc/none"})
        box = client.dialog(EN["Error"])
        self.assertTrue(box.find("label", EN["END_NOT_WRITABLE %s"] % "/proc/none"), box.outline())
        press(self, box, "OK")
        self.assertEqual(client.wait_for_end(), 255)


if __name__ == "__main__":
    unittest.main(verbosity=0)
