#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Reads every #include of the tree and says which of them breaks the rule of who may include whom.

Each violation is one line "file:line: reason". Exit status 1 if there is one, 2 if there was nothing to read.
"""

import argparse
import json
import os
import re
import sys
import tempfile

# Zone -> zones whose headers it may include, besides its own. A file belongs to the longest prefix that fits.
LIBRARIES = ["libs/base", "libs/xml", "libs/json", "libs/http", "libs/openssl", "libs/curl"]
PROGRAM = LIBRARIES + ["apps/common", "apps/nebrixclient", "generated"]
MAY_INCLUDE = {
    "libs/base": [],
    "libs/xml": ["libs/base"],
    "libs/json": ["libs/base"],
    "libs/http": ["libs/base"],
    "libs/openssl": ["libs/base"],
    "libs/curl": ["libs/base", "libs/http"],
    "apps/common": ["libs/base"],
    "apps/component": ["libs/base", "libs/http", "sdk/include"],
    "apps/nebrix-component-host": ["apps/component", "libs/base", "libs/http", "sdk/include"],
    "apps/nebrix-proxy-query": ["libs/base"],
    "apps/nebrix-component-probe": ["apps/nebrix-component-host", "apps/component", "libs/base", "libs/http",
                                    "sdk/include"],
    "apps/nebrixclient": LIBRARIES + ["apps/component", "sdk/include", "generated"],
    "apps/nebrixclient/view": ["apps/nebrixclient", "libs/base", "libs/http", "libs/openssl"],
    "apps/nebrixclient/gui": ["apps/nebrixclient/view", "apps/nebrixclient", "apps/common", "libs/base", "libs/curl",
                              "libs/http", "generated"],
    "apps/nebrixclient-cli": PROGRAM + ["sdk/include"],
    "apps/nebrix-sign": PROGRAM + ["apps/nebrix-sign/author", "apps/component", "apps/nebrix-component-probe",
                                   "sdk/include"],
    "apps/nebrix-sign/author": PROGRAM + ["apps/nebrix-sign", "apps/nebrix-demo-gateway"],
    "apps/nebrix-demo-gateway": PROGRAM + ["apps/nebrix-sign"],
    "sdk/include": [],
    "sdk": ["sdk/include"],
}
UNBOUND = ["tests", "bench", "endurance", "fuzz"]  # may include anything, and nothing else may include them
ZONES = sorted(list(MAY_INCLUDE) + UNBOUND, key=len, reverse=True)

# External library -> its headers, and the zones that may touch it (UNBOUND may touch every one).
EXTERNAL = {
    "jsoncpp": (r"json/", ["libs/json"]),
    "libcurl": (r"curl/", ["libs/curl"]),
    "OpenSSL": (r"openssl/", ["libs/openssl"]),
    "PCRE2 or RE2": (r"pcre2(posix)?\.h|re2/", ["libs/http"]),
    "libidn2": (r"idn2\.h", ["libs/http"]),
    "wx": (r"wx/", ["apps/nebrixclient/gui"]),
    "GTK, GIO or X11": (r"(gtk|gtk-layer-shell|gdk|gio|glib-object|X11)(/.*)?(\.h)?$",
                        ["apps/nebrixclient/gui"]),
    "cpp-httplib": (r"httplib\.h", ["apps/nebrix-demo-gateway"]),
    "libproxy": (r"proxy\.h", ["apps/nebrix-proxy-query"]),
    "libsystemd": (r"systemd/", ["sdk"]),
    "libelf": (r"(lib|g)elf\.h", ["apps/nebrix-sign"]),
    "libarchive": (r"archive(_entry)?\.h", ["apps/nebrix-sign"]),
}
C_STANDARD = set(
    "assert complex ctype errno fenv float inttypes iso646 limits locale math setjmp signal stdarg stdbool stddef "
    "stdint stdio stdlib string tgmath time wchar wctype".split())
POSIX = re.compile(
    r"(dirent|dlfcn|fcntl|fnmatch|ftw|getopt|glob|grp|langinfo|libgen|netdb|poll|pthread|pwd|regex|sched|semaphore|spawn|"
    r"strings|syslog|termios|unistd|utime|wordexp)\.h|(sys|arpa|net|netinet)/[a-z_]+\.h")
PLATFORM = re.compile(r"linux/[a-z_]+\.h|sanitizer/[a-z_]+\.h|(cxxabi|immintrin|malloc|stdio_ext)\.h")  # the kernel's, the C library's, the compilers'
CPP_STANDARD = re.compile(r"[a-z_]+")

INCLUDE = re.compile(r"^\s*#\s*include(?:_next)?\s*(?:\"([^\"]*)\"|<([^>]*)>|(.*))")
SOURCE_SUFFIXES = (".c", ".cpp", ".h", ".hpp", ".h.in", ".cpp.in")


def zone_of(path):
    for zone in ZONES:
        if path == zone or path.startswith(zone + "/"):
            return zone
    return None


def judge_own(root, path, zone, header):
    """The reason why the file may not include this header of ours, or None."""
    if zone == "sdk":
        # The samples can be copied out of the tree: they name the contract's header and each other plainly.
        for folder in (os.path.dirname(path), "sdk/include", "sdk/components"):
            if os.path.exists(os.path.join(root, folder, header)):
                header = f"{folder}/{header}"
                break
    if header.startswith("generated/"):
        target = "generated"
    elif not os.path.exists(os.path.join(root, header)) or ".." in header.split("/"):
        return f'"{header}" is not a header named from the repository root'
    else:
        target = zone_of(header)
    if zone in UNBOUND or target == zone:
        return None
    if target in UNBOUND:
        return f'"{header}": nothing outside tests, bench, endurance and fuzz includes {target}'
    if target not in MAY_INCLUDE[zone]:
        return f'"{header}": {zone} may not include {target}'
    return None


def judge_system(zone, header):
    """The reason why a file of this zone may not include <header>, or None."""
    if zone in UNBOUND:
        return None
    standard_c = header.endswith(".h") and header[:-2] in C_STANDARD
    if zone == "sdk/include":
        return None if standard_c else f"<{header}>: the component header includes C standard headers only"
    for library, (headers, zones) in EXTERNAL.items():
        if re.match(headers, header):
            return None if zone in zones else f"<{header}>: only {' and '.join(zones)} touches {library}"
    if standard_c or any(kind.fullmatch(header) for kind in (POSIX, PLATFORM, CPP_STANDARD)):
        return None
    return f"<{header}>: no library that the product depends on"


def violations_of_file(root, path):
    zone = zone_of(path)
    with open(os.path.join(root, path), encoding="utf-8", errors="replace") as stream:
        for number, line in enumerate(stream, 1):
            match = INCLUDE.match(line)
            if not match:
                continue
            own, system, other = match.groups()
            if own is not None:
                reason = judge_own(root, path, zone, own)
            elif system is not None:
                reason = judge_system(zone, system)
            else:
                reason = f"an include that names no file: {other.strip()}"
            if reason:
                yield f"{path}:{number}: {reason}"


def sources_of(root):
    for top in sorted({zone.split("/")[0] for zone in ZONES}):
        for folder, folders, files in os.walk(os.path.join(root, top)):
            folders.sort()
            for name in sorted(files):
                path = os.path.relpath(os.path.join(folder, name), root)
                if name.endswith(SOURCE_SUFFIXES) and not path.startswith("fuzz/seeds/"):
                    yield path


def violations_of_tree(root):
    for path in sources_of(root):
        if zone_of(path) is None:
            yield f"{path}:1: this folder has no place in the rule"
        else:
            yield from violations_of_file(root, path)


def violations_of_search_path(commands):
    """libs/base holds a string.h, a memory.h and a thread.h: as a search path it would shadow the system's."""
    with open(commands, encoding="utf-8") as stream:
        for entry in json.load(stream):
            if re.search(r"-(I|isystem|iquote)\s*\S*/libs/base/?(\s|$)", entry["command"]):
                yield f"{entry['file']}:1: compiled with libs/base on the include path"


