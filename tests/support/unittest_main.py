"""The end of a file of unittest cases that the test driver runs."""
import sys
import unittest

SKIPPED = 77  # what the test driver takes for "not run"


def main():
    """Runs the tests of the calling file and exits. With one of them skipped, the file is not a pass."""
    result = unittest.main(exit=False, testRunner=unittest.TextTestRunner(stream=sys.stdout)).result
    if not result.testsRun and not result.skipped:
        sys.exit("no tests found")
    if not result.wasSuccessful():
        sys.exit(1)
    for test, reason in result.skipped:
        print(f"skipped: {test.id()}: {reason}")
    sys.exit(SKIPPED if result.skipped else 0)
