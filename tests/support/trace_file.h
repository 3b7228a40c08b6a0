#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

namespace testing_support {

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

// Of each record of a trace file's text the source file and what follows the line number, where the functions' names
// are written, too: "ado_implement (vldb::CAdoDbReader::Read) *** ENTER ***".
inline std::vector<std::wstring> SourcesAndTexts(const std::wstring& text)
{
    constexpr std::size_t kLineNumber = 6;
    constexpr std::size_t kSource = 32;
    std::vector<std::wstring> records;
    for (const std::wstring& line : LinesOf(text)) {
        const std::size_t function = line.find(L" (");
        const std::wstring source = line.substr(function - kLineNumber - 1 - kSource, kSource);
        records.push_back(source.substr(0, source.find(L' ')) + line.substr(function));
    }
    return records;
}

} // namespace testing_support
