#include "support/registry_section.h"

#include "support/measured_memory.h"
#include "support/product_test.h"
#include "support/registry.h"
#include "support/registry_data.h"

#include <algorithm>
#include <string>
#include <string_view>
#include <vector>

namespace {

using namespace testing_support;

constexpr wchar_t kPath[] = L"Software\\VLCmdTest";

class RegistryDump : public ProductTest {
protected:
    RegistryDump()
    {
        RegistrySandbox::MakeKey(HKEY_LOCAL_MACHINE, kPath);
        EXPECT_EQ(0, RegOpen(HKEY_LOCAL_MACHINE, kPath, KEY_READ, key));
    }
    void TearDown() override
    {
        key.Reset();
        ProductTest::TearDown();
    }

    // What the dump makes of a value of this type and data.
    std::wstring Format(DWORD type, const std::vector<BYTE>& data)
    {
        RegistrySandbox::SetRaw(HKEY_LOCAL_MACHINE, kPath, L"V", type, data);
        return FormatValue(L"V");
    }

    // What the functions append for the key, or for one value of it, under the path "P".
    [[nodiscard]] std::wstring FormatValue(const std::wstring& name) const
    {
        std::wstring text;
        FormatRegistryValue(key.Get(), name, text);
        return text;
    }
    [[nodiscard]] std::wstring DumpValue(const std::wstring& name) const
    {
        std::wstring text;
        DumpRegistryValue(key.Get(), L"P", name, text);
        return text;
    }
    [[nodiscard]] std::wstring DumpValues() const
    {
        std::wstring text;
        DumpRegistryValues(key.Get(), L"P", text);
        return text;
    }
    [[nodiscard]] std::wstring DumpKey() const
    {
        std::wstring text;
        DumpRegistryKey(key.Get(), L"P", text);
        return text;
    }

