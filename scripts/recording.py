#!/usr/bin/python3
# SPDX-License-Identifier: Apache-2.0
"""Makes the README's animated picture of the demo in a terminal: records scripts/demo.sh, cuts the recording to what a
viewer wants to see, and has termtosvg draw it. The picture has no script of its own: it also moves inside <img>.
Needs the Debian packages asciinema and termtosvg; run as root, since the demo shows a real tunnel."""

import argparse
import json
import os
import re
import shutil
import subprocess
import sys
import tempfile

ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
COMMAND = "scripts/demo.sh --tunnel --headless"
COLUMNS, ROWS = 88, 35
STAY = 6  # seconds that the last picture stays for
LONGEST_PAUSE = 0.8
HEADING_PAUSE = 0.6  # before a heading at least, to read what is above it
EDGE = 10
MOST_BYTES = 100_000
FONTS = "ui-monospace, 'DejaVu Sans Mono', 'Liberation Mono', Menlo, Consolas, monospace"


def record(path):
    """The demo's output as its terminal saw it, in asciicast(5) version 2: header and events."""
    environment = {**os.environ, "TERM": "xterm-256color", "LC_ALL": "C.UTF-8"}
    subprocess.run(["asciinema", "rec", "--quiet", "--overwrite", "--env", "TERM", "--cols", str(COLUMNS),
                    "--rows", str(ROWS), "--command", f"{COMMAND} --seconds 7", path],
                   cwd=ROOT, env=environment, check=True, stdin=subprocess.DEVNULL)
    with open(path, encoding="utf-8") as file:
        _, *events = map(json.loads, file)
    return events


def lines_of(events):
    """Each line with the moment at which it was there, from the gateway's start on: what is installed and built before
    is another matter each time."""
    begun = False
    pending = ""
    for at, _, text in events:
        *whole, pending = (pending + text).split("\r\n")
        for line in whole:
            line = re.sub(r".*\r\x1b\[K", "", line)
            begun = begun or line == "== gateway"
            if begun:
                yield at, line


def shown(line):
    """As it is shown; None for what says nothing to a viewer."""
    if re.match(r"(component|certificate) |mediation (plugindllnotunnel|hostchecker) |rtt |--- |$", line):
        return None
    line = re.sub(r"https://[0-9a-f]{32}@127\.0\.0\.1:\d+", "https://…@127.0.0.1", line)
    line = re.sub(r"(listening 127\.0\.0\.1):\d+", r"\1", line)
    line = re.sub(r"^tunnel \d+", "tunnel", line)
    return f"\x1b[1;36m{line}\x1b[0m" if line.startswith("== ") else line.rstrip()


def cut(events):
    """The recording, as asciicast lines."""
    yield {"version": 2, "width": COLUMNS, "height": ROWS}
    now, last = 0.4, None
    yield [0.0, "o", f"\x1b[?25l\x1b[1;32m#\x1b[0m {COMMAND}\r\n"]
    for at, line in lines_of(events):
        text = shown(line)
        if text is None:
            continue
        pause = min(at - last, LONGEST_PAUSE) if last is not None else 0
        now += max(pause, HEADING_PAUSE if line.startswith("== ") else 0)
        last = at
        # Lines that came together are one picture of the animation.
        yield [round(now, 1), "o", text + "\r\n"]


def draw(recording, picture):
    subprocess.run(["termtosvg", "render", recording, picture, "-t", "gjm8", "-m", "100", "-D", str(STAY * 1000)],
                   check=True, stdout=subprocess.DEVNULL, stderr=subprocess.PIPE)


def finish(path):
    """With an edge around, fonts that are there, and the last picture alone for those who want nothing to move."""
    with open(path, encoding="utf-8") as file:
        text = file.read()
    last = re.findall(r"translateY\((-?[\d.]+)px\)", text)[-1]
    width, height = map(int, re.search(r'viewBox="0 0 (\d+) (\d+)" width', text).groups())
    size = f'viewBox="{-EDGE} {-EDGE} {width + 2 * EDGE} {height + 2 * EDGE}" width="{width + 2 * EDGE}"'
    text = re.sub(r'viewBox="[^"]*" width="\d+"', size, text, count=1)
    edge = f'<rect x="{-EDGE}" y="{-EDGE}" width="100%" height="100%" class="background"/>'
    text = text.replace("</defs>", "</defs>" + edge, 1)
    still = (f"@media (prefers-reduced-motion: reduce) "
             f"{{ #screen_view {{ animation: none !important; transform: translateY({last}px); }} }}")
    text = text.replace("'DejaVu Sans Mono', monospace", FONTS)
    text = re.sub(r'(<style type="text/css" id="user-style">)', r"\1" + still, text, count=1)
    with open(path, "w", encoding="utf-8") as file:
        file.write(text)


def check(path):
    """Nothing of the machine that it was made on is in it."""
    with open(path, encoding="utf-8") as file:
        text = file.read()
    for word in (ROOT, os.uname().nodename, os.environ.get("USER"), "<script"):
        if word and word != "root" and word in text:
            sys.exit(f"recording: {word!r} is in {path}")
    if len(text.encode()) > MOST_BYTES:
        sys.exit(f"recording: {path} has {len(text.encode())} bytes, more than {MOST_BYTES}")
    if "it works" not in text or "stopped" not in text:
        sys.exit(f"recording: the demo did not come to its end, see {path}")


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("picture", nargs="?", default=os.path.join(ROOT, "docs", "img", "demo.svg"))
    picture = os.path.abspath(parser.parse_args().picture)
    missing = [program for program in ("asciinema", "termtosvg") if shutil.which(program) is None]
    if missing:
        sys.exit(f"recording: as root, run: apt-get install --no-install-recommends {' '.join(missing)}")
    with tempfile.TemporaryDirectory() as directory:
        events = record(os.path.join(directory, "whole.cast"))
        recording = os.path.join(directory, "cut.cast")
        with open(recording, "w", encoding="utf-8") as file:
            file.writelines(json.dumps(line) + "\n" for line in cut(events))
        draw(recording, picture)
    finish(picture)
    check(picture)
    print(f"recording: {picture}, {os.path.getsize(picture)} bytes")


if __name__ == "__main__":
    main()
