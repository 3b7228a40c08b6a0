"""Tests of the bench's own workings: how sure a figure is, when to stop, what is measured, and what is told. None of them
measures a time."""

import collections
import contextlib
import io
import itertools
import json
import math
import pathlib
import statistics
import sys
import tempfile
import unittest
import xml.etree.ElementTree
from unittest import mock

sys.dont_write_bytecode = True
sys.path.insert(0, str(pathlib.Path(__file__).resolve().parent))

import bench
import comparisons
import figures
import growth
import page
import touches
from processes import Failure
from sampling import (HELD, OVER, UNDECIDED, Interval, Limit, Patience, exactly, growth_by_doubling, interval_of_median,
                      sample)


def interval_by_drawing(values):
    """The same by its definition, from every sample that can be drawn: the medians' 2.5 and 97.5 percent points."""
    medians = sorted(statistics.median(drawn) for drawn in itertools.product(values, repeat=len(values)))
    ends = [medians[math.ceil(share * len(medians)) - 1] for share in (0.025, 0.975)]
    return Interval(ends[0], statistics.median(values), ends[1])


class IntervalTest(unittest.TestCase):
    def test_it_is_that_of_all_samples_that_can_be_drawn(self):
        for values in ([1.0, 1.1, 0.9, 1.4, 1.05], [3.0, 1.0, 2.0], [5.0, 5.0, 7.0, 5.0, 6.0]):
            with self.subTest(values=values):
                self.assertEqual(interval_of_median(values), interval_by_drawing(values))

    def test_it_becomes_narrower_with_more_values(self):
        few = interval_of_median([1 + number % 10 / 100 for number in range(11)])
        many = interval_of_median([1 + number % 10 / 100 for number in range(401)])
        self.assertLess(many.precision(), few.precision())

    def test_a_few_wild_values_do_not_move_it(self):
        values = [1.0] * 95 + [50.0] * 6
        self.assertEqual(interval_of_median(values), exactly(1.0))

    def test_there_is_none_of_nothing(self):
        with self.assertRaises(ValueError):
            interval_of_median([])


class LimitTest(unittest.TestCase):
    def test_a_figure_is_over_only_when_its_whole_interval_is(self):
        limit = Limit(1.03)
        self.assertEqual(limit.verdict(Interval(1.00, 1.01, 1.03)), HELD)
        self.assertEqual(limit.verdict(Interval(1.01, 1.04, 1.07)), UNDECIDED)
        self.assertEqual(limit.verdict(Interval(1.031, 1.04, 1.07)), OVER)

    def test_a_least_value_is_judged_the_other_way_round(self):
        limit = Limit(0.97, at_least=True)
        self.assertEqual(limit.verdict(Interval(0.97, 0.98, 0.99)), HELD)
        self.assertEqual(limit.verdict(Interval(0.95, 0.98, 0.99)), UNDECIDED)
        self.assertEqual(limit.verdict(Interval(0.90, 0.94, 0.969)), OVER)


class PatienceTest(unittest.TestCase):
    def measure(self, values, seconds_each=1, **bounds):
        """How many of the values are taken, where each takes so many seconds of a clock."""
        clock = mock.Mock(side_effect=itertools.count(0, seconds_each))
        return len(sample(Patience(**bounds), lambda number: values[number], lambda value: value, clock))

    def test_equal_values_stop_at_the_least_number(self):
        self.assertEqual(self.measure([1.0] * 99, least_pairs=15, seconds=1000), 15)

    def test_scattered_values_go_on_until_they_are_precise(self):
        values = [1 + number % 10 / 50 for number in range(999)]
        count = self.measure(values, least_pairs=15, most_pairs=999, seconds=9999)
        self.assertGreater(count, 15)
        self.assertLess(count, 999)
        self.assertLessEqual(interval_of_median(values[:count]).precision(), 0.02)
        self.assertGreater(interval_of_median(values[:count - 2]).precision(), 0.02)

    def test_no_more_than_the_most_and_no_longer_than_the_time(self):
        wild = [1.0, 2.0] * 500
        self.assertEqual(self.measure(wild, most_pairs=101, seconds=9999), 101)
        # An odd number, so that the median is one of the values.
        self.assertEqual(self.measure(wild, most_pairs=100, seconds=9999), 101)
        self.assertEqual(self.measure(wild, most_pairs=999, seconds=50), 49)

    def test_a_few_are_taken_however_long_they_take(self):
        self.assertEqual(self.measure([1.0, 2.0] * 9, seconds_each=1000, seconds=1), 5)


