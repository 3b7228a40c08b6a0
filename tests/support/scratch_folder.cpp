#include "support/scratch_folder.h"

#include "win/windows_api.h"

#include <gtest/gtest.h>

#include <fstream>
#include <system_error>

namespace testing_support {

namespace {

std::filesystem::path NextPath()
{
    static int folders = 0;
    return std::filesystem::temp_directory_path() /
           (L"vlcmd-tests-" + std::to_wstring(GetCurrentProcessId()) + L"-" + std::to_wstring(++folders));
}

} // namespace

ScratchFolder::ScratchFolder() : path_(NextPath())
{
    EXPECT_TRUE(std::filesystem::create_directory(path_)) << path_;
}

ScratchFolder::~ScratchFolder()
{
    std::error_code error;
    std::filesystem::remove_all(path_, error);
    EXPECT_FALSE(error) << error.message();
}

void ScratchFolder::AddFile(std::wstring_view name, std::string_view bytes) const
{
    std::ofstream file(path_ / name, std::ios::binary);
    file.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    EXPECT_TRUE(file.flush());
}

void ScratchFolder::AddFile(std::wstring_view name, std::wstring_view text) const
{
    AddFile(name, {reinterpret_cast<const char*>(text.data()), text.size() * sizeof(wchar_t)});
}

} // namespace testing_support
