#!/usr/bin/python3
"""Holds the wire format's JSON Schema against packages and earlier versions.

Run as scripts/wireformat.py SCHEMA PACKAGES EVENTS CHECKER. PACKAGES has one package a line, all sound. Besides
these, the golden packages are to be sound, and each of the broken ones is to be refused and accepted once it is
mended. EVENTS has one event a line, with values of types that no receiver expects; they have the form of an event,
nothing more. The schemas of earlier versions lie in schema/; one of the same major version may have been added to,
nothing more. CHECKER is stbanalytics-check, whose verdicts on all of these and on golden packages with a change by
chance are to be the schema's. The exit status is 1 when something does not hold, 2 when a file cannot be read.
"""

import copy
import json
import pathlib
import random
import re
import subprocess
import sys

import jsonschema

ROOT = pathlib.Path(__file__).resolve().parent.parent
DATA = ROOT / "tests/tools/data"

# What neither constrains a value nor names what does.
ANNOTATIONS = {"$id", "title", "description"}
# Who knows the old form of these understands the new one: more keys, more words, more that is written always.
MAY_GROW = {"properties", "$defs", "anyOf", "enum", "required"}


def breaks(old, new, path="", may_grow=False):
    """Yields where the new schema is no mere addition to the old one."""
    if isinstance(old, dict) and isinstance(new, dict):
        is_names = may_grow  # the keys of properties and definitions are names, and none of them an annotation
        for key in old if is_names else old.keys() - ANNOTATIONS:
            if key in new:
                yield from breaks(old[key], new[key], f"{path}/{key}", not is_names and key in MAY_GROW)
            else:
                yield f"{path}/{key} is gone"
        if not is_names:
            yield from (f"{path}/{key} is new" for key in new.keys() - old.keys() - ANNOTATIONS - {"required"})
    elif isinstance(old, list) and isinstance(new, list) and may_grow:
        yield from (f"{path} lacks {json.dumps(item)}" for item in old if item not in new)
    elif old != new:
        yield f"{path} is {json.dumps(new)} instead of {json.dumps(old)}"


def major(schema):
    return schema["$id"].rpartition(":")[2].partition(".")[0]


def incompatibilities(old, new):
    return [] if major(old) != major(new) else sorted(breaks(old, new))


def altered(schema, alter):
    result = copy.deepcopy(schema)
    alter(result)
    return result


def check_breaks(schema):
    """Yields what is wrong with breaks() itself: altered copies are to be told from the schema."""
    def remove_field(copied):
        del copied["$defs"]["event.playback_zap"]["properties"]["zap_time"]

    def change_type(copied):
        copied["$defs"]["record.Channel"]["properties"]["channel_id"]["type"] = "string"

    def leave_out(copied):
        copied["$defs"]["record.VerimatrixError"]["required"].remove("command")

    def remove_word(copied):
        copied["$defs"]["property.MediaType"]["enum"].remove("live")

    def narrow(copied):
        copied["$defs"]["property.Offset"]["minimum"] = 0

    def remove_field_of_next_major(copied):
        remove_field(copied)
        copied["$id"] = "urn:stbanalytics:events:%d.0.0" % (int(major(copied)) + 1)

    def add(copied):
        copied["description"] = "Another text."
        copied["$defs"]["property.Colour"] = {"type": "string"}
        copied["$defs"]["event.kivo_auth"]["properties"]["colour"] = {"$ref": "#/$defs/property.Colour"}
        copied["$defs"]["record.Channel"]["properties"]["lcn"] = {"type": "integer"}
        copied["$defs"]["record.Channel"]["required"] = ["lcn"]
        copied["$defs"]["property.MediaType"]["enum"].append("radio")
        copied["properties"]["events"]["items"]["anyOf"].append({"$ref": "#/$defs/event.new"})

    for alter, expected in [
        (remove_field, ["/$defs/event.playback_zap/properties/zap_time is gone"]),
        (change_type, ['/$defs/record.Channel/properties/channel_id/type is "string" instead of "integer"']),
        (leave_out, ['/$defs/record.VerimatrixError/required lacks "command"']),
        (remove_word, ['/$defs/property.MediaType/enum lacks "live"']),
        (narrow, ["/$defs/property.Offset/minimum is new"]),
        (remove_field_of_next_major, []),
        (add, []),
    ]:
        found = incompatibilities(schema, altered(schema, alter))
        if found != expected:
            yield f"compatibility: {alter.__name__}: expected {expected}, found {found}"


def changed(package, chance):
    """A package with one change somewhere in its event."""
    result = copy.deepcopy(package)
    places = []

    def collect(container):
        for key in list(container) if isinstance(container, dict) else range(len(container)):
            places.append((container, key))
            if isinstance(container[key], (dict, list)):
                collect(container[key])

    collect(result["events"])
    container, key = chance.choice(places)
    if isinstance(container, dict) and chance.random() < 0.3:
        container[chance.choice(["", "x", "target", "uid", "san", "error_code", "link"])] = container.pop(key)
    else:
        container[key] = copy.deepcopy(chance.choice(
            [None, True, 0, -1, 255, 1.5, 70000, 1e30, 2**64, "", "x", "live", [], [None], [""], [{}], {}, {"x": 1},
             {"link": {}}, {"channel_id": 7}, {"a": "b"}]))
    return result


