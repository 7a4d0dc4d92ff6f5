"""Computes the tables of docs/fleet.md: fleet.py STBHOST [--check], from the project's folder; see scripts/fleet.

The packages are those of the demonstration's evening, on boxes whose state is given here, so that the same bytes come
out on every machine.
"""

import datetime
import difflib
import glob
import hashlib
import json
import math
import os
import re
import shutil
import subprocess
import sys
import tempfile
import uuid
from pathlib import Path

DOCUMENT = Path("docs/fleet.md")
EVENING = Path("examples/stbhost/evening.jsonl")
CATALOGUE = Path("analytics/catalogue_p.h").read_text()
RECORD_FIELDS = Path("analytics/recordfields_p.h").read_text()
FLEETS = (1, 100_000, 10_000_000)
BATCH = 100

# The list of an event's properties, by its wire name.
EVENTS = {
    name: set(re.findall(r"P::(\w+)", properties))
    for name, properties in re.findall(r'\{EventType::\w+,\s*"(\w+)".*?\{(P::.*?)\}\}', CATALOGUE)
}
KEYS = set(re.findall(r'\{Property::\w+,\s*"(\w+)"\}', CATALOGUE)) | set(
    re.findall(r'\b(?:field|group|list)\s*\("(\w+)"', RECORD_FIELDS)
)


def fail(reason):
    sys.exit(f"scripts/fleet: {reason}")


# The document's own tables and places


def region(text, name):
    found = re.search(rf"<!-- fleet: {name} -->\n(.*?)<!-- fleet: end -->", text, re.S)
    if not found:
        fail(f"{DOCUMENT}: no region '{name}'")
    return found


def rows(text, name):
    """The cells of a region's table, without its head."""
    lines = [line for line in region(text, name)[1].splitlines() if line.startswith("|")]
    cells = [[cell.strip() for cell in line.strip("|").split("|")] for line in lines]
    for line, row in zip(lines, cells):
        if len(row) != len(cells[0]):
            fail(f"{DOCUMENT}: {name}: expected {len(cells[0])} columns: {line}")
    return cells[2:]


def number(text, where):
    try:
        value = float(text)
    except ValueError:
        fail(f"{DOCUMENT}: {where}: expected a number, got '{text}'")
    if not math.isfinite(value) or value <= 0:
        fail(f"{DOCUMENT}: {where}: expected a number above 0, got '{text}'")
    return value


class Assumptions:
    def __init__(self, text):
        self.values = {row[0]: number(row[1], row[0]) for row in rows(text, "assumptions")}

    def __getitem__(self, name):
        if name not in self.values:
            fail(f"{DOCUMENT}: the assumption '{name}' is missing")
        return self.values[name]


def read_rates(text):
    """How often each event happens, and in what."""
    rates = {}
    for cells in rows(text, "rates"):
        for name in re.findall(r"`(\w+)`", cells[0]):
            if name in rates or name not in EVENTS:
                fail(f"{DOCUMENT}: rates: '{name}' " + ("stands twice" if name in rates else "is no event"))
            if cells[2] not in ("hour watched", "hour on", "day"):
                fail(f"{DOCUMENT}: rates: expected hour watched, hour on or day, got '{cells[2]}'")
            rates[name] = (number(cells[1], name), cells[2])
    if missing := sorted(EVENTS.keys() - rates.keys()):
        fail(f"{DOCUMENT}: rates: missing: {', '.join(missing)}")
    return rates


def check_keys(text):
    """Whoever adds a key is to say what it tells of a person."""
    told = set(re.findall(r"`(\w+)`", "".join(row[0] for row in rows(text, "keys"))))
    problems = [f"the key '{key}' is missing" for key in sorted(KEYS - told)]
    problems += [f"'{key}' is no key" for key in sorted(told - KEYS)]
    return [f"{DOCUMENT}: keys: {problem}" for problem in problems]


# Packages