    win::RegistryKey key;
};

TEST_F(RegistryDump, ShowsStringsUnexpanded)
{
    EXPECT_EQ(L" - Value Name: V\r\n - Type: REG_SZ\r\n - Data: text\r\n\r\n", Format(REG_SZ, BytesOf({L"text\0", 5})));
    EXPECT_EQ(L" - Value Name: V\r\n - Type: REG_EXPAND_SZ\r\n - Data: %TEMP%\r\n\r\n",
              Format(REG_EXPAND_SZ, BytesOf({L"%TEMP%\0", 7})));
}

TEST_F(RegistryDump, ShowsNumbersSigned)
{
    EXPECT_EQ(L" - Value Name: V\r\n - Type: REG_DWORD\r\n - Data: -1\r\n\r\n",
              Format(REG_DWORD, {0xFF, 0xFF, 0xFF, 0xFF}));
    EXPECT_EQ(L" - Value Name: V\r\n - Type: REG_DWORD\r\n - Data: 258\r\n\r\n", Format(REG_DWORD, {2, 1, 0, 0}));
}

TEST_F(RegistryDump, ShowsTheItemsOfAListOneBehindTheOther)
{
    EXPECT_EQ(L" - Value Name: V\r\n - Type: REG_MULTI_SZ\r\n - Data: AB\r\n\r\n",
              Format(REG_MULTI_SZ, ListBytes({L"A", L"B"})));
}

TEST_F(RegistryDump, ShowsNoDataOfTheNoneType)
{
    EXPECT_EQ(L" - Value Name: V\r\n - Type: REG_NONE\r\n\r\n", Format(REG_NONE, {1, 2}));
}

TEST_F(RegistryDump, ShowsOnlyTheNameOfOtherTypes)
{
    constexpr DWORD kOthers[] = {REG_QWORD, REG_DWORD_BIG_ENDIAN, REG_LINK, REG_RESOURCE_LIST};
    for (const DWORD type : kOthers) {
        EXPECT_EQ(L" - Value Name: V\r\n", Format(type, {1, 0, 0, 0})) << type;
    }
}

TEST_F(RegistryDump, EndsAfterTheTypeWhereTheDataCannotBeRead)
{
    EXPECT_EQ(L" - Value Name: V\r\n - Type: REG_SZ\r\n", Format(REG_SZ, {'a', 0}));
    EXPECT_EQ(L" - Value Name: V\r\n - Type: REG_DWORD\r\n", Format(REG_DWORD, {1, 0, 0, 0, 0}));
    EXPECT_EQ(L" - Value Name: V\r\n - Type: REG_MULTI_SZ\r\n",
              Format(REG_MULTI_SZ, std::vector<BYTE>(kMultiStringCharacters * sizeof(wchar_t) + 1, 'a')));
}

TEST_F(RegistryDump, ShowsANumberOfFewerThanFourBytesAndAListWithAnOddLastByte)
{
    EXPECT_EQ(L" - Value Name: V\r\n - Type: REG_DWORD\r\n - Data: 513\r\n\r\n", Format(REG_DWORD, {1, 2}));
    EXPECT_EQ(L" - Value Name: V\r\n - Type: REG_MULTI_SZ\r\n - Data: a\r\n\r\n", Format(REG_MULTI_SZ, {'a', 0, 'x'}));
}

TEST_F(RegistryDump, ShowsNothingOfAValueThatIsNotThere)
{
    EXPECT_EQ(L"", FormatValue(L"Missing"));
}

TEST_F(RegistryDump, CallsTheDefaultValueNoName)
{
    RegistrySandbox::SetString(HKEY_LOCAL_MACHINE, kPath, L"", L"x");
    EXPECT_EQ(L" - Value Name: No Name\r\n - Type: REG_SZ\r\n - Data: x\r\n\r\n", FormatValue(L""));
}

TEST_F(RegistryDump, ShowsThirteenBytesToTheLine)
{
    const std::wstring head = L" - Value Name: V\r\n - Type: REG_BINARY\r\n - Data: ";
    const auto bytes = [](int count) {
        std::vector<BYTE> data;
        data.reserve(static_cast<std::size_t>(count));
        for (int i = 0; i < count; ++i) {
            data.push_back(static_cast<BYTE>(0xA0 + i));
        }
        return data;
    };
    EXPECT_EQ(head + L"\r\n\r\n", Format(REG_BINARY, {}));
    EXPECT_EQ(head + L"a0\r\n\r\n", Format(REG_BINARY, bytes(1)));
    EXPECT_EQ(head + L"a0,a1,a2,a3,a4,a5,a6,a7,a8,a9,aa,ab\r\n\r\n", Format(REG_BINARY, bytes(12)));
    EXPECT_EQ(head + L"a0,a1,a2,a3,a4,a5,a6,a7,a8,a9,aa,ab,ac\r\n\r\n", Format(REG_BINARY, bytes(13)));
    EXPECT_EQ(head + L"a0,a1,a2,a3,a4,a5,a6,a7,a8,a9,aa,ab\\\r\n  ,ac,ad\r\n\r\n", Format(REG_BINARY, bytes(14)));
    EXPECT_EQ(head + L"a0,a1,a2,a3,a4,a5,a6,a7,a8,a9,aa,ab\\\r\n  ,ac,ad,ae,af,b0,b1,b2,b3,b4,b5,b6,b7,b8,b9\r\n\r\n",
              Format(REG_BINARY, bytes(26)));
    EXPECT_EQ(head + L"a0,a1,a2,a3,a4,a5,a6,a7,a8,a9,aa,ab\\\r\n  ,ac,ad,ae,af,b0,b1,b2,b3,b4,b5,b6,b7,b8\\\r\n"
                     L"  ,b9,ba\r\n\r\n",
              Format(REG_BINARY, bytes(27)));
}

TEST_F(RegistryDump, GoesOnFromLineToLineForALargeValue)
{
    // 12 bytes on the first line, 13 on each of 76 more.
    std::wstring data = L"07";
    for (int i = 1; i < 12; ++i) {
        data += L",07";
    }
    for (int line = 0; line < 76; ++line) {
        data += L"\\\r\n  ";
        for (int i = 0; i < 13; ++i) {
            data += L",07";
        }
    }
    EXPECT_EQ(L" - Value Name: V\r\n - Type: REG_BINARY\r\n - Data: " + data + L"\r\n\r\n",
              Format(REG_BINARY, std::vector<BYTE>(1000, 7)));
}

TEST_F(RegistryDump, CrossesOutTheBytesByWhichAValueHasGrownMeanwhile)
{
    RegistrySandbox::SetRaw(HKEY_LOCAL_MACHINE, kPath, L"V", REG_BINARY, {1, 2});
    int sizes = 0;
    const Replaced<"RegQueryValueExW", decltype(::RegQueryValueExW)> query(
        [&](HKEY asked, LPCWSTR name, LPDWORD reserved, LPDWORD type, LPBYTE data, LPDWORD size) {
            const LSTATUS status = query.Original(asked, name, reserved, type, data, size);
            // The first time, room is made for the data; then they are counted.
            if (data == nullptr && size != nullptr && ++sizes == 2) {
                *size += 2;
            }
            return status;
        });
    EXPECT_EQ(L" - Value Name: V\r\n - Type: REG_BINARY\r\n - Data: 01,02,XX,XX\r\n\r\n", FormatValue(L"V"));
    EXPECT_EQ(2, sizes);
}

TEST_F(RegistryDump, EndsAfterTheTypeWhereBytesCannotBeRead)
{
    const std::wstring head = L" - Value Name: V\r\n - Type: REG_BINARY\r\n";
    RegistrySandbox::SetRaw(HKEY_LOCAL_MACHINE, kPath, L"V", REG_BINARY, {1, 2});
    {
        const Replaced<"GlobalAlloc", decltype(::GlobalAlloc)> allocate(
            [](UINT, SIZE_T) -> HGLOBAL { return nullptr; });
        EXPECT_EQ(head, FormatValue(L"V"));
    }
    {
        const Replaced<"CreateStreamOnHGlobal", decltype(::CreateStreamOnHGlobal)> create(
            [](HGLOBAL, BOOL, LPSTREAM*) -> HRESULT { return E_OUTOFMEMORY; });
        EXPECT_EQ(head, FormatValue(L"V"));
    }
    // The queries after the type: the size, the data, the size again.
    for (int failing = 2; failing <= 4; ++failing) {
        const Replaced<"RegQueryValueExW", decltype(::RegQueryValueExW)> query(
            [&](HKEY asked, LPCWSTR name, LPDWORD reserved, LPDWORD type, LPBYTE data, LPDWORD size) -> LSTATUS {
                return query.Calls() == failing ? ERROR_ACCESS_DENIED
                                                : query.Original(asked, name, reserved, type, data, size);
            });
        EXPECT_EQ(head, FormatValue(L"V")) << failing;
        EXPECT_EQ(failing, query.Calls());
    }
}

TEST_F(RegistryDump, ShowsNothingOfAValueWhoseTypeCannotBeRead)
{
    RegistrySandbox::SetString(HKEY_LOCAL_MACHINE, kPath, L"V", L"x");
    const Replaced<"RegQueryValueExW", decltype(::RegQueryValueExW)> query(
        [](HKEY, LPCWSTR, LPDWORD, LPDWORD, LPBYTE, LPDWORD) -> LSTATUS { return ERROR_ACCESS_DENIED; });
    EXPECT_EQ(L"", FormatValue(L"V"));
    EXPECT_EQ(L"* P\r\n", DumpKey());
    EXPECT_EQ(L"*P\r\n", DumpValue(L"V"));
}

TEST_F(RegistryDump, LeavesOutAKeyBelowThatCannotBeOpened)
{
    const std::wstring path = kPath;
    RegistrySandbox::MakeKey(HKEY_LOCAL_MACHINE, path + L"\\A\\Deep");
    RegistrySandbox::MakeKey(HKEY_LOCAL_MACHINE, path + L"\\B");
    const Replaced<"RegOpenKeyExW", decltype(::RegOpenKeyExW)> open([&](HKEY root, LPCWSTR name, DWORD options,
                                                                        REGSAM access, PHKEY opened) -> LSTATUS {
        EXPECT_EQ(0x20019U, access);
        return name == std::wstring(L"A") ? ERROR_ACCESS_DENIED : open.Original(root, name, options, access, opened);
    });
    EXPECT_EQ(L"* P\\B\r\n* P\r\n", DumpKey());
}

// Every key seems to have the key "A" below it, and so on without end.
TEST_F(RegistryDump, FollowsKeysDownToTheLevelsThatWindowsAllows)
{
    const Replaced<"RegEnumKeyExW", decltype(::RegEnumKeyExW)> subkeys(
        [](HKEY, DWORD index, LPWSTR name, LPDWORD length, LPDWORD, LPWSTR, LPDWORD, PFILETIME) -> LSTATUS {
            if (index != 0) {
                return ERROR_NO_MORE_ITEMS;
            }
            name[0] = L'A';
            name[1] = L'\0';
            *length = 1;
            return ERROR_SUCCESS;
        });
    const Replaced<"RegOpenKeyExW", decltype(::RegOpenKeyExW)> open(
        [&](HKEY, LPCWSTR, DWORD, REGSAM access, PHKEY opened) {
            return open.Original(HKEY_LOCAL_MACHINE, kPath, 0, access, opened);
        });
    std::wstring path = L"P";
    std::wstring text = L"* P\r\n";
    for (int level = 1; level <= 512; ++level) {
        path += L"\\A";
        text.insert(0, L"* " + path + L"\r\n");
    }
    EXPECT_EQ(text, DumpKey());
}

TEST_F(RegistryDump, TakesAtMostEightBytesOfMemoryForAByteOfData)
{
    constexpr std::size_t kBytes = 1'000'000;
    RegistrySandbox::SetRaw(HKEY_LOCAL_MACHINE, kPath, L"V", REG_BINARY, std::vector<BYTE>(kBytes, 7));
    std::ptrdiff_t global = 0;
    const Replaced<"GlobalAlloc", decltype(::GlobalAlloc)> allocate([&](UINT flags, SIZE_T size) {
        global += static_cast<std::ptrdiff_t>(size);
        return allocate.Original(flags, size);
    });
    const MeasuredMemory memory;
    const std::wstring text = DumpKey();
    EXPECT_TRUE(text.ends_with(L",07\r\n\r\n"));
    EXPECT_GE(global, static_cast<std::ptrdiff_t>(kBytes));
    EXPECT_LE(global + memory.Peak(), static_cast<std::ptrdiff_t>(8 * kBytes));
}

TEST_F(RegistryDump, ShowsKeysAndValuesInWindowsOrder)
{
    const std::wstring path = kPath;
    for (const wchar_t* const name : {L"c", L"a", L"b"}) {
        RegistrySandbox::MakeKey(HKEY_LOCAL_MACHINE, path + L'\\' + name);
        RegistrySandbox::SetDword(HKEY_LOCAL_MACHINE, path, name, 1);
    }
    // Windows gives the names in its order; here it is the other way round.
    const auto turned = [](DWORD index) { return index > 2 ? index : 2 - index; };
    const Replaced<"RegEnumKeyExW", decltype(::RegEnumKeyExW)> subkeys(
        [&](HKEY asked, DWORD index, LPWSTR name, LPDWORD length, LPDWORD reserved, LPWSTR group, LPDWORD groupLength,
            PFILETIME written) {
            const DWORD other = asked == key.Get() ? turned(index) : index;
            return subkeys.Original(asked, other, name, length, reserved, group, groupLength, written);
        });
    const Replaced<"RegEnumValueW", decltype(::RegEnumValueW)> values([&](HKEY asked, DWORD index, LPWSTR name,
                                                                          LPDWORD length, LPDWORD reserved,
                                                                          LPDWORD type, LPBYTE data, LPDWORD size) {
        const DWORD other = asked == key.Get() ? turned(index) : index;
        return values.Original(asked, other, name, length, reserved, type, data, size);
    });
    std::vector<std::wstring> keyNames;
    std::vector<std::wstring> valueNames;
    EXPECT_EQ(259, RegEnumSubkeyNames(key.Get(), keyNames));
    EXPECT_EQ(259, RegEnumValueNames(key.Get(), valueNames));
    EXPECT_FALSE(std::is_sorted(keyNames.begin(), keyNames.end()));
    EXPECT_FALSE(std::is_sorted(valueNames.begin(), valueNames.end()));
    std::wstring text;
    for (const std::wstring& name : keyNames) {
        text += L"* P\\" + name + L"\r\n";
    }
    text += L"* P\r\n";
    for (const std::wstring& name : valueNames) {
        text += L" - Value Name: " + name + L"\r\n - Type: REG_DWORD\r\n - Data: 1\r\n\r\n";
    }
    EXPECT_EQ(text, DumpKey());
}

TEST_F(RegistryDump, ShowsTheKeysBelowFirstAndItsOwnValuesLast)
{
    const std::wstring path = kPath;
    RegistrySandbox::SetString(HKEY_LOCAL_MACHINE, path + L"\\A\\Deep", L"d", L"1");
    RegistrySandbox::SetString(HKEY_LOCAL_MACHINE, path + L"\\B", L"b", L"2");
    RegistrySandbox::SetString(HKEY_LOCAL_MACHINE, path, L"own", L"3");
    EXPECT_EQ(L"* P\\A\\Deep\r\n - Value Name: d\r\n - Type: REG_SZ\r\n - Data: 1\r\n\r\n"
              L"* P\\A\r\n"
              L"* P\\B\r\n - Value Name: b\r\n - Type: REG_SZ\r\n - Data: 2\r\n\r\n"
              L"* P\r\n - Value Name: own\r\n - Type: REG_SZ\r\n - Data: 3\r\n\r\n",
              DumpKey());
}

// What a test can do only with the functions of ntdll.dll that Windows' own are made of.
class NativeRegistryDump : public RegistryDump {
protected:
    struct CountedText {
        USHORT size;
        USHORT capacity;
        const wchar_t* text;
    };
    struct ObjectName {
        ULONG size;
        HANDLE folder;
        const CountedText* name;
        ULONG attributes;
        void* security;
        void* quality;
    };
    using CreateKeyFunction = LONG WINAPI(HKEY*, ACCESS_MASK, const ObjectName*, ULONG, const CountedText*, ULONG,
                                          ULONG*);
    using SetValueFunction = LONG WINAPI(HKEY, const CountedText*, ULONG, ULONG, const void*, ULONG);
    using DeleteKeyFunction = LONG WINAPI(HKEY);

