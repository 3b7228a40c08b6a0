#!/usr/bin/env python3
"""Measures VLCmd beside floor programs, which make the same calls and write the same bytes with nothing around them.

bench.py [--quick] [--list] [--write-page] [FIGURE...]

FIGURE is a group ("st", "si") or one size of it ("dol:64"); without one everything is measured. Each line of the table is
printed as soon as it is measured, and the figures are written into build/bench.json after each. What is being measured,
and how long it will take, is told on standard error. Ends with 1 when a figure is over its limit or cannot be measured,
with 2 when the words are wrong."""

import argparse
import json
import math
import signal
import sys
import time

import figures
import page
from processes import FOLDER, TOP, Failure
from sampling import OVER, UNDECIDED, Patience
from surroundings import prefix

RESULT = TOP / "build" / "bench.json"
DURATIONS = FOLDER / "durations.json"  # of each figure, when it was measured last
QUICK_SECONDS = 80  # after these nothing more begins
QUICK_SHARE = 0.4  # of the time that is left for a figure, for its pairs; the rest is for what they need
COLUMNS = "{:<58} {:>10} {:>10} {:>8}  {:<16} {:>5}  {:<8} {}"

# The file's names of the groups.
GROUP_KEYS = {"st": "status", "dol": "run", "si": "support", "sta": "statistics", "?": "usage", "c": "refused"}


def say(text):
    print(f"bench: {text}", file=sys.stderr, flush=True)


def print_header():
    print(COLUMNS.format("figure", "tool", "floor", "median", "95 % interval", "of", "limit", "").rstrip(), flush=True)


def number_text(value):
    return f"{value:.3f}" if abs(value) < 100 else f"{value:.0f}"


def print_row(row):
    value = row.value
    interval = "" if value.low == value.high else f"{number_text(value.low)} to {number_text(value.high)}"
    print(COLUMNS.format(row.name, row.tool, row.floor, number_text(value.middle), interval, row.count,
                         str(row.limit or ""), row.verdict()).rstrip())
    for line in row.details:
        print(line)
    sys.stdout.flush()


def write_whole(path, data):
    """Never leaves a file that is only half written."""
    path.parent.mkdir(parents=True, exist_ok=True)
    aside = path.with_suffix(".new")
    aside.write_text(json.dumps(data, indent=2) + "\n", encoding="utf-8")
    aside.replace(path)


def read_durations():
    try:
        return json.loads(DURATIONS.read_text(encoding="utf-8"))
    except (OSError, ValueError):
        return {}


def seconds_text(seconds):
    minutes, seconds = divmod(round(seconds), 60)
    return f"{minutes} min {seconds} s" if minutes else f"{seconds} s"


class Results:
    """What has been measured so far; kept in the file after each figure."""

    def __init__(self):
        self.figures = {"begun": time.strftime("%Y-%m-%d %H:%M:%S"), "limits": {}, "verdicts": {}, "failed": {}}
        self.rows = []
        self.skipped = []

    def add(self, figure, outcome):
        key = GROUP_KEYS.get(figure.group, figure.group)
        if figure.size is None:
            self.figures[key] = outcome.figures
        else:
            self.figures.setdefault(key, {})[str(figure.size)] = outcome.figures
        for row in outcome.rows:
            self.rows.append(row)
            if row.limit:
                self.figures["limits"][row.name] = str(row.limit)
                self.figures["verdicts"][row.name] = row.verdict()
        self.keep()

    def fail(self, figure, reason):
        self.figures["failed"][figure.name] = reason
        self.keep()

    def keep(self):
        write_whole(RESULT, self.figures)

    def names_with(self, verdict):
        return [row.name for row in self.rows if row.verdict() == verdict]


def patience_for(figure, quick, seconds_left, figures_left):
    if not quick:
        return Patience(seconds=figure.seconds)
    return Patience(least_pairs=5, most_pairs=101, seconds=min(5, QUICK_SHARE * seconds_left / figures_left))


