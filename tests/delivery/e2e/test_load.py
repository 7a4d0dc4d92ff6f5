"""Figures: what one host sustains, how its spool grows, that its memory does not, and fifty hosts at once.

They are printed; what must hold is that everything is there, once, and that memory is flat. DELIVERY_LOAD=10 makes ten
times as many events.
"""

import os
import re
import subprocess
import time
from pathlib import Path

from harness import EVENING, EVENING_EVENTS, EVENING_PACKAGES, DeliveryTest, Run, until, zaps

LOAD = int(os.environ.get("DELIVERY_LOAD", "1"))
QUOTA = ["--quota", 1_000_000_000]
BOXES = 50
ROUNDS = 30
ALLOWANCE = 600  # KiB; what malloc and SQLite keep. Four thousand packages take more than twice as much.


def memory(run: Run) -> int:
    """What the process has in memory, in KiB."""
    return int(re.search(r"VmRSS:\s+(\d+)", Path(f"/proc/{run.process.pid}/status").read_text())[1])


class Load(DeliveryTest):
    """Asserts no times: they are the machine's."""

    alone = True

    def test_one_host(self) -> None:
        """First to the disk alone, then to the collector."""
        count = 5000 * LOAD
        collector = self.collector()
        host = self.host()
        script = self.script(zaps(count))
        begin = time.monotonic()
        run = host.start(collector.url, "--echo", *QUOTA, "--linger", 0, script=script)
        self.assertEqual(self.ends_well(run).pending, count)
        spooled = time.monotonic() - begin
        file = (host.spool / "spool.db").stat().st_size
        packages = sum(len(line) - 1 for line in run.reported())
        print(f"one_host: {count} packages of {packages / count:.0f} bytes: {count / spooled:.0f} a second to the "
              f"spool, which takes {file} bytes for {packages}, {(file - packages) / count:.0f} more for each")
        self.assertLess(file, packages + 400 * count)

        collector.start()
        for source, played in ("spool", None), ("script", script):
            begin = time.monotonic()
            run = host.start(collector.url, *QUOTA, "--linger", 1000, script=played)
            self.assertEqual(self.ends_well(run).sent, count)
            rate = count / (time.monotonic() - begin)
            print(f"one_host: {rate:.0f} a second from the {source} to the collector", flush=True)
        self.assertEqual(len(self.nothing_is_lost(collector, host).received), 2 * count)

    def test_memory(self) -> None:
        """Memory whenever all of some packages have been delivered: what waits is the same on every machine."""
        collector = self.collector().start()
        host = self.host()
        each = 200 * LOAD
        run = host.start(collector.url, *QUOTA, stdin=subprocess.PIPE)
        course = []
        for number in range(1, ROUNDS + 1):
            run.feed(zaps(each))
            until(lambda: collector.count("packages") == number * each, "packages come", 60 * LOAD)
            course.append(memory(run))
        self.assertEqual(self.ends_well(run).lost, 0)
        third = ROUNDS // 3
        print(f"memory: KiB {' '.join(map(str, course[::3]))}", flush=True)
        self.assertLess(max(course[-third:]), max(course[:third]) + ALLOWANCE)
        self.nothing_is_lost(collector, host)

    def test_fifty_hosts(self) -> None:
        collector = self.collector().start()
        hosts = [self.host(f"box{number}") for number in range(BOXES)]
        begin = time.monotonic()
        runs = [host.start(collector.url, "--linger", 1000, *[EVENING] * LOAD) for host in hosts]
        for run in runs:
            self.ends_well(run)
        seconds = time.monotonic() - begin
        packages = collector.count("packages")
        self.assertEqual(packages, BOXES * LOAD * EVENING_PACKAGES)
        print(f"fifty_hosts: {packages} packages, {packages / seconds:.0f} a second", flush=True)
        account = self.nothing_is_lost(collector, *hosts)
        self.assertEqual(len(account.received), BOXES * LOAD * EVENING_EVENTS)
        boxes = collector.rows("SELECT box, count(*) FROM events GROUP BY box")
        self.assertEqual(dict(boxes), {host.name: LOAD * EVENING_EVENTS for host in hosts})
