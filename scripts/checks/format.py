#!/usr/bin/env python3
"""Checks that every C++ file is formatted as the pinned clang-format does it; --fix does it."""

import argparse
import subprocess
import sys
from pathlib import Path

from sources import code_files, root_folder

VERSION = "19.1.7"


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--clang-format", default="clang-format")
    parser.add_argument("--root", type=Path, default=root_folder())
    parser.add_argument("--fix", action="store_true")
    arguments = parser.parse_args()

    version = subprocess.run([arguments.clang_format, "--version"], check=True, capture_output=True, text=True).stdout
    if VERSION not in version.split():
        print(f"clang-format {VERSION} is needed, this is: {version.strip()}")
        return 2
    files = [str(path) for path in code_files(arguments.root)]
    if not files:
        print("no C++ files")
        return 2
    command = [arguments.clang_format, "--style=file"]
    command += ["-i"] if arguments.fix else ["--dry-run", "--Werror"]
    status = subprocess.run(command + files, cwd=arguments.root).returncode
    print(f"{len(files)} files: {'not all formatted' if status else 'all formatted'}")
    return 1 if status else 0


if __name__ == "__main__":
    sys.exit(main())
