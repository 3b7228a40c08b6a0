#pragma once

#include "support/registry_sandbox.h"
#include "support/replaced_function.h"
#include "support/scratch_folder.h"
#include "trace/VLTrace.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

namespace testing_support {

inline constexpr wchar_t kTraceSettings[] = L"Software\\Kestrane\\VLCore\\14.0";
inline constexpr wchar_t kTraceFile[] = L"Velundra_TraceLog.txt";

// The text of a trace file without its byte-order mark, which it must begin with and hold nowhere else.
inline std::wstring ReadTraceFile(const std::filesystem::path& path)
{
    std::ifstream file(path, std::ios::binary);
    EXPECT_TRUE(file.is_open()) << path;
    const std::string bytes{std::istreambuf_iterator<char>(file), {}};
    EXPECT_EQ(0U, bytes.size() % sizeof(wchar_t)) << path;
    std::wstring text(bytes.size() / sizeof(wchar_t), L'\0');
    bytes.copy(reinterpret_cast<char*>(text.data()), text.size() * sizeof(wchar_t));
    EXPECT_EQ(1, std::count(text.begin(), text.end(), L'\xFEFF')) << path;
    if (!text.starts_with(L'\xFEFF')) {
        ADD_FAILURE() << path << " has no byte-order mark";
        return text;
    }
    return text.substr(1);
}

// The text's lines without their line ends; what stands behind the last line end is a failure.
inline std::vector<std::wstring> LinesOf(const std::wstring& text)
{
    std::vector<std::wstring> lines;
    std::size_t at = 0;
    for (std::size_t end = text.find(L"\r\n"); end != std::wstring::npos; end = text.find(L"\r\n", at)) {
        lines.push_back(text.substr(at, end - at));
        at = end + 2;
    }
    EXPECT_EQ(text.size(), at) << "the last line has no end";
    return lines;
}

// Has the process's trace log write entry and leave records, with the names of their functions, into a folder of the
// test's own, as long as the object lives. The process's trace log reads its settings only when it is made, so it is
// made anew here and once more at the end, and without a mutex, for nobody else writes there. Needs a registry sandbox
// that lives longer.
class TracedOperations {
public:
    TracedOperations()
    {
        RegistrySandbox::SetString(HKEY_LOCAL_MACHINE, kTraceSettings, L"TraceFilePath", folder_.Path());
        RegistrySandbox::SetDword(HKEY_LOCAL_MACHINE, kTraceSettings, L"TraceFunctionName", 1);
        Restart(1);
    }
    TracedOperations(const TracedOperations&) = delete;
    TracedOperations(TracedOperations&&) = delete;
    ~TracedOperations() { Restart(0); }
    TracedOperations& operator=(const TracedOperations&) = delete;
    TracedOperations& operator=(TracedOperations&&) = delete;

    // What was recorded, and again from now on: "ado_implement (vldb::CAdoDbReader::Read) *** ENTER ***".
    [[nodiscard]] std::vector<std::wstring> Take()
    {
        const std::filesystem::path file = folder_.PathOf(kTraceFile);
        if (!std::filesystem::exists(file)) {
            return {};
        }
        std::vector<std::wstring> records;
        for (const std::wstring& line : LinesOf(ReadTraceFile(file))) {
            // The source file's column and what follows the line number.
            const std::size_t function = line.find(L" (");
            const std::wstring head = line.substr(0, function);
            constexpr std::size_t kLineNumber = 6;
            constexpr std::size_t kSource = 32;
            const std::wstring source = head.substr(head.size() - kLineNumber - 1 - kSource, kSource);
            records.push_back(source.substr(0, source.find(L' ')) + line.substr(function));
        }
        EXPECT_TRUE(std::filesystem::remove(file));
        return records;
    }

private:
    static void Restart(std::uint32_t entryExit)
    {
        RegistrySandbox::SetDword(HKEY_LOCAL_MACHINE, kTraceSettings, L"TraceEntryExit", entryExit);
        std::destroy_at(&TheTrace);
        std::construct_at(&TheTrace);
    }

    ScratchFolder folder_;
    Replaced<"CreateMutexW", decltype(::CreateMutexW)> noMutex_{[](LPSECURITY_ATTRIBUTES, BOOL, LPCWSTR) -> HANDLE {
        SetLastError(ERROR_INVALID_HANDLE);
        return nullptr;
    }};
};

} // namespace testing_support
