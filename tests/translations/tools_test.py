"""Tests of the translations' tools: what they find in sources, what they find wrong in a file, what they write."""

import contextlib
import dataclasses
import io
import pathlib
import re
import subprocess
import sys
import tempfile
import unittest
from unittest import mock

ROOT = pathlib.Path(__file__).resolve().parent.parent.parent
TOOLS = ROOT / "translations/tools"
sys.dont_write_bytecode = True
sys.path.insert(0, str(TOOLS))

import checks
import columns
import languages
import po
import sources
import template
import translate
import translation_file

HEADER = (
    'msgid ""\nmsgstr ""\n"Project-Id-Version: VLCmd 14.0\\n"\n"PO-Revision-Date: 2026-11-22 00:00+0000\\n"\n'
    '"Last-Translator: Somebody\\n"\n"Language-Team: German\\n"\n"Language: de\\n"\n"MIME-Version: 1.0\\n"\n'
    '"Content-Type: text/plain; charset=UTF-8\\n"\n"Content-Transfer-Encoding: 8bit\\n"\n'
)
GERMAN = languages.find("de")
JAPANESE = languages.find("ja")
USAGE = checks.USAGE


def found_in(source):
    return sources.messages_of(source)[0]


def wrong_in(source):
    return [what for _, what in sources.messages_of(source)[1]]


class Sources(unittest.TestCase):
    def test_hold_messages_as_initialisers(self):
        source = 'constexpr Message kA{5, "One"};\nconst Row rows[] = {{{6, "Two"}, 3},\n {L"x", {7, "Three"}}};\n'
        self.assertEqual([(5, "One", 1), (6, "Two", 2), (7, "Three", 3)], found_in(source))
        self.assertEqual([], wrong_in(source))

    def test_hold_messages_as_arguments_of_a_lookup(self):
        source = 'GetMessage(GetMessageCatalogue(), 1647, "Failed (%1).");\ncatalogue.Find(8, "Eight");'
        self.assertEqual([(1647, "Failed (%1).", 1), (8, "Eight", 2)], found_in(source))

    def test_may_split_a_text_over_lines(self):
        self.assertEqual([(5, "One two", 2)], found_in('Message kA{\n    5, "One "\n       "two"};'))

    def test_may_hold_escapes_raw_strings_and_parted_numbers(self):
        source = r'Message a{5, "\tA\\\"\x41\n"}; Message b{6, R"(a\n"b")"}; Message c{4'r"'"r'2404U, "%1 YB"};'
        self.assertEqual([(5, '\tA\\"A\n', 1), (6, 'a\\n"b"', 1), (42404, "%1 YB", 1)], found_in(source))

    def test_may_hold_the_products_version(self):
        source = 'Message a{5, "Product " PRODUCT_VERSION}; Row b{L"wide\\\\" PRODUCT_VERSION L"\\\\x"};'
        with mock.patch.object(sources, "product_version", return_value="3.7"):
            self.assertEqual(([(5, "Product 3.7", 1)], []), sources.messages_of(source))

    def test_hold_no_messages_in_comments_wide_strings_and_includes(self):
        source = '// {5, "One"}\n/* {6, "Two" */ Row a{7, L"Three"};\n#include "cmd/usage.h"\nchar c = \'"\';\n'
        self.assertEqual(([], []), sources.messages_of(source))

    def test_are_wrong_where_a_text_is_not_in_a_messages_form(self):
        for source in (
            'Message kA{kNumber, "Idle"};',
            'Message kA{5 + 1, "Idle"};',
            'Message kA{0x10, "Idle"};',
            'GetMessage(catalogue, kNumber, "Idle");',
            'Add(5, "Idle");',
            'const char* text = "Idle";',
            'Print("Some words");',
            'Message kA{.number = 5, .english = "Idle"};',
        ):
            with self.subTest(source):
                self.assertEqual([], found_in(source))
                self.assertEqual(1, len(wrong_in(source)))

    def test_may_name_functions_linkages_and_assertions(self):
        source = (
            'extern "C" int wmain(); static_assert(CP_ACP == 0, "an answer of 0");\n'
            'GetProcAddress(kernel, "IsWow64Process"); Load load("SHGetFolderPathW");'
        )
        self.assertEqual(([], []), sources.messages_of(source))

    def test_of_the_program_hold_what_is_known_of_them(self):
        messages, wrong = template.collect()
        self.assertEqual([], wrong)
        known = {message.number: message for message in messages}
        self.assertEqual("Velundra 14.0", known[2447].english)
        self.assertEqual("Failed to set control handler (%1).", known[1647].english)
        self.assertEqual("\nDrive                           :   %1\n", known[183].english)
        self.assertEqual(["src/engine/formatting.cpp"], known[42404].files)
        self.assertEqual(55 - 3, sum(USAGE in message.files for message in messages))


