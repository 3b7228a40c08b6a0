"""Checks the pages of the documentation: that links and named files lead somewhere, that what the tests do not run says
so, that PowerShell and XML are well written, and the spelling."""

import json
import os
import pathlib
import re
import subprocess
import sys
import xml.etree.ElementTree

TOP = pathlib.Path(__file__).resolve().parent.parent
PARSER = TOP / "build" / "powershell"
PARSER_PACKAGES = ["web-tree-sitter@0.25.10", "tree-sitter-powershell@0.26.4"]

# What stands above a block that the tests cannot run, by the block's kind. A block of cmd with a name is a script that
# the tests run.
MARKS = {"cmd": "*Not run", "powershell": "*Not run on PowerShell; its syntax is checked.", "xml": "*Not run"}

# A switch of schtasks, and a flag that the handbook mistypes on purpose.
NO_MISTAKES = ["fo", "wiat"]

# A file of the sources, as the pages name it.
NAMED_FILE = re.compile(r"`((?:\.ci|cmake|docs|sim|src|tests|translations)/[\w./-]+|README\.md)`")
LINK = re.compile(r"\[[^\]]*\]\(([^)\s]*)\)")
HEADING = re.compile(r"#+ (.*)")


class Block:
    def __init__(self, page, number, words, mark):
        self.place = f"{page}:{number}"
        self.kind, _, self.name = words.partition(" ")
        self.mark = mark
        self.lines = []

    def text(self):
        return "\n".join(self.lines) + "\n"


class Page:
    """The prose of a page by its line numbers, and the blocks between lines of three backticks."""

    def __init__(self, path):
        self.path = path
        self.name = path.relative_to(TOP).as_posix()
        self.prose = {}
        self.blocks = []
        last = ""
        inside = False
        for number, line in enumerate(path.read_text(encoding="utf-8").splitlines(), 1):
            if line.startswith("```"):
                inside = not inside
                if inside:
                    self.blocks.append(Block(self.name, number, line[3:], last))
            elif inside:
                self.blocks[-1].lines.append(line)
            elif line.strip():
                self.prose[number] = last = line

    def anchors(self):
        """The headings as links name them: small letters, digits, and hyphens for the blanks."""
        headings = [HEADING.match(line) for line in self.prose.values()]
        return {re.sub(r"[^\w\- ]", "", found[1].lower()).replace(" ", "-") for found in headings if found}


def check_links(page, pages):
    for number, line in page.prose.items():
        for target in LINK.findall(line):
            file, _, anchor = target.partition("#")
            path = (page.path.parent / file).resolve() if file else page.path
            if not path.exists():
                yield f"{page.name}:{number}: there is no {file}"
            elif anchor and (path not in pages or anchor not in pages[path].anchors()):
                yield f"{page.name}:{number}: {file or 'this page'} has no heading for #{anchor}"
        for file in NAMED_FILE.findall(line):
            # Some name a header and its source together, without their endings.
            if not (TOP / file).exists() and not list((TOP / file).parent.glob(pathlib.Path(file).name + ".*")):
                yield f"{page.name}:{number}: there is no {file}"


def check_blocks(page):
    for block in page.blocks:
        if block.kind in MARKS and not block.name and not block.mark.startswith(MARKS[block.kind]):
            yield f"{block.place}: the line above does not begin with: {MARKS[block.kind]}"
        if block.kind == "xml":
            try:
                # The declaration tells the encoding of the file to be made, not of the page.
                xml.etree.ElementTree.fromstring(re.sub(r"^<\?xml.*\?>", "", block.text()))
            except xml.etree.ElementTree.ParseError as error:
                yield f"{block.place}: {error}"


def check_powershell(pages):
    """Whether a parser takes the pages' PowerShell; it comes with npm, for Debian has none."""
    scripts = [{"place": block.place, "text": block.text()} for page in pages for block in page.blocks
               if block.kind == "powershell"]
    if not all((PARSER / "node_modules" / package.partition("@")[0]).exists() for package in PARSER_PACKAGES):
        PARSER.mkdir(parents=True, exist_ok=True)
        subprocess.run(["npm", "install", "--prefix", PARSER, "--silent", "--ignore-scripts", "--no-audit", "--no-fund",
                        "--legacy-peer-deps", *PARSER_PACKAGES], check=True, stdout=subprocess.DEVNULL)
    checked = subprocess.run(["node", TOP / "cmake" / "check-powershell.cjs"], input=json.dumps(scripts), text=True,
                             env=os.environ | {"NODE_PATH": str(PARSER / "node_modules")}, check=False)
    return checked.returncode == 0


def check_spelling(pages):
    checked = subprocess.run(["codespell", "--ignore-words-list", ",".join(NO_MISTAKES),
                              *(page.path for page in pages)], check=False)
    return checked.returncode == 0


def main():
    listed = subprocess.run(["git", "-C", TOP, "ls-files", "--cached", "--others", "--exclude-standard", "*.md"],
                            check=True, capture_output=True, text=True)
    pages = {TOP / name: Page(TOP / name) for name in listed.stdout.splitlines()}
    wrong = [error for page in pages.values() for error in [*check_links(page, pages), *check_blocks(page)]]
    for error in wrong:
        print(error, file=sys.stderr)
    powershell = check_powershell(pages.values())
    spelling = check_spelling(pages.values())
    return 0 if powershell and spelling and not wrong else 1


if __name__ == "__main__":
    sys.exit(main())
