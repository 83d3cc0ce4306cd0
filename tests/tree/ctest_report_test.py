"""The counts of scripts/test are CTest's: each outcome that a test can have, from a real run."""

import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parents[2] / "scripts" / "checks"))

import ctest_report  # noqa: E402

PROJECT = """
cmake_minimum_required(VERSION 3.25)
project(outcomes LANGUAGES NONE)
enable_testing()
add_test(NAME good COMMAND "${CMAKE_COMMAND}" -E true)
add_test(NAME bad COMMAND "${CMAKE_COMMAND}" -E false)
add_test(NAME slow COMMAND "${CMAKE_COMMAND}" -E sleep 20)
set_tests_properties(slow PROPERTIES TIMEOUT 1)
add_test(NAME absent COMMAND "${CMAKE_BINARY_DIR}/no_such_program")
add_test(NAME skips COMMAND "${CMAKE_COMMAND}" -P "${CMAKE_SOURCE_DIR}/skip.cmake")
set_tests_properties(skips PROPERTIES SKIP_REGULAR_EXPRESSION "\\\\[  SKIPPED \\\\]")
add_test(NAME off COMMAND "${CMAKE_COMMAND}" -E true)
set_tests_properties(off PROPERTIES DISABLED TRUE)
"""
SKIPPING = 'message("some_test.cpp:12: Skipped\\nno server here\\n[  SKIPPED ] Some.Test (0 ms)")\n'


class CTestReportTest(unittest.TestCase):
    def test_each_outcome(self):
        with tempfile.TemporaryDirectory() as folder:
            source = Path(folder)
            (source / "CMakeLists.txt").write_text(PROJECT, encoding="utf-8")
            (source / "skip.cmake").write_text(SKIPPING, encoding="utf-8")
            build = source / "build"
            subprocess.run(["cmake", "-S", source, "-B", build], check=True, stdout=subprocess.DEVNULL)
            report = source / "report.xml"
            subprocess.run(["ctest", "--test-dir", build, "--output-junit", report], stdout=subprocess.DEVNULL,
                           stderr=subprocess.DEVNULL, check=False)
            counts = ctest_report.read(report)
        self.assertEqual(counts.passed, 1)
        self.assertEqual([name for name, _ in counts.failed], ["bad", "slow", "absent"])
        self.assertEqual(counts.skipped, [("skips", "no server here"), ("off", "disabled")])
        self.assertEqual(str(counts), "1 passed, 3 failed, 2 skipped")


if __name__ == "__main__":
    unittest.main()