class Po(unittest.TestCase):
    ENTRY = '\n#. Where: here.\n#: src/a.cpp\n#, qt-format\nmsgctxt "5"\nmsgid "One %1"\nmsgstr ""\n"Eins "\n"%1\\n"\n'

    def test_is_read(self):
        catalogue = po.parse(HEADER + self.ENTRY)
        self.assertEqual("de", catalogue.header["Language"])
        (entry,) = catalogue.entries
        self.assertEqual((5, "One %1", "Eins %1\n"), (entry.number, entry.english, entry.translation))
        self.assertEqual((["Where: here."], ["src/a.cpp"], ["qt-format"]), (entry.extracted, entry.references, entry.flags))
        self.assertEqual(HEADER.count("\n") + 7, entry.translation_line)

    def test_is_written_as_gettext_writes_it(self):
        with tempfile.TemporaryDirectory() as folder:
            path = pathlib.Path(folder) / "a.po"
            path.write_text(HEADER + "\n" + po.format_entry(po.parse(HEADER + self.ENTRY).entries[0]), encoding="utf-8")
            done = subprocess.run(["msgcat", "--no-wrap", path], capture_output=True, text=True, check=True)
            self.assertEqual(path.read_text(encoding="utf-8"), done.stdout)

    def test_tells_the_line_of_what_cannot_be_read(self):
        for text, line in (
            (HEADER + '\nmsgctxt "5"\nmsgid "a"b"\nmsgstr ""\n', 13),
            (HEADER + '\nmsgctxt "5"\nmsgid "a\nmsgstr ""\n', 13),
            (HEADER + '\nmsgctxt "five"\nmsgid "a"\nmsgstr ""\n', 12),
            (HEADER + '\nmsgid "a"\nmsgstr ""\n', 12),
            (HEADER + '\nmsgctxt "5"\nmsgid "a"\n', 13),
            (HEADER + '\nmsgctxt "5"\nmsgid "C:\\Windows"\nmsgstr ""\n', 13),
            (HEADER + "\nfive\n", 12),
            ("\ufeff" + HEADER, 1),
            ('msgctxt "5"\nmsgid "a"\nmsgstr "b"\n', 1),
        ):
            with self.subTest(text[-40:]), self.assertRaises(po.PoError) as raised:
                po.parse(text)
            self.assertEqual(line, raised.exception.line)

    def test_is_utf8(self):
        with tempfile.TemporaryDirectory() as folder:
            path = pathlib.Path(folder) / "a.po"
            path.write_bytes(HEADER.encode() + b'\nmsgctxt "5"\nmsgid "a"\nmsgstr "gr\xfc\xdfe"\n')
            with self.assertRaises(po.PoError) as raised:
                po.read(path)
            self.assertEqual(14, raised.exception.line)


class Columns(unittest.TestCase):
    def test_of_letters(self):
        self.assertEqual(6, columns.end_of("größer", False))
        self.assertEqual(6, columns.end_of("日本語", False))
        self.assertEqual(3, columns.end_of("ｱｲｳ", True))
        self.assertEqual(1, columns.end_of("e\u0301", False))

    def test_of_letters_that_are_wide_in_the_east_alone(self):
        self.assertEqual(2, columns.end_of("…“", False))
        self.assertEqual(4, columns.end_of("…“", True))

    def test_of_tabs(self):
        self.assertEqual(8, columns.end_of("\t", False))
        self.assertEqual(16, columns.end_of("12345678\t", False))
        self.assertEqual(9, columns.end_of("\ta", False, 7))
        self.assertEqual(17, columns.end_of("\ta", False, 8))
        self.assertEqual(8, columns.end_of("日本語\t", False))


