"""Checks the syntax of the PowerShell that the project gives away: in the pages of the documentation, and the completion
script."""

import json
import os
import pathlib
import subprocess
import sys

from pages import TOP, all_pages

sys.path.append(str(TOP / "packaging"))
import completion

PARSER = TOP / "build" / "powershell"
PARSER_PACKAGES = ["web-tree-sitter@0.25.10", "tree-sitter-powershell@0.26.4"]


def install_parser():
    """The parser comes with npm, for Debian has none."""
    if not all((PARSER / "node_modules" / package.partition("@")[0]).exists() for package in PARSER_PACKAGES):
        PARSER.mkdir(parents=True, exist_ok=True)
        subprocess.run(["npm", "install", "--prefix", PARSER, "--silent", "--ignore-scripts", "--no-audit", "--no-fund",
                        "--legacy-peer-deps", *PARSER_PACKAGES], check=True, stdout=subprocess.DEVNULL)


def main():
    scripts = [{"place": block.place, "text": block.text()} for page in all_pages() for block in page.blocks
               if block.kind == "powershell"]
    scripts.append({"place": f"{completion.TEMPLATE.relative_to(TOP)} as filled in", "text": completion.script()})
    install_parser()
    checked = subprocess.run(["node", TOP / "cmake" / "check-powershell.cjs"], input=json.dumps(scripts), text=True,
                             env=os.environ | {"NODE_PATH": str(PARSER / "node_modules")}, check=False)
    return checked.returncode


if __name__ == "__main__":
    sys.exit(main())
