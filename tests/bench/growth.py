"""How time and memory grow with the input, by doubling it."""

import dataclasses
import statistics
import time

import surroundings
from comparisons import Outcome, Row
from processes import peak_of, program, run_for_figures, run_once
from sampling import Limit, growth_by_doubling, interval_of_median

RUNS = 9
FEWEST_RUNS = 5  # where the others would take longer than these
SECONDS = 20
MEMORY_RUNS = 3
SMALLEST_GROWTH = 1.0  # MB
LONG_VALUE = 4000
DOUBLED = Limit(2.2)  # what is linear costs twice as much; the rest is noise


@dataclasses.dataclass(frozen=True)
class Costs:
    """Milliseconds and megabytes of one size; of the floor, too, where there is one."""

    times: list
    memory: list
    floor_times: list


def costs_of_runs(tool, floor=None):
    times, floor_times = [], []
    run_once(tool)
    began = time.monotonic()
    while len(times) < FEWEST_RUNS or len(times) < RUNS and time.monotonic() - began < SECONDS:
        times.append(run_once(tool).seconds * 1000)
        if floor:
            floor_times.append(run_once(floor).seconds * 1000)
    return Costs(times, [peak_of(tool) for _ in range(MEMORY_RUNS)], floor_times)


def costs_within(command):
    """Of a program that measures within itself: its own times, and the memory of the whole process."""
    command = [*command, str(RUNS)]
    return Costs(run_for_figures(command)["tool"], [peak_of(command) for _ in range(MEMORY_RUNS)], [])


def costs_of_status(drives):
    with surroundings.engine(drives):
        return costs_of_runs(program("VLCmd.exe", "/st"), program("floor.exe", "status"))


def costs_of_words(words):
    return costs_within(program("inprocess_bench.exe", "words", str(words), "10000"))


def costs_of_values(values, characters=20):
    with surroundings.many_values(values, characters):
        return costs_of_runs(program("VLCmd.exe", "/si"))


def costs_of_long_values(values):
    return costs_of_values(values, LONG_VALUE)


def costs_of_lines(lines):
    with surroundings.translation(lines, "VLCmd.exe") as folder:
        return costs_of_runs(program("VLCmd.exe", "/?", folder=folder))


def costs_of_hotfix(characters):
    return costs_within(program("inprocess_bench.exe", "hotfix", str(characters)))


# Name, what grows, the sizes, and the costs of one size. The last sizes double.
GROWN = (
    ("drives", "/st with the drives", (1, 125, 250, 500, 1000, 2000), costs_of_status),
    ("words", "resolving with the drive words", (1, 1250, 2500, 5000, 10000), costs_of_words),
    ("values", "/si with the registry values", (1, 5000, 10000, 20000, 40000), costs_of_values),
    ("lines", "/? with the translation's lines", (1, 12500, 25000, 50000, 100000), costs_of_lines),
    ("hotfixes", "finding a hotfix with the text", (1, 4000, 8000, 16000, 32000), costs_of_hotfix),
    ("report", f"/si with texts of {LONG_VALUE:,} characters", (1, 250, 500, 1000, 2000), costs_of_long_values),
)


def row_of(title, what, unit, sizes, intervals, count, details=()):
    half, whole = intervals[sizes[-2]].middle, intervals[sizes[-1]].middle
    return Row(f"{title}: {what}, {sizes[-1]:,} to {sizes[-2]:,}", growth_by_doubling(sizes, intervals), DOUBLED,
               f"{whole:.1f} {unit}", f"{half:.1f} {unit}", count, details)


def measure(title, sizes, costs_of):
    """Time and memory at each size; judged by the last doubling."""

    def measure_sizes(_patience):
        costs = {size: costs_of(size) for size in sizes}
        times = {size: interval_of_median(each.times) for size, each in costs.items()}
        memory = {size: interval_of_median(each.memory) for size, each in costs.items()}
        details = tuple(f"  {size:>9,}  {times[size].middle:>10.2f} ms  {memory[size].middle:>8.2f} MB"
                        for size in sizes)
        rows = [row_of(title, "time", "ms", sizes, times, RUNS, details)]
        # Memory that hardly grows has no ratio worth a name.
        if memory[sizes[-1]].middle - memory[sizes[0]].middle > SMALLEST_GROWTH:
            rows.append(row_of(title, "memory", "MB", sizes, memory, MEMORY_RUNS))
        return Outcome(rows, {str(size): {"time, ms": times[size].middle, "memory, MB": memory[size].middle,
                                          **({"floor time, ms": statistics.median(costs[size].floor_times)}
                                             if costs[size].floor_times else {})} for size in sizes})

    return measure_sizes
