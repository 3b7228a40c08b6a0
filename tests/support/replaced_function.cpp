#include "support/replaced_function.h"

#include "base/import_table.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <iterator>
#include <string_view>

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

// A function that the product does not import but looks up by its name.
struct LookedUpFunction {
    std::string_view name;
    const wchar_t* library;
};

constexpr LookedUpFunction kLookedUpFunctions[] = {
    {"EnterCriticalPolicySection", L"userenv.dll"},
    {"GetFileVersionInfoSizeW", L"version.dll"},
    {"GetFileVersionInfoW", L"version.dll"},
    {"LeaveCriticalPolicySection", L"userenv.dll"},
    {"RegisterGPNotification", L"userenv.dll"},
    {"SHCreateDirectoryExW", L"shell32.dll"},
    {"SHGetFolderPathW", L"shell32.dll"},
    {"UnregisterGPNotification", L"userenv.dll"},
    {"VerQueryValueW", L"version.dll"},
};

// Puts another address in the way of the function's lookups. Returns what they have found before, or null where the
// product does not look it up.
void* PatchLookup(const char* function, void* replacement)
{
    const auto* const known = std::find_if(std::begin(kLookedUpFunctions), std::end(kLookedUpFunctions),
                                           [&](const LookedUpFunction& lookedUp) { return lookedUp.name == function; });
    if (known == std::end(kLookedUpFunctions)) {
        return nullptr;
    }
    void* const found = reinterpret_cast<void*>(GetProcAddress(LoadLibraryW(known->library), function));
    sim::ReplaceLookup(function, replacement);
    return found;
}

// Lookups are watched before any test replaces GetProcAddress itself.
const bool kLookupsAreWatched = [] {
    sim::WatchLookups(RunningProgram());
    return true;
}();

} // namespace

void* PatchImport(const char* function, void* replacement)
{
    void* const imported = sim::PatchImport(RunningProgram(), function, replacement);
    void* const lookedUp = PatchLookup(function, replacement);
    return imported != nullptr ? imported : lookedUp;
}

bool IsImported(const char* function)
{
    return sim::IsImported(RunningProgram(), function);
}

void FailMissingImport(const char* function)
{
    std::fprintf(stderr, "the program neither imports %s nor looks it up\n", function);
    std::abort();
}

} // namespace testing_support
