#!/usr/bin/python3
"""Mutation run: how many small faults in src/ do the tests catch?

Applies a fixed, seeded sample of small mutations to src/ (src/onvif
excepted) one at a time: flip a comparison, change a constant by one, drop
a call, swap two neighbouring field offsets, return early (a flipped
boolean or 0/1 result). For each it rebuilds incrementally in a build tree
of its own (plain, no sanitizers), runs the unit tests and then the system
tests in three shards, each inside scripts/netns-run.sh so that port 1997
and its lock are private, restores the file, and finally prints the kill
rate and the survivors.

    /usr/bin/python3 scripts/mutants.py [--count 60] [--seed 9] [--baseline REV]

--baseline REV also builds the tests as they stood at REV and runs both
suites against each mutant: the before and after of a change to the tests.
--matrix runs every test to its end against each mutant and reports which
tests kill which (and which mutants only one test kills): what a trim of
the tests may leave out, measured.
The source files are mutated in place and always restored; do not edit
src/ while it runs. The sample depends only on the text of the mutated
lines: unrelated edits elsewhere do not change it. A mutant the compiler
rejects (a checked layout, a type error) is reported apart and left out of
the rate.
"""

import argparse
import hashlib
import json
import os
import re
import shutil
import signal
import subprocess
import sys

ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))

# Tests of the test double cannot see a fault in src/.
TEST_EXCLUDE = "CamsimStrict"

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


def run(cmd, timeout, env=None):
    try:
        return subprocess.run(cmd, cwd=ROOT, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL,
                              timeout=timeout, env=env).returncode
    except subprocess.TimeoutExpired:
        return -1


def baseline_tests(build, revision):
    """tests/ as it stood at `revision`, built beside the current tests
    under target names of its own, so that both suites meet the same
    mutants in one build."""
    # The earlier tests find their data files and camsim under a source
    # tree of their own: their tests/ beside today's tools/.
    tree = os.path.join(build, "baseline-tree")
    folder = os.path.join(tree, "tests")
    shutil.rmtree(tree, ignore_errors=True)
    os.makedirs(folder)
    os.symlink(os.path.join(ROOT, "tools"), os.path.join(tree, "tools"))
    archive = subprocess.run(["git", "archive", revision, "tests"], cwd=ROOT, stdout=subprocess.PIPE,
                             check=True).stdout
    subprocess.run(["tar", "-x", "--strip-components=1", "-C", folder], input=archive, check=True)
    cmake = open(os.path.join(folder, "CMakeLists.txt")).read()
    cmake = re.sub(r"gtest_discover_tests\([^)]*\)", "", cmake)
    cmake = re.sub(r"if\(EXISTS .*?endif\(\)", "", cmake, flags=re.S)
    cmake = cmake.replace('VANTEL_SOURCE_DIR="${CMAKE_SOURCE_DIR}"', f'VANTEL_SOURCE_DIR="{tree}"')
    for target in ("unit_tests", "system_tests", "vantel-fastdog"):
        cmake = re.sub(rf"\b{target}\b", target + "_baseline", cmake)
    open(os.path.join(folder, "CMakeLists.txt"), "w").write(cmake)
    return folder


def suite_passes(binaries, shards):
    """The unit binary, then the system binary split into shards, each shard
    in a network namespace of its own so that they can share port 1997."""
    unit, system = binaries
    if run([unit, "--gtest_fail_fast"], 300) != 0:
        return False
    netns = os.path.join(ROOT, "scripts", "netns-run.sh")
    procs = []
    for index in range(shards):
        env = dict(os.environ, GTEST_TOTAL_SHARDS=str(shards), GTEST_SHARD_INDEX=str(index))
        procs.append(subprocess.Popen([netns, system, "--gtest_fail_fast", "--gtest_filter=-CamsimStrict.*"],
                                      cwd=ROOT, env=env, stdout=subprocess.DEVNULL,
                                      stderr=subprocess.DEVNULL, start_new_session=True))
    ok = True
    for proc in procs:
        try:
            ok = proc.wait(timeout=600) == 0 and ok
        except subprocess.TimeoutExpired:
            os.killpg(proc.pid, signal.SIGKILL)
            proc.wait()
            ok = False
    return ok


