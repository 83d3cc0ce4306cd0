#!/usr/bin/env python3
"""Runs a Windows program under Wine, headless, in a prefix of its own inside a build folder and within a time limit.

wine.py --work FOLDER [--limit SECONDS] [--report FILE] PROGRAM [ARGUMENT...]

Ends with the program's exit status; 124 says that the limit ended it. `FILE` is one that the program is to write: an
older one is removed first.
"""

import argparse
import fcntl
import os
import re
import shutil
import signal
import subprocess
import sys
import threading
from pathlib import Path


class TimedOut(Exception):
    pass


def run(command, timeout, **options):
    """Runs a command in a process group of its own, which a time-out ends as a whole."""
    with subprocess.Popen(command, start_new_session=True, **options) as process:
        try:
            return process.wait(timeout)
        except subprocess.TimeoutExpired:
            os.killpg(process.pid, signal.SIGKILL)
            process.wait()
            raise TimedOut(f"no end after {timeout} s: {' '.join(map(str, command))}") from None


def find_wine():
    for name in ("wine64", "wine"):
        if found := shutil.which(name):
            return found
    # Debian keeps the loader out of the path when only the 64-bit half is installed.
    for path in ("/usr/lib/wine/wine64", "/usr/lib/wine/wine"):
        if os.access(path, os.X_OK):
            return path
    return None


class Wine:
    """Wine with a prefix of its own inside the work folder."""

    def __init__(self, program, work):
        self.program = program
        self.prefix = work / "wine-prefix"
        self.environment = dict(os.environ, WINEPREFIX=str(self.prefix), WINEARCH="win64", WINEDEBUG="-all",
                                WINEDLLOVERRIDES="mscoree,mshtml=", LC_ALL="C.UTF-8")
        # Headless. Wine 10 complains on standard error when there is no folder to look for a Wayland display in.
        for display in ("DISPLAY", "WAYLAND_DISPLAY"):
            self.environment.pop(display, None)
        self.environment["XDG_RUNTIME_DIR"] = str(work)
        self.create_prefix(work / "wine-prefix.lock")

    def create_prefix(self, lock_path):
        ready = self.prefix / "ready"
        with open(lock_path, "w", encoding="ascii") as lock:
            fcntl.flock(lock, fcntl.LOCK_EX)
            if ready.exists():
                return
            if self.run(["wineboot", "--init"], 300) != 0 or not self.prefix.is_dir():
                raise SystemExit("Wine could not make its prefix")
            ready.touch()

    def run(self, arguments, timeout, cwd=None, output=subprocess.DEVNULL):
        return run([self.program, *arguments], timeout, env=self.environment, cwd=cwd, stdin=subprocess.DEVNULL,
                   stdout=output, stderr=output)

    def run_aloud(self, arguments, timeout):
        """Runs it and passes its output on. Through a pipe, because Wine lets nobody ask about a file that was opened
        for writing only, and Python asks about its standard streams."""
        reading, writing = os.pipe()

        def forward():
            while data := os.read(reading, 65536):
                sys.stdout.buffer.write(data)
                sys.stdout.flush()

        # Processes of Wine's own that outlive the program keep the pipe open.
        reader = threading.Thread(target=forward, daemon=True)
        reader.start()
        try:
            return self.run(arguments, timeout, output=writing)
        finally:
            os.close(writing)
            reader.join(timeout=2)

    def version(self):
        text = subprocess.run([self.program, "--version"], env=self.environment, stdout=subprocess.PIPE,
                              stderr=subprocess.DEVNULL, timeout=60, check=True, text=True).stdout
        return re.search(r"wine-(\d+)", text).group(1)


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--work", type=Path, required=True)
    parser.add_argument("--limit", type=int, default=300)
    parser.add_argument("--report", type=Path)
    parser.add_argument("command", nargs=argparse.REMAINDER)
    options = parser.parse_args()
    program = find_wine()
    if not program:
        print("There is no Wine to run it with")
        return 1
    if options.report:
        options.report.parent.mkdir(parents=True, exist_ok=True)
        options.report.unlink(missing_ok=True)
    wine = Wine(program, options.work.resolve())
    try:
        status = wine.run_aloud(options.command, options.limit)
    except TimedOut as reason:
        print(reason)
        return 124
    if options.report and not options.report.exists():
        # Only the low byte of a status gets here, and that of a crash may be 0.
        print(f"It ended with {status} and did not write {options.report.name}")
        return status or 1
    return status


if __name__ == "__main__":
    sys.exit(main())
