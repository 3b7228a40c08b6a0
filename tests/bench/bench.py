#!/usr/bin/env python3
"""Times VLCmd as whole processes against a floor program that makes the same COM calls and writes the same bytes, and
what cannot be timed so in a program of its own. Prints a table, writes the figures as JSON into build/bench.json, and
ends with 1 when a figure is over its limit."""

import functools
import json
import os
import re
import shutil
import sqlite3
import statistics
import subprocess
import sys
import time
from pathlib import Path

TOP = Path(__file__).resolve().parents[2]
TREE = TOP / "build" / "mingw-x64"
BIN = TREE / "bin"
UNDER_WINE = TOP / "cmake" / "run-under-wine"
PRODUCT_KEY = r"HKLM\Software\Kestrane\VLCore\14.0"
SIMULATOR_KEY = r"HKLM\Software\Kestrane\Simulator"

# (drives, counted pairs of runs); several drives need the launcher, which keeps Wine's COM from breaking under them
STATUS_SIZES = [(1, 25), (100, 15), (1000, 5)]
RUN_SIZES = [(1, 25), (16, 15), (64, 9), (200, 7)]
SUPPORT_PAIRS = 25
STATISTICS_SIZES = [(1, 25), (100, 9)]
START_PAIRS = 101
LAUNCH_PAIRS = 15
MEMORY_PAIRS = 5
LIMITS = {
    "wall ratio": 1.10,
    "memory above the floor, MB": 3.0,
    "memory per drive, ratio": 1.10,
    "resolving / walking": 3.0,
    "loading / reading": 5.0,
    "dumping ten times the values, time": 12.0,
    "dumping ten times the values, memory": 12.0,
    "wall ratio of the support report": 1.25,
    "wall ratio of the statistics": 1.15,
    "starting, ratio to a program without the trace log": 1.02,
}
LEAST = {
    "trace_ratio": 0.85,
}


def windows_path(path):
    return "Z:" + str(path).replace("/", "\\")


def prepare_with(*words):
    """Runs a program that has no part in what is measured."""
    subprocess.run([UNDER_WINE, *words], check=True, stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL)


def loader():
    """The command that starts a Windows program with as little around it as can be."""
    direct = Path("/usr/lib/wine/wine64")
    command = [str(direct)] if direct.exists() else [shutil.which("wine")]
    fixed = ["setarch", "--addr-no-randomize"]
    can_fix = subprocess.run([*fixed, "true"], stderr=subprocess.DEVNULL, check=False).returncode == 0
    return (fixed if can_fix else []) + command


class Engine:
    """The simulated engine with a number of drives, for as long as the block goes on."""

    def __init__(self, drives):
        self.scenario = TREE / "bench.scenario"
        self.scenario.write_text(
            "[engine]\nidle-seconds = 600\ndefragment-seconds = 0\n"
            f"[drives]\ncount = {drives}\nname = D:\\Mounts\\{{n}}\\\n",
            encoding="utf-8")

    def __enter__(self):
        prepare_with(str(BIN / "VLEngine.exe"), "/quit")
        prepare_with("reg", "add", SIMULATOR_KEY, "/v", "Scenario", "/d", windows_path(self.scenario), "/f")

    def __exit__(self, *_):
        prepare_with(str(BIN / "VLEngine.exe"), "/quit")
        prepare_with("reg", "delete", SIMULATOR_KEY, "/v", "Scenario", "/f")


class Database:
    """A statistics database with an analysis of each of these drives, for as long as the block goes on."""

    def __init__(self, drives):
        self.file = TREE / "bench.db"
        self.connection = f"Provider=MSDASQL;Driver={{SQLite3}};Database={windows_path(self.file)};NoCreat=1"
        self.file.unlink(missing_ok=True)
        with sqlite3.connect(self.file) as database:
            database.executescript((TOP / "sim" / "database" / "schema.sql").read_text(encoding="utf-8"))
            for number, drive in enumerate(drives):
                database.execute("INSERT INTO Volumes VALUES (?, ?)", (number, drive))
                database.execute(f"INSERT INTO StatsAnalyze VALUES (?, 46076.25{', 12' * 10})", (number,))
        database.close()

    def __enter__(self):
        kept = subprocess.run([UNDER_WINE, "reg", "query", PRODUCT_KEY, "/v", "ConnectionString"], check=True,
                              stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, text=True).stdout
        self.kept = re.search(r"REG_SZ\s+(.*)", kept)[1]
        self.set("ADO:" + self.connection)
        return self

    def __exit__(self, *_):
        self.set(self.kept)

    @staticmethod
    def set(connection):
        prepare_with("reg", "add", PRODUCT_KEY, "/v", "ConnectionString", "/d", connection, "/f")