def machine_state(box, uptime):
    mac = f"02:00:5e:{box >> 16 & 255:02x}:{box >> 8 & 255:02x}:{box & 255:02x}"
    return {
        "ActiveInterface": "eth0",
        "CpuInfo": {"cpu_average_load": 31, "cpu_cores": 4, "cpu_max_load": 64, "cpu_temperature": 58,
                    "sys_clock_freq_mhz": 1512},
        "FirmwareVersion": "Example Linux 4.2",
        "HdmiStatus": True,
        "HwInfo": {"hw_revision": "C2", "manufacturer": "Example Devices", "model_name": "EX-400",
                   "platform": "Example CPU 4"},
        "LinkFaults": 3,
        "MacAddress": mac,
        "Manufacturer": "Example Devices",
        "MemoryInfo": {"mem_average_usage": 648000, "mem_max_usage": 702000, "mem_total": 2048000, "vm_rss": 211400,
                       "vm_rss_max": 248900, "vm_size": 952000},
        "ModelName": "EX-400",
        "NetworkInfo": {"duplex": "full", "interface_name": "eth0", "mac": mac, "speed_mbps": 1000,
                        "statistics": {"rx_crc_errors": 0, "rx_dropped": 12, "rx_errors": 0, "rx_frame_errors": 0,
                                       "tx_dropped": 0, "tx_errors": 0}},
        "NetworkInterfaces": [{"dns": ["192.0.2.53", "198.51.100.53"], "gateway": "192.0.2.1",
                               "interface_name": "eth0", "ip_v4": "192.0.2.40", "ip_v6": "2001:db8::40", "mac": mac,
                               "netmask": "255.255.255.0", "status": "up"}],
        "SerialNumber": f"EX400-{box:08}",
        "SystemUptime": uptime,
        "TimeZone": "Etc/UTC",
        "Uid": hashlib.sha256(mac.encode()).hexdigest()[:32],
        "WifiInfo": {"wifi_bssid": "02:00:5e:ff:00:07", "wifi_freq_mhz": 5180, "wifi_generation": "ac",
                     "wifi_rssi": -56, "wifi_speed_mbps": 433, "wifi_ssid": "Home network"},
    }


def varied(value, salt):
    """The value with other digits wherever there are two or more in a row; as long as before."""

    def digits(text, place):
        count = int(hashlib.sha256(f"{salt} {place} {text}".encode()).hexdigest(), 16)
        return str(10 ** (len(text) - 1) + count % (9 * 10 ** (len(text) - 1)))

    if isinstance(value, dict):
        return {key: varied(element, f"{salt} {key}") for key, element in value.items()}
    if isinstance(value, list):
        return [varied(element, f"{salt} {place}") for place, element in enumerate(value)]
    if isinstance(value, str):
        return re.sub(r"\d{2,}", lambda found: digits(found[0], found.start()), value)
    if isinstance(value, int) and not isinstance(value, bool) and abs(value) > 9:
        return int(math.copysign(int(digits(str(abs(value)), 0)), value))
    return value


def session(box):
    """A box's evening as a script. Box 0 has the values of the demonstration, the others' have digits of their own."""
    lines = [json.loads(line) for line in EVENING.read_text().splitlines()]
    start = lines[0]["time"]
    for place, line in enumerate(lines):
        values = machine_state(box, line["time"] - start + 21870) | line["values"]
        if box:
            values = varied(values, f"{box} {place}") | {key: values[key] for key in ("MacAddress", "Uid")}
            line["time"] += int(hashlib.sha256(f"{box}".encode()).hexdigest(), 16) % 3_600_000
        values["EventId"] = f"{line['event']}/{uuid.uuid5(uuid.NAMESPACE_OID, f'{box} {place}')}"
        line["values"] = {key: value for key, value in values.items()
                          if key in EVENTS[line["event"]] | {"EventId", "MacAddress", "Uid"}}
    return lines


def packages(stbhost, script):
    text = "".join(json.dumps(line) + "\n" for line in script)
    run = subprocess.run([stbhost, "--quiet"], input=text.encode(), stdout=subprocess.PIPE)
    if run.returncode:
        fail(f"{stbhost}: exit status {run.returncode}")
    return run.stdout.decode().splitlines()


def compact(value):
    return json.dumps(value, ensure_ascii=False, separators=(",", ":"))


def events_of(package):
    """A package's events, each as the text that it is."""
    events = json.loads(package)["events"]
    texts = [compact(event) for event in events]
    if compact({"events": events}) != package:
        fail(f"a package that cannot be taken apart: {package}")
    return [(event["event_id"].split("/")[0], text) for event, text in zip(events, texts)]


class Evening:
    """One box's events by type."""

    def __init__(self, stbhost, box):
        script = session(box)
        self.priorities = {line["event"]: line["priority"] for line in script}
        self.packages = packages(stbhost, script)
        self.texts = {}
        for package in self.packages:
            for name, text in events_of(package):
                self.texts.setdefault(name, []).append(text)

    def size(self, name):
        sizes = [len(text.encode()) for text in self.texts[name]]
        return sum(sizes) / len(sizes)