def entry(number, english, translation="", usage=False):
    return po.Entry(number, english, translation, references=[USAGE if usage else "src/a.cpp"], translation_line=number)


def problems_of(pairs, language=GERMAN, usage=False):
    """What is wrong with translations, as (number, text of the problem); pairs are English and translation."""
    english = [entry(number, text, "", usage) for number, (text, _) in enumerate(pairs, 1)]
    translated = [entry(number, text, made, usage) for number, (text, made) in enumerate(pairs, 1)]
    header = {"Language": language.code, "Content-Type": "text/plain; charset=UTF-8"}
    found = checks.Checker(language, po.Catalogue(header, translated), po.Catalogue({}, english)).check()
    return [(problem.line, problem.what.partition(": ")[2]) for problem in found]


class Checks(unittest.TestCase):
    def assert_one(self, number, part, pairs, **options):
        found = problems_of(pairs, **options)
        self.assertEqual(1, len(found), found)
        self.assertEqual(number, found[0][0])
        self.assertIn(part, found[0][1])

    def test_have_nothing_to_say_of_a_good_file(self):
        self.assertEqual([], problems_of([("Drive %1 was stopped.", "%1: Laufwerk angehalten."), ("Idle", "Leerlauf")]))

    def test_want_the_placeholders_of_the_english(self):
        for translation in ("Von %1.", "Von %1 nach %2 und %2.", "Von %1 nach %3."):
            with self.subTest(translation):
                self.assertIn("placeholders", problems_of([("From %1 to %2.", translation)])[0][1])
        self.assertEqual([], problems_of([("From %1 to %2.", "Nach %2 von %1.")]))
        self.assert_one(1, "placeholders missing: %%", [("Done %1%% of %2%%", "Fertig: %1%% von %2%")])

    def test_want_every_message_translated_once(self):
        self.assert_one(2, "is not translated", [("One", "Eins"), ("Two", "")])
        catalogue = po.Catalogue({"Language": "de", "Content-Type": "text/plain; charset=UTF-8"},
                                 [entry(1, "One", "Eins"), entry(1, "One", "Ein"), entry(9, "Nine", "Neun"),
                                  entry(3, "Threee", "Drei"), dataclasses.replace(entry(4, "Four", "Vier"), flags=["fuzzy"])])
        reference = po.Catalogue({}, [entry(1, "One"), entry(2, "Two"), entry(3, "Three"), entry(4, "Four")])
        found = [problem.what for problem in checks.Checker(GERMAN, catalogue, reference).check()]
        for part in ("message 1: stands in line 0 already", 'message 2 is missing: "Two"',
                     'message 3: the English text is "Three"', 'message 4: is marked "fuzzy"', "message 9: the program has no"):
            self.assertTrue(any(part in what for what in found), (part, found))
        self.assertEqual(5, len(found), found)

    def test_want_the_header_of_the_language(self):
        catalogue = po.Catalogue({"Language": "fr", "Content-Type": "text/plain; charset=ISO-8859-1"}, [])
        found = checks.Checker(GERMAN, catalogue, po.Catalogue({}, [])).check()
        self.assertEqual(["the header's Content-Type", "the header's Language"], [p.what.split(" is ")[0] for p in found])

    def test_refuse_characters_that_do_not_show(self):
        for character in "\r\a\x00\x7f\x85\ufeff\u200b\ufffd\ue000":
            with self.subTest(hex(ord(character))):
                self.assertTrue(any(f"U+{ord(character):04X}" in what for _, what in problems_of([("One", f"Ei{character}ns")])))

    def test_refuse_what_the_file_cannot_carry(self):
        self.assertIn((1, "cannot be carried by the translation file"), problems_of([("One", "Ei\0ns")]))

    def test_refuse_line_ends_and_tabs_that_the_english_has_not(self):
        self.assert_one(1, "line ends", [("One two", "Eins\nzwei")])
        self.assert_one(1, "a tab", [("One two", "Eins\tzwei")])
        self.assertIn((1, 'does not begin with "\\n"'), problems_of([("\nOne", "Eins")]))
        self.assertIn((1, 'does not end with "\\n", as English does'), problems_of([("One\n", "Eins")]))

    def test_want_blanks_at_the_end_kept_and_allow_more_at_the_beginning(self):
        self.assert_one(1, 'does not end with " "', [("Status: ", "Zustand:")])
        self.assert_one(1, 'does not end with ""', [("Idle", "Leerlauf ")])
        self.assertEqual([], problems_of([("Status: ", "  Zustand: ")]))
        self.assert_one(1, 'does not begin with "    "', [("    Usage :", "  Aufruf:")])

    def test_want_words_that_scripts_go_by_kept(self):
        self.assert_one(1, "VLCmd", [("the VLCmd command", "der Befehl")])
        self.assertEqual(2, len(problems_of([("use /st now.", "jetzt /status.")])))
        self.assert_one(1, "/st", [("use this.", "jetzt /st.")])
        self.assert_one(1, '"8. "', [("8. Do", "9. Tu")])
        self.assertEqual([], problems_of([("one", "ein und/oder zwei")]))

    def test_want_the_form_of_a_command_kept(self):
        line = "VLCmd /id <drive> <id>   [/c <computer-name>]"
        self.assertEqual([], problems_of([(line, "VLCmd /id <Laufwerk> <Kennung>   [/c <Computer>]")]))
        for translation in ("VLCmd /id <Laufwerk> <Kennung> [/c <Computer>]", "VLCmd /ID <drive> <id>   [/c <computer-name>]",
                            "VLCmd /id Laufwerk <Kennung>   [/c <Computer>]"):
            with self.subTest(translation):
                self.assertTrue(any("angle brackets" in what for _, what in problems_of([(line, translation)])))

    def test_want_one_translation_for_a_name(self):
        line = "VLCmd /st [/c <computer-name>]"
        self.assert_one(2, "<computer-name> is <Rechner> here and <Computer> in message 1",
                        [(line, "VLCmd /st [/c <Computer>]"), (line, "VLCmd /st [/c <Rechner>]")])
        self.assert_one(1, "<x> stands for <b> and for <a>", [("VLCmd <a> <b>", "VLCmd <x> <x>")])

    def test_want_usage_lines_within_the_screen_where_english_is(self):
        self.assertEqual([], problems_of([("One", "x" * 79)], usage=True))
        self.assert_one(1, "80 columns wide", [("One", "x" * 80)], usage=True)
        self.assert_one(1, "80 columns wide", [("One", "字" * 40)], language=JAPANESE, usage=True)
        self.assertEqual([], problems_of([("x" * 80, "y" * 90)], usage=True))
        self.assertEqual([], problems_of([("One", "x" * 80)]))

    def test_want_explanations_of_neighbouring_lines_in_one_column(self):
        lines = [("<a>  - one", "<erstes>  - eins"), ("<bb> - two", "<zweites> - zwei"), ("<c>  - more", "<drittes> - drei")]
        self.assertEqual([], problems_of(lines, usage=True))
        self.assert_one(1, "the explanation begins in column 12, in message 2 in 13",
                        [("<a>  - one", "<erstes> - eins"), *lines[1:]], usage=True)
        self.assert_one(1, 'is not a word, blanks and " - "', [("/w - wait", "/w: warten")], usage=True)
        # Lines that English does not align, or that others part, are on their own.
        self.assertEqual([], problems_of([("/d - one", "/d - eins"), ("/all - two", "/all - zwei")], usage=True))
        self.assertEqual([], problems_of([("/d - one", "/d - eins"), ("Where:", "Dabei:"), ("/s - two", "/s  - zwei")],
                                         usage=True))

    def test_want_the_values_of_a_report_in_one_column(self):
        report = [("\nDrive :   %1\n", "\nLaufwerk :   %1\n"), ("Date  :   %1\n", "Datum    :   %1\n"),
                  ("Share :   ", "Anteil   :   ")]
        self.assertEqual([], problems_of(report))
        self.assert_one(2, "the value begins in column 10, in message 1 in 14", [report[0], ("Date  :   %1\n", "Datum:   %1\n"), report[2]])
        # Reports are told apart by the column in English.
        self.assertEqual([], problems_of([*report, ("Date   :   %1", "Datum :   %1")]))
        self.assert_one(1, 'does not end with ":   %1\\n"', [("Date  :   %1\n", "Datum: %1\n")])
        self.assertEqual([], problems_of([("Date  :   %1\n", "日付  :   %1\n"), ("Share :   ", "割合  :   ")], language=JAPANESE))
        self.assert_one(2, "the value begins in column 12, in message 1 in 11",
                        [("Date  :   %1\n", "日付  :   %1\n"), ("Share :   ", "割合   :   ")], language=JAPANESE)

    def test_want_percentages_under_their_heading(self):
        heading = ("\t\t\t\tBefore\tAfter", "\t\t\t\t\t\tVorher\tNachher")
        long = "Fragmentierung des freien Speicherplatzes"
        lines = [heading, ("File Fragmentation\t\t%1%%\t%2%%", "Dateifragmentierung\t\t\t\t%1%%\t%2%%"),
                 ("Free Space Fragmentation\t%1%%\t%2%%", long + "\t%1%%\t%2%%")]
        self.assertEqual([], problems_of(lines))
        found = problems_of([heading, (lines[1][0], "Dateifragmentierung\t\t\t%1%%\t%2%%"), lines[2]])
        self.assertIn((2, "with 0% the first percentage or its heading begins in column 41, in message 1 in 49"), found)
        self.assertEqual({2}, {number for number, _ in found})
        found = problems_of([(heading[0], "\t\t\t\t\t\tVor Beginn\tNachher"), *lines[1:]])
        self.assertEqual([1], [number for number, what in found if "the second percentage" in what])
        for translation in ("Dateien\t\t%2%%\t%1%%", "Dateien %1%%\t%2%%"):
            self.assert_one(1, "is not a text, tabs", [(lines[1][0], translation)])

    def test_warn_of_letters_that_the_pages_lack(self):
        self.assert_one(1, "code page 850 lacks „ “", [("'One'", "„Eins“")])
        self.assertEqual([(1, "code page 932 lacks ü")], problems_of([("One", "ü")], language=JAPANESE))

    def test_warn_of_ends_unlike_the_english_and_of_english_left(self):
        self.assert_one(1, 'no "." at the end', [("One.", "Eins")])
        self.assert_one(1, 'a ":" at the end', [("One", "Eins:")])
        self.assert_one(1, "is the English text", [("Idle", "Idle")])
        self.assertEqual([], problems_of([("%1 KB", "%1 KB"), ("VLCmd /st [/c <x>]", "VLCmd /st [/c <x>]")]))
        self.assertEqual([], problems_of([("One.", "一。")], language=JAPANESE))


