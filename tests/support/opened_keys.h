#pragma once

#include "support/replaced_function.h"
#include "win/windows_api.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace testing_support {

// The registry keys that the test program opens while the object lives. They may be opened for reading alone.
class OpenedKeys {
public:
    // Their paths in order: of the machine's keys as they were given, of the user's with "HKCU\" in front.
    [[nodiscard]] const std::vector<std::wstring>& Paths() const { return paths_; }

private:
    std::vector<std::wstring> paths_;
    Replaced<"RegOpenKeyExW", decltype(::RegOpenKeyExW)> open_{
        [this](HKEY root, LPCWSTR path, DWORD options, REGSAM access, PHKEY key) {
            EXPECT_TRUE(root == HKEY_LOCAL_MACHINE || root == HKEY_CURRENT_USER);
            EXPECT_EQ(0U, options);
            EXPECT_EQ(0x20019U, access);
            paths_.push_back((root == HKEY_CURRENT_USER ? L"HKCU\\" : L"") + std::wstring(path));
            return open_.Original(root, path, options, access, key);
        }};
};

} // namespace testing_support
