"""A host that is killed a hundred times, at each stage: what it has reported is there in the end, and once."""

import subprocess

from harness import EVENING, EVENING_PACKAGES, DeliveryTest, Run, end, takes, until, zaps

KILLS = 100


class Kills(DeliveryTest):
    """SIGKILL."""

    def setUp(self) -> None:
        super().setUp()
        self.running = self.collector().start()
        self.box = self.host()

    def fed(self, script: str) -> Run:
        """A run that has been given a script, and waits for more."""
        run = self.box.start(self.running.url, "--echo", stdin=subprocess.PIPE)
        run.feed(script)
        return run

    def at_the_start(self, moment: int) -> None:
        """Before the first report, or not long after it."""
        run = self.fed(zaps(20))
        until(lambda: (True, self.box.spool.exists(), run.prepared(), run.reported())[moment], "the host starts")
        end(run.process)

    def with_all_delivered(self, count: int) -> None:
        """Nothing waits. What earlier runs have left is delivered, too."""
        run = self.fed(zaps(count))
        until(lambda: len(run.reported()) == count, "everything is safe")
        bodies = {line[:-1].decode() for each in self.box.runs for line in each.reported()}
        until(lambda: bodies <= {body for body, in self.running.rows("SELECT body FROM packages")}, "all is delivered")
        end(run.process)

    def with_packages_to_deliver(self, count: int) -> None:
        """The collector is stuck."""
        self.running.set_fault(kind="hang")
        run = self.fed(zaps(count))
        until(lambda: len(run.reported()) == count, "everything is safe")
        end(run.process)
        self.running.end_fault()

    def with_an_answer_on_its_way(self, count: int) -> None:
        """The collector has what the host does not know of."""
        self.running.set_fault(kind="slow", delay=1000)
        before = self.running.taken()
        run = self.fed(zaps(count))
        until(lambda: self.running.taken() > before and len(run.reported()) == count, "a request is under way")
        end(run.process)
        self.running.end_fault()

    def with_events_in_memory(self, count: int) -> None:
        """They wait for one of medium priority."""
        run = self.fed(zaps(count, "low"))
        until(lambda: len(run.prepared()) == count, "the events wait")
        end(run.process)

    def while_it_reports(self, count: int) -> None:
        """Wherever the thread that delivers is then."""
        run = self.box.start(self.running.url, "--echo", "--pace", 0.001, EVENING, EVENING)
        until(lambda: len(run.reported()) >= count, "it reports")
        end(run.process)

    @takes(20)
    def test_killed_a_hundred_times(self) -> None:
        chance = self.chance()
        for number in range(KILLS // 5):
            self.at_the_start(number % 4)
            self.with_events_in_memory(chance.randint(1, 30))
            # The collector is away now and then.
            if number % 5 == 0:
                self.running.kill()
                self.while_it_reports(chance.randint(1, 2 * EVENING_PACKAGES))
                self.running.start()
            else:
                self.while_it_reports(chance.randint(1, 2 * EVENING_PACKAGES))
            self.with_packages_to_deliver(chance.randint(1, 30))
            if number % 2:
                self.with_an_answer_on_its_way(chance.randint(1, 30))
            else:
                self.with_all_delivered(chance.randint(1, 30))
        self.assertEqual(len(self.box.runs), KILLS)

        self.assertEqual(self.ends_well(self.box.start(self.running.url)).lost, 0)
        self.assertFalse(any(run.says("damaged") for run in self.box.runs), "a kill is not to damage the spool")
        account = self.nothing_is_lost(self.running, self.box, killed=True)
        self.assertGreaterEqual(account.repeats, KILLS // 10, "no kill hit a request under way")
        self.assertGreaterEqual(len(account.prepared - account.received), KILLS // 5, "no kill hit events in memory")
