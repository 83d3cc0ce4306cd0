#!/usr/bin/env python3
"""Expressions in processes of others: programs without Python, programs that load one, and each Python that this machine
has. Run with the library that evaluates, the program that loads it and the library of the embedded Python:

    inside_test.py EVALUATE_LIBRARY HOST_PROGRAM PYTHON_LIBRARY
"""
import glob
import os
import pathlib
import re
import subprocess
import sys

CASES = pathlib.Path(__file__).resolve().parent / "inside" / "cases.py"
OLDEST = (3, 10)


def pythons():
    """Those in the path and of pyenv, by version; one of each minor version."""
    folders = os.environ["PATH"].split(os.pathsep) + glob.glob(os.path.expanduser("~/.pyenv/versions/*/bin"))
    found = {}
    for folder in ["/usr/bin", *folders]:
        for program in sorted(glob.glob(folder + "/python3.*")):
            if not re.fullmatch(r"python3\.\d+t?", os.path.basename(program)):
                continue
            said = subprocess.run([program, "-c", "import ctypes, sys; print(sys.version_info[:2])"], capture_output=True, text=True,
                                  check=False)
            version = tuple(map(int, re.findall(r"\d+", said.stdout))) if said.returncode == 0 else None
            if version and version >= OLDEST:
                found.setdefault((*version, program.endswith("t")), program)
    return [found[version] for version in sorted(found)]


def run(command, expected):
    done = subprocess.run(command, capture_output=True, text=True, check=False, timeout=300)
    said = done.stdout.strip()
    good = done.returncode == 0 and re.fullmatch(expected, said)
    print(f"{'ok' if good else 'FAILED'}: {' '.join(map(str, command))}: {said}{done.stderr} (status {done.returncode})")
    return bool(good)


def main(library, host, python):
    held = [run([host, library], r"-2 There is no Python in this process: it has no expressions\."),
            run([host, library, python, "global"], r"0 tide 9\.5"),
            run([host, library, python, "local"], r"0 tide 9\.5")]
    programs = pythons()
    if not programs:
        print("no Python has been tried")
        return 1
    held += [run([program, "-B", CASES, library], r"3\.\d+\S* all held") for program in programs]
    return 0 if all(held) else 1


if __name__ == "__main__":
    sys.exit(main(*sys.argv[1:]))
