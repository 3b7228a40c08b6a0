"""Makes the installer: a per-machine MSI of the staged files, by wixl, completed and pinned down with msibuild.

wixl knows no environment variables, so that table is added afterwards, with the two actions that carry it out. It also
takes the clock for the summary's times, so both programs run at a time that is told to them.
"""

import datetime
import pathlib
import re
import subprocess
from xml.sax.saxutils import quoteattr

from contents import MANUFACTURER, PRODUCT, ROOT, identifier, short_version

TEMPLATE = ROOT / "packaging" / "VLCmd.wxs.in"
UPGRADE_CODE = identifier("upgrade")
PROGRAM = "VLCmd.exe"
APP_PATHS = r"Software\Microsoft\Windows\CurrentVersion\App Paths\VLCmd.exe"


def name_of(kind, path):
    """An identifier of an installer's table: letters, digits, "_" and "."."""
    return kind + "_" + re.sub(r"[^A-Za-z0-9_.]", "_", path.as_posix())


def component(path, source, is_64_bit):
    """One file of the package; the program also brings its entry among Windows' application paths."""
    identity = name_of("c", path)
    lines = [f'<Component Id="{identity}" Guid="{identifier("component", path.as_posix(), str(is_64_bit))}"'
             f'{" Win64=" + quoteattr("yes") if is_64_bit else ""}>',
             f'  <File Id="{name_of("f", path)}" Name={quoteattr(path.name)} Source={quoteattr(str(source))} KeyPath="yes"/>']
    if path.name == PROGRAM:
        lines += [f'  <RegistryValue Root="HKLM" Key={quoteattr(APP_PATHS)} Type="string" Value="[#{name_of("f", path)}]"/>',
                  f'  <RegistryValue Root="HKLM" Key={quoteattr(APP_PATHS)} Name="Path" Type="string" Value="[INSTALLDIR]"/>']
    return lines + ["</Component>"]


def folder(path, identity, name, files, stage, is_64_bit, depth):
    """The lines of one folder: its own files, then the folders in it."""
    indent = "  " * depth
    lines = [f'{indent}<Directory Id="{identity}" Name={quoteattr(name)}>']
    own = [file for file in files if file.parent == path]
    for file in own:
        lines += [indent + "  " + line for line in component(file, pathlib.Path(stage.name) / file, is_64_bit)]
    inner = sorted({pathlib.Path(*file.parts[:len(path.parts) + 1]) for file in files
                    if file not in own and path in file.parents})
    for child in inner:
        lines += folder(child, name_of("d", child), child.name, files, stage, is_64_bit, depth + 1)
    return lines + [f"{indent}</Directory>"]


def files_of(stage):
    """The staged files, relative to their folder, in the order of the installer's tables."""
    return sorted(path.relative_to(stage) for path in stage.rglob("*") if path.is_file())


def description(stage, version, target):
    """The installer's description in wixl's language."""
    files = files_of(stage)
    values = {
        "PRODUCT": PRODUCT, "MANUFACTURER": MANUFACTURER, "VERSION": version, "SHORT_VERSION": short_version(version),
        "PRODUCT_CODE": identifier("product", version, target.name), "UPGRADE_CODE": UPGRADE_CODE,
        "PROGRAM_FILES": target.program_files,
        "FOLDERS": "\n".join(folder(pathlib.Path(), "INSTALLDIR", "VLCmd", files, stage, target.is_64_bit, 5)),
        "COMPONENTS": "\n".join(f'      <ComponentRef Id="{name_of("c", file)}"/>' for file in files),
    }
    return re.sub(r"@([A-Z_]+)@", lambda found: values[found[1]], TEMPLATE.read_text(encoding="utf-8"))


def is_short(name):
    """Whether Windows takes the name for one of its 8.3 names."""
    return re.fullmatch(r"[A-Za-z0-9_$~!#%&'()@^`{}-]{1,8}(\.[A-Za-z0-9_$~!#%&'()@^`{}-]{1,3})?", name) is not None


def short_names(files):
    """For each file whose name is a long one, the short name that the installer's table wants beside it."""
    shorts = {}
    for number, file in enumerate((file for file in files if not is_short(file.name)), 1):
        stem = re.sub(r"[^A-Z0-9]", "", file.stem.upper())[:4]
        shorts[file] = f"{stem}~{number}{file.suffix.upper()[:4]}"
    return shorts


# The actions of the tables that wixl knows nothing of, at Windows' own places in the order of things: what is removed
# goes before the files come, what is added is added after them.
ACTIONS = {"RemoveEnvironmentStrings": 3300, "RemoveFolders": 3600, "CreateFolders": 3700,
           "WriteEnvironmentStrings": 5200}


def completing_queries(files, version):
    """What wixl leaves out: actions, the manufacturer's folder, which goes with the product unless another one stands in
    it, the program's version, by which Windows decides which of two files is newer, and short names."""
    program = pathlib.Path(PROGRAM)
    for action, place in ACTIONS.items():
        yield f"INSERT INTO `InstallExecuteSequence` (`Action`, `Sequence`) VALUES ('{action}', {place})"
    yield ("INSERT INTO `CreateFolder` (`Directory_`, `Component_`) "
           f"VALUES ('ManufacturerFolder', '{name_of('c', program)}')")
    yield f"UPDATE `File` SET `Version`='{version}', `Language`='1033' WHERE `File`='{name_of('f', program)}'"
    for file, short in short_names(files).items():
        yield f"UPDATE `File` SET `FileName`='{short}|{file.name}' WHERE `File`='{name_of('f', file)}'"


def write_environment_table(path):
    """The installer's folder at the end of the system's PATH, there and gone with the product ("=", "-", "*")."""
    path.write_text("Environment\tName\tValue\tComponent_\r\n"
                    "s72\tl255\tL255\ts72\r\n"
                    "Environment\tEnvironment\r\n"
                    f"Path\t=-*PATH\t[~];[INSTALLDIR]\t{name_of('c', pathlib.Path(PROGRAM))}\r\n",
                    encoding="ascii", newline="")


def make(stage, version, target, epoch, work, installer):
    work.mkdir(parents=True)
    source = work / "VLCmd.wxs"
    source.write_text(description(stage, version, target), encoding="utf-8")
    environment = work / "Environment.idt"
    write_environment_table(environment)

    when = datetime.datetime.fromtimestamp(epoch, datetime.timezone.utc).strftime("%Y-%m-%d %H:%M:%S")

    def at_that_time(*command):
        # wixl takes the files' paths as relative to the folder that it runs in.
        subprocess.run(["env", "TZ=UTC", "faketime", "-f", when, *map(str, command)], check=True, cwd=stage.parent)

    architecture = ["-a", "x64"] if target.is_64_bit else []
    at_that_time("wixl", *architecture, "-o", installer, source)
    at_that_time("msibuild", installer, "-i", environment)
    at_that_time("msibuild", installer, "-q", *completing_queries(files_of(stage), version))
    at_that_time("msibuild", installer, "-s", PRODUCT, MANUFACTURER, target.template,
                 identifier("package", version, target.name))
