"""Which libraries a command loads, which registry keys it opens and which files it touches, as Wine's debug channels
tell it, and which of that is more than the floor's."""

import collections
import dataclasses
import fnmatch
import re

from processes import BIN, TOP, WORK, run_once, windows_path

CHANNELS = "-all,+loaddll,+reg,+file"
PAGE = TOP / "docs" / "performance.md"
REASONS_HEADING = "## What is touched twice"

LOADED = re.compile(r'trace:loaddll:build_module Loaded L"(.*?)" at ')
OPENED = re.compile(r'^(\w+):trace:reg:Nt(?:OpenKey(?:Ex)?|CreateKey) \((\S+?),L"(.*?)",')
HANDLE = re.compile(r"^(\w+):trace:reg:Nt(?:OpenKey(?:Ex)?|CreateKey) <- (\S+)")
FOUND_FILE = re.compile(r'trace:file:nt_to_unix_file_name_no_root L"(.*?)" -> "')
MISSING_FILE = re.compile(r'warn:file:Nt\w+ L"(.*?)" not found \(')
NO_HANDLE = ("(nil)", "0", "0x0")
USER = re.compile(r"\\Registry\\User\\S-[\d-]+(_Classes)?", re.IGNORECASE)


@dataclasses.dataclass(frozen=True)
class Touches:
    """How often each is loaded, opened or touched."""

    libraries: collections.Counter
    keys: collections.Counter
    files: collections.Counter


# What differs from checkout to checkout, and what it is called in place of that. The longest comes first.
PLACES = tuple((windows_path(place).lower(), name) for place, name in (
    (BIN, "(the program's folder)"), (WORK, "(the bench's folder)"), (TOP, "(the current folder)")))
THE_PROGRAM = "(the program)"


def key_path(name):
    """A registry key as people write it."""
    name = USER.sub(lambda match: r"HKCU\Software\Classes" if match[1] else "HKCU", name)
    return re.sub(r"^\\Registry\\Machine", "HKLM", name, flags=re.IGNORECASE).rstrip("\\")


def file_path(name):
    name = name.removeprefix("\\??\\").rstrip("\\")
    for place, called in PLACES:
        if name.lower() == place or name.lower().startswith(place + "\\"):
            return called + name[len(place):]
    return name


def without_program(name, program):
    """Windows keeps settings for programs by their name; which name that is does not matter."""
    return re.sub(rf"(?<=\\)(0000)?{re.escape(program)}(?=\\|$)", lambda match: (match[1] or "") + THE_PROGRAM, name,
                  flags=re.IGNORECASE) if program else name


def base_name(path):
    return path.rpartition("\\")[2].lower()


def read_debug_log(text):
    """The touches of one process in the lines of the channels. Names are compared without regard to case, and keep the
    case in which they were met first."""
    libraries, keys, files = (collections.Counter() for _ in range(3))
    spellings, handles, asked = {}, {}, {}
    loaded = LOADED.search(text.replace("\\\\", "\\"))
    # The program itself is loaded before any library.
    program = base_name(loaded[1]) if loaded else ""

    def count(counter, name):
        counter[spellings.setdefault(name.lower(), name)] += 1

    for line in text.splitlines():
        line = line.replace("\\\\", "\\")
        if match := LOADED.search(line):
            if base_name(match[1]) != program:
                count(libraries, base_name(match[1]))
        elif match := OPENED.search(line):
            thread, root, name = match.groups()
            if root not in NO_HANDLE:
                name = handles.get(root, root) + "\\" + name
            asked[thread] = name
            count(keys, without_program(key_path(name), program))
        elif match := HANDLE.search(line):
            if match[2] not in NO_HANDLE and match[1] in asked:
                handles[match[2]] = asked[match[1]]
        elif (match := FOUND_FILE.search(line)) or (match := MISSING_FILE.search(line)):
            count(files, file_path(match[1]))
    # Where a library is looked for is told by its being loaded.
    for name in list(files):
        if base_name(name) in {*libraries, program}:
            del files[name]
    return Touches(libraries, keys, files)


def touches_of(command, exit_code=0):
    return read_debug_log(run_once(command, exit_code, CHANNELS).errors.decode("utf-8", "replace"))


@dataclasses.dataclass(frozen=True)
class Reason:
    """Why keys or files that match a pattern are touched more than once by these commands ("all" for every one)."""

    pattern: str
    commands: tuple
    text: str

    def covers(self, command, name):
        return (("all" in self.commands or command in self.commands)
                and fnmatch.fnmatchcase(name.lower(), self.pattern.lower()))


def read_reasons(text):
    """The rows of the page's table of reasons."""
    reasons = []
    _, found, section = text.partition(REASONS_HEADING + "\n")
    if not found:
        raise ValueError(f'the page has no "{REASONS_HEADING}"')
    for line in section.partition("\n## ")[0].splitlines():
        cells = [cell.strip() for cell in line.strip("|").split("|")]
        if line.startswith("| `") and len(cells) == 3:
            patterns = re.findall(r"`([^`]+)`", cells[0])
            commands = tuple(word.strip("`, ") for word in cells[1].split())
            reasons += [Reason(pattern, commands, cells[2]) for pattern in patterns]
    return reasons


@dataclasses.dataclass(frozen=True)
class Touched:
    """A key or a file that the tool touches more often than a program that only starts COM; how often the floor does;
    and why it is touched more than once, where a reason is known."""

    kind: str
    name: str
    tool: int
    floor: int
    reason: str | None = None

    def lacks_reason(self):
        return self.tool > 1 and self.reason is None

    def __str__(self):
        note = f"  TWICE: {self.reason or 'WITHOUT A REASON'}" if self.tool > 1 else ""
        return f"  {self.kind:<4} {self.tool:>4} {self.floor:>5}  {self.name}{note}"


def compare(command, tool, floor, start, reasons):
    """What the tool opens and touches beyond what a program does that only starts COM, beside its floor."""
    touched = []
    for kind, field in (("key", "keys"), ("file", "files")):
        of_tool, of_floor, of_start = (getattr(each, field) for each in (tool, floor, start))
        # The spelling of a name is a program's own.
        floors, starts = ({name.lower(): count for name, count in each.items()} for each in (of_floor, of_start))
        for name, count in sorted(of_tool.items()):
            if count > starts.get(name.lower(), 0):
                reason = next((each.text for each in reasons if each.covers(command, name)), None) if count > 1 else None
                touched.append(Touched(kind, name, count, floors.get(name.lower(), 0), reason))
    return touched


def extra_libraries(command, tool, floor, reasons):
    """What the tool loads and the floor does not, with the reason for each that has one."""
    return {name: next((each.text for each in reasons if each.covers(command, name)), None)
            for name in sorted(set(tool.libraries) - set(floor.libraries))}
