"""The tool's translation file: UTF-16LE without a byte-order mark, a header line, then a line a message."""

import re

HEADER = "#VL_TRANSLATION_FILE"
ESCAPES = {"\\": "\\\\", '"': '\\"', "\n": "\\n", "\r": "\\r", "\t": "\\t"}
UNESCAPES = {"n": "\n", "r": "\r", "t": "\t", "v": "\v", "b": "\b", "f": "\f"}


def quote(text):
    return '"' + "".join(ESCAPES.get(character, character) for character in text) + '"'


def make(entries):
    """The file's bytes with every message that has a translation to be used."""
    lines = [HEADER]
    for entry in entries:
        if entry.translation and not entry.is_fuzzy:
            lines.append("\t".join([str(entry.number), quote(entry.english), quote(entry.translation)]))
    return "".join(line + "\r\n" for line in lines).encode("utf-16-le")


def read(data):
    """The translations by number, read as the program reads them; see src/messages/translation_file.h."""
    text = data.decode("utf-16-le", "surrogatepass").partition("\0")[0]
    lines = [line for line in re.split(r"[\r\n]+", text) if line]
    if not lines or lines[0] != HEADER:
        return {}
    translations = {}
    for line in lines[1:]:
        fields = [field for field in line.split("\t") if field]
        if len(fields) == 3:
            unescaped = re.sub(r"\\(.)", lambda found: UNESCAPES.get(found[1], found[1]), fields[2], flags=re.DOTALL)
            translations[int(fields[0])] = unescaped[1:-1]
    return translations
