"""Makes the completion script for PowerShell from the tool's own tables of commands and switches."""

import re

from contents import ROOT

TEMPLATE = ROOT / "packaging" / "VLCmd.Completion.ps1.in"
COMMANDS = ROOT / "src" / "cmd"


def read_sources():
    return "\n".join(path.read_text(encoding="utf-8") for path in sorted(COMMANDS.glob("*.cpp")))


def commands():
    """The words of each command, short before long, in the table's order; the row of no command has none."""
    table = re.search(r"\bkCommands\[\] = \{\n(.*?)\n\};", read_sources(), re.DOTALL)[1]
    rows = re.findall(r'^    \{(\d+),\s*(?:nullptr|L"([^"]+)"),\s*(?:nullptr|L"([^"]+)"),', table, re.MULTILINE)
    # A row that is written in another way would be missing among the codes, which count up from 0.
    if [int(code) for code, *_ in rows] != list(range(len(rows))) or len(rows) < 2:
        raise SystemExit(f"completion: the table of commands in {COMMANDS} is not understood")
    return [[word for word in words if word] for _, *words in rows[1:]]


def switches():
    """The switches of the command line, in the order in which they are registered."""
    sources = read_sources()
    header = (COMMANDS / "command_line.h").read_text(encoding="utf-8")
    names = dict(re.findall(r'wchar_t (k\w+Switch)\[\] = L"([^"]+)"', header + sources))
    words = []
    for table in ("kFlags", "kValueSwitches"):
        row = re.search(rf"\b{table}\[\] = \{{([^}}]*)\}}", sources)[1]
        for name, text in re.findall(r'(k\w+)|L"([^"]+)"', row):
            words.append(text or names[name])
    return words


def script():
    def quoted(words):
        return ", ".join(f"'{word}'" for word in words)

    values = {
        "COMMANDS": "\n".join(f"        {quoted(words)}" for words in commands()),
        "SWITCHES": f"        {quoted(switches())}",
    }
    return re.sub(r"@([A-Z]+)@", lambda found: values[found[1]], TEMPLATE.read_text(encoding="utf-8"))


def write(destination):
    # Windows PowerShell takes a script without a byte-order mark for the system's ANSI page; this one is ASCII.
    destination.write_bytes(script().replace("\n", "\r\n").encode("ascii"))
