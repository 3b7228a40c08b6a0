#include "support/system_section.h"

#include "support/described_windows.h"
#include "support/product_test.h"
#include "support/registry_data.h"

#include <string>
#include <utility>
#include <vector>

namespace {

using namespace testing_support;

constexpr wchar_t kWindowsKey[] = L"Software\\Microsoft\\Windows NT\\CurrentVersion";
constexpr wchar_t kHardwareKey[] = L"Hardware\\Description\\System";
constexpr wchar_t kProcessorsKey[] = L"Hardware\\Description\\System\\CentralProcessor";
constexpr wchar_t kFirstProcessorKey[] = L"Hardware\\Description\\System\\CentralProcessor\\0";
constexpr wchar_t kMemoryKey[] = L"System\\CurrentControlSet\\Control\\Session Manager\\Memory Management";

void SetMachineString(const wchar_t* key, const wchar_t* name, const wchar_t* value)
{
    RegistrySandbox::SetString(HKEY_LOCAL_MACHINE, key, name, value);
}

void SetMachineDword(const wchar_t* key, const wchar_t* name, std::uint32_t value)
{
    RegistrySandbox::SetDword(HKEY_LOCAL_MACHINE, key, name, value);
}

class SystemInformation : public ProductTest {
protected:
    SystemInformation()
    {
        windows.SetVersion(6, 2, 9200);
        windows.physicalBytes = std::uint64_t{2048} * 1024;
        windows.commitLimitBytes = std::uint64_t{4096} * 1024;
    }

    // The section's lines from the first to the one that tells the version.
    static std::vector<std::wstring> FirstLines()
    {
        const std::wstring section = GetSystemInformationSection();
        std::vector<std::wstring> lines;
        std::size_t begin = 0;
        while (lines.size() < 3 && begin < section.size()) {
            const std::size_t end = section.find(L'\n', begin);
            lines.push_back(section.substr(begin, end - begin));
            begin = end + 1;
        }
        lines.resize(3);
        return lines;
    }

    static std::wstring ComputerLine() { return FirstLines()[0]; }
    static std::wstring ProductLine() { return FirstLines()[1]; }
    static std::wstring VersionLine() { return FirstLines()[2]; }

    // What follows the version line.
    static std::wstring Hardware()
    {
        const std::wstring section = GetSystemInformationSection();
        const std::size_t version = section.find(L"\nWindows Information: ");
        EXPECT_NE(std::wstring::npos, version);
        return section.substr(section.find(L'\n', version + 1) + 1);
    }

