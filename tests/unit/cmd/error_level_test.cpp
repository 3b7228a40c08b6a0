#include "cmd/error_level.h"

#include "support/replaced_function.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <ostream>
#include <string>

namespace {

using namespace testing_support;

struct ErrorLevelCase {
    const char* name;
    std::uint32_t code;
    const wchar_t* entry;

    friend void PrintTo(const ErrorLevelCase& test, std::ostream* out) { *out << test.code; }
};

class ErrorLevel : public ::testing::TestWithParam<ErrorLevelCase> {};

TEST_P(ErrorLevel, IsPutIntoTheEnvironmentInUnsignedDecimalAndReturned)
{
    std::wstring entry;
    const Replaced<"_wputenv", decltype(::_wputenv)> putEnvironment([&](const wchar_t* text) {
        entry = text;
        return 0;
    });
    EXPECT_EQ(GetParam().code, SetErrorLevel(GetParam().code));
    EXPECT_EQ(GetParam().entry, entry);
    EXPECT_EQ(1, putEnvironment.Calls());
}

INSTANTIATE_TEST_SUITE_P(Codes, ErrorLevel,
                         ::testing::Values(ErrorLevelCase{"Zero", 0, L"ERRORLEVEL=0"},
                                           ErrorLevelCase{"BadCommandData", 87, L"ERRORLEVEL=87"},
                                           ErrorLevelCase{"NotPermitted", 0x20000004, L"ERRORLEVEL=536870916"},
                                           ErrorLevelCase{"SignBit", 0x80004005, L"ERRORLEVEL=2147500037"},
                                           ErrorLevelCase{"Greatest", 0xFFFFFFFF, L"ERRORLEVEL=4294967295"}),
                         [](const auto& test) { return test.param.name; });

TEST(ErrorLevelEntry, CanBeReadFromTheProcessEnvironment)
{
    SetErrorLevel(87);
    const wchar_t* const value = _wgetenv(L"ERRORLEVEL");
    EXPECT_STREQ(L"87", value);
    _wputenv(L"ERRORLEVEL=");
    EXPECT_EQ(nullptr, _wgetenv(L"ERRORLEVEL"));
}

TEST(ErrorLevelEntry, ReturnsTheCodeWhenTheEnvironmentCannotBeChanged)
{
    const Replaced<"_wputenv", decltype(::_wputenv)> putEnvironment([](const wchar_t*) { return -1; });
    EXPECT_EQ(13U, SetErrorLevel(13));
}

} // namespace