def measure_all(chosen, quick, results, deadline=math.inf):
    durations = read_durations()
    print_header()
    for number, figure in enumerate(chosen, 1):
        if time.monotonic() > deadline:
            results.skipped.append(figure.name)
            continue
        last = durations.get(figure.name)
        told = "" if quick else f" (about {seconds_text(last)})" if last else f" (up to {seconds_text(figure.seconds)})"
        say(f"[{number}/{len(chosen)}] {figure.title}{told}")
        began = time.monotonic()
        try:
            outcome = figure.measure(patience_for(figure, quick, deadline - began, len(chosen) - number + 1))
        except (Failure, OSError, ValueError, KeyError) as failure:
            say(f"{figure.name} cannot be measured: {failure}")
            results.fail(figure, str(failure))
            continue
        for row in outcome.rows:
            print_row(row)
        results.add(figure, outcome)
        if not quick:
            durations[figure.name] = time.monotonic() - began
            write_whole(DURATIONS, durations)


def tell_outcome(results):
    for name in results.names_with(OVER):
        print(f"OVER THE LIMIT: {name}")
    for name in results.names_with(UNDECIDED):
        print(f"not decided: {name}")
    for name in results.skipped:
        print(f"not measured, as no time was left: {name}")
    for name, reason in results.figures["failed"].items():
        print(f"NOT MEASURED: {name}: {reason}")
    sys.stdout.flush()
    return 1 if results.names_with(OVER) or results.figures["failed"] else 0


def end_on_signals():
    """Ends the bench as an exception does, so that what it has made goes with it."""

    def end(number, _frame):
        for each in (signal.SIGINT, signal.SIGTERM, signal.SIGHUP):
            signal.signal(each, signal.SIG_IGN)
        say("interrupted; ending what was started")
        raise SystemExit(128 + number)

    for each in (signal.SIGINT, signal.SIGTERM, signal.SIGHUP):
        signal.signal(each, end)


def read_words(words):
    parser = argparse.ArgumentParser(prog="./dev bench")
    parser.add_argument("--quick", action="store_true", help="in less than two minutes, with fewer pairs and sizes")
    parser.add_argument("--list", action="store_true", help="list the figures and measure nothing")
    parser.add_argument("--write-page", action="store_true",
                        help="write what has been measured into docs/performance.md")
    parser.add_argument("figures", nargs="*", metavar="FIGURE")
    asked = parser.parse_args(words)
    if asked.write_page and (asked.quick or asked.figures):
        parser.error("the page is written from a whole run")
    table = figures.all_figures()
    try:
        chosen = figures.select(table, asked.figures)
    except ValueError as mistake:
        parser.error(str(mistake))
    if asked.quick and not asked.figures:
        chosen = [each for each in chosen if each.quick]
    return asked, chosen


def main(words):
    began = time.monotonic()
    asked, chosen = read_words(words)
    if asked.list:
        for each in chosen:
            name = each.group if each.size is None else f"{each.group}:{each.size}"
            print(f"{name:<16} {each.title}")
        return 0
    durations = read_durations()
    expected = 2 * 60 if asked.quick else sum(durations.get(each.name, each.seconds) for each in chosen)
    say(f"{len(chosen)} figures, {'at most' if asked.quick else 'about'} {seconds_text(expected)}; "
        f"kept in {RESULT.relative_to(TOP)}")
    end_on_signals()
    results = Results()
    try:
        say("preparing Wine (the first time half a minute)")
        with prefix():
            measure_all(chosen, asked.quick, results, began + QUICK_SECONDS if asked.quick else math.inf)
    except Failure as failure:
        say(str(failure))
        return 1
    code = tell_outcome(results)
    if asked.write_page:
        if results.figures["failed"]:
            say("the page is left as it is, as not everything was measured")
            return 1
        page.write(results.figures, results.rows)
        say(f"wrote {page.PAGE.relative_to(TOP)} and {page.PLOT.relative_to(TOP)}")
    return code


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
