"""What the checks of the project's own sources share: how clang compiles each of them, and a memory of what was found
clean.

The checks are given clang's own build tree (cmake/clang-x64.cmake). It must be up to date: it knows the compile commands
and, from the compiler, what every translation unit includes.
"""

import concurrent.futures
import dataclasses
import functools
import hashlib
import json
import os
import pathlib
import shlex
import subprocess
import typing

ROOT = pathlib.Path(__file__).resolve().parent.parent
OWN_FOLDERS = [ROOT / name for name in ("src", "sim", "tests")]

# What may stand before the compiler in a command.
LAUNCHERS = ("ccache", "sccache")


def output_of(*command):
    return subprocess.run(command, check=True, text=True, stdout=subprocess.PIPE).stdout


@functools.lru_cache(maxsize=None)
def clang_version():
    return output_of("clang++", "--version")


@dataclasses.dataclass(frozen=True)
class Unit:
    """A source file and how the build tree compiles it: the folder, the object file, and the arguments without the
    compiler, the source and the output."""

    file: pathlib.Path
    folder: str
    target: str
    arguments: tuple


def read_unit(entry):
    _, *rest = (word for word in shlex.split(entry["command"]) if os.path.basename(word) not in LAUNCHERS)
    output = rest.index("-o")
    target = rest[output + 1]
    del rest[output:output + 2]
    arguments = tuple(word for word in rest if word not in ("-c", entry["file"]))
    return Unit(pathlib.Path(entry["file"]), entry["directory"], target, arguments)


def built_units(tree):
    """The units of our own sources; a source that is built for several targets is several units."""
    return [read_unit(entry) for entry in json.loads((tree / "compile_commands.json").read_text())
            if entry["file"].endswith(".cpp") and any(entry["file"].startswith(f"{folder}/") for folder in OWN_FOLDERS)]


def own_units(tree):
    """One unit for each of our own sources."""
    return list({unit.file: unit for unit in reversed(built_units(tree))}.values())


def included_files(tree):
    """From ninja's record: the files that each object file was compiled from."""
    files = {}
    for block in output_of("ninja", "-C", tree, "-t", "deps").split("\n\n"):
        lines = [line for line in block.splitlines() if line and not line.startswith("ninja:")]
        if lines:
            target = lines[0].split(": #deps")[0]
            files[target] = [pathlib.Path(os.path.normpath(tree / line.strip())) for line in lines[1:]]
    return files


@dataclasses.dataclass(frozen=True)
class Check:
    """The check of one file. What it finds depends on `identity` and on the contents of the files that run() names:
    run() returns what it found, or nothing, and those files."""

    file: pathlib.Path
    identity: typing.Any
    run: typing.Callable


@functools.lru_cache(maxsize=None)
def content_hash(path):
    try:
        return hashlib.sha256(path.read_bytes()).digest()
    except FileNotFoundError:
        return b""


def contents_hash(files):
    sums = hashlib.sha256()
    for path in files:
        sums.update(content_hash(path))
    return sums.hexdigest()


def outcome_of(command, folder):
    """Runs a command; returns whether it succeeded, its standard output and its standard error."""
    run = subprocess.run(command, cwd=folder, text=True, stdout=subprocess.PIPE, stderr=subprocess.PIPE)
    return run.returncode == 0, run.stdout, run.stderr


def syntax_check(file, folder, arguments):
    """Has clang only read what the arguments name, and tell which files that are."""

    def run():
        command = ["clang++", *arguments, "-fsyntax-only", "-MD", "-MF", "-"]
        clean, rule, errors = outcome_of(command, folder)
        # A rule of make: a target, a colon and the files, each line but the last ending in a backslash.
        _, _, names = rule.replace("\\\n", " ").partition(": ")
        return "" if clean else errors, [pathlib.Path(folder, name) for name in shlex.split(names)]

    return Check(file, (clang_version(), arguments), run)


def run_checks(name, checks, cache, tells_progress=False):
    """Runs the checks in parallel, except those that were found clean before and would be found so again, and prints the
    findings and one line of result. `cache` keeps a note for each clean check: a hash over the contents of the files on
    which the finding depends, and their names. Returns how many checks found something."""
    cache.mkdir(parents=True, exist_ok=True)
    clean, waiting, failed = set(), {}, 0
    with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
        for check in checks:
            note = cache / hashlib.sha256(repr((str(check.file), check.identity)).encode()).hexdigest()
            seen, *files = note.read_text().splitlines() if note.exists() else [None]
            if seen is not None and seen == contents_hash(pathlib.Path(file) for file in files):
                clean.add(note.name)
            else:
                waiting[pool.submit(check.run)] = (check.file, note)
        unchanged = len(clean)
        for number, done in enumerate(concurrent.futures.as_completed(waiting), start=1):
            file, note = waiting[done]
            if tells_progress:
                print(f"[{number}/{len(waiting)}] {file.relative_to(ROOT)}", flush=True)
            findings, files = done.result()
            if findings:
                print(findings, flush=True)
                failed += 1
            else:
                clean.add(note.name)
                note.write_text("\n".join([contents_hash(files), *map(str, files)]))

    for old in cache.iterdir():
        if old.name not in clean:
            old.unlink()
    print(f"{name}: {len(clean)} files clean ({unchanged} of them unchanged), {failed} with findings", flush=True)
    return failed
