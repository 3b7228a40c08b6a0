#include "support/support_report.h"

#include "support/described_files.h"
#include "support/described_volumes.h"
#include "support/described_windows.h"
#include "support/failing_allocations.h"
#include "support/installed_program.h"
#include "support/opened_keys.h"
#include "support/plain_dates.h"
#include "support/product_test.h"
#include "support/registry_data.h"
#include "support/system_folders.h"

#include <algorithm>
#include <iterator>
#include <string>
#include <string_view>
#include <vector>

namespace {

using namespace testing_support;

// A computer of which the test knows all that the report tells.
class SupportReport : public ProductTest {
protected:
    SupportReport() { program.MoveTo(L"C:\\Program Files\\Kestrane\\Velundra\\VLCmd.exe"); }

    static void SetString(const std::wstring& key, const wchar_t* name, std::wstring_view value)
    {
        RegistrySandbox::SetString(HKEY_LOCAL_MACHINE, key, name, value);
    }
    static void SetDword(const std::wstring& key, const wchar_t* name, std::uint32_t value)
    {
        RegistrySandbox::SetDword(HKEY_LOCAL_MACHINE, key, name, value);
    }

    void DescribeWindows()
    {
        windows.computerName = L"WS-0042";
        windows.SetVersion(6, 2, 9200);
        windows.SetServicePack(L"Service Pack 1", 1, 2);
        windows.physicalBytes = 17179869184;
        windows.commitLimitBytes = 21474836480;
        const std::wstring version = L"Software\\Microsoft\\Windows NT\\CurrentVersion";
        SetDword(version, L"CurrentMajorVersionNumber", 10);
        SetDword(version, L"CurrentMinorVersionNumber", 0);
        SetString(version, L"CurrentBuildNumber", L"19045");
        SetString(version, L"ProductName", L"Windows 10 Pro");
        const std::wstring hardware = L"Hardware\\Description\\System";
        SetString(hardware, L"SystemBiosDate", L"08/21/23");
        SetDword(hardware + L"\\CentralProcessor\\0", L"~MHz", 3187);
        SetDword(hardware + L"\\CentralProcessor\\1", L"~MHz", 800);
        RegistrySandbox::SetRaw(
            HKEY_LOCAL_MACHINE, L"System\\CurrentControlSet\\Control\\Session Manager\\Memory Management",
            L"PagingFiles", REG_MULTI_SZ, ListBytes({L"C:\\pagefile.sys 0 0", L"D:\\pagefile.sys 16 4096"}));
    }

    void DescribeFiles()
    {
        const std::wstring classes = L"SOFTWARE\\Classes\\CLSID\\";
        SetString(classes + L"{0C5E92B1-7F3A-4D68-B2C4-9A81E6F05D17}\\LocalServer32", nullptr,
                  L"\"D:\\Engine Files\\VLEngine.exe\" ");
        SetString(classes + L"{6A1D44E2-93B7-4C0F-8E55-1F2B7C9D3A60}\\LocalServer32", nullptr,
                  L"E:\\Active\\activevl.exe");
        files.Add(L"C:\\Program Files\\Kestrane\\Velundra\\VLAgent.exe", {14, 0, 1, 2});
        files.Add(L"C:\\Program Files\\Kestrane\\Velundra\\Velundra.exe");
        files.Add(L"C:\\Program Files\\Kestrane\\Velundra\\VLCmd.exe", {14, 0, 3, 4},
                  {{L"InternalName", L"VLCmd HF3"}});
        files.Add(L"D:\\Engine Files\\VLEngine.exe", {14, 0, 5, 6}, {{L"ProductName", L"Velundra exp7"}});
        files.Add(L"D:\\Engine Files\\VLUtils.dll");
        files.Add(L"E:\\Active\\AxactivevlLib.dll", {14, 0, 7, 8}).written = {2025, 2, 5, 28, 23, 59, 58, 0};
        files.Add(L"C:\\WINNT\\System32\\Drivers\\VLVolumeFS.sys", {14, 0, 9, 10});
        files.Add(L"C:\\WINNT\\System32\\Drivers\\VLFsFilter.sys");
        files.Add(L"C:\\WINNT\\System32\\Drivers\\SPTD.SYS", {1, 56, 0, 0});
    }

