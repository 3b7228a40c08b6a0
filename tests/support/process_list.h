#pragma once

#include "support/replaced_function.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include <psapi.h>

namespace testing_support {

// A process of the list below.
struct RunningProcess {
    std::optional<std::wstring> path{};       // of its program file; none where that cannot be had
    std::optional<std::wstring> moduleName{}; // its first module's base name; none where that cannot be had
    bool opens = true;                        // whether it may be looked into
};

// Stands in for the computer's list of processes. Every call's arguments are checked; at the end every process that was
// opened must have been closed.
class ProcessList {
public:
    ProcessList() = default;
    ProcessList(ProcessList&&) = delete;
    ~ProcessList() { EXPECT_EQ(0, open_) << "processes were not closed"; }

    std::vector<RunningProcess> processes;
    bool canBeListed = true;

    // How often the list was asked for, and how many processes were opened.
    [[nodiscard]] int Listings() const { return enumerate_.Calls(); }
    [[nodiscard]] int Openings() const { return openProcess_.Calls(); }

private:
    static constexpr DWORD kRoomForIdentifiers = 2048 * sizeof(DWORD);
    static constexpr DWORD kQueryInformationAndRead = 1040;
    static constexpr DWORD kPathLength = 1025;
    static constexpr DWORD kFirstIdentifier = 100;

    // A process's handle is its own address; its one module's, too.
    [[nodiscard]] const RunningProcess* Find(const void* handle) const
    {
        for (const RunningProcess& process : processes) {
            if (handle == &process) {
                return &process;
            }
        }
        return nullptr;
    }

    static DWORD Hand(const std::optional<std::wstring>& text, wchar_t* buffer, DWORD size)
    {
        if (!text) {
            SetLastError(ERROR_ACCESS_DENIED);
            return 0;
        }
        const std::size_t length = text->copy(buffer, size - 1);
        buffer[length] = L'\0';
        return static_cast<DWORD>(length);
    }

    int open_ = 0;

    Replaced<"K32EnumProcesses", decltype(::K32EnumProcesses)> enumerate_{[this](DWORD* ids, DWORD size, DWORD* used) {
        EXPECT_EQ(kRoomForIdentifiers, size);
        if (!canBeListed) {
            return FALSE;
        }
        const std::size_t count = std::min<std::size_t>(processes.size(), size / sizeof(DWORD));
        for (std::size_t i = 0; i < count; ++i) {
            ids[i] = kFirstIdentifier + static_cast<DWORD>(i);
        }
        *used = static_cast<DWORD>(count * sizeof(DWORD));
        return TRUE;
    }};
    Replaced<"OpenProcess", decltype(::OpenProcess)> openProcess_{[this](DWORD access, BOOL inherit, DWORD id) {
        EXPECT_EQ(kQueryInformationAndRead, access);
        EXPECT_EQ(FALSE, inherit);
        const std::size_t index = id - kFirstIdentifier;
        if (index >= processes.size()) {
            ADD_FAILURE() << "there is no process " << id;
            return HANDLE{nullptr};
        }
        if (!processes[index].opens) {
            SetLastError(ERROR_ACCESS_DENIED);
            return HANDLE{nullptr};
        }
        ++open_;
        return static_cast<HANDLE>(&processes[index]);
    }};
    Replaced<"CloseHandle", decltype(::CloseHandle)> closeHandle_{[this](HANDLE handle) {
        if (Find(handle) == nullptr) {
            return closeHandle_.Original(handle);
        }
        --open_;
        return TRUE;
    }};
    Replaced<"K32GetModuleFileNameExW", decltype(::K32GetModuleFileNameExW)> getPath_{
        [this](HANDLE handle, HMODULE module, LPWSTR path, DWORD size) {
            EXPECT_EQ(nullptr, module);
            EXPECT_EQ(kPathLength, size);
            const RunningProcess* const process = Find(handle);
            EXPECT_NE(nullptr, process);
            return process == nullptr ? 0 : Hand(process->path, path, size);
        }};
    Replaced<"K32EnumProcessModules", decltype(::K32EnumProcessModules)> enumerateModules_{
        [this](HANDLE handle, HMODULE* modules, DWORD size, LPDWORD needed) {
            EXPECT_GE(size, sizeof(HMODULE));
            const RunningProcess* const process = Find(handle);
            EXPECT_NE(nullptr, process);
            if (process == nullptr || !process->moduleName) {
                return FALSE;
            }
            modules[0] = static_cast<HMODULE>(handle);
            *needed = sizeof(HMODULE);
            return TRUE;
        }};
    Replaced<"K32GetModuleBaseNameW", decltype(::K32GetModuleBaseNameW)> getModuleName_{
        [this](HANDLE handle, HMODULE module, LPWSTR name, DWORD size) {
            EXPECT_EQ(static_cast<HMODULE>(handle), module);
            const RunningProcess* const process = Find(handle);
            EXPECT_NE(nullptr, process);
            return process == nullptr ? 0 : Hand(process->moduleName, name, size);
        }};
};

} // namespace testing_support
