#include "support/third_party_section.h"

#include "support/described_files.h"
#include "support/failing_allocations.h"
#include "support/product_test.h"
#include "support/system_folders.h"

#include <string>
#include <vector>

namespace {

using namespace testing_support;

constexpr const wchar_t* kDrivers[] = {
    L"AFPANSI.SYS",   L"AFPUNI.SYS",  L"ALFAFM.SYS",    L"ANCSQ.SYS",     L"ANTISPYFILTER.SYS", L"BDFSDRV.SYS",
    L"BXSHIELD.SYS",  L"CMUDAX.SYS",  L"CTXALTSTR.SYS", L"FILESPY.SYS",   L"FOPN.SYS",          L"FSSM32.EXE",
    L"FWDRV.SYS",     L"GERNUWA.SYS", L"GHPCW2K.SYS",   L"HA20X2K.SYS",   L"HAP162K.SYS",       L"HF30XP.SYS",
    L"IBMFILTER.SYS", L"KPDORFM.SYS", L"RAMDISKXP.SYS", L"REPLISTOR.SYS", L"SHIELDF.SYS",       L"SPTD.SYS",
    L"SRESCAN.SYS",   L"US30XP.SYS",  L"VET-FILT.SYS",  L"WINDRVNT.SYS",  L"WSCAM6300.SYS",     L"StyleXPHelper.exe",
};

constexpr const wchar_t* kServices[] = {L"StyleXPHelper", L"Srescan", L"sptd"};

constexpr wchar_t kServicesKey[] = L"SYSTEM\\CurrentControlSet\\Services\\";

class ThirdPartySoftware : public ProductTest {
protected:
    // The section where everything is missing but the one driver and the one service, of which each may be null.
    static std::wstring Section(const wchar_t* driver = nullptr, const std::wstring& version = {},
                                const wchar_t* service = nullptr, const std::wstring& folder = kFolder)
    {
        std::wstring text = L"THIRD PARTY SOFTWARE\r\n\n";
        for (const wchar_t* const name : kDrivers) {
            text.append(folder).append(name).append(name == driver ? version : L": Not found").append(L"\r\n");
        }
        for (const wchar_t* const name : kServices) {
            text.append(L"HKEY_LOCAL_MACHINE\\").append(kServicesKey).append(name);
            text.append(name == service ? L": Found\r\n" : L":Not Found\r\n");
        }
        return text;
    }

    static constexpr wchar_t kFolder[] = L"C:\\WINNT\\System32\\Drivers\\";