    void DescribeVolumes()
    {
        DescribedVolume& system = volumes.Add({L"C:\\"});
        system.ntfs.BytesPerSector = 512;
        system.ntfs.BytesPerCluster = 4096;
        system.ntfs.TotalClusters.QuadPart = 262144;
        system.ntfs.FreeClusters.QuadPart = 65536;
        system.ntfs.MftValidDataLength.QuadPart = 1572864;
        system.ntfs.MftZoneStart.QuadPart = 1000;
        system.ntfs.MftZoneEnd.QuadPart = 2000;
        volumes.Add({L"G:\\"}).driveType = DRIVE_CDROM;
        DescribedVolume& data = volumes.Add({L"C:\\Mounts\\Data\\"});
        data.fileSystem = L"FAT32";
        data.clustersError = 21;
        bootIni.AddFile(L"boot.ini", "[boot loader]\r\ntimeout=30\r\n");
    }

    static void DescribeSettings()
    {
        RegistrySandbox::SetString(HKEY_CURRENT_USER, L"Software\\Kestrane\\Velundra\\14.0", L"", L"default");
        const std::wstring core = L"Software\\Kestrane\\VLCore\\14.0";
        RegistrySandbox::SetRaw(HKEY_LOCAL_MACHINE, core, L"Bytes", REG_BINARY,
                                {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 255});
        SetDword(core, L"Number", 0xFFFFFFFF);
        SetString(core + L"\\Trace", L"Folder", L"C:\\Trace");
        RegistrySandbox::SetRaw(HKEY_LOCAL_MACHINE, L"System\\CurrentControlSet\\Control\\Session Manager",
                                L"BootExecute", REG_MULTI_SZ, ListBytes({L"autocheck autochk *", L"VLBoot"}));
        RegistrySandbox::MakeKey(HKEY_LOCAL_MACHINE, L"System\\CurrentControlSet\\Services\\sptd");
    }

