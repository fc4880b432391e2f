#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Checks the catalogs against each other, against the sources that use them and against what a build makes of them. What
msgfmt --check finds (headers, keys given twice) ends the build already.

usage: catalogs_test.py SOURCE_FOLDER
"""

import filecmp
import gettext
import glob
import os
import re
import shutil
import subprocess
import sys
import tempfile
import unittest

import polib

ROOT = sys.argv[1]
LANGUAGES = sorted(os.path.basename(path)[:-3] for path in glob.glob(f"{ROOT}/lang/*.po"))

# What stands together and is reached by mnemonics: our keys, and wx's stock labels beside them.
LOG_WINDOW = ["FIND", "FIND_NEXT", "CATEGORY", "FOLLOW", "COPY", "SAVE_AS", "EARLIER", "LATER"]
DIALOGS = {
    "settings": (["SETTINGS_PROXY_LOGIN", "SETTINGS_PROXY_PASSWORD", "SETTINGS_REVEAL_PASSWORD", "SETTINGS_ADD",
                  "SETTINGS_SSL_DO_NOT_CHECK_CERTIFICATES", "SETTINGS_REMOVE"], ["&Save", "&Cancel"]),
    "connection error": (["Settings", "CERTIFICATE_SHOW", "Retry", "Quit"], []),
    "certificate": (["CERTIFICATE_COMPARED", "CERTIFICATE_TRUST"], ["&Cancel"]),
    "fatal error": (["SHOW_LOG", "CERTIFICATE_SHOW"], ["&Quit"]),
    "tray menu and status window": (["MENU_SETTINGS", "MENU_LOGS"], ["&About", "&Quit"]),
    "log window": (["LOG_" + name for name in LOG_WINDOW], []),
}
FIELD_LABELS = ["SETTINGS_PROXY_LOGIN", "SETTINGS_PROXY_PASSWORD", "SETTINGS_SSL_DO_NOT_CHECK_CERTIFICATES", "Details:",
                "LOG_FIND", "LOG_CATEGORY",
                *("CERTIFICATE_" + name for name in ("SUBJECT", "ISSUER", "NOT_BEFORE", "NOT_AFTER", "NAMES", "FINGERPRINT",
                                                     "TRUSTED_KEY", "PRESENT_KEY"))]

# Comments, characters (an apostrophe after a digit only groups the digits) and, captured, strings.
TOKEN = re.compile(r'//[^\n]*|/\*.*?\*/|(?<![0-9A-Fa-f])\'(?:[^\'\\\n]|\\.)+\'|"((?:[^"\\\n]|\\.)*)"', re.DOTALL)
CALL = re.compile(r'(?:\b_|\bwxGetTranslation|\bwxTRANSLATE)\(\s*"((?:[^"\\]|\\.)*)"')
# Environment variables look the same but for their prefix.
KEY = re.compile(r"(?!NEBRIX_)[A-Z][A-Z0-9]*(_[A-Z0-9]+)+( %s)*")


def keys_in_sources():
    """Keys that are looked up, and every literal, of the two folders that make texts."""
    keys, literals = set(), set()
    for folder in ("gui", "view"):
        for path in glob.glob(f"{ROOT}/apps/nebrixclient/{folder}/*.[ch]*"):
            with open(path, encoding="utf-8") as stream:
                code = TOKEN.sub(lambda match: match[0] if match[0].startswith('"') else " ", stream.read())
            found = {match[1] for match in TOKEN.finditer(code) if match[1] is not None}
            literals |= found
            keys |= set(CALL.findall(code))
            if folder == "view":
                keys |= {literal for literal in found if KEY.fullmatch(literal)}
    return keys, literals


def mnemonics(text):
    return re.findall(r"&(\w)", text.lower())


def stock(label, language):
    translation = gettext.translation("wxstd-3.2", "/usr/share/locale", [language], fallback=True)
    return translation.gettext(label)


class Catalogs(unittest.TestCase):
    maxDiff = None

    @classmethod
    def setUpClass(cls):
        cls.texts = {code: {entry.msgid: "" if entry.fuzzy else entry.msgstr for entry in polib.pofile(f"{ROOT}/lang/{code}.po")}
                     for code in LANGUAGES}
        cls.keys = set(cls.texts["en"])

    def each_text(self, check):
        for code in LANGUAGES:
            for key, text in self.texts[code].items():
                with self.subTest(language=code, key=key, text=text):
                    check(code, key, text)

    def test_sources_and_catalogs_agree(self):
        keys, literals = keys_in_sources()
        self.assertEqual(sorted(keys - self.keys), [], "used in the sources, in no catalog")
        self.assertEqual(sorted(self.keys - literals), [], "in the catalogs, used in no source")

    def test_texts_keep_the_form_of_their_key(self):
        def check(_, key, text):
            self.assertNotEqual(text, "", "missing or fuzzy")
            self.assertEqual(text, text.strip())
            self.assertEqual(re.findall("%.?", text), re.findall("%.?", key))
            self.assertEqual(text.count("\n"), self.texts["en"][key].count("\n"))
            self.assertEqual(text.endswith(":"), key in FIELD_LABELS)
        self.each_text(check)

    def test_mnemonics_are_unique_where_they_stand_together(self):
        for name, (keys, labels) in DIALOGS.items():
            for code in LANGUAGES:
                texts = [self.texts[code][key] for key in keys] + [stock(label, code) for label in labels]
                found = [mnemonics(text) for text in texts]
                with self.subTest(dialog=name, language=code, texts=texts):
                    self.assertTrue(all(len(letters) == 1 for letters in found), "one in each text")
                    self.assertEqual(len({letters[0] for letters in found}), len(found), "shared")

    def test_only_what_can_be_reached_has_a_mnemonic(self):
        reachable = {key for keys, _ in DIALOGS.values() for key in keys}
        self.each_text(lambda _, key, text: self.assertTrue(key in reachable or "&" not in text))

    def test_connection_errors_name_the_buttons_to_press(self):
        for key in (key for key in self.keys if key.startswith("CONNECTION_")):
            for button in ("Retry", "Settings"):
                named = {code: self.texts[code][button].replace("&", "") in self.texts[code][key] for code in LANGUAGES}
                self.assertEqual(set(named.values()), {button in self.texts["en"][key]}, (key, button, named))

    def test_french_punctuation_does_not_break_off(self):
        for key, text in self.texts["fr"].items():
            self.assertNotRegex(text, "[« ] | [:»]", key)

    def test_a_language_is_one_file_and_what_it_lacks_is_english(self):
        with tempfile.TemporaryDirectory() as top:
            shutil.copytree(f"{ROOT}/lang", f"{top}/lang")
            subprocess.run([f"{top}/lang/update.py"], check=True)
            for path in glob.glob(f"{top}/lang/*.po*"):
                self.assertTrue(filecmp.cmp(path, f"{ROOT}/lang/{os.path.basename(path)}"), "update-translations: " + path)
            with open(f"{top}/CMakeLists.txt", "w", encoding="ascii") as stream:
                stream.write("cmake_minimum_required(VERSION 3.25)\nproject(top C)\nadd_subdirectory(lang)\n")
            english = polib.pofile(f"{top}/lang/en.po")
            english.find("Error").msgstr = "Failure"  # of which there is no translation yet
            english.save()
            subprocess.run([f"{top}/lang/update.py"], check=True)
            italian = polib.pofile(f"{top}/lang/fr.po")
            italian.metadata["Language"] = "it"
            italian.find("Connected").msgstr = ""
            italian.save(f"{top}/it.po")
            steps = "cmake -S . -B build && mv it.po lang && cmake --build build && cmake --install build --prefix ."
            subprocess.run(steps, shell=True, check=True, cwd=top, stdout=subprocess.DEVNULL)
            italian = self.texts["fr"] | {"Connected": self.texts["en"]["Connected"]}
            for code, texts in {**self.texts, "it": italian}.items():
                with open(f"{top}/share/nebrixclient/lang/{code}/nebrixclient.mo", "rb") as stream:
                    built = gettext.GNUTranslations(stream)
                self.assertEqual({key: built.gettext(key) for key in self.keys}, texts | {"Error": "Failure"}, code)
            with open(f"{top}/build/generated/languages.h", encoding="utf-8") as stream:
                self.assertIn('"fr", "it"', stream.read())


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
