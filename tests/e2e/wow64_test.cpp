// What a 64-bit Windows shows to 32-bit programs instead of its own, as README tells it.

#include "process.h"
#include "registry_value.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using namespace e2e;

using ::testing::HasSubstr;
using ::testing::Not;

// A value of the product's settings, as 64-bit programs have them.
class SettingOf64BitPrograms {
public:
    explicit SettingOf64BitPrograms(const wchar_t* name) : name_(name)
    {
        EXPECT_EQ(ERROR_SUCCESS, RegCreateKeyExW(HKEY_LOCAL_MACHINE, kCoreKey, 0, nullptr, REG_OPTION_VOLATILE,
                                                 KEY_READ | KEY_WRITE | KEY_WOW64_64KEY, nullptr, key_.Put(), nullptr));
        EXPECT_EQ(ERROR_SUCCESS, RegSetValueExW(key_.Get(), name, 0, REG_SZ, nullptr, 0));
    }
    SettingOf64BitPrograms(const SettingOf64BitPrograms&) = delete;
    SettingOf64BitPrograms(SettingOf64BitPrograms&&) = delete;
    ~SettingOf64BitPrograms() { RegDeleteValueW(key_.Get(), name_); }
    SettingOf64BitPrograms& operator=(const SettingOf64BitPrograms&) = delete;
    SettingOf64BitPrograms& operator=(SettingOf64BitPrograms&&) = delete;

private:
    const wchar_t* name_;
    win::RegistryKey key_;
};

// A file with the tool's version in a folder of Windows, which is made if need be.
class WindowsFile {
public:
    explicit WindowsFile(const std::filesystem::path& relative)
    {
        wchar_t windows[MAX_PATH] = {};
        GetWindowsDirectoryW(windows, MAX_PATH);
        path_ = windows / relative;
        std::filesystem::create_directories(path_.parent_path());
        EXPECT_NE(FALSE, CopyFileW(ToolPath().c_str(), path_.c_str(), TRUE));
    }
    WindowsFile(const WindowsFile&) = delete;
    WindowsFile(WindowsFile&&) = delete;
    ~WindowsFile() { DeleteFileW(path_.c_str()); }
    WindowsFile& operator=(const WindowsFile&) = delete;
    WindowsFile& operator=(WindowsFile&&) = delete;

private:
    std::filesystem::path path_;
};

TEST(SupportReportOf32Bits, ShowsTheSettingsOf32BitPrograms)
{
    const RegistryValue ours(HKEY_LOCAL_MACHINE, kCoreKey, L"SetBy32Bits", std::wstring());
    const SettingOf64BitPrograms theirs(L"SetBy64Bits");
    const std::string report = RunTool({L"/si"}).output;
    EXPECT_THAT(report, HasSubstr("SetBy32Bits"));
    EXPECT_THAT(report, Not(HasSubstr("SetBy64Bits")));
}

TEST(SupportReportOf32Bits, LooksForDriversInTheFolderOf32BitPrograms)
{
    {
        // Windows' name for the folder that is System32 to 64-bit programs.
        const WindowsFile driver(L"Sysnative\\drivers\\VLVolumeFS.sys");
        EXPECT_THAT(RunTool({L"/si"}).output, HasSubstr("VLVolumeFS.sys : Not found"));
    }
    const WindowsFile driver(L"SysWOW64\\drivers\\VLVolumeFS.sys");
    EXPECT_THAT(RunTool({L"/si"}).output, HasSubstr("VLVolumeFS.sys : 14.0.0.0"));
}

} // namespace