    DescribedWindows windows;
    DescribedVolumes volumes;
    DescribedFiles files;
    SystemFolders folders;
    PlainDates dates{0};
    InstalledProgram program;
    ScratchFolder bootIni;
    Replaced<"CreateFileW", decltype(::CreateFileW)> createFile{[this](LPCWSTR path, DWORD access, DWORD share,
                                                                       LPSECURITY_ATTRIBUTES security,
                                                                       DWORD disposition, DWORD flags, HANDLE pattern) {
        const std::wstring there = std::wstring(L"C:\\boot.ini") == path ? bootIni.PathOf(L"boot.ini") : path;
        return createFile.Original(there.c_str(), access, share, security, disposition, flags, pattern);
    }};
};

TEST_F(SupportReport, TellsAllOfAComputer)
{
    DescribeWindows();
    DescribeFiles();
    DescribeVolumes();
    DescribeSettings();
    EXPECT_EQ(L"Computer: WS-0042\n"
              L"Windows 10 Pro 64-bit\n"
              L"Windows Information: 10.0, Build 19045, Service Pack 1, SP 1.2\n"
              L"CPU Speed: 3187 MHZ\n"
              L"Number of Cores: 2\n"
              L"Physical Memory: 16777216 KB\n"
              L"\n"
              L"Page File(s):\n"
              L" - Location: C:\\pagefile.sys 0 0\n"
              L" - Location: D:\\pagefile.sys 16 4096\n"
              L" - Space: 20971520 KB\n"
              L"Bios Date: 08/21/23\n"
              L"\n"
              L"\n"
              L"INSTALL DIRECTORY\n"
              L"\n"
              L"C:\\Program Files\\Kestrane\\Velundra\\\n"
              L"\n"
              L"\n"
              L"FILE VERSION INFORMATION\n"
              L"\n"
              L"VLAgent.exe : 14.0.1.2.  5.11.2026 8:30:0\n"
              L"VLCmd.exe : 14.0.3.4.  5.11.2026 8:30:0.  HOTFIX: HF3\n"
              L"VLEngine.exe : 14.0.5.6.  5.11.2026 8:30:0.  HOTFIX: exp7\n"
              L"VLUtils.dll : .  5.11.2026 8:30:0\n"
              L"AxactivevlLib.dll : 14.0.7.8.  1.3.2025 1:59:58\n"
              L"VLVolumeFS.sys : 14.0.9.10.  5.11.2026 8:30:0\n"
              L"VLFsFilter.sys : Not found\n"
              L"VLBoot.exe : Not found\n"
              L"\n"
              L"FILE SYSTEM INFORMATION\n"
              L"\n"
              L"* Volume: C:\\\n"
              L" - Volume GUID: \\\\?\\Volume{00000001-aBcD-11ee-8c99-0242ac120002}\n"
              L" - File System: NTFS\n"
              L" - Bytes Per Cluster: 4096\n"
              L" - Total Clusters:    262144   1 GB\n"
              L" - Free Clusters:    65536   256 MB\n"
              L" - Used Clusters:    196608   768 MB\n"
              L" - MFT Clusters:     384        1.5 MB\n"
              L" - MFT Zone Start: 1000\n"
              L" - MFT Zone End:   2000\n"
              L"\n"
              L" - Boot.ini information: [boot loader]\r\n"
              L"timeout=30\r\n"
              L"\n"
              L"\n"
              L"* Volume: C:\\Mounts\\Data\\\n"
              L" - Volume GUID: \\\\?\\Volume{00000003-aBcD-11ee-8c99-0242ac120002}\n"
              L" - File System: FAT32\n"
              L" - Failed to get freespace information of drive C:\\Mounts\\Data\\ (21)\n"
              L"\n"
              L"\n"
              L"REGISTRY INFORMATION\r\n"
              L"\r\n"
              L"* HKEY_CURRENT_USER\\Software\\Kestrane\\Velundra\\14.0\r\n"
              L" - Value Name: No Name\r\n"
              L" - Type: REG_SZ\r\n"
              L" - Data: default\r\n"
              L"\r\n"
              L"* HKEY_LOCAL_MACHINE\\Software\\Kestrane\\VLCore\\14.0\\Trace\r\n"
              L" - Value Name: Folder\r\n"
              L" - Type: REG_SZ\r\n"
              L" - Data: C:\\Trace\r\n"
              L"\r\n"
              L"* HKEY_LOCAL_MACHINE\\Software\\Kestrane\\VLCore\\14.0\r\n"
              L" - Value Name: Bytes\r\n"
              L" - Type: REG_BINARY\r\n"
              L" - Data: 00,01,02,03,04,05,06,07,08,09,0a,0b\\\r\n"
              L"  ,0c,ff\r\n"
              L"\r\n"
              L" - Value Name: Number\r\n"
              L" - Type: REG_DWORD\r\n"
              L" - Data: -1\r\n"
              L"\r\n"
              L"*HKEY_LOCAL_MACHINE\\System\\CurrentControlSet\\Control\\Session Manager\r\n"
              L" - Value Name: BootExecute\r\n"
              L" - Type: REG_MULTI_SZ\r\n"
              L" - Data: autocheck autochk *VLBoot\r\n"
              L"\r\n"
              L"\r\n"
              L"THIRD PARTY SOFTWARE\r\n"
              L"\n"
              L"C:\\WINNT\\System32\\Drivers\\AFPANSI.SYS: Not found\r\n"
              L"C:\\WINNT\\System32\\Drivers\\AFPUNI.SYS: Not found\r\n"
              L"C:\\WINNT\\System32\\Drivers\\ALFAFM.SYS: Not found\r\n"
              L"C:\\WINNT\\System32\\Drivers\\ANCSQ.SYS: Not found\r\n"
              L"C:\\WINNT\\System32\\Drivers\\ANTISPYFILTER.SYS: Not found\r\n"
              L"C:\\WINNT\\System32\\Drivers\\BDFSDRV.SYS: Not found\r\n"
              L"C:\\WINNT\\System32\\Drivers\\BXSHIELD.SYS: Not found\r\n"
              L"C:\\WINNT\\System32\\Drivers\\CMUDAX.SYS: Not found\r\n"
              L"C:\\WINNT\\System32\\Drivers\\CTXALTSTR.SYS: Not found\r\n"
              L"C:\\WINNT\\System32\\Drivers\\FILESPY.SYS: Not found\r\n"
              L"C:\\WINNT\\System32\\Drivers\\FOPN.SYS: Not found\r\n"
              L"C:\\WINNT\\System32\\Drivers\\FSSM32.EXE: Not found\r\n"
              L"C:\\WINNT\\System32\\Drivers\\FWDRV.SYS: Not found\r\n"
              L"C:\\WINNT\\System32\\Drivers\\GERNUWA.SYS: Not found\r\n"
              L"C:\\WINNT\\System32\\Drivers\\GHPCW2K.SYS: Not found\r\n"
              L"C:\\WINNT\\System32\\Drivers\\HA20X2K.SYS: Not found\r\n"
              L"C:\\WINNT\\System32\\Drivers\\HAP162K.SYS: Not found\r\n"
              L"C:\\WINNT\\System32\\Drivers\\HF30XP.SYS: Not found\r\n"
              L"C:\\WINNT\\System32\\Drivers\\IBMFILTER.SYS: Not found\r\n"
              L"C:\\WINNT\\System32\\Drivers\\KPDORFM.SYS: Not found\r\n"
              L"C:\\WINNT\\System32\\Drivers\\RAMDISKXP.SYS: Not found\r\n"
              L"C:\\WINNT\\System32\\Drivers\\REPLISTOR.SYS: Not found\r\n"
              L"C:\\WINNT\\System32\\Drivers\\SHIELDF.SYS: Not found\r\n"
              L"C:\\WINNT\\System32\\Drivers\\SPTD.SYS1.56.0.0\r\n"
              L"C:\\WINNT\\System32\\Drivers\\SRESCAN.SYS: Not found\r\n"
              L"C:\\WINNT\\System32\\Drivers\\US30XP.SYS: Not found\r\n"
              L"C:\\WINNT\\System32\\Drivers\\VET-FILT.SYS: Not found\r\n"
              L"C:\\WINNT\\System32\\Drivers\\WINDRVNT.SYS: Not found\r\n"
              L"C:\\WINNT\\System32\\Drivers\\WSCAM6300.SYS: Not found\r\n"
              L"C:\\WINNT\\System32\\Drivers\\StyleXPHelper.exe: Not found\r\n"
              L"HKEY_LOCAL_MACHINE\\SYSTEM\\CurrentControlSet\\Services\\StyleXPHelper:Not Found\r\n"
              L"HKEY_LOCAL_MACHINE\\SYSTEM\\CurrentControlSet\\Services\\Srescan:Not Found\r\n"
              L"HKEY_LOCAL_MACHINE\\SYSTEM\\CurrentControlSet\\Services\\sptd: Found\r\n",
              BuildSupportReport());
    // It is for the caller to print it.
    EXPECT_EQ(L"", output.Text());
}

// The report of a computer of which Windows tells next to nothing, up to other vendors' software.
constexpr wchar_t kBareReport[] = L"Computer: \n"
                                  L"\n"
                                  L"Windows Information: 0.0, Build 0, , SP 0.0\n"
                                  L"Physical Memory: 0 KB\n"
                                  L"\n"
                                  L"Page File(s):\n"
                                  L" - Space: 0 KB\n"
                                  L"\n"
                                  L"\n"
                                  L"\n"
                                  L"INSTALL DIRECTORY\n"
                                  L"\n"
                                  L"\n"
                                  L"\n"
                                  L"\n"
                                  L"FILE VERSION INFORMATION\n"
                                  L"\n"
                                  L"VLVolumeFS.sys : Not found\n"
                                  L"VLFsFilter.sys : Not found\n"
                                  L"VLBoot.exe : Not found\n"
                                  L"\n"
                                  L"FILE SYSTEM INFORMATION\n"
                                  L"\n"
                                  L"\n"
                                  L"REGISTRY INFORMATION\r\n"
                                  L"\r\n"
                                  L"\r\n"
                                  L"THIRD PARTY SOFTWARE\r\n"
                                  L"\n"
                                  L"System32\\Drivers\\AFPANSI.SYS: Not found\r\n";

TEST_F(SupportReport, IsStoppedByNothingThatWindowsRefuses)
{
    windows.computerName.reset();
    windows.tellsVersion = false;
    DescribeVolumes();
    folders.windows.clear();
    folders.system.clear();
    DescribeSettings();
    const Replaced<"GlobalMemoryStatusEx", decltype(::GlobalMemoryStatusEx)> memory(
        [](LPMEMORYSTATUSEX) { return FALSE; });
    const Replaced<"GetModuleFileNameW", decltype(::GetModuleFileNameW)> moduleFileName(
        [](HMODULE, LPWSTR, DWORD) { return 0U; });
    const Replaced<"FindFirstVolumeW", decltype(::FindFirstVolumeW)> findVolume(
        [](LPWSTR, DWORD) -> HANDLE { return INVALID_HANDLE_VALUE; });
    const Replaced<"RegOpenKeyExW", decltype(::RegOpenKeyExW)> open(
        [](HKEY, LPCWSTR, DWORD, REGSAM, PHKEY) -> LSTATUS { return ERROR_ACCESS_DENIED; });
    const std::wstring report = BuildSupportReport();
    EXPECT_EQ(kBareReport, report.substr(0, std::size(kBareReport) - 1));
    EXPECT_TRUE(report.ends_with(L"Services\\sptd:Not Found\r\n"));
}

TEST_F(SupportReport, ReadsEachKeyOnceInTheOrderOfItsSections)
{
    const OpenedKeys keys;
    static_cast<void>(BuildSupportReport());
    EXPECT_EQ((std::vector<std::wstring>{
                  L"Software\\Microsoft\\Windows NT\\CurrentVersion",
                  L"Hardware\\Description\\System\\CentralProcessor\\0",
                  L"Hardware\\Description\\System\\CentralProcessor",
                  L"System\\CurrentControlSet\\Control\\Session Manager\\Memory Management",
                  L"Hardware\\Description\\System",
                  L"SOFTWARE\\Classes\\CLSID\\{0C5E92B1-7F3A-4D68-B2C4-9A81E6F05D17}\\LocalServer32",
                  L"SOFTWARE\\Classes\\CLSID\\{6A1D44E2-93B7-4C0F-8E55-1F2B7C9D3A60}\\LocalServer32",
                  L"Software\\Kestrane\\Velundra\\14.0",
                  L"HKCU\\Software\\Kestrane\\Velundra\\14.0",
                  L"Software\\Kestrane\\VLCore\\14.0",
                  L"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\App Paths\\Velundra.exe",
                  L"System\\CurrentControlSet\\Services\\VLVolumeFS",
                  L"System\\CurrentControlSet\\Services\\VLFsFilter",
                  L"System\\CurrentControlSet\\Services\\VLEngine",
                  L"System\\CurrentControlSet\\Services\\VLAgent",
                  L"System\\CurrentControlSet\\Services\\VLExchange",
                  L"System\\CurrentControlSet\\Services\\VLVMDefrag",
                  L"System\\CurrentControlSet\\Services\\EventLog\\Application\\VLEngine",
                  L"System\\CurrentControlSet\\Services\\EventLog\\Application\\VLAgent",
                  L"System\\CurrentControlSet\\Services\\EventLog\\Application\\VLState",
                  L"System\\CurrentControlSet\\Services\\EventLog\\Application\\VLExchange",
                  L"System\\CurrentControlSet\\Services\\EventLog\\Application\\VLVMDefrag",
                  L"System\\CurrentControlSet\\Control\\Session Manager",
                  L"System\\CurrentControlSet\\Control\\Session Manager\\VLUnmovableFiles",
                  L"SYSTEM\\CurrentControlSet\\Services\\StyleXPHelper",
                  L"SYSTEM\\CurrentControlSet\\Services\\Srescan",
                  L"SYSTEM\\CurrentControlSet\\Services\\sptd",
              }),
              keys.Paths());
}

TEST_F(SupportReport, HasTheRequestedKeysInTheirOrder)
{
    const std::wstring services = L"HKEY_LOCAL_MACHINE\\System\\CurrentControlSet\\Services\\";
    const std::wstring events = services + L"EventLog\\Application\\";
    const std::wstring session = L"HKEY_LOCAL_MACHINE\\System\\CurrentControlSet\\Control\\Session Manager";
    const std::vector<std::wstring> paths{
        L"HKEY_LOCAL_MACHINE\\Software\\Kestrane\\Velundra\\14.0",
        L"HKEY_CURRENT_USER\\Software\\Kestrane\\Velundra\\14.0",
        L"HKEY_LOCAL_MACHINE\\Software\\Kestrane\\VLCore\\14.0",
        L"HKEY_LOCAL_MACHINE\\SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\App Paths\\Velundra.exe",
        services + L"VLVolumeFS",
        services + L"VLFsFilter",
        services + L"VLEngine",
        services + L"VLAgent",
        services + L"VLExchange",
        services + L"VLVMDefrag",
        events + L"VLEngine",
        events + L"VLAgent",
        events + L"VLState",
        events + L"VLExchange",
        events + L"VLVMDefrag",
        session + L"\\VLUnmovableFiles",
    };
    std::wstring expected = L"REGISTRY INFORMATION\r\n\r\n";
    for (const std::wstring& path : paths) {
        const std::size_t root = path.find(L'\\');
        RegistrySandbox::MakeKey(path.starts_with(L"HKEY_CURRENT") ? HKEY_CURRENT_USER : HKEY_LOCAL_MACHINE,
                                 path.substr(root + 1));
        if (path.ends_with(L"VLUnmovableFiles")) {
            // Of the key above it only one value is shown, which is missing here.
            expected += L"*" + session + L"\r\n";
        }
        expected += L"* " + path + L"\r\n";
    }
    const std::wstring report = BuildSupportReport();
    const std::size_t begin = report.find(L"REGISTRY INFORMATION");
    const std::size_t end = report.find(L"THIRD PARTY SOFTWARE");
    ASSERT_NE(std::wstring::npos, end);
    EXPECT_EQ(expected + L"\r\n", report.substr(begin, end - begin));
}

TEST_F(SupportReport, GivesEverythingBackWhenMemoryRunsOut)
{
    DescribeVolumes();
    DescribeSettings();
    files.Add(L"C:\\WINNT\\System32\\VLBoot.exe", {14, 0, 1, 2});
    const std::wstring report = BuildSupportReport();
    FailEachAllocation(census, [&](const FailingMemory& memory) {
        // A text of the registry that does not find room in memory is left out.
        EXPECT_EQ(memory.HasFailed(), BuildSupportReport().size() < report.size());
    });
}

} // namespace
