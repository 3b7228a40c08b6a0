#pragma once

#include "win/windows_api.h"

#include <utility>

namespace win {

// Owner of one thing that Windows hands out. Traits names its Type, its Null value and how to Release it; the thing is
// given back exactly once, on whatever path the owner goes.
template <typename Traits>
class Owner {
public:
    using Type = typename Traits::Type;

    Owner() noexcept = default;
    explicit Owner(Type value) noexcept : value_(value) {}
    Owner(Owner&& other) noexcept : value_(other.Detach()) {}
    Owner(const Owner&) = delete;
    ~Owner() { Reset(); }

    Owner& operator=(Owner&& other) noexcept
    {
        Reset(other.Detach());
        return *this;
    }
    Owner& operator=(const Owner&) = delete;

    // The thing itself, still owned.
    [[nodiscard]] Type Get() const noexcept { return value_; }

    explicit operator bool() const noexcept { return value_ != Traits::Null(); }

    // Gives back what is held and takes over the new value.
    void Reset(Type value = Traits::Null()) noexcept
    {
        const Type old = std::exchange(value_, value);
        if (old != Traits::Null()) {
            Traits::Release(old);
        }
    }

    // Hands the thing to the caller, who owns it from now on.
    [[nodiscard]] Type Detach() noexcept { return std::exchange(value_, Traits::Null()); }

    // An empty place for a Windows call to fill.
    [[nodiscard]] Type* Put() noexcept
    {
        Reset();
        return &value_;
    }

private:
    Type value_ = Traits::Null();
};

struct KernelHandleTraits {
    using Type = HANDLE;
    static Type Null() noexcept { return nullptr; }
    static void Release(Type handle) noexcept { CloseHandle(handle); }
};

// A thread, process or event handle: whatever reports failure as a null handle.
using KernelHandle = Owner<KernelHandleTraits>;

struct FileHandleTraits {
    using Type = HANDLE;
    static Type Null() noexcept { return INVALID_HANDLE_VALUE; }
    static void Release(Type handle) noexcept { CloseHandle(handle); }
};

// A file or device handle: CreateFileW reports failure as INVALID_HANDLE_VALUE.
using FileHandle = Owner<FileHandleTraits>;

struct RegistryKeyTraits {
    using Type = HKEY;
    static Type Null() noexcept { return nullptr; }
    static void Release(Type key) noexcept { RegCloseKey(key); }
};

// An open registry key.
using RegistryKey = Owner<RegistryKeyTraits>;

struct FindFileTraits {
    using Type = HANDLE;
    static Type Null() noexcept { return INVALID_HANDLE_VALUE; }
    static void Release(Type search) noexcept { FindClose(search); }
};

// A search of FindFirstFileW.
using FindFile = Owner<FindFileTraits>;

struct FindVolumeTraits {
    using Type = HANDLE;
    static Type Null() noexcept { return INVALID_HANDLE_VALUE; }
    static void Release(Type search) noexcept { FindVolumeClose(search); }
};

// A search of FindFirstVolumeW.
using FindVolume = Owner<FindVolumeTraits>;

struct FindMountPointTraits {
    using Type = HANDLE;
    static Type Null() noexcept { return INVALID_HANDLE_VALUE; }
    static void Release(Type search) noexcept { FindVolumeMountPointClose(search); }
};

// A search of FindFirstVolumeMountPointW.
using FindMountPoint = Owner<FindMountPointTraits>;

struct LocalMemoryTraits {
    using Type = wchar_t*;
    static Type Null() noexcept { return nullptr; }
    static void Release(Type block) noexcept { LocalFree(block); }
};

// A text that Windows allocated with LocalAlloc, as FormatMessageW does.
using LocalText = Owner<LocalMemoryTraits>;

struct LocalBlockTraits {
    using Type = void*;
    static Type Null() noexcept { return nullptr; }
    static void Release(Type block) noexcept { LocalFree(block); }
};

// A block of LocalAlloc.
using LocalBlock = Owner<LocalBlockTraits>;

// A security descriptor made from its text, which Windows allocates in the same way.
using SecurityDescriptor = LocalBlock;

struct GlobalMemoryTraits {
    using Type = HGLOBAL;
    static Type Null() noexcept { return nullptr; }
    static void Release(Type block) noexcept { GlobalFree(block); }
};

// A block of GlobalAlloc.
using GlobalBlock = Owner<GlobalMemoryTraits>;

} // namespace win
