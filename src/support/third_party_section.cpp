#include "support/third_party_section.h"

#include "support/file_versions.h"
#include "support/registry.h"
#include "support/registry_section.h"
#include "win/system.h"

namespace {

constexpr DWORD kWindowsFolderCharacters = 512;

constexpr const wchar_t* kDrivers[] = {
    L"AFPANSI.SYS",   L"AFPUNI.SYS",  L"ALFAFM.SYS",    L"ANCSQ.SYS",     L"ANTISPYFILTER.SYS", L"BDFSDRV.SYS",
    L"BXSHIELD.SYS",  L"CMUDAX.SYS",  L"CTXALTSTR.SYS", L"FILESPY.SYS",   L"FOPN.SYS",          L"FSSM32.EXE",
    L"FWDRV.SYS",     L"GERNUWA.SYS", L"GHPCW2K.SYS",   L"HA20X2K.SYS",   L"HAP162K.SYS",       L"HF30XP.SYS",
    L"IBMFILTER.SYS", L"KPDORFM.SYS", L"RAMDISKXP.SYS", L"REPLISTOR.SYS", L"SHIELDF.SYS",       L"SPTD.SYS",
    L"SRESCAN.SYS",   L"US30XP.SYS",  L"VET-FILT.SYS",  L"WINDRVNT.SYS",  L"WSCAM6300.SYS",     L"StyleXPHelper.exe",
};

constexpr const wchar_t* kServices[] = {
    L"HKEY_LOCAL_MACHINE\\SYSTEM\\CurrentControlSet\\Services\\StyleXPHelper",
    L"HKEY_LOCAL_MACHINE\\SYSTEM\\CurrentControlSet\\Services\\Srescan",
    L"HKEY_LOCAL_MACHINE\\SYSTEM\\CurrentControlSet\\Services\\sptd",
};

std::wstring WindowsFolder()
{
    wchar_t folder[kWindowsFolderCharacters] = {};
    GetWindowsDirectoryW(folder, kWindowsFolderCharacters);
    return folder;
}

bool IsKey(const wchar_t* path)
{
    const RegistryPath split = SplitRegistryPath(path);
    win::RegistryKey key;
    return RegOpen(split.root, split.subkey.c_str(), KEY_READ, key) == ERROR_SUCCESS;
}

} // namespace

std::wstring GetThirdPartySection()
{
    std::wstring text = L"THIRD PARTY SOFTWARE\r\n\n";
    const std::wstring folder = win::JoinPath(WindowsFolder(), L"System32\\Drivers");
    for (const wchar_t* const driver : kDrivers) {
        const std::wstring path = win::JoinPath(folder, driver);
        const std::wstring version = GetFileVersionText(path);
        text.append(path).append(version.empty() ? L": Not found" : version).append(L"\r\n");
    }
    for (const wchar_t* const service : kServices) {
        text.append(service).append(IsKey(service) ? L": Found" : L":Not Found").append(L"\r\n");
    }
    return text;
}
