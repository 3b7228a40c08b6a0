"""What an administrator gets, from the outside: the files, the installer's life on a computer, the signature.

The environment names the build tree (VLCMD_TREE), the folder of a finished package (VLCMD_PACKAGE) with that of an
older version beside it, a copy of the sources that has been built, too (VLCMD_SECOND_SOURCES), and a fresh Wine prefix to
copy (VLCMD_PREFIX).
"""

import hashlib
import json
import os
import pathlib
import re
import subprocess
import sys
import tempfile
import unittest
import xml.etree.ElementTree
import zipfile

from wine_prefix import ROOT, Prefix, windows_path

sys.path.append(str(ROOT / "packaging"))
from contents import TARGETS

TREE = pathlib.Path(os.environ["VLCMD_TREE"])
TARGET = next(target for target in TARGETS.values() if target.preset == TREE.name)
PACKAGE = pathlib.Path(os.environ["VLCMD_PACKAGE"])
SECOND_SOURCES = pathlib.Path(os.environ["VLCMD_SECOND_SOURCES"])
TEMPLATE = pathlib.Path(os.environ["VLCMD_PREFIX"])
NAME = f"VLCmd-14.0-{TARGET.name}"
MSI = PACKAGE / f"{NAME}.msi"
OLDER_MSI = PACKAGE / f"VLCmd-13.9-{TARGET.name}.msi"
ZIP = PACKAGE / f"{NAME}.zip"
# The computers of all tests are a 64-bit Windows, where programs of 32 bits have folders and keys of their own.
PROGRAM_FILES, SOFTWARE = {
    "x64": (r"C:\Program Files", r"HKLM\Software"),
    "x86": (r"C:\Program Files (x86)", r"HKLM\Software\Wow6432Node"),
}[TARGET.name]
INSTALLED = pathlib.PureWindowsPath(PROGRAM_FILES, "Kestrane", "VLCmd")
# Wine, which installs both packages alike, starts programs of its own kind.
runs_the_program = unittest.skipUnless(TARGET.is_64_bit, "these tests start no 32-bit program")
APP_PATH = r"HKLM\Software\Microsoft\Windows\CurrentVersion\App Paths\VLCmd.exe"
UNINSTALL = SOFTWARE + r"\Microsoft\Windows\CurrentVersion\Uninstall"
ENVIRONMENT = r"HKLM\System\CurrentControlSet\Control\Session Manager\Environment"
PRODUCT_KEY = r"HKLM\Software\Kestrane\VLCore\14.0"

EXPECTED_FILES = {
    "VLCmd.exe", "VLCmd.Completion.ps1", "VLCmd.cdx.json", "THIRD-PARTY-NOTICES.txt",
    "Chinese.tr", "French.tr", "German.tr", "Japanese.tr", "Spanish.tr",
    "policy/VLCmd.admx", "policy/en-US/VLCmd.adml",
    *(f"docs/{name}.html" for name in (
        "index", "handbook", "scripts", "schedules", "many-computers", "reading-output", "troubleshooting", "commands",
        "exit-codes", "statistics", "support-report", "trace-log", "policies", "translations", "security")),
}


def sha256(path):
    return hashlib.sha256(path.read_bytes()).hexdigest()


def files_below(folder):
    return {path.relative_to(folder).as_posix() for path in folder.rglob("*") if path.is_file()}


def table(msi, name):
    """A table of the installer, a list of values for each row."""
    text = subprocess.run(["msiinfo", "export", str(msi), name], check=True, stdout=subprocess.PIPE).stdout.decode()
    return [line.split("\t") for line in text.split("\r\n")[3:] if line]


def package(destination, *options, root=ROOT, tree=TREE, **variables):
    environment = {**os.environ, **variables}
    subprocess.run([sys.executable, str(root / "packaging" / "package.py"), str(tree), str(destination), *options],
                   check=True, env=environment, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)


