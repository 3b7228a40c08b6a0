#pragma once

#include "win/owner.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace testing_support {

// Points HKEY_LOCAL_MACHINE and HKEY_CURRENT_USER at empty scratch keys for as long as the object lives; the scratch
// keys are deleted with it.
class RegistrySandbox {
public:
    RegistrySandbox();
    RegistrySandbox(RegistrySandbox&&) = delete;
    ~RegistrySandbox();

    // Makes the key, and the value in it. root is HKEY_LOCAL_MACHINE or HKEY_CURRENT_USER.
    static void MakeKey(HKEY root, const std::wstring& path);
    static void SetDword(HKEY root, const std::wstring& path, const wchar_t* name, std::uint32_t value);
    static void SetString(HKEY root, const std::wstring& path, const wchar_t* name, std::wstring_view value);
    static void SetRaw(HKEY root, const std::wstring& path, const wchar_t* name, DWORD type,
                       const std::vector<BYTE>& data);

private:
    std::wstring scratch_;
    win::RegistryKey machine_;
    win::RegistryKey user_;
};

} // namespace testing_support