    DescribedWindows windows;
};

TEST_F(SystemInformation, TellsEverythingInItsOrder)
{
    windows.computerName = L"ACCOUNTS7";
    windows.SetServicePack(L"Service Pack 3", 3, 1);
    windows.physicalBytes = 17179869184;
    windows.commitLimitBytes = 19327352832;
    SetMachineDword(kWindowsKey, L"CurrentMajorVersionNumber", 10);
    SetMachineDword(kWindowsKey, L"CurrentMinorVersionNumber", 0);
    SetMachineString(kWindowsKey, L"CurrentVersion", L"6.3");
    SetMachineString(kWindowsKey, L"CurrentBuildNumber", L"19045");
    SetMachineString(kWindowsKey, L"ProductName", L"Windows 10 Pro");
    SetMachineDword(kFirstProcessorKey, L"~MHz", 2400);
    RegistrySandbox::MakeKey(HKEY_LOCAL_MACHINE, std::wstring(kProcessorsKey) + L"\\1");
    RegistrySandbox::SetRaw(HKEY_LOCAL_MACHINE, kMemoryKey, L"PagingFiles", REG_MULTI_SZ,
                            ListBytes({L"C:\\pagefile.sys 1024 4096", L"D:\\pagefile.sys 0 0"}));
    EXPECT_EQ(L"Computer: ACCOUNTS7\n"
              L"Windows 10 Pro 64-bit\n"
              L"Windows Information: 10.0, Build 19045, Service Pack 3, SP 3.1\n"
              L"CPU Speed: 2400 MHZ\n"
              L"Number of Cores: 2\n"
              L"Physical Memory: 16777216 KB\n"
              L"\n"
              L"Page File(s):\n"
              L" - Location: C:\\pagefile.sys 1024 4096\n"
              L" - Location: D:\\pagefile.sys 0 0\n"
              L" - Space: 18874368 KB\n",
              GetSystemInformationSection());
}

TEST_F(SystemInformation, GetsByWithAnEmptyRegistry)
{
    EXPECT_EQ(L"Computer: ACCOUNTS7\n"
              L"\n"
              L"Windows Information: 6.2, Build 9200, , SP 0.0\n"
              L"Physical Memory: 2048 KB\n"
              L"\n"
              L"Page File(s):\n"
              L" - Space: 4096 KB\n",
              GetSystemInformationSection());
}

// --- The computer's name ---

TEST_F(SystemInformation, NamesTheComputer)
{
    windows.computerName = L"ABCDEFGHIJKLMNO";
    EXPECT_EQ(L"Computer: ABCDEFGHIJKLMNO", ComputerLine());
}

TEST_F(SystemInformation, HasAnEmptyNameWhereWindowsTellsNone)
{
    windows.computerName.reset();
    EXPECT_EQ(L"Computer: ", ComputerLine());
}

// --- Where the version comes from ---

TEST_F(SystemInformation, BelievesTheRegistrysNumbersMoreThanWindows)
{
    SetMachineDword(kWindowsKey, L"CurrentMajorVersionNumber", 10);
    SetMachineDword(kWindowsKey, L"CurrentMinorVersionNumber", 0);
    EXPECT_EQ(L"Windows Information: 10.0, Build 9200, , SP 0.0", VersionLine());
}

TEST_F(SystemInformation, PrefersTheNumbersToTheText)
{
    SetMachineDword(kWindowsKey, L"CurrentMajorVersionNumber", 11);
    SetMachineDword(kWindowsKey, L"CurrentMinorVersionNumber", 4);
    SetMachineString(kWindowsKey, L"CurrentVersion", L"6.3");
    EXPECT_EQ(L"Windows Information: 11.4, Build 9200, , SP 0.0", VersionLine());
}

TEST_F(SystemInformation, TakesTheTextWithoutTheMajorNumber)
{
    SetMachineDword(kWindowsKey, L"CurrentMinorVersionNumber", 4);
    SetMachineString(kWindowsKey, L"CurrentVersion", L"6.1");
    EXPECT_EQ(L"Windows Information: 6.1, Build 9200, , SP 0.0", VersionLine());
}

TEST_F(SystemInformation, TakesTheTextWithoutTheMinorNumber)
{
    SetMachineDword(kWindowsKey, L"CurrentMajorVersionNumber", 11);
    SetMachineString(kWindowsKey, L"CurrentVersion", L"6.1");
    EXPECT_EQ(L"Windows Information: 6.1, Build 9200, , SP 0.0", VersionLine());
}

TEST_F(SystemInformation, TakesTheTextForANumberOfAnotherType)
{
    SetMachineDword(kWindowsKey, L"CurrentMajorVersionNumber", 11);
    SetMachineString(kWindowsKey, L"CurrentMinorVersionNumber", L"0");
    SetMachineString(kWindowsKey, L"CurrentVersion", L"6.1");
    EXPECT_EQ(L"Windows Information: 6.1, Build 9200, , SP 0.0", VersionLine());
}

TEST_F(SystemInformation, TakesNoNumberAloneWithoutTheText)
{
    SetMachineDword(kWindowsKey, L"CurrentMajorVersionNumber", 11);
    EXPECT_EQ(L"Windows Information: 6.2, Build 9200, , SP 0.0", VersionLine());
}

TEST_F(SystemInformation, KeepsWindowsNumbersWithoutOthers)
{
    SetMachineDword(kWindowsKey, L"CurrentVersion", 7); // no text
    EXPECT_EQ(L"Windows Information: 6.2, Build 9200, , SP 0.0", VersionLine());
}

TEST_F(SystemInformation, ReadsTheTextUpToItsPointAndBehindIt)
{
    const std::pair<const wchar_t*, const wchar_t*> versions[] = {
        {L"6.1", L"6.1"},
        {L"5.0", L"5.0"},
        {L"10.21", L"10.21"},
        {L"6.3.9600", L"6.3"},
        {L"7.x", L"7.0"},
        {L"x.1", L"0.1"},
        {L"\uFF16.3", L"0.3"},
        {L"4294967302.1", L"2147483647.1"},
        // Without a point only the major number changes.
        {L"7", L"7.2"},
        {L"x", L"0.2"},
        {L"", L"0.2"},
    };
    for (const auto& [text, expected] : versions) {
        SetMachineString(kWindowsKey, L"CurrentVersion", text);
        EXPECT_EQ(L"Windows Information: " + std::wstring(expected) + L", Build 9200, , SP 0.0", VersionLine());
    }
}

TEST_F(SystemInformation, TakesTheBuildFromTheRegistry)
{
    SetMachineString(kWindowsKey, L"CurrentBuildNumber", L"22631");
    EXPECT_EQ(L"Windows Information: 6.2, Build 22631, , SP 0.0", VersionLine());
}

TEST_F(SystemInformation, KeepsWindowsBuildWhereTheRegistryHasNoText)
{
    SetMachineDword(kWindowsKey, L"CurrentBuildNumber", 22631);
    EXPECT_EQ(L"Windows Information: 6.2, Build 9200, , SP 0.0", VersionLine());
}

TEST_F(SystemInformation, KeepsAllOfWindowsFactsWhereTheKeyCannotBeRead)
{
    SetMachineString(kWindowsKey, L"CurrentVersion", L"6.3");
    SetMachineString(kWindowsKey, L"CurrentBuildNumber", L"22631");
    SetMachineString(kWindowsKey, L"ProductName", L"Windows 10 Pro");
    windows.SetVersion(6, 1, 7601);
    const Replaced<"RegOpenKeyExW", decltype(::RegOpenKeyExW)> open(
        [](HKEY, LPCWSTR, DWORD, REGSAM, PHKEY) -> LSTATUS { return ERROR_ACCESS_DENIED; });
    EXPECT_EQ(L"Windows 7 64-bit", ProductLine());
    EXPECT_EQ(L"Windows Information: 6.1, Build 7601, , SP 0.0", VersionLine());
}

TEST_F(SystemInformation, TakesTheServicePackFromWindowsAlone)
{
    windows.SetServicePack(L"Service Pack 1", 1, 12);
    SetMachineString(kWindowsKey, L"CSDVersion", L"Service Pack 9");
    EXPECT_EQ(L"Windows Information: 6.2, Build 9200, Service Pack 1, SP 1.12", VersionLine());
}

TEST_F(SystemInformation, IsAllZerosForAWindowsThatTellsNoVersion)
{
    windows.tellsVersion = false;
    EXPECT_EQ(L"", ProductLine());
    EXPECT_EQ(L"Windows Information: 0.0, Build 0, , SP 0.0", VersionLine());
}

// --- The product's name and the edition ---

TEST_F(SystemInformation, NamesTheProductWithItsBitness)
{
    windows.SetVersion(6, 1, 7601);
    SetMachineString(kWindowsKey, L"ProductName", L"Windows Server 2022 Standard");
    EXPECT_EQ(L"Windows Server 2022 Standard 64-bit", ProductLine());
}

TEST_F(SystemInformation, NamesTheEditionInsteadOfAnEmptyName)
{
    SetMachineString(kWindowsKey, L"ProductName", L"");
    windows.SetVersion(6, 1, 7601);
    EXPECT_EQ(L"Windows 7 64-bit", ProductLine());
    windows.SetVersion(6, 2, 9200);
    EXPECT_EQ(L"", ProductLine());
}

TEST_F(SystemInformation, NamesTheEditionInsteadOfANameThatIsNoText)
{
    SetMachineDword(kWindowsKey, L"ProductName", 7);
    windows.SetVersion(6, 1, 7601);
    EXPECT_EQ(L"Windows 7 64-bit", ProductLine());
}

TEST_F(SystemInformation, NamesTheEditionOfWindowsVersionNotOfTheRegistrys)
{
    SetMachineString(kWindowsKey, L"CurrentVersion", L"6.3");
    windows.SetVersion(6, 0, 6002, VER_NT_SERVER);
    EXPECT_EQ(L"Windows Server 2008 64-bit", ProductLine());
    EXPECT_EQ(L"Windows Information: 6.3, Build 6002, , SP 0.0", VersionLine());
}

constexpr WORD kHomeServer = 0x8000;

struct EditionCase {
    DWORD major;
    DWORD minor;
    BYTE productType;
    WORD suite;
    const wchar_t* name; // without the bitness; empty for none
};

constexpr EditionCase kEditionCases[] = {
    // The suite comes before every version.
    {5, 2, VER_NT_SERVER, kHomeServer, L"Windows Home Server"},
    {6, 1, VER_NT_WORKSTATION, kHomeServer | VER_SUITE_PERSONAL, L"Windows Home Server"},
    {6, 2, VER_NT_SERVER, kHomeServer, L"Windows Home Server"},
    {6, 1, VER_NT_SERVER, static_cast<WORD>(~kHomeServer), L"Windows Server 2008 R2"},
    // Servers.
    {5, 2, VER_NT_SERVER, 0, L"Windows Server 2003"},
    {5, 2, VER_NT_DOMAIN_CONTROLLER, 0, L"Windows Server 2003"},
    {6, 0, VER_NT_SERVER, 0, L"Windows Server 2008"},
    {6, 0, VER_NT_DOMAIN_CONTROLLER, 0, L"Windows Server 2008"},
    {6, 1, VER_NT_SERVER, 0, L"Windows Server 2008 R2"},
    {6, 1, VER_NT_DOMAIN_CONTROLLER, 0, L"Windows Server 2008 R2"},
    // Any product type.
    {5, 0, VER_NT_WORKSTATION, 0, L"Windows 2000"},
    {5, 0, VER_NT_SERVER, 0, L"Windows 2000"},
    // Workstations.
    {5, 1, VER_NT_WORKSTATION, 0, L"Windows XP"},
    {5, 2, VER_NT_WORKSTATION, 0, L"Windows XP"},
    {6, 0, VER_NT_WORKSTATION, 0, L"Windows Vista"},
    {6, 1, VER_NT_WORKSTATION, 0, L"Windows 7"},
    // None.
    {5, 1, VER_NT_SERVER, 0, L""},
    {6, 2, VER_NT_WORKSTATION, 0, L""},
    {6, 2, VER_NT_SERVER, 0, L""},
    {6, 3, VER_NT_WORKSTATION, 0, L""},
    {10, 0, VER_NT_WORKSTATION, 0, L""},
    {10, 0, VER_NT_SERVER, 0, L""},
    {4, 0, VER_NT_WORKSTATION, 0, L""},
    {5, 3, VER_NT_SERVER, 0, L""},
    {7, 1, VER_NT_WORKSTATION, 0, L""},
};

TEST(WindowsEdition, IsNamedByTheFirstRuleThatHolds)
{
    for (const EditionCase& edition : kEditionCases) {
        WindowsRecord windows{};
        windows.version.dwMajorVersion = edition.major;
        windows.version.dwMinorVersion = edition.minor;
        windows.version.wProductType = edition.productType;
        windows.version.wSuiteMask = edition.suite;
        SCOPED_TRACE(std::to_string(edition.major) + "." + std::to_string(edition.minor) + " type " +
                     std::to_string(edition.productType) + " suite " + std::to_string(edition.suite));
        const std::wstring name = edition.name;
        windows.is64Bit = true;
        EXPECT_EQ(name.empty() ? name : name + L" 64-bit", GetWindowsEditionName(windows));
        windows.is64Bit = false;
        EXPECT_EQ(name.empty() ? name : name + L" 32-bit", GetWindowsEditionName(windows));
    }
}

// --- A 32-bit program on a 64-bit Windows ---

// Stands in for IsWow64Process as GetProcAddress finds it.
class Wow64 : public SystemInformation {
protected:
    using IsWow64 = BOOL(WINAPI*)(HANDLE, PBOOL);

