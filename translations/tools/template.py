"""The template of all translations: what the sources hold, with the comments that stand in it."""

import dataclasses
import re

import po
import sources

TEMPLATE = sources.ROOT / "translations/VLCmd.pot"
PLACEHOLDER = re.compile(r"%[0-9]+")

HEADER = f"""\
# The messages of VLCmd: number (msgctxt), English text (msgid), and where it is shown ("#.").
# Numbers, texts and files come from the sources ("./dev translate --update"); the comments are written here.
#
# For all messages: %1, %2, %3 are filled in by the program and may stand in any order, each as often as in English.
# Blanks at the end stay, and so do \\n (line end) and \\t (tab) at the beginning and the end. What is at most 79 columns
# wide on the usage screen stays so; a Japanese or Chinese letter takes two columns. VLCmd, Velundra, Tierweave, switches
# such as /st, NTFS, MFT, SSD and GUID stay as they are.
msgid ""
msgstr ""
"Project-Id-Version: VLCmd {sources.product_version()}\\n"
"PO-Revision-Date: \\n"
"Last-Translator: \\n"
"Language-Team: \\n"
"Language: \\n"
"MIME-Version: 1.0\\n"
"Content-Type: text/plain; charset=UTF-8\\n"
"Content-Transfer-Encoding: 8bit\\n"
"""


def collect():
    """The sources' messages in the order in which they stand there, and what is wrong with them as lines of text."""
    messages = {}
    wrong = []
    for path in sources.source_files():
        name = path.relative_to(sources.ROOT).as_posix()
        found, problems = sources.messages_of(path.read_text(encoding="utf-8"))
        wrong += [f"{name}:{line}: {what}" for line, what in problems]
        for number, english, line in found:
            known = messages.setdefault(number, sources.SourceMessage(number, english, []))
            if known.english != english:
                wrong.append(f"{name}:{line}: message {number} has another text in {known.files[0]}")
            if name not in known.files:
                known.files.append(name)
    return list(messages.values()), wrong


def entry_of(message, comments):
    flags = ["qt-format"] if PLACEHOLDER.search(message.english) else []
    return po.Entry(message.number, message.english, extracted=comments, references=message.files, flags=flags)


def make(messages, comments):
    """The template; comments are lists of lines by number."""
    return po.Catalogue({}, [entry_of(message, comments.get(message.number, [])) for message in messages], HEADER)


def merge(catalogue, reference):
    """A language's catalogue with the template's messages: translations stay with their numbers, and those whose
    English text has become another one are marked."""
    known = catalogue.by_number()
    entries = []
    for entry in reference.entries:
        old = known.get(entry.number, entry)
        is_doubtful = old.translation and (old.is_fuzzy or old.english != entry.english)
        flags = (["fuzzy"] if is_doubtful else []) + entry.flags
        entries.append(dataclasses.replace(entry, translation=old.translation, notes=old.notes, flags=flags))
    return po.Catalogue(catalogue.header, entries, catalogue.begin)
