#!/usr/bin/python3
"""Mutation run: how many small faults in src/ do the tests catch?

Applies a fixed, seeded sample of small mutations to src/ (src/onvif
excepted) one at a time: flip a comparison, change a constant by one, drop
a call, swap two neighbouring field offsets, return early (a flipped
boolean or 0/1 result). For each it rebuilds incrementally in a build tree
of its own, runs the tests (inside scripts/netns-run.sh, so port 1997 and
its lock are private), restores the file, and finally prints the kill rate
and the survivors.

    /usr/bin/python3 scripts/mutants.py [--count 60] [--seed 9] [--workers 2]

Each worker copies the tracked tree to a scratch folder and builds there,
so the working tree is never touched. The sample depends only on the text
of the mutated lines: unrelated edits elsewhere do not change it. A mutant
the compiler rejects (a checked layout, a type error) is reported apart and
left out of the rate.
"""

import argparse
import hashlib
import os
import queue
import re
import shutil
import subprocess
import sys
import tempfile
import threading

ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))

# Tests of the test double cannot see a fault in src/.
TEST_EXCLUDE = "camsim_selftest|CamsimStrict"

COMPARISONS = [(" == ", " != "), (" != ", " == "), (" < ", " <= "), (" <= ", " < "),
               (" > ", " >= "), (" >= ", " > ")]
RETURNS = [("return true;", "return false;"), ("return false;", "return true;"),
           ("return 1;", "return 0;"), ("return 0;", "return 1;")]
NUMBER = re.compile(r"(?<![\w.])(\d+)(?![\w.])")
CALL_STATEMENT = re.compile(r"^\s*(?:[\w:]+(?:\.|->))*[a-z_][\w:]*\(.*\);\s*$")
OFFSET = re.compile(r"^(\s*constexpr size_t k\w+ = )(\d+)(;.*)$")


def code_part(line):
    return line.split("//", 1)[0]


def candidates(tree):
    """Every mutation the operators allow, as (path, line number, kind, old, new)."""
    found = []
    src = os.path.join(tree, "src")
    for folder, _, files in sorted(os.walk(src)):
        if os.path.relpath(folder, src).split(os.sep)[0] == "onvif":
            continue
        for name in sorted(files):
            if not name.endswith((".cc", ".h")):
                continue
            path = os.path.relpath(os.path.join(folder, name), tree)
            lines = open(os.path.join(tree, path)).read().split("\n")
            offsets = [i for i, l in enumerate(lines) if OFFSET.match(l)]
            for i, line in enumerate(lines):
                code = code_part(line)
                stripped = code.strip()
                if (not stripped or stripped.startswith(("#", "static_assert", "*", "//"))
                        or "template" in code):
                    continue
                for old, new in COMPARISONS:
                    at = code.find(old)
                    if at >= 0:
                        found.append((path, i, "flip", line, line[:at] + new + line[at + len(old):]))
                for old, new in RETURNS:
                    if old in code:
                        found.append((path, i, "return", line, line.replace(old, new, 1)))
                for m in NUMBER.finditer(code):
                    value = int(m.group(1))
                    found.append((path, i, "constant", line,
                                  line[:m.start()] + str(value + 1) + line[m.end():]))
                    break
                if CALL_STATEMENT.match(code) and not stripped.startswith(("return", "case")):
                    found.append((path, i, "drop-call", line, line[:len(line) - len(line.lstrip())] + ";"))
            # Swap a field offset with the next one of its group.
            for a, b in zip(offsets, offsets[1:]):
                if b != a + 1:
                    continue
                ma, mb = OFFSET.match(lines[a]), OFFSET.match(lines[b])
                if ma.group(2) == mb.group(2):
                    continue
                found.append((path, a, "swap-offset", lines[a] + "\n" + lines[b],
                              ma.group(1) + mb.group(2) + ma.group(3) + "\n" +
                              mb.group(1) + ma.group(2) + mb.group(3)))
    return found


def sample(found, count, seed):
    def key(c):
        return hashlib.sha256(f"{seed}|{c[0]}|{c[2]}|{c[3]}|{c[4]}".encode()).hexdigest()
    return sorted(sorted(found, key=key)[:count], key=lambda c: (c[0], c[1]))


