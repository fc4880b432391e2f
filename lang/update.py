#!/usr/bin/python3
# SPDX-License-Identifier: Apache-2.0
"""Brings the catalogs of a folder (this one by default) up to date with en.po, which holds every key and the English text.

Writes nebrixclient.pot, the template of new languages, whose comments tell the English text of each key; gives every other
catalog, by msgmerge, the keys that it lacks, and takes those away that are gone. A translation whose English text has
changed since is marked fuzzy, for a translator to look at.
"""

import glob
import os
import subprocess
import sys

import polib

WIDTH = 119
ENGLISH = "English: "


def template_of(english):
    """The same entries without their texts, which stand in the comments. A label's mnemonic is each language's own."""
    template = polib.POFile(wrapwidth=WIDTH)
    template.metadata = {"Project-Id-Version": english.metadata["Project-Id-Version"],
                         "PO-Revision-Date": "YEAR-MO-DA HO:MI+ZONE", "Language": "",
                         "MIME-Version": "1.0", "Content-Type": "text/plain; charset=UTF-8",
                         "Content-Transfer-Encoding": "8bit"}
    template.header = "Texts of the desktop client. README.md beside this file tells how a language is added."
    for entry in english:
        comment = entry.comment + "\n" + ENGLISH + entry.msgstr.replace("\n", "\\n")
        template.append(polib.POEntry(msgid=entry.msgid, comment=comment, flags=entry.flags))
    return template


def mark_outdated(path, template):
    """Marks each translation fuzzy that was made of another English text."""
    catalog = polib.pofile(path, wrapwidth=WIDTH)
    for entry in catalog:
        model = template.find(entry.msgid)
        told = entry.comment.partition(ENGLISH)[2].split()
        if model and told and told != model.comment.partition(ENGLISH)[2].split() and not entry.fuzzy:
            entry.flags.append("fuzzy")
    catalog.save()


def main():
    folder = sys.argv[1] if len(sys.argv) > 1 else os.path.dirname(os.path.abspath(__file__))
    pot = os.path.join(folder, "nebrixclient.pot")
    template = template_of(polib.pofile(os.path.join(folder, "en.po")))
    template.save(pot)
    for path in sorted(set(glob.glob(f"{folder}/*.po")) - {f"{folder}/en.po"}):
        mark_outdated(path, template)
        subprocess.run(["msgmerge", "--quiet", "--no-fuzzy-matching", f"--width={WIDTH}", "-o", path, path, pot], check=True)
        subprocess.run(["msgattrib", "--no-obsolete", f"--width={WIDTH}", "-o", path, path], check=True)


main()
