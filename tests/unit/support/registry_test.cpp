#include "support/registry.h"

#include "registry_value.h"
#include "support/failing_memory.h"
#include "support/product_test.h"
#include "support/registry_data.h"

#include <algorithm>
#include <initializer_list>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace {

using namespace testing_support;
using namespace testing_support::registry_values;

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

TEST_F(ReadingADword, TakesTheBytesThatANumberLacksForZero)
{
    const std::pair<std::vector<BYTE>, std::uint32_t> cases[] = {
        {{}, 0}, {{0xFF}, 0xFF}, {{1, 2}, 0x201}, {{1, 2, 3}, 0x30201}};
    for (const auto& [data, number] : cases) {
        EXPECT_EQ(0, Read(REG_DWORD, data)) << data.size();
        EXPECT_EQ(number, value);
    }
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

TEST_F(ReadingText, FindsAListOfAnotherTypeInvalid)
{
    Set(REG_SZ, BytesOf({L"A\0\0", 3}));
    EXPECT_EQ(13, ReadList());
    EXPECT_EQ((std::vector<std::wstring>{}), items);
}

TEST_F(ReadingText, DoesNotCountAnOddLastByteOfAList)
{
    const std::pair<std::vector<BYTE>, std::vector<std::wstring>> cases[] = {
        {{'A', 0, 0, 0, 0, 0, 'x'}, {L"A"}},
        {{'A', 0, 0, 0, 'x'}, {L"A"}},
        {{'A', 0, 'x'}, {L"A"}},
        {{'A', 0, 0, 0, 'B', 0, 'x'}, {L"A", L"B"}},
        {{'x'}, {}},
        {{0, 0, 'x'}, {}},
    };
    for (const auto& [data, list] : cases) {
        items.clear();
        Set(REG_MULTI_SZ, data);
        EXPECT_EQ(0, ReadList()) << data.size();
        EXPECT_EQ(list, items) << data.size();
    }
}

TEST_F(ReadingText, PutsTheNulsThatAListLacksInThePlaceOfItsOddLastByte)
{
    // Three characters and a byte: of a buffer of four the fourth is free, and two are wanted.
    Set(REG_MULTI_SZ, {'A', 0, 'B', 0, 'C', 0, 'x'});
    EXPECT_EQ(13, ReadList(4));
    EXPECT_EQ(0, ReadList(5));
    EXPECT_EQ((std::vector<std::wstring>{L"ABC"}), items);
}

TEST_F(ReadingText, NeedsABufferForTwoCharactersOfAList)
{
    Set(REG_MULTI_SZ, ListBytes({}));
    EXPECT_EQ(122, ReadList(0));
    EXPECT_EQ(122, ReadList(1));
    EXPECT_EQ(0, ReadList(2));
}

TEST_F(ReadingText, AppendsNothingToAListThatCannotBeRead)
{
    items = {L"before"};
    Set(REG_SZ, BytesOf({L"A\0", 2}));
    EXPECT_EQ(13, ReadList());
    Set(REG_MULTI_SZ, ListBytes({L"longer"}));
    EXPECT_EQ(234, ReadList(4));
    const Replaced<"RegQueryValueExW", decltype(::RegQueryValueExW)> query(
        [](HKEY, LPCWSTR, LPDWORD, LPDWORD, LPBYTE, LPDWORD) -> LSTATUS { return ERROR_KEY_DELETED; });
    EXPECT_EQ(1018, ReadList());
    EXPECT_EQ((std::vector<std::wstring>{L"before"}), items);
}

TEST_F(ReadingText, FindsAListOfAnotherTypeInvalidAlsoWhereItDoesNotFit)
{
    Set(REG_SZ, BytesOf({L"longer\0", 7}));
    EXPECT_EQ(13, ReadList(4));
    for (const DWORD type :
         std::initializer_list<DWORD>{REG_NONE, REG_EXPAND_SZ, REG_BINARY, REG_DWORD, REG_LINK, REG_QWORD}) {
        Set(type, ListBytes({L"A"}));
        EXPECT_EQ(13, ReadList()) << type;
    }
}

TEST_F(ReadingText, TakesAListUpToItsFirstEmptyItem)
{
    Set(REG_MULTI_SZ, BytesOf({L"A\0\0B\0\0", 6}));
    EXPECT_EQ(0, ReadList());
    EXPECT_EQ((std::vector<std::wstring>{L"A"}), items);
    Set(REG_MULTI_SZ, BytesOf({L"\0B\0\0", 4}));
    EXPECT_EQ(0, ReadList());
    EXPECT_EQ((std::vector<std::wstring>{L"A"}), items);
}

TEST_F(ReadingText, ReadsAListOnceIntoAZeroedBufferOf16384Characters)
{
    Set(REG_MULTI_SZ, ListBytes({L"A"}));
    const Replaced<"RegQueryValueExW", decltype(::RegQueryValueExW)> query(
        [&](HKEY asked, LPCWSTR name, LPDWORD reserved, LPDWORD type, LPBYTE data, LPDWORD size) {
            EXPECT_STREQ(L"Value", name);
            EXPECT_EQ(32768U, *size);
            EXPECT_TRUE(std::all_of(data, data + *size, [](BYTE byte) { return byte == 0; }));
            return query.Original(asked, name, reserved, type, data, size);
        });
    EXPECT_EQ(0, ReadList());
    EXPECT_EQ(1, query.Calls());
}

TEST_F(ReadingText, GivesTheErrorOfEitherReadOfAString)
{
    Set(REG_SZ, BytesOf({L"abc\0", 4}));
    for (int failing = 1; failing <= 2; ++failing) {
        const Replaced<"RegQueryValueExW", decltype(::RegQueryValueExW)> query(
            [&](HKEY asked, LPCWSTR name, LPDWORD reserved, LPDWORD type, LPBYTE data, LPDWORD size) -> LSTATUS {
                return query.Calls() == failing ? ERROR_KEY_DELETED
                                                : query.Original(asked, name, reserved, type, data, size);
            });
        EXPECT_EQ(1018, ReadString());
        EXPECT_EQ(failing, query.Calls());
    }
    EXPECT_EQ(L"before", text);
}

TEST_F(ReadingText, FindsAStringInvalidThatHasBecomeSomethingElseBetweenItsTwoReads)
{
    Set(REG_SZ, BytesOf({L"abc\0", 4}));
    const Replaced<"RegQueryValueExW", decltype(::RegQueryValueExW)> query(
        [&](HKEY asked, LPCWSTR name, LPDWORD reserved, LPDWORD type, LPBYTE data, LPDWORD size) {
            if (data != nullptr) {
                Set(REG_BINARY, {'a', 0, 0, 0});
            }
            return query.Original(asked, name, reserved, type, data, size);
        });
    EXPECT_EQ(13, ReadString());
    EXPECT_EQ(L"before", text);
}

TEST_F(ReadingText, GivesTheErrorOfAStringThatHasGoneBetweenItsTwoReads)
{
    Set(REG_SZ, BytesOf({L"abc\0", 4}));
    const Replaced<"RegQueryValueExW", decltype(::RegQueryValueExW)> query(
        [&](HKEY asked, LPCWSTR name, LPDWORD reserved, LPDWORD type, LPBYTE data, LPDWORD size) {
            if (data != nullptr) {
                win::RegistryKey writable;
                EXPECT_EQ(0, RegOpen(HKEY_LOCAL_MACHINE, kPath, KEY_SET_VALUE, writable));
                EXPECT_EQ(0, RegDeleteValueW(writable.Get(), L"Value"));
            }
            return query.Original(asked, name, reserved, type, data, size);
        });
    EXPECT_EQ(2, ReadString());
    EXPECT_EQ(L"before", text);
}

TEST_F(ReadingText, TakesAStringOfAnyLengthUpToItsFirstNul)
{
    const std::wstring longest(100000, L'x');
    Set(REG_SZ, BytesOf(longest + L'\0'));
    EXPECT_EQ(0, ReadString());
    EXPECT_EQ(longest, text);
    Set(REG_EXPAND_SZ, BytesOf({L"ab\0cd\0", 6}));
    EXPECT_EQ(0, ReadString());
    EXPECT_EQ(L"ab", text);
}

// --- Names of keys and values ---

class ListingNames : public ReadingText {
protected:
    using Names = std::vector<std::wstring>;

    static void MakeSubkey(const std::wstring& name)
    {
        RegistrySandbox::MakeKey(HKEY_LOCAL_MACHINE, std::wstring(kPath) + L'\\' + name);
    }
    static void MakeValue(const std::wstring& name)
    {
        RegistrySandbox::SetDword(HKEY_LOCAL_MACHINE, kPath, name.c_str(), 1);
    }

    Names names;
};

TEST_F(ListingNames, AppendsTheNamesOfSubkeys)
{
    MakeSubkey(L"One");
    MakeSubkey(L"Two");
    MakeSubkey(L"Two\\Deeper");
    MakeValue(L"Value");
    names = {L"before"};
    EXPECT_EQ(259, RegEnumSubkeyNames(key.Get(), names));
    EXPECT_EQ((Names{L"before", L"One", L"Two"}), names);
}

TEST_F(ListingNames, AppendsTheNamesOfValues)
{
    MakeSubkey(L"One");
    MakeValue(L"Number");
    MakeValue(L"");
    names = {L"before"};
    EXPECT_EQ(259, RegEnumValueNames(key.Get(), names));
    ASSERT_EQ(3U, names.size());
    EXPECT_EQ(L"before", names.front());
    std::sort(names.begin(), names.end());
    EXPECT_EQ((Names{L"", L"Number", L"before"}), names);
}

TEST_F(ListingNames, AppendsNothingOfAnEmptyKey)
{
    EXPECT_EQ(259, RegEnumSubkeyNames(key.Get(), names));
    EXPECT_EQ(259, RegEnumValueNames(key.Get(), names));
    EXPECT_EQ(Names{}, names);
}

TEST_F(ListingNames, TakesTheLongestNamesThatTheRegistryHas)
{
    const std::wstring keyName(255, L'k');
    const std::wstring valueName(16383, L'v');
    MakeSubkey(keyName);
    MakeValue(valueName);
    EXPECT_EQ(259, RegEnumSubkeyNames(key.Get(), names));
    EXPECT_EQ(259, RegEnumValueNames(key.Get(), names));
    EXPECT_EQ((Names{keyName, valueName}), names);
}

TEST_F(ListingNames, AsksForOneIndexAfterTheOtherWithABufferOf16384Characters)
{
    MakeSubkey(L"One");
    MakeValue(L"Number");
    const auto check = [&](auto& call, HKEY asked, DWORD index, LPDWORD length) {
        EXPECT_EQ(key.Get(), asked);
        EXPECT_EQ(static_cast<DWORD>(call.Calls()) - 1, index);
        EXPECT_EQ(16384U, *length);
    };
    const Replaced<"RegEnumKeyExW", decltype(::RegEnumKeyExW)> subkeys(
        [&](HKEY asked, DWORD index, LPWSTR name, LPDWORD length, LPDWORD reserved, LPWSTR group, LPDWORD groupLength,
            PFILETIME written) {
            check(subkeys, asked, index, length);
            return subkeys.Original(asked, index, name, length, reserved, group, groupLength, written);
        });
    const Replaced<"RegEnumValueW", decltype(::RegEnumValueW)> values([&](HKEY asked, DWORD index, LPWSTR name,
                                                                          LPDWORD length, LPDWORD reserved,
                                                                          LPDWORD type, LPBYTE data, LPDWORD size) {
        check(values, asked, index, length);
        return values.Original(asked, index, name, length, reserved, type, data, size);
    });
    EXPECT_EQ(259, RegEnumSubkeyNames(key.Get(), names));
    EXPECT_EQ(259, RegEnumValueNames(key.Get(), names));
    EXPECT_EQ(2, subkeys.Calls());
    EXPECT_EQ(2, values.Calls());
}

TEST_F(ListingNames, EndsWithTheFirstFailureAndKeepsTheNamesBeforeIt)
{
    MakeSubkey(L"One");
    MakeSubkey(L"Two");
    MakeValue(L"Number");
    MakeValue(L"Second");
    const Replaced<"RegEnumKeyExW", decltype(::RegEnumKeyExW)> subkeys(
        [&](HKEY asked, DWORD index, LPWSTR name, LPDWORD length, LPDWORD reserved, LPWSTR group, LPDWORD groupLength,
            PFILETIME written) -> LSTATUS {
            return index == 1 ? ERROR_KEY_DELETED
                              : subkeys.Original(asked, index, name, length, reserved, group, groupLength, written);
        });
    const Replaced<"RegEnumValueW", decltype(::RegEnumValueW)> values(
        [](HKEY, DWORD, LPWSTR, LPDWORD, LPDWORD, LPDWORD, LPBYTE, LPDWORD) -> LSTATUS { return ERROR_MORE_DATA; });
    EXPECT_EQ(1018, RegEnumSubkeyNames(key.Get(), names));
    EXPECT_EQ(234, RegEnumValueNames(key.Get(), names));
    EXPECT_EQ(Names{L"One"}, names);
}

TEST_F(ListingNames, NeedsTheKey)
{
    EXPECT_EQ(6, RegEnumSubkeyNames(nullptr, names));
    EXPECT_EQ(6, RegEnumValueNames(nullptr, names));
}

// --- The short form ---

class FindingAValue : public ReadingText {
protected:
    static std::optional<std::uint32_t> Number() { return RegFindDword(HKEY_LOCAL_MACHINE, kPath, L"Value"); }
    static std::optional<std::wstring> Text() { return RegFindString(HKEY_LOCAL_MACHINE, kPath, L"Value"); }
};

TEST_F(FindingAValue, GivesWhatAnOpenKeyOrThePathOfAKeyHolds)
{
    RegistrySandbox::SetDword(HKEY_LOCAL_MACHINE, kPath, L"Value", 0);
    EXPECT_EQ(std::optional<std::uint32_t>(0), RegFindDword(key.Get(), L"Value"));
    EXPECT_EQ(std::optional<std::uint32_t>(0), Number());
    RegistrySandbox::SetString(HKEY_LOCAL_MACHINE, kPath, L"Value", L"some text");
    EXPECT_EQ(std::optional<std::wstring>(L"some text"), RegFindString(key.Get(), L"Value"));
    EXPECT_EQ(std::optional<std::wstring>(L"some text"), Text());
}

TEST_F(FindingAValue, GivesNothingForAMissingKeyAMissingValueAndAValueOfAnotherType)
{
    EXPECT_EQ(std::nullopt, RegFindDword(HKEY_LOCAL_MACHINE, L"Software\\Missing", L"Value"));
    EXPECT_EQ(std::nullopt, RegFindString(HKEY_LOCAL_MACHINE, L"Software\\Missing", L"Value"));
    EXPECT_EQ(std::nullopt, Number());
    EXPECT_EQ(std::nullopt, Text());
    RegistrySandbox::SetDword(HKEY_LOCAL_MACHINE, kPath, L"Value", 1);
    EXPECT_EQ(std::nullopt, Text());
    RegistrySandbox::SetString(HKEY_LOCAL_MACHINE, kPath, L"Value", L"1");
    EXPECT_EQ(std::nullopt, Number());
}

TEST_F(FindingAValue, OpensTheKeyOfAPathForReadingAndClosesIt)
{
    RegistrySandbox::SetDword(HKEY_LOCAL_MACHINE, kPath, L"Value", 7);
    const Replaced<"RegOpenKeyExW", decltype(::RegOpenKeyExW)> open(
        [&](HKEY root, LPCWSTR path, DWORD options, REGSAM access, PHKEY opened) {
            EXPECT_EQ(HKEY_LOCAL_MACHINE, root);
            EXPECT_STREQ(kPath, path);
            EXPECT_EQ(0x20019U, access);
            return open.Original(root, path, options, access, opened);
        });
    EXPECT_EQ(std::optional<std::uint32_t>(7), Number());
    EXPECT_EQ(std::nullopt, Text());
    EXPECT_EQ(2, open.Calls());
    EXPECT_EQ("registry keys open: 1\n", census.Imbalance());
}

TEST(ProductKeys, AreTheProducts)
{
    EXPECT_STREQ(L"Software\\Kestrane\\VLCore\\14.0", kCoreKey);
    EXPECT_STREQ(L"Software\\Kestrane\\VLConsole\\14.0", kConsoleKey);
    EXPECT_STREQ(L"Software\\Policies\\Kestrane\\Velundra\\14.0", kPolicyKey);
}

} // namespace
