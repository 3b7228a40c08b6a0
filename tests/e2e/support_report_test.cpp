#include "expected.h"
#include "registry_value.h"
#include "simulated_computer.h"

#include <gtest/gtest.h>

#include <optional>

namespace {

using namespace e2e;

// The report's own texts hold CR LF and LF, and a line feed goes out as CR LF.
Outcome Report(const std::string& text)
{
    return BannerAnd(text + '\n');
}

// When a file was last written, as the report tells it of this computer's clock.
std::string WrittenAt(const std::filesystem::path& path)
{
    WIN32_FILE_ATTRIBUTE_DATA file{};
    SYSTEMTIME universal{};
    SYSTEMTIME local{};
    wchar_t date[64] = {};
    wchar_t time[64] = {};
    if (GetFileAttributesExW(path.c_str(), GetFileExInfoStandard, &file) == FALSE ||
        FileTimeToSystemTime(&file.ftLastWriteTime, &universal) == FALSE ||
        SystemTimeToTzSpecificLocalTime(nullptr, &universal, &local) == FALSE ||
        GetDateFormatW(0, 0, &local, nullptr, date, 64) == 0 || GetTimeFormatW(0, 0, &local, nullptr, time, 64) == 0) {
        ADD_FAILURE() << "the time of a file cannot be had";
    }
    return Narrow(date) + ' ' + Narrow(time);
}

std::string VersionLine(const wchar_t* file)
{
    return Narrow(file) + " : 14.0.0.0.  " + WrittenAt(ProgramFolder() / file) + '\n';
}

std::string WindowsFolder()
{
    wchar_t folder[MAX_PATH] = {};
    GetWindowsDirectoryW(folder, MAX_PATH);
    return Narrow(folder);
}

std::string ThirdPartySection()
{
    std::string text = "THIRD PARTY SOFTWARE\r\n\n";
    for (const char* const name :
         {"AFPANSI.SYS",   "AFPUNI.SYS",  "ALFAFM.SYS",    "ANCSQ.SYS",     "ANTISPYFILTER.SYS", "BDFSDRV.SYS",
          "BXSHIELD.SYS",  "CMUDAX.SYS",  "CTXALTSTR.SYS", "FILESPY.SYS",   "FOPN.SYS",          "FSSM32.EXE",
          "FWDRV.SYS",     "GERNUWA.SYS", "GHPCW2K.SYS",   "HA20X2K.SYS",   "HAP162K.SYS",       "HF30XP.SYS",
          "IBMFILTER.SYS", "KPDORFM.SYS", "RAMDISKXP.SYS", "REPLISTOR.SYS", "SHIELDF.SYS",       "SPTD.SYS",
          "SRESCAN.SYS",   "US30XP.SYS",  "VET-FILT.SYS",  "WINDRVNT.SYS",  "WSCAM6300.SYS",     "StyleXPHelper.exe"}) {
        text += WindowsFolder() + R"(\System32\Drivers\)" + name + ": Not found\r\n";
    }
    for (const char* const name : {"StyleXPHelper", "Srescan", "sptd"}) {
        text += R"(HKEY_LOCAL_MACHINE\SYSTEM\CurrentControlSet\Services\)" + std::string(name) + ":Not Found\r\n";
    }
    return text;
}

TEST(SupportReport, TellsAllOfTheDefaultScenario)
{
    const RegistryValue database(HKEY_LOCAL_MACHINE, kCoreKey, L"ConnectionString", L"ADO:none");
    EXPECT_EQ(Report("Computer: SRV0\n"
                     "Windows Server 2019 Standard 64-bit\n"
                     "Windows Information: 10.0, Build 17763, , SP 0.0\n"
                     "CPU Speed: 2593 MHZ\n"
                     "Number of Cores: 4\n"
                     "Physical Memory: 16646144 KB\n"
                     "\n"
                     "Page File(s):\n"
                     " - Location: C:\\pagefile.sys 2432 2432\n"
                     " - Space: 19136512 KB\n"
                     "Bios Date: 03/14/24\n"
                     "\n"
                     "\n"
                     "INSTALL DIRECTORY\n"
                     "\n" +
                     Narrow(ProgramFolder().wstring()) +
                     "\\\n"
                     "\n"
                     "\n"
                     "FILE VERSION INFORMATION\n"
                     "\n" +
                     VersionLine(L"VLCmd.exe") + VersionLine(L"VLEngine.exe") +
                     "VLVolumeFS.sys : Not found\n"
                     "VLFsFilter.sys : Not found\n"
                     "VLBoot.exe : Not found\n"
                     "\n"
                     "FILE SYSTEM INFORMATION\n"
                     "\n"
                     "* Volume: C:\\\n"
                     " - Volume GUID: \\\\?\\Volume{4f2a91c6-7d03-4be8-9a15-c83e60d7b214}\n"
                     " - File System: NTFS\n"
                     " - Bytes Per Cluster: 4096\n"
                     " - Total Clusters:    31196415   119 GB\n"
                     " - Free Clusters:    12845056   49 GB\n"
                     " - Used Clusters:    18351359   70 GB\n"
                     " - MFT Clusters:     98304        384 MB\n"
                     " - MFT Zone Start: 786432\n"
                     " - MFT Zone End:   911360\n"
                     "\n"
                     "* Volume: D:\\\n"
                     " - Volume GUID: \\\\?\\Volume{b60d3e58-1c94-4f7a-8e62-05a9d1f47c3b}\n"
                     " - File System: NTFS\n"
                     " - Bytes Per Cluster: 4096\n"
                     " - Total Clusters:    488378623   1.82 TB\n"
                     " - Free Clusters:    97675520   372.6 GB\n"
                     " - Used Clusters:    390703103   1.46 TB\n"
                     " - MFT Clusters:     262144        1 GB\n"
                     " - MFT Zone Start: 3145728\n"
                     " - MFT Zone End:   4194304\n"
                     "\n"
                     "* Volume: D:\\Mounts\\Archive\\\n"
                     " - Volume GUID: \\\\?\\Volume{e815f7b2-46a0-4c3d-97de-2b61c0538fa9}\n"
                     " - File System: NTFS\n"
                     " - Bytes Per Cluster: 8192\n"
                     " - Total Clusters:    122094655   931.51 GB\n"
                     " - Free Clusters:    30523648   232.88 GB\n"
                     " - Used Clusters:    91571007   698.63 GB\n"
                     " - MFT Clusters:     16384        128 MB\n"
                     " - MFT Zone Start: 393216\n"
                     " - MFT Zone End:   409600\n"
                     "\n"
                     "* Volume: E:\\\n"
                     " - Volume GUID: \\\\?\\Volume{09e7c4ad-5b2f-4d16-b3c8-7f10e29a6d85}\n"
                     " - File System: NTFS\n"
                     " - Bytes Per Cluster: 4096\n"
                     " - Total Clusters:    125026303   476.94 GB\n"
                     " - Free Clusters:    100021248   381.55 GB\n"
                     " - Used Clusters:    25005055   95.39 GB\n"
                     " - MFT Clusters:     16384        64 MB\n"
                     " - MFT Zone Start: 786432\n"
                     " - MFT Zone End:   802816\n"
                     "\n"
                     "* Volume: F:\\\n"
                     " - Volume GUID: \\\\?\\Volume{72c0a6f1-e83d-4b59-a417-9d5e08b3f6c2}\n"
                     " - File System: FAT32\n"
                     " - Bytes Per Cluster: 16384\n"
                     " - Total Clusters:    1953792   29.81 GB\n"
                     " - Free Clusters:    1640000   25.02 GB\n"
                     " - Used Clusters:    313792   4.79 GB\n"
                     "\n"
                     "\n"
                     "REGISTRY INFORMATION\r\n"
                     "\r\n"
                     "* HKEY_LOCAL_MACHINE\\Software\\Kestrane\\VLCore\\14.0\r\n"
                     " - Value Name: ConnectionString\r\n"
                     " - Type: REG_SZ\r\n"
                     " - Data: ADO:none\r\n"
                     "\r\n"
                     "* HKEY_LOCAL_MACHINE\\System\\CurrentControlSet\\Services\\VLEngine\r\n"
                     " - Value Name: ImagePath\r\n"
                     " - Type: REG_EXPAND_SZ\r\n"
                     " - Data: \"%ProgramFiles%\\Kestrane\\Velundra\\VLEngine.exe\"\r\n"
                     "\r\n"
                     " - Value Name: ObjectName\r\n"
                     " - Type: REG_SZ\r\n"
                     " - Data: LocalSystem\r\n"
                     "\r\n"
                     " - Value Name: Start\r\n"
                     " - Type: REG_DWORD\r\n"
                     " - Data: 2\r\n"
                     "\r\n"
                     " - Value Name: Type\r\n"
                     " - Type: REG_DWORD\r\n"
                     " - Data: 16\r\n"
                     "\r\n"
                     "*HKEY_LOCAL_MACHINE\\System\\CurrentControlSet\\Control\\Session Manager\r\n"
                     " - Value Name: BootExecute\r\n"
                     " - Type: REG_MULTI_SZ\r\n"
                     " - Data: autocheck autochk *VLBoot.exe\r\n"
                     "\r\n"
                     "\r\n" +
                     ThirdPartySection()),
              SimulatedComputer::Run({L"/si"}));
}

// --- Odd computers ---

// The part of the report between two texts.
std::string Section(const std::string& report, std::string_view begin, std::string_view end)
{
    const std::size_t first = report.find(begin);
    const std::size_t last = report.find(end, first);
    return first == std::string::npos || last == std::string::npos ? "" : report.substr(first, last - first);
}

void ExpectFileSystems(const std::string& expected)
{
    const Outcome outcome = SimulatedComputer::Run({L"/si"});
    EXPECT_EQ(0U, outcome.exitCode);
    EXPECT_EQ(Redirected("FILE SYSTEM INFORMATION\n" + expected + "\n\n"),
              Section(outcome.output, "FILE SYSTEM INFORMATION", "REGISTRY INFORMATION"));
}

void ExpectSystem(const std::string& expected)
{
    const Outcome outcome = SimulatedComputer::Run({L"/si"});
    EXPECT_EQ(0U, outcome.exitCode);
    EXPECT_EQ(Redirected(expected), Section(outcome.output, "Computer: ", "INSTALL DIRECTORY"));
}

TEST(SupportReportOfVolumes, LeavesOutWhatTheProductDoesNotTreat)
{
    const SimulatedComputer computer(R"(
[volume \\?\Volume{a}\]
mount = A:\
floppy = yes
type = removable
bus = usb
file-system = FAT
[volume \\?\Volume{b}\]
mount = B:\
type = removable
bus = ata
file-system = FAT
total-clusters = 4
sectors-per-cluster = 1
[volume \\?\Volume{sd}\]
mount = M:\
type = removable
bus = sd
file-system = FAT32
[volume \\?\Volume{cd}\]
mount = G:\
type = cdrom
file-system = CDFS
[volume \\?\Volume{net}\]
mount = N:\
type = remote
file-system = NTFS
[volume \\?\Volume{raw}\]
mount = R:\
[volume \\?\Volume{ram}\]
mount = S:\
type = ramdisk
file-system = NTFS
)");
    // B: is no floppy, and its bus is one that the product treats.
    ExpectFileSystems("\n"
                      "* Volume: B:\\\n"
                      " - Volume GUID: \\\\?\\Volume{b}\n"
                      " - File System: FAT\n"
                      " - Bytes Per Cluster: 512\n"
                      " - Total Clusters:    4   2 KB\n"
                      " - Free Clusters:    0   0 B\n"
                      " - Used Clusters:    4   2 KB\n");
}

TEST(SupportReportOfVolumes, ShowsBootIni)
{
    const SimulatedComputer computer(R"(
[volume \\?\Volume{11111111-2222-3333-4444-555555555555}\]
mount = C:\
file-system = FAT32
total-clusters = 1
boot-ini = old-boot.txt
)");
    computer.AddFile(L"old-boot.txt", "[boot loader]\r\ntimeout=30");
    ExpectFileSystems("\n"
                      "* Volume: C:\\\n"
                      " - Volume GUID: \\\\?\\Volume{11111111-2222-3333-4444-555555555555}\n"
                      " - File System: FAT32\n"
                      " - Bytes Per Cluster: 4096\n"
                      " - Total Clusters:    1   4 KB\n"
                      " - Free Clusters:    0   0 B\n"
                      " - Used Clusters:    1   4 KB\n"
                      "\n"
                      " - Boot.ini information: [boot loader]\r\ntimeout=30\n");
}

constexpr char kTwoNtfsVolumes[] = R"(
[volume \\?\Volume{11111111-2222-3333-4444-555555555555}\]
mount = C:\
file-system = NTFS
total-clusters = 1024
[volume \\?\Volume{66666666-7777-8888-9999-000000000000}\]
mount = C:\Mounts\Data\
file-system = NTFS
total-clusters = 2048
mft-bytes = 8191
mft-zone = 3, 5
)";

