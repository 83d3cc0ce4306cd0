#!/usr/bin/env python3
"""Checks of the source tree: tree.py CHECK [ROOT]. Prints what it finds and fails when that is anything."""

import sys
from pathlib import Path

from includes import check_arrows, check_seams
from sources import root_folder, tree_files
from texts import check_links, check_size, check_words

CHECKS = {
    "arrows": check_arrows,
    "seams": check_seams,
    "words": check_words,
    "size": check_size,
    "links": check_links,
}


def main(arguments):
    if not arguments or arguments[0] not in CHECKS:
        print(f"usage: tree.py {{{','.join(CHECKS)}}} [ROOT]", file=sys.stderr)
        return 2
    root = Path(arguments[1]) if len(arguments) > 1 else root_folder()
    if not tree_files(root):
        print(f"no files in {root}", file=sys.stderr)
        return 2
    problems = CHECKS[arguments[0]](root)
    for problem in problems:
        print(problem)
    return 1 if problems else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
