#!/usr/bin/env python3
"""Names the tests that one build has and another has not: those of Linux that are missing on Windows need a reason.

platform_tests.py LINUX_BUILD WINDOWS_BUILD REASONS

Cases of Linux are listed by the programs, those of Windows are in the reports that they wrote under Wine. REASONS has a
line "PATTERN: reason" for each group that is missing, where `*` stands for anything. Fails when a missing test has no
reason, and when a reason has no missing test.
"""

import fnmatch
import json
import subprocess
import sys
import tempfile
import xml.etree.ElementTree
from pathlib import Path


def tests_of(build):
    """CTest's tests: their names and commands."""
    listed = subprocess.run(["ctest", "--test-dir", build, "--show-only=json-v1"], check=True, stdout=subprocess.PIPE)
    return [(test["name"], test.get("command", [])) for test in json.loads(listed.stdout)["tests"]]


def cases_in(path, program):
    """The cases that a program's report, or its list of cases, holds."""
    return {f"{program}.{suite.get('name')}.{case.get('name')}"
            for suite in xml.etree.ElementTree.parse(path).getroot().iter("testsuite")
            for case in suite.iter("testcase")}


def linux_tests(build):
    names, programs = set(), set()
    for name, command in tests_of(build):
        if any(argument.startswith("--gtest_filter=") for argument in command):
            programs.add(Path(command[0]))
        else:
            names.add(name)
    for program in programs:
        with tempfile.NamedTemporaryFile(suffix=".xml") as listed:
            subprocess.run([program, "--gtest_list_tests", f"--gtest_output=xml:{listed.name}"], check=True,
                           stdout=subprocess.DEVNULL)
            names |= cases_in(listed.name, program.name)
    return names


def windows_tests(build):
    names = set()
    for name, _ in tests_of(build):
        report = build / "reports" / f"{name}.xml"
        names |= cases_in(report, name) if report.exists() else {name}
    return names


def read_reasons(path):
    reasons = {}
    for line in path.read_text(encoding="utf-8").splitlines():
        if line and not line.startswith("#"):
            pattern, _, reason = line.partition(": ")
            reasons[pattern] = reason
    return reasons


def compare(linux, windows, reasons):
    """\return how many tests each pattern explains, and what is wrong."""
    explained = dict.fromkeys(reasons, 0)
    problems = [f"{pattern}: no reason" for pattern, reason in reasons.items() if not reason.strip()]
    for name in sorted(linux - windows):
        patterns = [pattern for pattern in reasons if fnmatch.fnmatchcase(name, pattern)]
        for pattern in patterns:
            explained[pattern] += 1
        if not patterns:
            problems.append(f"missing on Windows: {name}")
    problems += [f"{pattern}: nothing of that name is missing" for pattern, count in explained.items() if not count]
    return explained, problems


def main(linux_build, windows_build, reasons_path):
    linux, windows = linux_tests(Path(linux_build)), windows_tests(Path(windows_build))
    reasons = read_reasons(Path(reasons_path))
    explained, problems = compare(linux, windows, reasons)
    print(f"{len(linux)} tests on Linux, {len(windows)} on Windows, {len(linux & windows)} on both")
    for pattern, count in explained.items():
        print(f"{count:5} {pattern}: {reasons[pattern]}")
    print(*problems, sep="\n")
    return 1 if problems or not linux & windows else 0


if __name__ == "__main__":
    sys.exit(main(*sys.argv[1:]))
