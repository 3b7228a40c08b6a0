"""Checks that every file of the project includes what it uses.

usage: check-includes.py BUILD_TREE CACHE

Each header compiles alone. And for each name of the standard library there is an include of a header that declares it:
in a header itself, for a source perhaps in the project's headers that it includes. A library's own headers include others
as they like, and GCC's do so more freely than Microsoft's. The build tree is clang's.
"""

import functools
import os
import pathlib
import re
import sys

import lint

# Headers of the standard library and the names of it that the project uses. A header in parentheses declares the names,
# too.
DECLARATIONS = """
    algorithm: all_of any_of copy copy_if copy_n count count_if equal fill_n find find_if for_each
        includes lower_bound max max_element min min_element mismatch none_of nth_element remove remove_if replace
        reverse search sort stable_sort transform unique unique_copy upper_bound
    array: array
    atomic: atomic
    charconv: from_chars to_chars
    chrono: chrono chrono_literals
    cmath: abs ceil floor isfinite ldexp llround modf nextafter pow round trunc
    compare: strong_ordering weak_ordering partial_ordering
    condition_variable: condition_variable condition_variable_any
    cctype: isalpha isdigit tolower toupper
    cstddef (array cstdio cstdlib cstring cwchar map set span string string_view unordered_map vector): size_t
    cstddef (iterator span string string_view): ptrdiff_t
    cstddef: byte max_align_t nullptr_t
    cstdint: int8_t int16_t int32_t int64_t intmax_t intptr_t uint8_t uint16_t uint32_t uint64_t uintmax_t uintptr_t
    cstdio: FILE fclose fopen fprintf fputs fread fwrite printf snprintf
    cstdlib: abort exit free malloc
    cstring: memcmp memcpy memset strcmp strlen
    cwchar: fputws fwprintf swprintf wcscmp wcslen wcstod wcstol wcstoull wcstoul
    cwctype: iswalpha iswdigit iswspace iswupper towlower towupper
    exception: current_exception exception exception_ptr rethrow_exception terminate uncaught_exceptions
    filesystem: filesystem
    fstream: ifstream ofstream wifstream wofstream
    functional: equal_to function greater hash invoke less
    future: async future promise
    initializer_list (map set string unordered_map utility vector): initializer_list
    iomanip: setbase setfill setprecision setw
    ios (fstream iomanip iostream istream ostream sstream): boolalpha dec fixed hex hexfloat ios ios_base streamsize
    iosfwd (ostream iostream fstream sstream): ostream wostream
    iosfwd (istream iostream fstream sstream): istream wistream
    iostream: cerr cin cout wcerr wcin wcout
    istream (iostream fstream sstream string): getline
    iterator: advance back_inserter distance inserter istreambuf_iterator make_move_iterator next prev
    iterator (array list map set span string string_view unordered_map vector): begin data empty end rbegin rend size
        ssize
    limits: numeric_limits
    list: list
    map: map multimap
    memory: construct_at destroy_at enable_shared_from_this make_shared make_unique shared_ptr unique_ptr weak_ptr
    mutex: call_once lock_guard mutex once_flag recursive_mutex scoped_lock unique_lock
    new: bad_alloc nothrow nothrow_t set_new_handler
    numeric: accumulate iota
    optional: in_place_t nullopt optional
    ostream (iostream fstream sstream): endl flush
    ranges (algorithm): ranges
    ratio (chrono): milli
    regex: regex regex_match regex_replace regex_search smatch sregex_iterator
    set: multiset set
    shared_mutex: shared_lock shared_mutex
    span: span
    sstream: istringstream ostringstream stringstream wistringstream wostringstream wstringbuf
    stdexcept: invalid_argument length_error logic_error out_of_range runtime_error
    streambuf (fstream iostream sstream): wstreambuf
    string: basic_string stod stoi stol stoul string to_string to_wstring wstring
    string (filesystem string_view): string_literals
    string (deque forward_list list map set unordered_map vector): erase erase_if
    string_view: basic_string_view string_view string_view_literals wstring_view
    system_error: error_code system_error
    thread: jthread this_thread thread
    tuple: make_tuple tie tuple
    tuple (array utility): tuple_size_v
    type_traits: conditional_t decay_t false_type has_virtual_destructor_v is_abstract_v is_base_of_v is_destructible_v
        is_floating_point_v is_integral_v is_same_v remove_cvref_t remove_pointer_t true_type type_identity_t
        underlying_type_t
    unordered_map: unordered_map
    unordered_set: unordered_set
    utility: exchange forward in_place index_sequence make_index_sequence make_pair move piecewise_construct swap
    utility (map unordered_map): pair
    vector: vector
    variant: get_if holds_alternative monostate variant visit
    variant (array tuple utility): get
"""