# For the self-test: file, include, part of the report ("" if it is allowed).
PLANTED = [
    ("libs/json/a.cpp", "<json/json.h>", ""),
    ("libs/xml/a.cpp", "<json/json.h>", "only libs/json touches jsoncpp"),
    ("libs/base/a.cpp", '"libs/curl/session.h"', "libs/base may not include libs/curl"),
    ("libs/curl/a.cpp", '"session.h"', "not a header named from the repository root"),
    ("apps/nebrixclient/gui/a.cpp", '"tests/support/a.h"', "nothing outside tests, bench, endurance and fuzz"),
    ("sdk/include/a.h", "<unistd.h>", "C standard headers only"),
    ("libs/base/b.cpp", "HEADER", "names no file"),
    ("libs/news/a.cpp", "<vector>", "no place in the rule"),
]


def self_test():
    """Plants includes in a tree of its own and compares what is reported."""
    headers = [("libs/curl/session.h", "<vector>", ""), ("tests/support/a.h", "<openssl/rsa.h>", "")]
    with tempfile.TemporaryDirectory() as root:
        for path, include, _ in headers + PLANTED:
            os.makedirs(os.path.dirname(os.path.join(root, path)), exist_ok=True)
            with open(os.path.join(root, path), "w", encoding="utf-8") as stream:
                stream.write(f"// a comment\n#  include {include}\n")
        found = dict(violation.split(":", 1) for violation in violations_of_tree(root))
        wrong = [path for path, _, expected in headers + PLANTED
                 if expected not in found.get(path, "") or (path in found) != bool(expected)]
        with open(os.path.join(root, "commands"), "w", encoding="utf-8") as stream:
            json.dump([{"file": "a", "command": f"g++ -I/t{folder} -c a"} for folder in ("/libs/base", "")], stream)
        if len(list(violations_of_search_path(stream.name))) != 1:
            wrong.append("the search path")
    print(f"self-test: judged wrongly: {wrong}" if wrong else "self-test: passed")
    return 1 if wrong else 0


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("root", nargs="?")
    parser.add_argument("--compile-commands")
    parser.add_argument("--self-test", action="store_true", help="judge planted includes instead of a tree's")
    arguments = parser.parse_args()
    if arguments.self_test:
        return self_test()
    if arguments.root is None:
        parser.error("which tree?")
    count = sum(1 for _ in sources_of(arguments.root))
    if count == 0:
        print(f"{arguments.root} holds no source", file=sys.stderr)
        return 2
    violations = list(violations_of_tree(arguments.root))
    if arguments.compile_commands:
        violations += violations_of_search_path(arguments.compile_commands)
    for violation in violations:
        print(violation)
    print(f"{count} files, {len(violations)} violations")
    return 1 if violations else 0


if __name__ == "__main__":
    sys.exit(main())
