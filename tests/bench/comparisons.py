"""The tool beside its floor, pair by pair, until the median ratio is known well enough."""

import dataclasses
import statistics

from processes import Failure, launching_seconds, peak_of, peak_of_launched, run_for_figures, run_once
from sampling import Interval, Limit, Patience, interval_of_median, sample

TURNS = 5  # of one start of a program that measures within itself
MEMORY_PAIRS = 5

@dataclasses.dataclass(frozen=True)
class Row:
    """A line of the table: a figure, how sure it is, and what it is to be."""

    name: str
    value: Interval
    limit: Limit | None = None
    tool: str = ""
    floor: str = ""
    count: int = 1
    details: tuple = ()  # further lines

    def verdict(self):
        return self.limit.verdict(self.value) if self.limit else ""


@dataclasses.dataclass(frozen=True)
class Outcome:
    """What one measurement has come to: lines for people, and figures for the file."""

    rows: list
    figures: dict


def plural(count, word):
    return f"{count:,} {word}{'' if count == 1 else 's'}"


def outcome_of_pairs(title, pairs, limit, value_of=lambda pair: pair[0] / pair[1]):
    """Of pairs of milliseconds, the tool's first."""
    ratio = interval_of_median([value_of(pair) for pair in pairs])
    tool, floor = (statistics.median(pair[i] for pair in pairs) for i in (0, 1))
    return Outcome([Row(title, ratio, limit, f"{tool:.1f} ms", f"{floor:.1f} ms", len(pairs))],
                   {"pairs": len(pairs), "tool wall, ms": tool, "floor wall, ms": floor, "wall ratio": ratio.middle,
                    "wall ratio, interval": [ratio.low, ratio.high]})


def check_same_output(tool, floor, exit_code):
    """The first pair is not counted, but has to write the same lines. How many these are."""
    lines = [sorted(run_once(command, exit_code).output.splitlines()) for command in (tool, floor)]
    if lines[0] != lines[1]:
        raise Failure(f"{' '.join(tool)} and its floor do not write the same")
    return len(lines[0])


def compare(title, tool, floor, patience, limit, exit_code=0, same_output=True, launcher=(), memory_limit=None):
    """Wall time and memory of two programs as whole processes, each of which comes first in every other pair. What the
    launcher takes, if they need one, is taken off both."""
    launch = launching_seconds(launcher) if launcher else 0.0
    tool, floor = [*launcher, *tool], [*launcher, *floor]
    lines = check_same_output(tool, floor, exit_code) if same_output else None

    def milliseconds(command):
        return (run_once(command, exit_code).seconds - launch) * 1000

    def pair(number):
        if number % 2 == 0:
            return milliseconds(tool), milliseconds(floor)
        second = milliseconds(floor)
        return milliseconds(tool), second

    pairs = sample(patience, pair, lambda times: times[0] / times[1])
    outcome = outcome_of_pairs(title, pairs, limit)

    def peak(command, name):
        return peak_of_launched(name, command) if launcher else peak_of(command, exit_code)

    memory = [(peak(tool, "VLCmd.exe"), peak(floor, "floor.exe")) for _ in range(MEMORY_PAIRS)]
    above = interval_of_median([t - f for t, f in memory])
    outcome.figures.update({
        "tool memory, MB": statistics.median(t for t, _ in memory),
        "floor memory, MB": statistics.median(f for _, f in memory),
        "memory above the floor, MB": above.middle,
        "memory above the floor, MB, interval": [above.low, above.high],
    })
    if memory_limit is not None:
        outcome.rows.append(Row(f"{title}, MB above the floor", above, memory_limit,
                                f"{outcome.figures['tool memory, MB']:.2f} MB",
                                f"{outcome.figures['floor memory, MB']:.2f} MB", len(memory)))
    if lines is not None:
        outcome.figures["lines"] = lines
    if launcher:
        outcome.figures["launcher, ms"] = launch * 1000
    return outcome


def pairs_within(command):
    """Pairs of milliseconds that a program measures within itself, of as many starts of it as are needed. The first
    pair of each start is not counted."""
    pairs = []

    def pair(number):
        while number >= len(pairs):
            measured = run_for_figures([*command, str(TURNS + 1)])
            pairs.extend(list(zip(measured["tool"], measured["floor"], strict=True))[1:])
        return pairs[number]

    return pair


def compare_within(title, command, patience, limit, value_of=lambda pair: pair[0] / pair[1]):
    return outcome_of_pairs(title, sample(patience, pairs_within(command), value_of), limit, value_of)
