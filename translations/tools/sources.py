"""The program's messages, as its sources hold them: number, English text and the files that they stand in."""

import dataclasses
import functools
import pathlib
import re

ROOT = pathlib.Path(__file__).resolve().parent.parent.parent

TOKEN = re.compile(
    r"""
      (?P<skipped> \s+ | //[^\n]* | /\*.*?\*/ | \#[ \t]*(?:include|pragma)\b[^\n]* | \\\n )
    | (?P<raw> (?P<raw_prefix>L|u8|u|U)? R"(?P<mark>[^()\\\s]{0,16})\((?P<raw_text>.*?)\)(?P=mark)" )
    | (?P<string> (?P<prefix>L|u8|u|U)? "(?P<text>(?:[^"\\\n]|\\.)*)" )
    | (?P<character> (?:L|u8|u|U)? '(?:[^'\\\n]|\\.)+' )
    | (?P<number> \.?[0-9](?:[eEpP][+-]|'[0-9A-Za-z]|[0-9A-Za-z_.])* )
    | (?P<word> [A-Za-z_]\w* )
    | (?P<sign> . )
    """,
    re.VERBOSE | re.DOTALL,
)

SIMPLE_ESCAPES = {"n": "\n", "t": "\t", "r": "\r", "v": "\v", "b": "\b", "f": "\f", "a": "\a", "0": "\0"}
ESCAPE = re.compile(r"\\(x[0-9A-Fa-f]+|[0-7]{1,3}|.)", re.DOTALL)

# The macro of the generated header with the product's version, which texts may hold.
VERSION_MACRO = "PRODUCT_VERSION"

# Calls that hand number and English text over without a Message.
LOOKUPS = {"GetMessage", "Find"}


class SourceError(Exception):
    """What a file holds cannot be understood, or contradicts another file."""


@dataclasses.dataclass
class Token:
    kind: str
    text: str
    line: int


@dataclasses.dataclass
class SourceMessage:
    number: int
    english: str
    files: list


@functools.cache
def product_version():
    """What the macro stands for: major and minor version of the project, as CMakeLists.txt has it."""
    found = re.search(r"project\(VLCmd VERSION (\d+\.\d+)\.", (ROOT / "CMakeLists.txt").read_text(encoding="utf-8"))
    if not found:
        raise SourceError("CMakeLists.txt tells no version of the project")
    return found[1]


def unescape(text):
    """What a string literal's inside stands for."""

    def character(found):
        escape = found[1]
        if escape[0] == "x":
            return chr(int(escape[1:], 16))
        if escape[0] in "01234567":
            return chr(int(escape, 8))
        return SIMPLE_ESCAPES.get(escape, escape)

    return ESCAPE.sub(character, text)


def tokens_of(source):
    """The tokens of a C++ source without comments, includes and pragmas; neighbouring string literals are one, the
    product's version among them."""
    tokens = []
    line = 1
    for found in TOKEN.finditer(source):
        kind = found.lastgroup if found.lastgroup in {"skipped", "character", "number", "word", "sign"} else None
        text = found[0]
        if found["raw"] is not None:
            kind, text = "wide" if found["raw_prefix"] else "string", found["raw_text"]
        elif found["string"] is not None:
            kind, text = "wide" if found["prefix"] else "string", unescape(found["text"])
        elif kind == "word" and text == VERSION_MACRO:
            kind, text = "string", product_version()
        if kind == "string" and tokens and tokens[-1].kind in {"string", "wide"}:
            tokens[-1].text += text
        elif kind != "skipped":
            tokens.append(Token(kind, text, line))
        line += found[0].count("\n")
    return tokens


def is_sign(token, sign):
    return token.kind == "sign" and token.text == sign


def is_whole_number(token):
    return token.kind == "number" and re.fullmatch(r"[0-9']+[uUlL]*", token.text) is not None


def is_message_at(tokens, at):
    """Whether the string literal at this place is a message's English text: {number, "text"} or a lookup's arguments."""
    if at < 3 or at + 1 >= len(tokens):
        return False
    before, number, comma, _, after = tokens[at - 3 : at + 2]
    if not (is_sign(comma, ",") and is_whole_number(number)):
        return False
    return is_sign(before, "{") and (is_sign(after, "}") or is_sign(after, ",")) or (
        (is_sign(before, "(") or is_sign(before, ",")) and enclosing_call(tokens, at - 2) in LOOKUPS
    )


def enclosing_call(tokens, at):
    """The name before the parenthesis that is open at this place."""
    depth = 0
    for index in range(at - 1, 0, -1):
        if is_sign(tokens[index], ")"):
            depth += 1
        elif is_sign(tokens[index], "("):
            if depth == 0:
                return tokens[index - 1].text
            depth -= 1
    return ""


def value_of(token):
    return int(token.text.replace("'", "").rstrip("uUlL"))


def is_no_message_at(tokens, at):
    """Whether the narrow literal at this place is surely none: a language linkage, what an assertion says, or a name
    that a function of Windows is looked up by."""
    if tokens[at - 1].text == "extern" or enclosing_call(tokens, at) in {"static_assert", "deprecated"}:
        return True
    is_name = re.fullmatch(r"[A-Za-z_][A-Za-z0-9_]*(\.dll)?", tokens[at].text) is not None
    is_argument = is_sign(tokens[at - 1], "(") or (is_sign(tokens[at - 1], ",") and tokens[at - 2].kind != "number")
    return is_name and is_argument and enclosing_call(tokens, at) not in {"", *LOOKUPS}


def messages_of(source):
    """What a source holds: its messages as (number, text, line), and what is wrong as (line, what): a narrow literal
    that may be a message in a form that is not understood here."""
    tokens = tokens_of(source)
    messages, wrong = [], []
    for at, token in enumerate(tokens):
        if token.kind != "string":
            continue
        if is_message_at(tokens, at):
            messages.append((value_of(tokens[at - 2]), token.text, token.line))
        elif not is_no_message_at(tokens, at):
            wrong.append((token.line, f'"{token.text}" is not in the form {{number, "text"}} of a message'))
    return messages, wrong


def source_files(root=ROOT):
    return sorted(path for path in (root / "src").rglob("*") if path.suffix in {".h", ".cpp"})
