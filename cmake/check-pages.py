"""Checks the pages of the documentation: that links and named files lead somewhere, that what the tests do not run says
so, that XML is well written, and the spelling."""

import pathlib
import re
import subprocess
import sys
import xml.etree.ElementTree

from pages import TOP, all_pages

# What stands above a block that the tests cannot run, by the block's kind. A block of cmd with a name is a script that
# the tests run.
MARKS = {"cmd": "*Not run", "powershell": "*Not run on PowerShell; its syntax is checked.", "xml": "*Not run"}

# A switch of schtasks, and a flag that the handbook mistypes on purpose.
NO_MISTAKES = ["fo", "wiat"]

# A file of the sources, as the pages name it.
NAMED_FILE = re.compile(r"`((?:\.ci|cmake|docs|packaging|sim|src|tests|translations)/[\w./-]+|README\.md)`")
LINK = re.compile(r"\[[^\]]*\]\(([^)\s]*)\)")


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


def check_spelling(pages):
    checked = subprocess.run(["codespell", "--ignore-words-list", ",".join(NO_MISTAKES),
                              *(page.path for page in pages)], check=False)
    return checked.returncode == 0


def main():
    pages = {page.path: page for page in all_pages()}
    wrong = [error for page in pages.values() for error in [*check_links(page, pages), *check_blocks(page)]]
    for error in wrong:
        print(error, file=sys.stderr)
    spelling = check_spelling(pages.values())
    return 0 if spelling and not wrong else 1


if __name__ == "__main__":
    sys.exit(main())