def run(cmd, cwd, timeout):
    try:
        return subprocess.run(cmd, cwd=cwd, stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
                              timeout=timeout).returncode
    except subprocess.TimeoutExpired:
        return -1


def prepare_worker(index):
    work = tempfile.mkdtemp(prefix=f"vantel-mutants-{index}-")
    files = subprocess.run(["git", "ls-files", "-co", "--exclude-standard"], cwd=ROOT,
                           stdout=subprocess.PIPE, check=True, text=True).stdout.split("\n")
    for rel in filter(None, files):
        source = os.path.join(ROOT, rel)
        if os.path.isfile(source):
            os.makedirs(os.path.dirname(os.path.join(work, rel)), exist_ok=True)
            shutil.copy2(source, os.path.join(work, rel))
    build = os.path.join(work, "build-mutants")
    if run(["cmake", "-S", ".", "-B", build, "-DCMAKE_BUILD_TYPE=RelWithDebInfo"], work, 600) != 0:
        sys.exit(f"worker {index}: configure failed")
    if run(["cmake", "--build", build, "-j1"], work, 3600) != 0:
        sys.exit(f"worker {index}: the unmutated tree does not build")
    if test(work, build) != "survived":
        sys.exit(f"worker {index}: the unmutated tree fails its tests")
    return work, build


def test(work, build):
    code = run([os.path.join(work, "scripts", "netns-run.sh"), "ctest", "--test-dir", build,
                "--stop-on-failure", "-j2", "--timeout", "60", "-E", TEST_EXCLUDE], work, 1200)
    return "survived" if code == 0 else "killed"


def worker(index, jobs, results):
    work, build = prepare_worker(index)
    try:
        while True:
            try:
                number, (path, line, kind, old, new) = jobs.get_nowait()
            except queue.Empty:
                return
            target = os.path.join(work, path)
            original = open(target).read()
            lines = original.split("\n")
            count = old.count("\n") + 1
            lines[line:line + count] = new.split("\n")
            try:
                open(target, "w").write("\n".join(lines))
                if run(["cmake", "--build", build, "-j1"], work, 1800) != 0:
                    outcome = "build-rejected"
                else:
                    outcome = test(work, build)
            finally:
                open(target, "w").write(original)
            results[number] = outcome
            print(f"[{number:3}] {outcome:14} {kind:11} {path}:{line + 1}", flush=True)
    finally:
        run(["cmake", "--build", build, "-j1"], work, 1800)
        shutil.rmtree(work, ignore_errors=True)


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n")[0])
    parser.add_argument("--count", type=int, default=60)
    parser.add_argument("--seed", type=int, default=9)
    parser.add_argument("--workers", type=int, default=1)
    parser.add_argument("--list", action="store_true", help="print the sample and stop")
    args = parser.parse_args()

    chosen = sample(candidates(ROOT), args.count, args.seed)
    if args.list:
        for number, (path, line, kind, old, new) in enumerate(chosen):
            print(f"[{number:3}] {kind:11} {path}:{line + 1}\n      - {old.strip()}\n      + {new.strip()}")
        return
    jobs = queue.Queue()
    for item in enumerate(chosen):
        jobs.put(item)
    results = {}
    threads = [threading.Thread(target=worker, args=(i, jobs, results)) for i in range(args.workers)]
    for t in threads:
        t.start()
    for t in threads:
        t.join()

    killed = [n for n, o in results.items() if o == "killed"]
    rejected = [n for n, o in results.items() if o == "build-rejected"]
    survived = sorted(n for n, o in results.items() if o == "survived")
    compiled = len(killed) + len(survived)
    print(f"\nmutants: {len(chosen)}  build-rejected: {len(rejected)}  killed: {len(killed)}  "
          f"survived: {len(survived)}")
    if compiled:
        print(f"kill rate: {len(killed)}/{compiled} = {100.0 * len(killed) / compiled:.1f}%")
    for n in survived:
        path, line, kind, old, new = chosen[n]
        print(f"survivor [{n}] {kind} {path}:{line + 1}\n   - {old.strip()}\n   + {new.strip()}")


if __name__ == "__main__":
    main()