    using QueryKeyFunction = LONG WINAPI(HKEY, int, void*, ULONG, ULONG*);

    template <typename Function>
    static Function* Native(const char* name)
    {
        return reinterpret_cast<Function*>(
            reinterpret_cast<void*>(GetProcAddress(GetModuleHandleW(L"ntdll.dll"), name)));
    }

    static CountedText Counted(std::wstring_view text)
    {
        const auto size = static_cast<USHORT>(text.size() * sizeof(wchar_t));
        return {size, size, text.data()};
    }

    static win::RegistryKey MakeKey(HKEY parent, std::wstring_view name)
    {
        const CountedText counted = Counted(name);
        const ObjectName object{sizeof object, parent, &counted, 0, nullptr, nullptr};
        win::RegistryKey made;
        EXPECT_EQ(
            0, Native<CreateKeyFunction>("NtCreateKey")(made.Put(), KEY_ALL_ACCESS, &object, 0, nullptr, 0, nullptr));
        return made;
    }

    static void SetNumber(HKEY parent, std::wstring_view name, DWORD number)
    {
        const CountedText counted = Counted(name);
        EXPECT_EQ(0, Native<SetValueFunction>("NtSetValueKey")(parent, &counted, 0, REG_DWORD, &number, sizeof number));
    }

