"""What is measured: one entry for each line of figures, with its limit, what stands beside the tool, and how it is
found out."""

import contextlib
import dataclasses
import re
from collections.abc import Callable

import growth
import surroundings
import touches
from comparisons import Outcome, Row, compare, compare_within, outcome_of_pairs, plural
from processes import BIN, LAUNCHER, WORK, Failure, program, run_for_figures, run_once, windows_path
from sampling import Limit, exactly, sample

TRANSLATED_LINES = 100000
TOGETHER = 50
RECORDS_OF_EACH = 100

ENGINE_LIMIT = Limit(1.03)
STATISTICS_LIMIT = Limit(1.05)
SUPPORT_LIMIT = Limit(1.08)
START_LIMIT = Limit(1.05)
UNTRACED_LIMIT = Limit(1.02)
TRANSLATION_LIMIT = Limit(2.0)
TRACE_LIMIT = Limit(0.97, at_least=True)
TOGETHER_LIMIT = Limit(1.1)
MEMORY_LIMIT = Limit(1.0)
SIZE_LIMIT = Limit(720)
NONE = Limit(0)


@dataclasses.dataclass(frozen=True)
class Figure:
    """group: the word by which it is asked for; size: of a group with several. seconds: at most, without preparations.
    measure(patience) returns the outcome. quick: whether it has a part in a quick run."""

    group: str
    size: int | str | None
    title: str
    measure: Callable
    seconds: float = 60
    quick: bool = True

    @property
    def name(self):
        return self.group if self.size is None else f"{self.group} {self.size}"


# --- Whole processes beside their floor ---


def status(drives):
    def measure(patience):
        with surroundings.engine(drives):
            return compare(f"/st, {plural(drives, 'drive')}", program("VLCmd.exe", "/st"),
                           program("floor.exe", "status"), patience, ENGINE_LIMIT, memory_limit=MEMORY_LIMIT)

    return measure


def optimise(drives):
    """Several drives need the launcher, which keeps Wine's COM from breaking under their threads."""

    def measure(patience):
        tool, floor = ["VLCmd.exe", "/dol", "/alldrives"], ["floor.exe", "run"]
        if drives == 1:
            tool, floor = program(*tool), program(*floor)
        else:
            tool, floor = ([windows_path(BIN / words[0]), *words[1:]] for words in (tool, floor))
        with surroundings.engine(drives):
            return compare(f"/dol /alldrives, {plural(drives, 'drive')}", tool, floor, patience, ENGINE_LIMIT,
                           launcher=LAUNCHER if drives > 1 else ())

    return measure


def statistics_report(count):
    def measure(patience):
        drives = [f"D:\\Mounts\\{number}" for number in range(count)]
        with surroundings.database(drives) as connection:
            tool = program("VLCmd.exe", "/sta", *drives)
            if len(run_once(tool).output.splitlines()) < 12 * count:
                raise Failure(f"the tool does not show the statistics of {plural(count, 'drive')}")
            return compare(f"/sta, {plural(count, 'drive')}", tool, program("statistics_floor.exe", connection, *drives),
                           patience, STATISTICS_LIMIT, same_output=False)

    return measure


def support_commands():
    tool = program("VLCmd.exe", "/si")
    return tool, program("support_floor.exe", str(len(run_once(tool).output)))


def support_report(patience):
    tool, floor = support_commands()
    return compare("/si", tool, floor, patience, SUPPORT_LIMIT, same_output=False)


def usage(patience):
    return compare("/?", program("VLCmd.exe", "/?"), program("start_floor.exe", "usage"), patience, START_LIMIT)


def refused(patience):
    return compare("/c (13)", program("VLCmd.exe", "/c"), program("start_floor.exe", "refused"), patience, START_LIMIT,
                   exit_code=13)


def untraced(patience):
    """With the trace log switched off, which is how it is without settings."""
    return compare("/?, beside the tool without the trace log", program("VLCmd.exe", "/?"),
                   program("untraced_tool.exe", "/?"), patience, UNTRACED_LIMIT)


# --- Measured within a process, or by many ---


