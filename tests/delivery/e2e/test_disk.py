"""The spool's disk is full, its quota or its age is reached, or its file is damaged."""

import json
import os
import shutil
import sqlite3
import subprocess
import tempfile
from contextlib import closing
from pathlib import Path
from typing import Any, Callable, Sequence

from harness import EVENING, EVENING_EVENTS, EVENING_PACKAGES, Clock, Collector, DeliveryTest, Run, end, until, zaps

PAGE = 4096
SECTOR = 512


class SmallDisk:
    """A disk of a megabyte, in a mount namespace of its own."""

    def __init__(self, folder: Path) -> None:
        self._folder = folder
        self._folder.mkdir()
        self._keeper = subprocess.Popen(
            ["unshare", "--mount", "sh", "-c", f"mount -t tmpfs -o size=1m tmpfs '{folder}' && echo ready && exec cat"],
            stdin=subprocess.PIPE, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL)
        self.is_there = self._keeper.stdout.readline() == b"ready\n"
        self.prefix = ["nsenter", f"--mount=/proc/{self._keeper.pid}/ns/mnt", "--"]

    @property
    def _balloon(self) -> Path:
        return Path(f"/proc/{self._keeper.pid}/root{self._folder}/balloon")

    def fill(self) -> None:
        """Takes all the room that is left."""
        with self._balloon.open("ab", buffering=0) as balloon:
            try:
                while balloon.write(bytes(PAGE)):
                    pass
            except OSError:
                pass

    def empty(self) -> None:
        """Gives it back."""
        self._balloon.unlink()

    def end(self) -> None:
        """Takes the disk away."""
        end(self._keeper)
        self._keeper.stdout.close()


class FullDisk(DeliveryTest):
    """Needs the right to mount."""

    def setUp(self) -> None:
        super().setUp()
        self.disk = SmallDisk(self.folder / "disk")
        self.addCleanup(self.disk.end)
        if not self.disk.is_there:
            self.skipTest("the right to mount is missing: unshare --mount and mount -t tmpfs fail")
        self.box = self.host()
        self.box.spool = self.folder / "disk" / "spool"

    def fed_until_full(self, collector: Collector, *options: Any) -> Run:
        """A host that has reported five events to the disk, and an evening since it is full."""
        run = self.box.start(collector.url, "--echo", *options, stdin=subprocess.PIPE, prefix=self.disk.prefix)
        run.feed(zaps(5))
        until(lambda: len(run.reported()) == 5, "the first packages are safe")
        self.disk.fill()
        run.feed(Path(EVENING).read_text())
        until(lambda: len(run.prepared()) == 5 + EVENING_EVENTS, "the evening is played")
        until(lambda: run.says("stbhost: the spool cannot be written: "), "the disk is full")
        self.assertLess(len(run.reported()), 5 + EVENING_PACKAGES)
        return run

    def test_disk_full_while_the_collector_is_up(self) -> None:
        """What finds no room on the disk is delivered from memory."""
        collector = self.collector()
        run = self.fed_until_full(collector)
        collector.start()
        until(lambda: collector.count("events") == 5 + EVENING_EVENTS, "everything is delivered")
        self.disk.empty()
        summary = self.ends_well(run)
        self.assertEqual((summary.pending, summary.lost), (0, 0))
        self.nothing_is_lost(collector, self.box)

    def test_disk_full_while_the_collector_is_down(self) -> None:
        """What found no room is spooled when there is some again: a kill takes nothing of it."""
        collector = self.collector()
        run = self.fed_until_full(collector)
        self.disk.empty()
        until(lambda: run.says("stbhost: the spool can be written again"), "there is room again")
        until(lambda: len(run.reported()) == 5 + EVENING_PACKAGES, "everything is safe")
        end(run.process)
        collector.start()
        self.assertEqual(self.ends_well(self.box.start(collector.url, prefix=self.disk.prefix)).lost, 0)
        self.nothing_is_lost(collector, self.box)

    def test_disk_full_until_the_end(self) -> None:
        """With neither disk nor collector what is in memory is lost, but not without a word."""
        collector = self.collector()
        run = self.fed_until_full(collector, "--linger", 2)
        status, _ = run.terminated()
        lost = 5 + EVENING_PACKAGES - len(run.reported())
        self.assertEqual(status, 1)
        self.assertTrue(run.says(f"stbhost: {lost} packages are lost: the spool cannot be written"), run.messages())
        self.disk.empty()
        collector.start()
        self.ends_well(self.box.start(collector.url, prefix=self.disk.prefix))
        self.nothing_is_lost(collector, self.box, killed=True)