def run_once(command):
    """Wall seconds, peak resident memory in MB, and the output of one process."""
    read_end, write_end = os.pipe()
    start = time.perf_counter()
    process = subprocess.Popen(command, stdin=subprocess.DEVNULL, stdout=write_end, env=ENVIRONMENT)
    os.close(write_end)
    with os.fdopen(read_end, "rb") as pipe:
        output = pipe.read()
    _, status, usage = os.wait4(process.pid, 0)
    wall = time.perf_counter() - start
    process.returncode = os.waitstatus_to_exitcode(status)
    if process.returncode != 0:
        sys.exit(f"bench: {command} ended with {process.returncode}")
    return wall, usage.ru_maxrss / 1024, output


def compare(tool_words, floor_words, pairs, same_output=True, launched=False, tool="VLCmd.exe", floor="floor.exe"):
    """Runs the tool and the floor in turn; the first pair is not counted, but has to write the same lines. What the
    launcher itself takes, if they are launched, is taken off both."""
    loader, launch = (LAUNCHER, launching_seconds()) if launched else (LOADER, 0)
    tool = [*loader, windows_path(BIN / tool), *tool_words]
    floor = [*loader, windows_path(BIN / floor), *floor_words]
    first = run_once(tool)[2], run_once(floor)[2]
    if same_output and sorted(first[0].splitlines()) != sorted(first[1].splitlines()):
        sys.exit(f"bench: VLCmd {tool_words} and the floor do not write the same")
    samples = [(run_once(tool), run_once(floor)) for _ in range(pairs)]
    memory = [(t[1], f[1]) for t, f in samples]
    if launched:
        memory = [(peak_of_launched("VLCmd.exe", tool), peak_of_launched("floor.exe", floor))
                  for _ in range(MEMORY_PAIRS)]
    return {
        "pairs": pairs,
        "lines": len(first[0].splitlines()),
        "launcher, ms": launch * 1000,
        "tool wall, ms": (statistics.median(t[0] for t, _ in samples) - launch) * 1000,
        "floor wall, ms": (statistics.median(f[0] for _, f in samples) - launch) * 1000,
        "wall ratio": statistics.median((t[0] - launch) / (f[0] - launch) for t, f in samples),
        "tool memory, MB": statistics.median(t for t, _ in memory),
        "floor memory, MB": statistics.median(f for _, f in memory),
        "memory above the floor, MB": statistics.median(t - f for t, f in memory),
    }


def peak_of_launched(program, command):
    """Peak resident memory in MB of a program that the launcher starts. No Unix process waits for it, so it is watched
    while it runs; what it takes most is taken long before its end."""
    with subprocess.Popen(command, stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL, env=ENVIRONMENT) as launcher:
        status, peak = None, 0
        while launcher.poll() is None:
            status = status or status_of(program)
            try:
                peak = max(peak, int(re.search(r"VmHWM:\s*(\d+)", status.read_text())[1])) if status else 0
            except (OSError, TypeError):  # it has just ended
                pass
            time.sleep(0.005)
    if launcher.returncode != 0 or peak == 0:
        sys.exit(f"bench: {command} ended with {launcher.returncode} and a peak of {peak} KB")
    return peak / 1024


def status_of(program):
    """The kernel's account of a process of that Windows program, or nothing."""
    for folder in Path("/proc").glob("[0-9]*"):
        try:
            words = (folder / "cmdline").read_bytes().split(b"\0")
        except OSError:
            continue
        if words[0].endswith(program.encode()):
            return folder / "status"
    return None