def shares(weights, count):
    """So many things, dealt out by weight; what is left over goes where the largest rests are."""
    total = sum(weights.values())
    exact = {name: count * weight / total for name, weight in weights.items()}
    dealt = {name: int(share) for name, share in exact.items()}
    by_rest = sorted(exact, key=lambda name: (dealt[name] - exact[name], name))
    for name in by_rest[: count - sum(dealt.values())]:
        dealt[name] += 1
    return [name for name in sorted(dealt) for _ in range(dealt[name])]


def batch(stbhost, priorities, hourly):
    """A hundred packages as they come in within a moment of the peak hour: of a hundred boxes, types by their rates."""
    carrying = {name: rate for name, rate in hourly.items() if priorities[name] != "low"}
    riding = {name: rate for name, rate in hourly.items() if priorities[name] == "low"}
    names = shares(carrying, BATCH)
    riders = shares(riding, round(BATCH * sum(riding.values()) / sum(carrying.values())))
    result = []
    for box, name in enumerate(names, 1):
        texts = Evening(stbhost, box).texts
        events = [texts[name][box % len(texts[name])]]
        if priorities[name] == "medium" and riders:
            events.insert(0, texts[riders.pop()][0])
        result.append('{"events":[' + ",".join(events) + "]}")
    if riders:
        fail(f"the batch has no room for {', '.join(riders)}")
    return sorted(result, key=lambda package: hashlib.sha256(package.encode()).digest())


def compressed(command, text):
    return len(subprocess.run(command, input=text.encode(), stdout=subprocess.PIPE, check=True).stdout)


# Tables


def rounded(value):
    """Three digits that count, and all those before the point."""
    if value == 0:
        return "0"
    places = max(0, 2 - math.floor(math.log10(abs(value))))
    text = f"{value:,.{min(places, 12)}f}"
    return text.rstrip("0").rstrip(".") if "." in text else text


def amount(count):
    """So many bytes, in the largest unit of which there is one."""
    for factor, unit in ((1e15, "PB"), (1e12, "TB"), (1e9, "GB"), (1e6, "MB"), (1e3, "kB")):
        if count >= factor:
            return f"{rounded(count / factor)} {unit}"
    return f"{rounded(count)} bytes"


def table(head, body):
    lines = [head, ["---"] * len(head)] + [[cell if isinstance(cell, str) else rounded(cell) for cell in row]
                                           for row in body]
    return "".join("| " + " | ".join(line) + " |\n" for line in lines)


