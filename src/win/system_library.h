#pragma once

#include "win/windows_api.h"

#include <atomic>

namespace win {

// From its construction on, Windows looks in its system folder alone for the libraries that this process loads by name.
// It does not look beside the program, where somebody may have put another library of the same name. A Windows 7
// without its update KB2533623 cannot be told so; LoadSystemLibrary is safe there, too.
class SystemLibrariesOnly {
public:
    SystemLibrariesOnly() noexcept;
};

// In force before the entry point runs, and before the construction of any object that is defined behind this line:
// inline objects are constructed in the order of their definitions. A file that defines an object whose construction
// calls Windows includes this file first.
inline const SystemLibrariesOnly kSystemLibrariesOnly;

// One of Windows' own libraries ("shell32.dll"), from its system folder whatever lies elsewhere; what it needs itself
// is taken from there, too. Null, with the last error set, where it cannot be had. It stays loaded until the process
// ends: threads that it has started, or callbacks that it has given to others, may need it.
[[nodiscard]] HMODULE LoadSystemLibrary(const wchar_t* name) noexcept;

// One of Windows' own libraries, loaded when a function of it is asked for and held from then on. For the libraries
// that Windows does not keep in its list of known ones: if the program imported them, Windows would look for them
// beside the program first.
class SystemLibrary {
public:
    // The name must live as long as the object.
    constexpr explicit SystemLibrary(const wchar_t* name) noexcept : name_(name) {}

    // The address of the library's function; null where there is no such library or function.
    [[nodiscard]] FARPROC Find(const char* function) noexcept;

private:
    const wchar_t* name_;
    std::atomic<HMODULE> held_ = nullptr;
};

// A function of such a library, called as if it were imported:
//
//     constinit SystemLibrary version(L"version.dll");
//     constinit SystemFunction<decltype(VerQueryValueW)> queryValue(version, "VerQueryValueW");
//
template <typename Signature>
class SystemFunction;

template <typename Result, typename... Arguments>
class SystemFunction<Result WINAPI(Arguments...)> {
public:
    // "missing" is the answer of every call where Windows has no such function.
    constexpr SystemFunction(SystemLibrary& library, const char* name, Result missing = Result()) noexcept
        : library_(library), name_(name), missing_(missing)
    {}

    // NOLINTNEXTLINE(modernize-use-nodiscard): whether the answer matters is the function's business.
    Result operator()(Arguments... arguments) const
    {
        using Function = Result WINAPI(Arguments...);
        auto* const function = reinterpret_cast<Function*>(reinterpret_cast<void*>(library_.Find(name_)));
        return function == nullptr ? missing_ : function(arguments...);
    }

private:
    SystemLibrary& library_;
    const char* name_;
    Result missing_;
};

} // namespace win
