"""Checks that no file of src/ or sim/ includes what its room may not know; docs/architecture.md tells why."""

import pathlib
import re
import sys

TOP = pathlib.Path(__file__).resolve().parent.parent

# What each room knows beside itself: another room, or one header of it (without ".h").
KNOWN = {
    "src": {
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
    },
    # Beside these, all of them know what OF_THE_PRODUCT lists.
    "sim": {
        "base": set(),
        "scenario": {"base"},
        "odbc": {"base"},
        "ado": {"base", "odbc"},
        "database": {"base", "odbc", "scenario"},
        "engine": {"base", "database", "scenario"},
        "computer": {"base", "engine/server_classes", "scenario"},
        "launcher": {"base", "engine/server_classes", "scenario"},
    },
}
OF_THE_PRODUCT = {"src/engine/engine_contract", "src/support/registry", "src/win"}


def room_of(file, rooms):
    """The room of a header or source: a file that is a room of its own, else its folder."""
    name = file.rpartition(".")[0]
    return name if name in rooms else name.partition("/")[0]


def is_known(header, allowed):
    name = header.rpartition(".")[0]
    return any(name == room or name.startswith(room + "/") for room in allowed)


def check_file(tree, path):
    """The lines of a file that include what it may not know."""
    rooms = KNOWN[tree.name]
    file = path.relative_to(tree).as_posix()
    room = room_of(file, rooms)
    if room not in rooms:
        yield f"{tree.name}/{file}: is in no room"
        return
    allowed = rooms[room] | {room} | (OF_THE_PRODUCT if tree.name == "sim" else set())
    for number, line in enumerate(path.read_text(encoding="utf-8").splitlines(), 1):
        included = re.match(r'\s*#\s*include\s+"([^"]+)"', line)
        if included:
            # Where sim/ has no such header, it is one of src/.
            header = included[1] if tree.name == "src" or (tree / included[1]).exists() else "src/" + included[1]
            if not is_known(header, allowed):
                yield f"{tree.name}/{file}:{number}: {room} does not know {header}"


def main():
    wrong = [
        complaint
        for tree in (TOP / name for name in KNOWN)
        for path in sorted(tree.rglob("*.[ch]*"))
        for complaint in check_file(tree, path)
    ]
    for complaint in wrong:
        print(complaint, file=sys.stderr)
    return 1 if wrong else 0


if __name__ == "__main__":
    sys.exit(main())