constexpr char kSecondVolume[] = "\n"
                                 "* Volume: C:\\Mounts\\Data\\\n"
                                 " - Volume GUID: \\\\?\\Volume{66666666-7777-8888-9999-000000000000}\n"
                                 " - File System: NTFS\n"
                                 " - Bytes Per Cluster: 4096\n"
                                 " - Total Clusters:    2048   8 MB\n"
                                 " - Free Clusters:    0   0 B\n"
                                 " - Used Clusters:    2048   8 MB\n"
                                 " - MFT Clusters:     1        8 KB\n"
                                 " - MFT Zone Start: 3\n"
                                 " - MFT Zone End:   5\n";

TEST(SupportReportOfVolumes, GoesOnWithTheNextWhenOneFails)
{
    const SimulatedComputer computer(std::string(kTwoNtfsVolumes) + R"(
# The first call is that of the list, the second one that of the report.
[windows-fault]
function = GetVolumeInformationW
path = C:\
call = 2+
error = 1005
[windows-fault]
function = GetDiskFreeSpaceW
path = C:\
error = 21
)");
    ExpectFileSystems("\n"
                      "* Volume: C:\\\n"
                      " - Volume GUID: \\\\?\\Volume{11111111-2222-3333-4444-555555555555}\n"
                      " - Failed to get volume information of drive C:\\ (1005)\n"
                      " - Failed to get freespace information of drive C:\\ (21)\n" +
                      std::string(kSecondVolume));
}

