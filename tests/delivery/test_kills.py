"""A host that is killed at any moment, a hundred times: what it has reported is there in the end, and once.

DELIVERY_SEED repeats the moments of a run that has printed its seed, as far as the machine does.
"""

import os
import random
import time

from harness import EVENING, Collector, DeliveryTest, zaps

KILLS = 100


class Kills(DeliveryTest):
    """SIGKILL."""

    def test_killed_a_hundred_times(self) -> None:
        seed = int(os.environ.get("DELIVERY_SEED", time.time()))
        print(f"killed_a_hundred_times: DELIVERY_SEED={seed}", flush=True)
        chance = random.Random(seed)
        collector = self.collector().start()
        host = self.host()
        small = self.script(zaps(200))
        # What this machine takes for an evening is the measure of the moments.
        begin = time.monotonic()
        self.ends_well(host.start(collector.url, EVENING))
        evening = time.monotonic() - begin
        ways = [["--pace", 0.002, EVENING, EVENING], ["--live", "--interval", 0.01, "--flush", 0.05], [small]]
        stages = {"before the first report": 0, "with all that was reported delivered": 0,
                  "with packages to deliver": 0}
        for number in range(KILLS):
            # In turns of five, so that hosts find the collector as they left it, and also otherwise.
            if number % 5 == 0:
                self.change(collector, number // 5)
            run = host.start(collector.url, *ways[number % 3])
            time.sleep(chance.uniform(0, chance.choice((0.1, 3))) * evening)
            host.end()
            reported = sum(len(each.reported()) for each in host.runs)
            if not run.reported():
                stages["before the first report"] += 1
            elif collector.count("packages") >= reported:
                stages["with all that was reported delivered"] += 1
            else:
                stages["with packages to deliver"] += 1
        print(f"killed_a_hundred_times: {', '.join(f'{times} {stage}' for stage, times in stages.items())}", flush=True)

        collector.kill()
        collector.start()
        self.assertEqual(self.ends_well(host.start(collector.url)).lost, 0)
        self.assertFalse(any(run.says("damaged") for run in host.runs), "a kill is not to damage the spool")
        account = self.nothing_is_lost(collector, host, killed=True)
        self.assertGreater(min(stages.values()), 0, "all kills hit the same stage")
        self.assertGreater(account.repeats, 0, "no kill hit a request under way")
        self.assertGreater(len(account.prepared - account.received), 0, "no kill hit events in memory")

    def change(self, collector: Collector, turn: int) -> None:
        """Up, slow, down, and so on."""
        collector.kill()
        if turn % 3 == 0:
            collector.start()
        elif turn % 3 == 1:
            collector.start(kind="slow", delay=0.1)
