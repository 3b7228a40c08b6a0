"""Checks all of the project's own translation units with clang-tidy.

usage: clang-tidy-all.py BUILD_TREE CACHE

The build tree must be up to date: it knows the compile commands and, from the compiler, what every translation unit
includes. A unit that was found clean is not checked again until its command, one of the files it includes, the rules
or clang-tidy itself change; CACHE holds one empty file for each such unit, named by a hash over all of these.
"""

import concurrent.futures
import functools
import hashlib
import json
import os
import pathlib
import re
import shlex
import subprocess
import sys

ROOT = pathlib.Path(__file__).resolve().parent.parent
OWN_FOLDERS = [ROOT / name for name in ("src", "sim", "tests")]
RULES = ROOT / ".clang-tidy"

# What the cross compiler alone understands; what counts as an error is for the rules to say.
COMPILER_ONLY = re.compile(r"-municode$|-fsanitize|-Werror")
# What may stand before the compiler in a command.
LAUNCHERS = ("ccache", "sccache")


def output_of(*command, **options):
    return subprocess.run(command, check=True, text=True, stdout=subprocess.PIPE, **options).stdout


def own_units(tree):
    """One compile command for each source file of ours; a file may be built for several targets."""
    units = {}
    for entry in json.loads((tree / "compile_commands.json").read_text()):
        file = pathlib.Path(entry["file"])
        if file.suffix == ".cpp" and any(folder in file.parents for folder in OWN_FOLDERS):
            units.setdefault(file, entry)
    return units


def included_files(tree):
    """From ninja's record: the files that each object file was compiled from."""
    files = {}
    for block in output_of("ninja", "-C", tree, "-t", "deps").split("\n\n"):
        lines = [line for line in block.splitlines() if line and not line.startswith("ninja:")]
        if lines:
            target = lines[0].split(": #deps")[0]
            files[target] = [tree / line.strip() for line in lines[1:]]
    return files


@functools.lru_cache(maxsize=None)
def library_arguments(compiler):
    """Where the cross compiler has its C++ library; clang does not look for it in a folder of Debian's naming."""
    search = output_of(compiler, "-x", "c++", "-E", "-v", os.devnull, stderr=subprocess.STDOUT)
    return [
        argument
        for folder in re.findall(r"^ (/\S*/include/c\+\+\S*)$", search, re.MULTILINE)
        for argument in ("-stdlib++-isystem", os.path.normpath(folder))
    ]


def read_command(entry):
    """The object file of a compile command, and the arguments that clang takes for it: without the compiler, the
    source, the output and what is GCC's alone."""
    compiler, *rest = (word for word in shlex.split(entry["command"]) if os.path.basename(word) not in LAUNCHERS)
    arguments = ["--target=x86_64-w64-mingw32", "-Wno-unknown-warning-option", *library_arguments(compiler)]
    target = None
    words = iter(rest)
    for word in words:
        if word == "-o":
            target = next(words)
        elif word not in ("-c", entry["file"]) and not COMPILER_ONLY.match(word):
            arguments.append(word)
    return target, arguments


@functools.lru_cache(maxsize=None)
def content_hash(path):
    return hashlib.sha256(path.read_bytes()).digest()


def unit_hash(version, arguments, files):
    """Names everything that the finding on a translation unit depends on."""
    sums = hashlib.sha256(repr((version, arguments)).encode())
    for path in (pathlib.Path(__file__), RULES, *files):
        sums.update(str(path).encode())
        sums.update(content_hash(path))
    return sums.hexdigest()


def check(file, entry, arguments):
    """Runs clang-tidy on one file and returns what it found, or nothing."""
    headers = "^(" + "|".join(re.escape(f"{folder}/") for folder in OWN_FOLDERS) + ")"
    command = ["clang-tidy", "--quiet", f"--config-file={RULES}", f"--header-filter={headers}", file, "--", *arguments]
    run = subprocess.run(command, cwd=entry["directory"], text=True, stdout=subprocess.PIPE, stderr=subprocess.PIPE)
    return (run.stdout or run.stderr) if run.returncode != 0 else ""


def main():
    tree, cache = (pathlib.Path(word).resolve() for word in sys.argv[1:3])
    cache.mkdir(parents=True, exist_ok=True)
    version = output_of("clang-tidy", "--version")
    files = included_files(tree)

    clean, waiting = set(), {}
    with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
        for file, entry in own_units(tree).items():
            target, arguments = read_command(entry)
            name = unit_hash(version, arguments, files[target])
            if (cache / name).exists():
                clean.add(name)
            else:
                waiting[pool.submit(check, file, entry, arguments)] = (file, name)
        found_clean_before = len(clean)
        for number, done in enumerate(concurrent.futures.as_completed(waiting), start=1):
            file, name = waiting[done]
            print(f"[{number}/{len(waiting)}] {file.relative_to(ROOT)}", flush=True)
            if findings := done.result():
                print(findings, flush=True)
            else:
                clean.add(name)
                (cache / name).touch()

    for old in cache.iterdir():
        if old.name not in clean:
            old.unlink()
    failed = len(waiting) - (len(clean) - found_clean_before)
    print(f"clang-tidy: {len(clean)} files clean ({found_clean_before} of them unchanged), {failed} with findings")
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main())
