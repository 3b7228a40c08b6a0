"""A Windows of a test's own: a Wine prefix copied from a fresh one, with its own server."""

import os
import pathlib
import re
import shutil
import subprocess

ROOT = pathlib.Path(__file__).resolve().parent.parent.parent
RUN = ROOT / "cmake" / "run-under-wine"


def windows_path(path):
    return "Z:" + str(path).replace("/", "\\")


class Prefix:
    def __init__(self, folder, template):
        self.folder = pathlib.Path(folder)
        shutil.rmtree(self.folder, ignore_errors=True)
        # Wine writes its registry's files anew and never into a program file of its own: those may be shared.
        subprocess.run(["cp", "-al", str(template), str(self.folder)], check=True)
        for file in self.folder.glob("*.reg"):
            copy = file.with_suffix(".copy")
            shutil.copy2(file, copy)
            copy.replace(file)
        self.environment = {**os.environ, "WINEPREFIX": str(self.folder)}

    @property
    def drive(self):
        return self.folder / "drive_c"

    def run(self, program, *words, folder=None, **variables):
        """Runs a Windows program to its end; returns its exit status (8 bits) and its standard output as bytes."""
        done = subprocess.run([str(RUN), str(program), *words], env={**self.environment, **variables}, cwd=folder,
                              stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, timeout=100)
        return done.returncode, done.stdout

    def msiexec(self, *words):
        return self.run("msiexec", *words, "/qn")[0]

    def registry_value(self, key, name):
        """The value's data as reg.exe shows it; nothing where there is no such value."""
        chosen = ["/v", name] if name else ["/ve"]
        status, output = self.run("reg", "query", key, *chosen)
        if status != 0:
            return None
        return re.search(r"REG_\w+\s+(.*?)\r?\n", output.decode("cp1252"))[1]

    def contents(self):
        """Every file and folder of the prefix's drive, and every line of its registry, but for what Wine changes by itself:
        time stamps, the date of its display driver, and the separator behind the last folder of PATH, which it leaves."""
        self.stop()
        files = {path.relative_to(self.folder).as_posix() for path in self.drive.rglob("*")}
        registry = {(file.name, section[1], line)
                    for file in self.folder.glob("*.reg")
                    for section in re.finditer(r"^\[(.*?)\][^\n]*\n((?:[^\[\n][^\n]*\n)*)",
                                               file.read_text(encoding="utf-8", errors="replace"), re.MULTILINE)
                    for line in section[2].splitlines() or [""]
                    if not line.startswith("#time=") and "\\\\Control\\\\Class\\\\" not in section[1]}
        registry = {(file, key, line.replace(';"', '"') if line.startswith('"PATH"') else line)
                    for file, key, line in registry}
        return files, registry

    def stop(self):
        subprocess.run(["wineserver", "-k"], env=self.environment, check=False)
        subprocess.run(["wineserver", "-w"], env=self.environment, check=False)

    def remove(self):
        self.stop()
        shutil.rmtree(self.folder, ignore_errors=True)
