"""What the end-to-end tests share: collectors and hosts as processes, and the account of what became of the events."""

import json
import os
import random
import re
import signal
import socket
import sqlite3
import subprocess
import tempfile
import time
import unittest
import urllib.request
from collections import Counter
from contextlib import closing
from dataclasses import dataclass
from pathlib import Path
from typing import Any, Callable, Iterable

ROOT = Path(__file__).resolve().parents[3]
STBHOST = os.environ.get("STBHOST", str(ROOT / "build/release/examples/stbhost/stbhost"))
COLLECTOR = str(ROOT / "examples/collector/collector")
EVENING = str(ROOT / "examples/stbhost/evening.jsonl")

EVENING_EVENTS = 76
EVENING_PACKAGES = 65

PREPARED = re.compile(rb'^stbanalytics: analytics event prepared: id = "([^"]+)" counter = \d+$', re.MULTILINE)
SUMMARY = re.compile(r"^stbhost: (?P<events>\d+) events, (?P<packages>\d+) packages: (?P<sent>\d+) sent, "
                     r"(?P<pending>\d+) pending, (?P<refused>\d+) refused, (?P<lost>\d+) lost; "
                     r"(?P<failed>\d+) attempts failed$")


def until(condition: Callable[[], Any], what: str, seconds: float = 30) -> Any:
    """Polls until there is something, and returns it."""
    deadline = time.monotonic() + seconds
    while not (result := condition()):
        if time.monotonic() > deadline:
            raise AssertionError(f"not within {seconds} s: {what}")
        time.sleep(0.005)
    return result


def end(process: subprocess.Popen[bytes]) -> None:
    """Leaves nothing of a process."""
    process.kill()
    process.wait()
    if process.stdin:
        process.stdin.close()


def takes(seconds: float) -> Callable[[Any], Any]:
    """Marks a test that takes that long: the longest are begun first."""
    def marked(test: Any) -> Any:
        test.seconds = seconds
        return test
    return marked


class Collector:
    """The collector, on one store and one port however often it is started."""

    def __init__(self, folder: Path, *options: str, scheme: str = "http") -> None:
        self.store = folder / "collector.db"
        self._output = folder / "collector.out"
        self._options = options
        self._scheme = scheme
        # As long as it is bound here, nobody else is given the port while the collector is away.
        self._reserved = socket.socket()
        self._reserved.setsockopt(socket.SOL_SOCKET, socket.SO_REUSEADDR, 1)
        self._reserved.bind(("127.0.0.1", 0))
        self._process: subprocess.Popen[bytes] | None = None

    def start(self, **fault: Any) -> "Collector":
        """Starts it, with a fault set if one is named, and returns when it listens."""
        options = [*self._options, *(["--fault", json.dumps(fault)] if fault else [])]
        with self._output.open("wb") as output:
            self._process = subprocess.Popen(
                [COLLECTOR, "--port", str(self.port), "--store", self.store, *options], stdout=output)
        until(lambda: self._output.read_text() == f"collector: {self._scheme}://127.0.0.1:{self.port}/\n",
              "the collector listens")
        return self

    @property
    def port(self) -> int:
        """Where it listens, or is going to."""
        return self._reserved.getsockname()[1]

    @property
    def url(self) -> str:
        """Where hosts deliver."""
        return f"{self._scheme}://127.0.0.1:{self.port}/packages"

    def kill(self) -> None:
        """Ends it by SIGKILL, if it runs."""
        if self._process:
            end(self._process)
            self._process = None

    def end(self) -> None:
        """Leaves neither process nor port."""
        self.kill()
        self._reserved.close()

    def _ask(self, method: str, path: str, body: Any = None) -> bytes:
        request = urllib.request.Request(f"http://127.0.0.1:{self.port}{path}", method=method)
        if body is not None:
            request.data = json.dumps(body).encode()
            request.add_header("Content-Type", "application/json")
        with urllib.request.urlopen(request, timeout=30) as answer:
            return answer.read()

    def set_fault(self, **fault: Any) -> None:
        """Fails from now on."""
        self._ask("POST", "/fault", fault)

    def end_fault(self) -> None:
        """Fails no longer."""
        self._ask("DELETE", "/fault")

    def totals(self) -> dict[str, Any]:
        """Its own figures."""
        return json.loads(self._ask("GET", "/totals"))

    def requests(self, answer: str) -> int:
        """How many requests have been answered so since it was started."""
        return self.totals()["requests"].get(answer, 0)

    def rows(self, query: str) -> list[tuple[Any, ...]]:
        """What its store says."""
        with closing(sqlite3.connect(self.store)) as database:
            return database.execute(query).fetchall()

    def count(self, table: str) -> int:
        """How many rows a table of its store has."""
        return self.rows(f"SELECT count(*) FROM {table}")[0][0]

    def taken(self) -> int:
        """How many packages have come, repeats included."""
        return self.count("packages") + self.count("repeats")


@dataclass(frozen=True)
class Summary:
    """What a host says at its end."""

    events: int
    packages: int
    sent: int
    pending: int
    refused: int
    lost: int
    failed: int


