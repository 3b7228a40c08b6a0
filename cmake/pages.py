"""The pages of the documentation, as the checks read them."""

import pathlib
import re
import subprocess

TOP = pathlib.Path(__file__).resolve().parent.parent
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


def all_pages():
    """Every page of the project, committed or not yet."""
    listed = subprocess.run(["git", "-C", TOP, "ls-files", "--cached", "--others", "--exclude-standard", "*.md"],
                            check=True, text=True, stdout=subprocess.PIPE)
    return [Page(TOP / name) for name in listed.stdout.splitlines()]
