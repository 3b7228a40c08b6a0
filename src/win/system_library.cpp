#include "win/system_library.h"

#include <algorithm>
#include <cwchar>

namespace win {

SystemLibrariesOnly::SystemLibrariesOnly() noexcept
{
    using SetDirectories = BOOL WINAPI(DWORD);
    // Always there: every process has it.
    const HMODULE kernel = GetModuleHandleW(L"kernel32.dll");
    auto* const setDirectories =
        reinterpret_cast<SetDirectories*>(reinterpret_cast<void*>(GetProcAddress(kernel, "SetDefaultDllDirectories")));
    if (setDirectories != nullptr) {
        setDirectories(LOAD_LIBRARY_SEARCH_SYSTEM32);
    }
}

HMODULE LoadSystemLibrary(const wchar_t* name) noexcept
{
    wchar_t path[MAX_PATH] = {};
    const std::size_t folder = GetSystemDirectoryW(path, MAX_PATH);
    const std::size_t length = std::wcslen(name);
    if (folder == 0 || folder + 1 + length >= MAX_PATH) {
        return nullptr;
    }
    path[folder] = L'\\';
    std::copy_n(name, length, path + folder + 1);
    if (const HMODULE loaded = LoadLibraryExW(path, nullptr, LOAD_LIBRARY_SEARCH_SYSTEM32); loaded != nullptr) {
        return loaded;
    }
    // A Windows 7 without its update knows this way only: the library's own folder is searched in place of the
    // program's.
    return GetLastError() == ERROR_INVALID_PARAMETER ? LoadLibraryExW(path, nullptr, LOAD_WITH_ALTERED_SEARCH_PATH)
                                                     : nullptr;
}

FARPROC SystemLibrary::Find(const char* function) noexcept
{
    // Where two threads load it at once, Windows counts it twice.
    HMODULE library = held_;
    if (library == nullptr) {
        library = LoadSystemLibrary(name_);
        held_ = library;
    }
    return library == nullptr ? nullptr : GetProcAddress(library, function);
}

} // namespace win
