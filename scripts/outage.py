"""Makes docs/host/outage.svg, and the tables of docs/host/delivery.md, of what delivery-outage simulates.

outage.py STBHOST_OUTAGE [--check], from the project's folder; see scripts/outage. The plot is written here, so that
the same bytes come out on every machine.
"""

import difflib
import json
import math
import re
import subprocess
import sys
from pathlib import Path

PLOT = Path("docs/host/outage.svg")
DOCUMENT = Path("docs/host/delivery.md")

# Backoff is the last of each situation. They can be told apart by those who see no red or no green.
COLOURS = ["#d55e00", "#e69f00", "#999999"]
BACKOFF_COLOUR = "#0072b2"

LEFT, WIDTH, HEIGHT, PANEL, DECADES = 90, 860, 160, 280, 6.5


def fail(reason):
    sys.exit(f"scripts/outage: {reason}")


def simulate(program):
    run = subprocess.run([program], stdout=subprocess.PIPE, text=True)
    if run.returncode:
        fail(f"{program}: exit status {run.returncode}")
    assumptions, *courses = map(json.loads, run.stdout.splitlines())
    situations = {}
    for course in courses:
        situations.setdefault(course["situation"], []).append(course)
    return assumptions, situations


# The tables


def after(course, key):
    return course[key][-course["begin"]:]


def away(course, key):
    return course[key][:-course["begin"]]


def seconds_until(values, count):
    """How many seconds it takes until they have come to so many."""
    total = 0
    for second, value in enumerate(values, 1):
        total += value
        if total >= count:
            return second
    fail("a policy does not come to an end in the time that is simulated")


def significant(value):
    """Three digits: with other seeds the next would be another."""
    digits = 2 - math.floor(math.log10(value)) if value else 0
    return f"{round(value, digits):,.{max(0, digits)}f}"


def table(head, rows):
    lines = [head, ["---"] * len(head), *rows]
    return "".join(f"| {' | '.join(line)} |\n" for line in lines)


def result_rows(assumptions, situations):
    boxes = assumptions["boxes"]
    for situation, courses in situations.items():
        for course in courses:
            vain = away(course, "requests")
            gigabytes = max(after(course, "packages")) * assumptions["bytes of a flush"] / 1e9
            yield [
                situation,
                course["policy"],
                significant(sum(vain) / boxes) if vain else "–",
                significant(max(vain)) if vain else "–",
                significant(max(after(course, "requests"))),
                significant(gigabytes),
                f"{seconds_until(after(course, 'caught_up'), boxes * 0.99)} s",
            ]


def tables(assumptions, situations):
    return {
        "assumptions": table(["assumption", "value"],
                             [[name, f"{value:,}"] for name, value in assumptions.items()]),
        "results": table(["situation", "policy", "requests in vain, each box", "peak while away, requests a second",
                          "peak afterwards, requests a second", "peak afterwards, GB a second",
                          "99 % of the boxes have delivered after"], result_rows(assumptions, situations)),
    }


# The plot


def text(x, y, words, more=""):
    return f'<text x="{x}" y="{y}"{more}>{words}</text>\n'


def height(value):
    return HEIGHT - HEIGHT / DECADES * math.log10(max(value, 1))


def line(course, colour):
    """Of the seconds that share a pixel the highest and the lowest are drawn: peaks are what this is about."""
    requests = course["requests"]
    step = max(1, math.ceil(len(requests) / WIDTH))
    path = f"M0 {HEIGHT}"
    drawn = HEIGHT
    for begin in range(0, len(requests), step):
        pixel = requests[begin:begin + step]
        x = round(begin * WIDTH / len(requests), 1)
        for y in (round(height(max(pixel))), round(height(min(pixel)))):
            if y != drawn:
                path += f"H{x:g}V{y}"
                drawn = y
    return f'<path d="{path}H{WIDTH}" fill="none" stroke="{colour}" stroke-width="1.5"/>\n'


