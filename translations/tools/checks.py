"""What a language's file must be: complete, with the English texts' placeholders, and as wide as its screens allow."""

import collections
import dataclasses
import re
import subprocess
import tempfile

import columns
import po
import template
import translation_file

# The last column of a console stays free: a text that fills it makes an empty line follow.
USAGE_WIDTH = 79
USAGE = "src/cmd/usage.cpp"

# What stays as it is in every language.
FIXED = re.compile(r"VLCmd|Velundra|Tierweave|NTFS|MFT|SSD|GUID|(?<![\w<])/[a-z?]+")
PLACEHOLDER = re.compile(r"%[0-9]+|%%")
NAME = re.compile(r"<[^<>]*>")

# A line of a statistics report: its label, and the value in it or behind it.
LABEL = re.compile(r"(?P<begin>\n?)(?P<label>[^\n]*?)(?P<value>:   (?:%1\n?)?)")
# A line that explains a word: the word, and the text behind the hyphen.
EXPLANATION = re.compile(r"(?P<word>\S+) +- ")

# A line of two percentages or their heading, and percentages as narrow and as wide as they come.
PERCENTAGES = re.compile(r"(?P<before>[^\t]*\t+)(?P<first>[^\t]+)(?P<gap>\t+)(?P<second>[^\t]+)")
SAMPLES = ("0", "42", "100")


@dataclasses.dataclass(frozen=True, order=True)
class Problem:
    line: int
    what: str
    is_warning: bool = False


def lead(text):
    return text[: len(text) - len(text.lstrip(" \t\n"))]


def tail(text):
    return text[len(text.rstrip(" \t\n")) :]


def listed(counted):
    return ", ".join(sorted(counted.elements()))


