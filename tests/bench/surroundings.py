"""What the measured programs find around them: a Wine prefix of the bench's own, the simulated engine with a number of
drives, a statistics database, settings and values in the registry.

Nothing of it is anybody else's, so an interrupted bench leaves nothing that others meet; and each bench begins by ending
the programs of the prefix and putting everything into the state that it wants, so that it does not matter how the one
before it ended."""

import contextlib
import fcntl
import shutil
import sqlite3
import subprocess

from processes import BIN, ENVIRONMENT, FOLDER, PREFIX, WORK, Failure, prepare_with, windows_path

PRODUCT_KEY = r"HKLM\Software\Kestrane\VLCore\14.0"
MANY_VALUES_KEY = PRODUCT_KEY + r"\Bench"
SIMULATOR_KEY = r"HKLM\Software\Kestrane\Simulator"
ENGINE = str(BIN / "VLEngine.exe")
LANGUAGE = 1031  # German
TRANSLATION = "German.tr"


@contextlib.contextmanager
def prefix():
    """The bench's Wine prefix, for as long as the block goes on; one bench at a time."""
    FOLDER.mkdir(parents=True, exist_ok=True)
    with (FOLDER / "lock").open("w") as lock:
        try:
            fcntl.flock(lock, fcntl.LOCK_EX | fcntl.LOCK_NB)
        except BlockingIOError:
            raise Failure("another bench is running in this checkout") from None
        try:
            end_programs()
            clear_work()
            prepare_with(ENGINE, "/regserver")
            prepare_with("regsvr32", "/s", windows_path(BIN / "VLAdo.dll"))
            delete_registry(PRODUCT_KEY)
            delete_registry(SIMULATOR_KEY)
            # The key is there, as on a computer with the product, and the trace log is switched off.
            set_registry(PRODUCT_KEY, "TraceEntryExit", 0)
            yield
        finally:
            end_programs()
            clear_work()


def end_programs():
    """Ends all that runs in the prefix, and with it what lives in memory alone."""
    if PREFIX.is_dir():
        subprocess.run(["wineserver", "-k"], env=ENVIRONMENT, stderr=subprocess.DEVNULL, check=False)
        subprocess.run(["wineserver", "-w"], env=ENVIRONMENT, stderr=subprocess.DEVNULL, check=False)


def clear_work():
    shutil.rmtree(WORK, ignore_errors=True)
    WORK.mkdir(parents=True)


def set_registry(key, name, value):
    kind, data = ("REG_DWORD", str(value)) if isinstance(value, int) else ("REG_SZ", value)
    prepare_with("reg", "add", key, "/v", name, "/t", kind, "/d", data, "/f")


def delete_registry(key, name=None):
    """Deletes a value, or the key with all that is in it; there may be none."""
    with contextlib.suppress(Failure):
        prepare_with("reg", "delete", key, *(["/v", name] if name else []), "/f")


@contextlib.contextmanager
def registry_values(values):
    """Values of the product's key, by name, for as long as the block goes on."""
    try:
        for name, value in values.items():
            set_registry(PRODUCT_KEY, name, value)
        yield
    finally:
        for name in values:
            delete_registry(PRODUCT_KEY, name)


@contextlib.contextmanager
def engine(drives=None):
    """The simulated engine, running; with so many drives, or with the default scenario's."""
    scenario = BIN / "default.scenario"
    if drives is not None:
        scenario = WORK / "bench.scenario"
        scenario.write_text("[engine]\nidle-seconds = 600\ndefragment-seconds = 0\n"
                            f"[drives]\ncount = {drives}\nname = D:\\Mounts\\{{n}}\\\n", encoding="utf-8")
    set_registry(SIMULATOR_KEY, "Scenario", windows_path(scenario))
    try:
        prepare_with(ENGINE, "/start")
        yield
    finally:
        prepare_with(ENGINE, "/quit")


@contextlib.contextmanager
def database(drives):
    """A statistics database with an analysis of each of these drives, which the product finds; as its connection."""
    file = WORK / "statistics.db"
    file.unlink(missing_ok=True)
    with contextlib.closing(sqlite3.connect(file)) as made, made:
        made.executescript((BIN / "statistics-schema.sql").read_text(encoding="utf-8"))
        for number, drive in enumerate(drives):
            made.execute("INSERT INTO Volumes VALUES (?, ?)", (number, drive))
            made.execute(f"INSERT INTO StatsAnalyze VALUES (?, 46076.25{', 12' * 10})", (number,))
    connection = f"Provider=MSDASQL;Driver={{SQLite3}};Database={windows_path(file)};NoCreat=1"
    with registry_values({"ConnectionString": "ADO:" + connection}):
        yield connection


@contextlib.contextmanager
def translation(lines, *programs):
    """A folder with copies of the programs and, beside them, a translation of so many lines in the product's language,
    which the registry names."""
    folder = WORK / "translated"
    folder.mkdir(exist_ok=True)
    for each in programs:
        shutil.copy2(BIN / each, folder)
    text = "#VL_TRANSLATION_FILE\r\n" + "".join(
        f'{number}\t"Online optimization started on drive %1."\t"Die Optimierung von Laufwerk %1 wurde gestartet."\r\n'
        for number in range(lines))
    (folder / TRANSLATION).write_bytes(text.encode("utf-16-le"))
    with registry_values({"Language": LANGUAGE}):
        yield folder
    shutil.rmtree(folder)


@contextlib.contextmanager
def many_values(count, characters):
    """So many texts of so many characters in ten keys below the product's, for as long as the block goes on."""
    keys = 10
    lines = ["Windows Registry Editor Version 5.00"]
    for key in range(keys):
        lines.append(f"\n[{MANY_VALUES_KEY.replace('HKLM', 'HKEY_LOCAL_MACHINE')}\\Key {key}]")
        lines += [f'"Value {number}"="{"x" * characters}"' for number in range(key, count, keys)]
    file = WORK / "values.reg"
    file.write_bytes(b"\xff\xfe" + "\r\n".join(lines).encode("utf-16-le"))
    try:
        prepare_with("reg", "import", windows_path(file))
        yield
    finally:
        delete_registry(MANY_VALUES_KEY)
