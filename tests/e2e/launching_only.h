#pragma once

#include "registry_value.h"

#include <cstdint>
#include <string>
#include <string_view>

namespace e2e {

// A policy that forbids everything but launching, for as long as the object lives.
class LaunchingOnly {
public:
    LaunchingOnly()
    {
        for (const std::wstring_view name : kPolicyValues) {
            values_.Add(HKEY_CURRENT_USER, kPolicyKey, std::wstring(name),
                        static_cast<std::uint32_t>(name == L"AllowLaunch" ? 1 : 0));
        }
    }

private:
    RegistryValues values_;
};

} // namespace e2e
