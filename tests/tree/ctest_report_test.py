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

    def test_cases_of_programs(self):
        suites = """<testsuites><testsuite name="A">
            <testcase name="good" classname="A" status="run" result="completed"/>
            <testcase name="bad" classname="A" status="run" result="completed"><failure message="1 is 2"/></testcase>
            <testcase name="off" classname="A" status="notrun" result="suppressed"/>
            <testcase name="not here" classname="A" status="run" result="skipped">
                <skipped message="a_test.cpp:3&#x0A;no such thing"/></testcase></testsuite></testsuites>"""
        good = '<testsuites><testsuite><testcase name="a" classname="B" status="run"/></testsuite></testsuites>'
        none = "<testsuites/>"
        report = """<testsuite><testcase name="mixed" status="fail"><failure/></testcase>
            <testcase name="good" status="run"/>
            <testcase name="none" status="run"/>
            <testcase name="crashed late" status="fail"><failure message="Failed"/><system-out>boom</system-out></testcase>
            <testcase name="crashed" status="fail"><failure message="Failed"/><system-out>bang</system-out></testcase>
            <testcase name="other" status="run"/></testsuite>"""
        with tempfile.TemporaryDirectory() as folder:
            programs = Path(folder)
            for name, text in (("mixed", suites), ("good", good), ("none", none), ("crashed late", good)):
                (programs / f"{name}.xml").write_text(text, encoding="utf-8")
            path = programs / "ctest"
            path.write_text(report, encoding="utf-8")
            counts = ctest_report.read(path, programs)
        self.assertEqual(counts.passed, 4)
        self.assertEqual(counts.failed, [("mixed.A.bad", "1 is 2"), ("none", "no case of it passed"),
                                         ("crashed late", "boom"), ("crashed", "bang")])
        self.assertEqual(counts.skipped, [("mixed.A.off", "disabled"), ("mixed.A.not here", "no such thing")])


if __name__ == "__main__":
    unittest.main()