@functools.cache
def launching_seconds():
    """What starting a program by the launcher takes longer than starting it, as the median over the usage's print."""
    usage = [windows_path(BIN / "VLCmd.exe"), "/?"]
    return statistics.median(
        run_once([*LAUNCHER, *usage])[0] - run_once([*LOADER, *usage])[0] for _ in range(LAUNCH_PAIRS))


def memory_per_drive(figures, program):
    """Growth of a program's memory from the fewest to the most drives, in MB a drive."""
    fewest, most = min(figures), max(figures)
    return (figures[most][f"{program} memory, MB"] - figures[fewest][f"{program} memory, MB"]) / (most - fewest)


def measure(sizes, tool_words, floor_words, launched=False):
    figures = {}
    for drives, pairs in sizes:
        with Engine(drives):
            figures[drives] = compare(tool_words, floor_words, pairs, launched=launched and drives > 1)
    return figures


def support_report():
    """The report has its own limit: most of what it costs beside Windows' answers is their text."""
    row = compare(["/si"], ["support"], SUPPORT_PAIRS, same_output=False)
    return {"wall ratio of the support report": row["wall ratio"], **{
        name: row[name] for name in ("pairs", "lines", "tool wall, ms", "floor wall, ms", "tool memory, MB",
                                     "floor memory, MB")}}


def statistics_reports():
    figures = {}
    for count, pairs in STATISTICS_SIZES:
        drives = [f"D:\\Mounts\\{number}" for number in range(count)]
        with Database(drives) as database:
            row = compare(["/sta", *drives], [database.connection, *drives], pairs, same_output=False,
                          floor="statistics_floor.exe")
        if row["lines"] < 12 * count:
            sys.exit(f"bench: the tool does not show the statistics of {count} drives")
        row["wall ratio of the statistics"] = row.pop("wall ratio")
        figures[count] = row
    return figures


def starting():
    """With the trace log switched off, which is how it is without settings."""
    row = compare(["/?"], ["/?"], START_PAIRS, floor="untraced_tool.exe")
    return {"starting, ratio to a program without the trace log": row["wall ratio"],
            "traced, ms": row["tool wall, ms"], "without the trace log, ms": row["floor wall, ms"]}


def figures_of(program):
    return json.loads(subprocess.run([UNDER_WINE, str(BIN / program)], check=True, stdin=subprocess.DEVNULL,
                                     stdout=subprocess.PIPE).stdout)


def in_process():
    figures = figures_of("inprocess_bench.exe")
    figures["resolving / walking"] = figures["resolve_1000_words_ms"] / figures["walk_10000_drives_ms"]
    figures["loading / reading"] = figures["load_translation_ms"] / figures["read_translation_ms"]
    figures["dumping ten times the values, time"] = (
        figures["dump_100000_values_ms"] / figures["dump_10000_values_ms"])
    figures["dumping ten times the values, memory"] = (
        figures["dump_100000_values_mb"] / figures["dump_10000_values_mb"])
    return figures


def print_processes(title, figures, ratio="wall ratio"):
    print(f"\n{title}")
    print(f"{'drives':>7} {'tool ms':>9} {'floor ms':>9} {'ratio':>6} {'tool MB':>8} {'floor MB':>9} {'above MB':>9}")
    for drives, row in figures.items():
        print(f"{drives:>7} {row['tool wall, ms']:>9.1f} {row['floor wall, ms']:>9.1f} {row[ratio]:>6.3f} "
              f"{row['tool memory, MB']:>8.2f} {row['floor memory, MB']:>9.2f} "
              f"{row['memory above the floor, MB']:>9.2f}")


