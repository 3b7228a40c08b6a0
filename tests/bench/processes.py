"""Windows programs as whole processes: how long they take, and how much memory at their most."""

import dataclasses
import json
import os
import re
import shutil
import statistics
import subprocess
import sys
import time
from pathlib import Path

TOP = Path(__file__).resolve().parents[2]
TREE = TOP / "build" / "mingw-x64"
BIN = TREE / "bin"
FOLDER = TOP / "build" / "bench"  # all that the bench makes
PREFIX = FOLDER / "wine"
WORK = FOLDER / "work"  # emptied at each start
UNDER_WINE = TOP / "cmake" / "run-under-wine"

LAUNCH_PAIRS = 15

# No program has a display, and all have the bench's own Wine prefix.
ENVIRONMENT = {
    **{name: value for name, value in os.environ.items() if name not in ("DISPLAY", "WAYLAND_DISPLAY")},
    "WINEPREFIX": str(PREFIX),
    "WINEDEBUG": "-all",
    "WINEDLLOVERRIDES": "mscoree,mshtml=;winemenubuilder.exe=d",
    "LC_ALL": "C.UTF-8",
}


class Failure(Exception):
    """What keeps a figure from being measured."""


@dataclasses.dataclass(frozen=True)
class Run:
    """One process: wall seconds and what it wrote."""

    seconds: float
    output: bytes
    errors: bytes = b""


def windows_path(path):
    return "Z:" + str(path).replace("/", "\\")


def find_loader():
    """The command that starts a Windows program with as little around it as can be."""
    direct = Path("/usr/lib/wine/wine64")
    command = [str(direct)] if direct.exists() else [shutil.which("wine")]
    fixed = ["setarch", "--addr-no-randomize"]
    can_fix = subprocess.run([*fixed, "true"], stderr=subprocess.DEVNULL, check=False).returncode == 0
    return (fixed if can_fix else []) + command


LOADER = find_loader()
LAUNCHER = [*LOADER, windows_path(BIN / "vlrun.exe"), "--exit-code"]


def program(name, *words, folder=BIN):
    return [*LOADER, windows_path(folder / name), *words]


def prepare_with(*words):
    """Runs a program that has no part in what is measured; returns what it wrote."""
    done = subprocess.run([UNDER_WINE, *words], check=False, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                          stderr=subprocess.PIPE, env=ENVIRONMENT)
    if done.returncode != 0:
        raise Failure(f"{' '.join(map(str, words))} ended with {done.returncode}: "
                      f"{(done.stderr or done.stdout).decode(errors='replace').strip()}")
    return done.stdout


def run_once(command, exit_code=0, debug=None):
    """Runs the command to its end. It is killed where the bench is interrupted. debug: Wine's channels whose lines are
    wanted on standard error."""
    environment = ENVIRONMENT if debug is None else {**ENVIRONMENT, "WINEDEBUG": debug}
    errors_to = subprocess.DEVNULL
    if debug is not None:
        errors_to = (WORK / "debug.log").open("w+b")
    start = time.perf_counter()
    process = subprocess.Popen(command, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=errors_to,
                               env=environment, cwd=TOP)
    try:
        output = process.stdout.read()
        process.wait()
        seconds = time.perf_counter() - start
    except BaseException:
        process.kill()
        process.wait()
        raise
    finally:
        process.stdout.close()
    errors = b""
    if debug is not None:
        with errors_to:
            errors_to.seek(0)
            errors = errors_to.read()
    if process.returncode != exit_code:
        raise Failure(f"{' '.join(command)} ended with {process.returncode} in place of {exit_code}")
    return Run(seconds, output, errors)


def launching_seconds(launcher):
    """What starting a program by the launcher takes longer than starting it, as the median over the usage's print."""
    usage = [windows_path(BIN / "VLCmd.exe"), "/?"]
    direct = program("VLCmd.exe", "/?")
    return statistics.median(run_once([*launcher, *usage]).seconds - run_once(direct).seconds
                             for _ in range(LAUNCH_PAIRS))


def run_for_figures(command):
    """The JSON object that one of the bench's own programs prints."""
    return json.loads(run_once(command).output)


# Starts the command with its output thrown away, and prints its exit status, its peak and its own.
PEAK_HELPER = """
import os, re, sys
nowhere = [(os.POSIX_SPAWN_OPEN, handle, os.devnull, os.O_WRONLY, 0) for handle in (1, 2)]
process = os.posix_spawnp(sys.argv[1], sys.argv[1:], os.environ, file_actions=nowhere)
_, status, usage = os.wait4(process, 0)
own = re.search(r"VmHWM:\\s*(\\d+)", open("/proc/self/status").read())[1]
print(os.waitstatus_to_exitcode(status), usage.ru_maxrss, own)
"""


def peak_of(command, exit_code=0):
    """Peak resident memory in MB of a process. What starts a process counts as its peak, too, by the kernel's reckoning;
    so something small starts it, and not this program."""
    told = run_once([sys.executable, "-I", "-S", "-c", PEAK_HELPER, *command]).output
    status, peak, helper = (int(word) for word in told.split())
    if status != exit_code:
        raise Failure(f"{' '.join(command)} ended with {status} in place of {exit_code}")
    if peak <= helper:
        raise Failure(f"{' '.join(command)} takes no more memory than what starts it")
    return peak / 1024


def peak_of_launched(name, command):
    """Peak resident memory in MB of a program that the launcher starts. No Unix process waits for it, so it is watched
    while it runs; what it takes most is taken long before its end."""
    with subprocess.Popen(command, stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL,
                          env=ENVIRONMENT) as launcher:
        status, peak = None, 0
        try:
            while launcher.poll() is None:
                status = status or status_of(name)
                try:
                    peak = max(peak, int(re.search(r"VmHWM:\s*(\d+)", status.read_text())[1])) if status else 0
                except (OSError, TypeError):  # it has just ended
                    pass
                time.sleep(0.005)
        except BaseException:
            launcher.kill()
            raise
    if launcher.returncode != 0 or peak == 0:
        raise Failure(f"{' '.join(command)} ended with {launcher.returncode} and a peak of {peak} KB")
    return peak / 1024


def status_of(name):
    """The kernel's account of a process of that Windows program in the bench's prefix, or nothing."""
    for folder in Path("/proc").glob("[0-9]*"):
        try:
            words = (folder / "cmdline").read_bytes().split(b"\0")
            if (words[0].endswith(name.encode())
                    and f"WINEPREFIX={PREFIX}".encode() in (folder / "environ").read_bytes().split(b"\0")):
                return folder / "status"
        except OSError:
            continue
    return None
