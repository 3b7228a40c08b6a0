"""Tells which code from elsewhere is linked into the program: a notice with its licences, and a bill of materials.

The linker's map names every archive and object file that it took code from; Debian's package database names the
package of each; the package's own copyright file has its licences.
"""

import dataclasses
import datetime
import json
import pathlib
import re
import subprocess
import uuid

from contents import MANUFACTURER, NAMESPACE, PRODUCT


# The licence of each package's runtime code, as its copyright file states it. A package that is not named here stops the
# packaging: somebody has to read its licence first.
LICENCES = {
    re.compile(r"g(cc|\+\+)-mingw-w64-.*"): "GPL-3.0-or-later WITH GCC-exception-3.1",
    re.compile(r"mingw-w64-.*-dev"): "ZPL-2.1 AND MIT AND BSD-3-Clause AND LicenseRef-public-domain",
}


@dataclasses.dataclass(frozen=True)
class Component:
    """A Debian package that code was taken from, and the files of it that the linker used."""

    package: str
    version: str
    licence: str
    files: tuple
    copyright: str


def linked_files(link_map, own_folder):
    """The archives and object files of the link map that are not built from the project's own sources."""
    files = set()
    for line in link_map.read_text(encoding="utf-8", errors="replace").splitlines():
        if found := re.match(r"\s*LOAD (\S.*)$", line):
            path = pathlib.Path(found[1].strip())
            # What the build makes is named relative to its folder, or lies in it.
            if path.is_absolute() and own_folder not in path.parents:
                files.add(path.resolve())
    return files


def output_of(*command):
    return subprocess.run(command, check=True, text=True, stdout=subprocess.PIPE).stdout


def copyright_of(package):
    """The package's copyright file; a package may have another one's documentation folder."""
    return pathlib.Path("/usr/share/doc", package, "copyright").read_text(encoding="utf-8")


def licence_of(package):
    for pattern, licence in LICENCES.items():
        if pattern.fullmatch(package):
            return licence
    raise SystemExit(f"the licence of {package} is not known; see LICENCES in {__file__}")


def components_of(files):
    by_package = {}
    for file in files:
        package = output_of("dpkg", "--search", str(file)).split(":")[0]
        by_package.setdefault(package, []).append(file.name)
    return [Component(package, output_of("dpkg-query", "--show", "--showformat=${Version}", package),
                      licence_of(package), tuple(sorted(set(names))), copyright_of(package))
            for package, names in sorted(by_package.items())]


def write_notices(components, destination):
    lines = ["THIRD-PARTY NOTICES", "",
             f"VLCmd.exe of the {PRODUCT} contains code of the following packages, which its compiler links into every",
             "program. Each section names the package, the files that code was taken from, and the package's own words on",
             "its copyright and licences. A text that several packages share stands once.", ""]
    seen = {}
    for component in components:
        lines += ["=" * 100, f"{component.package} {component.version}", "", "Files: " + ", ".join(component.files), ""]
        if (first := seen.setdefault(component.copyright, component.package)) != component.package:
            lines += [f"Copyright and licences: as of {first}, above.", ""]
        else:
            lines += [component.copyright.rstrip(), ""]
    destination.write_text("\r\n".join("\n".join(lines).splitlines()) + "\r\n", encoding="utf-8", newline="")


def write_bill_of_materials(components, version, program_hash, epoch, destination):
    """A CycloneDX 1.4 document; its serial number and time follow from what it describes."""
    reference = f"VLCmd@{version}"
    references = {c.package: f"pkg:deb/debian/{c.package}@{c.version}" for c in components}
    document = {
        "bomFormat": "CycloneDX",
        "specVersion": "1.4",
        "serialNumber": f"urn:uuid:{uuid.uuid5(NAMESPACE, program_hash)}",
        "version": 1,
        "metadata": {
            "timestamp": datetime.datetime.fromtimestamp(epoch, datetime.timezone.utc).strftime("%Y-%m-%dT%H:%M:%SZ"),
            "component": {
                "type": "application", "bom-ref": reference, "name": "VLCmd", "version": version,
                "description": PRODUCT, "publisher": MANUFACTURER,
                "hashes": [{"alg": "SHA-256", "content": program_hash}],
            },
        },
        "components": [{
            "type": "library", "bom-ref": references[c.package], "name": c.package, "version": c.version,
            "purl": references[c.package], "licenses": [{"expression": c.licence}],
            "properties": [{"name": "linked file", "value": name} for name in c.files],
        } for c in components],
        "dependencies": [{"ref": reference, "dependsOn": sorted(references.values())}],
    }
    destination.write_text(json.dumps(document, indent=2) + "\n", encoding="utf-8")
