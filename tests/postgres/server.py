#!/usr/bin/env python3
"""A private PostgreSQL server with PostGIS for the tests: on a socket in a temporary folder, under an unprivileged user.

    server.py start STATE [bare]   starts it, bare without PostGIS; STATE gets the folder of its socket, or
                                   "none: REASON" where no server is installed
    server.py stop STATE           stops it and removes the folder

While its folder has a file "down", the server is not there: it is killed with all its processes, as when its machine
fails, and started again when the file is gone.

A guard process owns the server. It ends the server and removes the folder when it is told to, and by itself when the
program that called "start" has ended, or after CXML_TEST_SERVER_SECONDS (1800): tests that are killed, or the program
that runs them, leave nothing behind.
"""
import os
import pathlib
import pwd
import shutil
import signal
import subprocess
import sys
import tempfile
import time

LONGEST_SOCKET = 107 - len("/.s.PGSQL.5432")  # what a socket's path may have, without its name
LIFETIME = float(os.environ.get("CXML_TEST_SERVER_SECONDS", "1800"))
# Nothing here has to survive a power failure.
SETTINGS = ["-c", "listen_addresses=", "-c", "fsync=off", "-c", "synchronous_commit=off", "-c", "full_page_writes=off",
            "-c", "log_min_messages=fatal", "-c", "max_connections=60", "-c", "autovacuum=off"]


def programs():
    """The folder of the newest server that is installed; None where there is none."""
    found = sorted(pathlib.Path("/usr/lib/postgresql").glob("*/bin/postgres"), key=lambda path: int(path.parts[-3]))
    if found:
        return found[-1].parent
    path = shutil.which("postgres")
    return pathlib.Path(path).parent if path else None


def unprivileged():
    """What starts a program without root's rights, and the user's account."""
    if os.geteuid() != 0:
        return [], pwd.getpwuid(os.geteuid())
    for name in ("postgres", "nobody"):
        try:
            account = pwd.getpwnam(name)
        except KeyError:
            continue
        return ["setpriv", f"--reuid={account.pw_uid}", f"--regid={account.pw_gid}", "--clear-groups"], account
    raise SystemExit("there is no unprivileged user to run a server as")


def started(process):
    """When a process began, which tells it from a later one of its number; None when there is none."""
    try:
        # The name in parentheses may have anything in it.
        fields = pathlib.Path(f"/proc/{process}/stat").read_text(encoding="utf-8", errors="replace").rpartition(")")[2].split()
    except OSError:
        return None
    return None if fields[0] == "Z" else fields[19]


def temporary_folder(account):
    """Not in root's own folder, where the unprivileged user gets nowhere, nor where a socket has no room."""
    usual = tempfile.gettempdir()
    fits = account.pw_uid == os.geteuid() and len(usual) + len("/cxml-pg-12345678") <= LONGEST_SOCKET
    folder = pathlib.Path(tempfile.mkdtemp(prefix="cxml-pg-", dir=usual if fits else "/tmp"))
    os.chown(folder, account.pw_uid, account.pw_gid)
    folder.chmod(0o755)
    return folder


def kill(server):
    """The server and its processes, at once."""
    server.send_signal(signal.SIGSTOP)  # it starts no more of them
    children = pathlib.Path(f"/proc/{server.pid}/task/{server.pid}/children").read_text(encoding="utf-8").split()
    for process in (*map(int, children), server.pid):
        os.kill(process, signal.SIGKILL)
    server.wait()
    while any(started(child) is not None for child in children):
        time.sleep(0.01)


def guard(folder, binaries, drop, caller):
    """Runs the server to its end; the process that start leaves behind."""
    since = started(caller)
    os.setsid()
    stopping = []
    for number in (signal.SIGTERM, signal.SIGINT, signal.SIGHUP):
        signal.signal(number, lambda *_: stopping.append(True))
    server = None
    command = [*drop, binaries / "postgres", "-D", folder / "data", "-k", folder, *SETTINGS]
    try:
        with open(folder / "log", "wb") as log, open(os.devnull, "rb") as nothing:
            for descriptor, file in enumerate((nothing, log, log)):
                os.dup2(file.fileno(), descriptor)
        deadline = time.monotonic() + LIFETIME
        while not stopping and time.monotonic() < deadline and since is not None and started(caller) == since:
            down = (folder / "down").exists()
            if down and server:
                kill(server)
                server = None
            elif not down and not server:
                server = subprocess.Popen(command, cwd=folder)
            elif server and server.poll() is not None:
                break
            time.sleep(0.02)
    finally:
        if server and server.poll() is None:
            server.send_signal(signal.SIGQUIT)
            server.wait()
        shutil.rmtree(folder, ignore_errors=True)
        os._exit(0)


def wait_until_ready(folder, binaries):
    for _ in range(2400):
        if subprocess.run([binaries / "pg_isready", "-q", "-h", folder], check=False).returncode == 0:
            return
        time.sleep(0.05)
    raise SystemExit("the server does not start:\n" + (folder / "log").read_text(errors="replace"))


def start(state, bare):
    binaries = programs()
    if not binaries:
        state.write_text("none: no PostgreSQL server is installed (scripts/setup installs one)")
        return
    drop, account = unprivileged()
    folder = temporary_folder(account)
    subprocess.run([*drop, binaries / "initdb", "--pgdata", folder / "data", "--auth=trust", "--username=admin",
                    "--no-sync", "--encoding=UTF8", "--locale=C.UTF-8"],
                   cwd=folder, stdout=subprocess.DEVNULL, check=True)
    caller = os.getppid()
    process = os.fork()
    if process == 0:
        guard(folder, binaries, drop, caller)
    (folder / "guard").write_text(str(process))
    state.write_text(str(folder))
    wait_until_ready(folder, binaries)
    if bare:
        return
    subprocess.run([binaries / "psql", "-q", "-h", folder, "-U", "admin", "-d", "template1", "-c",
                    "CREATE EXTENSION postgis"], check=True)


def stop(state):
    folder = pathlib.Path(state.read_text()) if state.exists() else None
    state.unlink(missing_ok=True)
    if not folder or not (folder / "guard").exists():
        return
    os.kill(int((folder / "guard").read_text()), signal.SIGTERM)
    for _ in range(400):
        if not folder.exists():
            return
        time.sleep(0.05)
    raise SystemExit(f"{folder}: the server does not end")


if __name__ == "__main__":
    if len(sys.argv) == 3 and sys.argv[1] == "stop":
        stop(pathlib.Path(sys.argv[2]))
    elif sys.argv[1:2] == ["start"] and (len(sys.argv) == 3 or sys.argv[3:] == ["bare"]):
        start(pathlib.Path(sys.argv[2]), len(sys.argv) == 4)
    else:
        raise SystemExit(__doc__)
