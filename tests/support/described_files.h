#pragma once

#include "support/replaced_function.h"
#include "win/text.h"
#include "win/windows_api.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace testing_support {

// A program file and what Windows tells about it. The version resource may have the fixed part, a string table, both or
// neither; a file with neither has no version resource at all.
struct DescribedFile {
    SYSTEMTIME written{2026, 11, 4, 5, 6, 30, 0, 0}; // of the last write, UTC
    std::optional<std::array<WORD, 4>> version;
    std::wstring table = L"040904b0";
    std::vector<std::pair<std::wstring, std::wstring>> strings;
};

// The version resource of the file, byte for byte as it stands in a program file.
std::vector<BYTE> VersionResourceOf(const DescribedFile& file);

// A Windows whose searches for files, and questions after version resources, find the files of the test's own making
// and no others; its clock is two hours ahead of UTC. Paths are told apart as Windows does it; one without
// a drive stands for a file in the current directory. A search that is still open at the end fails the test.
class DescribedFiles {
public:
    DescribedFiles() = default;
    DescribedFiles(DescribedFiles&&) = delete;
    ~DescribedFiles();

    // A file without a version resource, or with this version and these strings, for the test to change.
    DescribedFile& Add(const std::wstring& path);
    DescribedFile& Add(const std::wstring& path, const std::array<WORD, 4>& version,
                       std::vector<std::pair<std::wstring, std::wstring>> strings = {});

    std::map<std::wstring, DescribedFile, win::NameLess> files;
    std::vector<std::wstring> asked; // the paths whose version resources were asked for

private:
    // Null for none, with the thread's last error set.
    [[nodiscard]] const DescribedFile* FileAt(const wchar_t* path) const;
    // The version resource; empty for none, with the thread's last error set.
    [[nodiscard]] std::vector<BYTE> ResourceAt(const wchar_t* path) const;

    HANDLE Search(const wchar_t* path, WIN32_FIND_DATAW& found);

    std::set<HANDLE> searches_;
    std::uintptr_t lastSearch_ = 0x5EA00000;

    Replaced<"GetFileVersionInfoSizeW", decltype(::GetFileVersionInfoSizeW)> size_{
        [this](LPCWSTR path, LPDWORD handle) {
            *handle = 0;
            asked.emplace_back(path);
            return static_cast<DWORD>(ResourceAt(path).size());
        }};
    Replaced<"GetFileVersionInfoW", decltype(::GetFileVersionInfoW)> data_{
        [this](LPCWSTR path, DWORD handle, DWORD size, LPVOID data) {
            EXPECT_EQ(0U, handle);
            const std::vector<BYTE> resource = ResourceAt(path);
            EXPECT_EQ(resource.size(), size);
            std::copy(resource.begin(), resource.end(), static_cast<BYTE*>(data));
            return resource.empty() ? FALSE : TRUE;
        }};
    Replaced<"FindFirstFileW", decltype(::FindFirstFileW)> findFirst_{
        [this](LPCWSTR path, LPWIN32_FIND_DATAW found) { return Search(path, *found); }};
    Replaced<"FindClose", decltype(::FindClose)> findClose_{[this](HANDLE search) {
        const bool isOpen = searches_.erase(search) == 1;
        EXPECT_TRUE(isOpen);
        return isOpen ? TRUE : FALSE;
    }};
    Replaced<"SystemTimeToTzSpecificLocalTime", decltype(::SystemTimeToTzSpecificLocalTime)> localTime_{
        [](const TIME_ZONE_INFORMATION* zone, const SYSTEMTIME* universal, LPSYSTEMTIME local) {
            EXPECT_EQ(nullptr, zone); // the current one
            FILETIME time{};
            EXPECT_NE(FALSE, SystemTimeToFileTime(universal, &time));
            constexpr std::uint64_t kTwoHours = 72000000000; // in units of 100 ns
            const std::uint64_t ahead = (std::uint64_t{time.dwHighDateTime} << 32U) + time.dwLowDateTime + kTwoHours;
            time = {static_cast<DWORD>(ahead), static_cast<DWORD>(ahead >> 32U)};
            return FileTimeToSystemTime(&time, local);
        }};
};

} // namespace testing_support
