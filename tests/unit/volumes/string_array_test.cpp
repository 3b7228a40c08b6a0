#include "volumes/string_array.h"

#include "support/failing_memory.h"
#include "support/product_test.h"

#include <new>
#include <string>

namespace {

using namespace testing_support;

class StringArray : public ProductTest {
protected:
    // The array of a VARIANT that holds one.
    static SAFEARRAY* ArrayOf(const win::Variant& variant) { return variant.Get().parray; }

    // Straight from the array: Automation would copy the text past the census.
    static BSTR& ElementOf(const VARIANT& value, std::size_t index)
    {
        return static_cast<BSTR*>(value.parray->pvData)[index];
    }
};

TEST_F(StringArray, IsAnArrayOfOneDimensionFromZeroOn)
{
    const win::Variant variant = ToVariant({L"one", L"", L"three"});
    ASSERT_EQ(VT_ARRAY | VT_BSTR, variant.Type());
    VARTYPE type = VT_EMPTY;
    LONG lowest = -1;
    LONG highest = -1;
    EXPECT_EQ(S_OK, SafeArrayGetVartype(ArrayOf(variant), &type));
    EXPECT_EQ(VT_BSTR, type);
    EXPECT_EQ(1U, SafeArrayGetDim(ArrayOf(variant)));
    EXPECT_EQ(S_OK, SafeArrayGetLBound(ArrayOf(variant), 1, &lowest));
    EXPECT_EQ(S_OK, SafeArrayGetUBound(ArrayOf(variant), 1, &highest));
    EXPECT_EQ(0, lowest);
    EXPECT_EQ(2, highest);
    EXPECT_STREQ(L"one", ElementOf(variant.Get(), 0));
    EXPECT_STREQ(L"", ElementOf(variant.Get(), 1));
    EXPECT_STREQ(L"three", ElementOf(variant.Get(), 2));
}

TEST_F(StringArray, IsLeftUnlocked)
{
    const win::Variant variant = ToVariant({L"one", L"two"});
    EXPECT_EQ(0U, ArrayOf(variant)->cLocks);
    EXPECT_EQ(2U, ToStringList(variant).size());
    EXPECT_EQ(0U, ArrayOf(variant)->cLocks);
}

TEST_F(StringArray, MayHaveNoElements)
{
    const win::Variant variant = ToVariant({});
    EXPECT_EQ(VT_ARRAY | VT_BSTR, variant.Type());
    EXPECT_EQ(1U, SafeArrayGetDim(ArrayOf(variant)));
    EXPECT_EQ(StringList{}, ToStringList(variant));
}

TEST_F(StringArray, GivesBackAListOfAnySizeInItsOrder)
{
    for (const std::size_t size : {1U, 2U, 26U, 5000U}) {
        StringList list;
        for (std::size_t i = 0; i < size; ++i) {
            list.push_back(L"volume " + std::to_wstring((i * 7919) % 10007));
        }
        EXPECT_EQ(list, ToStringList(ToVariant(list)));
    }
}

TEST_F(StringArray, GivesBackTextsOfAnyKind)
{
    const StringList list = {L"", {L"a\0b", 3}, L"\u00E4\u65E5\u672C", std::wstring(100000, L'x'), L"same", L"same"};
    EXPECT_EQ(list, ToStringList(ToVariant(list)));
}

TEST_F(StringArray, IsReadFromAnyFirstIndexOn)
{
    VARIANT value{};
    value.vt = VT_ARRAY | VT_BSTR;
    SAFEARRAYBOUND bound{2, 5};
    value.parray = SafeArrayCreate(VT_BSTR, 1, &bound);
    // The element before stays a null BSTR, which is an empty text.
    ElementOf(value, 1) = SysAllocString(L"six");
    EXPECT_EQ((StringList{L"", L"six"}), ToStringList(win::Variant(value)));
}

TEST_F(StringArray, IsNotReadFromAnythingElse)
{
    EXPECT_EQ(StringList{}, ToStringList(win::Variant()));
    EXPECT_EQ(StringList{}, ToStringList(win::Variant::OfText(L"text")));
    EXPECT_EQ(StringList{}, ToStringList(win::Variant::OfInteger(3)));
    VARIANT none{};
    none.vt = VT_ARRAY | VT_BSTR;
    EXPECT_EQ(StringList{}, ToStringList(win::Variant(none)));
    VARIANT numbers{};
    numbers.vt = VT_ARRAY | VT_I4;
    numbers.parray = SafeArrayCreateVector(VT_I4, 0, 3);
    EXPECT_EQ(StringList{}, ToStringList(win::Variant(numbers)));
    VARIANT table{};
    table.vt = VT_ARRAY | VT_BSTR;
    SAFEARRAYBOUND bounds[] = {{2, 0}, {2, 0}};
    table.parray = SafeArrayCreate(VT_BSTR, 2, bounds);
    EXPECT_EQ(StringList{}, ToStringList(win::Variant(table)));
}

// --- Failures ---

TEST_F(StringArray, ThrowsWhereThereIsNoMemoryForTheArray)
{
    const Replaced<"SafeArrayCreateVector", decltype(::SafeArrayCreateVector)> create(
        [](VARTYPE, LONG, ULONG) -> SAFEARRAY* { return nullptr; });
    EXPECT_THROW(static_cast<void>(ToVariant({L"one"})), std::bad_alloc);
    EXPECT_EQ(1, create.Calls());
}

TEST_F(StringArray, ThrowsWhereThereIsNoMemoryForOneOfItsTexts)
{
    for (int failing = 1; failing <= 3; ++failing) {
        const Replaced<"SysAllocStringLen", decltype(::SysAllocStringLen)> allocate(
            [&](const OLECHAR* text, UINT length) {
                return allocate.Calls() == failing ? nullptr : allocate.Original(text, length);
            });
        EXPECT_THROW(static_cast<void>(ToVariant({L"one", L"two", L"three"})), std::bad_alloc);
        EXPECT_EQ(failing, allocate.Calls());
        // What was made so far has gone with the array.
        EXPECT_EQ("", census.Imbalance());
    }
}

TEST_F(StringArray, ThrowsWhereThereIsNoMemoryForTheList)
{
    const win::Variant variant = ToVariant({std::wstring(100, L'x'), std::wstring(100, L'y')});
    int failing = 1;
    for (bool hasFailed = true; hasFailed; ++failing) {
        const FailingMemory memory(failing);
        try {
            EXPECT_EQ(2U, ToStringList(variant).size());
        } catch (const std::bad_alloc&) {
            EXPECT_TRUE(memory.HasFailed());
        }
        hasFailed = memory.HasFailed();
        EXPECT_EQ(0U, ArrayOf(variant)->cLocks);
    }
    // The list and each text.
    EXPECT_GT(failing, 4);
}

TEST_F(StringArray, IsNothingWhereItsElementsCannotBeReached)
{
    const win::Variant readable = ToVariant({L"one"});
    const Replaced<"SafeArrayAccessData", decltype(::SafeArrayAccessData)> access(
        [](SAFEARRAY*, void**) -> HRESULT { return E_UNEXPECTED; });
    const Replaced<"SafeArrayUnaccessData", decltype(::SafeArrayUnaccessData)> unaccess([](SAFEARRAY*) -> HRESULT {
        ADD_FAILURE() << "the array is not locked";
        return E_UNEXPECTED;
    });
    EXPECT_EQ(StringList{}, ToStringList(readable));
    EXPECT_EQ(VT_EMPTY, ToVariant({L"one"}).Type());
    EXPECT_EQ(2, access.Calls());
}

} // namespace