class Limits(DeliveryTest):
    """Quota and age."""

    def filled(self, script: str, quota: int) -> tuple[list[str], set[str]]:
        """A box with such a quota reports a script before its first attempt (what an attempt is made for stays while it
        lasts), and delivers what is left of it.
        Returns the events of the script, in order, and those of them that were left."""
        collector = self.collector()
        host = self.host()
        run = host.start(collector.url, "--quota", quota, "--spread", 1000000, "--linger", 0,
                         script=self.script(script))
        summary = self.ends_well(run)
        self.assertGreater(summary.lost, 10)
        self.assertEqual(summary.pending, summary.packages - summary.lost)
        self.assertLessEqual((host.spool / "spool.db").stat().st_size, 1.5 * quota + 10 * PAGE)
        collector.start()
        last = self.ends_well(host.start(collector.url, "--quota", quota))
        self.assertEqual((last.pending, last.refused), (0, 0))
        self.losses_are_told(collector, host, lost_to_quota=last.lost)
        account = self.nothing_is_lost(collector, host, gone=last.lost)
        order = [event for event in run.prepared() if event.startswith("playback_zap/")]
        return order, {event for event in account.received if event.startswith("playback_zap/")}

    def test_quota(self) -> None:
        """Of the normal ones the oldest go, and none of high priority."""
        order, left = self.filled(zaps(50) + zaps(5, "high") + zaps(100), 30000)
        normal = order[:50] + order[55:]
        self.assertEqual(left, {*order[50:55], *normal[len(normal) - len(left) + 5:]})

    def test_quota_of_high_ones(self) -> None:
        """Where there is nothing else, the oldest of high priority go."""
        order, left = self.filled(zaps(5) + zaps(50, "high"), 10000)
        self.assertEqual(left, set(order[len(order) - len(left):]))

    def test_quota_while_nothing_happens(self) -> None:
        """To tell of a loss takes the place of a package, so it is not told again before the collector has it."""
        collector = self.collector()
        host = self.host()
        self.ends_well(host.start(collector.url, "--quota", 10000, "--linger", 0, script=self.script(zaps(100))))
        run = host.start(collector.url, "--quota", 10000, "--flush", 0.02, "--linger", 0, "--live", "--interval", 0.01)

        def events(kind: str) -> int:
            return sum(event.startswith(f"{kind}/") for event in run.prepared())

        until(lambda: events("kivo_error") and events("system_status") > 20, "the losses are told, and more flushes come")
        self.assertEqual(run.terminated()[0], 0)
        self.assertEqual(events("kivo_error"), 1)

    def test_age(self) -> None:
        """Packages wait for a week, and not a day longer, of which eight pass between the runs."""
        collector = self.collector()
        host = self.host()
        summary = self.ends_well(host.start(collector.url, "--linger", 0, script=EVENING))
        self.assertEqual((summary.pending, summary.lost), (EVENING_PACKAGES, 0))
        collector.start()
        clock = Clock(self.folder)
        clock.set(8 * 86400)
        last = self.ends_well(host.start(collector.url, env=clock.environment))
        self.assertEqual((last.sent, last.pending, last.lost), (1, 0, EVENING_PACKAGES))
        self.losses_are_told(collector, host, lost_to_age=EVENING_PACKAGES)
        self.nothing_is_lost(collector, host, gone=EVENING_EVENTS)


STATE = 3  # The page with the sums and the count.
LEAF = 13  # What a page with rows of a table begins with.


def rows_on(content: bytes, page: int) -> int:
    """How many packages are on a page of the spool, counted from 0."""
    begin = page * PAGE
    # The first pages have the schema, the sums and the clock. Their rows are no packages, nor are an index's entries.
    is_leaf = page > STATE and content[begin] == LEAF
    return int.from_bytes(content[begin + 3:begin + 5], "big") if is_leaf else 0


def overwrite(path: Path, offset: int, content: bytes) -> None:
    """Writes over a part of a file."""
    with path.open("r+b") as file:
        file.seek(offset)
        file.write(content)