def disagreements(validator, packages, checker):
    """Yields the packages of which the checker thinks otherwise than the schema, and whether they are too few."""
    text = "".join(json.dumps(package) + "\n" for package in packages)
    run = subprocess.run([checker, "--format=lines"], input=text, capture_output=True, text=True, check=False)
    broken = set()
    for fault in run.stdout.split("\n")[:-1]:
        place = re.fullmatch(r"<stdin>:(\d+):\d+: .+?: .+", fault)
        if not place:
            yield f"{checker}: expected <stdin>:line:column: path: reason, got {fault}"
        else:
            broken.add(int(place[1]))
    if run.returncode != bool(broken):
        yield f"{checker}: exit status {run.returncode}, and {len(broken)} broken lines: {run.stderr}"
    expected = [validator.is_valid(package) for package in packages]
    for number, (package, sound) in enumerate(zip(packages, expected), 1):
        if sound == (number in broken):
            yield f"{checker}: {'broken' if sound else 'sound'}, unlike the schema: {json.dumps(package)}"
    if min(expected.count(True), expected.count(False)) < len(expected) / 10:
        yield f"the schema finds {expected.count(True)} of {len(expected)} packages sound, which compares too little"


def lines(path):
    result = []
    with open(path, encoding="utf-8") as file:
        for number, line in enumerate(file, 1):
            try:
                result.append(json.loads(line))
            except ValueError as error:
                raise ValueError(f"{path}:{number}: {error}") from error
    return result


def main(arguments):
    if len(arguments) != 4:
        print("usage: scripts/wireformat.py SCHEMA PACKAGES EVENTS CHECKER", file=sys.stderr)
        return 2
    with open(arguments[0], encoding="utf-8") as file:
        schema = json.load(file)
    golden = str(DATA / "golden.jsonl")
    sound = {path: lines(path) for path in [arguments[1], golden]}
    events = lines(arguments[2])
    broken = lines(DATA / "broken.jsonl")
    recorded = {path.name: json.loads(path.read_text(encoding="utf-8"))
                for path in sorted(ROOT.glob("schema/stbanalytics-events-*.schema.json"))}

    jsonschema.Draft202012Validator.check_schema(schema)
    validator = jsonschema.Draft202012Validator(schema)
    structure = jsonschema.Draft202012Validator({"$defs": schema["$defs"], "$ref": "#/$defs/anyEvent"})
    problems = []

    for path, packages in sound.items():
        if not packages:
            problems.append(f"{path}: no packages")
        for number, package in enumerate(packages, 1):
            problems += [f"{path}:{number}: {error.json_path}: {error.message}"
                         for error in validator.iter_errors(package)]
    # The golden packages are one of each type, in the order of the types.
    for name, package in zip(schema["properties"]["events"]["items"]["anyOf"], sound[golden]):
        definition = jsonschema.Draft202012Validator({"$defs": schema["$defs"], **name})
        problems += [f"golden.jsonl: {name}: {error.message}" for error in definition.iter_errors(package["events"][0])]

    if not events:
        problems.append(f"{arguments[2]}: no events")
    for number, event in enumerate(events, 1):
        problems += [f"{arguments[2]}:{number}: {error.json_path}: {error.message}"
                     for error in structure.iter_errors(event)]

    for row in broken:
        if validator.is_valid(row["broken"]):
            problems.append(f"broken.jsonl: {row['name']}: accepted")
        if not validator.is_valid(row["mended"]):
            problems.append(f"broken.jsonl: {row['name']}: refused when it is mended")

    chance = random.Random(1)
    compared = (sound[arguments[1]] + sound[golden] + [{"events": [event]} for event in events]
                + [changed(chance.choice(sound[golden]), chance) for _ in range(1000)])
    problems += disagreements(validator, compared, arguments[3])

    if not recorded:
        problems.append("schema/: no schema of an earlier version")
    for name, earlier in recorded.items():
        problems += [f"{name}: {what}" for what in incompatibilities(earlier, schema)]
    problems += check_breaks(schema)

    for problem in problems:
        print(f"scripts/wireformat.py: {problem[:300]}", file=sys.stderr)
    print(f"{sum(map(len, sound.values()))} sound packages, {len(broken)} broken ones, {len(events)} events of any "
          f"form, {len(compared)} verdicts compared, {len(recorded)} earlier versions; {len(problems)} problems")
    return 1 if problems else 0


if __name__ == "__main__":
    try:
        sys.exit(main(sys.argv[1:]))
    except jsonschema.SchemaError as error:
        sys.exit(f"scripts/wireformat.py: not a schema: {error.message}")
    except (OSError, ValueError) as error:
        print(f"scripts/wireformat.py: {error}", file=sys.stderr)
        sys.exit(2)