    static BOOL WINAPI Confirms(HANDLE process, PBOOL answer)
    {
        EXPECT_EQ(GetCurrentProcess(), process);
        *answer = TRUE;
        return TRUE;
    }
    static BOOL WINAPI Denies(HANDLE /*process*/, PBOOL answer)
    {
        *answer = FALSE;
        return TRUE;
    }
    static BOOL WINAPI Fails(HANDLE /*process*/, PBOOL answer)
    {
        *answer = TRUE;
        return FALSE;
    }

    // What the question answers when this is IsWow64Process; null where kernel32 has none.
    template <typename Question>
    auto AskedWith(IsWow64 function, Question question)
    {
        const Replaced<"GetProcAddress", decltype(::GetProcAddress)> getProcAddress(
            [&](HMODULE module, LPCSTR name) -> FARPROC {
                if (std::string("IsWow64Process") != name) {
                    return getProcAddress.Original(module, name);
                }
                EXPECT_EQ(GetModuleHandleW(L"kernel32"), module);
                ++lookUps;
                return reinterpret_cast<FARPROC>(reinterpret_cast<void*>(function));
            });
        return question();
    }

    bool IsRunningWith(IsWow64 function)
    {
        lookUps = 0;
        const bool isRunning = AskedWith(function, IsRunningUnderWow64);
        EXPECT_EQ(1, lookUps);
        return isRunning;
    }