class PackageFiles(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.scratch = tempfile.TemporaryDirectory()
        with zipfile.ZipFile(ZIP) as archive:
            archive.extractall(cls.scratch.name)
        cls.folder = pathlib.Path(cls.scratch.name) / NAME

    @classmethod
    def tearDownClass(cls):
        cls.scratch.cleanup()

    def test_zip_holds_the_files_and_no_other(self):
        self.assertEqual(files_below(self.folder), EXPECTED_FILES)

    def test_installer_holds_the_same_files_as_the_zip(self):
        self.assertEqual({row[2].split("|")[-1] for row in table(MSI, "File")},
                         {pathlib.PurePosixPath(name).name for name in EXPECTED_FILES})

    def test_checksums_are_those_of_the_files(self):
        lines = (PACKAGE / "SHA256SUMS").read_text().splitlines()
        self.assertIn(f"{sha256(MSI)}  {MSI.name}", lines)
        self.assertIn(f"{sha256(ZIP)}  {ZIP.name}", lines)

    def test_no_file_tells_a_path_of_the_computer_that_built_it(self):
        paths = [str(ROOT), str(TREE), str(pathlib.Path.home()), "/usr/lib", "/usr/share", "/tmp/", "Z:\\"]
        for name in EXPECTED_FILES:
            content = (self.folder / name).read_bytes()
            # The licences' own words name folders of Debian.
            for path in paths[:3] if name == "THIRD-PARTY-NOTICES.txt" else paths:
                for encoding in ("utf-8", "utf-16-le"):
                    self.assertNotIn(path.encode(encoding), content, f"{path} in {name}")
        installer = MSI.read_bytes()
        for path in paths[:3]:
            self.assertNotIn(path.encode(), installer)

    def test_program_carries_no_debug_information(self):
        sections = subprocess.run(["x86_64-w64-mingw32-objdump", "-h", str(self.folder / "VLCmd.exe")], check=True,
                                  text=True, stdout=subprocess.PIPE).stdout
        self.assertNotIn(".debug", sections)
        self.assertIn(".text", sections)

    def test_every_linked_archive_is_named_in_notices_and_bill_of_materials(self):
        own = re.compile(r"^(src|sim)/|CMakeFiles")
        linked = {pathlib.Path(path).resolve().name for path in re.findall(r"^LOAD (\S+)$", (TREE / "VLCmd.map").read_text(), re.M)
                  if not own.search(path)}
        self.assertIn("libstdc++.a", linked)
        notices = (self.folder / "THIRD-PARTY-NOTICES.txt").read_text(encoding="utf-8")
        bill = json.loads((self.folder / "VLCmd.cdx.json").read_text(encoding="utf-8"))
        named = {item["value"] for part in bill["components"] for item in part["properties"]}
        for name in linked:
            self.assertRegex(notices, rf"(?m)^Files: (.*, )?{re.escape(name)}(,|$)")
            self.assertIn(name, named)
        self.assertEqual((bill["bomFormat"], bill["specVersion"]), ("CycloneDX", "1.4"))
        self.assertEqual(bill["metadata"]["component"]["hashes"][0]["content"], sha256(self.folder / "VLCmd.exe"))
        for part in bill["components"]:
            self.assertTrue(part["licenses"][0]["expression"])
            self.assertTrue(part["version"])
            self.assertIn(part["purl"], bill["dependencies"][0]["dependsOn"])

    def test_installer_tells_product_version_and_manufacturer(self):
        properties = dict(row for row in table(MSI, "Property"))
        self.assertEqual(properties["ProductName"], "Velundra command-line tool")
        self.assertEqual(properties["ProductVersion"], "14.0.0.0")
        self.assertEqual(properties["Manufacturer"], "Kestrane")
        self.assertEqual(properties["ALLUSERS"], "1")
        older = dict(row for row in table(OLDER_MSI, "Property"))
        self.assertEqual(properties["UpgradeCode"], older["UpgradeCode"])
        self.assertNotEqual(properties["ProductCode"], older["ProductCode"])
        summary = subprocess.run(["msiinfo", "suminfo", str(MSI)], check=True, text=True, stdout=subprocess.PIPE).stdout
        template = {"x64": "x64;1033", "x86": "Intel;1033"}[TARGET.name]
        self.assertIn(f"Template: {template}", summary)
        self.assertRegex(summary, r"Author: Kestrane")

    def test_installer_owns_no_setting_of_the_product(self):
        self.assertEqual({row[2] for row in table(MSI, "Registry")},
                         {r"Software\Microsoft\Windows\CurrentVersion\App Paths\VLCmd.exe"})

    def test_completion_offers_every_command_and_switch(self):
        script = (self.folder / "VLCmd.Completion.ps1").read_text(encoding="ascii")
        for word in ("/st /status /dol /DefragOnly /tw /TierWeave /cfs /ConsolidateFreeSpace /ssd /SSDOptimize /prep "
                     "/PrepForShrink /of /offline /df /DefragFiles /an /analyze /sta /stat-analyze /sto /stat-online "
                     "/stf /stat-offline /stp /stop /sb /schedboot /cb /CancelBootTime /rs /runschedule /id "
                     "/QueryFileById /si /SupportInformation /? /alldrives /w /wait /all /d /s /p /r /t /c").split():
            self.assertIn(f"'{word}'", script)
        self.assertNotIn("@", script.replace("@(", ""))


class Manual(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.scratch = tempfile.TemporaryDirectory()
        with zipfile.ZipFile(ZIP) as archive:
            archive.extractall(cls.scratch.name)
        cls.folder = pathlib.Path(cls.scratch.name) / NAME / "docs"

    @classmethod
    def tearDownClass(cls):
        cls.scratch.cleanup()

    def test_every_link_leads_to_a_place_that_is_there(self):
        seen = 0
        for page in self.folder.glob("*.html"):
            for target in re.findall(r'href="([^"]+)"', page.read_text(encoding="utf-8")):
                if re.match(r"https?:", target):
                    continue
                file, _, anchor = target.partition("#")
                reached = self.folder / file if file else page
                self.assertTrue(reached.is_file(), f"{page.name}: {target}")
                if anchor:
                    self.assertIn(f'id="{anchor}"', reached.read_text(encoding="utf-8"), f"{page.name}: {target}")
                seen += 1
        self.assertGreater(seen, 20)

    def test_every_page_is_reached_from_the_start_page(self):
        start = (self.folder / "index.html").read_text(encoding="utf-8")
        for page in self.folder.glob("*.html"):
            if page.name != "index.html":
                self.assertIn(f'href="{page.name}"', start)

    def test_pages_show_the_tool_as_its_user_calls_it(self):
        for page in self.folder.glob("*.html"):
            text = page.read_text(encoding="utf-8")
            self.assertNotIn("./dev", text, page.name)
            self.assertNotIn(".md", re.sub(r"[\w-]+\.md5", "", text), page.name)

    def test_start_page_opens_in_a_browser_from_disk(self):
        profile = pathlib.Path(self.scratch.name) / "profile"
        shown = subprocess.run(["chromium", "--headless", "--no-sandbox", "--disable-gpu", "--disable-quic", "--no-first-run",
                                "--disable-background-networking", "--disable-component-update", "--disable-sync",
                                f"--user-data-dir={profile}", "--dump-dom", (self.folder / "index.html").as_uri()],
                               check=True, text=True, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, timeout=60).stdout
        self.assertIn("<h1", shown)
        self.assertIn("Every exit code", shown)


class Policies(unittest.TestCase):
    """The templates against the tool: names, values, texts, and what each choice does."""

    NAMESPACE = {"p": "http://schemas.microsoft.com/GroupPolicy/2006/07/PolicyDefinitions"}
    # What each policy forbids: the command, its message and its exit code's low 8 bits (536870916 is 0x20000004).
    COMMANDS = {
        "AllowLaunch": (["/?"], "You do not have permission to launch Velundra."),
        "AllowAnalyze": (["/an"], "You do not have permission to analyze the drive(s)."),
        "AllowOnlineDefrag": (["/dol"], "You do not have permission to perform an online defragmentation."),
        "AllowOfflineDefrag": (["/of"], "You do not have permission to perform an offline defragmentation."),
        "AllowRunSchedule": (["/rs", "Nightly"], "You do not have permission to run the schedule operation."),
    }

    @classmethod
    def read_template(cls):
        """The policies of the template by their names."""
        template = xml.etree.ElementTree.parse(ROOT / "policy" / "VLCmd.admx")
        return {policy.get("name"): policy for policy in template.findall("p:policies/p:policy", cls.NAMESPACE)}

    @classmethod
    def setUpClass(cls):
        cls.template = xml.etree.ElementTree.parse(ROOT / "policy" / "VLCmd.admx").getroot()
        texts = xml.etree.ElementTree.parse(ROOT / "policy" / "en-US" / "VLCmd.adml").getroot()
        cls.texts = {item.get("id"): item.text for item in texts.iter(f"{{{cls.NAMESPACE['p']}}}string")}
        cls.policies = cls.read_template()

    def test_values_are_those_that_the_tool_reads_and_a_command_obeys(self):
        table = (ROOT / "src" / "policy" / "ui_group_policy.cpp").read_text(encoding="utf-8")
        value_of = dict(re.findall(r'Permission::(\w+), L"(Allow\w+)"', table))
        commands = "".join(path.read_text(encoding="utf-8") for path in (ROOT / "src" / "cmd").glob("*.cpp"))
        asked = set(re.findall(r"\bIs(\w+)Allowed\b", commands))
        self.assertEqual(set(self.policies), {value_of[permission] for permission in asked & set(value_of)})
        self.assertEqual(set(self.policies), set(self.COMMANDS))
        for name, policy in self.policies.items():
            self.assertEqual(policy.get("valueName"), name)
            self.assertEqual(policy.get("class"), "User")
            self.assertEqual(policy.get("key"), r"Software\Policies\Kestrane\Velundra\14.0")
            self.assertEqual(policy.find("p:enabledValue/p:decimal", self.NAMESPACE).get("value"), "1")
            self.assertEqual(policy.find("p:disabledValue/p:decimal", self.NAMESPACE).get("value"), "0")

    def test_every_text_and_reference_resolves(self):
        for element in self.template.iter():
            for value in element.attrib.values():
                for text in re.findall(r"\$\(string\.(\w+)\)", value):
                    self.assertTrue(self.texts.get(text), text)
        categories = {c.get("name") for c in self.template.findall("p:categories/p:category", self.NAMESPACE)}
        supported = {d.get("name") for d in self.template.iter(f"{{{self.NAMESPACE['p']}}}definition")}
        for element in self.template.iter(f"{{{self.NAMESPACE['p']}}}parentCategory"):
            self.assertIn(element.get("ref"), categories)
        for policy in self.policies.values():
            self.assertIn(policy.find("p:supportedOn", self.NAMESPACE).get("ref"), supported)
        used = set(re.findall(r"\$\(string\.(\w+)\)", (ROOT / "policy" / "VLCmd.admx").read_text(encoding="utf-8")))
        self.assertEqual(used, set(self.texts))

    def test_explanations_quote_the_message_and_the_exit_code(self):
        for name, (_, message) in self.COMMANDS.items():
            self.assertIn(f'"{message}"', self.texts[f"{name}_Explain"])
            self.assertIn("536870916", self.texts[f"{name}_Explain"])


class OnAComputer(unittest.TestCase):
    """Tests with a Windows of their own each."""

    def setUp(self):
        self.prefix = Prefix(PACKAGE / f"wine-{self._testMethodName}", TEMPLATE)
        self.addCleanup(self.prefix.remove)
        self.folder = self.prefix.drive.joinpath(*INSTALLED.parts[1:])

    def install(self, msi=MSI):
        self.assertEqual(self.prefix.msiexec("/i", windows_path(msi)), 0)

    def start_engine(self):
        """The simulated engine of this computer, on its default drives."""
        for word in ("/regserver", "/start"):
            self.assertEqual(self.prefix.run(TREE / "bin" / "VLEngine.exe", word)[0], 0)

    def exit_code_of(self, program, *words):
        """All 32 bits of a program's exit code, by the launcher that prints it."""
        done = subprocess.run([str(ROOT / "cmake" / "run-under-wine"), str(TREE / "bin" / "vlrun.exe"), "--plain",
                               windows_path(program), *words], env=self.prefix.environment, stdin=subprocess.DEVNULL,
                              stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True, timeout=100)
        told = re.search(r"ended with (\d+)", done.stderr)
        return int(told[1]) if told else done.returncode

    def test_silent_installation_registers_program_path_and_uninstall_entry(self):
        self.install()
        self.assertEqual(files_below(self.folder), EXPECTED_FILES)
        self.assertEqual(self.prefix.registry_value(APP_PATH, None), str(INSTALLED / "VLCmd.exe"))
        self.assertIn(str(INSTALLED), self.prefix.registry_value(ENVIRONMENT, "PATH"))
        code = dict(row for row in table(MSI, "Property"))["ProductCode"]
        self.assertEqual(self.prefix.registry_value(rf"{UNINSTALL}\{code}", "DisplayName"), "Velundra command-line tool")
        self.assertEqual(self.prefix.registry_value(rf"{UNINSTALL}\{code}", "Publisher"), "Kestrane")
        self.assertEqual(self.prefix.registry_value(rf"{UNINSTALL}\{code}", "DisplayVersion"), "14.0.0.0")

    @runs_the_program
    def test_installed_tool_runs_by_path_from_another_folder(self):
        self.install()
        self.start_engine()
        status, output = self.prefix.run("cmd", "/c", "VLCmd /st", folder=self.prefix.drive / "windows")
        self.assertEqual(status, 0)
        self.assertEqual(output.decode().splitlines()[:2], ["Velundra 14.0", "Drive name: C:\\Status: Idle"])

    def test_upgrade_replaces_the_files_and_keeps_what_others_wrote(self):
        self.install(OLDER_MSI)
        self.assertEqual(self.prefix.run("reg", "add", PRODUCT_KEY, "/v", "ConnectionString", "/d", "ADO:x", "/f")[0], 0)
        (self.folder / "VLCmd.exe").write_bytes(b"old")
        (self.folder / "notes of an administrator.txt").write_text("stays")
        self.install(MSI)
        self.assertEqual(sha256(self.folder / "VLCmd.exe"), sha256(TREE / "bin" / "VLCmd.exe"))
        self.assertEqual(self.prefix.registry_value(PRODUCT_KEY, "ConnectionString"), "ADO:x")
        self.assertTrue((self.folder / "notes of an administrator.txt").is_file())
        older, newer = (dict(table(msi, "Property"))["ProductCode"] for msi in (OLDER_MSI, MSI))
        self.assertIsNone(self.prefix.registry_value(rf"{UNINSTALL}\{older}", "DisplayName"))
        self.assertIsNotNone(self.prefix.registry_value(rf"{UNINSTALL}\{newer}", "DisplayName"))
        path = self.prefix.registry_value(ENVIRONMENT, "PATH")
        self.assertEqual(path.count(r"Kestrane\VLCmd"), 1)

    def test_downgrade_is_refused_with_a_sentence(self):
        self.install(MSI)
        self.assertNotEqual(self.prefix.msiexec("/i", windows_path(OLDER_MSI)), 0)
        self.assertEqual(sha256(self.folder / "VLCmd.exe"), sha256(TREE / "bin" / "VLCmd.exe"))
        texts = [value for name in ("CustomAction", "LaunchCondition") if name in self.table_names()
                 for row in table(MSI, name) for value in row]
        self.assertTrue(any("A newer version of the Velundra command-line tool is already installed." in text
                            for text in texts), texts)

    def table_names(self):
        return subprocess.run(["msiinfo", "tables", str(MSI)], check=True, text=True, stdout=subprocess.PIPE).stdout.split()

    def test_repair_brings_back_a_deleted_file(self):
        self.install()
        (self.folder / "German.tr").unlink()
        # What "msiexec /f" asks for; Wine's msiexec does not take that word.
        self.assertEqual(self.prefix.msiexec("/i", windows_path(MSI), "REINSTALL=ALL", "REINSTALLMODE=omus"), 0)
        self.assertEqual(files_below(self.folder), EXPECTED_FILES)

    def test_removal_leaves_files_and_registry_as_they_were(self):
        # Windows keeps a folder for the installers that it has met.
        (self.prefix.drive / "windows" / "Installer").mkdir(exist_ok=True)
        self.prefix.msiexec("/x", "{00000000-0000-0000-0000-000000000000}")
        files, registry = self.prefix.contents()
        self.install()
        self.assertEqual(self.prefix.msiexec("/x", windows_path(MSI)), 0)
        files_after, registry_after = self.prefix.contents()
        self.assertEqual(files_after - files, set())
        self.assertEqual(files - files_after, set())
        self.assertEqual(registry_after - registry, set())
        self.assertEqual(registry - registry_after, set())

    @runs_the_program
    def test_zip_runs_from_a_folder_with_blanks_and_other_letters(self):
        self.start_engine()
        folder = self.prefix.drive / "Werkzeuge für Ärzte" / "日本語"
        with zipfile.ZipFile(ZIP) as archive:
            archive.extractall(folder)
        status, output = self.prefix.run(folder / NAME / "VLCmd.exe", "/st")
        self.assertEqual(status, 0)
        self.assertEqual(output.decode().splitlines()[:2], ["Velundra 14.0", "Drive name: C:\\Status: Idle"])

    @runs_the_program
    def test_each_choice_of_each_policy_does_what_its_template_says(self):
        program = TREE / "bin" / "VLCmd.exe"
        for name, policy in Policies.read_template().items():
            words, _ = Policies.COMMANDS[name]
            key, value = "HKCU\\" + policy.get("key"), policy.get("valueName")
            not_configured = self.exit_code_of(program, *words)
            self.assertNotEqual(not_configured, 536870916, name)
            for choice, expected in (("enabledValue", not_configured), ("disabledValue", 536870916)):
                data = policy.find(f"p:{choice}/p:decimal", Policies.NAMESPACE).get("value")
                self.prefix.run("reg", "add", key, "/v", value, "/t", "REG_DWORD", "/d", data, "/f")
                self.assertEqual(self.exit_code_of(program, *words), expected, f"{name}: {choice}")
            self.prefix.run("reg", "delete", key, "/v", value, "/f")


class Signature(unittest.TestCase):
    def test_packaging_without_a_certificate_says_that_nothing_is_signed(self):
        said = (PACKAGE / "packaging.log").read_text(encoding="utf-8")
        for name in ("VLCmd.exe", MSI.name):
            self.assertIn(f"{name} is not signed: VLCMD_SIGN_CERT and VLCMD_SIGN_KEY are not set\n", said)

    def test_signed_program_and_installer_verify_until_a_byte_changes(self):
        with tempfile.TemporaryDirectory() as name:
            scratch = pathlib.Path(name)
            certificate, key = scratch / "certificate.pem", scratch / "key.pem"
            subprocess.run(["openssl", "req", "-x509", "-newkey", "rsa:2048", "-nodes", "-subj", "/CN=VLCmd test", "-days",
                            "30", "-addext", "extendedKeyUsage=codeSigning", "-keyout", str(key), "-out", str(certificate)],
                           check=True, stderr=subprocess.DEVNULL)
            package(scratch / "signed", VLCMD_SIGN_CERT=str(certificate), VLCMD_SIGN_KEY=str(key))
            with zipfile.ZipFile(scratch / "signed" / ZIP.name) as archive:
                archive.extract(f"{NAME}/VLCmd.exe", scratch)

            def verifies(path):
                return subprocess.run(["osslsigncode", "verify", "-CAfile", str(certificate), "-in", str(path)],
                                      stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL).returncode == 0

            for path in (scratch / NAME / "VLCmd.exe", scratch / "signed" / MSI.name):
                self.assertTrue(verifies(path), path.name)
                content = bytearray(path.read_bytes())
                content[len(content) // 2] ^= 1
                path.write_bytes(content)
                self.assertFalse(verifies(path), path.name)


class Reproducible(unittest.TestCase):
    def test_second_build_in_another_folder_gives_the_same_bytes(self):
        tree = SECOND_SOURCES / "build" / TREE.name
        self.assertEqual(sha256(tree / "bin" / "VLCmd.exe"), sha256(TREE / "bin" / "VLCmd.exe"))
        epoch = subprocess.run(["git", "-C", str(ROOT), "log", "-1", "--format=%ct"], check=True, text=True,
                               stdout=subprocess.PIPE).stdout.strip()
        second = SECOND_SOURCES / "package"
        package(second, root=SECOND_SOURCES, tree=tree, SOURCE_DATE_EPOCH=epoch)
        for file in (ZIP, MSI):
            self.assertEqual(sha256(second / file.name), sha256(file), file.name)


if __name__ == "__main__":
    unittest.main(verbosity=2)