class Checker:
    """Checks one file against the template; what is wrong gathers in problems."""

    def __init__(self, language, catalogue, reference):
        self.language = language
        self.header = catalogue.header
        self.entries = catalogue.entries
        self.reference = reference
        self.problems = []
        # What the template holds, with the file's translations, in the template's order.
        found = catalogue.by_number()
        self.pairs = [
            (english, found[english.number])
            for english in reference.entries
            if english.number in found and found[english.number].translation
        ]

    def wrong(self, entry, what):
        self.problems.append(Problem(entry.translation_line, f"message {entry.number}: {what}"))

    def warn(self, entry, what):
        self.problems.append(Problem(entry.translation_line, f"message {entry.number}: {what}", True))

    def check(self):
        self.check_header()
        self.check_completeness()
        for english, entry in self.pairs:
            self.check_placeholders(english.english, entry)
            self.check_characters(english.english, entry)
            self.check_blanks(english.english, entry)
            self.check_fixed(english.english, entry)
            self.check_end(english.english, entry)
            self.check_pages(entry)
        self.check_names()
        self.check_usage()
        self.check_labels()
        self.check_percentages()
        self.check_carried()
        return sorted(self.problems)

    def check_header(self):
        for field, expected in (("Language", self.language.code), ("Content-Type", "text/plain; charset=UTF-8")):
            if self.header.get(field) != expected:
                self.problems.append(Problem(1, f'the header\'s {field} is not "{expected}"'))

    def check_completeness(self):
        known = self.reference.by_number()
        seen = {}
        for entry in self.entries:
            if entry.number in seen:
                self.wrong(entry, f"stands in line {seen[entry.number]} already")
            seen[entry.number] = entry.line
            if entry.number not in known:
                self.wrong(entry, "the program has no message of this number")
            elif entry.english != known[entry.number].english:
                self.wrong(entry, f"the English text is {po.quote(known[entry.number].english)}")
            if not entry.translation:
                self.wrong(entry, "is not translated")
            elif entry.is_fuzzy:
                self.wrong(entry, 'is marked "fuzzy": look whether the translation holds, then remove the mark')
        for number in known.keys() - seen.keys():
            self.problems.append(Problem(1, f"message {number} is missing: {po.quote(known[number].english)}"))

    def check_same(self, pattern, english, entry, what):
        wanted = collections.Counter(pattern.findall(english))
        found = collections.Counter(pattern.findall(entry.translation))
        if wanted - found:
            self.wrong(entry, f"{what} missing: {listed(wanted - found)}")
        if found - wanted:
            self.wrong(entry, f"{what} that the English has not: {listed(found - wanted)}")

    def check_placeholders(self, english, entry):
        self.check_same(PLACEHOLDER, english, entry, "placeholders")

    def check_characters(self, english, entry):
        for character in sorted(set(entry.translation)):
            code = ord(character)
            if (code < 0x20 and character not in "\n\t") or 0x7F <= code < 0xA0:
                self.wrong(entry, f"control character U+{code:04X}")
            elif 0xD800 <= code < 0xF900 or code in (0xFEFF, 0xFFFD) or 0x200B <= code < 0x2010:
                self.wrong(entry, f"character U+{code:04X}, which shows nothing or is private")
        if english.count("\n") != entry.translation.count("\n"):
            self.wrong(entry, "not as many line ends (\\n) as in English")
        if "\t" in entry.translation and "\t" not in english:
            self.wrong(entry, "a tab (\\t) where English has none")

    def check_blanks(self, english, entry):
        # Tabs at the beginning are what aligns a heading; their number is its translation's own.
        if not lead(entry.translation).replace("\t", "").startswith(lead(english).replace("\t", "")):
            self.wrong(entry, f"does not begin with {po.quote(lead(english))}")
        if tail(entry.translation) != tail(english):
            self.wrong(entry, f"does not end with {po.quote(tail(english))}, as English does")

    def check_fixed(self, english, entry):
        if english.startswith("VLCmd "):
            if NAME.sub("<>", english) != NAME.sub("<>", entry.translation):
                self.wrong(entry, "is not the English line with nothing but the names in angle brackets translated")
            return
        self.check_same(FIXED, english, entry, "words that stay as they are")
        number = re.match(r"[0-9]+\. ", english)
        if number and not entry.translation.startswith(number[0]):
            self.wrong(entry, f'does not begin with "{number[0]}"')

    def check_end(self, english, entry):
        for sign, forms in ((".", ".。"), (":", ":：")):
            has = english.rstrip().endswith(sign)
            if has != entry.translation.rstrip().endswith(tuple(forms)):
                self.warn(entry, f'{"no" if has else "a"} "{sign}" at the end, unlike English')
        letters = re.sub(r"[^A-Za-z]", "", FIXED.sub("", NAME.sub("", english)))
        if entry.translation == english and len(letters) > 2:
            self.warn(entry, "is the English text")

    def check_pages(self, entry):
        for page in self.language.pages:
            lacking = ""
            for character in entry.translation:
                try:
                    character.encode(f"cp{page}")
                except UnicodeEncodeError:
                    lacking += character
            if lacking:
                self.warn(entry, f"code page {page} lacks {' '.join(dict.fromkeys(lacking))}")

    def check_names(self):
        """A name in angle brackets is translated in one way, and no two in the same way."""
        translations, users = {}, {}
        for english, entry in self.pairs:
            originals, names = NAME.findall(english.english), NAME.findall(entry.translation)
            if len(originals) != len(names):
                # Of the line of a command that has been said already.
                if not english.english.startswith("VLCmd "):
                    self.wrong(entry, "not as many names in angle brackets as in English")
                continue
            for original, name in zip(originals, names):
                first, first_entry = translations.setdefault(original, (name, entry))
                if name != first:
                    self.wrong(entry, f"{original} is {name} here and {first} in message {first_entry.number}")
                if users.setdefault(name, original) != original:
                    self.wrong(entry, f"{name} stands for {original} and for {users[name]}")

    def width(self, text, begin=0):
        return columns.end_of(text, self.language.wide, begin)

    def check_usage(self):
        """Lines of the usage screen within a console's width, and hyphens of neighbouring lines under each other."""
        run, run_column = [], None
        for english, entry in self.pairs:
            if USAGE not in english.references:
                continue
            if self.width(english.english) <= USAGE_WIDTH < (width := self.width(entry.translation)):
                self.wrong(entry, f"{width} columns wide; {USAGE_WIDTH} are allowed")
            explained = EXPLANATION.match(english.english)
            column = explained.end() if explained else None
            if column != run_column:
                self.check_run(run)
                run, run_column = [], column
            if explained:
                run.append((english, entry))
        self.check_run(run)

    def check_run(self, run):
        places = []
        for _, entry in run:
            explained = re.match(r"(\S+) +- ", entry.translation)
            if explained is None:
                self.wrong(entry, 'is not a word, blanks and " - " before its explanation')
            else:
                places.append((entry, self.width(explained[0])))
        self.check_aligned(places, "the explanation")

    def check_aligned(self, places, what):
        """Places are (entry, column); those that are not where most are, are wrong."""
        if not places:
            return
        usual = collections.Counter(column for _, column in places).most_common(1)[0][0]
        reference = next(entry for entry, column in places if column == usual)
        for entry, column in places:
            if column != usual:
                self.wrong(entry, f"{what} begins in column {column + 1}, in message {reference.number} in {usual + 1}")

    def check_labels(self):
        """Values of one report begin in one column. Reports are told apart by that column in English."""
        reports = collections.defaultdict(list)
        for english, entry in self.pairs:
            original = LABEL.fullmatch(english.english)
            if original is None:
                continue
            translated = LABEL.fullmatch(entry.translation)
            if translated is None or translated["value"] != original["value"]:
                self.wrong(entry, f"does not end with {po.quote(original['value'])}, as English does")
                continue
            reports[len(original["label"])].append((entry, self.width(translated["label"] + ":   ")))
        for places in reports.values():
            self.check_aligned(places, "the value")

    def check_percentages(self):
        """The lines of two percentages line up with each other and with their heading, whatever the values are."""
        lines = []
        for english, entry in self.pairs:
            if original := PERCENTAGES.fullmatch(english.english):
                translated = PERCENTAGES.fullmatch(entry.translation)
                is_heading = "%1" not in original["first"]
                if translated and (is_heading or translated.group("first", "second") == original.group("first", "second")):
                    lines.append((entry, translated))
                else:
                    self.wrong(entry, "is not a text, tabs, a text, tabs and a text, the last two as in English where"
                                      " they are percentages")
        for value in SAMPLES:
            firsts = [(entry, self.width(line["before"])) for entry, line in lines]
            seconds = [
                (entry, self.width(line["first"].replace("%1%%", value + "%") + line["gap"], self.width(line["before"])))
                for entry, line in lines
            ]
            known = len(self.problems)
            self.check_aligned(firsts, f"with {value}% the first percentage or its heading")
            self.check_aligned(seconds, f"with {value}% the second percentage or its heading")
            if len(self.problems) > known:
                return

    def check_carried(self):
        """Every translation comes out of the translation file as it went in."""
        for entry in self.entries:
            carried = translation_file.read(translation_file.make([entry]))
            if entry.translation and not entry.is_fuzzy and carried != {entry.number: entry.translation}:
                self.wrong(entry, "cannot be carried by the translation file")


def msgfmt_problems(path):
    """What gettext's own check has to say about a PO file."""
    with tempfile.NamedTemporaryFile(suffix=".mo") as made:
        done = subprocess.run(
            ["msgfmt", "--check", f"--output-file={made.name}", str(path)],
            capture_output=True, text=True, check=False, env={"PATH": "/usr/bin:/bin", "LC_ALL": "C.UTF-8"},
        )
    problems = []
    for text in done.stderr.splitlines():
        if found := re.match(r"\S.*?:(\d+):(?:\d+:)? (.*)", text):
            problems.append(Problem(int(found[1]), f"msgfmt: {found[2]}"))
    if done.returncode != 0 and not problems:
        problems.append(Problem(1, f"msgfmt: {done.stderr.strip()}"))
    return problems


def check_file(language, path):
    """What is wrong with a language's PO file, by line."""
    reference = po.read(template.TEMPLATE)
    try:
        catalogue = po.read(path)
    except po.PoError as error:
        return [Problem(error.line, error.what)]
    return sorted(set(Checker(language, catalogue, reference).check() + msgfmt_problems(path)))