class File(unittest.TestCase):
    def test_is_checked_by_gettext_too(self):
        with tempfile.TemporaryDirectory() as folder:
            path = pathlib.Path(folder) / "de.po"
            path.write_text(HEADER + '\n#, qt-format\nmsgctxt "1363"\nmsgid "Drive %1 was stopped."\nmsgstr "Halt."\n',
                            encoding="utf-8")
            found = [p.what for p in checks.check_file(GERMAN, path) if p.what.startswith("msgfmt")]
            self.assertEqual(1, len(found), found)
            self.assertIn("a format specification for argument 1", found[0])

    def test_with_the_english_texts_as_translation_has_no_error(self):
        reference = po.read(template.TEMPLATE)
        catalogue = po.Catalogue({"Language": "de", "Content-Type": "text/plain; charset=UTF-8"},
                                 [dataclasses.replace(e, translation=e.english) for e in reference.entries])
        found = checks.Checker(GERMAN, catalogue, reference).check()
        self.assertEqual([], [problem for problem in found if not problem.is_warning])


class Template(unittest.TestCase):
    def problems_with(self, text):
        """What is said of a template of this text."""
        with tempfile.TemporaryDirectory() as folder:
            path = pathlib.Path(folder) / "VLCmd.pot"
            path.write_text(text, encoding="utf-8")
            with mock.patch.object(template, "TEMPLATE", path), contextlib.redirect_stderr(io.StringIO()) as said:
                wrong = translate.check_template()
        self.assertEqual(bool(said.getvalue()), wrong)
        return said.getvalue()

    def test_is_what_the_sources_say(self):
        self.assertEqual("", self.problems_with(template.TEMPLATE.read_text(encoding="utf-8")))

    def test_is_wrong_when_a_message_has_changed_come_or_gone(self):
        text = template.TEMPLATE.read_text(encoding="utf-8")
        first, rest = text.split("\n\n", 2)[1:]
        for changed in (text.replace('msgid "Idle"', 'msgid "Idling"'), text.replace('"1934"', '"1935"'),
                        text.replace(first + "\n\n", ""), text + '\n#. x\nmsgctxt "1"\nmsgid "x"\nmsgstr ""\n'):
            self.assertNotEqual(text, changed)
            self.assertIn("the sources have other messages", self.problems_with(changed))

    def test_says_where_every_message_is_shown(self):
        text = template.TEMPLATE.read_text(encoding="utf-8")
        self.assertIn("message 648 has no comment", self.problems_with(re.sub(r"#\. [^\n]*\n(#:[^\n]*\nmsgctxt \"648\")", r"\1", text)))


    def test_brings_its_messages_into_a_language(self):
        old = po.parse(HEADER + '\n# note\n#. old\nmsgctxt "5"\nmsgid "Five"\nmsgstr "Fünf"\n'
                                '\nmsgctxt "6"\nmsgid "Six"\nmsgstr "Sechs"\n\nmsgctxt "7"\nmsgid "Seven"\nmsgstr "Sieben"\n')
        new = po.Catalogue({}, [po.Entry(8, "Eight", extracted=["a"]), po.Entry(6, "Six %1", extracted=["b"], flags=["qt-format"]),
                                po.Entry(5, "Five", extracted=["c"])])
        self.assertEqual(
            HEADER + '\n#. a\nmsgctxt "8"\nmsgid "Eight"\nmsgstr ""\n'
            '\n#. b\n#, fuzzy, qt-format\nmsgctxt "6"\nmsgid "Six %1"\nmsgstr "Sechs"\n'
            '\n# note\n#. c\nmsgctxt "5"\nmsgid "Five"\nmsgstr "Fünf"\n',
            po.format_catalogue(template.merge(old, new)),
        )


