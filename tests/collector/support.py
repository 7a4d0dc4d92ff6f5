"""Starts collectors for tests, and talks to them."""

import http.client
import json
import signal
import socket
import sqlite3
import subprocess
import tempfile
import time
import unittest
from pathlib import Path
from typing import Any, Callable

ROOT = Path(__file__).resolve().parents[2]
PROGRAM = ROOT / "examples/collector/collector"
JSON = {"Content-Type": "application/json"}
LIMIT = 60  # seconds, for what a machine that is not busy does at once


def envelope(*packages: tuple[str, str]) -> bytes:
    """The body of a request: of each package the key, and its text as it is to stand in the request."""
    items = ",".join(f'{{"key":"{key}","priority":"normal","package":{text}}}' for key, text in packages)
    return f'{{"packages":[{items}]}}'.encode()


def zap(key: str, box: str = "box-1") -> tuple[str, str]:
    """A package with one event."""
    return key, f'{{"events":[{{"event_id":"playback_zap/{key}","uid":"{box}","zap_time":250}}]}}'


class CollectorTest(unittest.TestCase):
    """A test with a collector on a store of its own, and one connection to it."""

    def setUp(self) -> None:
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = Path(folder.name)
        self.store = self.folder / "store.db"
        # As long as it is bound here, nobody else is given the port while the collector is away.
        reserved = socket.socket()
        self.addCleanup(reserved.close)
        reserved.setsockopt(socket.SOL_SOCKET, socket.SO_REUSEADDR, 1)
        reserved.bind(("127.0.0.1", 0))
        self.port = reserved.getsockname()[1]
        self.start()

    def start(self, *options: str) -> None:
        """Starts the collector, always at the same port."""
        command = [PROGRAM, "--port", str(self.port), "--store", self.store, *options]
        self.process = subprocess.Popen(command, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True)
        self.addCleanup(self._end, self.process)
        self.addCleanup(lambda: self.connection.close())
        line = self.process.stdout.readline()
        self.assertRegex(line, rf"\Acollector: https?://127\.0\.0\.1:{self.port}/\n\Z")
        self.connection = http.client.HTTPConnection("127.0.0.1", self.port, timeout=LIMIT)

    @staticmethod
    def _end(process: subprocess.Popen[str]) -> None:
        process.kill()
        process.wait()
        process.stdout.close()

    def stop(self, number: signal.Signals = signal.SIGTERM) -> tuple[int, str]:
        """Stops the collector, and returns its exit status and what it has said since its first line."""
        self.connection.close()
        self.process.send_signal(number)
        output, _ = self.process.communicate(timeout=LIMIT)
        return self.process.returncode, output

    def ask(self, method: str, path: str, body: bytes | None = None,
            headers: dict[str, str] | None = None) -> tuple[int, Any]:
        """The status and the JSON of an answer."""
        self.connection.request(method, path, body, headers or {})
        answer = self.connection.getresponse()
        text = answer.read()
        return answer.status, json.loads(text) if text else None

    def post(self, body: bytes, **headers: str) -> tuple[int, Any]:
        """Posts what is to be packages."""
        more = {name.replace("_", "-"): value for name, value in headers.items()}
        return self.ask("POST", "/packages", body, {**JSON, **more})

    def fault(self, **members: Any) -> tuple[int, Any]:
        """Sets a fault."""
        return self.ask("POST", "/fault", json.dumps(members).encode(), JSON)

    def becomes(self, expected: Any, seen: Callable[[], Any]) -> None:
        """Waits until something is seen to be as expected."""
        end = time.monotonic() + LIMIT
        while seen() != expected and time.monotonic() < end:
            time.sleep(0.02)
        self.assertEqual(seen(), expected)

    def totals(self) -> dict[str, Any]:
        """What the collector has counted."""
        status, totals = self.ask("GET", "/totals")
        self.assertEqual(status, 200)
        return totals

    def rows(self, query: str) -> list[tuple[Any, ...]]:
        """What a query finds in the store."""
        database = sqlite3.connect(self.store)
        try:
            return database.execute(query).fetchall()
        finally:
            database.close()

    def change(self, statement: str) -> None:
        """Changes the store behind the collector's back."""
        self.rows(statement)