def load_translation(patience):
    with surroundings.translation(TRANSLATED_LINES, "inprocess_bench.exe") as folder:
        file = windows_path(folder / surroundings.TRANSLATION)
        return compare_within(f"a translation of {TRANSLATED_LINES:,} lines, beside reading the file",
                              program("inprocess_bench.exe", "translation", file, folder=folder), patience,
                              TRANSLATION_LIMIT)


@contextlib.contextmanager
def trace_folder():
    folder = WORK / "trace"
    folder.mkdir()
    with surroundings.registry_values({"TraceFilePath": windows_path(folder)}):
        yield folder
    for file in folder.iterdir():
        file.unlink()
    folder.rmdir()


def trace_records(patience):
    """Records a second against plain writes a second: the ratio is the floor's time to the tool's."""
    with trace_folder() as folder:
        return compare_within("trace records a second, beside plain writes",
                              program("trace_bench.exe", "turns", windows_path(folder)), patience, TRACE_LIMIT,
                              lambda pair: pair[1] / pair[0])


RECORD = re.compile(r"\d\d/\d\d/\d{4} \d\d:\d\d:\d\d\.\d{3} .* record (\d{4}) of (\d{4})")


def check_log(text, processes, records):
    """Every record of every process is there once, and nothing else; the bytes of one record, which all have the same
    length."""
    if not text.startswith("\ufeff") or not text.endswith("\r\n"):
        raise Failure("the log does not begin with its mark, or ends within a record")
    lines = text[1:].split("\r\n")[:-1]
    found = [RECORD.fullmatch(line) for line in lines]
    torn = [line for line, match in zip(lines, found, strict=True) if not match]
    if torn:
        raise Failure(f"{plural(len(torn), 'record')} of the log torn, the first is {torn[0]!r}")
    wanted = [(record, member) for member in range(1, processes + 1) for record in range(1, records + 1)]
    if sorted((int(match[1]), int(match[2])) for match in found) != sorted(wanted):
        raise Failure(f"the log has {len(found)} records in place of {len(wanted)}, or some of them twice")
    return len((lines[0] + "\r\n").encode("utf-16-le"))


def trace_together(patience):
    """Many processes at once, from the moment at which all are ready to the end of the last."""
    with trace_folder() as folder:
        log = folder / "Velundra_TraceLog.txt"

        def run(kind, *size):
            time = run_for_figures(program("trace_bench.exe", "together", kind, windows_path(folder), str(TOGETHER),
                                           str(RECORDS_OF_EACH), *size))["time"]
            text = log.read_bytes().decode("utf-16-le")
            log.unlink()
            return time, text

        def run_log():
            time, text = run("log")
            return time, check_log(text, TOGETHER, RECORDS_OF_EACH)

        size = str(run_log()[1])

        def pair(number):
            if number % 2 == 0:
                return run_log()[0], run("plain", size)[0]
            second = run("plain", size)[0]
            return run_log()[0], second

        samples = sample(patience, pair, lambda times: times[0] / times[1])
    outcome = outcome_of_pairs(f"{TOGETHER} processes tracing at once, none lost, none torn", samples, TOGETHER_LIMIT)
    outcome.figures["records"] = TOGETHER * RECORDS_OF_EACH
    return outcome


# --- Counted ---


def program_size(_patience):
    size = (BIN / "VLCmd.exe").stat().st_size / 1024
    return Outcome([Row("program file, KB", exactly(size), SIZE_LIMIT, f"{size:.0f} KB")], {"size, KB": size})


def commands_to_trace(connection, drive):
    """Every command: its word, its words, its exit code and its floor's command."""
    start = program("start_floor.exe", "usage")
    walk, run = program("floor.exe", "status"), program("floor.exe", "run")
    reports = program("statistics_floor.exe", connection, drive)
    return (
        ("c", ["/c"], 13, program("start_floor.exe", "refused")),
        ("?", ["/?"], 0, start),
        ("st", ["/st"], 0, walk),
        ("dol", ["/dol", "E:"], 0, run),
        ("tw", ["/tw", "E:"], 0, run),
        ("cfs", ["/cfs", "E:"], 0, run),
        ("ssd", ["/ssd", "E:"], 0, run),
        ("prep", ["/prep", "E:"], 0, run),
        ("of", ["/of", "E:", "/d"], 0, run),
        ("df", ["/df", "C:\\file.txt"], 0, walk),
        ("an", ["/an", "E:"], 0, run),
        ("sta", ["/sta", drive], 0, reports),
        ("stop", ["/stop", "E:"], 0, walk),
        ("sb", ["/sb", "D:\\Mounts\\Archive", "/d"], 0, walk),
        ("cb", ["/cb", "D:\\Mounts\\Archive"], 0, walk),
        ("rs", ["/rs", "Nightly"], 0, walk),
        ("id", ["/id", "C:", "5"], 0, walk),
        ("si", ["/si"], 0, support_commands()[1]),
    )


