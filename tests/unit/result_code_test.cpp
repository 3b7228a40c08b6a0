#include "win/result_code.h"

#include "engine/result_codes.h"

#include <gtest/gtest.h>

#include <limits>

namespace {

constexpr HRESULT Hr(std::uint32_t bits)
{
    return static_cast<HRESULT>(bits);
}

TEST(WindowsErrorAsHresult, HasTheWin32FacilityAndTheLow16BitsOfAPositiveNumber)
{
    EXPECT_EQ(Hr(0x80070005), win::HResultFromWin32(5));
    EXPECT_EQ(Hr(0x8007000D), win::HResultFromWin32(13));
    EXPECT_EQ(Hr(0x8007FFFF), win::HResultFromWin32(0xFFFF));
    EXPECT_EQ(Hr(0x80070001), win::HResultFromWin32(0x10001));
    EXPECT_EQ(Hr(0x80070002), win::HResultFromWin32(0x20000002));
    EXPECT_EQ(Hr(0x80070000), win::HResultFromWin32(0x10000));
    EXPECT_EQ(Hr(0x8007FFFF), win::HResultFromWin32(std::numeric_limits<std::int32_t>::max()));
}

TEST(WindowsErrorAsHresult, IsUnchangedFromZeroDown)
{
    EXPECT_EQ(0, win::HResultFromWin32(0));
    EXPECT_EQ(-1, win::HResultFromWin32(-1));
    EXPECT_EQ(E_FAIL, win::HResultFromWin32(E_FAIL));
    EXPECT_EQ(REGDB_E_CLASSNOTREG, win::HResultFromWin32(REGDB_E_CLASSNOTREG));
    EXPECT_EQ(Hr(0x80000000), win::HResultFromWin32(std::numeric_limits<std::int32_t>::min()));
}

TEST(CodeOfAnHresult, IsItsLow16Bits)
{
    EXPECT_EQ(0U, win::CodeOf(S_OK));
    EXPECT_EQ(5U, win::CodeOf(E_ACCESSDENIED));
    EXPECT_EQ(262U, win::CodeOf(RPC_E_CHANGED_MODE));
    EXPECT_EQ(0x4005U, win::CodeOf(E_FAIL));
    EXPECT_EQ(0U, win::CodeOf(Hr(0x80070000)));
    EXPECT_EQ(0xFFFFU, win::CodeOf(-1));
}

TEST(ResultOfAnHresult, IsAllItsBits)
{
    EXPECT_EQ(0U, win::ResultOf(S_OK));
    EXPECT_EQ(0x80040154U, win::ResultOf(REGDB_E_CLASSNOTREG));
    EXPECT_EQ(0xFFFFFFFFU, win::ResultOf(-1));
}

TEST(RequiredInterface, TurnsOnlyASuccessWithoutOneIntoAFailure)
{
    const int object = 0;
    EXPECT_EQ(S_OK, win::RequireInterface(S_OK, &object));
    EXPECT_EQ(S_FALSE, win::RequireInterface(S_FALSE, &object));
    EXPECT_EQ(E_FAIL, win::RequireInterface(E_FAIL, &object));
    EXPECT_EQ(E_FAIL, win::RequireInterface(E_FAIL, nullptr));
    EXPECT_EQ(Hr(0x80004003), win::RequireInterface(S_OK, nullptr));
    EXPECT_EQ(Hr(0x80004003), win::RequireInterface(S_FALSE, nullptr));
}

TEST(ToolsOwnCodes, AreFixed)
{
    EXPECT_EQ(0U, kSuccess);
    EXPECT_EQ(0x20000001U, kEngineCallFailed);
    EXPECT_EQ(0x20000002U, kConnectionFailed);
    EXPECT_EQ(0x20000004U, kNotPermitted);
    EXPECT_EQ(0x20000005U, kScheduledForBoot);
    EXPECT_EQ(13U, kNotMatched);
    EXPECT_EQ(87U, kBadCommandData);
    EXPECT_EQ(14U, kOutOfMemory);
}

} // namespace
