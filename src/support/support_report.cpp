#include "support/support_report.h"

#include "support/file_system_section.h"
#include "support/file_versions.h"
#include "support/registry_section.h"
#include "support/system_section.h"
#include "support/third_party_section.h"

namespace {

// Between the registry and other vendors' software.
std::wstring GetSeparator()
{
    return L"\r\n";
}

constexpr std::wstring (*kSections[])() = {
    GetSystemInformationSection, GetBiosDateSection, GetFileVersionSection, GetFileSystemSection,
    GetRegistrySection,          GetSeparator,       GetThirdPartySection,
};

} // namespace

std::wstring BuildSupportReport()
{
    std::wstring report;
    for (const auto section : kSections) {
        report += section();
    }
    return report;
}