    SystemFolders folders;
    DescribedFiles files;
};

TEST_F(ThirdPartySoftware, IsSaidToBeMissingPieceByPiece)
{
    EXPECT_EQ(Section(), GetThirdPartySection());
    static_assert(std::size(kDrivers) == 30);
}

TEST_F(ThirdPartySoftware, EndsEachLineInCarriageReturnAndLineFeedButTheEmptyOne)
{
    const std::wstring section = GetThirdPartySection();
    EXPECT_TRUE(
        section.starts_with(L"THIRD PARTY SOFTWARE\r\n\nC:\\WINNT\\System32\\Drivers\\AFPANSI.SYS: Not found\r\n"
                            L"C:\\WINNT\\System32\\Drivers\\AFPUNI.SYS: Not found\r\n"));
    EXPECT_TRUE(
        section.ends_with(L"C:\\WINNT\\System32\\Drivers\\StyleXPHelper.exe: Not found\r\n"
                          L"HKEY_LOCAL_MACHINE\\SYSTEM\\CurrentControlSet\\Services\\StyleXPHelper:Not Found\r\n"
                          L"HKEY_LOCAL_MACHINE\\SYSTEM\\CurrentControlSet\\Services\\Srescan:Not Found\r\n"
                          L"HKEY_LOCAL_MACHINE\\SYSTEM\\CurrentControlSet\\Services\\sptd:Not Found\r\n"));
}

TEST_F(ThirdPartySoftware, ShowsTheVersionOfADriverRightBehindItsPath)
{
    for (const wchar_t* const driver : kDrivers) {
        files.files.clear();
        files.Add(std::wstring(kFolder) + driver, {1, 56, 0, 7}, {{L"InternalName", L"HF3"}});
        EXPECT_EQ(Section(driver, L"1.56.0.7"), GetThirdPartySection());
    }
}

TEST_F(ThirdPartySoftware, CountsADriverWithoutVersionAsMissing)
{
    for (const wchar_t* const driver : kDrivers) {
        files.files.clear();
        files.Add(std::wstring(kFolder) + driver);
        EXPECT_EQ(Section(), GetThirdPartySection());
        files.Add(std::wstring(kFolder) + driver, {1, 2, 3, 4}, {{L"InternalName", L"HF3"}}).version.reset();
        EXPECT_EQ(Section(), GetThirdPartySection());
    }
}

TEST_F(ThirdPartySoftware, LooksForTheDriversInTheirOrder)
{
    std::vector<std::wstring> paths;
    for (const wchar_t* const driver : kDrivers) {
        paths.push_back(std::wstring(kFolder) + driver);
    }
    static_cast<void>(GetThirdPartySection());
    EXPECT_EQ(paths, files.asked);
}

TEST_F(ThirdPartySoftware, LooksForTheDriversWhereWindowsIs)
{
    folders.system = L"X:\\Elsewhere";
    folders.windows = L"D:\\";
    EXPECT_EQ(Section(nullptr, {}, nullptr, L"D:\\System32\\Drivers\\"), GetThirdPartySection());
    folders.windows = L"D:\\My Windows\\";
    EXPECT_EQ(Section(nullptr, {}, nullptr, L"D:\\My Windows\\System32\\Drivers\\"), GetThirdPartySection());
}

TEST_F(ThirdPartySoftware, LooksForTheDriversInARelativeFolderWhereWindowsTellsNone)
{
    folders.windows.clear();
    files.Add(L"System32\\Drivers\\SPTD.SYS", {1, 2, 3, 4});
    EXPECT_EQ(Section(kDrivers[23], L"1.2.3.4", nullptr, L"System32\\Drivers\\"), GetThirdPartySection());
}

TEST_F(ThirdPartySoftware, FindsEachServiceByItsKey)
{
    for (const wchar_t* const service : kServices) {
        RegistrySandbox::MakeKey(HKEY_LOCAL_MACHINE, std::wstring(kServicesKey) + service);
        EXPECT_EQ(Section(nullptr, {}, service), GetThirdPartySection());
        EXPECT_EQ(ERROR_SUCCESS, RegDeleteKeyW(HKEY_LOCAL_MACHINE, (std::wstring(kServicesKey) + service).c_str()));
    }
}

TEST_F(ThirdPartySoftware, FindsAllThatIsThere)
{
    std::wstring expected = L"THIRD PARTY SOFTWARE\r\n\n";
    WORD number = 0;
    for (const wchar_t* const driver : kDrivers) {
        files.Add(std::wstring(kFolder) + driver, {++number, 2, 3, 4});
        expected.append(kFolder).append(driver).append(std::to_wstring(number)).append(L".2.3.4\r\n");
    }
    for (const wchar_t* const service : kServices) {
        RegistrySandbox::MakeKey(HKEY_LOCAL_MACHINE, std::wstring(kServicesKey) + service);
        expected.append(L"HKEY_LOCAL_MACHINE\\").append(kServicesKey).append(service).append(L": Found\r\n");
    }
    EXPECT_EQ(expected, GetThirdPartySection());
}

TEST_F(ThirdPartySoftware, CountsAServiceWhoseKeyCannotBeOpenedAsMissing)
{
    for (const wchar_t* const service : kServices) {
        RegistrySandbox::MakeKey(HKEY_LOCAL_MACHINE, std::wstring(kServicesKey) + service);
    }
    const Replaced<"RegOpenKeyExW", decltype(::RegOpenKeyExW)> open(
        [](HKEY, LPCWSTR, DWORD, REGSAM, PHKEY) -> LSTATUS { return ERROR_ACCESS_DENIED; });
    EXPECT_EQ(Section(), GetThirdPartySection());
    EXPECT_EQ(3, open.Calls());
}

TEST_F(ThirdPartySoftware, GivesEverythingBackWhenMemoryRunsOut)
{
    files.Add(std::wstring(kFolder) + kDrivers[0], {1, 2, 3, 4});
    RegistrySandbox::MakeKey(HKEY_LOCAL_MACHINE, std::wstring(kServicesKey) + kServices[0]);
    const std::wstring whole = Section(kDrivers[0], L"1.2.3.4", kServices[0]);
    FailEachAllocation(census, [&](const FailingMemory& memory) {
        EXPECT_EQ(whole, GetThirdPartySection());
        EXPECT_FALSE(memory.HasFailed());
    });
}

} // namespace
