#include "trace/VLTrace.h"

#include "support/trace_log.h"
#include "trace_test.h"

#include <array>
#include <cstring>
#include <filesystem>
#include <memory>
#include <optional>
#include <vector>

#include <shlobj.h>

namespace {

using namespace testing_support;
using namespace testing_support::tracing;

class TraceSettings : public TraceLog {};

TEST_F(TraceSettings, AreReadFromTheCoreKey)
{
    const Replaced<"RegOpenKeyExW", decltype(::RegOpenKeyExW)> open(
        [&](HKEY root, LPCWSTR path, DWORD options, REGSAM access, PHKEY key) {
            EXPECT_EQ(HKEY_LOCAL_MACHINE, root);
            EXPECT_STREQ(L"Software\\Kestrane\\VLCore\\14.0", path);
            EXPECT_EQ(static_cast<REGSAM>(KEY_READ), access);
            return open.Original(root, path, options, access, key);
        });
    CVLTrace trace;
    EXPECT_EQ(1, open.Calls());
}

TEST_F(TraceSettings, AreReadOnce)
{
    CVLTrace trace;
    Set(L"TraceEntryExit", 1);
    const Replaced<"RegOpenKeyExW", decltype(::RegOpenKeyExW)> open(
        [](HKEY, LPCWSTR, DWORD, REGSAM, PHKEY) -> LSTATUS { return ERROR_ACCESS_DENIED; });
    EXPECT_EQ(0U, trace.LoadSettings());
    EXPECT_EQ(0, open.Calls());
    trace.TraceOperation(L"s", L"f", 1, L"t");
    EXPECT_TRUE(Files().empty());
}

TEST_F(TraceSettings, AreAllDefaultsWhereTheKeyCannotBeOpened)
{
    Set(L"TraceLevel", 5);
    Set(L"TraceEntryExit", 1);
    const Replaced<"RegOpenKeyExW", decltype(::RegOpenKeyExW)> open(
        [](HKEY, LPCWSTR, DWORD, REGSAM, PHKEY) -> LSTATUS { return ERROR_ACCESS_DENIED; });
    CVLTrace trace;
    EXPECT_EQ(5U, trace.LoadSettings());
    const WantedFiles wanted(ERROR_ACCESS_DENIED);
    EXPECT_EQ(0U, trace.TraceMessage(1, L"s", L"f", 1, L"text"));
    trace.TraceOperation(L"s", L"f", 1, L"text");
    EXPECT_TRUE(wanted.paths.empty());
    EXPECT_EQ(5U, trace.TraceMessage(0, L"s", L"f", 1, L"text"));
    ASSERT_EQ(1U, wanted.paths.size());
    EXPECT_TRUE(wanted.paths.front().ends_with(L"\\Kestrane\\Velundra\\14.0\\Velundra_TraceLog.txt"));
}

TEST_F(TraceSettings, TellWhetherMessagesOfALevelAreWritten)
{
    struct LevelCase {
        std::optional<std::uint32_t> setting;
        std::uint32_t message;
        bool isWritten;
    };
    constexpr LevelCase kCases[] = {
        {std::nullopt, 0, true}, {std::nullopt, 1, false}, {3U, 2, true},           {3U, 3, true},
        {3U, 4, false},          {100000U, 100000, true},  {99999U, 100000, false}, {0xFFFFFFFFU, 0xFFFFFFFF, true},
    };
    for (const LevelCase& test : kCases) {
        SCOPED_TRACE(test.message);
        if (test.setting) {
            Set(L"TraceLevel", *test.setting);
        }
        CVLTrace trace;
        EXPECT_EQ(0U, trace.TraceMessage(test.message, L"s", L"f", 1, L"text"));
        EXPECT_EQ(test.isWritten ? 1U : 0U, Records().size());
        std::filesystem::remove(File());
    }
}

TEST_F(TraceSettings, LeaveDefaultsWhereTheirValuesAreOfAnotherType)
{
    SetText(L"TraceLevel", L"5");
    SetText(L"TraceEntryExit", L"1");
    SetText(L"TraceFunctionName", L"1");
    Set(L"TraceString", 1);
    Set(L"TraceModuleList", 1);
    SetText(L"TraceVector", L"1");
    CVLTrace trace;
    EXPECT_EQ(0U, trace.TraceMessage(1, L"s", L"f", 1, L"text"));
    trace.TraceOperation(L"s", L"f", 1, L"text");
    EXPECT_TRUE(Files().empty());
    EXPECT_EQ(0U, trace.TraceMessage(0, L"s", L"f", 1, L"text"));
    EXPECT_TRUE(TakeRecord().ends_with(L" 000001 text"));
    EXPECT_EQ(L"", trace.TraceString());
    EXPECT_EQ(0U, trace.TraceVector()[0]);
}

TEST_F(TraceSettings, KeepTheTraceStringAlsoInUpperCase)
{
    SetText(L"TraceString", L"Some ümlaut 1");
    CVLTrace trace;
    EXPECT_EQ(L"Some ümlaut 1", trace.TraceString());
    EXPECT_EQ(L"SOME ÜMLAUT 1", trace.TraceStringUpper());
    EXPECT_EQ(0U, Write(trace, L"other", L"other")); // no record is filtered by it
    EXPECT_EQ(1U, Records().size());
}

TEST_F(TraceSettings, KeepTheTraceVector)
{
    std::array<std::uint32_t, 8192> vector{};
    for (std::uint32_t i = 0; i < vector.size(); ++i) {
        vector[i] = i * 0x10001U;
    }
    std::vector<BYTE> bytes(sizeof vector);
    std::memcpy(bytes.data(), vector.data(), bytes.size());
    RegistrySandbox::SetRaw(HKEY_LOCAL_MACHINE, kTraceSettings, L"TraceVector", REG_BINARY, bytes);
    const auto trace = std::make_unique<CVLTrace>();
    EXPECT_EQ(vector, trace->TraceVector());
}

TEST_F(TraceSettings, KeepAShortTraceVectorWithZerosBehindIt)
{
    RegistrySandbox::SetRaw(HKEY_LOCAL_MACHINE, kTraceSettings, L"TraceVector", REG_BINARY, {1, 0, 0, 0, 2, 0});
    const auto trace = std::make_unique<CVLTrace>();
    std::array<std::uint32_t, 8192> expected{1, 2};
    EXPECT_EQ(expected, trace->TraceVector());
}

TEST_F(TraceSettings, HaveATraceVectorOfZerosWithoutOne)
{
    const auto trace = std::make_unique<CVLTrace>();
    EXPECT_EQ((std::array<std::uint32_t, 8192>{}), trace->TraceVector());
    RegistrySandbox::SetRaw(HKEY_LOCAL_MACHINE, kTraceSettings, L"TraceVector", REG_BINARY,
                            std::vector<BYTE>(32769, 1));
    const auto tooLong = std::make_unique<CVLTrace>();
    EXPECT_EQ((std::array<std::uint32_t, 8192>{}), tooLong->TraceVector());
}

TEST_F(TraceSettings, CostNoFolderNoNameAndNoFileWhereNothingIsTraced)
{
    const WantedFiles wanted(ERROR_ACCESS_DENIED);
    const Replaced<"SHGetFolderPathW", decltype(::SHGetFolderPathW)> find(
        [](HWND, int, HANDLE, DWORD, LPWSTR) -> HRESULT { return E_FAIL; });
    CVLTrace trace;
    EXPECT_EQ(0U, trace.TraceMessage(1, L"s", L"f", 1, L"text"));
    trace.TraceOperation(L"s", L"f", 1, L"text");
    EXPECT_EQ(0, find.Calls() + userName.Calls() + computer.Calls() + moduleFileName.Calls() + localTime.Calls());
    EXPECT_TRUE(wanted.paths.empty());
}

} // namespace
