#include "win/result_code.h"

#include "engine/result_codes.h"

#include <gtest/gtest.h>

namespace {

constexpr HRESULT Hr(std::uint32_t bits)
{
    return static_cast<HRESULT>(bits);
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
