"""Makes the completion script for PowerShell from the tool's own tables of commands and switches."""

import re

from contents import ROOT

TEMPLATE = ROOT / "packaging" / "VLCmd.Completion.ps1.in"
COMMANDS = ROOT / "src" / "cmd"


def read_sources():
    return "\n".join(path.read_text(encoding="utf-8") for path in sorted(COMMANDS.glob("*.cpp")))


def commands():
    """The words of each command, short before long, in the table's order."""
    rows = re.findall(r'\{\s*CommandCode::\w+,\s*L"([^"]+)",\s*(?:L"([^"]+)"|nullptr)', read_sources())
    codes = re.search(r"enum class CommandCode[^{]*\{([^}]*)\}", (COMMANDS / "command_line.h").read_text(encoding="utf-8"))
    # Every code but that of no command has a row.
    expected = len(re.findall(r"\b\w+ = \d+", codes[1])) - 1
    if len(rows) != expected:
        raise SystemExit(f"completion: {len(rows)} commands found in {COMMANDS}, {expected} expected")
    return [[word for word in row if word] for row in rows]


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


def write(destination):
    def quoted(words):
        return ", ".join(f"'{word}'" for word in words)

    values = {
        "COMMANDS": "\n".join(f"        {quoted(words)}" for words in commands()),
        "SWITCHES": f"        {quoted(switches())}",
    }
    text = re.sub(r"@([A-Z]+)@", lambda found: values[found[1]], TEMPLATE.read_text(encoding="utf-8"))
    # Windows PowerShell takes a script without a byte-order mark for the system's ANSI page; this one is ASCII.
    destination.write_bytes(text.replace("\n", "\r\n").encode("ascii"))