def table_of_touches(_patience):
    """Beside each command's floor; what a program has that does nothing but start COM is left out."""
    reasons = touches.read_reasons(touches.PAGE.read_text(encoding="utf-8"))
    start = touches.touches_of(program("start_floor.exe", "refused"), 13)
    rows, figures, known = [], {}, {}
    drive = "D:\\Mounts\\0"
    with surroundings.engine(), surroundings.database([drive]) as connection:
        for word, words, exit_code, floor_command in commands_to_trace(connection, drive):
            tool = touches.touches_of(program("VLCmd.exe", *words), exit_code)
            key = tuple(floor_command)
            if key not in known:
                known[key] = touches.touches_of(floor_command, exit_code)
            floor = known[key]
            extra = touches.extra_libraries(word, tool, floor, reasons)
            touched = touches.compare(word, tool, floor, start, reasons)
            unexplained = sum(each.lacks_reason() for each in touched) + list(extra.values()).count(None)
            details = [f"  libraries: {', '.join(sorted(tool.libraries))}",
                       *(f"  not in the floor: {name}: {reason or 'WITHOUT A REASON'}" for name, reason in extra.items()),
                       "  what tool floor  name", *map(str, touched)]
            if word == "st":
                rows.append(Row("/st, libraries that the floor does not load", exactly(len(extra)), NONE,
                                str(len(tool.libraries)), str(len(floor.libraries))))
            rows.append(Row(f"/{word}, loaded beside the floor or touched twice, no reason", exactly(unexplained), NONE,
                            details=tuple(details)))
            figures[word] = {
                "libraries": sorted(tool.libraries),
                "libraries that the floor does not load": list(extra),
                "touched": [dataclasses.asdict(each) for each in touched],
            }
    return Outcome(rows, figures)


# --- The table ---


def all_figures():
    """In the order in which they are measured."""
    return [
        Figure("size", None, "the program file", program_size),
        *(Figure("st", n, f"VLCmd /st with {plural(n, 'drive')}", status(n), quick=n == 1) for n in (1, 100, 1000)),
        *(Figure("dol", n, f"VLCmd /dol /alldrives with {plural(n, 'drive')}", optimise(n), quick=n <= 16)
          for n in (1, 16, 64, 200)),
        *(Figure("sta", n, f"VLCmd /sta with {plural(n, 'drive')}", statistics_report(n), quick=n == 1)
          for n in (1, 100)),
        Figure("si", None, "VLCmd /si", support_report),
        Figure("?", None, "VLCmd /?", usage),
        Figure("c", None, "VLCmd /c, which is refused with 13", refused),
        Figure("start", None, "VLCmd /? beside itself without the trace log", untraced),
        Figure("translation", None, f"loading a translation of {TRANSLATED_LINES:,} lines", load_translation),
        Figure("trace", None, "trace records beside plain writes", trace_records),
        Figure("together", None, f"{TOGETHER} processes that trace at once", trace_together),
        Figure("touches", None, "libraries, registry keys and files of every command", table_of_touches, 30),
        *(Figure("growth", name, f"growth of {title}", growth.measure(title, sizes, costs_of), quick=False)
          for name, title, sizes, costs_of in growth.GROWN),
    ]


def select(figures, words):
    """The figures that the words ask for, by group or by group and size ("st", "dol:64"), in the order of
    the table; all of them without words."""
    if not words:
        return list(figures)
    chosen = set()
    for word in words:
        group, _, size = word.lstrip("/").partition(":")
        found = {index for index, each in enumerate(figures)
                 if each.group == group and (not size or str(each.size) == size)}
        if not found:
            raise ValueError(f'there is no figure "{word}"')
        chosen |= found
    return [each for index, each in enumerate(figures) if index in chosen]