class Run:
    """One run of a host. Its output goes to files, which tell what it had done however it ended."""

    def __init__(self, command: list[str], files: Path, **options: Any) -> None:
        self._is_echoed = "--echo" in command
        self._out = files.with_suffix(".out")
        self._err = files.with_suffix(".err")
        environment = {**os.environ, "QT_LOGGING_RULES": "stbanalytics.debug=true", **options.pop("env", {})}
        with self._out.open("wb") as out, self._err.open("wb") as err:
            self.process = subprocess.Popen(command, stdout=out, stderr=err, env=environment, **options)

    def reported(self) -> list[bytes]:
        """The packages that are safe in the spool, by the host's word. A line that was cut is no word."""
        assert self._is_echoed, "only with --echo a host says so"
        return [line for line in self._out.read_bytes().splitlines(keepends=True) if line.endswith(b"\n")]

    def prepared(self) -> list[str]:
        """The events that have been handed to the library, reported or not."""
        return [identifier.decode() for identifier in PREPARED.findall(self._err.read_bytes())]

    def promised(self) -> set[str]:
        """The events that are not to be lost: with --echo those that are safe in the spool; without it all of them, if the
        host has ended by itself."""
        if self._is_echoed:
            return {event["event_id"] for package in self.reported() for event in json.loads(package)["events"]}
        return set(self.prepared()) if (self.process.poll() or 0) >= 0 else set()

    def packages(self) -> list[bytes]:
        """What it has echoed, if it was to."""
        return self.reported() if self._is_echoed else []

    def messages(self) -> list[str]:
        """What it has said, without the log of the events."""
        return [line for line in PREPARED.sub(b"", self._err.read_bytes()).decode().split("\n") if line]

    def says(self, text: str) -> bool:
        """Whether it has said something."""
        return any(text in line for line in self.messages())

    def feed(self, script: str) -> None:
        """Has it report what a script tells."""
        self.process.stdin.write(script.encode())
        self.process.stdin.flush()

    def ended(self, seconds: float = 60) -> int:
        """Waits for its end, and returns the exit status."""
        if self.process.stdin:
            self.process.stdin.close()
        return self.process.wait(seconds)

    def terminated(self) -> tuple[int, float]:
        """Ends it by SIGTERM. Returns the exit status and how many seconds that took. Its input stays open."""
        begin = time.monotonic()
        self.process.send_signal(signal.SIGTERM)
        status = self.process.wait(60)
        return status, time.monotonic() - begin

    def summary(self) -> Summary:
        """Its last line, which only a framework may follow with a warning."""
        messages = [line for line in self.messages() if line.startswith("stbhost: ")]
        match = SUMMARY.match(messages[-1]) if messages else None
        if not match:
            raise AssertionError(f"no summary: {messages}")
        return Summary(**{name: int(number) for name, number in match.groupdict().items()})


class Host:
    """A box: runs of stbhost on one spool. As far as the options say nothing else, the waits are short ones, and no
    flush comes in the middle of an evening, which would make it a package longer."""

    USUAL = ["--spread", "0", "--backoff", "0.05,0.2", "--linger", "30", "--flush", "1000000"]

    def __init__(self, folder: Path, name: str = "box") -> None:
        self._files = folder / name
        self._files.mkdir()
        self.name = name
        self.spool = self._files / "spool"
        self.runs: list[Run] = []

    def start(self, url: str, *options: Any, script: str | Path | None = None, prefix: Iterable[str] = (),
              **process: Any) -> Run:
        """Starts a run on that script, or on standard input."""
        command = [*prefix, STBHOST, "--collector", url, "--spool", str(self.spool), "--box", self.name,
                   *self.USUAL, *map(str, options), *([str(script)] if script else [])]
        run = Run(command, self._files / str(len(self.runs)), **{"stdin": subprocess.DEVNULL, **process})
        self.runs.append(run)
        return run

    def end(self) -> None:
        """Leaves no process."""
        for run in self.runs:
            end(run.process)


class Clock:
    """The wall clock of hosts, which can be set; faketime's. Other clocks go as they do."""

    def __init__(self, folder: Path) -> None:
        self._offset = folder / "offset"
        library = next(Path("/usr/lib").glob("*/faketime/libfaketimeMT.so.1"))
        self.environment = {"LD_PRELOAD": str(library), "FAKETIME_TIMESTAMP_FILE": str(self._offset),
                            "FAKETIME_NO_CACHE": "1", "FAKETIME_DONT_FAKE_MONOTONIC": "1"}

    def set(self, offset: int) -> None:
        """Sets it to so many seconds from now."""
        written = self._offset.with_suffix(".new")
        written.write_text(f"{offset:+}")
        written.rename(self._offset)


@dataclass(frozen=True)
class Account:
    """What became of the events of some hosts."""

    prepared: set[str]
    reported: set[str]
    received: set[str]
    repeats: int
    lost: set[str]


