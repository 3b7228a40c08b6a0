"""Checks that no file of src/ includes a room that its own room may not know; docs/architecture.md tells why."""

import pathlib
import re
import sys

SRC = pathlib.Path(__file__).resolve().parent.parent / "src"

# What each room knows beside itself: another room, or one header of it (without ".h").
KNOWN = {
    "win": set(),
    "support/registry": {"win"},
    "policy": {"support/registry", "win"},
    "messages": {"support/registry", "win"},
    "trace": {"policy/lockable", "support/registry", "win"},
    "db": {"trace", "win"},
    "volumes": {"support/registry", "win"},
    "engine": {"messages", "win"},
    "stats": {"db", "engine", "messages", "support/registry", "win"},
    "support": {"volumes", "win"},
    "cmd": {"engine", "messages", "policy", "stats", "support", "trace", "win"},
}


def room_of(file):
    """The room of a header or source: a file that is a room of its own, else its folder."""
    name = file.rpartition(".")[0]
    return name if name in KNOWN else name.partition("/")[0]


def main():
    wrong = 0
    for path in sorted(SRC.rglob("*.[ch]*")):
        file = path.relative_to(SRC).as_posix()
        room = room_of(file)
        for number, line in enumerate(path.read_text(encoding="utf-8").splitlines(), 1):
            included = re.match(r'\s*#\s*include\s+"([^"]+)"', line)
            if not included:
                continue
            header = included[1]
            allowed = KNOWN[room] | {room}
            # A room that is one header may be included by the folder around it.
            if room_of(header) not in allowed and header.rpartition(".")[0] not in allowed and not (
                    header.partition("/")[0] == room):
                print(f"src/{file}:{number}: {room} does not know {header}", file=sys.stderr)
                wrong += 1
    return 1 if wrong else 0


if __name__ == "__main__":
    sys.exit(main())
