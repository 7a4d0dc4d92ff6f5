"""Runs the tests, or those whose name a pattern is found in: python3 tests/delivery [PATTERN]"""

import sys
import unittest
from pathlib import Path

loader = unittest.TestLoader()
if sys.argv[1:]:
    loader.testNamePatterns = [f"*{sys.argv[1]}*"]
tests = loader.discover(str(Path(__file__).parent))
if not tests.countTestCases():
    sys.exit("tests/delivery: there is no such test")
sys.exit(not unittest.TextTestRunner(verbosity=2).run(tests).wasSuccessful())
