#include "support/file_system_section.h"

#include "file_systems.h"

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

namespace {

using namespace testing_support;
using namespace testing_support::file_systems;

TEST_F(BootIni, IsShownAsItIs)
{
    folder.AddFile(L"boot.ini", "[boot loader]\r\ntimeout=30\r\n");
    EXPECT_EQ(L"\n - Boot.ini information: [boot loader]\r\ntimeout=30\r\n\n", Lines());
}

TEST_F(BootIni, IsNothingWhereItIsMissing)
{
    EXPECT_EQ(L"", Lines());
}

TEST_F(BootIni, MayBeEmpty)
{
    folder.AddFile(L"boot.ini", "");
    EXPECT_EQ(L"\n - Boot.ini information: \n", Lines());
}

TEST_F(BootIni, IsCutAt1024Bytes)
{
    std::string text;
    for (int i = 0; text.size() < 1500; ++i) {
        text += std::to_string(i) + ' ';
    }
    for (const std::size_t size : {1023U, 1024U, 1025U, 1500U}) {
        folder.AddFile(L"boot.ini", text.substr(0, size));
        const std::string shown = text.substr(0, 1024).substr(0, size);
        EXPECT_EQ(L"\n - Boot.ini information: " + std::wstring(shown.begin(), shown.end()) + L"\n", Lines()) << size;
    }
}

TEST_F(BootIni, IsTakenByteByByte)
{
    std::string bytes;
    std::wstring characters;
    for (unsigned i = 0; i < 256; ++i) {
        bytes += static_cast<char>(i);
        characters += static_cast<wchar_t>(i);
    }
    folder.AddFile(L"boot.ini", bytes);
    EXPECT_EQ(L"\n - Boot.ini information: " + characters + L"\n", Lines());
}

TEST_F(BootIni, ComesBehindTheMasterFileTable)
{
    windows.volumes.pop_back();
    AddNtfs({folder.Path() + L'\\'});
    folder.AddFile(L"boot.ini", "x");
    EXPECT_EQ(SectionWith(Heading(2, folder.Path() + L'\\') + L" - File System: NTFS\n" + kNtfsClusters +
                          L" - MFT Clusters:     98304        384 MB\n"
                          L" - MFT Zone Start: 786432\n"
                          L" - MFT Zone End:   911360\n"
                          L"\n - Boot.ini information: x\n"),
              GetFileSystemSection());
}

TEST_F(BootIni, IsShownOfAVolumeAboutWhichAllElseFails)
{
    windows.volumes.back().clustersError = 21;
    folder.AddFile(L"boot.ini", "x");
    const FailingFileSystemName failing(1005);
    const std::wstring path = folder.Path() + L'\\';
    EXPECT_EQ(SectionWith(Heading(2, path) + L" - Failed to get volume information of drive " + path + L" (1005)\n" +
                          L" - Failed to get freespace information of drive " + path + L" (21)\n" +
                          L"\n - Boot.ini information: x\n"),
              GetFileSystemSection());
}

TEST_F(BootIni, OfAVolumeThatIsMountedNowhereIsThatOfTheCurrentFolder)
{
    windows.volumes.back().mountedAt.clear();
    folder.AddFile(L"boot.ini", "x");
    std::filesystem::current_path(folder.Path());
    EXPECT_EQ(SectionWith(FatLines(2, L"") + L"\n - Boot.ini information: x\n"), GetFileSystemSection());
}

TEST_F(BootIni, IsOpenedForReadingWithoutSharing)
{
    folder.AddFile(L"boot.ini", "x");
    std::vector<std::wstring> paths;
    const Replaced<"CreateFileW", decltype(::CreateFileW)> createFile(
        [&](LPCWSTR path, DWORD access, DWORD share, LPSECURITY_ATTRIBUTES security, DWORD disposition, DWORD flags,
            HANDLE pattern) {
            if (!std::wstring_view(path).starts_with(L"\\\\")) {
                paths.emplace_back(path);
                EXPECT_EQ(GENERIC_READ, access);
                EXPECT_EQ(0U, share);
                EXPECT_EQ(nullptr, security);
                EXPECT_EQ(static_cast<DWORD>(OPEN_EXISTING), disposition);
                EXPECT_EQ(static_cast<DWORD>(FILE_ATTRIBUTE_NORMAL), flags);
                EXPECT_EQ(nullptr, pattern);
            }
            return createFile.Original(path, access, share, security, disposition, flags, pattern);
        });
    static_cast<void>(Lines());
    EXPECT_EQ(std::vector<std::wstring>{folder.PathOf(L"boot.ini")}, paths);
}

TEST_F(BootIni, IsNothingWhileSomeoneElseWritesIt)
{
    folder.AddFile(L"boot.ini", "x");
    const win::FileHandle writer(CreateFileW(folder.PathOf(L"boot.ini").c_str(), GENERIC_WRITE,
                                             FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_EXISTING, 0, nullptr));
    ASSERT_TRUE(writer);
    EXPECT_EQ(L"", Lines());
}

TEST_F(BootIni, IsReadInOneCall)
{
    folder.AddFile(L"boot.ini", std::string(2000, 'x'));
    const Replaced<"ReadFile", decltype(::ReadFile)> read(
        [&](HANDLE file, LPVOID buffer, DWORD size, LPDWORD count, LPOVERLAPPED overlapped) {
            EXPECT_EQ(1024U, size);
            return read.Original(file, buffer, 10, count, overlapped);
        });
    EXPECT_EQ(L"\n - Boot.ini information: xxxxxxxxxx\n", Lines());
    EXPECT_EQ(1, read.Calls());
}

TEST_F(BootIni, IsNothingWhereItCannotBeRead)
{
    folder.AddFile(L"boot.ini", "x");
    const Replaced<"ReadFile", decltype(::ReadFile)> read(
        [&](HANDLE file, LPVOID buffer, DWORD size, LPDWORD count, LPOVERLAPPED overlapped) {
            EXPECT_NE(FALSE, read.Original(file, buffer, size, count, overlapped));
            SetLastError(ERROR_CRC);
            return FALSE;
        });
    EXPECT_EQ(L"", Lines());
    EXPECT_EQ(1, read.Calls());
}

} // namespace
