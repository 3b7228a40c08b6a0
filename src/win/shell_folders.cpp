#include "win/shell_folders.h"

#include "win/system_library.h"

#include <shlobj.h>

namespace win {

namespace {

constinit SystemLibrary shell(L"shell32.dll");
constinit SystemFunction<decltype(SHGetFolderPathW)> getFolderPath(shell, "SHGetFolderPathW", E_NOTIMPL);
constinit SystemFunction<decltype(SHCreateDirectoryExW)> createDirectory(shell, "SHCreateDirectoryExW",
                                                                         ERROR_PROC_NOT_FOUND);

} // namespace

std::wstring CommonApplicationDataFolder()
{
    wchar_t path[MAX_PATH] = {};
    if (getFolderPath(nullptr, CSIDL_COMMON_APPDATA | CSIDL_FLAG_CREATE, nullptr, SHGFP_TYPE_CURRENT, path) != S_OK) {
        return {};
    }
    return path;
}

DWORD CreateFolders(const std::wstring& path)
{
    return static_cast<DWORD>(createDirectory(nullptr, path.c_str(), nullptr));
}

} // namespace win
