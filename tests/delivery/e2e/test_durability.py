"""What the host calls safe is on the disk then, and not only on its way: a power-off would not take it."""

import re

from harness import DeliveryTest, zaps

CALL = re.compile(r"^\d+ +(\w+)\(\d+<([^>]*)>")
EVENT = re.compile(r"playback_zap/[0-9a-f-]{36}")


class Durability(DeliveryTest):
    """By the order of the system calls, as strace tells it."""

    def test_reported_after_the_sync(self) -> None:
        trace = self.folder / "trace"
        collector = self.collector().start()
        host = self.host()
        self.ends_well(host.start(collector.url, "--echo", "--pace", 0.01, script=self.script(zaps(50)), prefix=[
            "strace", "-f", "-y", "-s", "5000", "-e", "trace=write,pwrite64,fdatasync,fsync", "-o", str(trace)]))
        self.nothing_is_lost(collector, host)

        written = set()
        durable = set()
        reported = set()
        for line in trace.read_text().splitlines():
            call = CALL.match(line)
            if not call:
                continue
            name, path = call.groups()
            events = EVENT.findall(line)
            if name in ("fsync", "fdatasync"):
                durable |= {event for file, event in written if file == path}
            elif path.startswith(str(host.spool)):
                written.update((path, event) for event in events)
            elif path.endswith("/0.out"):
                reported.update(events)
                self.none(set(events) - durable, "reported too early")
        self.assertEqual(len(reported), 50)
