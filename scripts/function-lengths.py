#!/usr/bin/python3
"""The longest hand-written functions of the daemon and vantelctl, in lines
from the first line of the signature to the closing brace (src/onvif, which
is generated, left out). Functions are found by the house style: each one
starts at column 0 and ends with a "}" alone at column 0.

    /usr/bin/python3 scripts/function-lengths.py [COUNT]
"""
import glob
import os
import re
import sys

ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
SIGNATURE = re.compile(r"^[A-Za-z~]")
NOT_A_FUNCTION = re.compile(r'^(namespace|using|#|extern "C" \{$)')


def functions(path):
    lines = open(path, encoding="utf-8").read().split("\n")
    start = None
    for i, line in enumerate(lines):
        if start is None:
            if SIGNATURE.match(line) and not NOT_A_FUNCTION.match(line) and "(" in line \
                    and not line.rstrip().endswith(";"):
                start = i
        elif re.match(r"^\}\s*$", line):
            yield i - start + 1, start + 1, lines[start].strip()
            start = None
        elif line.rstrip().endswith(";") and not line.startswith(" ") and "{" not in "".join(lines[start:i + 1]):
            start = None  # a declaration over several lines


def main():
    count = int(sys.argv[1]) if len(sys.argv) > 1 else 10
    paths = [p for pattern in ("src/**/*.cc", "src/**/*.h", "tools/vantelctl/*.cc", "tools/vantelctl/*.h")
             for p in glob.glob(os.path.join(ROOT, pattern), recursive=True) if "/src/onvif/" not in p]
    rows = [(n, os.path.relpath(p, ROOT), at, name) for p in paths for n, at, name in functions(p)]
    for n, path, at, name in sorted(rows, reverse=True)[:count]:
        print(f"{n:4} {path}:{at} {name[:72]}")


main()
