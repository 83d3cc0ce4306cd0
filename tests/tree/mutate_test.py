"""scripts/mutate's own bookkeeping: what counts, what fails, what an interrupted run leaves. Nothing is built."""

import contextlib
import importlib.machinery
import importlib.util
import io
import sys
import tempfile
import unittest
from pathlib import Path

ROOT = Path(__file__).resolve().parents[2]
sys.dont_write_bytecode = True
sys.path.insert(0, str(ROOT / "scripts" / "checks"))

from mutations import Change  # noqa: E402

loader = importlib.machinery.SourceFileLoader("mutate", str(ROOT / "scripts/mutate"))
mutate = importlib.util.module_from_spec(importlib.util.spec_from_loader("mutate", loader))
loader.exec_module(mutate)

CHANGES = [Change("src/a.cpp", number, f"x = {number};", "x = 9;", "constant") for number in range(8)]


class FakeWorker:
    """Says of each change what it was told to say; counts what it was asked."""

    def __init__(self, quick, slow):
        self.quick, self.slow, self.asked = quick, slow, []

    def attempt(self, change, speed):
        self.asked.append((change.number, speed))
        outcomes = self.quick if speed == mutate.QUICK else self.slow
        return outcomes[change.number], "A.test"


class Mutate(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.path = Path(folder.name) / "results.jsonl"

    def results(self, state="one", again=False):
        return mutate.Results(self.path, state, again)

    @staticmethod
    def quietly(function, *arguments):
        with contextlib.redirect_stdout(io.StringIO()) as said:
            return function(*arguments), said.getvalue()

    def attempt(self, results, count=4):
        quick = ["failed", "did not compile", mutate.OPEN, "died", mutate.OPEN, "failed", "failed", "failed"]
        worker = FakeWorker(quick, {2: "not noticed", 4: "timed out"})
        self.quietly(mutate.attempt_all, CHANGES, count, [worker], results)
        return worker

    def test_changes_that_compile_are_counted_and_the_slow_tests_come_last(self):
        results = self.results()
        worker = self.attempt(results)
        self.assertEqual(worker.asked, [(0, "quick"), (1, "quick"), (2, "quick"), (3, "quick"), (4, "quick"),
                                        (2, "slow"), (4, "slow")])
        tried, uncompiled = mutate.first_compiling(CHANGES, 4, results)
        self.assertEqual(([change.number for change in tried], uncompiled), ([0, 2, 3, 4], 1))

    def test_what_was_found_out_is_not_tried_again(self):
        self.attempt(self.results())
        self.assertEqual(self.attempt(self.results()).asked, [])

    def test_another_tree_starts_anew(self):
        self.attempt(self.results())
        self.assertEqual(len(self.attempt(self.results("two")).asked), 7)

    def test_again_is_what_was_not_noticed(self):
        self.attempt(self.results())
        self.assertEqual(self.attempt(self.results("two", again=True)).asked, [(2, "quick"), (2, "slow")])

    def test_what_is_not_noticed_needs_a_reason(self):
        results = self.results()
        self.attempt(results)
        tried, uncompiled = mutate.first_compiling(CHANGES, 4, results)
        (noticed, problems), _ = self.quietly(mutate.report, tried, uncompiled, results, {})
        self.assertEqual((noticed, len(problems)), (3, 1))
        self.assertIn("src/a.cpp:2", problems[0])
        reasons = {("src/a.cpp", "x = 2;", "x = 9;"): "it is all the same"}
        (_, problems), said = self.quietly(mutate.report, tried, uncompiled, results, reasons)
        self.assertEqual(problems, [])
        self.assertIn("4 changes: 3 noticed (1 by a test, 1 died, 1 timed out), 1 not noticed; 1 more did not compile", said)

    def test_reason_of_what_is_noticed_is_a_problem(self):
        results = self.results()
        self.attempt(results)
        tried, _ = mutate.first_compiling(CHANGES, 4, results)
        reasons = {("src/a.cpp", f"x = {number};", "x = 9;"): "said so" for number in (2, 3)}
        (_, problems), _ = self.quietly(mutate.report, tried, 1, results, reasons)
        self.assertEqual(len(problems), 1)
        self.assertIn("noticed, by A.test, although", problems[0])

    def test_command_that_hangs_is_over_with_its_time(self):
        status, said = mutate.run(["sh", "-c", "echo begun; sleep 60"], self.path.parent, (5, 0.5))
        self.assertEqual((status, said), (None, "begun\n"))
        status, _ = mutate.run(["sh", "-c", "while :; do :; done"], self.path.parent, (1, 60))
        self.assertIsNone(status)

    def test_exit_statuses_are_told_apart(self):
        self.assertEqual(mutate.run(["sh", "-c", "exit 3"], self.path.parent)[0], 3)
        self.assertEqual(mutate.run(["sh", "-c", "kill -SEGV $$"], self.path.parent)[0], -11)


if __name__ == "__main__":
    unittest.main()
