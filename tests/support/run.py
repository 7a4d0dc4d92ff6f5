#!/usr/bin/env -S python3 -B -X utf8
"""Runs the unittest tests of a folder in several processes: tests/support/run.py FOLDER [--jobs N] [PATTERN...]

With patterns: only those tests whose name one of them is found in. Prints what a test prints when the test has ended, a
line `SKIP: test: reason` for each that was skipped, and the number of each kind. The exit status is 1 if a test failed or
there was none, and 77 if all were skipped.

A class with setUpClass runs as one, any other test for itself. A class whose attribute `alone` is true runs at the end,
with nothing beside it; the others begin with those whose attribute `seconds` is the largest.
"""

import argparse
import contextlib
import io
import multiprocessing
import sys
import time
import unittest
from concurrent.futures import ProcessPoolExecutor, as_completed
from dataclasses import dataclass
from pathlib import Path
from typing import Iterator


@dataclass(frozen=True)
class Unit:
    """What one process runs in one go."""

    names: list[str]
    seconds: float
    is_alone: bool


@dataclass(frozen=True)
class Report:
    """What became of a unit."""

    output: str
    failures: list[str]
    skips: list[tuple[str, str]]
    failed: int
    seconds: float


def tests_of(suite: unittest.TestSuite) -> Iterator[unittest.TestCase]:
    """The tests of a suite and of those within it."""
    for test in suite:
        if isinstance(test, unittest.TestSuite):
            yield from tests_of(test)
        else:
            yield test


def units_of(tests: list[unittest.TestCase]) -> list[Unit]:
    """What is to be run, the longest first."""
    classes: dict[type, list[str]] = {}
    units = []
    for test in tests:
        kind = type(test)
        if "setUpClass" in vars(kind):
            classes.setdefault(kind, []).append(test.id())
        else:
            method = getattr(test, test.id().rpartition(".")[2])
            units.append(Unit([test.id()], getattr(method, "seconds", 0), getattr(kind, "alone", False)))
    units += [Unit(names, getattr(kind, "seconds", 0), getattr(kind, "alone", False))
              for kind, names in classes.items()]
    return sorted(units, key=lambda unit: -unit.seconds)


def run(unit: Unit) -> Report:
    """Runs a unit, in a process of the pool."""
    result = unittest.TestResult()
    begin = time.monotonic()
    with contextlib.redirect_stdout(io.StringIO()) as output:
        unittest.defaultTestLoader.loadTestsFromNames(unit.names).run(result)
    failures = [(test.id(), text) for test, text in result.failures + result.errors]
    failures += [(test.id(), "passes, though it is expected to fail\n") for test in result.unexpectedSuccesses]
    # Of a test with subtests each of these has an entry of its own.
    failed = {name for name in unit.names if any(test.startswith(name) for test, _ in failures)}
    return Report(output.getvalue(), [f"FAIL: {test}\n{text}" for test, text in failures],
                  [(test.id(), reason) for test, reason in result.skipped],
                  len(unit.names) if failures and not failed else len(failed), time.monotonic() - begin)


def main() -> int:
    """Returns the exit status."""
    parser = argparse.ArgumentParser(description="Runs the unittest tests of a folder in several processes.")
    parser.add_argument("folder", type=Path)
    parser.add_argument("patterns", nargs="*", metavar="PATTERN", help="a part of a test's name")
    parser.add_argument("--jobs", type=int, default=3, help="how many processes (default: %(default)s)")
    options = parser.parse_args()

    loader = unittest.TestLoader()
    tests = list(tests_of(loader.discover(str(options.folder))))
    if loader.errors:
        print(*loader.errors, sep="\n")
        return 1
    tests = [test for test in tests
             if not options.patterns or any(pattern in test.id() for pattern in options.patterns)]
    if not tests:
        print(f"{options.folder}: there is no such test")
        return 1

    failed = 0
    skips = []
    units = units_of(tests)
    begin = time.monotonic()
    for jobs, chosen in ((options.jobs, [unit for unit in units if not unit.is_alone]),
                         (1, [unit for unit in units if unit.is_alone])):
        with ProcessPoolExecutor(jobs, multiprocessing.get_context("fork")) as pool:
            pending = {pool.submit(run, unit): unit for unit in chosen}
            for future in as_completed(pending):
                report = future.result()
                failed += report.failed
                skips += report.skips
                verdict = "FAILED" if report.failures else "skipped" if report.skips else "passed"
                print(f"{verdict}, {report.seconds:.1f} s: {', '.join(pending[future].names)}\n{report.output}",
                      *report.failures, sep="", end="", flush=True)
    for test, reason in sorted(skips):
        print(f"SKIP: {test}: {reason}")
    skipped = len({test for test, _ in skips})
    print(f"{len(tests) - failed - skipped} passed, {failed} failed, {skipped} skipped; "
          f"{time.monotonic() - begin:.0f} s", flush=True)
    if failed:
        return 1
    return 77 if skipped == len(tests) else 0


if __name__ == "__main__":
    sys.exit(main())
