"""A box's clock is wrong, or is set: nothing is lost, nothing is too old before its time, and attempts go on.

The wall clock is faketime's; a week's worth of packages may wait for half an hour here.
"""

import json
import sqlite3
import time
from contextlib import closing

from harness import EVENING, EVENING_EVENTS, EVENING_PACKAGES, Clock, Collector, DeliveryTest, Host, until

AGE = ["--max-age", 1800]
HOUR_AGO = -3600
NOW = 0
AGES = int(time.time()) - 100  # seconds
IN_1970 = -AGES


class Clocks(DeliveryTest):
    """Clocks that jump, within a run and between two."""

    def times(self, collector: Collector) -> list[int]:
        """What the clock showed at each sample, in seconds, in the order in which they were taken."""
        bodies = collector.rows("SELECT body FROM packages")
        events = [event for body, in bodies for event in json.loads(body)["events"]]
        return [event["timestamp"] // 1000 for event in sorted(events, key=lambda event: event["event_counter"])]

    def set_while_it_runs(self, before: int, after: int) -> None:
        """Samples are taken, and attempts fail, before and after."""
        collector = self.collector()
        host = self.host()
        clock = Clock(self.folder)
        clock.set(before)
        run = host.start(collector.url, "--echo", *AGE, "--live", "--interval", 0.02, "--flush", 0.05, env=clock.environment)
        until(lambda: len(run.reported()) > 20, "samples before")
        clock.set(after)
        count = len(run.reported())
        until(lambda: len(run.reported()) > count + 20, "samples after")
        collector.start()
        until(lambda: collector.count("packages") > count, "packages come")
        self.assertEqual(run.terminated()[0], 0)
        self.assertEqual(run.summary().lost, 0)
        self.assertGreater(run.summary().failed, 0)
        self.nothing_is_lost(collector, host)
        times = self.times(collector)
        jumps = [later - earlier for earlier, later in zip(times, times[1:]) if abs(later - earlier) > 100]
        self.assertEqual(len(jumps), 1, jumps)
        self.assertAlmostEqual(jumps[0], after - before, delta=10)

    def test_set_back_by_an_hour(self) -> None:
        self.set_while_it_runs(NOW, HOUR_AGO)

    def test_set_for_the_first_time(self) -> None:
        self.set_while_it_runs(IN_1970, NOW)

    def wall_time_of(self, host: Host) -> int:
        """What the clock showed at the end of the last run."""
        with closing(sqlite3.connect(host.spool / "spool.db")) as database:
            return database.execute("SELECT wall_time FROM state").fetchone()[0]

    def set_between_two_runs(self, before: int, after: int) -> None:
        """An evening is played before, and delivered after."""
        collector = self.collector()
        host = self.host()
        clock = Clock(self.folder)
        clock.set(before)
        self.ends_well(host.start(collector.url, *AGE, "--linger", 0, script=EVENING, env=clock.environment))
        wall_time = self.wall_time_of(host)
        collector.start()
        clock.set(after)
        summary = self.ends_well(host.start(collector.url, *AGE, env=clock.environment))
        self.assertEqual((summary.sent, summary.lost), (EVENING_PACKAGES, 0))
        self.assertEqual(len(self.nothing_is_lost(collector, host).received), EVENING_EVENTS)
        self.assertAlmostEqual(self.wall_time_of(host) - wall_time, after - before, delta=10)

    def test_set_back_by_an_hour_between_two_runs(self) -> None:
        self.set_between_two_runs(NOW, HOUR_AGO)

    def test_set_for_the_first_time_between_two_runs(self) -> None:
        self.set_between_two_runs(IN_1970, NOW)

    def test_not_set_after_a_restart(self) -> None:
        self.set_between_two_runs(NOW, IN_1970)
