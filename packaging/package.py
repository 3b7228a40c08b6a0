"""Makes what an administrator gets: zip, installer, notices, bill of materials and checksums.

usage: package.py BUILD_TREE DESTINATION [--version A.B.C.D]

The build tree is named by its preset and holds the program, its link map and the translations. All times in the files are that of
SOURCE_DATE_EPOCH, by default the last commit's, so that the same sources give the same bytes. With VLCMD_SIGN_CERT and
VLCMD_SIGN_KEY set (files in PEM), program and installer are signed. --version makes an installer of another version,
for trying out upgrades.
"""

import argparse
import hashlib
import os
import pathlib
import shutil
import subprocess
import sys
import time
import zipfile

import completion
import installer
import manual
import notices
from contents import PRODUCT, ROOT, TARGETS, package_name, project_version

LANGUAGES = ("Chinese", "French", "German", "Japanese", "Spanish")


def say(text):
    print(text, file=sys.stderr, flush=True)


def source_date():
    """Seconds since 1970: SOURCE_DATE_EPOCH, or the time of the last commit."""
    told = os.environ.get("SOURCE_DATE_EPOCH")
    if told is None:
        told = subprocess.run(["git", "-C", str(ROOT), "log", "-1", "--format=%ct"], check=True, text=True,
                              stdout=subprocess.PIPE).stdout
    return int(told)


def sha256(path):
    return hashlib.sha256(path.read_bytes()).hexdigest()


def sign(path, epoch):
    """Signs a program or an installer in place, at the time that is told; says so when there is nothing to sign with."""
    certificate, key = (os.environ.get(name) for name in ("VLCMD_SIGN_CERT", "VLCMD_SIGN_KEY"))
    if not certificate or not key:
        say(f"{path.name} is not signed: VLCMD_SIGN_CERT and VLCMD_SIGN_KEY are not set")
        return
    signed = path.with_name(path.name + ".signed")
    subprocess.run(["osslsigncode", "sign", "-certs", certificate, "-key", key, "-h", "sha256", "-n", PRODUCT,
                    "-time", str(epoch), "-in", str(path), "-out", str(signed)], check=True, stdout=subprocess.DEVNULL)
    signed.replace(path)
    subprocess.run(["osslsigncode", "verify", "-CAfile", certificate, "-in", str(path)], check=True,
                   stdout=subprocess.DEVNULL)
    say(f"{path.name} is signed")


def stage(tree, version, epoch, folder):
    """Lays out the files as they are installed."""
    folder.mkdir(parents=True)
    program = folder / "VLCmd.exe"
    shutil.copyfile(tree / "bin" / "VLCmd.exe", program)
    sign(program, epoch)
    for language in LANGUAGES:
        shutil.copyfile(tree / "translations" / f"{language}.tr", folder / f"{language}.tr")
    components = notices.components_of(notices.linked_files(tree / "VLCmd.map", tree))
    notices.write_notices(components, folder / "THIRD-PARTY-NOTICES.txt")
    notices.write_bill_of_materials(components, version, sha256(program), epoch, folder / "VLCmd.cdx.json")
    completion.write(folder / "VLCmd.Completion.ps1")
    shutil.copytree(ROOT / "policy", folder / "policy")
    manual.make(folder / "docs")
    for path in folder.rglob("*"):
        path.chmod(0o755 if path.is_dir() else 0o644)
        os.utime(path, (epoch, epoch))


def write_zip(folder, epoch_time, destination):
    """A zip whose members stand in one folder of its name, in order, with one time and no owner."""
    with zipfile.ZipFile(destination, "w", zipfile.ZIP_DEFLATED, compresslevel=9) as archive:
        for path in sorted(folder.rglob("*")):
            if path.is_file():
                member = zipfile.ZipInfo(f"{destination.stem}/{path.relative_to(folder).as_posix()}", epoch_time)
                member.compress_type = zipfile.ZIP_DEFLATED
                member.external_attr = 0o644 << 16
                archive.writestr(member, path.read_bytes())


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("tree", type=pathlib.Path)
    parser.add_argument("destination", type=pathlib.Path)
    parser.add_argument("--version", default=project_version())
    options = parser.parse_args()
    tree, destination = options.tree.resolve(), options.destination.resolve()
    target = next((target for target in TARGETS.values() if target.preset == tree.name), None)
    if target is None:
        parser.error(f"there is no package of a build like {tree.name}")
    epoch = source_date()
    name = package_name(options.version, target)

    work = destination / "work" / name
    shutil.rmtree(work, ignore_errors=True)
    say(f"Laying out {name}")
    stage(tree, options.version, epoch, work / "files")

    say(f"Writing {name}.zip")
    write_zip(work / "files", time.gmtime(epoch)[:6], destination / f"{name}.zip")
    say(f"Writing {name}.msi")
    msi = destination / f"{name}.msi"
    installer.make(work / "files", options.version, target, epoch, work / "installer", msi)
    sign(msi, epoch)
    shutil.copyfile(work / "files" / "VLCmd.cdx.json", destination / f"{name}.cdx.json")

    products = sorted(path for path in destination.iterdir() if path.suffix in (".zip", ".msi", ".json"))
    (destination / "SHA256SUMS").write_text("".join(f"{sha256(path)}  {path.name}\n" for path in products),
                                            encoding="ascii")
    for path in products:
        print(path)


if __name__ == "__main__":
    main()
