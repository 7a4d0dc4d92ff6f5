"""SIGTERM ends a host when --linger is over, whatever it is doing: everything is sent or spooled."""

import signal
import subprocess

from harness import EVENING, EVENING_EVENTS, EVENING_PACKAGES, Collector, DeliveryTest, Host, Run, until, zaps

LINGER = 1
LIVE = ["--echo", "--live", "--interval", 0.02, "--flush", 0.04]


class Stop(DeliveryTest):
    """One state of the host each."""

    def stops(self, collector: Collector, host: Host, run: Run) -> float:
        """Stops the host, which has packages; the next run finds all that this one did not send. Returns how many seconds
        the stop took. A host that waited all of a --linger of 1000 would be waited for in vain."""
        status, seconds = run.terminated()
        self.assertEqual(status, 0, run.messages())
        summary = run.summary()
        self.assertEqual(summary.sent + summary.pending, summary.packages)
        self.assertEqual(len(run.reported()), summary.packages, "not all is spooled")
        collector.kill()
        collector.start()
        self.assertEqual(self.ends_well(host.start(collector.url)).pending, 0)
        self.nothing_is_lost(collector, host)
        return seconds

    def test_stopped_while_reporting(self) -> None:
        collector = self.collector().start()
        host = self.host()
        run = host.start(collector.url, "--echo", "--linger", 1000, "--pace", 0.05, EVENING)
        until(lambda: len(run.reported()) > 5, "packages are reported")
        self.stops(collector, host, run)
        self.assertLess(len(host.runs[0].prepared()), EVENING_EVENTS)
        self.assertEqual(run.summary().pending, 0)

    def test_stopped_while_waiting_to_try_again(self) -> None:
        collector = self.collector().start(kind="status", status=503, retry_after=86400)
        host = self.host()
        run = host.start(collector.url, "--linger", 1000, *LIVE)
        until(lambda: collector.requests("503") and len(run.reported()) > 5, "packages wait")
        self.stops(collector, host, run)
        self.assertEqual((run.summary().sent, run.summary().failed), (0, 1))

    def test_stopped_while_a_request_hangs(self) -> None:
        collector = self.collector().start(kind="hang")
        host = self.host()
        run = host.start(collector.url, "--linger", LINGER, *LIVE)
        until(lambda: collector.requests("hang") and len(run.reported()) > 5, "a request hangs")
        self.assertGreaterEqual(self.stops(collector, host, run), LINGER)
        self.assertEqual((run.summary().sent, run.summary().failed), (0, 0))

    def test_stopped_while_an_answer_is_cut(self) -> None:
        collector = self.collector().start(kind="cut", when="answer")
        host = self.host()
        run = host.start(collector.url, "--linger", LINGER, *LIVE)
        until(lambda: collector.requests("cut") and len(run.reported()) > 5, "an answer is cut")
        self.stops(collector, host, run)
        self.assertEqual(run.summary().sent, 0)
        self.assertGreater(collector.count("repeats"), 0)

    def test_stopped_while_the_disk_is_busy(self) -> None:
        """What is still queued then is spooled, even if there is no time to deliver it."""
        collector = self.collector().start()
        host = self.host()
        run = host.start(collector.url, "--linger", 0, *LIVE, env=self.preloaded("slowdisk.c"))
        until(run.reported, "packages are reported")
        prepared = len(run.prepared())
        until(lambda: len(run.prepared()) > prepared + 5, "events wait for the disk")
        self.stops(collector, host, run)

    def test_ended_while_the_disk_is_busy(self) -> None:
        """What is on its way to the disk is not forgotten: it is delivered before the host goes."""
        collector = self.collector().start()
        host = self.host()
        run = host.start(collector.url, script=self.script(zaps(1)), env=self.preloaded("slowdisk.c"))
        summary = self.ends_well(run)
        self.assertEqual((summary.sent, summary.pending), (1, 0))
        self.nothing_is_lost(collector, host)

    def test_stopped_while_it_reads_an_open_pipe(self) -> None:
        collector = self.collector().start()
        host = self.host()
        run = host.start(collector.url, "--echo", "--linger", 1000, stdin=subprocess.PIPE)
        run.feed(zaps(5))
        until(lambda: collector.count("packages") == 5, "what came by the pipe is delivered")
        run.feed(zaps(3, "low"))
        until(lambda: len(run.prepared()) == 8, "events wait in the library")
        self.stops(collector, host, run)
        self.assertEqual(run.summary().sent, 6, "a stop takes along what waits in the library")

    def test_stopped_twice(self) -> None:
        """The second signal is from someone who does not want to wait."""
        collector = self.collector().start(kind="hang")
        host = self.host()
        run = host.start(collector.url, "--echo", "--linger", 1000, EVENING)
        until(lambda: collector.requests("hang") and len(run.reported()) == EVENING_PACKAGES, "a request hangs")
        run.process.send_signal(signal.SIGTERM)
        self.stops(collector, host, run)

    def test_interrupted(self) -> None:
        collector = self.collector().start()
        host = self.host()
        run = host.start(collector.url, *LIVE)
        until(lambda: collector.count("packages") > 3, "packages are delivered")
        run.process.send_signal(signal.SIGINT)
        self.assertEqual(self.ends_well(run).pending, 0)
        self.nothing_is_lost(collector, host)
