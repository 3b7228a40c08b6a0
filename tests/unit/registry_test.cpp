#include "support/registry.h"

#include "support/product_test.h"

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
    for (const unsigned type :
         {REG_NONE, REG_SZ, REG_EXPAND_SZ, REG_BINARY, REG_DWORD_BIG_ENDIAN, REG_LINK, REG_MULTI_SZ, REG_QWORD}) {
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

TEST(ProductKeys, AreTheProducts)
{
    EXPECT_STREQ(L"Software\\Kestrane\\VLCore\\14.0", kCoreKey);
    EXPECT_STREQ(L"Software\\Kestrane\\VLConsole\\14.0", kConsoleKey);
    EXPECT_STREQ(L"Software\\Policies\\Kestrane\\Velundra\\14.0", kPolicyKey);
}

} // namespace
