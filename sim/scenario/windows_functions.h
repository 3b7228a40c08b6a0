#pragma once

#include <string_view>

namespace sim {

// A function of Windows that a scenario may make fail.
struct WindowsFunction {
    std::wstring_view name;
    bool returnsResult; // it fails with an HRESULT, otherwise with a Windows error
    bool concernsPath;  // it is about a path: a volume, a mount point, a registry key or a file of a volume
};

// The function of this name, in any case, or null.
[[nodiscard]] const WindowsFunction* FindWindowsFunction(std::wstring_view name);

// Whether the path begins with the full name of one of the registry's roots.
[[nodiscard]] bool IsRegistryPath(std::wstring_view path);

} // namespace sim
