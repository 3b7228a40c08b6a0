#pragma once

#include "win/windows_api.h"

#include <cstdint>
#include <utility>

namespace win {

// Owner of one thing that Windows hands out, which is given back exactly once. An owner is declared in one line: the
// thing's type, the function that gives it back and, as a number, the value that stands for none.
template <typename T, auto Release, std::intptr_t None = 0>
class Owner {
public:
    using Type = T;

    Owner() noexcept = default;
    explicit Owner(Type value) noexcept : value_(value) {}
    Owner(Owner&& other) noexcept : value_(other.Detach()) {}
    ~Owner() { Reset(); }

    Owner& operator=(Owner&& other) noexcept
    {
        Reset(other.Detach());
        return *this;
    }

    // The thing itself, still owned.
    [[nodiscard]] Type Get() const noexcept { return value_; }

    explicit operator bool() const noexcept { return value_ != Null(); }

    // Gives back what is held and takes over the new value.
    void Reset(Type value = Null()) noexcept
    {
        const Type old = std::exchange(value_, value);
        if (old != Null()) {
            Release(old);
        }
    }

    // Hands the thing to the caller, who owns it from now on.
    [[nodiscard]] Type Detach() noexcept { return std::exchange(value_, Null()); }

    // An empty place for a Windows call to fill.
    [[nodiscard]] Type* Put() noexcept
    {
        Reset();
        return &value_;
    }

private:
    static constexpr Type Null() noexcept
    {
        if constexpr (None == 0) {
            return nullptr;
        } else {
            return reinterpret_cast<Type>(None);
        }
    }

    Type value_ = Null();
};

// INVALID_HANDLE_VALUE, by which files, devices and searches report a failure.
inline constexpr std::intptr_t kInvalidHandle = -1;

// A thread, process or event handle: whatever reports failure as a null handle.
using KernelHandle = Owner<HANDLE, CloseHandle>;

// A file or device handle of CreateFileW.
using FileHandle = Owner<HANDLE, CloseHandle, kInvalidHandle>;

// An open registry key.
using RegistryKey = Owner<HKEY, RegCloseKey>;

// The searches of FindFirstFileW, FindFirstVolumeW and FindFirstVolumeMountPointW.
using FindFile = Owner<HANDLE, FindClose, kInvalidHandle>;
using FindVolume = Owner<HANDLE, FindVolumeClose, kInvalidHandle>;
using FindMountPoint = Owner<HANDLE, FindVolumeMountPointClose, kInvalidHandle>;

// A text that Windows allocated with LocalAlloc, as FormatMessageW does.
using LocalText = Owner<wchar_t*, LocalFree>;

// A block of LocalAlloc. A security descriptor that Windows makes from its text is one, too.
using LocalBlock = Owner<void*, LocalFree>;
using SecurityDescriptor = LocalBlock;

// A block of GlobalAlloc.
using GlobalBlock = Owner<HGLOBAL, GlobalFree>;

// An array of Automation's with all that is in it.
using SafeArray = Owner<SAFEARRAY*, SafeArrayDestroy>;

} // namespace win
