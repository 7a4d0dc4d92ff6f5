"""The ways in which the collector can fail on demand, so that a host can be seen to cope with them."""

import math
import time
from dataclasses import asdict, dataclass
from typing import Any

# What each kind has beside count and seconds, and whether it must be there.
MEMBERS: dict[str, dict[str, bool]] = {
    "refuse": {},
    "hang": {},
    "status": {"status": True, "retry_after": False},
    "cut": {"when": True},
    "slow": {"delay": False, "drip": False},
}


@dataclass
class Fault:
    """A fault that is set: what happens to so many requests, or for so many seconds, or to all until it is ended."""

    kind: str
    count: int | None = None
    seconds: float | None = None
    status: int | None = None
    retry_after: int | str | None = None
    when: str | None = None
    delay: float | None = None
    drip: float | None = None

    def __post_init__(self) -> None:
        self._ends = math.inf if self.seconds is None else time.monotonic() + self.seconds

    @property
    def is_over(self) -> bool:
        """Whether its time or its requests are used up."""
        return self.count == 0 or time.monotonic() >= self._ends

    def left(self) -> dict[str, Any]:
        """The fault in the form in which it is told, with the count and the seconds that are left."""
        told = {name: value for name, value in asdict(self).items() if value is not None}
        if self.seconds is not None:
            told["seconds"] = round(max(0.0, self._ends - time.monotonic()), 1)
        return told


def _is_whole(value: Any, least: int, most: int) -> bool:
    return isinstance(value, int) and not isinstance(value, bool) and least <= value <= most


def _is_time(value: Any) -> bool:
    return isinstance(value, (int, float)) and not isinstance(value, bool) and 0 < value <= 86400


def _is_retry_after(value: Any) -> bool:
    return _is_whole(value, 0, 86400) or (isinstance(value, str) and value.isascii() and value.isprintable())


RULES = {
    "count": (lambda value: _is_whole(value, 1, 1000000), "a whole number from 1 to 1000000"),
    "seconds": (_is_time, "a number above 0, 86400 at most"),
    "status": (lambda value: _is_whole(value, 300, 599), "a whole number from 300 to 599"),
    "retry_after": (_is_retry_after, "seconds from 0 to 86400, or the text of a date"),
    "when": (lambda value: value in ("request", "answer"), '"request" or "answer"'),
    "delay": (_is_time, "a number above 0, 86400 at most"),
    "drip": (_is_time, "a number above 0, 86400 at most"),
}


def read_fault(value: Any) -> Fault:
    """The fault that a JSON object tells; raises ValueError with the reason if it tells none."""
    if not isinstance(value, dict) or not isinstance(value.get("kind"), str) or value["kind"] not in MEMBERS:
        raise ValueError(f"kind: expected one of {', '.join(MEMBERS)}")
    kind = value["kind"]
    members = MEMBERS[kind]
    for name in value.keys() - {"kind", "count", "seconds"} - members.keys():
        raise ValueError(f"{kind} has no {name!r}")
    for name, is_needed in members.items():
        if is_needed and name not in value:
            raise ValueError(f"{kind} needs {name}")
    for name, (is_sound, expected) in RULES.items():
        if name in value and not is_sound(value[name]):
            raise ValueError(f"{name}: expected {expected}")
    if kind == "refuse" and ("seconds" not in value or "count" in value):
        raise ValueError("refuse needs seconds, and has no count: while it lasts nobody can connect to end it")
    if kind == "slow" and not value.keys() & members.keys():
        raise ValueError("slow needs delay or drip")
    if "count" in value and "seconds" in value:
        raise ValueError("count and seconds exclude each other")
    return Fault(**value)