    // A link, and a key whose name holds a NUL, can be deleted only in this way.
    static void Delete(const win::RegistryKey& made)
    {
        EXPECT_EQ(0, Native<DeleteKeyFunction>("NtDeleteKey")(made.Get()));
    }

    // The path of an open key as Windows itself names it.
    static std::wstring NativePath(HKEY opened)
    {
        constexpr int kNameInformation = 3;
        struct {
            ULONG size;
            wchar_t text[1000];
        } name{};
        ULONG length = 0;
        EXPECT_EQ(0, Native<QueryKeyFunction>("NtQueryKey")(opened, kNameInformation, &name, sizeof name, &length));
        return {name.text, name.size / sizeof(wchar_t)};
    }

    // A symbolic link to the key, in the key itself.
    [[nodiscard]] win::RegistryKey MakeLinkBack(const wchar_t* name) const
    {
        win::RegistryKey parent;
        EXPECT_EQ(0, RegOpen(HKEY_LOCAL_MACHINE, kPath, KEY_ALL_ACCESS, parent));
        win::RegistryKey link;
        EXPECT_EQ(0, RegCreateKeyExW(parent.Get(), name, 0, nullptr, REG_OPTION_CREATE_LINK | REG_OPTION_VOLATILE,
                                     KEY_ALL_ACCESS, nullptr, link.Put(), nullptr));
        const std::vector<BYTE> target = BytesOf(NativePath(key.Get()));
        EXPECT_EQ(0, RegSetValueExW(link.Get(), L"SymbolicLinkValue", 0, REG_LINK, target.data(),
                                    static_cast<DWORD>(target.size())));
        return link;
    }
};

TEST_F(NativeRegistryDump, LeavesOutASymbolicLink)
{
    const std::wstring path = kPath;
    RegistrySandbox::SetDword(HKEY_LOCAL_MACHINE, path + L"\\Z", L"z", 1);
    const win::RegistryKey link = MakeLinkBack(L"Back");
    win::RegistryKey followed;
    ASSERT_EQ(0, RegOpen(HKEY_LOCAL_MACHINE, (path + L"\\Back\\Back\\Z").c_str(), KEY_READ, followed));
    EXPECT_EQ(L"* P\\Z\r\n - Value Name: z\r\n - Type: REG_DWORD\r\n - Data: 1\r\n\r\n* P\r\n", DumpKey());
    Delete(link);
}

TEST_F(NativeRegistryDump, FollowsALinkThatIsAskedForByItsOwnPath)
{
    RegistrySandbox::SetDword(HKEY_LOCAL_MACHINE, kPath, L"own", 1);
    const win::RegistryKey link = MakeLinkBack(L"Back");
    ASSERT_EQ(0, RegOpen(HKEY_LOCAL_MACHINE, (kPath + std::wstring(L"\\Back")).c_str(), KEY_READ, key));
    EXPECT_EQ(L"* P\r\n - Value Name: own\r\n - Type: REG_DWORD\r\n - Data: 1\r\n\r\n", DumpKey());
    Delete(link);
}

// Names with a NUL are given below the Windows API, which takes a NUL for a name's end.

TEST_F(NativeRegistryDump, LeavesOutAKeyNamedWithANulAndDoesNotTakeAnotherForIt)
{
    const std::wstring path = kPath;
    RegistrySandbox::SetDword(HKEY_LOCAL_MACHINE, path + L"\\A", L"a", 1);
    win::RegistryKey parent;
    ASSERT_EQ(0, RegOpen(HKEY_LOCAL_MACHINE, kPath, KEY_ALL_ACCESS, parent));
    const win::RegistryKey hidden = MakeKey(parent.Get(), {L"A\0hidden", 8});
    SetNumber(hidden.Get(), L"h", 2);
    std::vector<std::wstring> names;
    RegEnumSubkeyNames(key.Get(), names);
    EXPECT_EQ((std::vector<std::wstring>{L"A", {L"A\0hidden", 8}}), names);
    EXPECT_EQ(L"* P\\A\r\n - Value Name: a\r\n - Type: REG_DWORD\r\n - Data: 1\r\n\r\n* P\r\n", DumpKey());
    Delete(hidden);
}

TEST_F(NativeRegistryDump, LeavesOutAValueNamedWithANulAndDoesNotTakeAnotherForIt)
{
    RegistrySandbox::SetDword(HKEY_LOCAL_MACHINE, kPath, L"", 3);
    RegistrySandbox::SetDword(HKEY_LOCAL_MACHINE, kPath, L"a", 1);
    win::RegistryKey writable;
    ASSERT_EQ(0, RegOpen(HKEY_LOCAL_MACHINE, kPath, KEY_ALL_ACCESS, writable));
    SetNumber(writable.Get(), {L"a\0hidden", 8}, 2);
    SetNumber(writable.Get(), {L"\0", 1}, 4);
    std::vector<std::wstring> names;
    RegEnumValueNames(key.Get(), names);
    EXPECT_EQ(4U, names.size());
    EXPECT_EQ(L"* P\r\n - Value Name: No Name\r\n - Type: REG_DWORD\r\n - Data: 3\r\n\r\n"
              L" - Value Name: a\r\n - Type: REG_DWORD\r\n - Data: 1\r\n\r\n",
              DumpValues());
}

TEST_F(RegistryDump, HeadsASingleValueWithoutABlank)
{
    RegistrySandbox::SetString(HKEY_LOCAL_MACHINE, kPath, L"own", L"3");
    EXPECT_EQ(L"*P\r\n - Value Name: own\r\n - Type: REG_SZ\r\n - Data: 3\r\n\r\n", DumpValue(L"own"));
}

TEST_F(RegistryDump, IsAHeadingAloneWhereNoKeyIsThere)
{
    EXPECT_EQ(L"REGISTRY INFORMATION\r\n\r\n", GetRegistrySection());
}

struct RootCase {
    const wchar_t* path;
    HKEY root;
    const wchar_t* subkey;
};

TEST(SplittingARegistryPath, KnowsItsRootsInAnyCaseAndTakesAnyOtherForUsers)
{
    const RootCase cases[] = {
        {L"HKEY_LOCAL_MACHINE\\Software\\A", HKEY_LOCAL_MACHINE, L"Software\\A"},
        {L"hkey_current_user\\A", HKEY_CURRENT_USER, L"A"},
        {L"HKEY_CLASSES_ROOT\\CLSID", HKEY_CLASSES_ROOT, L"CLSID"},
        {L"HKEY_CURRENT_CONFIG\\A", HKEY_CURRENT_CONFIG, L"A"},
        {L"HKEY_USERS\\S-1-5-18", HKEY_USERS, L"S-1-5-18"},
        {L"HKLM\\Software", HKEY_USERS, L"Software"},
        {L"", HKEY_USERS, L""},
        {L"HKEY_LOCAL_MACHINE", HKEY_LOCAL_MACHINE, L""},
        {L"HKEY_LOCAL_MACHINE\\A\\\\B\\", HKEY_LOCAL_MACHINE, L"A\\B\\"},
    };
    for (const RootCase& expected : cases) {
        const RegistryPath split = SplitRegistryPath(expected.path);
        EXPECT_EQ(expected.root, split.root) << expected.path;
        EXPECT_EQ(expected.subkey, split.subkey) << expected.path;
    }
}

} // namespace