TEST(SupportReportOfTheSystem, NamesTheEditionWhereTheRegistryDoesNot)
{
    const SimulatedComputer computer(R"(
[machine]
name = OLD
windows = 6.1.7601
service-pack = Service Pack 1
service-pack-version = 1.0
product = workstation
suite = 0x100
memory-kb = 2096564
commit-kb = 4193128
[registry HKEY_LOCAL_MACHINE\Software\Microsoft\Windows NT\CurrentVersion]
text = CurrentVersion, 6.1
text = CurrentBuildNumber, 7601
[registry HKEY_LOCAL_MACHINE\Hardware\Description\System]
[registry HKEY_LOCAL_MACHINE\System\CurrentControlSet\Control\Session Manager\Memory Management]
texts = PagingFiles, C:\pagefile.sys 0 0 | D:\pagefile.sys 1024 2048
)");
    ExpectSystem("Computer: OLD\n"
                 "Windows 7 64-bit\n"
                 "Windows Information: 6.1, Build 7601, Service Pack 1, SP 1.0\n"
                 "Physical Memory: 2096564 KB\n"
                 "\n"
                 "Page File(s):\n"
                 " - Location: C:\\pagefile.sys 0 0\n"
                 " - Location: D:\\pagefile.sys 1024 2048\n"
                 " - Space: 4193128 KB\n"
                 "\n"
                 "\n"
                 "\n");
}

