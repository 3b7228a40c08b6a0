#include "engine_process.h"
#include "expected.h"

#include <gtest/gtest.h>

namespace {

using namespace e2e;

constexpr char kScenario[] = R"([drive C:\]
identity = vol-c
mount = C:\ (System)
file = 5 C:\
file = 1042 C:\Users\Public\plan 2026.mpp
file = 2147483647 C:\Last
file = 18446744073709551615 C:\Minus one
[drive D:\Mounts\Data\]
identity = \\?\Volume{0A1B-2C}\
file = 7 D:\Mounts\Data\seven.txt
[drive \\?\Volume{3D}]
identity = vol-guid
file = 9 nine.txt
)";

constexpr char kStarted[] = "Single File defragmentation started on drive C:\\ (System).\n";
constexpr char kBadFiles[] = "Specified file(s) are in bad format.\n"
                             "Provide fully qualified path names.\n"
                             "Use quotes for files containing spaces.\n";
constexpr char kDenied[] = "Unable to connect to specified computer, error access denied.\n";

constexpr char kDriveListCall[] = "agent#1 IVLAgent::GetDriveList() -> 0x00000000 "
                                  "driveList=\"vol-c|\\\\?\\Volume{0A1B-2C}\\|vol-guid\"";

std::string DefragCall(const std::string& paths)
{
    return R"(DefragFile(drive="C:\", filePath=")" + paths + R"(") -> 0x00000000)";
}

// --- /df ---

TEST(DefragFilesCommand, FindsTheDriveAndPassesTheFile)
{
    const EngineProcess engine(kScenario);
    EXPECT_EQ(BannerAnd(kStarted), RunTool({L"/df", L"C:\\a.txt"}));
    EXPECT_EQ((std::vector<std::string>{
                  "VLAgent::CreateInstance(iid=IVLAgent) -> 0x00000000 object=agent#1",
                  kDriveListCall,
                  "agent#1 IVLAgent::GetDrive(driveName=\"vol-c\") -> 0x00000000 drive=drive#1[C:\\]",
                  "drive#1[C:\\] IVLDrive::GetDriveName() -> 0x00000000 name=\"C:\\\"",
                  "drive#1[C:\\] released",
                  "agent#1 released",
                  "VLAgent::CreateInstance(iid=IVLAgent) -> 0x00000000 object=agent#2",
                  "agent#2 IVLAgent::CheckAccess() -> 0x00000000 rights=1",
                  "agent#2 IVLAgent::GetDrive(driveName=\"vol-c\") -> 0x00000000 drive=drive#2[C:\\]",
                  "drive#2[C:\\] IVLDrive::GetMountPoint() -> 0x00000000 mountPoint=\"C:\\ (System)\"",
                  "agent#2 IVLAgent::DefragFile(drive=\"C:\\\", filePath=\"C:\\a.txt\") -> 0x00000000",
                  "drive#2[C:\\] released",
                  "agent#2 released",
              }),
              engine.Log());
}

TEST(DefragFilesCommand, JoinsTheFilesInTheirOrder)
{
    const EngineProcess engine(kScenario);
    EXPECT_EQ(BannerAnd(kStarted), RunTool({L"/df", L"C:\\b.txt", L"D:\\a b\\c.txt", L"c:\\b.txt"}));
    EXPECT_EQ(BannerAnd(kStarted), RunTool({L"/df", L"a.txt", L"c:\\x", L"/w", L"C:", L"\\y", L"C:z", L"?:?"}));
    EXPECT_EQ((std::vector<std::string>{DefragCall("C:\\b.txt|D:\\a b\\c.txt|c:\\b.txt"), DefragCall("c:\\x|C:z|?:?")}),
              engine.CallsOf("DefragFile"));
}

TEST(DefragFilesCommand, NeedsFullPaths)
{
    const EngineProcess engine(kScenario);
    const Outcome badFiles = BannerAnd(kBadFiles + UsageScreen(), 87);
    EXPECT_EQ(badFiles, RunTool({L"/df"}));
    EXPECT_EQ(badFiles, RunTool({L"/df", L"a.txt"}));
    EXPECT_EQ(badFiles, RunTool({L"/df", L"C:", L"\\a.txt", L"dir\\C:\\a"}));
    EXPECT_EQ(std::vector<std::string>(), engine.Log());
}

