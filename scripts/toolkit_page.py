#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Puts the programs of docs/examples into docs/toolkit.md, each behind the comment that names it.

usage: scripts/toolkit_page.py [--check]
  --check  changes nothing; says whether the page shows every program as it is, by the exit status as well
"""
import pathlib
import re
import sys

DOCS = pathlib.Path(__file__).resolve().parent.parent / "docs"
PAGE = DOCS / "toolkit.md"
BLOCK = re.compile(r"<!-- (examples/\w+\.cpp) -->\n(?:```cpp\n.*?^```\n)?", re.DOTALL | re.MULTILINE)


def main():
    text = PAGE.read_text(encoding="utf-8")
    shown = BLOCK.findall(text)
    missing = sorted({f"examples/{file.name}" for file in DOCS.glob("examples/*.cpp")} - set(shown))
    if missing:
        print(f"docs/toolkit.md names nowhere: {' '.join(missing)}")
        return 1
    fresh = BLOCK.sub(lambda match: f"<!-- {match[1]} -->\n```cpp\n{(DOCS / match[1]).read_text(encoding='utf-8')}```\n",
                      text)
    if "--check" not in sys.argv[1:]:
        PAGE.write_text(fresh, encoding="utf-8")
    elif fresh != text:
        print("docs/toolkit.md shows other programs than docs/examples holds; scripts/toolkit_page.py mends that")
        return 1
    return 0


if __name__ == "__main__":
    sys.exit(main())