class GrowthTest(unittest.TestCase):
    def of(self, cost, sizes=(1, 100, 200, 400)):
        return growth_by_doubling(sizes, {size: exactly(cost(size)) for size in sizes}).middle

    def test_a_fixed_cost_does_not_hide_what_grows(self):
        self.assertAlmostEqual(self.of(lambda size: 1e6 + size), 2, delta=0.01)
        self.assertAlmostEqual(self.of(lambda size: 1e6 + size**2), 4, delta=0.01)

    def test_the_interval_holds_both_ends(self):
        costs = {1: Interval(9, 10, 11), 200: Interval(108, 110, 112), 400: Interval(205, 210, 215)}
        grown = growth_by_doubling((1, 200, 400), costs)
        self.assertAlmostEqual(grown.middle, 2)
        self.assertAlmostEqual(grown.low, (205 - 11) / (112 - 9))
        self.assertAlmostEqual(grown.high, (215 - 9) / (108 - 11))

    def test_what_did_not_grow_has_no_upper_end(self):
        self.assertEqual(self.of(lambda size: 5 if size < 400 else 6), math.inf)

    def test_the_last_size_must_be_double(self):
        with self.assertRaises(ValueError):
            self.of(float, (1, 100, 300))


class SelectionTest(unittest.TestCase):
    TABLE = figures.all_figures()

    def names(self, *words):
        return [each.name for each in figures.select(self.TABLE, words)]

    def test_without_words_everything_is_measured(self):
        self.assertEqual(len(self.names()), len(self.TABLE))

    def test_a_group_and_a_size_of_it(self):
        self.assertEqual(self.names("st"), ["st 1", "st 100", "st 1000"])
        self.assertEqual(self.names("dol:64"), ["dol 64"])

    def test_the_order_is_the_table_s_and_nothing_comes_twice(self):
        self.assertEqual(self.names("si", "/st:1", "st:1"), ["st 1", "si"])

    def test_what_is_not_there_is_an_error(self):
        for word in ("sx", "st:7", ""):
            with self.subTest(word=word), self.assertRaises(ValueError):
                self.names(word)

    def test_names_are_unique(self):
        self.assertEqual(len(set(self.names())), len(self.TABLE))


DEBUG_LOG = r"""
0024:trace:reg:NtOpenKeyEx ((nil),L"\\Registry\\User\\S-1-5-21-0-0-0-1000\\Software\\Wine\\AppDefaults\\Tool.exe",20019,0x1)
0024:trace:reg:NtOpenKeyEx <- (nil)
0024:trace:loaddll:build_module Loaded L"Z:\\bin\\Tool.exe" at 0000000140000000: native
0024:trace:file:nt_to_unix_file_name_no_root L"\\??\\C:\\windows\\system32\\ole32.dll" -> "/c/windows/system32/ole32.dll"
0024:trace:loaddll:build_module Loaded L"C:\\windows\\system32\\OLE32.dll" at 0000000140000000: builtin
0024:trace:reg:NtOpenKeyEx ((nil),L"\\Registry\\Machine",2000000,0x2)
0028:trace:reg:NtOpenKeyEx ((nil),L"\\Registry\\User\\S-1-5-21-0-0-0-1000_Classes",2000000,0x3)
0028:trace:reg:NtOpenKeyEx <- 0x44
0024:trace:reg:NtOpenKeyEx <- 0x40
0024:trace:reg:NtOpenKeyEx (0x40,L"Software\\Kestrane",20019,0x4)
0024:trace:reg:NtOpenKeyEx <- 0x48
0028:trace:reg:NtOpenKeyEx (0x44,L"CLSID",20019,0x5)
0028:trace:reg:NtOpenKeyEx <- (nil)
0024:trace:reg:NtOpenKeyEx (0x40,L"SOFTWARE\\kestrane",20019,0x4)
0024:trace:reg:NtOpenKeyEx <- (nil)
0024:trace:file:nt_to_unix_file_name_no_root L"bin\\English.tr" not found in "/z"
0024:warn:file:NtCreateFile L"\\??\\Z:\\bin\\English.tr" not found (c0000034)
0024:trace:file:nt_to_unix_file_name_no_root L"\\??\\C:\\data\\" -> "/c/data"
"""


