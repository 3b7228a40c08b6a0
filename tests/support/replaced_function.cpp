#include "support/replaced_function.h"

#include "import_table.h"

#include <cstdio>
#include <cstdlib>

// The first byte of the running program; the linker's own name for it.
// NOLINTNEXTLINE(bugprone-reserved-identifier,readability-identifier-naming)
extern "C" IMAGE_DOS_HEADER __ImageBase;

namespace testing_support {

namespace {

// Not asked of GetModuleHandleW, which a test may have replaced.
HMODULE RunningProgram()
{
    return reinterpret_cast<HMODULE>(&__ImageBase);
}

} // namespace

void* PatchImport(const char* function, void* replacement)
{
    return sim::PatchImport(RunningProgram(), function, replacement);
}

bool IsImported(const char* function)
{
    return sim::IsImported(RunningProgram(), function);
}

void FailMissingImport(const char* function)
{
    std::fprintf(stderr, "the program does not import %s\n", function);
    std::abort();
}

} // namespace testing_support
