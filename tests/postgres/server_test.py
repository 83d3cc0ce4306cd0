"""The private server goes when it is told to, and when those who wanted it are gone."""
import os
import pathlib
import signal
import subprocess
import sys
import tempfile
import time
import unittest

from pg_support import PATIENCE, main, server_folder

SERVER = pathlib.Path(__file__).with_name("server.py")


def is_there(process):
    try:
        os.kill(process, 0)
    except ProcessLookupError:
        return False
    return True


class Server(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        server_folder()  # skips where none is installed

    def setUp(self):
        folder = tempfile.TemporaryDirectory(prefix="cxml-postgres-")
        self.addCleanup(folder.cleanup)
        self.state = pathlib.Path(folder.name) / "server"

    def look(self):
        self.folder = pathlib.Path(self.state.read_text(encoding="utf-8"))
        self.server = int((self.folder / "data" / "postmaster.pid").read_text(encoding="utf-8").split()[0])
        self.assertTrue(is_there(self.server))

    def expect_gone(self):
        for _ in range(PATIENCE * 50):
            if not self.folder.exists() and not is_there(self.server):
                return
            time.sleep(0.02)
        self.fail(f"{self.folder} or process {self.server} is still there")

    def test_those_who_wanted_it_are_killed(self):
        caller = subprocess.Popen([sys.executable, "-c", "import subprocess, sys, time; subprocess.run(sys.argv[1:]);"
                                   "print('started', flush=True); time.sleep(1000)", sys.executable, "-B", SERVER, "start",
                                   self.state, "bare"], stdout=subprocess.PIPE, text=True)
        self.assertEqual(caller.stdout.readline(), "started\n")
        self.look()
        caller.send_signal(signal.SIGKILL)
        caller.communicate()
        self.expect_gone()

    def test_it_is_stopped(self):
        """In a temporary folder whose name is too long for a socket, too."""
        with tempfile.TemporaryDirectory(prefix="x" * 90) as long:
            subprocess.run([sys.executable, "-B", SERVER, "start", self.state, "bare"], check=True,
                           env={**os.environ, "TMPDIR": long})
            self.look()
            for _ in range(2):
                subprocess.run([sys.executable, "-B", SERVER, "stop", self.state], check=True)
        self.expect_gone()


if __name__ == "__main__":
    main()