class TouchesTest(unittest.TestCase):
    def test_a_debug_log_is_counted(self):
        found = touches.read_debug_log(DEBUG_LOG)
        self.assertEqual(found.libraries, {"ole32.dll": 1})
        self.assertEqual(found.keys, {
            r"HKCU\Software\Wine\AppDefaults\(the program)": 1, "HKLM": 1, r"HKCU\Software\Classes": 1,
            r"HKLM\Software\Kestrane": 2, r"HKCU\Software\Classes\CLSID": 1})
        self.assertEqual(found.files, {r"Z:\bin\English.tr": 1, r"C:\data": 1})

    def test_reasons_are_the_rows_below_their_heading(self):
        reasons = touches.read_reasons(
            f"# Page\n| `other` | all | no |\n\n{touches.REASONS_HEADING}\n\nText.\n\n| what | commands | reason |\n"
            "|---|---|---|\n| `HKLM\\A\\*`, `b.dll` | `st` `dol` | because |\n\n## Next\n| `c` | all | no |\n")
        self.assertEqual([(each.pattern, each.commands, each.text) for each in reasons],
                         [("HKLM\\A\\*", ("st", "dol"), "because"), ("b.dll", ("st", "dol"), "because")])
        self.assertTrue(reasons[0].covers("st", "hklm\\a\\b"))
        self.assertFalse(reasons[0].covers("si", "hklm\\a\\b"))
        self.assertFalse(reasons[0].covers("st", "hklm\\b"))

    def test_a_page_without_the_heading_is_an_error(self):
        with self.assertRaises(ValueError):
            touches.read_reasons("# Page\n")

    def touched(self, tool, floor, start, reasons=()):
        def of(keys):
            return touches.Touches(collections.Counter(), collections.Counter(keys), collections.Counter())

        return touches.compare("st", of(tool), of(floor), of(start), reasons)

    def test_what_starting_com_has_as_often_is_left_out(self):
        found = self.touched({"A": 2, "B": 3, "C": 1}, {"b": 3}, {"a": 2, "B": 1})
        self.assertEqual([(each.name, each.tool, each.floor) for each in found], [("B", 3, 3), ("C", 1, 0)])

    def test_twice_wants_a_reason_even_where_the_floor_does_the_same(self):
        found = self.touched({"A": 2, "B": 2, "C": 1}, {"A": 2}, {}, [touches.Reason("b", ("all",), "because")])
        self.assertEqual([(each.name, each.lacks_reason()) for each in found],
                         [("A", True), ("B", False), ("C", False)])

    def test_libraries_that_the_floor_lacks_have_their_reasons(self):
        tool, floor = (touches.Touches(collections.Counter(libraries), {}, {})
                       for libraries in (["a.dll", "b.dll", "c.dll"], ["a.dll"]))
        self.assertEqual(touches.extra_libraries("st", tool, floor, [touches.Reason("b.dll", ("st",), "because")]),
                         {"b.dll": "because", "c.dll": None})


