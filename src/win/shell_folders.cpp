#include "win/shell_folders.h"

#include "win/owner.h"

#include <shlobj.h>

namespace win {

namespace {

// A function of the shell's library, for as long as the object lives; null where there is none.
template <typename Function>
class ShellFunction {
public:
    explicit ShellFunction(const char* name) : library_(LoadLibraryW(L"shell32.dll"))
    {
        if (library_) {
            function_ = reinterpret_cast<Function*>(reinterpret_cast<void*>(GetProcAddress(library_.Get(), name)));
        }
    }

    [[nodiscard]] Function* Get() const noexcept { return function_; }

private:
    Module library_;
    Function* function_ = nullptr;
};

} // namespace

std::wstring CommonApplicationDataFolder()
{
    const ShellFunction<decltype(SHGetFolderPathW)> getFolderPath("SHGetFolderPathW");
    wchar_t path[MAX_PATH] = {};
    if (getFolderPath.Get() == nullptr || getFolderPath.Get()(nullptr, CSIDL_COMMON_APPDATA | CSIDL_FLAG_CREATE,
                                                              nullptr, SHGFP_TYPE_CURRENT, path) != S_OK) {
        return {};
    }
    return path;
}

DWORD CreateFolders(const std::wstring& path)
{
    const ShellFunction<decltype(SHCreateDirectoryExW)> createDirectory("SHCreateDirectoryExW");
    if (createDirectory.Get() == nullptr) {
        return ERROR_PROC_NOT_FOUND;
    }
    return static_cast<DWORD>(createDirectory.Get()(nullptr, path.c_str(), nullptr));
}

} // namespace win
