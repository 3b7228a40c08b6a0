#include "policy/ui_group_policy.h"

#include "support/registry.h"
#include "win/system_library.h"

#include <userenv.h>

namespace {

struct PolicyValue {
    Permission permission;
    const wchar_t* name;
};

// Drive status, stopping and boot-time scheduling have no value: the policy template has no switch for them.
constexpr PolicyValue kPolicyValues[] = {
    {Permission::Launch, L"AllowLaunch"},
    {Permission::AdvancedConfiguration, L"AllowAdvanceConfiguration"},
    {Permission::Analyze, L"AllowAnalyze"},
    {Permission::ZeroFreeSpace, L"AllowZeroFreeSpace"},
    {Permission::OnlineDefrag, L"AllowOnlineDefrag"},
    {Permission::OfflineDefrag, L"AllowOfflineDefrag"},
    {Permission::ModifyDriveProperties, L"AllowModifyDriveProps"},
    {Permission::ModifySchedules, L"AllowModifySched"},
    {Permission::RunSchedule, L"AllowRunSchedule"},
    {Permission::CheckUpdate, L"AllowCheckUpdate"},
    {Permission::FreeSpaceStatus, L"AllowFreeSpaceStatus"},
    {Permission::FreeSpaceReclaim, L"AllowFreeSpaceReclaim"},
};
constexpr std::uint32_t kAllowed = 1;

constinit win::SystemLibrary userEnvironment(L"userenv.dll");
constinit win::SystemFunction<decltype(EnterCriticalPolicySection)> enterSection(userEnvironment,
                                                                                 "EnterCriticalPolicySection");
constinit win::SystemFunction<decltype(LeaveCriticalPolicySection)> leaveSection(userEnvironment,
                                                                                 "LeaveCriticalPolicySection");

void LeaveSection(HANDLE section) noexcept
{
    leaveSection(section);
}

// The user's critical policy section: while it is held, group policy is not applied.
using PolicySection = win::Owner<HANDLE, LeaveSection>;

} // namespace

CUiGP::CUiGP() noexcept
{
    SetDefaults();
}

CUiGP::~CUiGP()
{
    StopPolicyMonitor();
}

void CUiGP::SetDefaults() noexcept
{
    for (std::size_t i = 0; i < static_cast<std::size_t>(Permission::Count); ++i) {
        if (const auto permission = static_cast<Permission>(i); permission != Permission::ZeroFreeSpace) {
            SetAllowed(permission, true);
        }
    }
}

void CUiGP::OnMachinePolicyChanged(int /*refresh*/) noexcept {}

void CUiGP::OnUserPolicyChanged(int refresh) noexcept
{
    // The values are read even without the section, though they may be changing.
    const PolicySection section(refresh != 0 ? enterSection(FALSE) : nullptr);
    win::RegistryKey key;
    if (RegOpen(HKEY_CURRENT_USER, kPolicyKey, KEY_QUERY_VALUE, key) != ERROR_SUCCESS) {
        return;
    }
    SetDefaults();
    for (const PolicyValue& value : kPolicyValues) {
        if (const std::optional<std::uint32_t> data = RegFindDword(key.Get(), value.name)) {
            SetAllowed(value.permission, *data == kAllowed);
        }
    }
}
