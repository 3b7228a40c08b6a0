"""What the package holds: the table that zip and installer are made from, and the facts of the product."""

import dataclasses
import pathlib
import re
import uuid

ROOT = pathlib.Path(__file__).resolve().parent.parent
PRODUCT = "Velundra command-line tool"
MANUFACTURER = "Kestrane"

# All identifiers of the installer come from names below this one, so that the same version always has the same ones.
NAMESPACE = uuid.UUID("5d0f6f0e-3a1c-4c39-9b0f-0c0a6f0d3e11")

# The pages of docs/ for whoever uses the tool, in the order of the start page; the others are for its builders.
USER_PAGES = {
    "handbook": "First steps, exit codes and what to do, group policy",
    "scripts": "Using the tool in scripts",
    "schedules": "Running it at night",
    "many-computers": "Working on many computers",
    "reading-output": "Which lines are stable, and reading them with a program",
    "troubleshooting": "From symptom to cause",
    "commands": "Every command, its words, what it asks the engine, its messages",
    "exit-codes": "Every exit code",
    "statistics": "The statistics reports, and connecting to a database",
    "support-report": "What the support report tells, section by section",
    "trace-log": "Recording what the database layer does",
    "policies": "What group policy can forbid, and how to deploy it",
    "translations": "The languages, and translation files",
    "security": "What the tool loads, reads, writes and trusts",
}

# The section of these pages that is of use only where the project is checked out.
BUILDERS_SECTION = "Translating"


def identifier(*names):
    """The upper-case GUID with braces that belongs to these names."""
    return "{" + str(uuid.uuid5(NAMESPACE, " ".join(names))).upper() + "}"


@dataclasses.dataclass(frozen=True)
class Target:
    """A processor that the package is built for, as the build, the file names and the installer call it."""

    name: str
    preset: str
    template: str
    program_files: str
    is_64_bit: bool


TARGETS = {
    "x64": Target("x64", "mingw-x64", "x64;1033", "ProgramFiles64Folder", True),
    "x86": Target("x86", "mingw-x86", "Intel;1033", "ProgramFilesFolder", False),
}


def project_version():
    """The version of CMakeLists.txt as four numbers."""
    text = (ROOT / "CMakeLists.txt").read_text(encoding="utf-8")
    return re.search(r"project\(VLCmd VERSION (\d+\.\d+\.\d+\.\d+)", text)[1]


def short_version(version):
    """14.0 of 14.0.0.0: what users call it, and what the file names carry."""
    return ".".join(version.split(".")[:2])


def package_name(version, target):
    return f"VLCmd-{short_version(version)}-{target.name}"
