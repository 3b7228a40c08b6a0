// Standard outputs that take nothing, and what a command makes of them.

#include "process.h"
#include "support/scratch_folder.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

namespace {

using namespace e2e;

win::FileHandle OpenForAChild(const std::wstring& path, DWORD access, DWORD disposition)
{
    SECURITY_ATTRIBUTES inheritable{sizeof inheritable, nullptr, TRUE};
    win::FileHandle file(CreateFileW(path.c_str(), access, FILE_SHARE_READ | FILE_SHARE_WRITE, &inheritable,
                                     disposition, FILE_ATTRIBUTE_NORMAL, nullptr));
    EXPECT_TRUE(file) << GetLastError();
    return file;
}

class RefusedOutput : public testing::Test {
protected:
    // Runs a command that succeeds, with this standard output; returns the exit code.
    std::uint32_t RunWith(HANDLE output)
    {
        const win::FileHandle error = OpenForAChild(errors_, GENERIC_WRITE, CREATE_ALWAYS);
        return Process(ToolPath(), {L"/?"}, {output, nullptr, 0, error.Get()}).Wait().exitCode;
    }

    // What the command has told standard error.
    [[nodiscard]] std::string Errors() const
    {
        std::ifstream file(std::filesystem::path(errors_), std::ios::binary);
        return {std::istreambuf_iterator<char>(file), {}};
    }

    [[nodiscard]] const testing_support::ScratchFolder& Folder() const { return folder_; }

private:
    testing_support::ScratchFolder folder_;
    std::wstring errors_ = folder_.PathOf(L"errors.txt");
};

TEST_F(RefusedOutput, OfAFullDiskIsTheExitCodeAndToldOnce)
{
    // Linux has a device that is always full.
    const win::FileHandle full = OpenForAChild(L"\\\\?\\unix\\dev\\full", GENERIC_WRITE, OPEN_EXISTING);
    EXPECT_EQ(112U, RunWith(full.Get()));
    EXPECT_EQ("VLCmd: standard output cannot be written (Windows error 112).\r\n", Errors());
}

TEST_F(RefusedOutput, OfAFileThatMayOnlyBeReadIsTheExitCodeAndToldOnce)
{
    const std::wstring path = Folder().PathOf(L"output.txt");
    Folder().AddFile(L"output.txt", std::string_view());
    const win::FileHandle readable = OpenForAChild(path, GENERIC_READ, OPEN_EXISTING);
    EXPECT_EQ(5U, RunWith(readable.Get()));
    EXPECT_EQ("VLCmd: standard output cannot be written (Windows error 5).\r\n", Errors());
}

TEST_F(RefusedOutput, OfAPipeThatNobodyReadsIsNoFailure)
{
    SECURITY_ATTRIBUTES inheritable{sizeof inheritable, nullptr, TRUE};
    win::KernelHandle readEnd;
    win::KernelHandle writeEnd;
    ASSERT_NE(FALSE, CreatePipe(readEnd.Put(), writeEnd.Put(), &inheritable, 0));
    readEnd.Reset();
    EXPECT_EQ(0U, RunWith(writeEnd.Get()));
    EXPECT_EQ("", Errors());
}

TEST_F(RefusedOutput, ThatIsNotThereAtAllIsNoFailure)
{
    EXPECT_EQ(0U, RunWith(INVALID_HANDLE_VALUE));
    EXPECT_EQ("", Errors());
}

} // namespace
