#!/usr/bin/env python3
"""Plants includes in a temporary tree and checks which of them include_rules.py reports."""

import json
import os
import subprocess
import sys
import tempfile

CHECKER = os.path.join(os.path.dirname(os.path.abspath(__file__)), "../../scripts/include_rules.py")
HEADERS = ["libs/base/string.h", "libs/json/reader.h", "libs/curl/session.h", "apps/nebrixclient/client.h",
           "apps/nebrixclient/view/panel.h", "sdk/include/nebrix_component.h", "sdk/components/common/text.h",
           "tests/support/a.h"]

# file, include, part of the report ("" if it is allowed)
CASES = [
    ("libs/base/a.cpp", "<vector>", ""),
    ("libs/base/a.cpp", '"libs/json/reader.h"', "libs/base may not include libs/json"),
    ("libs/http/a.cpp", '"libs/curl/session.h"', "libs/http may not include libs/curl"),
    ("libs/xml/a.h", '"string.h"', "not a header named from the repository root"),
    ("libs/xml/a.h", '"libs/xml/../base/string.h"', "not a header named from the repository root"),
    ("libs/xml/a.cpp", "<json/json.h>", "only libs/json touches jsoncpp"),
    ("libs/json/a.cpp", "<json/json.h>", ""),
    ("libs/curl/a.cpp", "<openssl/rsa.h>", "only libs/openssl touches OpenSSL"),
    ("libs/openssl/a.cpp", "<curl/curl.h>", "only libs/curl touches libcurl"),
    ("libs/base/a.cpp", "<boost/any.hpp>", "no library that the product depends on"),
    ("libs/base/a.cpp", "HEADER", "names no file"),
    ("apps/nebrixclient/a.cpp", "<wx/wx.h>", "only apps/nebrixclient/gui touches wx"),
    ("apps/nebrixclient/a.cpp", '"generated/component_public_key.h"', ""),
    ("apps/nebrixclient/a.cpp", '"apps/nebrixclient/view/panel.h"', "may not include apps/nebrixclient/view"),
    ("apps/nebrixclient/view/a.cpp", '"libs/curl/session.h"', "may not include libs/curl"),
    ("apps/nebrixclient/gui/a.cpp", '"apps/nebrixclient/view/panel.h"', ""),
    ("apps/nebrixclient-cli/a.cpp", '"tests/support/a.h"', "nothing outside tests, bench and fuzz"),
    ("sdk/include/a.h", "<unistd.h>", "C standard headers only"),
    ("sdk/components/common/a.c", '"nebrix_component.h"', ""),
    ("sdk/components/tunnel/a.c", '"common/text.h"', ""),
    ("sdk/components/tunnel/a.c", '"text.h"', "not a header named from the repository root"),
    ("sdk/components/common/a.c", '"libs/base/string.h"', "sdk may not include libs/base"),
    ("tests/base/a.cpp", '"tests/support/a.h"', ""),
    ("tests/base/a.cpp", "<openssl/rsa.h>", ""),
    ("libs/news/a.cpp", "<vector>", "no place in the rule"),
]


def write(root, path, text):
    os.makedirs(os.path.dirname(os.path.join(root, path)), exist_ok=True)
    with open(os.path.join(root, path), "w", encoding="utf-8") as stream:
        stream.write(text)


def run(root, *options):
    done = subprocess.run([sys.executable, "-B", CHECKER, root, *options], capture_output=True, text=True, check=False)
    return done.returncode, done.stdout


def failures():
    with tempfile.TemporaryDirectory() as root:
        if run(root)[0] != 2:
            yield "a tree without sources passes"
        for header in HEADERS:
            write(root, header, "")
        for path, include, expected in CASES:
            write(root, path, f"// a comment\n#  include {include}\n")
            status, output = run(root)
            reported = status == 1 and path + ":" in output and expected in output
            if not (reported if expected else status == 0):
                yield f"{path} includes {include}: status {status}, {output!r}, expected {expected!r}"
            os.remove(os.path.join(root, path))
        for command, expected in [("g++ -I/t/libs/base -c a.cpp", 1), ("g++ -I/t -c libs/base/a.cpp", 0)]:
            write(root, "commands.json", json.dumps([{"file": "a.cpp", "command": command}]))
            if run(root, "--compile-commands", os.path.join(root, "commands.json"))[0] != expected:
                yield f"search path of {command!r}: expected {expected}"


if __name__ == "__main__":
    found = list(failures())
    print("\n".join(found) or f"{len(CASES)} cases")
    sys.exit(1 if found else 0)
