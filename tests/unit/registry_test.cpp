#include "support/registry.h"

#include "support/failing_memory.h"
#include "support/product_test.h"
#include "support/registry_data.h"

#include <algorithm>
#include <string>
#include <string_view>
#include <vector>

namespace {

using namespace testing_support;

constexpr wchar_t kPath[] = L"Software\\VLCmdTest";

class OpeningAKey : public ProductTest {};

TEST_F(OpeningAKey, GivesAnOwnedKeyWithTheRightsThatAreAsked)
{
    RegistrySandbox::MakeKey(HKEY_LOCAL_MACHINE, kPath);
    const Replaced<"RegOpenKeyExW", decltype(::RegOpenKeyExW)> open(
        [&](HKEY root, LPCWSTR path, DWORD options, REGSAM access, PHKEY key) {
            EXPECT_EQ(HKEY_LOCAL_MACHINE, root);
            EXPECT_STREQ(kPath, path);
            EXPECT_EQ(0U, options);
            EXPECT_EQ(0x20019U, access);
            return open.Original(root, path, options, access, key);
        });
    win::RegistryKey key;
    EXPECT_EQ(0, RegOpen(HKEY_LOCAL_MACHINE, kPath, KEY_READ, key));
    EXPECT_TRUE(key);
    EXPECT_EQ(1, open.Calls());
}

TEST_F(OpeningAKey, GivesTheErrorOfAMissingOne)
{
    win::RegistryKey key;
    EXPECT_EQ(2, RegOpen(HKEY_LOCAL_MACHINE, kPath, KEY_READ, key));
    EXPECT_FALSE(key);
}

TEST_F(OpeningAKey, GivesTheErrorOfWindowsWhateverItIs)
{
    const Replaced<"RegOpenKeyExW", decltype(::RegOpenKeyExW)> open(
        [](HKEY, LPCWSTR, DWORD, REGSAM, PHKEY) -> LSTATUS { return ERROR_ACCESS_DENIED; });
    win::RegistryKey key;
    EXPECT_EQ(5, RegOpen(HKEY_LOCAL_MACHINE, kPath, KEY_READ, key));
    EXPECT_FALSE(key);
}

TEST_F(OpeningAKey, ClosesTheKeyThatTheOwnerHeld)
{
    RegistrySandbox::MakeKey(HKEY_LOCAL_MACHINE, kPath);
    win::RegistryKey key;
    EXPECT_EQ(0, RegOpen(HKEY_LOCAL_MACHINE, kPath, KEY_READ, key));
    EXPECT_EQ(2, RegOpen(HKEY_LOCAL_MACHINE, L"Software\\Missing", KEY_READ, key));
    EXPECT_FALSE(key);
}

class ReadingADword : public ProductTest {
protected:
    ReadingADword() { RegistrySandbox::MakeKey(HKEY_LOCAL_MACHINE, kPath); }

    // Writes a value of the type and reads it.
    LSTATUS Read(DWORD type, const std::vector<BYTE>& data)
    {
        RegistrySandbox::SetRaw(HKEY_LOCAL_MACHINE, kPath, L"Value", type, data);
        return Read();
    }

    LSTATUS Read()
    {
        win::RegistryKey key;
        EXPECT_EQ(0, RegOpen(HKEY_LOCAL_MACHINE, kPath, KEY_READ, key));
        return RegReadDword(key.Get(), L"Value", value);
    }