TEST(SupportReportOfTheRegistry, ShowsEachKindOfValue)
{
    const SimulatedComputer computer(R"(
[registry HKEY_CURRENT_USER\Software\Kestrane\Velundra\14.0]
text = , default
binary = Bytes, 01 02 03 04 05 06 07 08 09 0a 0b 0c 0d 0E
number = Number, 0xFFFFFFFF
[registry HKEY_CURRENT_USER\Software\Kestrane\Velundra\14.0\Below]
texts = Texts, A | B
[registry HKEY_LOCAL_MACHINE\Software\Kestrane\VLCore\14.0]
[registry HKEY_LOCAL_MACHINE\System\CurrentControlSet\Control\Session Manager]
)");
    const Outcome outcome = SimulatedComputer::Run({L"/si"});
    EXPECT_EQ(Redirected("REGISTRY INFORMATION\r\n"
                         "\r\n"
                         "* HKEY_CURRENT_USER\\Software\\Kestrane\\Velundra\\14.0\\Below\r\n"
                         " - Value Name: Texts\r\n"
                         " - Type: REG_MULTI_SZ\r\n"
                         " - Data: AB\r\n"
                         "\r\n"
                         "* HKEY_CURRENT_USER\\Software\\Kestrane\\Velundra\\14.0\r\n"
                         " - Value Name: No Name\r\n"
                         " - Type: REG_SZ\r\n"
                         " - Data: default\r\n"
                         "\r\n"
                         " - Value Name: Bytes\r\n"
                         " - Type: REG_BINARY\r\n"
                         " - Data: 01,02,03,04,05,06,07,08,09,0a,0b,0c\\\r\n"
                         "  ,0d,0e\r\n"
                         "\r\n"
                         " - Value Name: Number\r\n"
                         " - Type: REG_DWORD\r\n"
                         " - Data: -1\r\n"
                         "\r\n"
                         "* HKEY_LOCAL_MACHINE\\Software\\Kestrane\\VLCore\\14.0\r\n"
                         "*HKEY_LOCAL_MACHINE\\System\\CurrentControlSet\\Control\\Session Manager\r\n"
                         "\r\n"),
              Section(outcome.output, "REGISTRY INFORMATION", "THIRD PARTY SOFTWARE"));
}

} // namespace