class Damage(DeliveryTest):
    """What can be read of a damaged spool is delivered; what it was is kept, and what is gone is counted."""

    def delivered(self, damage: Callable[[Path], int], notices: int = 1, is_closed: bool = True,
                  scripts: Sequence[Any] = (EVENING, EVENING), packages: int = 2 * EVENING_PACKAGES,
                  environment: dict[str, str] | None = None) -> tuple[int, int]:
        """Fills a spool with so many packages, has it damaged, which returns how many of them are gone, and has it
        delivered. Returns how many are gone, and how many the host says it has lost."""
        self.folder = Path(tempfile.mkdtemp(dir=self.folder))
        collector = self.collector()
        host = self.host()
        run = host.start(collector.url, "--echo", "--linger", 0 if is_closed else 30, *scripts)
        until(lambda: len(run.reported()) == packages, "everything is safe")
        if is_closed:
            self.ends_well(run)
        end(run.process)
        reported = run.reported()
        gone = damage(host.spool / "spool.db")
        collector.start()
        run = host.start(collector.url, env=environment or {})
        summary = self.ends_well(run)
        self.assertEqual(summary.pending, 0)
        messages = run.messages()
        self.assertEqual(sum("stbhost: the spool was damaged: " in line for line in messages), notices, messages)
        self.assertEqual(len(messages), 1 + notices, messages)
        self.assertEqual((host.spool / "spool.db.damaged").exists(), notices > 0)
        if summary.lost:
            self.losses_are_told(collector, host, lost_to_damage=summary.lost)
        bodies = {body for body, in collector.rows("SELECT body FROM packages")}
        missing = [package for package in reported if package[:-1].decode() not in bodies]
        self.assertEqual(len(missing), gone, "not all that can be read was delivered")
        self.nothing_is_lost(collector, host, gone=sum(len(json.loads(package)["events"]) for package in missing))
        collector.kill()
        return len(missing), summary.lost

    def test_damaged_first_page(self) -> None:
        """Without it SQLite knows nothing of the rest."""
        for content in (bytes(PAGE), self.chance().randbytes(PAGE), bytes(100)):
            def damage(path: Path) -> int:
                overwrite(path, 0, content)
                return 0
            self.assertEqual(self.delivered(damage), (0, 0))

    def test_damaged_page(self) -> None:
        """One page with packages takes no more than a page's, and all of them are counted."""
        def damage(path: Path) -> int:
            content = path.read_bytes()
            page = content.rindex(b"playback_start/") // PAGE
            overwrite(path, page * PAGE, self.chance().randbytes(PAGE))
            return rows_on(content, page)
        gone, told = self.delivered(damage)
        self.assertGreater(gone, 0)
        self.assertEqual(told, gone)

    def test_bad_sector(self) -> None:
        """What the disk does not give back is no more than the page that it is in."""
        environment = self.preloaded("badsector.c")

        def damage(path: Path) -> int:
            content = path.read_bytes()
            sector = content.rindex(b"playback_start/") // SECTOR * SECTOR
            environment["BAD_SECTOR"] = f"{path.stat().st_ino}:{sector}"
            return rows_on(content, sector // PAGE)
        gone, told = self.delivered(damage, environment=environment)
        self.assertGreater(gone, 0)
        self.assertEqual(told, gone)

    def test_damaged_pages(self) -> None:
        """Where the index is gone as well as its packages they are counted all the same, if the count is there."""
        chance = self.chance()
        for _ in range(3):
            pages: list[int] = []

            def damage(path: Path) -> int:
                content = path.read_bytes()
                pages.extend(chance.sample(range(1, len(content) // PAGE), 3))
                for page in pages:
                    overwrite(path, page * PAGE, chance.randbytes(PAGE))
                return sum(rows_on(content, page) for page in pages)

            gone, told = self.delivered(damage)
            if STATE in pages:
                self.assertLessEqual(told, gone, pages)
            else:
                self.assertEqual(told, gone, pages)

    def test_damaged_by_truncation(self) -> None:
        def damage(path: Path) -> int:
            content = path.read_bytes()
            kept = len(content) // PAGE // 2
            os.truncate(path, kept * PAGE)
            return sum(rows_on(content, page) for page in range(kept, len(content) // PAGE))
        gone, told = self.delivered(damage)
        self.assertGreater(gone, 0)
        self.assertEqual(told, gone)

    def test_damaged_log(self) -> None:
        """To SQLite a log that is cut has not been written to its end: that is no damage. So few packages are nowhere
        else yet."""
        def damage(path: Path) -> int:
            log = path.with_name("spool.db-wal")
            os.truncate(log, log.stat().st_size // 2)
            copy = self.folder / "copy.db"
            shutil.copy(path, copy)
            shutil.copy(log, f"{copy}-wal")
            with closing(sqlite3.connect(copy)) as database:
                return 20 - database.execute("SELECT count(*) FROM package").fetchone()[0]
        gone, told = self.delivered(damage, notices=0, is_closed=False, packages=20,
                                    scripts=["--pace", 0.02, self.script(zaps(20))])
        self.assertGreater(gone, 0)
        self.assertEqual(told, 0)

    def test_damaged_letter(self) -> None:
        """SQLite does not notice; the package is lost, and not delivered as something else."""
        def damage(path: Path) -> int:
            overwrite(path, path.read_bytes().rindex(b"playback_zap/"), b"playback_zip/")
            return 1
        self.assertEqual(self.delivered(damage), (1, 1))
