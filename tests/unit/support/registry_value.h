#pragma once

#include "support/registry.h"

#include "support/product_test.h"

#include <string>
#include <vector>

namespace testing_support::registry_values {

inline constexpr wchar_t kPath[] = L"Software\\VLCmdTest";

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

} // namespace testing_support::registry_values