def compute(text, stbhost):
    assume = Assumptions(text)
    rates = read_rates(text)
    evening = Evening(stbhost, 0)
    priorities = evening.priorities
    if missing := sorted(EVENTS.keys() - priorities.keys()):
        fail(f"{EVENING}: no event of type {', '.join(missing)}")

    daily = {}  # events of one box a day
    hourly = {}  # events in the peak hour, by all boxes, for each of them
    for name, (rate, unit) in rates.items():
        day, hour = {
            "hour watched": (assume["hours watched, a day and box"], assume["share of boxes playing, peak hour"]),
            "hour on": (assume["hours on, a day and box"], assume["share of boxes on, peak hour"]),
            "day": (1, assume["share of a day's other events, peak hour"]),
        }[unit]
        daily[name] = rate * day
        hourly[name] = rate * hour

    def package_count(counts):
        return sum(count for name, count in counts.items() if priorities[name] != "low")

    def byte_count(counts, sizes):
        """{"events":[]} takes 13 bytes; of two events in a package, a comma stands between them."""
        riding = sum(counts.values()) - package_count(counts)
        return sum(count * sizes[name] for name, count in counts.items()) + 13 * package_count(counts) + riding

    sizes = {name: evening.size(name) for name in EVENTS}
    counts = {name: len(texts) for name, texts in evening.texts.items()}
    if round(byte_count(counts, sizes)) != sum(len(package.encode()) for package in evening.packages):
        fail("the evening's packages are not as long as its events make them")
    full = sizes | {"sqm_metrics": assume["bytes of a sqm_metrics with every key"]}
    tables = {}

    boxes_head = ["1 box"] + [f"{boxes:,} boxes" for boxes in FLEETS[1:]]
    by_volume = sorted(EVENTS, key=lambda name: (-daily[name] * sizes[name], name))
    day_bytes = sum(daily[name] * sizes[name] for name in EVENTS)
    tables["events"] = table(
        ["event", "priority", "bytes each"]
        + [f"{head}, {when}" for head in boxes_head for when in ("average", "peak")] + ["share of the bytes"],
        [[f"`{name}`", priorities[name], sizes[name]]
         + [count for boxes in FLEETS for count in (daily[name] / 24 * boxes, hourly[name] * boxes)]
         + [f"{100 * daily[name] * sizes[name] / day_bytes:.1f} %"] for name in by_volume],
    )

    hundred = batch(stbhost, priorities, hourly)
    plain = sum(len(package.encode()) for package in hundred)
    tools = {"gzip -6": ["gzip", "-6nc"], "zstd -3": ["zstd", "-q3c", "--no-check"]}
    single = {name: sum(compressed(tool, package) for package in hundred) for name, tool in tools.items()}
    together = {name: compressed(tool, "".join(package + "\n" for package in hundred)) for name, tool in tools.items()}
    tables["compression"] = table(
        ["a hundred packages", "bytes", "bytes a package", "of the plain bytes"],
        [[what, count, count / BATCH, f"{100 * count / plain:.1f} %"]
         for what, count in [("plain", plain)]
         + [(f"each alone, `{name}`", count) for name, count in single.items()]
         + [(f"all together, `{name}`", count) for name, count in together.items()]],
    )
    alone = {name: count / plain for name, count in single.items()}
    batched = {name: count / plain for name, count in together.items()}

    def volume_rows(counts, seconds, when):
        size = byte_count(counts, sizes) / seconds
        sums = [
            ["", size],
            [", each package by gzip -6", alone["gzip -6"] * size],
            [", each package by zstd -3", alone["zstd -3"] * size],
            [", a hundred together by gzip -6", batched["gzip -6"] * size],
            [", a hundred together by zstd -3", batched["zstd -3"] * size],
            [", every sqm_metrics full", byte_count(counts, full) / seconds],
        ]
        return [
            [f"events a second, {when}"] + [sum(counts.values()) / seconds * boxes for boxes in FLEETS],
            [f"packages a second, {when}"] + [package_count(counts) / seconds * boxes for boxes in FLEETS],
        ] + [[f"bytes a second, {when}{how}"] + [amount(value * boxes) for boxes in FLEETS] for how, value in sums]

    day = byte_count(daily, sizes)
    tables["volumes"] = table(
        [""] + boxes_head,
        [["events a day"] + [sum(daily.values()) * boxes for boxes in FLEETS],
         ["packages a day"] + [package_count(daily) * boxes for boxes in FLEETS],
         ["bytes a day"] + [amount(day * boxes) for boxes in FLEETS]]
        + volume_rows(daily, 86400, "average") + volume_rows(hourly, 3600, "peak"),
    )

    def engine_rows(boxes):
        reserve = assume["reserve: capacity for so many times the peak hour"]
        requests = package_count(hourly) / 3600 * boxes
        events = sum(hourly.values()) / 3600 * boxes
        wire = requests * (alone["gzip -6"] * byte_count(hourly, sizes) / package_count(hourly)
                           + assume["bytes of a request besides its package"])
        log = byte_count(hourly, sizes) / 3600 * boxes
        stored = batched["zstd -3"] * day * boxes
        return [
            requests, amount(wire), assume["share of boxes on, peak hour"] * boxes,
            math.ceil(reserve * requests / assume["requests a second and collector"]),
            amount(log), math.ceil(reserve * log / 1e6 / assume["MB a second and partition"]),
            amount(stored * assume["days kept in the log"] * assume["copies in the log"]),
            events, sum(daily.values()) * boxes, amount(stored * 365),
            amount(stored * assume["days kept in the store"] * assume["copies in the store"]),
            math.ceil(reserve * events / assume["rows a second and node of the store"]),
        ]

    tables["engines"] = table(
        ["", "from the"] + boxes_head,
        [list(row) for row in zip(
            ["collectors: requests a second", "collectors: bytes a second on the wire, each package by gzip -6",
             "collectors: open connections, one for each box that is on", "collectors: instances",
             "log: bytes a second, plain", "log: partitions", "log: kept, with copies",
             "store: rows a second", "store: rows a day", "store: a year, one copy", "store: kept, with copies",
             "store: nodes by rows a second"],
            ["peak"] * 6 + ["average", "peak"] + ["average"] * 3 + ["peak"],
            *[engine_rows(boxes) for boxes in FLEETS])],
    )

    share = assume["share of boxes hit by an outage"]
    usual = package_count(hourly) / 3600
    tables["storm"] = table(
        ["one `playback_error` from each box hit, within"]
        + [f"{what} a second, {head}" for head in boxes_head[1:] for what in ("requests", "bytes")]
        + ["times the peak hour's requests"],
        [[f"{window} s"] + [value for boxes in FLEETS[1:]
                            for value in (share * boxes / window,
                                          amount(share * boxes / window * (sizes["playback_error"] + 13)))]
         + [share / window / usual] for window in (1, 10, 60, 600)],
    )

    events = sum(daily.values())
    inner = sum(daily[name] * sizes[name] for name in EVENTS)
    tables["backlog"] = table(
        ["the manager was disabled for", "events in one package", "that package", f"from {boxes_head[-1]}",
         f"a second, when they all return within {assume['hours of return']:g} h"],
        [[f"{days} d", events * days, amount(inner * days + events * days - 1 + 13),
          amount(inner * days * FLEETS[-1]), amount(inner * days * FLEETS[-1] / assume["hours of return"] / 3600)]
         for days in (1, 7, 30)],
    )

    tables["results"] = queried(text, evening.packages)
    return tables


