"""Checks all of the project's own translation units with clang-tidy.

usage: clang-tidy-all.py BUILD_TREE CACHE

The build tree is clang's. A unit that was found clean is not checked again until its command, one of the files it
includes, the rules or clang-tidy itself change.
"""

import pathlib
import re
import sys

import lint

RULES = lint.ROOT / ".clang-tidy"


def tidy(unit, files):
    """Runs clang-tidy on one unit and returns what it found, or nothing, and the files that it has read."""
    headers = "^(" + "|".join(re.escape(f"{folder}/") for folder in lint.OWN_FOLDERS) + ")"
    # What is an error is for the rules to say.
    arguments = [word for word in unit.arguments if word != "-Werror"]
    clean, found, errors = lint.outcome_of(
        ["clang-tidy", "--quiet", f"--config-file={RULES}", f"--header-filter={headers}", unit.file, "--", *arguments],
        unit.folder)
    return "" if clean else found or errors, files


def main():
    tree, cache = (pathlib.Path(word).resolve() for word in sys.argv[1:3])
    files = lint.included_files(tree)
    tool = (lint.output_of("clang-tidy", "--version"), lint.contents_hash([pathlib.Path(__file__), RULES]))
    checks = [
        lint.Check(unit.file, (tool, unit), lambda unit=unit: tidy(unit, files[unit.target]))
        for unit in lint.own_units(tree)
    ]
    return 1 if lint.run_checks("clang-tidy", checks, cache, tells_progress=True) else 0


if __name__ == "__main__":
    sys.exit(main())
