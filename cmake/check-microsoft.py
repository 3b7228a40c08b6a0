"""Has clang, in the part of Microsoft's compiler, read all of the project's own sources, warnings as errors.

usage: check-microsoft.py BUILD_TREE CACHE

It stands in for that compiler, which runs on Windows alone: it reads the language as that compiler does and knows, from
microsoft/deprecated.h, which functions Microsoft's headers call deprecated. Headers and library are those of mingw-w64
all the same. The build tree is clang's. A unit that was found clean is not read again until its command, one of the files
it includes or clang itself change.
"""

import pathlib
import re
import sys

import lint

SHIM = lint.ROOT / "cmake" / "microsoft" / "shim.h"
SYSTEM_HEADERS = ("/usr/x86_64-w64-mingw32/include", "/usr/share/mingw-w64/include")
# What is not said to Microsoft's compiler.
NOT_MICROSOFT = re.compile(r"--target=|-std=|-femulated-tls$|-fsanitize|-Wa,")

AS_MICROSOFT = (
    "--target=x86_64-pc-windows-msvc", "-std=gnu++20", "-fms-compatibility-version=19.38", "-fms-extensions",
    "-fno-delayed-template-parsing", "-nostdinc++", "-nostdlibinc",
    # Headers and library go by these.
    "-D__MINGW32__", "-D__MINGW64__", "-D_WIN32", "-D_WIN64", "-D__GNUC__=12", "-D__GNUC_MINOR__=2",
    "-Wno-inconsistent-dllimport", "-include", str(SHIM),
)


def arguments_for(unit):
    own = ["-isystem" if word == "-stdlib++-isystem" else word for word in unit.arguments
           if not NOT_MICROSOFT.match(word)]
    arguments = [*AS_MICROSOFT, *own, *(word for folder in SYSTEM_HEADERS for word in ("-isystem", folder))]
    if lint.ROOT / "src" not in unit.file.parents:
        # As CMakeLists.txt has it for Microsoft's compiler.
        arguments.append("-Wno-deprecated-declarations")
    return [*arguments, str(unit.file)]


def main():
    tree, cache = (pathlib.Path(word).resolve() for word in sys.argv[1:3])
    checks = [lint.syntax_check(unit.file, unit.folder, arguments_for(unit)) for unit in lint.own_units(tree)]
    return 1 if lint.run_checks("clang as Microsoft's compiler", checks, cache) else 0


if __name__ == "__main__":
    sys.exit(main())
