#include "odbc/unix_path.h"

#include "base/text.h"

#include "win/windows_api.h"

#include <cwctype>

namespace sim::odbc {

std::wstring ToUnixPath(const std::wstring& path)
{
    const bool hasDrive =
        path.size() > 2 && std::iswalpha(path[0]) != 0 && path[1] == L':' && (path[2] == L'\\' || path[2] == L'/');
    if (!hasDrive) {
        return path;
    }
    // Wine's own addition to this library; the bytes are the file system's and belong to the process's heap.
    using GetUnixFileName = char*(CDECL*)(LPCWSTR);
    const auto getUnixFileName = reinterpret_cast<GetUnixFileName>(
        reinterpret_cast<void*>(GetProcAddress(GetModuleHandleW(L"kernel32.dll"), "wine_get_unix_file_name")));
    char* const bytes = getUnixFileName == nullptr ? nullptr : getUnixFileName(path.c_str());
    if (bytes == nullptr) {
        return path;
    }
    const std::optional<std::wstring> unixPath = FromUtf8(bytes);
    HeapFree(GetProcessHeap(), 0, bytes);
    return unixPath.value_or(path);
}

} // namespace sim::odbc