def main():
    subprocess.run(["cmake", "--build", TREE, "--target", "bench_programs"], check=True, stdout=subprocess.DEVNULL)
    figures = {
        "status": measure(STATUS_SIZES, ["/st"], ["status"]),
        "run": measure(RUN_SIZES, ["/dol", "/alldrives"], ["run"], launched=True),
        "support": support_report(),
        "statistics": statistics_reports(),
        "start": starting(),
        "trace": figures_of("trace_bench.exe"),
        "in process": in_process(),
    }
    per_drive = {program: memory_per_drive(figures["run"], program) for program in ("tool", "floor")}
    figures["run, memory per drive"] = {
        "tool, MB": per_drive["tool"],
        "floor, MB": per_drive["floor"],
        "memory per drive, ratio": per_drive["tool"] / per_drive["floor"],
    }

    print_processes("VLCmd /st", figures["status"])
    print_processes("VLCmd /dol /alldrives", figures["run"])
    row = figures["run, memory per drive"]
    print(f"memory a drive: {row['tool, MB'] * 1024:.1f} KB, floor {row['floor, MB'] * 1024:.1f} KB, "
          f"ratio {row['memory per drive, ratio']:.3f}")
    row = figures["support"]
    print(f"\nVLCmd /si\n{row['lines']} lines: {row['tool wall, ms']:.1f} ms, floor {row['floor wall, ms']:.1f} ms, "
          f"ratio {row['wall ratio of the support report']:.3f}")
    print_processes("VLCmd /sta", figures["statistics"], "wall ratio of the statistics")
    row = figures["start"]
    print(f"\nVLCmd /?: {row['traced, ms']:.1f} ms, without the trace log {row['without the trace log, ms']:.1f} ms, ratio "
          f"{row['starting, ratio to a program without the trace log']:.3f}")
    row = figures["trace"]
    print(f"trace records a second: {row['trace_records_a_second']:.0f}, plain writes {row['plain_writes_a_second']:.0f}, "
          f"ratio {row['trace_ratio']:.3f}")
    row = figures["in process"]
    print("\nIn one process")
    print(f"resolving 1,000 words against 10,000 drives: {row['resolve_1000_words_ms']:.1f} ms, walking the drives: "
          f"{row['walk_10000_drives_ms']:.1f} ms, ratio {row['resolving / walking']:.2f}")
    print(f"loading a translation of 100,000 lines: {row['load_translation_ms']:.1f} ms, reading the file: "
          f"{row['read_translation_ms']:.1f} ms, ratio {row['loading / reading']:.2f}")
    print(f"dumping 100,000 registry values: {row['dump_100000_values_ms']:.1f} ms and "
          f"{row['dump_100000_values_mb']:.1f} MB, 10,000: {row['dump_10000_values_ms']:.1f} ms and "
          f"{row['dump_10000_values_mb']:.1f} MB, ratios {row['dumping ten times the values, time']:.2f} and "
          f"{row['dumping ten times the values, memory']:.2f}")

    over = over_limits(figures)
    for line in over:
        print(f"OVER THE LIMIT: {line}")
    figures["limits"] = LIMITS
    figures["least"] = LEAST
    (TOP / "build" / "bench.json").write_text(json.dumps(figures, indent=2) + "\n", encoding="utf-8")
    return 1 if over else 0


def over_limits(figures, where=""):
    """Every figure that is over its limit, with the way to it."""
    over = []
    for name, value in figures.items():
        if isinstance(value, dict):
            # The limit of memory is the status command's; a run's memory is judged by its growth per drive.
            over += over_limits(value, f"{where}{name} / ")
        elif name in LIMITS and value > LIMITS[name]:
            if name == "memory above the floor, MB" and not where.startswith("status"):
                continue
            over.append(f"{where}{name} is {value:.3f}, more than {LIMITS[name]}")
        elif name in LEAST and value < LEAST[name]:
            over.append(f"{where}{name} is {value:.3f}, less than {LEAST[name]}")
    return over


ENVIRONMENT = {
    **{name: value for name, value in os.environ.items() if name not in ("DISPLAY", "WAYLAND_DISPLAY")},
    "WINEPREFIX": os.environ.get("WINEPREFIX", str(TOP / "build" / "wine")),
    "WINEDEBUG": "-all",
    "WINEDLLOVERRIDES": "mscoree,mshtml=;winemenubuilder.exe=d",
    "LC_ALL": "C.UTF-8",
}
LOADER = loader()
LAUNCHER = [*LOADER, windows_path(BIN / "vlrun.exe"), "--exit-code"]

if __name__ == "__main__":
    sys.exit(main())