TEST(DefragFilesCommand, NeedsADriveThatTheEngineKnowsForTheFirstFile)
{
    const EngineProcess engine(kScenario);
    const Outcome badFiles = BannerAnd(kBadFiles + UsageScreen(), 87);
    EXPECT_EQ(badFiles, RunTool({L"/df", L"Q:\\a.txt", L"C:\\a.txt"}));
    EXPECT_EQ(badFiles, RunTool({L"/df", L"?:\\a.txt"}));
    // The drive of the path's letter counts, not one that is mounted in a folder.
    EXPECT_EQ(badFiles, RunTool({L"/df", L"D:\\Mounts\\Data\\a.txt"}));
}

TEST(DefragFilesCommand, TakesFilesForBadOnesWhenTheirDriveCannotBeFound)
{
    for (const char* const method : {"GetDriveList", "GetDrive", "GetDriveName"}) {
        const EngineProcess engine(kScenario + Failing(method, "0x80004005"));
        EXPECT_EQ(BannerAnd(kBadFiles + UsageScreen(), 87), RunTool({L"/df", L"C:\\a.txt"})) << method;
    }
    // The low 16 bits of this failure are 0.
    const EngineProcess engine(kScenario + Failing("GetDrive", "0x80040000"));
    EXPECT_EQ(BannerAnd(kBadFiles + UsageScreen(), 87), RunTool({L"/df", L"C:\\a.txt"}));
    EXPECT_EQ(std::vector<std::string>(), engine.CallsOf("DefragFile"));
}

struct FileFailure {
    const char* name;
    std::vector<std::wstring> words;
    std::string fault;
    std::string text;
    std::uint32_t exitCode;
};

class FailedFileRequest : public testing::TestWithParam<FileFailure> {};

TEST_P(FailedFileRequest, IsReturned)
{
    const EngineProcess engine(kScenario + GetParam().fault);
    EXPECT_EQ(BannerAnd(GetParam().text, GetParam().exitCode), RunTool(GetParam().words));
}

const std::vector<std::wstring> kDefragA = {L"/df", L"C:\\a.txt"};
const std::vector<std::wstring> kQuery5 = {L"/id", L"c:", L"5"};
constexpr char kNoVolume[] = "c: Could not be matched with a known volume GUID .\n";

INSTANTIATE_TEST_SUITE_P(
    Defrag, FailedFileRequest,
    testing::Values(FileFailure{"CheckAccess", kDefragA, Failing("CheckAccess", "0x80070015"), "", 0x15},
                    FileFailure{"GetDrive", kDefragA, Failing("GetDrive", "0x80070005", "C:\\", "2"), "", 5},
                    FileFailure{"GetMountPoint", kDefragA, Failing("GetMountPoint", "0x80004005"), "", 0x4005},
                    FileFailure{"DefragFile", kDefragA, Failing("DefragFile", "0x80070005"),
                                "Single File defragmentation failed due to error " +
                                    ErrorText(0x80070005, "0x80070005 (2147942405)(Operations/#1026)") + "\n",
                                0x20000001}),
    [](const auto& test) { return test.param.name; });

// --- /id ---

TEST(FileByIdCommand, FindsTheVolumeAndAsksForTheName)
{
    const EngineProcess engine(kScenario);
    EXPECT_EQ(BannerAnd("File Name C:\\Users\\Public\\plan 2026.mpp corresponds to id 1042 on drive c:\n"),
              RunTool({L"/id", L"c:", L"1042"}));
    const std::string nameCall = R"(agent#2 IVLAgent::GetFileNameById(volume="vol-c", fileId=1042) -> 0x00000000 )"
                                 R"(fileName="C:\Users\Public\plan 2026.mpp")";
    EXPECT_EQ((std::vector<std::string>{
                  "VLAgent::CreateInstance(iid=IVLAgent) -> 0x00000000 object=agent#1",
                  kDriveListCall,
                  "agent#1 IVLAgent::GetDrive(driveName=\"vol-c\") -> 0x00000000 drive=drive#1[C:\\]",
                  "drive#1[C:\\] IVLDrive::GetDriveName() -> 0x00000000 name=\"C:\\\"",
                  "drive#1[C:\\] released",
                  "agent#1 released",
                  "VLAgent::CreateInstance(iid=IVLAgent) -> 0x00000000 object=agent#2",
                  "agent#2 IVLAgent::CheckAccess() -> 0x00000000 rights=1",
                  nameCall,
                  "agent#2 released",
              }),
              engine.Log());
}

