#include "support/registry_section.h"

#include "support/product_test.h"
#include "support/registry.h"
#include "support/registry_data.h"

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
        return FormatRegistryValue(key.Get(), L"V");
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
    EXPECT_EQ(L"", FormatRegistryValue(key.Get(), L"Missing"));
}

TEST_F(RegistryDump, CallsTheDefaultValueNoName)
{
    RegistrySandbox::SetString(HKEY_LOCAL_MACHINE, kPath, L"", L"x");
    EXPECT_EQ(L" - Value Name: No Name\r\n - Type: REG_SZ\r\n - Data: x\r\n\r\n", FormatRegistryValue(key.Get(), L""));
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
    EXPECT_EQ(L" - Value Name: V\r\n - Type: REG_BINARY\r\n - Data: 01,02,XX,XX\r\n\r\n",
              FormatRegistryValue(key.Get(), L"V"));
    EXPECT_EQ(2, sizes);
}

TEST_F(RegistryDump, EndsAfterTheTypeWhereBytesCannotBeRead)
{
    const std::wstring head = L" - Value Name: V\r\n - Type: REG_BINARY\r\n";
    RegistrySandbox::SetRaw(HKEY_LOCAL_MACHINE, kPath, L"V", REG_BINARY, {1, 2});
    {
        const Replaced<"GlobalAlloc", decltype(::GlobalAlloc)> allocate(
            [](UINT, SIZE_T) -> HGLOBAL { return nullptr; });
        EXPECT_EQ(head, FormatRegistryValue(key.Get(), L"V"));
    }
    {
        const Replaced<"CreateStreamOnHGlobal", decltype(::CreateStreamOnHGlobal)> create(
            [](HGLOBAL, BOOL, LPSTREAM*) -> HRESULT { return E_OUTOFMEMORY; });
        EXPECT_EQ(head, FormatRegistryValue(key.Get(), L"V"));
    }
    // The queries after the type: the size, the data, the size again.
    for (int failing = 2; failing <= 4; ++failing) {
        const Replaced<"RegQueryValueExW", decltype(::RegQueryValueExW)> query(
            [&](HKEY asked, LPCWSTR name, LPDWORD reserved, LPDWORD type, LPBYTE data, LPDWORD size) -> LSTATUS {
                return query.Calls() == failing ? ERROR_ACCESS_DENIED
                                                : query.Original(asked, name, reserved, type, data, size);
            });
        EXPECT_EQ(head, FormatRegistryValue(key.Get(), L"V")) << failing;
        EXPECT_EQ(failing, query.Calls());
    }
}

TEST_F(RegistryDump, ShowsNothingOfAValueWhoseTypeCannotBeRead)
{
    RegistrySandbox::SetString(HKEY_LOCAL_MACHINE, kPath, L"V", L"x");
    const Replaced<"RegQueryValueExW", decltype(::RegQueryValueExW)> query(
        [](HKEY, LPCWSTR, LPDWORD, LPDWORD, LPBYTE, LPDWORD) -> LSTATUS { return ERROR_ACCESS_DENIED; });
    EXPECT_EQ(L"", FormatRegistryValue(key.Get(), L"V"));
    EXPECT_EQ(L"* P\r\n", DumpRegistryKey(key.Get(), L"P"));
    EXPECT_EQ(L"*P\r\n", DumpRegistryValue(key.Get(), L"P", L"V"));
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
    EXPECT_EQ(L"* P\\B\r\n* P\r\n", DumpRegistryKey(key.Get(), L"P"));
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
              DumpRegistryKey(key.Get(), L"P"));
}

// Names with a NUL are given below the Windows API, which takes a NUL for a name's end.
class RegistryDumpOfNamesWithNul : public RegistryDump {
protected:
    // The functions of ntdll.dll that Windows' own are made of.
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

    // What is named so can be deleted only in the same way.
    static void Delete(const win::RegistryKey& made)
    {
        EXPECT_EQ(0, Native<DeleteKeyFunction>("NtDeleteKey")(made.Get()));
    }
};

TEST_F(RegistryDumpOfNamesWithNul, LeavesOutTheKeyAndDoesNotTakeAnotherForIt)
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
    EXPECT_EQ(L"* P\\A\r\n - Value Name: a\r\n - Type: REG_DWORD\r\n - Data: 1\r\n\r\n* P\r\n",
              DumpRegistryKey(key.Get(), L"P"));
    Delete(hidden);
}

TEST_F(RegistryDumpOfNamesWithNul, LeavesOutTheValueAndDoesNotTakeAnotherForIt)
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
              DumpRegistryValues(key.Get(), L"P"));
}

TEST_F(RegistryDump, HeadsASingleValueWithoutABlank)
{
    RegistrySandbox::SetString(HKEY_LOCAL_MACHINE, kPath, L"own", L"3");
    EXPECT_EQ(L"*P\r\n - Value Name: own\r\n - Type: REG_SZ\r\n - Data: 3\r\n\r\n",
              DumpRegistryValue(key.Get(), L"P", L"own"));
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