    int lookUps = 0; // of IsWow64Process
};

TEST_F(Wow64, IsWhatWindowsSays)
{
    EXPECT_TRUE(IsRunningWith(Confirms));
    EXPECT_FALSE(IsRunningWith(Denies));
}

TEST_F(Wow64, IsNotWhereWindowsCannotSay)
{
    EXPECT_FALSE(IsRunningWith(Fails));
    EXPECT_FALSE(IsRunningWith(nullptr));
}

TEST_F(Wow64, IsNotWithoutKernel32)
{
    const Replaced<"GetModuleHandleW", decltype(::GetModuleHandleW)> getModule(
        [](LPCWSTR) -> HMODULE { return nullptr; });
    EXPECT_FALSE(IsRunningUnderWow64());
}

TEST_F(Wow64, DecidesInA32BitBuildAlone)
{
    constexpr bool kIs64BitBuild = sizeof(void*) == sizeof(std::uint64_t);
    SetMachineString(kWindowsKey, L"ProductName", L"Windows 10 Pro");
    EXPECT_EQ(L"Windows 10 Pro 64-bit", AskedWith(Confirms, ProductLine));
    for (const IsWow64 function : {Denies, Fails, static_cast<IsWow64>(nullptr)}) {
        EXPECT_EQ(kIs64BitBuild ? L"Windows 10 Pro 64-bit" : L"Windows 10 Pro 32-bit",
                  AskedWith(function, ProductLine));
    }
    EXPECT_EQ(kIs64BitBuild ? 0 : 4, lookUps);
}

// --- Processors ---

TEST_F(SystemInformation, TellsTheFirstProcessorsSpeedAndCountsThemAll)
{
    SetMachineDword(kFirstProcessorKey, L"~MHz", 3000000000);
    for (int i = 1; i < 12; ++i) {
        SetMachineDword((std::wstring(kProcessorsKey) + L"\\" + std::to_wstring(i)).c_str(), L"~MHz", 1);
    }
    EXPECT_EQ(L"CPU Speed: 3000000000 MHZ\n"
              L"Number of Cores: 12\n"
              L"Physical Memory: 2048 KB\n\nPage File(s):\n - Space: 4096 KB\n",
              Hardware());
}

TEST_F(SystemInformation, TellsNoSpeedWithoutTheFirstProcessor)
{
    SetMachineDword((std::wstring(kProcessorsKey) + L"\\1").c_str(), L"~MHz", 2400);
    EXPECT_EQ(L"Number of Cores: 1\nPhysical Memory: 2048 KB\n\nPage File(s):\n - Space: 4096 KB\n", Hardware());
}

TEST_F(SystemInformation, TellsNoSpeedWithoutItsNumber)
{
    SetMachineString(kFirstProcessorKey, L"~MHz", L"2400");
    EXPECT_EQ(L"Number of Cores: 1\nPhysical Memory: 2048 KB\n\nPage File(s):\n - Space: 4096 KB\n", Hardware());
}

TEST_F(SystemInformation, CountsNoProcessorsInAnEmptyKey)
{
    RegistrySandbox::MakeKey(HKEY_LOCAL_MACHINE, kProcessorsKey);
    EXPECT_EQ(L"Number of Cores: 0\nPhysical Memory: 2048 KB\n\nPage File(s):\n - Space: 4096 KB\n", Hardware());
}

TEST_F(SystemInformation, TellsTheSpeedWithoutTheCount)
{
    SetMachineDword(kFirstProcessorKey, L"~MHz", 2400);
    const Replaced<"RegOpenKeyExW", decltype(::RegOpenKeyExW)> open(
        [&](HKEY root, LPCWSTR path, DWORD options, REGSAM access, PHKEY key) -> LSTATUS {
            return std::wstring(kProcessorsKey) == path ? ERROR_ACCESS_DENIED
                                                        : open.Original(root, path, options, access, key);
        });
    EXPECT_EQ(L"CPU Speed: 2400 MHZ\nPhysical Memory: 2048 KB\n\nPage File(s):\n - Space: 4096 KB\n", Hardware());
}

// --- Memory ---

TEST_F(SystemInformation, TellsMemoryInWholeKilobytes)
{
    windows.physicalBytes = 2047;
    windows.commitLimitBytes = 1023;
    EXPECT_EQ(L"Physical Memory: 1 KB\n\nPage File(s):\n - Space: 0 KB\n", Hardware());
}

TEST_F(SystemInformation, TellsMemoryOfAnySize)
{
    windows.physicalBytes = 4398046512127; // 4 TB and 1,023 bytes
    windows.commitLimitBytes = 0xFFFFFFFFFFFFFFFF;
    EXPECT_EQ(L"Physical Memory: 4294967296 KB\n\nPage File(s):\n - Space: 18014398509481983 KB\n", Hardware());
}

// --- Page files ---

class PageFiles : public SystemInformation {
protected:
    // The lines from "Page File(s):" on.
    static std::wstring Lines(DWORD type, const std::vector<BYTE>& data)
    {
        RegistrySandbox::SetRaw(HKEY_LOCAL_MACHINE, kMemoryKey, L"PagingFiles", type, data);
        const std::wstring hardware = Hardware();
        return hardware.substr(hardware.find(L"Page File(s):"));
    }
};

TEST_F(PageFiles, AreShownAsTheyAreStored)
{
    EXPECT_EQ(L"Page File(s):\n - Location: ?:\\pagefile.sys\n - Space: 4096 KB\n",
              Lines(REG_MULTI_SZ, ListBytes({L"?:\\pagefile.sys"})));
    EXPECT_EQ(L"Page File(s):\n"
              L" - Location: E:\\b.sys 16 32\n - Location: %SystemDrive%\\a.sys  1 2 \n - Location: C:\\c.sys\n"
              L" - Space: 4096 KB\n",
              Lines(REG_MULTI_SZ, ListBytes({L"E:\\b.sys 16 32", L"%SystemDrive%\\a.sys  1 2 ", L"C:\\c.sys"})));
}

TEST_F(PageFiles, MayBeNone)
{
    EXPECT_EQ(L"Page File(s):\n - Space: 4096 KB\n", Lines(REG_MULTI_SZ, ListBytes({})));
    EXPECT_EQ(L"Page File(s):\n - Space: 4096 KB\n", Lines(REG_MULTI_SZ, {}));
}

TEST_F(PageFiles, AreNoneWhereTheyAreNotAList)
{
    EXPECT_EQ(L"Page File(s):\n - Space: 4096 KB\n", Lines(REG_SZ, BytesOf({L"C:\\pagefile.sys\0", 16})));
}

// --- The BIOS date ---

class BiosDate : public ProductTest {};

TEST_F(BiosDate, IsShownAsItIsStored)
{
    SetMachineString(kHardwareKey, L"SystemBiosDate", L"07/02/15");
    EXPECT_EQ(L"Bios Date: 07/02/15\n", GetBiosDateSection());
}

TEST_F(BiosDate, MayBeEmpty)
{
    SetMachineString(kHardwareKey, L"SystemBiosDate", L"");
    EXPECT_EQ(L"Bios Date: \n", GetBiosDateSection());
}

TEST_F(BiosDate, IsAnEmptyLineWhereItIsMissing)
{
    EXPECT_EQ(L"\n", GetBiosDateSection());
    RegistrySandbox::MakeKey(HKEY_LOCAL_MACHINE, kHardwareKey);
    EXPECT_EQ(L"\n", GetBiosDateSection());
}

TEST_F(BiosDate, IsAnEmptyLineWhereItIsNoText)
{
    SetMachineDword(kHardwareKey, L"SystemBiosDate", 7);
    EXPECT_EQ(L"\n", GetBiosDateSection());
}

} // namespace