# The document's statements, on a real engine


def queried(text, received):
    """What the document's statements print: the first block makes the tables, the others work on the packages."""
    blocks = re.findall(r"```sql\n(.*?)```", text, re.S)
    if len(blocks) < 2:
        fail(f"{DOCUMENT}: expected statements that make the tables, and statements that use them")

    binaries = sorted(glob.glob("/usr/lib/postgresql/*/bin"))
    if not binaries:
        fail("no PostgreSQL below /usr/lib/postgresql")
    # Its server refuses to run as root.
    user = ["setpriv", "--reuid=postgres", "--regid=postgres", "--clear-groups"] if os.geteuid() == 0 else []
    folder = tempfile.mkdtemp(prefix="fleet-")
    if user:
        shutil.chown(folder, "postgres", "postgres")

    def server(*arguments):
        run = subprocess.run(user + [f"{binaries[-1]}/{arguments[0]}", "-D", f"{folder}/data", *arguments[1:]],
                             stdout=subprocess.PIPE, stderr=subprocess.STDOUT, cwd=folder, text=True)
        if run.returncode:
            fail(f"{arguments[0]}: {run.stdout}")

    def psql(statements):
        run = subprocess.run(user + ["psql", "-XqAt", "-h", folder, "-U", "fleet", "-v", "ON_ERROR_STOP=1",
                                     "-F", " | ", "-P", "footer=off", "-P", "tuples_only=off", "postgres"],
                             input="SET client_min_messages = warning; SET timezone = 'UTC';\n" + statements,
                             stdout=subprocess.PIPE, stderr=subprocess.PIPE, cwd=folder, text=True)
        if run.returncode:
            fail(f"{DOCUMENT}: {run.stderr.strip()}\nin:\n{statements}")
        return run.stdout

    try:
        server("initdb", "-U", "fleet", "-A", "trust", "-E", "UTF8", "--no-locale", "-N")
        server("pg_ctl", "-w", "-s", "-l", f"{folder}/log", "-o", f"-c listen_addresses='' -k {folder} -F", "start")
        try:
            psql(blocks[0])
            arrivals = [*received, received[2], '{"events":[]}', '{"events":[{}]}',
                        '{"events":[{"key_of_tomorrow":1,"timestamp":0}]}']
            psql("COPY arrivals (arrived, package) FROM stdin;\n"
                 + "".join(f"{arrival(package)}\t{package}\n".replace("\\", "\\\\") for package in arrivals) + "\\.\n")
            output = [psql(block) for block in blocks[1:]]
        finally:
            server("pg_ctl", "-w", "-s", "-m", "immediate", "stop")
    finally:
        shutil.rmtree(folder)
    return "".join(f"```text\n{part}```\n" for part in output if part)


def arrival(package):
    """A second after the last event in it, or at midnight."""
    times = [event.get("timestamp") for event in json.loads(package)["events"]]
    seconds = max(filter(None, times), default=1792281600000) / 1000 + 1
    return datetime.datetime.fromtimestamp(seconds, datetime.timezone.utc).isoformat()


def main():
    stbhost, *options = sys.argv[1:]
    before = DOCUMENT.read_text()
    after = before
    for name, made in compute(before, stbhost).items():
        found = region(after, name)
        after = after[: found.start(1)] + made + after[found.end(1):]
    problems = check_keys(before)
    if options == ["--check"]:
        difference = difflib.unified_diff(before.splitlines(), after.splitlines(), f"{DOCUMENT}", "computed",
                                          lineterm="", n=0)
        problems += difference
    else:
        DOCUMENT.write_text(after)
    if problems:
        fail("\n".join(["the document is not what the figures and the keys make it; scripts/fleet writes the figures",
                        *problems]))


main()