class TranslationFile(unittest.TestCase):
    ENTRIES = [po.Entry(5, 'a "b"', "\n\tä \\ \"b\"\n"), po.Entry(6, "left", ""), po.Entry(7, "doubtful", "x", flags=["fuzzy"])]

    def test_is_utf16_with_the_header_and_a_line_a_translated_message(self):
        self.assertEqual(
            '#VL_TRANSLATION_FILE\r\n5\t"a \\"b\\""\t"\\n\\tä \\\\ \\"b\\"\\n"\r\n'.encode("utf-16-le"),
            translation_file.make(self.ENTRIES),
        )

    def test_gives_back_what_went_in(self):
        self.assertEqual({5: "\n\tä \\ \"b\"\n"}, translation_file.read(translation_file.make(self.ENTRIES)))

    def test_is_made_whole_or_not_at_all(self):
        with tempfile.TemporaryDirectory() as folder:
            made, source = pathlib.Path(folder) / "x/German.tr", pathlib.Path(folder) / "de.po"
            source.write_text(HEADER + '\nmsgctxt "5"\nmsgid "One"\nmsgstr "Eins"\n', encoding="utf-8")
            self.assertEqual(0, translate.main(["make", "de", str(made), str(source)]))
            self.assertEqual({5: "Eins"}, translation_file.read(made.read_bytes()))
            self.assertEqual([made], list(made.parent.iterdir()))


class Languages(unittest.TestCase):
    def test_are_those_of_the_program_but_english(self):
        known = (ROOT / "src/messages/translator.cpp").read_text(encoding="utf-8")
        for language in languages.LANGUAGES:
            self.assertIn(f'{{{language.id}, L"{language.name}"', known)
        self.assertEqual({"es", "fr", "de", "ja", "zh_CN"}, {language.code for language in languages.LANGUAGES})

    def test_have_the_messages_of_the_template(self):
        numbers = {e.number for e in po.read(template.TEMPLATE).entries}
        for language in languages.LANGUAGES:
            self.assertEqual(numbers, {e.number for e in po.read(language.po).entries}, language.code)


if __name__ == "__main__":
    unittest.main()
