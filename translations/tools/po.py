"""Reading and writing PO files as far as this project's have them: numbers as contexts, no plurals."""

import dataclasses
import re

ESCAPES = {"\\": "\\\\", '"': '\\"', "\n": "\\n", "\t": "\\t", "\r": "\\r"}
UNESCAPES = {"n": "\n", "t": "\t", "r": "\r", "\\": "\\", '"': '"'}
QUOTED = re.compile(r'"((?:[^"\\]|\\.)*)"\s*')
KEYWORD = re.compile(r"(msgctxt|msgid|msgstr)\s+(.*)", re.DOTALL)


class PoError(Exception):
    """A line of a PO file that cannot be read; holds the line's number, what is wrong, and the file where it is known."""

    def __init__(self, line, what):
        super().__init__(f"{line}: {what}")
        self.line = line
        self.what = what
        self.path = None


@dataclasses.dataclass
class Entry:
    """One message. The lines tell where its comment begins and where its translation stands."""

    number: int
    english: str
    translation: str = ""
    notes: list = dataclasses.field(default_factory=list)  # the translator's own comments
    extracted: list = dataclasses.field(default_factory=list)
    references: list = dataclasses.field(default_factory=list)
    flags: list = dataclasses.field(default_factory=list)
    line: int = 0
    translation_line: int = 0

    @property
    def is_fuzzy(self):
        return "fuzzy" in self.flags


@dataclasses.dataclass
class Catalogue:
    """What a file holds; begin is its text before the first message."""

    header: dict
    entries: list
    begin: str = ""

    def by_number(self):
        return {entry.number: entry for entry in self.entries}


def quote(text):
    return '"' + "".join(ESCAPES.get(character, character) for character in text) + '"'


def unquote(line, number):
    """The text of a quoted string that fills the rest of a line."""
    found = QUOTED.fullmatch(line)
    if found is None:
        raise PoError(number, "a text in quotation marks is expected; inside it a quotation mark is \\\"")

    def character(escape):
        if escape[1] not in UNESCAPES:
            raise PoError(number, f"\\{escape[1]} is no escape of these files; a backslash is written \\\\")
        return UNESCAPES[escape[1]]

    return re.sub(r"\\(.)", character, found[1])


def header_fields(text):
    return dict(line.split(": ", 1) if ": " in line else (line.rstrip(":"), "") for line in text.splitlines() if line)


class _Reader:
    def __init__(self):
        self.header = None
        self.header_end = 0
        self.entries = []
        self._begin()

    def _begin(self):
        self.fields = {}
        self.lines = {}
        self.notes = {"# ": [], "#.": [], "#:": [], "#,": []}
        self.first = 0
        self.keyword = None

    def read(self, line, number):
        if not line.strip():
            self.finish(number)
        elif line.startswith("#"):
            if "msgstr" in self.fields:
                self.finish(number)
            self.first = self.first or number
            if line.ljust(2)[:2] in self.notes:
                self.notes[line.ljust(2)[:2]].append(line[2:].removeprefix(" ").rstrip())
        elif found := KEYWORD.match(line):
            keyword = found[1]
            if keyword in self.fields and keyword != "msgstr" or keyword != "msgstr" and "msgstr" in self.fields:
                self.finish(number)
            if keyword in self.fields:
                raise PoError(number, f"a second {keyword} in one entry")
            self.first = self.first or number
            self.keyword = keyword
            self.lines[keyword] = number
            self.fields[keyword] = unquote(found[2], number)
        elif line.lstrip().startswith('"') and self.keyword:
            self.fields[self.keyword] += unquote(line.strip(), number)
        else:
            raise PoError(number, "neither a comment, a keyword (msgctxt, msgid, msgstr) nor a text in quotation marks")

    def finish(self, number):
        fields, lines, notes, first = self.fields, self.lines, self.notes, self.first
        self._begin()
        if not fields:
            return
        missing = {"msgid", "msgstr"} - fields.keys()
        if missing:
            raise PoError(number - 1, f"the entry that begins in line {first} lacks its {' and its '.join(sorted(missing))}")
        if fields["msgid"] == "" and "msgctxt" not in fields:
            if self.header is not None or self.entries:
                raise PoError(lines["msgid"], "an empty msgid is the header's; it stands once, first")
            self.header = header_fields(fields["msgstr"])
            self.header_end = number - 1
            return
        context = fields.get("msgctxt", "")
        if not re.fullmatch(r"[0-9]+", context):
            raise PoError(lines.get("msgctxt", first), "msgctxt must be the message's number")
        self.entries.append(
            Entry(
                number=int(context),
                english=fields["msgid"],
                translation=fields["msgstr"],
                notes=notes["# "],
                extracted=notes["#."],
                references=[reference for line in notes["#:"] for reference in line.split()],
                flags=[flag.strip() for line in notes["#,"] for flag in line.split(",")],
                line=lines["msgid"],
                translation_line=lines["msgstr"],
            )
        )


def parse(text):
    """The catalogue that a PO file's text holds. Raises PoError."""
    reader = _Reader()
    number = 0
    lines = text.split("\n")
    for number, line in enumerate(lines, 1):
        reader.read(line.rstrip("\r"), number)
    reader.finish(number + 1)
    if reader.header is None:
        raise PoError(1, "the header, an entry with an empty msgid, is missing")
    return Catalogue(reader.header, reader.entries, "\n".join(lines[: reader.header_end]) + "\n")


def read(path):
    """The catalogue of a file. Raises PoError, also for a file that is not UTF-8."""
    data = path.read_bytes()
    try:
        try:
            return parse(data.decode("utf-8"))
        except UnicodeDecodeError as error:
            raise PoError(data[: error.start].count(b"\n") + 1, "not UTF-8") from error
    except PoError as error:
        error.path = path
        raise


def format_entry(entry):
    lines = [f"# {note}".rstrip() for note in entry.notes]
    lines += [f"#. {note}" for note in entry.extracted]
    if entry.references:
        lines.append("#: " + " ".join(entry.references))
    if entry.flags:
        lines.append("#, " + ", ".join(entry.flags))
    lines += [f'msgctxt "{entry.number}"', f"msgid {quote(entry.english)}", f"msgstr {quote(entry.translation)}"]
    return "\n".join(lines) + "\n"


def format_catalogue(catalogue):
    return "\n".join([catalogue.begin, *(format_entry(entry) for entry in catalogue.entries)])
