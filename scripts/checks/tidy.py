#!/usr/bin/env python3
"""Runs the pinned clang-tidy over the compile database; every finding is an error.

A file that was clean is not looked at again until something changes that decides its findings: the file, a header of
the tree that it includes, a configuration, its compile command, or clang-tidy itself.
"""

import argparse
import concurrent.futures
import hashlib
import json
import os
import shlex
import subprocess
import sys
import time
from pathlib import Path

from includes import includes_of, resolve
from sources import root_folder

VERSION = "23.1.4"


def closure(root, path, known):
    """The files of the tree that `path` includes, however indirectly, and itself. `known` keeps what was read."""
    seen, waiting = {path}, [path]
    while waiting:
        current = waiting.pop()
        if current not in known:
            known[current] = {resolve(root, current, header) for _, header, _ in includes_of(root, current)} - {None}
        waiting += known[current] - seen
        seen |= known[current]
    return sorted(seen)


def key_of(root, path, command, version, configurations, known):
    """A name for everything that decides what clang-tidy says about `path`."""
    digest = hashlib.sha256()
    for text in [version, command, *configurations]:
        digest.update(text.encode() + b"\0")
    for file in closure(root, path, known):
        digest.update(str(file).encode() + b"\0" + (root / file).read_bytes() + b"\0")
    return digest.hexdigest()


def entries_of(root, database):
    """(path relative to the root, compile command without the places of root and build) of the tree's own sources."""
    build = database.parent.resolve()
    entries = {}
    for entry in json.loads(database.read_text(encoding="utf-8")):
        file = (Path(entry["directory"]) / entry["file"]).resolve()
        if not file.is_relative_to(root) or file.is_relative_to(build) or file.is_relative_to(root / "third_party"):
            continue
        if file.suffix == ".c":  # the checks, and the names, are those of C++
            continue
        command = entry.get("command") or shlex.join(entry["arguments"])
        entries[file.relative_to(root)] = command.replace(str(build), "BUILD").replace(str(root), "ROOT")
    return sorted(entries.items())


def compiler_version(database):
    """The compiler behind the database: its standard library is part of what is analysed."""
    entries = json.loads(database.read_text(encoding="utf-8"))
    words = shlex.split(entries[0].get("command", "")) or entries[0]["arguments"]
    compiler = words[1] if os.path.basename(words[0]) == "ccache" else words[0]
    return subprocess.run([compiler, "--version"], check=True, capture_output=True, text=True).stdout


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--clang-tidy", default="clang-tidy")
    parser.add_argument("--database", type=Path, required=True)
    parser.add_argument("--cache", type=Path, required=True)
    parser.add_argument("--root", type=Path, default=root_folder())
    parser.add_argument("--jobs", type=int, default=os.cpu_count())
    parser.add_argument("--profile", action="store_true", help="print what each check costs, and cache nothing")
    parser.add_argument("files", nargs="*", help="only sources whose path contains one of these")
    arguments = parser.parse_args()
    root = arguments.root.resolve()

    version = subprocess.run([arguments.clang_tidy, "--version"], check=True, capture_output=True, text=True).stdout
    if VERSION not in version.split():
        print(f"clang-tidy {VERSION} is needed, this is: {version.strip()}")
        return 2
    entries = [entry for entry in entries_of(root, arguments.database)
               if not arguments.files or any(part in str(entry[0]) for part in arguments.files)]
    if not entries:
        print("no sources to look at")
        return 2
    version += compiler_version(arguments.database)
    configurations = [f"{path.relative_to(root)}\n{path.read_text(encoding='utf-8')}"
                      for path in sorted(root.glob("**/.clang-tidy")) if "build" not in path.relative_to(root).parts]

    arguments.cache.mkdir(parents=True, exist_ok=True)
    known = {}
    waiting = []
    for path, command in entries:
        stamp = arguments.cache / key_of(root, path, command, version, configurations, known)
        if arguments.profile or not stamp.exists():
            waiting.append((path, stamp))
        else:
            stamp.touch()

    def look(path):
        # Command-line arguments that only g++ knows are no findings.
        command = [arguments.clang_tidy, "-p", str(arguments.database.parent), "--quiet", "--warnings-as-errors=*",
                   "--extra-arg=-Wno-unknown-warning-option", "--extra-arg=-Wno-ignored-optimization-argument"]
        command += ["--enable-check-profile"] if arguments.profile else []
        started = time.monotonic()
        done = subprocess.run(command + [str(root / path)], capture_output=True, text=True)
        return done, time.monotonic() - started

    failed = 0
    with concurrent.futures.ThreadPoolExecutor(arguments.jobs) as pool:
        runs = {pool.submit(look, path): (path, stamp) for path, stamp in waiting}
        for run in concurrent.futures.as_completed(runs):
            path, stamp = runs[run]
            done, seconds = run.result()
            if done.returncode == 0:
                print(f"{path}: clean ({seconds:.1f} s)", flush=True)
                if not arguments.profile:
                    stamp.touch()
            if done.returncode != 0 or arguments.profile:
                print(f"{path}:\n{done.stdout}{done.stderr}", flush=True)
            failed += done.returncode != 0
    print(f"{len(entries)} sources, {len(entries) - len(waiting)} of them known to be clean, {failed} with findings")
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main())