# Where the build looks for headers in quotes.
INCLUDE_FOLDERS = [*lint.OWN_FOLDERS, lint.ROOT / "tests" / "e2e"]

CODE_WITHOUT_TEXTS = re.compile(
    r'//[^\n]*|/\*.*?\*/|"(?:\\.|[^"\\\n])*"|(?<![0-9A-Fa-f])\'(?:\\.|[^\'\\\n])+\'|R"\((?:.*?)\)"', re.DOTALL)
INCLUDE = re.compile(r'^\s*#\s*include\s+([<"])([^>"]+)[>"]', re.MULTILINE)


def declaring_headers():
    """For each name the headers that declare it; the first of them is the one to name."""
    headers = {}
    for entry in re.split(r"\n    (?=\S)", DECLARATIONS.strip()):
        places, _, names = entry.partition(":")
        first, *others = re.findall(r"\w+", places)
        for name in names.split():
            headers[name] = [first, *others]
    return headers


@functools.lru_cache(maxsize=None)
def included_by(path):
    """The headers that a file includes in angle brackets, and those of the project that it includes in quotes."""
    system, own = set(), set()
    for kind, name in INCLUDE.findall(path.read_text(encoding="utf-8")):
        if kind == "<":
            system.add(name)
        else:
            places = [folder / name for folder in (path.parent, *INCLUDE_FOLDERS)]
            own.update([place for place in places if place.exists()][:1])
    return system, own


@functools.lru_cache(maxsize=None)
def reached_by(path):
    """The headers in angle brackets that a file includes itself or through headers of the project."""
    system, own = included_by(path)
    return system.union(*map(reached_by, own))


def missing_includes(path, headers):
    """One line for each name that the file uses without a header for it, and for each that the table does not know."""
    text = path.read_text(encoding="utf-8")
    included = included_by(path)[0] if path.suffix == ".h" else reached_by(path)
    code = CODE_WITHOUT_TEXTS.sub(lambda match: re.sub(r"[^\n]", " ", match[0]), text)
    findings, told = [], set()
    for use in re.finditer(r"\bstd::(\w+)", code):
        name = use[1]
        if name in told:
            continue
        told.add(name)
        place = f"{path.relative_to(lint.ROOT)}:{code.count(chr(10), 0, use.start()) + 1}"
        if name not in headers:
            findings.append(f"{place}: std::{name} is missing in the table of {pathlib.Path(__file__).name}")
        elif not included.intersection(headers[name]):
            findings.append(f"{place}: std::{name} without <{headers[name][0]}>")
    return findings


def header_checks(tree, headers):
    """For each header a check that it compiles alone, as clang compiles a unit that includes it."""
    files = lint.included_files(tree)
    includers = {file: unit for unit in lint.built_units(tree) for file in files[unit.target]}
    for header in headers:
        unit = includers.get(header)
        if unit is None:
            raise SystemExit(f"{header.relative_to(lint.ROOT)}: no source includes this header")
        arguments = [*unit.arguments, "-include", str(header), "-x", "c++", os.devnull]
        yield lint.syntax_check(header, unit.folder, arguments)


def main():
    tree, cache = (pathlib.Path(word).resolve() for word in sys.argv[1:3])
    files = sorted(path for folder in lint.OWN_FOLDERS for path in folder.rglob("*") if path.suffix in (".h", ".cpp"))
    declared = declaring_headers()
    findings = [line for path in files for line in missing_includes(path, declared)]
    for line in findings:
        print(line)
    print(f"Includes of the standard library: {len(files)} files, {len(findings)} names without their header")
    failed = lint.run_checks("Headers alone", header_checks(tree, [path for path in files if path.suffix == ".h"]), cache)
    return 1 if failed or findings else 0


if __name__ == "__main__":
    sys.exit(main())