def suite_failures(binaries, shards, work):
    """Like suite_passes, but every test runs to its end: the names of the
    tests that failed (a shard that hung counts as "SHARD n")."""
    unit, system = binaries
    netns = os.path.join(ROOT, "scripts", "netns-run.sh")
    runs = [([unit], None)] + [([netns, system, "--gtest_filter=-CamsimStrict.*"], index) for index in range(shards)]
    procs = []
    for number, (command, index) in enumerate(runs):
        out = os.path.join(work, f"gtest-{number}.json")
        if os.path.exists(out):
            os.remove(out)
        env = dict(os.environ)
        if index is not None:
            env.update(GTEST_TOTAL_SHARDS=str(shards), GTEST_SHARD_INDEX=str(index))
        procs.append((out, subprocess.Popen(command + [f"--gtest_output=json:{out}"], cwd=ROOT, env=env,
                                            stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL,
                                            start_new_session=True)))
    failed = []
    for number, (out, proc) in enumerate(procs):
        try:
            proc.wait(timeout=600)
        except subprocess.TimeoutExpired:
            os.killpg(proc.pid, signal.SIGKILL)
            proc.wait()
        try:
            report = json.load(open(out))
        except (OSError, ValueError):
            failed.append(f"SHARD {number}")
            continue
        for suite in report.get("testsuites", []):
            for test in suite.get("testsuite", []):
                if test.get("failures"):
                    failed.append(f"{suite['name']}.{test['name']}")
    return failed


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n")[0])
    parser.add_argument("--count", type=int, default=60)
    parser.add_argument("--seed", type=int, default=9)
    parser.add_argument("--build-dir", default=os.path.join(ROOT, "build-mutants"))
    parser.add_argument("--baseline", metavar="REVISION",
                        help="also run the tests as they stood at REVISION against every mutant")
    parser.add_argument("--full", action="store_true",
                        help="run the --baseline suite on every mutant, not only on the current survivors")
    parser.add_argument("--shards", type=int, default=3,
                        help="system-test shards run side by side (they mostly wait on sockets and timers)")
    parser.add_argument("--matrix", action="store_true",
                        help="run every test against every mutant and report which tests kill which")
    parser.add_argument("--only", help="comma list of mutant numbers to run (default: all)")
    parser.add_argument("--list", action="store_true", help="print the sample and stop")
    args = parser.parse_args()
    # A kill must still put the mutated file back.
    signal.signal(signal.SIGTERM, lambda *_: sys.exit("stopped"))

    chosen = sample(candidates(ROOT), args.count, args.seed)
    if args.list:
        for number, (path, line, kind, old, new) in enumerate(chosen):
            print(f"[{number:3}] {kind:11} {path}:{line + 1}\n      - {old.strip()}\n      + {new.strip()}")
        return
    build = os.path.abspath(args.build_dir)
    suites = {"current": (os.path.join(build, "tests", "unit_tests"), os.path.join(build, "tests", "system_tests"))}
    baseline = baseline_tests(build, args.baseline) if args.baseline else ""
    if baseline:
        suites["baseline"] = (os.path.join(build, "baseline-tests", "unit_tests_baseline"),
                              os.path.join(build, "baseline-tests", "system_tests_baseline"))
    if run(["cmake", "-S", ".", "-B", build, f"-DVANTEL_BASELINE_TESTS={baseline}"], 600) != 0:
        sys.exit("configure failed")
    targets = ["vantel", "unit_tests", "system_tests"] + (["unit_tests_baseline", "system_tests_baseline"]
                                                          if baseline else [])
    if run(["cmake", "--build", build, "-j2", "--target"] + targets, 3600) != 0:
        sys.exit("the unmutated tree does not build")
    for name, binaries in suites.items():
        if not suite_passes(binaries, args.shards):
            sys.exit(f"the unmutated tree fails its {name} tests")

    results = {name: {} for name in suites}
    killers = {}
    only = {int(n) for n in args.only.split(",")} if args.only else None
    try:
        for number, (path, line, kind, old, new) in enumerate(chosen):
            if only is not None and number not in only:
                continue
            target = os.path.join(ROOT, path)
            original = open(target).read()
            lines = original.split("\n")
            lines[line:line + old.count("\n") + 1] = new.split("\n")
            try:
                open(target, "w").write("\n".join(lines))
                built = run(["cmake", "--build", build, "-j2", "--target"] + targets, 1800) == 0
                for name, binaries in suites.items():
                    if not built:
                        results[name][number] = "build-rejected"
                    elif name == "baseline" and results["current"][number] == "killed" and not args.full:
                        # What the current tests kill cannot count against
                        # them; the earlier suite is only asked about the
                        # current survivors unless --full is given.
                        results[name][number] = "not-run"
                    elif args.matrix and name == "current":
                        killers[number] = suite_failures(binaries, args.shards, build)
                        results[name][number] = "killed" if killers[number] else "survived"
                    else:
                        results[name][number] = "killed" if not suite_passes(binaries, args.shards) else "survived"
            finally:
                open(target, "w").write(original)
            print(f"[{number:3}] " + " ".join(f"{name}={results[name][number]:14}" for name in suites) +
                  f" {kind:11} {path}:{line + 1}" +
                  (" killed by: " + " ".join(killers.get(number, [])) if args.matrix else ""), flush=True)
    finally:
        run(["cmake", "-S", ".", "-B", build, "-DVANTEL_BASELINE_TESTS="], 600)
        run(["cmake", "--build", build, "-j2"], 1800)

    for name in suites:
        report(name, chosen, results[name])
    if args.matrix:
        report_matrix(killers)


def report_matrix(killers):
    """Per test: the mutants it kills, and those no other test kills."""
    by_test = {}
    for number, tests in killers.items():
        for test in tests:
            by_test.setdefault(test, []).append(number)
    print("\nkills per test (* = the only test to kill it):")
    for test in sorted(by_test, key=lambda t: (-len(by_test[t]), t)):
        marks = [f"{n}{'*' if len(killers[n]) == 1 else ''}" for n in sorted(by_test[test])]
        print(f"  {len(marks):3} {test}: {' '.join(marks)}")


def report(name, chosen, results):
    killed = [n for n, o in results.items() if o == "killed"]
    rejected = [n for n, o in results.items() if o == "build-rejected"]
    survived = sorted(n for n, o in results.items() if o == "survived")
    not_run = [n for n, o in results.items() if o == "not-run"]
    if not_run:
        print(f"\n{name} tests: run on the {len(results) - len(not_run)} mutants the current tests did not kill "
              f"(or could not build); killed {len(killed)} of them")
        return
    compiled = len(killed) + len(survived)
    print(f"\n{name} tests: mutants run: {len(results)} of {len(chosen)}  build-rejected: {len(rejected)}  killed: {len(killed)}  "
          f"survived: {len(survived)}")
    if compiled:
        print(f"kill rate: {len(killed)}/{compiled} = {100.0 * len(killed) / compiled:.1f}%")
    for n in survived:
        path, line, kind, old, new = chosen[n]
        print(f"survivor [{n}] {kind} {path}:{line + 1}\n   - {old.strip()}\n   + {new.strip()}")


if __name__ == "__main__":
    main()
