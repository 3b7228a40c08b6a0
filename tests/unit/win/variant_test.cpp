#include "win/variant.h"

#include "support/product_test.h"

namespace {

using namespace testing_support;
using win::Variant;

class OwnedVariant : public ProductTest {};

TEST_F(OwnedVariant, HoldsNothingAtFirst)
{
    EXPECT_EQ(VT_EMPTY, Variant().Type());
}

TEST_F(OwnedVariant, HoldsAnInteger)
{
    const Variant variant = Variant::OfInteger(-7);
    EXPECT_EQ(VT_I4, variant.Type());
    EXPECT_EQ(-7, variant.Get().lVal);
}

TEST_F(OwnedVariant, HoldsACopyOfAText)
{
    const Variant variant = Variant::OfText({L"a\0b", 3});
    EXPECT_EQ(VT_BSTR, variant.Type());
    EXPECT_EQ(3U, SysStringLen(variant.Get().bstrVal));
    EXPECT_EQ(L'b', variant.Get().bstrVal[2]);
}

TEST_F(OwnedVariant, ThrowsWhereThereIsNoMemoryForAText)
{
    const Replaced<"SysAllocStringLen", decltype(::SysAllocStringLen)> noMemory(
        [](const OLECHAR*, UINT) -> BSTR { return nullptr; });
    EXPECT_THROW(static_cast<void>(Variant::OfText(L"x")), std::bad_alloc);
}

TEST_F(OwnedVariant, FreesWhatItHoldsOnceHoweverOftenItIsMoved)
{
    Variant first = Variant::OfText(L"one");
    Variant second = std::move(first);
    EXPECT_EQ(VT_EMPTY, first.Type()); // NOLINT(bugprone-use-after-move,clang-analyzer-cplusplus.Move)
    first = Variant::OfText(L"two");
    second = std::move(first);
    EXPECT_STREQ(L"two", second.Get().bstrVal);
}

TEST_F(OwnedVariant, FreesWhatItHeldForACallToFill)
{
    Variant variant = Variant::OfText(L"old");
    VARIANT* const place = variant.Put();
    EXPECT_EQ(VT_EMPTY, place->vt);
    EXPECT_EQ(place, variant.Put());
}

TEST_F(OwnedVariant, TakesOverWhatTheCallerOwned)
{
    VARIANT raw{};
    raw.vt = VT_ARRAY | VT_BSTR;
    raw.parray = SafeArrayCreateVector(VT_BSTR, 0, 2);
    const Variant variant(raw);
    EXPECT_EQ(raw.parray, variant.Get().parray);
}

TEST_F(OwnedVariant, ChangesItsType)
{
    Variant variant = Variant::OfText(L"42");
    EXPECT_EQ(S_OK, variant.ChangeType(VT_I4));
    EXPECT_EQ(VT_I4, variant.Type());
    EXPECT_EQ(42, variant.Get().lVal);
}

TEST_F(OwnedVariant, StaysAsItWasWhereItsTypeCannotBeChanged)
{
    Variant variant = Variant::OfText(L"x");
    EXPECT_EQ(DISP_E_TYPEMISMATCH, variant.ChangeType(VT_I4));
    EXPECT_EQ(VT_BSTR, variant.Type());
    EXPECT_STREQ(L"x", variant.Get().bstrVal);
}

} // namespace
