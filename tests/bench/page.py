"""The figures in docs/performance.md, and the plot beside it."""

import math
import platform
import re
import subprocess
from pathlib import Path

from processes import TOP

PAGE = TOP / "docs" / "performance.md"
PLOT = TOP / "docs" / "performance.svg"
PARTS = ("table", "growth", "plot")
BEGIN, END = "<!-- measured: {} -->", "<!-- end of {} -->"


def write(figures, rows):
    """Fills the page's parts."""
    text = PAGE.read_text(encoding="utf-8")
    for name, part in zip(PARTS, (table(figures, rows), growth_table(figures),
                                  f"![`/st` and `/dol` over the number of drives]({PLOT.name})"), strict=True):
        text = replaced(text, name, part)
    PLOT.write_text(plot(curves(figures)), encoding="utf-8")
    PAGE.write_text(text, encoding="utf-8")


def replaced(text, name, part):
    """The page with what stands between the two marks of that name replaced."""
    begin, end = BEGIN.format(name), END.format(name)
    pattern = re.compile(re.escape(begin) + r".*?" + re.escape(end), re.DOTALL)
    if len(pattern.findall(text)) != 1:
        raise ValueError(f"the page does not have the marks of {name} once")
    return pattern.sub(lambda _: f"{begin}\n\n{part}\n\n{end}", text)


def processor():
    match = re.search(r"model name\s*:\s*(.*)", Path("/proc/cpuinfo").read_text(encoding="utf-8"))
    return match[1] if match else platform.machine()


def wine_version():
    return subprocess.run(["wine", "--version"], check=True, stdout=subprocess.PIPE, text=True).stdout.strip()


def number(value):
    return f"{value:.3f}" if abs(value) < 100 else f"{value:,.0f}"


def table(figures, rows):
    lines = [f"Measured {figures['begun'][:10]} on {processor()} with {wine_version()}.", "",
             "| figure | tool | floor | median | 95 % interval | of | limit | |", "|---|--:|--:|--:|---|--:|---|---|"]
    for row in rows:
        interval = "" if row.value.low == row.value.high else f"{number(row.value.low)} to {number(row.value.high)}"
        limit = str(row.limit or "").replace("<=", "at most").replace(">=", "at least")
        name = re.sub(r"^(/[\w?]+(?: /\w+)?)", r"`\1`", row.name)
        lines.append(f"| {name} | {row.tool} | {row.floor} | {number(row.value.middle)} | {interval} | {row.count} | "
                     f"{limit} | {row.verdict()} |")
    return "\n".join(lines)


GROWN = {
    "drives": "`/st`, drives",
    "words": "resolving drive words",
    "values": "`/si`, registry values",
    "lines": "`/?`, lines of the translation",
    "hotfixes": "a hotfix, characters of the version text",
    "report": "`/si`, texts of 4,000 characters",
}


def growth_table(figures):
    lines = ["| input | size | time | memory |", "|---|--:|--:|--:|"]
    for name, title in GROWN.items():
        for size, cost in figures["growth"][name].items():
            lines.append(f"| {title} | {int(size):,} | {cost['time, ms']:.1f} ms | {cost['memory, MB']:.1f} MB |")
    return "\n".join(lines)


def curves(figures):
    """Points (drives, milliseconds) of the tool and of the floor, by command."""
    points = {}
    for command, key in (("/st", "status"), ("/dol", "run")):
        points[command] = {
            program: sorted((int(size), row[f"{program} wall, ms"]) for size, row in figures[key].items())
            for program in ("tool", "floor")
        }
    for size, cost in figures["growth"]["drives"].items():
        for program, name in (("tool", "time, ms"), ("floor", "floor time, ms")):
            points["/st"][program].append((int(size), cost[name]))
    for programs in points.values():
        for program, found in programs.items():
            # Where a size was measured twice, the first stands: it comes from more pairs.
            programs[program] = sorted(dict(reversed(found)).items())
    return points


WIDTH, HEIGHT, LEFT, RIGHT, TOP_EDGE, BOTTOM = 720, 400, 70, 150, 30, 50
COLOURS = {"/st": "#1f5fa8", "/dol": "#b5541c"}


def decades(low, high):
    return range(math.floor(math.log10(low)), math.ceil(math.log10(high)) + 1)


def plot(points):
    """An SVG with both axes logarithmic: the tool's curve whole, the floor's dashed."""
    everything = [point for programs in points.values() for found in programs.values() for point in found]
    across = decades(min(x for x, _ in everything), max(x for x, _ in everything))
    up = decades(min(y for _, y in everything), max(y for _, y in everything))

    def place(x, y):
        return (LEFT + (math.log10(x) - across[0]) / (across[-1] - across[0]) * (WIDTH - LEFT - RIGHT),
                HEIGHT - BOTTOM - (math.log10(y) - up[0]) / (up[-1] - up[0]) * (HEIGHT - BOTTOM - TOP_EDGE))

    svg = [f'<svg xmlns="http://www.w3.org/2000/svg" width="{WIDTH}" height="{HEIGHT}" '
           f'viewBox="0 0 {WIDTH} {HEIGHT}" font-family="sans-serif" font-size="12">',
           "<title>Milliseconds of /st and /dol /alldrives over the number of drives, beside the floor</title>",
           f'<rect width="{WIDTH}" height="{HEIGHT}" fill="white"/>']
    for power in across:
        x, y = place(10**power, 10**up[0])
        svg += [f'<line x1="{x:.1f}" y1="{TOP_EDGE}" x2="{x:.1f}" y2="{y:.1f}" stroke="#dddddd"/>',
                f'<text x="{x:.1f}" y="{y + 18:.1f}" text-anchor="middle">{10**power:,}</text>']
    for power in up:
        x, y = place(10**across[0], 10**power)
        svg += [f'<line x1="{x:.1f}" y1="{y:.1f}" x2="{WIDTH - RIGHT}" y2="{y:.1f}" stroke="#dddddd"/>',
                f'<text x="{x - 8:.1f}" y="{y + 4:.1f}" text-anchor="end">{10**power:g} ms</text>']
    svg.append(f'<text x="{(LEFT + WIDTH - RIGHT) / 2:.1f}" y="{HEIGHT - 10}" text-anchor="middle">drives</text>')
    legend = TOP_EDGE + 10
    for command, programs in points.items():
        for program, found in programs.items():
            dash = ' stroke-dasharray="5 4"' if program == "floor" else ""
            line = " ".join(f"{x:.1f},{y:.1f}" for x, y in (place(*point) for point in found))
            svg.append(f'<polyline points="{line}" fill="none" stroke="{COLOURS[command]}" stroke-width="1.5"{dash}/>')
            if program == "tool":
                svg += [f'<circle cx="{x:.1f}" cy="{y:.1f}" r="2.5" fill="{COLOURS[command]}"/>'
                        for x, y in (place(*point) for point in found)]
            svg += [f'<line x1="{WIDTH - RIGHT + 12}" y1="{legend}" x2="{WIDTH - RIGHT + 42}" y2="{legend}" '
                    f'stroke="{COLOURS[command]}" stroke-width="1.5"{dash}/>',
                    f'<text x="{WIDTH - RIGHT + 50}" y="{legend + 4}">{command}{", floor" if dash else ""}</text>']
            legend += 20
    return "\n".join([*svg, "</svg>", ""])
