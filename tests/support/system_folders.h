#pragma once

#include "support/replaced_function.h"

#include <gtest/gtest.h>

#include <string>

namespace testing_support {

// A Windows that is installed in folders of the test's choice; an empty one is a folder that it does not tell.
class SystemFolders {
public:
    std::wstring windows = L"C:\\WINNT";
    std::wstring system = L"C:\\WINNT\\System32";

private:
    static UINT Tell(const std::wstring& folder, LPWSTR text, UINT size)
    {
        if (folder.empty()) {
            return 0;
        }
        EXPECT_LT(folder.size(), size);
        text[folder.copy(text, size - 1)] = L'\0';
        return static_cast<UINT>(folder.size());
    }

    Replaced<"GetWindowsDirectoryW", decltype(::GetWindowsDirectoryW)> getWindows_{[this](LPWSTR text, UINT size) {
        EXPECT_EQ(512U, size);
        return Tell(windows, text, size);
    }};
    Replaced<"GetSystemDirectoryW", decltype(::GetSystemDirectoryW)> getSystem_{[this](LPWSTR text, UINT size) {
        // Libraries are loaded from where they are, also when a test describes another computer.
        if (size == MAX_PATH) {
            return getSystem_.Original(text, size);
        }
        EXPECT_EQ(513U, size);
        return Tell(system, text, size);
    }};
};

} // namespace testing_support