    std::uint32_t value = 0x12345678;
};

TEST_F(ReadingADword, GivesEveryNumber)
{
    for (const std::uint32_t number : {0U, 1U, 1031U, 0x80000000U, 0xFFFFFFFFU}) {
        RegistrySandbox::SetDword(HKEY_LOCAL_MACHINE, kPath, L"Value", number);
        EXPECT_EQ(0, Read());
        EXPECT_EQ(number, value);
    }
}

TEST_F(ReadingADword, GivesTheErrorOfAMissingValue)
{
    EXPECT_EQ(2, Read());
    EXPECT_EQ(0x12345678U, value);
}

TEST_F(ReadingADword, FindsAValueOfAnotherTypeInvalid)
{
    const std::vector<BYTE> four = {'1', 0, 0, 0};
    constexpr DWORD kOthers[] = {REG_NONE, REG_SZ,       REG_EXPAND_SZ, REG_BINARY, REG_DWORD_BIG_ENDIAN,
                                 REG_LINK, REG_MULTI_SZ, REG_QWORD};
    for (const DWORD type : kOthers) {
        EXPECT_EQ(13, Read(type, four)) << type;
    }
    EXPECT_EQ(0x12345678U, value);
}

TEST_F(ReadingADword, FindsAValueOfAnotherTypeInvalidHoweverLongItIs)
{
    EXPECT_EQ(13, Read(REG_QWORD, {1, 0, 0, 0, 0, 0, 0, 0}));
    EXPECT_EQ(13, Read(REG_BINARY, std::vector<BYTE>(1000, 1)));
    EXPECT_EQ(13, Read(REG_SZ, {0, 0}));
    EXPECT_EQ(13, Read(REG_SZ, {}));
    EXPECT_EQ(0x12345678U, value);
}

TEST_F(ReadingADword, FindsANumberOfTooFewBytesInvalid)
{
    EXPECT_EQ(13, Read(REG_DWORD, {}));
    EXPECT_EQ(13, Read(REG_DWORD, {1}));
    EXPECT_EQ(13, Read(REG_DWORD, {1, 0}));
    EXPECT_EQ(13, Read(REG_DWORD, {1, 0, 0}));
    EXPECT_EQ(0x12345678U, value);
}

TEST_F(ReadingADword, GivesTheErrorOfANumberThatDoesNotFit)
{
    EXPECT_EQ(234, Read(REG_DWORD, {1, 0, 0, 0, 0}));
    EXPECT_EQ(0x12345678U, value);
}

TEST_F(ReadingADword, GivesTheErrorOfWindowsWhateverItIs)
{
    const Replaced<"RegQueryValueExW", decltype(::RegQueryValueExW)> query(
        [](HKEY, LPCWSTR, LPDWORD, LPDWORD, LPBYTE, LPDWORD) -> LSTATUS { return ERROR_KEY_DELETED; });
    EXPECT_EQ(1018, Read());
    EXPECT_EQ(0x12345678U, value);
}

TEST_F(ReadingADword, AsksForFourBytes)
{
    RegistrySandbox::SetDword(HKEY_LOCAL_MACHINE, kPath, L"Value", 5);
    const Replaced<"RegQueryValueExW", decltype(::RegQueryValueExW)> query(
        [&](HKEY key, LPCWSTR name, LPDWORD reserved, LPDWORD type, LPBYTE data, LPDWORD size) {
            EXPECT_STREQ(L"Value", name);
            EXPECT_EQ(nullptr, reserved);
            EXPECT_EQ(4U, *size);
            return query.Original(key, name, reserved, type, data, size);
        });
    EXPECT_EQ(0, Read());
    EXPECT_EQ(5U, value);
    EXPECT_EQ(1, query.Calls());
}

class ReadingText : public ProductTest {
protected:
    ReadingText()
    {
        RegistrySandbox::MakeKey(HKEY_LOCAL_MACHINE, kPath);
        EXPECT_EQ(0, RegOpen(HKEY_LOCAL_MACHINE, kPath, KEY_READ, key));
    }
    void TearDown() override
    {
        key.Reset();
        ProductTest::TearDown();
    }

    // Windows takes in a NUL that follows a text's data, so something else has to follow it.
    static void Set(DWORD type, std::vector<BYTE> data)
    {
        const auto size = static_cast<DWORD>(data.size());
        data.insert(data.end(), {0xFF, 0xFF, 0xFF, 0xFF});
        win::RegistryKey writable;
        ASSERT_EQ(0, RegOpen(HKEY_LOCAL_MACHINE, kPath, KEY_SET_VALUE, writable));
        ASSERT_EQ(0, RegSetValueExW(writable.Get(), L"Value", 0, type, data.data(), size));
    }

    LSTATUS ReadString() { return RegReadString(key.Get(), L"Value", text); }
    LSTATUS ReadList(std::size_t capacity = kMultiStringCharacters)
    {
        return RegReadMultiString(key.Get(), L"Value", items, capacity);
    }

