"""A collector that is away, fails, or goes down in the middle: everything is there in the end, and once."""

import gzip
import json
import socket
import subprocess

from harness import EVENING, EVENING_EVENTS, EVENING_PACKAGES, ROOT, Collector, DeliveryTest, Summary, until, zaps


def first_request(port: int) -> tuple[str, bytes]:
    """Stands in for the collector until a request is there, and goes away without an answer. Returns what was asked."""
    with socket.create_server(("127.0.0.1", port)) as server:
        server.settimeout(30)
        connection, _ = server.accept()
        with connection, connection.makefile("rb") as stream:
            header = ""
            while (line := stream.readline()) not in (b"\r\n", b""):
                header += line.decode().lower()
            length = next(int(line.partition(":")[2]) for line in header.splitlines()
                          if line.startswith("content-length:"))
            return header, stream.read(length)


class Faults(DeliveryTest):
    """One fault each."""

    def evening(self, collector: Collector, *options: str) -> Summary:
        """Plays an evening against the collector to the end: all of it is there then."""
        host = self.host()
        summary = self.ends_well(host.start(collector.url, *options, script=EVENING))
        account = self.nothing_is_lost(collector, host)
        self.assertEqual(len(account.received), EVENING_EVENTS)
        self.assertEqual(collector.count("packages"), EVENING_PACKAGES)
        self.assertEqual((summary.events, summary.packages, summary.sent),
                         (EVENING_EVENTS, EVENING_PACKAGES, EVENING_PACKAGES))
        self.assertEqual((summary.pending, summary.refused, summary.lost), (0, 0, 0))
        return summary

    def test_no_fault(self) -> None:
        collector = self.collector().start()
        summary = self.evening(collector, "--echo")
        self.assertEqual((summary.failed, collector.count("repeats")), (0, 0))

    def test_down_at_the_start(self) -> None:
        collector = self.collector()
        host = self.host()
        run = host.start(collector.url, "--echo", script=EVENING)
        until(lambda: len(run.reported()) == EVENING_PACKAGES, "everything is reported")
        collector.start()
        summary = self.ends_well(run)
        self.assertGreater(summary.failed, 0)
        account = self.nothing_is_lost(collector, host)
        self.assertEqual(len(account.received), EVENING_EVENTS)
        # What is of high priority does not wait for what has piled up.
        order = [priority for priority, in collector.rows("SELECT priority FROM packages ORDER BY rowid")]
        self.assertEqual(order, ["high"] * 4 + ["normal"] * 61)

    def test_refused_connections(self) -> None:
        collector = self.collector().start(kind="refuse", seconds=2)
        self.assertGreater(self.evening(collector).failed, 1)

    def test_killed_and_restarted(self) -> None:
        """Every other time while it keeps an answer back, so that it has what the host does not know of."""
        chance = self.chance()
        collector = self.collector().start()
        host = self.host()
        run = host.start(collector.url, "--echo", "--live", "--interval", 0.02, "--flush", 0.04)
        for number in range(10):
            if number % 2:
                collector.set_fault(kind="slow", delay=1000)
            count = collector.taken() + (0 if number % 2 else chance.randint(0, 5))
            until(lambda: collector.taken() > count, "packages come")
            collector.kill()
            collector.start()
        self.assertIsNone(run.process.poll(), "the host was to report all the time")
        self.assertEqual(run.terminated()[0], 0)
        self.assertEqual(run.summary().pending, 0)
        self.assertGreater(self.nothing_is_lost(collector, host).repeats, 0, "no answer was kept back")

    def test_hanging(self) -> None:
        collector = self.collector().start(kind="hang", count=3)
        # On a busy machine an answer may come too late as well.
        self.assertGreaterEqual(self.evening(collector, "--timeout", "0.5").failed, 3)
        self.assertEqual(collector.requests("hang"), 3)

    def test_slow(self) -> None:
        collector = self.collector().start(kind="slow", delay=0.3, drip=0.02, count=3)
        self.assertEqual(self.evening(collector).failed, 0)

    def test_error_500(self) -> None:
        collector = self.collector().start(kind="status", status=500, count=5)
        self.assertEqual(self.evening(collector).failed, 5)
        self.assertEqual(collector.requests("500"), 5)

    def test_unavailable_503(self) -> None:
        collector = self.collector().start(kind="status", status=503, count=1)
        self.assertEqual(self.evening(collector).failed, 1)
        self.assertEqual(collector.requests("503"), 1)

    def test_redirected(self) -> None:
        collector = self.collector().start(kind="status", status=302, count=2)
        self.assertEqual(self.evening(collector).failed, 2)
        self.assertEqual(collector.requests("302"), 2)

    def test_busy_429(self) -> None:
        """The host comes back when it was told to: for a day it would not wait at its end."""
        collector = self.collector().start(kind="status", status=429, retry_after=1, count=1)
        self.assertEqual(self.evening(collector).failed, 1)
        self.assertEqual(collector.requests("429"), 1)

    def test_busy_for_a_day_429(self) -> None:
        collector = self.collector().start(kind="status", status=429, retry_after=86400)
        host = self.host()
        summary = self.ends_well(host.start(collector.url, "--linger", 1000, script=EVENING))
        self.assertEqual((summary.sent, summary.pending, summary.failed), (0, EVENING_PACKAGES, 1))
        self.assertEqual(collector.requests("429"), 1)
        collector.end_fault()
        self.assertEqual(self.ends_well(host.start(collector.url)).pending, 0)
        self.assertEqual(len(self.nothing_is_lost(collector, host).received), EVENING_EVENTS)

    def test_batch_too_large_413(self) -> None:
        """Halved until it goes; the count leaves out the four packages that go alone anyway."""
        collector = self.collector()
        host = self.host()
        self.ends_well(host.start(collector.url, "--linger", "0", script=self.script(zaps(100))))
        collector.start(kind="status", status=413, count=3)
        summary = self.ends_well(host.start(collector.url))
        self.assertEqual((summary.sent, summary.refused), (100, 0))
        self.assertEqual(collector.requests("413"), 3)
        self.assertGreaterEqual(collector.requests("200"), 8)
        self.assertEqual(len(self.nothing_is_lost(collector, host).received), 100)

    def test_package_too_large_413(self) -> None:
        """One of high priority, which goes alone and first."""
        collector = self.collector()
        host = self.host()
        self.ends_well(host.start(collector.url, "--linger", "0", script=self.script(zaps(1, "high") + zaps(9))))
        collector.start(kind="status", status=413, count=1)
        run = host.start(collector.url)
        summary = self.ends_well(run)
        self.assertEqual((summary.sent, summary.pending, summary.refused, summary.lost), (9, 0, 1, 0))
        self.assertTrue(run.says("stbhost: a package was refused and is set aside: HTTP 413"))
        self.losses_are_told(collector, host, refused=1)
        self.nothing_is_lost(collector, host, gone=1)

    def test_bad_package_in_a_batch_422(self) -> None:
        schema = json.loads((ROOT / "schema/stbanalytics-events.schema.json").read_text())
        schema["$defs"]["property.San"]["not"] = {"const": "bad"}
        strict = self.folder / "strict.schema.json"
        strict.write_text(json.dumps(schema))
        collector = self.collector("--schema", str(strict))
        host = self.host()
        script = self.script(zaps(20) + zaps(1, san="bad") + zaps(20))
        self.ends_well(host.start(collector.url, "--linger", "0", script=script))
        collector.start()
        run = host.start(collector.url)
        summary = self.ends_well(run)
        self.assertEqual((summary.sent, summary.pending, summary.refused, summary.lost), (40, 0, 1, 0))
        self.assertTrue(run.says("stbhost: a package was refused and is set aside: HTTP 422"))
        self.assertEqual(collector.requests("422"), 2, "the batch, and the package alone")
        self.losses_are_told(collector, host, refused=1)
        self.nothing_is_lost(collector, host, gone=1)

    def test_cut_in_the_answer(self) -> None:
        collector = self.collector().start(kind="cut", when="answer", count=3)
        self.assertEqual(self.evening(collector).failed, 3)
        self.assertEqual(collector.requests("cut"), 3)
        self.assertGreaterEqual(collector.count("repeats"), 3)

    def test_cut_in_the_request(self) -> None:
        collector = self.collector().start(kind="cut", when="request", count=3)
        # Qt makes such a request anew by itself where the connection was not a new one.
        self.assertIn(self.evening(collector).failed, (1, 2, 3))
        self.assertEqual(collector.requests("cut"), 3)
        self.assertEqual(collector.count("repeats"), 0)

    def test_low_priority_from_a_pipe(self) -> None:
        """What is of low priority is flushed in time, though nothing more comes."""
        collector = self.collector().start()
        host = self.host()
        run = host.start(collector.url, "--flush", 0.1, stdin=subprocess.PIPE)
        run.feed(zaps(3, "low"))
        until(lambda: collector.rows("SELECT count(*) FROM events WHERE type = 'playback_zap'") == [(3,)],
              "they are flushed")
        self.ends_well(run)
        self.nothing_is_lost(collector, host)

    def test_gzip(self) -> None:
        collector = self.collector()
        host = self.host()
        run = host.start(collector.url, "--gzip", script=EVENING)
        header, body = first_request(collector.port)
        self.assertIn("content-encoding: gzip\r\n", header)
        self.assertTrue(gzip.decompress(body).startswith(b'{"packages":[{"key":"'))
        collector.start()
        self.ends_well(run)
        self.assertEqual(len(self.nothing_is_lost(collector, host).received), EVENING_EVENTS)
