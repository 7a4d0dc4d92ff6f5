"""Where the packages are kept: an SQLite database that only grows."""

import asyncio
import sqlite3
import time
from collections import Counter
from dataclasses import dataclass, field
from pathlib import Path

from packages import Package, event_type

APPLICATION_ID = 0x73746263  # says in the database's header whose it is

TABLES = f"""
PRAGMA application_id = {APPLICATION_ID};
CREATE TABLE packages (key TEXT PRIMARY KEY NOT NULL, time REAL NOT NULL, priority TEXT NOT NULL, body TEXT NOT NULL);
CREATE TABLE events (key TEXT NOT NULL REFERENCES packages, type TEXT NOT NULL, event_id TEXT, box TEXT);
CREATE TABLE repeats (key TEXT NOT NULL REFERENCES packages, time REAL NOT NULL);
"""


@dataclass
class Totals:
    """What the store holds, counted."""

    packages: int = 0
    repeated: int = 0
    bytes: int = 0
    by_type: Counter[str] = field(default_factory=Counter)
    by_box: Counter[str] = field(default_factory=Counter)

    def add(self, other: "Totals") -> None:
        """Adds what has come to it."""
        self.packages += other.packages
        self.repeated += other.repeated
        self.bytes += other.bytes
        self.by_type.update(other.by_type)
        self.by_box.update(other.by_box)


def _plain(text: str | None) -> str | None:
    """Half a surrogate pair may stand in JSON, but not in UTF-8."""
    return None if text is None else text.encode("utf-8", "replace").decode()


class Store:
    """Packages by key. What put() has returned for is on the disk."""

    def __init__(self, path: Path) -> None:
        # One thread at a time uses the connection, not always the same.
        self._database = sqlite3.connect(path, isolation_level=None, check_same_thread=False)
        self._prepare(path)
        self._waiting: list[tuple[list[Package], asyncio.Future[tuple[int, int]]]] = []
        self._writer: asyncio.Task[None] | None = None
        self.totals = self._counted()

    def _prepare(self, path: Path) -> None:
        self._database.execute("PRAGMA journal_mode = WAL")
        self._database.execute("PRAGMA synchronous = FULL")
        if not self._database.execute("SELECT count(*) FROM sqlite_master").fetchone()[0]:
            self._database.executescript(f"BEGIN IMMEDIATE; {TABLES} COMMIT")
        elif self._database.execute("PRAGMA application_id").fetchone()[0] != APPLICATION_ID:
            raise sqlite3.DatabaseError("the database is not a collector's")
        self._database.execute("BEGIN IMMEDIATE")  # A store that cannot be written is to be told of now.
        self._database.execute("PRAGMA user_version = 1")
        self._database.execute("COMMIT")

    def _counted(self) -> Totals:
        def one(query: str) -> int:
            return self._database.execute(query).fetchone()[0]

        def each(column: str) -> Counter[str]:
            return Counter(dict(self._database.execute(f"SELECT {column} AS name, count(*) FROM events GROUP BY name")))

        return Totals(
            packages=one("SELECT count(*) FROM packages"),
            repeated=one("SELECT count(*) FROM repeats"),
            bytes=one("SELECT coalesce(sum(length(CAST(body AS BLOB))), 0) FROM packages"),
            by_type=each("type"),
            by_box=each("coalesce(box, 'unknown')"),
        )

    async def put(self, packages: list[Package]) -> tuple[int, int]:
        """Stores those that are new, and returns how many these were, and how many were not."""
        future = asyncio.get_running_loop().create_future()
        self._waiting.append((packages, future))
        if self._writer is None:
            self._writer = asyncio.create_task(self._write())
        return await future

    async def _write(self) -> None:
        """One transaction after the other, each with all requests that came during the one before."""
        while self._waiting:
            batch, self._waiting = self._waiting, []
            try:
                results = await asyncio.to_thread(self._commit, [packages for packages, _ in batch])
            except sqlite3.Error as error:
                results = [error] * len(batch)
            for (_, future), result in zip(batch, results):
                if future.done():  # cancelled with its request
                    continue
                if isinstance(result, sqlite3.Error):
                    future.set_exception(result)
                else:
                    future.set_result((result.packages, result.repeated))
            for result in results:
                if isinstance(result, Totals):
                    self.totals.add(result)
        self._writer = None

    def _commit(self, requests: list[list[Package]]) -> list[Totals]:
        self._database.execute("BEGIN IMMEDIATE")
        try:
            results = [self._insert(packages) for packages in requests]
            self._database.execute("COMMIT")
        except sqlite3.Error:
            if self._database.in_transaction:
                self._database.execute("ROLLBACK")
            raise
        return results

    def _insert(self, packages: list[Package]) -> Totals:
        now = time.time()
        added = Totals()
        for package in packages:
            row = (package.key, now, package.priority, package.text)
            if self._database.execute("INSERT OR IGNORE INTO packages VALUES (?, ?, ?, ?)", row).rowcount == 0:
                self._database.execute("INSERT INTO repeats VALUES (?, ?)", (package.key, now))
                added.repeated += 1
                continue
            events = [(package.key, _plain(event_type(event)), _plain(event.get("event_id")), _plain(event.get("uid")))
                      for event in package.events]
            self._database.executemany("INSERT INTO events VALUES (?, ?, ?, ?)", events)
            added.packages += 1
            added.bytes += len(package.text.encode())
            added.by_type.update(kind for _, kind, _, _ in events)
            added.by_box.update(box or "unknown" for _, _, _, box in events)
        return added

    async def close(self) -> None:
        """Waits for what is being written."""
        if self._writer:
            await self._writer
        self._database.close()