    win::RegistryKey key;
    std::wstring text = L"before";
    std::vector<std::wstring> items;
};

TEST_F(ReadingText, GivesBothKindsOfStringAsTheyStand)
{
    Set(REG_SZ, BytesOf({L"C:\\Data\0", 8}));
    EXPECT_EQ(0, ReadString());
    EXPECT_EQ(L"C:\\Data", text);
    Set(REG_EXPAND_SZ, BytesOf({L"%TEMP%\0", 7}));
    EXPECT_EQ(0, ReadString());
    EXPECT_EQ(L"%TEMP%", text);
    Set(REG_SZ, BytesOf({L"\0", 1}));
    EXPECT_EQ(0, ReadString());
    EXPECT_EQ(L"", text);
}

TEST_F(ReadingText, FindsAStringOfAnotherTypeOrWithMalformedDataInvalid)
{
    constexpr DWORD kOthers[] = {REG_NONE, REG_BINARY, REG_DWORD, REG_MULTI_SZ, REG_QWORD, REG_LINK};
    for (const DWORD type : kOthers) {
        Set(type, BytesOf({L"ab\0", 3}));
        EXPECT_EQ(13, ReadString()) << type;
    }
    // No data at all, half a character, no NUL at the end.
    for (const std::vector<BYTE>& data : {std::vector<BYTE>{}, {'a'}, {'a', 0, 0}, {'a', 0, 'b', 0}}) {
        Set(REG_SZ, data);
        EXPECT_EQ(13, ReadString()) << data.size();
    }
    EXPECT_EQ(L"before", text);
}

TEST_F(ReadingText, GivesTheErrorOfAStringThatIsNotThere)
{
    EXPECT_EQ(2, ReadString());
    EXPECT_EQ(2, ReadList());
    EXPECT_EQ(L"before", text);
}

TEST_F(ReadingText, GivesTheErrorOfAStringThatHasGrownBetweenItsTwoReads)
{
    Set(REG_SZ, BytesOf({L"ab\0", 3}));
    const Replaced<"RegQueryValueExW", decltype(::RegQueryValueExW)> query(
        [&](HKEY asked, LPCWSTR name, LPDWORD reserved, LPDWORD type, LPBYTE data, LPDWORD size) {
            if (data != nullptr) {
                Set(REG_SZ, BytesOf({L"abcdef\0", 7}));
            }
            return query.Original(asked, name, reserved, type, data, size);
        });
    EXPECT_EQ(234, ReadString());
    EXPECT_EQ(L"before", text);
}

TEST_F(ReadingText, GivesAStringThatHasShrunkBetweenItsTwoReads)
{
    Set(REG_SZ, BytesOf({L"abcdef\0", 7}));
    const Replaced<"RegQueryValueExW", decltype(::RegQueryValueExW)> query(
        [&](HKEY asked, LPCWSTR name, LPDWORD reserved, LPDWORD type, LPBYTE data, LPDWORD size) {
            if (data != nullptr) {
                Set(REG_SZ, BytesOf({L"ab\0", 3}));
            }
            return query.Original(asked, name, reserved, type, data, size);
        });
    EXPECT_EQ(0, ReadString());
    EXPECT_EQ(L"ab", text);
}

TEST_F(ReadingText, EndsWith14WhereThereIsNoMemoryForAString)
{
    Set(REG_SZ, BytesOf({L"ab\0", 3}));
    const FailingMemory memory(1);
    EXPECT_EQ(14, ReadString());
    EXPECT_TRUE(memory.HasFailed());
    EXPECT_FALSE(memory.HasThrown());
}

TEST_F(ReadingText, AppendsTheItemsOfAListInOrder)
{
    items = {L"before"};
    Set(REG_MULTI_SZ, ListBytes({L"A", L"two words", L"c"}));
    EXPECT_EQ(0, ReadList());
    EXPECT_EQ((std::vector<std::wstring>{L"before", L"A", L"two words", L"c"}), items);
}

TEST_F(ReadingText, FindsNoItemsInAnEmptyList)
{
    for (const std::wstring_view list :
         {std::wstring_view(), std::wstring_view(L"\0", 1), std::wstring_view(L"\0\0", 2)}) {
        Set(REG_MULTI_SZ, BytesOf(list));
        EXPECT_EQ(0, ReadList()) << list.size();
    }
    EXPECT_EQ((std::vector<std::wstring>{}), items);
}

TEST_F(ReadingText, MakesUpForTheNulsThatAListLacks)
{
    Set(REG_MULTI_SZ, BytesOf({L"A\0B", 3}));
    EXPECT_EQ(0, ReadList());
    Set(REG_MULTI_SZ, BytesOf({L"C\0", 2}));
    EXPECT_EQ(0, ReadList());
    EXPECT_EQ((std::vector<std::wstring>{L"A", L"B", L"C"}), items);
}

TEST_F(ReadingText, FindsAListInvalidThatLeavesNoRoomForItsNuls)
{
    Set(REG_MULTI_SZ, BytesOf({L"A\0B", 3}));
    EXPECT_EQ(13, ReadList(3));
    EXPECT_EQ(13, ReadList(4));
    EXPECT_EQ(0, ReadList(5));
    EXPECT_EQ((std::vector<std::wstring>{L"A", L"B"}), items);
}

TEST_F(ReadingText, TakesAListOf16384CharactersAndNoMore)
{
    std::wstring list(16382, L'x');
    list.append(2, L'\0');
    Set(REG_MULTI_SZ, BytesOf(list));
    EXPECT_EQ(0, ReadList());
    ASSERT_EQ(1U, items.size());
    EXPECT_EQ(16382U, items.front().size());
    Set(REG_MULTI_SZ, BytesOf(L'x' + list));
    EXPECT_EQ(234, ReadList());
}

TEST_F(ReadingText, FindsAListOfAnotherTypeOrOfHalfACharacterInvalid)
{
    Set(REG_SZ, BytesOf({L"A\0\0", 3}));
    EXPECT_EQ(13, ReadList());
    Set(REG_MULTI_SZ, {'A', 0, 0, 0, 0});
    EXPECT_EQ(13, ReadList());
    EXPECT_EQ((std::vector<std::wstring>{}), items);
}

TEST_F(ReadingText, NeedsABufferForTwoCharactersOfAList)
{
    Set(REG_MULTI_SZ, ListBytes({}));
    EXPECT_EQ(122, ReadList(0));
    EXPECT_EQ(122, ReadList(1));
    EXPECT_EQ(0, ReadList(2));
}

TEST_F(ReadingText, StreamsTheBytesOfAValueOfAnyType)
{
    const std::vector<BYTE> data = {0, 1, 0xFE, 0xFF};
    Set(REG_QWORD, data);
    win::ComPtr<IStream> stream;
    ASSERT_EQ(0, RegReadValueToStream(key.Get(), L"Value", stream));
    std::vector<BYTE> read(data.size());
    ULONG count = 0;
    EXPECT_EQ(S_OK, stream->Read(read.data(), static_cast<ULONG>(read.size()), &count));
    EXPECT_EQ(4U, count);
    EXPECT_EQ(data, read);
}

TEST_F(ReadingText, ListsTheNamesOfSubkeysAndOfValues)
{
    RegistrySandbox::MakeKey(HKEY_LOCAL_MACHINE, std::wstring(kPath) + L"\\One");
    RegistrySandbox::MakeKey(HKEY_LOCAL_MACHINE, std::wstring(kPath) + L"\\Two");
    RegistrySandbox::SetDword(HKEY_LOCAL_MACHINE, kPath, L"Number", 1);
    RegistrySandbox::SetString(HKEY_LOCAL_MACHINE, kPath, L"", L"default");
    std::vector<std::wstring> subkeys;
    EXPECT_EQ(259, RegEnumSubkeyNames(key.Get(), subkeys));
    EXPECT_EQ((std::vector<std::wstring>{L"One", L"Two"}), subkeys);
    std::vector<std::wstring> values;
    EXPECT_EQ(259, RegEnumValueNames(key.Get(), values));
    std::sort(values.begin(), values.end());
    EXPECT_EQ((std::vector<std::wstring>{L"", L"Number"}), values);
}

TEST(ProductKeys, AreTheProducts)
{
    EXPECT_STREQ(L"Software\\Kestrane\\VLCore\\14.0", kCoreKey);
    EXPECT_STREQ(L"Software\\Kestrane\\VLConsole\\14.0", kConsoleKey);
    EXPECT_STREQ(L"Software\\Policies\\Kestrane\\Velundra\\14.0", kPolicyKey);
}

} // namespace