TEST(FileByIdCommand, ReadsItsWordsAsADriveAndANumber)
{
    struct {
        std::vector<std::wstring> words;
        const char* text;
    } const lines[] = {
        {{L"/id", L"C", L"5"}, "File Name C:\\ corresponds to id 5 on drive C\n"},
        {{L"/id", L"c:\\", L"5files"}, "File Name C:\\ corresponds to id 5 on drive c:\\\n"},
        {{L"/id", L"C:", L"5", L"6"}, "File Name C:\\ corresponds to id 5 on drive C:\n"},
        {{L"/id", L"C:", L"2147483647"}, "File Name C:\\Last corresponds to id 2147483647 on drive C:\n"},
        {{L"/id", L"C:", L"-1"}, "File Name C:\\Minus one corresponds to id -1 on drive C:\n"},
        {{L"/id", L"d:\\mounts\\data", L"7"},
         "File Name D:\\Mounts\\Data\\seven.txt corresponds to id 7 on drive d:\\mounts\\data\n"},
        {{L"/id", L"Volume{3D}", L"9"}, "File Name nine.txt corresponds to id 9 on drive Volume{3D}\n"},
        {{L"/id", L"\\\\?\\volume{3d}\\", L"9"},
         "File Name nine.txt corresponds to id 9 on drive \\\\?\\volume{3d}\\\n"}};
    const EngineProcess engine(kScenario);
    for (const auto& [words, text] : lines) {
        EXPECT_EQ(BannerAnd(text), RunTool(words)) << Narrow(JoinWords(words));
    }
}

TEST(FileByIdCommand, NeedsADriveAndAnIdentifier)
{
    const EngineProcess engine(kScenario);
    EXPECT_EQ(BannerAnd(UsageScreen(), 87), RunTool({L"/id"}));
    EXPECT_EQ(BannerAnd(UsageScreen(), 87), RunTool({L"/id", L"C:"}));
    EXPECT_EQ(BannerAnd(UsageScreen(), 87), RunTool({L"/id", L"C:", L"/d"}));
    EXPECT_EQ(BannerAnd("CD is not a valid DriveName .\n", 87), RunTool({L"/id", L"CD", L"5"}));
    EXPECT_EQ(BannerAnd("5 is not a valid DriveName .\n", 87), RunTool({L"/id", L"5", L"C:"}));
    EXPECT_EQ(std::vector<std::string>(), engine.Log());
}

INSTANTIATE_TEST_SUITE_P(
    Query, FailedFileRequest,
    testing::Values(
        FileFailure{
            "UnknownDrive", {L"/id", L"Q:", L"5"}, "", "Q: Could not be matched with a known volume GUID .\n", 13},
        FileFailure{"NoDrives", kQuery5, "[engine]\ndrive-list =\n", kNoVolume, 13},
        FileFailure{"GetDriveList", kQuery5, Failing("GetDriveList", "0x80004005"), kNoVolume, 0x4005},
        FileFailure{"GetDrive", kQuery5, Failing("GetDrive", "0x80070005"), kNoVolume, 5},
        FileFailure{"GetDriveWithLowBitsOf0", kQuery5, Failing("GetDrive", "0x80040000"), kNoVolume, 0},
        FileFailure{"GetDriveName", kQuery5, Failing("GetDriveName", "0x80070005"), kNoVolume, 13},
        FileFailure{"CheckAccess", kQuery5, Failing("CheckAccess", "0x80070015"), kDenied, 0x20000004},
        FileFailure{"UnknownFile",
                    {L"/id", L"C:", L"6"},
                    "",
                    "Failed to get File Name from id  error " +
                        ErrorText(0x80070002, "0x80070002 (2147942402)(Operations/#459).") + "\n",
                    2},
        FileFailure{"GetFileNameById", kQuery5, Failing("GetFileNameById", "0x80004005"),
                    "Failed to get File Name from id  error " +
                        ErrorText(0x80004005, "0x80004005 (2147500037)(Operations/#459).") + "\n",
                    0x4005}),
    [](const auto& test) { return test.param.name; });

TEST(FileByIdCommand, LooksNoFurtherThanADriveThatCannotBeHad)
{
    const EngineProcess engine(kScenario + Failing("GetDrive", "0x80070015", "C:\\"));
    EXPECT_EQ(BannerAnd("D:\\Mounts\\Data\\ Could not be matched with a known volume GUID .\n", 0x15),
              RunTool({L"/id", L"D:\\Mounts\\Data\\", L"7"}));
}

TEST(FileByIdCommand, PassesOverADriveWhoseNameCannotBeRead)
{
    const EngineProcess engine(kScenario + Failing("GetDriveName", "0x80070015", "C:\\"));
    EXPECT_EQ(BannerAnd("File Name D:\\Mounts\\Data\\seven.txt corresponds to id 7 on drive D:\\Mounts\\Data\\\n"),
              RunTool({L"/id", L"D:\\Mounts\\Data\\", L"7"}));
}

} // namespace
