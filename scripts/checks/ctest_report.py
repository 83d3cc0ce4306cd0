"""What a CTest run found, from the JUnit file that it writes."""

import re
import xml.etree.ElementTree
from dataclasses import dataclass, field


@dataclass
class Counts:
    """Results of tests. `failed` and `skipped` hold (name, what it said)."""

    passed: int = 0
    failed: list = field(default_factory=list)
    skipped: list = field(default_factory=list)

    def add(self, other):
        self.passed += other.passed
        self.failed += other.failed
        self.skipped += other.skipped

    def __str__(self):
        return f"{self.passed} passed, {len(self.failed)} failed, {len(self.skipped)} skipped"


def skip_reason(output, message):
    """GoogleTest prints `file:line: Skipped` and then the reason; scripts print `skipped: reason`."""
    said = re.search(r"Skipped\s*\n\s*(\S.*)|^skipped: (\S.*)", output, re.MULTILINE)
    return (said.group(1) or said.group(2)).strip() if said else message or "no reason given"


def read_program(path):
    """What the report of one program of GoogleTest says of its cases."""
    counts = Counts()
    for suite in xml.etree.ElementTree.parse(path).getroot().iter("testsuite"):
        for case in suite.iter("testcase"):
            name = f"{path.stem}.{case.get('classname')}.{case.get('name')}"
            failures = [failure.get("message") or "" for failure in case.findall("failure")]
            skipped = case.find("skipped")
            if failures:
                counts.failed.append((name, "\n".join(failures)))
            elif skipped is not None:
                reason = (skipped.get("message") or "").strip().splitlines()
                counts.skipped.append((name, reason[-1] if reason else "no reason given"))
            elif case.get("status") == "notrun":
                counts.skipped.append((name, "disabled"))
            else:
                counts.passed += 1
    return counts


def read(path, programs=None):
    """The counts of CTest's report. A test whose cases are in a report of its own in the folder `programs` counts with
    those; what a program said that failed otherwise, by a crash or at its end, is a failure too."""
    counts = Counts()
    for case in xml.etree.ElementTree.parse(path).getroot().iter("testcase"):
        name, status = case.get("name"), case.get("status")
        output = case.findtext("system-out") or ""
        skipped = case.find("skipped")
        failure = case.find("failure")
        own = programs / f"{name}.xml" if programs else None
        if own and own.exists():
            cases = read_program(own)
            counts.add(cases)
            if status != "run" and not cases.failed or not cases.passed:
                counts.failed.append((name, output or "no case of it passed"))
        elif status == "run":
            counts.passed += 1
        elif status == "disabled":
            counts.skipped.append((name, "disabled"))
        elif skipped is not None and failure is None:
            message = skipped.get("message") or ""
            # A program that is not there was not skipped.
            if "Unable to find executable" in message or name.endswith("_NOT_BUILT"):
                counts.failed.append((name, message or "not built"))
            else:
                counts.skipped.append((name, skip_reason(output, message)))
        else:
            counts.failed.append((name, output or (failure.get("message") if failure is not None else "") or status))
    return counts
