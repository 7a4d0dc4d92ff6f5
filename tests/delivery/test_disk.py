"""The spool's disk is full, its quota or its age is reached, or its file is damaged."""

import json
import os
import random
import subprocess
import tempfile
import time
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
            self.skipTest("a small disk cannot be mounted here")
        self.box = self.host()
        self.box.spool = self.folder / "disk" / "spool"

    def fed_until_full(self, collector: Collector) -> Run:
        """A host that has reported five events to the disk, and an evening since it is full."""
        run = self.box.start(collector.url, stdin=subprocess.PIPE, prefix=self.disk.prefix)
        run.feed(zaps(5))
        until(lambda: len(run.reported()) == 5, "the first packages are safe")
        self.disk.fill()
        run.feed(Path(EVENING).read_text())
        until(lambda: len(run.prepared()) == 5 + EVENING_EVENTS, "the evening is played")
        until(lambda: run.says("stbhost: the spool cannot be written: database or disk is full"), "the disk is full")
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
        run = self.fed_until_full(collector)
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
        account = self.account(collector, host)
        self.assertEqual(len(account.prepared - account.received), last.lost)
        self.nothing_is_lost(collector, host, gone=len(account.lost), is_all=False)
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
        run = host.start(collector.url, "--quota", 10000, "--flush", 0.02, "--linger", 0, "--live", "--interval", 1000)

        def told() -> int:
            return sum(event.startswith("kivo_error/") for event in run.prepared())

        until(told, "the losses are told")
        begin = time.monotonic()
        until(lambda: time.monotonic() > begin + 1 or told() > 1, "a second of flushes")
        self.assertEqual(run.terminated()[0], 0)
        self.assertEqual(told(), 1)

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


def overwrite(path: Path, offset: int, content: bytes) -> None:
    """Writes over a part of a file."""
    with path.open("r+b") as file:
        file.seek(offset)
        file.write(content)


class Damage(DeliveryTest):
    """What can be read of a damaged spool is delivered; what it was is kept, and what is gone is counted."""

    def delivered(self, damage: Callable[[Path], dict[str, str] | None], notices: int = 1, is_closed: bool = True,
                  scripts: Sequence[Any] = (EVENING, EVENING),
                  packages: int = 2 * EVENING_PACKAGES) -> tuple[int, int]:
        """Fills a spool with so many packages, damages it, and has it delivered, in the environment that the damage
        needs. Returns how many packages are missing, and how many the host says it has lost."""
        self.folder = Path(tempfile.mkdtemp(dir=self.folder))
        collector = self.collector()
        host = self.host()
        run = host.start(collector.url, "--linger", 0 if is_closed else 30, *scripts)
        until(lambda: len(run.reported()) == packages, "everything is safe")
        if is_closed:
            self.ends_well(run)
        end(run.process)
        environment = damage(host.spool / "spool.db")
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
        reported = {package for run in host.runs for package in run.reported()}
        missing = reported - {f"{body}\n".encode() for body, in collector.rows("SELECT body FROM packages")}
        self.nothing_is_lost(collector, host, gone=sum(len(json.loads(package)["events"]) for package in missing))
        collector.kill()
        return len(missing), summary.lost

    def test_damaged_first_page(self) -> None:
        """Without it SQLite knows nothing of the rest."""
        for content in (bytes(PAGE), random.Random(1).randbytes(PAGE), bytes(100)):
            self.assertEqual(self.delivered(lambda path: overwrite(path, 0, content)), (0, 0))

    def test_damaged_page(self) -> None:
        """One page with packages takes no more than a page's, and all of them are counted."""
        def damage(path: Path) -> None:
            content = path.read_bytes()
            overwrite(path, content.rindex(b"playback_start/") // PAGE * PAGE, random.Random(1).randbytes(PAGE))
        missing, told = self.delivered(damage)
        self.assertIn(missing, range(1, 13))
        self.assertEqual(told, missing)

    def test_bad_sector(self) -> None:
        """What the disk does not give back is no more than the page that it is in."""
        def damage(path: Path) -> dict[str, str]:
            sector = path.read_bytes().rindex(b"playback_start/") // SECTOR * SECTOR
            return {**self.preloaded("badsector.c"), "BAD_SECTOR": f"{path.stat().st_ino}:{sector}"}
        missing, told = self.delivered(damage)
        self.assertIn(missing, range(1, 13))
        self.assertEqual(told, missing)

    def test_damaged_pages(self) -> None:
        """Where the index is gone as well as its packages they are counted all the same, if the count is there."""
        for seed in range(6):
            chance = random.Random(seed)

            pages: list[int] = []

            def damage(path: Path) -> None:
                pages.extend(chance.sample(range(1, path.stat().st_size // PAGE), 3))
                for page in pages:
                    overwrite(path, page * PAGE, chance.randbytes(PAGE))

            missing, told = self.delivered(damage)
            self.assertLess(missing, 65, f"seed {seed}")
            if STATE in pages:
                self.assertLessEqual(told, missing, f"seed {seed}")
            else:
                self.assertEqual(told, missing, f"seed {seed}")

    def test_damaged_by_truncation(self) -> None:
        def damage(path: Path) -> None:
            os.truncate(path, path.stat().st_size // PAGE // 2 * PAGE)
        missing, told = self.delivered(damage)
        self.assertIn(missing, range(20, 110))
        self.assertEqual(told, missing)

    def test_damaged_log(self) -> None:
        """To SQLite a log that is cut has not been written to its end: that is no damage. So few packages are nowhere
        else yet."""
        def damage(path: Path) -> None:
            log = path.with_name("spool.db-wal")
            os.truncate(log, log.stat().st_size // 2)
        missing, _ = self.delivered(damage, notices=0, is_closed=False, packages=20,
                                    scripts=["--pace", 0.02, self.script(zaps(20))])
        self.assertIn(missing, range(1, 21))

    def test_damaged_letter(self) -> None:
        """SQLite does not notice; the package is lost, and not delivered as something else."""
        def damage(path: Path) -> None:
            overwrite(path, path.read_bytes().rindex(b"playback_zap/"), b"playback_zip/")
        self.assertEqual(self.delivered(damage), (1, 1))
