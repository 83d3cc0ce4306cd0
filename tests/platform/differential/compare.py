#!/usr/bin/env python3
"""Runs categories of the differential program natively and under Wine and compares the answers line by line.

Exit status: 0 when every difference is a known one and every known one was seen, 1 otherwise, 77 when Wine or the
Windows program is missing. See known_differences.txt for the list's format.
"""

import argparse
import concurrent.futures
import dataclasses
import pathlib
import re
import sys

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[3] / "scripts" / "checks"))

from wine import TimedOut, Wine, find_wine, run  # noqa: E402

SKIPPED = 77
SHOWN = 40


@dataclasses.dataclass
class Known:
    """One entry of the list: what was asked, both answers as regular expressions, and why ours is right."""

    line: int
    category: str = ""
    wine: str = ""
    asked: str = ""
    portable: str = ""
    theirs: str = ""
    ulps: int = 0
    reason: str = ""
    seen: int = 0

    def matches(self, asked, portable, theirs):
        if not re.fullmatch(self.asked, asked):
            return False
        if self.ulps:
            return within_ulps(portable, theirs, self.ulps)
        return re.fullmatch(self.portable, portable) is not None and re.fullmatch(self.theirs, theirs) is not None


def within_ulps(portable, theirs, limit):
    """Whether two answers are alike but for the last places of the one real, date or amount in them."""
    pattern = r"(R8|R4|DATE|CY) (0x[0-9A-F]+|-?[0-9]+)"
    if re.sub(pattern, "", portable) != re.sub(pattern, "", theirs):
        return False
    ours, other = re.findall(pattern, portable), re.findall(pattern, theirs)
    if len(ours) != 1 or len(other) != 1 or ours[0][0] != other[0][0]:
        return False
    # Reals of one sign are ordered as their bit patterns are.
    return 0 < abs(int(ours[0][1], 0) - int(other[0][1], 0)) <= limit


def read_known(path):
    fields = {"category", "wine", "asked", "portable", "theirs", "ulps", "reason"}
    entries, current = [], None
    for number, raw in enumerate(path.read_text(encoding="ascii").splitlines(), 1):
        text = raw.rstrip()
        if text.startswith("#"):
            continue
        if not text:
            current = None
            continue
        if current is None:
            current = Known(number)
            entries.append(current)
        name, separator, value = text.partition(": ")
        if not separator or name not in fields:
            raise SystemExit(f"{path}:{number}: expected one of {sorted(fields)} and ': '")
        setattr(current, name, int(value) if name == "ulps" else value)
    for entry in entries:
        complete = entry.ulps or (entry.portable and entry.theirs)
        if not (entry.category and entry.asked and entry.reason and complete):
            raise SystemExit(f"{path}:{entry.line}: incomplete entry")
    return entries


def read_answers(path):
    lines = path.read_text(encoding="ascii").splitlines()
    return [line.split("\t", 1) for line in lines]


def compare(portable, theirs, entries):
    """Counts into the entries; returns the lines that no entry explains."""
    if len(portable) != len(theirs):
        return [f"{len(portable)} cases here, {len(theirs)} there"]
    unexplained = []
    for (asked, answer), (asked_there, answer_there) in zip(portable, theirs):
        if asked != asked_there:
            return unexplained + [f"the case here is\n  {asked}\nand there\n  {asked_there}"]
        if answer == answer_there:
            continue
        # Every entry that matches counts as seen, so that overlapping ones do not hide each other.
        matching = [entry for entry in entries if entry.matches(asked, answer, answer_there)]
        for entry in matching:
            entry.seen += 1
        if not matching:
            unexplained.append(f"{asked}\n  portable: {answer}\n  theirs:   {answer_there}")
    return unexplained


def ask(category, options, wine):
    """The answers of both programs, natively and under Wine."""
    # A relative name means the same to both programs.
    names = [f"{category}.{side}.txt" for side in ("portable", "theirs")]
    count = [options.count] if options.count else []
    statuses = [run([options.native, category, names[0], options.seed, *count], 300, cwd=options.work),
                wine.run([options.windows, category, names[1], options.seed, *count], 300, cwd=options.work)]
    if any(statuses):
        raise SystemExit(f"{category}: exit statuses {statuses}")
    return [read_answers(options.work / name) for name in names]


def check(category, entries, portable, theirs):
    """Prints what no entry explains, and entries without a difference; returns whether there are none."""
    unexplained = compare(portable, theirs, entries)
    for text in unexplained[:SHOWN]:
        print(text)
    unseen = [entry for entry in entries if not entry.seen]
    for entry in unseen:
        print(f"known_differences.txt:{entry.line}: matches no difference any more")
    explained = ", ".join(f"{entry.seen} of line {entry.line}" for entry in entries)
    print(f"{category}: {len(portable)} vectors, {len(unexplained)} unexplained differences; explained: {explained or 'none'}")
    return not unexplained and not unseen


def main():
    parser = argparse.ArgumentParser()
    for name in ("native", "windows", "known", "work"):
        parser.add_argument(f"--{name}", type=pathlib.Path, required=True)
    parser.add_argument("--seed", default="20240131")
    parser.add_argument("--count", help="random cases, in place of each category's own number")
    parser.add_argument("--least", type=int, default=1, help="how many vectors all categories must have together")
    parser.add_argument("categories", nargs="+")
    options = parser.parse_args()
    # Wine insists on an absolute prefix, and both programs run in the work folder.
    options.native, options.windows, options.work = (
        path.resolve() for path in (options.native, options.windows, options.work))

    wine_program = find_wine()
    if not wine_program or not options.windows.exists():
        print("skipped:", "no cross-built program" if wine_program else "no Wine")
        return SKIPPED
    wine = Wine(wine_program, options.work)
    version = wine.version()
    known = [entry for entry in read_known(options.known) if not entry.wine or version in entry.wine.split()]

    good, vectors = True, 0
    with concurrent.futures.ThreadPoolExecutor(2) as pool:
        answers = pool.map(lambda category: ask(category, options, wine), options.categories)
        for category, (portable, theirs) in zip(options.categories, answers):
            entries = [entry for entry in known if entry.category == category]
            good = check(category, entries, portable, theirs) and good
            vectors += len(portable)
    print(f"{vectors} vectors in {len(options.categories)} categories, seed {options.seed}, Wine {version}")
    if vectors < options.least:
        print(f"These are fewer than {options.least}")
    return 0 if good and vectors >= options.least else 1


if __name__ == "__main__":
    try:
        sys.exit(main())
    except TimedOut as reason:
        raise SystemExit(str(reason)) from None
