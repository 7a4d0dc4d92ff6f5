"""What comes in: reads the envelope that carries packages, and holds each package against the wire format."""

import json
import re
from dataclasses import dataclass
from pathlib import Path
from typing import Any, Iterator, NoReturn

import jsonschema

KEY = re.compile(r"[!-~]{1,128}")
BLANK = re.compile(r"[ \t\n\r]*")


class Refusal(Exception):
    """The request is not taken: the status of the answer, and one line that says why."""

    def __init__(self, status: int, reason: str) -> None:
        super().__init__(reason)
        self.status = status
        self.reason = reason


@dataclass(frozen=True)
class Package:
    """One package of an envelope: as it came in, character for character, and what that means."""

    key: str
    priority: str
    text: str
    content: Any

    @property
    def events(self) -> list[dict[str, Any]]:
        """The events of a package that the schema has found sound."""
        return self.content["events"]


def _no_number(name: str) -> NoReturn:
    raise ValueError(f"{name} is not JSON")


_decoder = json.JSONDecoder(parse_constant=_no_number)


def _members(text: str, at: int) -> Iterator[tuple[str | None, int, int]]:
    """The members of the object or array that begins there, in text that is known to be JSON: their keys, where the
    values begin and where they end. The module json does not tell places, and a package is kept as it was sent."""
    def past_blank(at: int) -> int:
        return BLANK.match(text, at).end()

    is_object = text[at] == "{"
    at = past_blank(at + 1)
    while text[at] not in "]}":
        key = None
        if is_object:
            key, at = _decoder.raw_decode(text, at)
            at = past_blank(past_blank(at) + 1)
        _, end = _decoder.raw_decode(text, at)
        yield key, at, end
        at = past_blank(end)
        if text[at] == ",":
            at = past_blank(at + 1)


def _member(text: str, at: int, wanted: str) -> tuple[int, int]:
    """Where the value of a key lies; of a repeated one the last, which is the one that the module json takes."""
    return [(begin, end) for key, begin, end in _members(text, at) if key == wanted][-1]


def _fault(item: Any) -> str | None:
    """What keeps an item of the envelope from being one."""
    if not isinstance(item, dict):
        return "is no object"
    if not isinstance(item.get("key"), str) or not KEY.fullmatch(item["key"]):
        return "key: expected 1 to 128 printable ASCII characters without spaces"
    if item.get("priority") not in ("high", "normal"):
        return 'priority: expected "high" or "normal"'
    if "package" not in item:
        return "lacks package"
    return None


def read_envelope(body: bytes) -> list[Package]:
    """The packages of a request's body."""
    try:
        text = body.decode()
        envelope = _decoder.decode(text)
    except UnicodeDecodeError:
        raise Refusal(400, "not UTF-8") from None
    except RecursionError:
        raise Refusal(400, "nested too deeply") from None
    except ValueError as error:
        raise Refusal(400, f"not JSON: {error}") from None
    if not isinstance(envelope, dict) or not isinstance(envelope.get("packages"), list) or not envelope["packages"]:
        raise Refusal(400, 'expected {"packages":[...]} with one package at least')
    for number, item in enumerate(envelope["packages"]):
        if fault := _fault(item):
            raise Refusal(400, f"packages[{number}]: {fault}")

    packages, _ = _member(text, BLANK.match(text).end(), "packages")
    result = []
    for (_, at, _), item in zip(_members(text, packages), envelope["packages"]):
        begin, end = _member(text, at, "package")
        result.append(Package(item["key"], item["priority"], text[begin:end], item["package"]))
    return result


def event_type(event: dict[str, Any]) -> str:
    """The type that an event's identifier names: playback_zap of playback_zap/8f0f29e3."""
    name, separator, _ = event.get("event_id", "").partition("/")
    return name if name and separator else "unknown"


class Schema:
    """The wire format. Not to be used by two threads at a time, as its validators are not."""

    def __init__(self, path: Path) -> None:
        try:
            schema = json.loads(path.read_text(encoding="utf-8"))
            jsonschema.Draft202012Validator.check_schema(schema)
            definitions = [item["$ref"] for item in schema["properties"]["events"]["items"]["anyOf"]]
        except (KeyError, TypeError, ValueError, jsonschema.SchemaError):
            raise ValueError(f"{path}: not the JSON Schema of a package") from None
        self._package = jsonschema.Draft202012Validator(schema)
        self._types = {
            ref.removeprefix("#/$defs/event."): jsonschema.Draft202012Validator({"$defs": schema["$defs"], "$ref": ref})
            for ref in definitions
        }

    def check(self, package: Package) -> None:
        """Refuses what breaks the wire format."""
        # To try the type that is named takes a tenth of the time that the schema takes to try them all.
        content = package.content
        if isinstance(content, dict) and isinstance(content.get("events"), list):
            content = {**content, "events": [event for event in content["events"] if not self._is_as_named(event)]}
        error = next(self._package.iter_errors(content), None)
        if error:
            raise Refusal(422, f"package {package.key}: {self._reason(error)}")

    def _named(self, event: Any) -> jsonschema.Draft202012Validator | None:
        has_name = isinstance(event, dict) and isinstance(event.get("event_id"), str)
        return self._types.get(event_type(event)) if has_name else None

    def _is_as_named(self, event: Any) -> bool:
        named = self._named(event)
        return named is not None and named.is_valid(event)

    def _reason(self, error: jsonschema.ValidationError) -> str:
        if error.validator != "anyOf":
            return error.message[:200]
        named = self._named(error.instance)
        if not named:
            return "an event is of no type that there is"
        detail = next(named.iter_errors(error.instance))
        return f"{event_type(error.instance)}: {detail.json_path}: {detail.message[:200]}"