class LogTest(unittest.TestCase):
    def log(self, *numbers):
        return "\ufeff" + "".join(
            f"11/22/2026 08:00:00.123 PC   user  trace_bench.exe 00001 00002 trace_bench 000040 "
            f"record {record:04d} of {member:04d}\r\n" for member, record in numbers)

    def test_a_whole_log_tells_the_size_of_a_record(self):
        text = self.log((2, 1), (1, 1), (1, 2), (2, 2))
        self.assertEqual(figures.check_log(text, 2, 2), (len(text) - 1) // 4 * 2)

    def test_lost_doubled_and_torn_records_are_found(self):
        whole = self.log((1, 1), (1, 2))
        for text in (self.log((1, 1)), self.log((1, 1), (1, 1)), self.log((1, 1), (1, 2), (1, 2)), whole[1:],
                     whole[:-2], whole.replace("PC ", "PC\r\n", 1), whole.replace("record 0002 of", "record 0002 o")):
            with self.subTest(text=text), self.assertRaises(Failure):
                figures.check_log(text, 1, 2)


def row(name, low, high, limit=1.0):
    return comparisons.Row(name, Interval(low, (low + high) / 2, high), Limit(limit))


def figure(name, *rows, failure=None):
    def measure(_patience):
        if failure:
            raise Failure(failure)
        return comparisons.Outcome(list(rows), {"value": rows[0].value.middle})

    return figures.Figure(name, None, name, measure)


class RunTest(unittest.TestCase):
    def run_figures(self, *chosen):
        """Exit code, standard output, standard error and the file's figures."""
        with tempfile.TemporaryDirectory() as folder, contextlib.ExitStack() as patches:
            folder = pathlib.Path(folder)
            patches.enter_context(mock.patch.object(bench, "RESULT", folder / "bench.json"))
            patches.enter_context(mock.patch.object(bench, "DURATIONS", folder / "durations.json"))
            output = patches.enter_context(contextlib.redirect_stdout(io.StringIO()))
            errors = patches.enter_context(contextlib.redirect_stderr(io.StringIO()))
            results = bench.Results()
            bench.measure_all(chosen, False, results)
            code = bench.tell_outcome(results)
            return code, output.getvalue(), errors.getvalue(), json.loads((folder / "bench.json").read_text())

    def test_a_failure_leaves_the_other_figures(self):
        code, output, errors, written = self.run_figures(
            figure("x", row("first", 0.5, 0.6)), figure("y", failure="broken"), figure("z", row("third", 0.7, 0.8)))
        self.assertEqual(code, 1)
        self.assertIn("first", output)
        self.assertIn("third", output)
        self.assertIn("NOT MEASURED: y: broken", output)
        self.assertIn("[2/3] y", errors)
        self.assertEqual((written["x"], written["z"], written["failed"]),
                         ({"value": 0.55}, {"value": 0.75}, {"y": "broken"}))

    def test_only_what_is_over_fails(self):
        code, output, _, written = self.run_figures(figure("a", row("held", 0.5, 0.6), row("open", 0.9, 1.1)))
        self.assertEqual(code, 0)
        self.assertIn("not decided: open", output)
        self.assertEqual(written["verdicts"], {"held": HELD, "open": UNDECIDED})
        code, output, _, _ = self.run_figures(figure("a", row("too slow", 1.1, 1.2)))
        self.assertEqual(code, 1)
        self.assertIn("OVER THE LIMIT: too slow", output)

    def test_what_was_measured_before_an_interruption_is_kept(self):
        def interrupted(_patience):
            raise SystemExit(130)

        with tempfile.TemporaryDirectory() as folder, mock.patch.object(bench, "RESULT", pathlib.Path(folder) / "x"), \
                mock.patch.object(bench, "DURATIONS", pathlib.Path(folder) / "y"), \
                contextlib.redirect_stdout(io.StringIO()), contextlib.redirect_stderr(io.StringIO()):
            with self.assertRaises(SystemExit):
                bench.measure_all([figure("a", row("first", 0.5, 0.6)), figures.Figure("b", None, "b", interrupted)],
                                  False, bench.Results())
            self.assertEqual(json.loads(bench.RESULT.read_text())["a"], {"value": 0.55})

    def test_nothing_begins_after_the_deadline(self):
        with tempfile.TemporaryDirectory() as folder, mock.patch.object(bench, "RESULT", pathlib.Path(folder) / "x"), \
                contextlib.redirect_stdout(io.StringIO()), contextlib.redirect_stderr(io.StringIO()):
            results = bench.Results()
            bench.measure_all([figure("x", row("first", 0.5, 0.6))], True, results, deadline=-math.inf)
            self.assertEqual((results.rows, results.skipped, results.figures["failed"]), ([], ["x"], {}))
            # A machine that has other work to do makes no figure fail.
            self.assertEqual(bench.tell_outcome(results), 0)

    def test_wrong_words_are_refused(self):
        for words in (["nothing"], ["--write-page", "st"], ["--write-page", "--quick"]):
            with self.subTest(words=words), contextlib.redirect_stderr(io.StringIO()), \
                    self.assertRaises(SystemExit) as end:
                bench.read_words(words)
            self.assertEqual(end.exception.code, 2)

    def test_a_quick_run_leaves_the_long_figures_out(self):
        quick = [each.name for each in bench.read_words(["--quick"])[1]]
        self.assertIn("st 1", quick)
        self.assertNotIn("st 1000", quick)
        self.assertEqual([each.name for each in bench.read_words(["--quick", "st:1000"])[1]], ["st 1000"])


class PageTest(unittest.TestCase):
    POINTS = {"/st": {"tool": [(1, 20.0), (100, 120.0)], "floor": [(1, 19.0), (100, 118.0)]},
              "/dol": {"tool": [(1, 30.0), (200, 900.0)], "floor": [(1, 29.0), (200, 880.0)]}}

    def test_what_stands_between_the_marks_is_replaced(self):
        text = "before\n<!-- measured: table -->\nold\n<!-- end of table -->\nafter\n"
        once = page.replaced(text, "table", r"new \1")
        self.assertEqual(once, "before\n<!-- measured: table -->\n\nnew \\1\n\n<!-- end of table -->\nafter\n")
        self.assertEqual(page.replaced(once, "table", r"new \1"), once)
        with self.assertRaises(ValueError):
            page.replaced(text, "plot", "new")

    def test_the_project_s_page_has_every_mark_and_its_reasons(self):
        text = page.PAGE.read_text(encoding="utf-8")
        for name in page.PARTS:
            page.replaced(text, name, "")
        self.assertTrue(touches.read_reasons(text))

    def test_the_page_is_written_with_table_growth_and_plot(self):
        run = {"tool wall, ms": 20.0, "floor wall, ms": 19.0}
        grown = {"1": {"time, ms": 20.0, "memory, MB": 9.0, "floor time, ms": 19.0},
                 "2000": {"time, ms": 1900.0, "memory, MB": 12.5, "floor time, ms": 1880.0}}
        measured = {"begun": "2026-11-22 08:00:00", "status": {"1": run}, "run": {"1": run, "200": run},
                    "growth": {name: grown for name, *_ in growth.GROWN}}
        with tempfile.TemporaryDirectory() as folder, contextlib.ExitStack() as patches:
            copy, plot = (pathlib.Path(folder) / name for name in ("performance.md", "performance.svg"))
            copy.write_text(page.PAGE.read_text(encoding="utf-8"), encoding="utf-8")
            for name, value in (("PAGE", copy), ("PLOT", plot), ("wine_version", lambda: "wine-8.0")):
                patches.enter_context(mock.patch.object(page, name, value))
            page.write(measured, [row("/st, 1 drive", 1.0, 1.02, 1.03)])
            text = copy.read_text(encoding="utf-8")
            xml.etree.ElementTree.parse(plot)
        self.assertIn("| `/st`, 1 drive |  |  | 1.010 | 1.000 to 1.020 | 1 | at most 1.03 | held |", text)
        self.assertIn("| `/st`, drives | 2,000 | 1900.0 ms | 12.5 MB |", text)
        self.assertIn("](performance.svg)", text)
        self.assertNotIn("Not measured yet.", text)

    def test_the_plot_is_an_svg_with_both_commands_and_their_floors(self):
        svg = xml.etree.ElementTree.fromstring(page.plot(self.POINTS))
        lines = svg.findall("{http://www.w3.org/2000/svg}polyline")
        self.assertEqual(len(lines), 4)
        self.assertEqual(sum("stroke-dasharray" in line.attrib for line in lines), 2)
        # More drives lie to the right, more milliseconds higher up.
        for line in lines:
            (x1, y1), (x2, y2) = ([float(number) for number in point.split(",")]
                                  for point in line.attrib["points"].split())
            self.assertLess(x1, x2)
            self.assertGreater(y1, y2)

    def test_a_size_that_was_measured_twice_stands_once(self):
        measured = {"status": {"1": {"tool wall, ms": 20.0, "floor wall, ms": 19.0},
                               "1000": {"tool wall, ms": 900.0, "floor wall, ms": 880.0}},
                    "run": {"1": {"tool wall, ms": 30.0, "floor wall, ms": 29.0}},
                    "growth": {"drives": {"1": {"time, ms": 77.0, "floor time, ms": 77.0},
                                          "500": {"time, ms": 450.0, "floor time, ms": 440.0}}}}
        points = page.curves(measured)
        self.assertEqual(points["/st"]["tool"], [(1, 20.0), (500, 450.0), (1000, 900.0)])
        self.assertEqual(points["/dol"]["floor"], [(1, 29.0)])


if __name__ == "__main__":
    unittest.main()