def zaps(count: int, priority: str = "medium", san: str = "77000412") -> str:
    """A script of small events."""
    return "".join(json.dumps({"event": "playback_zap", "priority": priority, "time": 1790000000000 + number,
                               "values": {"San": san}}) + "\n" for number in range(count))


class DeliveryTest(unittest.TestCase):
    """A folder, and processes that do not outlive the test."""

    def chance(self) -> random.Random:
        """Other choices in each run, unless STBANALYTICS_SEED repeats those of a run that has printed it."""
        seed = int(os.environ.get("STBANALYTICS_SEED") or random.randrange(1 << 32))
        print(f"{self.id().rpartition('.')[2].removeprefix('test_')}: STBANALYTICS_SEED={seed}")
        return random.Random(seed)

    def setUp(self) -> None:
        folder = tempfile.TemporaryDirectory(prefix="delivery-")
        self.addCleanup(folder.cleanup)
        self.folder = Path(folder.name)

    def collector(self, *options: str, scheme: str = "http") -> Collector:
        """A collector that is not started yet."""
        collector = Collector(self.folder, *options, scheme=scheme)
        self.addCleanup(collector.end)
        return collector

    def host(self, name: str = "box") -> Host:
        """A box of its own."""
        host = Host(self.folder, name)
        self.addCleanup(host.end)
        return host

    def script(self, text: str) -> Path:
        """A file of events."""
        path = self.folder / "script.jsonl"
        path.write_text(text)
        return path

    def preloaded(self, source: str) -> dict[str, str]:
        """The environment of a host some of whose system calls are those of a source beside this one."""
        library = self.folder / f"{source}.so"
        subprocess.run([os.environ.get("CC", "cc"), "-shared", "-fPIC", "-o", library,
                        Path(__file__).with_name(source), "-ldl"], check=True)
        return {"LD_PRELOAD": str(library)}

    def ends_well(self, run: Run) -> Summary:
        """Waits for the end of a run that is to end well."""
        self.assertEqual(run.ended(), 0, run.messages())
        return run.summary()

    def losses_are_told(self, collector: Collector, host: Host, **losses: int) -> None:
        """Another run has nothing to deliver but an event that tells what will never come."""
        summary = self.ends_well(host.start(collector.url))
        self.assertEqual((summary.sent, summary.pending), (1, 0))
        body, = collector.rows("SELECT body FROM packages ORDER BY rowid DESC LIMIT 1")[0]
        event, = json.loads(body)["events"]
        self.assertEqual((event["kivo_module_name"], event["error_reason"]), ("delivery", "packages_lost"))
        self.assertEqual(event["error_details"],
                         {"lost_to_age": 0, "lost_to_damage": 0, "lost_to_quota": 0, "refused": 0, **losses})

    def none(self, wrong: Iterable[Any], what: str) -> None:
        """Fails if there is any, and shows no more of them than a reader wants to see."""
        wrong = sorted(wrong)
        self.assertEqual(len(wrong), 0, f"{what}, such as {wrong[:3]}")

    def account(self, collector: Collector, *hosts: Host) -> Account:
        """Holds what the hosts have reported against what the collector has: no event, package or key may be there
        twice, nor a package that is not, byte for byte, what the host has written."""
        runs = [run for host in hosts for run in host.runs]
        packages = Counter(line[:-1] for run in runs for line in run.packages())
        self.none((package for package, times in packages.items() if times > 1), "reported twice")
        echoed = {event["event_id"]: package for package in packages for event in json.loads(package)["events"]}
        reported = {event for run in runs for event in run.promised()}

        bodies = Counter(body.encode() for body, in collector.rows("SELECT body FROM packages"))
        self.none((body for body, times in bodies.items() if times > 1), "packages under two keys")
        events = Counter(event for event, in collector.rows("SELECT event_id FROM events"))
        self.none((event for event, times in events.items() if times > 1), "events received twice")
        prepared = {event for run in runs for event in run.prepared()}
        self.none(events.keys() - prepared, "events that nobody had")
        self.none((event for event, package in echoed.items() if event in events and package not in bodies),
                  "not byte for byte what was reported")
        return Account(prepared, reported, set(events), collector.count("repeats"), reported - events.keys())

    def nothing_is_lost(self, collector: Collector, *hosts: Host, killed: bool = False, gone: int = 0,
                        is_all: bool = True) -> Account:
        """Nothing that was reported is lost, but for as many events as the test has seen to; and where no host was
        killed, and all is to be reported, nothing at all."""
        account = self.account(collector, *hosts)
        lost = len(account.lost) - gone
        in_memory = len(account.prepared - account.received)
        print(f"{self.id().rpartition('.')[2].removeprefix('test_')}: reported {len(account.reported)}, "
              f"received {len(account.received)}, repeated {account.repeats}, lost {lost}"
              + (f", gone as they should {gone}" if gone else "")
              + (f", in memory at the kills {in_memory}" if killed else ""), flush=True)
        self.assertEqual(lost, 0, "reported, and lost")
        if is_all and not killed:
            self.none(account.prepared - account.received - account.lost, "lost before it was reported")
        return account