def panel(situation, courses, usual):
    begin, seconds = courses[0]["begin"], len(courses[0]["requests"])
    svg = text(0, -34, situation, ' class="title"')

    x = 0
    colours = [*COLOURS[: len(courses) - 1], BACKOFF_COLOUR]
    for course, colour in zip(courses, colours):
        svg += f'<rect x="{x}" y="-21" width="18" height="4" fill="{colour}"/>\n'
        svg += text(x + 23, -14, course["policy"])
        x += 45 + 6.2 * len(course["policy"])

    for decade in range(math.ceil(DECADES)):
        y = round(height(10 ** decade))
        svg += f'<path d="M0 {y}H{WIDTH}" stroke="#e4e4e4"/>\n'
        svg += text(-8, y + 4, f"{10 ** decade:,}" if decade else "0–1", ' text-anchor="end"')
    svg += f'<path d="M0 {round(height(usual))}H{WIDTH}" stroke="#777" stroke-dasharray="3 3"/>\n'

    spacing, unit, name = (600, 60, "min") if seconds > 1800 else (60, 1, "s")
    for second in range(begin, begin + seconds + 1, spacing):
        x = round((second - begin) * WIDTH / seconds, 1)
        svg += f'<path d="M{x:g} {HEIGHT}v5" stroke="#333"/>\n'
        time = f"{second // unit} {name}".replace("-", "−") if second else "0"
        svg += text(f"{x:g}", HEIGHT + 18, time, ' text-anchor="middle"')

    for course, colour in zip(courses, colours):
        svg += line(course, colour)
    return svg + f'<path d="M0 0V{HEIGHT}H{WIDTH}" fill="none" stroke="#333"/>\n'


def plot(assumptions, situations):
    usual = round(assumptions["boxes"] / assumptions["seconds between two flushes of a box"])
    width, height_of_all = LEFT + WIDTH + 40, 80 + PANEL * len(situations)
    title = f"Requests a second at the collector of {assumptions['boxes']:,} boxes"
    svg = (
        f'<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 {width} {height_of_all}" width="{width}"'
        f' height="{height_of_all}" font-family="sans-serif" font-size="12" fill="#222">\n'
        f"<title>{title}</title>\n"
        "<style>.title{font-size:15px;font-weight:bold}</style>\n"
        f'<rect width="{width}" height="{height_of_all}" fill="#fff"/>\n'
    )
    svg += text(LEFT, 34, title, ' font-size="19" font-weight="bold"')
    svg += text(LEFT, 56, "Logarithmic. 0 is when the collector, or the power, is there again; dashed is what comes in"
                          f" ordinary times, {usual:,} requests a second.")
    for number, (situation, courses) in enumerate(situations.items()):
        svg += f'<g transform="translate({LEFT} {140 + PANEL * number})">\n{panel(situation, courses, usual)}</g>\n'
    return svg + "</svg>\n"


def filled(document, regions):
    for name, made in regions.items():
        pattern = rf"(<!-- outage: {name} -->\n).*?(<!-- outage: end -->)"
        document, found = re.subn(pattern, lambda match: match[1] + made + match[2], document, flags=re.S)
        if found != 1:
            fail(f"{DOCUMENT}: expected one region '{name}', found {found}")
    return document


def main():
    program, *options = sys.argv[1:]
    for file in [DOCUMENT, PLOT] if options else [DOCUMENT]:
        if not file.exists():
            fail(f"{file}: no such file")
    assumptions, situations = simulate(program)
    made = {
        PLOT: plot(assumptions, situations),
        DOCUMENT: filled(DOCUMENT.read_text(), tables(assumptions, situations)),
    }
    if not options:
        for file, content in made.items():
            file.write_text(content)
        return
    differences = [
        difference
        for file, content in made.items()
        for difference in difflib.unified_diff(file.read_text().splitlines(), content.splitlines(), f"{file}",
                                               "simulated", lineterm="", n=0)
    ]
    if differences:
        fail("\n".join(["plot or document are not what is simulated; scripts/outage writes them",
                        *(difference[:200] for difference in differences)]))


main()
