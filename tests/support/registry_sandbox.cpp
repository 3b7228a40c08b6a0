#include "support/registry_sandbox.h"

#include <gtest/gtest.h>

namespace testing_support {

namespace {

win::RegistryKey Create(HKEY root, const std::wstring& path)
{
    win::RegistryKey key;
    EXPECT_EQ(ERROR_SUCCESS,
              RegCreateKeyExW(root, path.c_str(), 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, key.Put(), nullptr));
    return key;
}

} // namespace

RegistrySandbox::RegistrySandbox()
    : scratch_(L"Software\\VLCmdTests\\" + std::to_wstring(GetCurrentProcessId())),
      machine_(Create(HKEY_CURRENT_USER, scratch_ + L"\\machine")),
      user_(Create(HKEY_CURRENT_USER, scratch_ + L"\\user"))
{
    EXPECT_EQ(ERROR_SUCCESS, RegOverridePredefKey(HKEY_LOCAL_MACHINE, machine_.Get()));
    EXPECT_EQ(ERROR_SUCCESS, RegOverridePredefKey(HKEY_CURRENT_USER, user_.Get()));
}

RegistrySandbox::~RegistrySandbox()
{
    RegOverridePredefKey(HKEY_LOCAL_MACHINE, nullptr);
    RegOverridePredefKey(HKEY_CURRENT_USER, nullptr);
    machine_.Reset();
    user_.Reset();
    EXPECT_EQ(ERROR_SUCCESS, RegDeleteTreeW(HKEY_CURRENT_USER, scratch_.c_str()));
}

void RegistrySandbox::MakeKey(HKEY root, const std::wstring& path)
{
    static_cast<void>(Create(root, path));
}

void RegistrySandbox::SetDword(HKEY root, const std::wstring& path, const wchar_t* name, std::uint32_t value)
{
    const auto* const bytes = reinterpret_cast<const BYTE*>(&value);
    SetRaw(root, path, name, REG_DWORD, {bytes, bytes + sizeof value});
}

void RegistrySandbox::SetString(HKEY root, const std::wstring& path, const wchar_t* name, std::wstring_view value)
{
    const std::wstring text(value);
    const auto* const bytes = reinterpret_cast<const BYTE*>(text.c_str());
    SetRaw(root, path, name, REG_SZ, {bytes, bytes + (text.size() + 1) * sizeof(wchar_t)});
}

void RegistrySandbox::SetRaw(HKEY root, const std::wstring& path, const wchar_t* name, DWORD type,
                             const std::vector<BYTE>& data)
{
    const win::RegistryKey key = Create(root, path);
    EXPECT_EQ(ERROR_SUCCESS, RegSetValueExW(key.Get(), name, 0, type, data.data(), static_cast<DWORD>(data.size())));
}

} // namespace testing_support
