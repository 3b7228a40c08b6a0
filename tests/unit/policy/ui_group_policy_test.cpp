#include "policy/ui_group_policy.h"

#include "noted_steps.h"
#include "support/group_policy.h"
#include "support/product_test.h"

#include <algorithm>
#include <iterator>
#include <optional>
#include <string>
#include <vector>

namespace {

using namespace testing_support;
using namespace testing_support::policies;

constexpr Permission kPermissions[] = {
    Permission::Launch,
    Permission::AdvancedConfiguration,
    Permission::Status,
    Permission::Analyze,
    Permission::ZeroFreeSpace,
    Permission::OnlineDefrag,
    Permission::OfflineDefrag,
    Permission::Stop,
    Permission::ModifyDriveProperties,
    Permission::ModifySchedules,
    Permission::Reserved1,
    Permission::Reserved2,
    Permission::BootTimeSchedule,
    Permission::RunSchedule,
    Permission::CheckUpdate,
    Permission::FreeSpaceStatus,
    Permission::FreeSpaceReclaim,
};

struct PolicyValue {
    const wchar_t* name;
    Permission permission;
};

// In the order of the permissions.
constexpr PolicyValue kPolicyValues[] = {
    {L"AllowLaunch", Permission::Launch},
    {L"AllowAdvanceConfiguration", Permission::AdvancedConfiguration},
    {L"AllowAnalyze", Permission::Analyze},
    {L"AllowZeroFreeSpace", Permission::ZeroFreeSpace},
    {L"AllowOnlineDefrag", Permission::OnlineDefrag},
    {L"AllowOfflineDefrag", Permission::OfflineDefrag},
    {L"AllowModifyDriveProps", Permission::ModifyDriveProperties},
    {L"AllowModifySched", Permission::ModifySchedules},
    {L"AllowRunSchedule", Permission::RunSchedule},
    {L"AllowCheckUpdate", Permission::CheckUpdate},
    {L"AllowFreeSpaceStatus", Permission::FreeSpaceStatus},
    {L"AllowFreeSpaceReclaim", Permission::FreeSpaceReclaim},
};

// The permissions that no value tells.
constexpr Permission kWithoutValue[] = {Permission::Status, Permission::Stop, Permission::Reserved1,
                                        Permission::Reserved2, Permission::BootTimeSchedule};

class UserPolicy : public ProductTest {
protected:
    static void SetValue(const wchar_t* name, std::uint32_t value)
    {
        RegistrySandbox::SetDword(HKEY_CURRENT_USER, kUserPolicyKey, name, value);
    }

    static void MakePolicyKey() { RegistrySandbox::MakeKey(HKEY_CURRENT_USER, kUserPolicyKey); }

    void GrantAll(bool granted)
    {
        for (const Permission permission : kPermissions) {
            Grant(policy, permission, granted);
        }
    }

    [[nodiscard]] std::vector<Permission> Refused() const
    {
        std::vector<Permission> refused;
        std::copy_if(std::begin(kPermissions), std::end(kPermissions), std::back_inserter(refused),
                     [this](Permission permission) { return !IsGranted(policy, permission); });
        return refused;
    }

    CUiGP policy;
};

using Permissions = std::vector<Permission>;

TEST_F(UserPolicy, GrantsEverythingFromTheStart)
{
    // Zeroing free space is open until its value has been read.
    Grant(policy, Permission::ZeroFreeSpace, true);
    EXPECT_EQ(Permissions{}, Refused());
}

TEST_F(UserPolicy, IsBuiltWithoutTheRegistryAndWithoutTheMonitor)
{
    const Replaced<"RegOpenKeyExW", decltype(::RegOpenKeyExW)> open([](auto...) { return ERROR_ACCESS_DENIED; });
    const Replaced<"CreateEventW", decltype(::CreateEventW)> createEvent([](auto...) { return nullptr; });
    const CUiGP another;
    EXPECT_TRUE(another.IsLaunchAllowed());
    EXPECT_EQ(0, open.Calls());
    EXPECT_EQ(0, createEvent.Calls());
}

TEST_F(UserPolicy, HasDefaultsThatGrantAllAndLeaveZeroingFreeSpaceAsItIs)
{
    GrantAll(false);
    policy.SetDefaults();
    EXPECT_EQ((Permissions{Permission::ZeroFreeSpace}), Refused());
    GrantAll(true);
    policy.SetDefaults();
    EXPECT_EQ(Permissions{}, Refused());
}

TEST_F(UserPolicy, StaysAsItIsWhereThereIsNoKey)
{
    GrantAll(false);
    policy.OnUserPolicyChanged(0);
    EXPECT_EQ((Permissions(std::begin(kPermissions), std::end(kPermissions))), Refused());
    GrantAll(true);
    policy.OnUserPolicyChanged(0);
    EXPECT_EQ(Permissions{}, Refused());
}

TEST_F(UserPolicy, StaysAsItIsWhenTheKeyCannotBeOpened)
{
    for (const PolicyValue& value : kPolicyValues) {
        SetValue(value.name, 1);
    }
    const Replaced<"RegOpenKeyExW", decltype(::RegOpenKeyExW)> open([](auto...) { return ERROR_ACCESS_DENIED; });
    GrantAll(false);
    policy.OnUserPolicyChanged(1);
    EXPECT_EQ((Permissions(std::begin(kPermissions), std::end(kPermissions))), Refused());
    EXPECT_EQ(1, open.Calls());
}

TEST_F(UserPolicy, StartsFromTheDefaultsWhereTheKeyIsEmpty)
{
    MakePolicyKey();
    GrantAll(false);
    policy.OnUserPolicyChanged(0);
    EXPECT_EQ((Permissions{Permission::ZeroFreeSpace}), Refused());
}

TEST_F(UserPolicy, IsReadFromTheUsersKeyWithTheRightToQueryValuesOnly)
{
    MakePolicyKey();
    std::vector<std::wstring> opened;
    const Replaced<"RegOpenKeyExW", decltype(::RegOpenKeyExW)> open(
        [&](HKEY root, LPCWSTR path, DWORD options, REGSAM access, PHKEY key) {
            opened.push_back((root == HKEY_CURRENT_USER ? L"HKCU " : L"other root ") + std::wstring(path) + L" " +
                             std::to_wstring(access));
            return open.Original(root, path, options, access, key);
        });
    policy.OnUserPolicyChanged(0);
    EXPECT_EQ((std::vector<std::wstring>{L"HKCU Software\\Policies\\Kestrane\\Velundra\\14.0 1"}), opened);
    EXPECT_EQ("", census.Imbalance());
}

TEST_F(UserPolicy, PaysNoHeedToTheMachinesKey)
{
    MakePolicyKey();
    for (const PolicyValue& value : kPolicyValues) {
        RegistrySandbox::SetDword(HKEY_LOCAL_MACHINE, kUserPolicyKey, value.name, 0);
    }
    GrantAll(true);
    policy.OnUserPolicyChanged(0);
    EXPECT_EQ(Permissions{}, Refused());
}

TEST_F(UserPolicy, IsReadValueByValueInTheOrderOfThePermissions)
{
    MakePolicyKey();
    std::vector<std::wstring> asked;
    const Replaced<"RegQueryValueExW", decltype(::RegQueryValueExW)> query(
        [&](HKEY key, LPCWSTR name, LPDWORD reserved, LPDWORD type, LPBYTE data, LPDWORD size) {
            asked.emplace_back(name);
            return query.Original(key, name, reserved, type, data, size);
        });
    policy.OnUserPolicyChanged(0);
    EXPECT_EQ((std::vector<std::wstring>{L"AllowLaunch", L"AllowAdvanceConfiguration", L"AllowAnalyze",
                                         L"AllowZeroFreeSpace", L"AllowOnlineDefrag", L"AllowOfflineDefrag",
                                         L"AllowModifyDriveProps", L"AllowModifySched", L"AllowRunSchedule",
                                         L"AllowCheckUpdate", L"AllowFreeSpaceStatus", L"AllowFreeSpaceReclaim"}),
              asked);
}

TEST_F(UserPolicy, AlwaysGrantsWhatHasNoValue)
{
    for (const PolicyValue& value : kPolicyValues) {
        SetValue(value.name, 0);
    }
    // Names that one might expect.
    for (const wchar_t* const name : {L"AllowStatus", L"AllowDriveStatus", L"AllowStop", L"AllowBootTimeSchedule",
                                      L"AllowBootTimeDefrag", L"AllowSchedule"}) {
        SetValue(name, 0);
    }
    GrantAll(false);
    policy.OnUserPolicyChanged(0);
    for (const Permission permission : kWithoutValue) {
        EXPECT_TRUE(IsGranted(policy, permission)) << static_cast<int>(permission);
    }
    EXPECT_EQ(std::size(kPolicyValues), Refused().size());
}

TEST_F(UserPolicy, TakesNoPartInChangesOfTheMachinesPolicy)
{
    for (const PolicyValue& value : kPolicyValues) {
        SetValue(value.name, 0);
    }
    const Replaced<"RegOpenKeyExW", decltype(::RegOpenKeyExW)> open([](auto...) { return ERROR_ACCESS_DENIED; });
    const Replaced<"EnterCriticalPolicySection", decltype(::EnterCriticalPolicySection)> enter(
        [](BOOL) -> HANDLE { return nullptr; });
    GrantAll(true);
    policy.OnMachinePolicyChanged(1);
    policy.OnMachinePolicyChanged(0);
    EXPECT_EQ(Permissions{}, Refused());
    EXPECT_EQ(0, open.Calls());
    EXPECT_EQ(0, enter.Calls());
}

// What may stand in the registry for a value, and what it means.
struct PolicyData {
    const char* what;
    std::optional<DWORD> type; // none where the value is missing
    std::vector<BYTE> data;
    bool isGranted;
};

class UserPolicyValue : public UserPolicy, public ::testing::WithParamInterface<PolicyValue> {
protected:
    const PolicyData cases[13] = {
        {"1", REG_DWORD, {1, 0, 0, 0}, true},
        {"0", REG_DWORD, {0, 0, 0, 0}, false},
        {"2", REG_DWORD, {2, 0, 0, 0}, false},
        {"257", REG_DWORD, {1, 1, 0, 0}, false},
        {"0xFFFFFFFF", REG_DWORD, {0xFF, 0xFF, 0xFF, 0xFF}, false},
        {"missing", std::nullopt, {}, true},
        {"the text 1", REG_SZ, {'1', 0, 0, 0}, true},
        {"the text 0", REG_SZ, {'0', 0, 0, 0}, true},
        {"bytes", REG_BINARY, {0, 0, 0, 0}, true},
        {"eight bytes", REG_QWORD, {0, 0, 0, 0, 0, 0, 0, 0}, true},
        {"too long", REG_DWORD, {0, 0, 0, 0, 0, 0, 0, 0}, true},
        {"short 0", REG_DWORD, {0, 0}, false},
        {"short 1", REG_DWORD, {1}, true},
    };

    static void Put(const PolicyData& data)
    {
        EXPECT_EQ(ERROR_SUCCESS, RegDeleteTreeW(HKEY_CURRENT_USER, kUserPolicyKey));
        MakePolicyKey();
        if (data.type) {
            RegistrySandbox::SetRaw(HKEY_CURRENT_USER, kUserPolicyKey, GetParam().name, *data.type, data.data);
        }
    }
};

TEST_P(UserPolicyValue, GrantsItsPermissionAloneUnlessItIsANumberOtherThan1)
{
    MakePolicyKey();
    for (const PolicyData& data : cases) {
        SCOPED_TRACE(data.what);
        Put(data);
        // Zeroing free space has no default: it keeps what it holds.
        GrantAll(false);
        Grant(policy, Permission::ZeroFreeSpace, true);
        policy.OnUserPolicyChanged(0);
        EXPECT_EQ(data.isGranted ? Permissions{} : Permissions{GetParam().permission}, Refused());
    }
}

INSTANTIATE_TEST_SUITE_P(Values, UserPolicyValue, ::testing::ValuesIn(kPolicyValues), [](const auto& test) {
    const std::wstring name = test.param.name;
    return std::string(name.begin(), name.end());
});

TEST_F(UserPolicy, KeepsZeroingFreeSpaceRefusedUntilItsValueIsRead)
{
    MakePolicyKey();
    Grant(policy, Permission::ZeroFreeSpace, false);
    policy.OnUserPolicyChanged(0);
    EXPECT_FALSE(IsGranted(policy, Permission::ZeroFreeSpace));
    SetValue(L"AllowZeroFreeSpace", 1);
    policy.OnUserPolicyChanged(0);
    EXPECT_TRUE(IsGranted(policy, Permission::ZeroFreeSpace));
}

struct PolicyGetter {
    const char* name;
    bool (CGP::*isAllowed)() const noexcept;
    Permission permission;
};

constexpr PolicyGetter kGetters[] = {
    {"Launch", &CGP::IsLaunchAllowed, Permission::Launch},
    {"Status", &CGP::IsStatusAllowed, Permission::Status},
    {"Analyze", &CGP::IsAnalyzeAllowed, Permission::Analyze},
    {"OnlineDefrag", &CGP::IsOnlineDefragAllowed, Permission::OnlineDefrag},
    {"OfflineDefrag", &CGP::IsOfflineDefragAllowed, Permission::OfflineDefrag},
    {"Stop", &CGP::IsStopAllowed, Permission::Stop},
    {"BootTimeSchedule", &CGP::IsBootTimeScheduleAllowed, Permission::BootTimeSchedule},
    {"RunSchedule", &CGP::IsRunScheduleAllowed, Permission::RunSchedule},
};

class UserPolicyGetter : public UserPolicy, public ::testing::WithParamInterface<PolicyGetter> {};

TEST_P(UserPolicyGetter, AsksItsOwnPermissionOnly)
{
    for (const Permission permission : kPermissions) {
        GrantAll(true);
        Grant(policy, permission, false);
        EXPECT_EQ(permission != GetParam().permission, (policy.*GetParam().isAllowed)())
            << static_cast<int>(permission);
    }
}

INSTANTIATE_TEST_SUITE_P(Getters, UserPolicyGetter, ::testing::ValuesIn(kGetters),
                         [](const auto& test) { return test.param.name; });

// Notes the use of the critical policy section and of the key that is read inside it.
class UserPolicySection : public UserPolicy {
protected:
    HANDLE section = &section; // what entering the section gives
    Steps steps;

private:
    Replaced<"EnterCriticalPolicySection", decltype(::EnterCriticalPolicySection)> enter_{[this](BOOL machine) {
        steps.emplace_back(machine != FALSE ? "enter the machine's section" : "enter the user's section");
        return section;
    }};
    Replaced<"LeaveCriticalPolicySection", decltype(::LeaveCriticalPolicySection)> leave_{[this](HANDLE left) {
        steps.emplace_back(left == section ? "leave the section" : "leave another section");
        return TRUE;
    }};
    Replaced<"RegOpenKeyExW", decltype(::RegOpenKeyExW)> openKey_{
        [this](HKEY root, LPCWSTR path, DWORD options, REGSAM access, PHKEY key) {
            steps.emplace_back("open the key");
            return openKey_.Original(root, path, options, access, key);
        }};
    Replaced<"RegCloseKey", decltype(::RegCloseKey)> closeKey_{[this](HKEY key) {
        steps.emplace_back("close the key");
        return closeKey_.Original(key);
    }};
};

TEST_F(UserPolicySection, IsHeldDuringARefresh)
{
    for (const int refresh : {1, 2, -1}) {
        SetValue(L"AllowAnalyze", 0);
        steps.clear();
        policy.OnUserPolicyChanged(refresh);
        EXPECT_EQ((Steps{"enter the user's section", "open the key", "close the key", "leave the section"}), steps);
        EXPECT_FALSE(policy.IsAnalyzeAllowed());
    }
}

TEST_F(UserPolicySection, IsLeftWhereThereIsNoKey)
{
    policy.OnUserPolicyChanged(1);
    EXPECT_EQ((Steps{"enter the user's section", "open the key", "leave the section"}), steps);
}

TEST_F(UserPolicySection, IsNotEnteredWithoutARefresh)
{
    SetValue(L"AllowAnalyze", 0);
    steps.clear();
    policy.OnUserPolicyChanged(0);
    EXPECT_EQ((Steps{"open the key", "close the key"}), steps);
    EXPECT_FALSE(policy.IsAnalyzeAllowed());
}

TEST_F(UserPolicySection, IsNotLeftWhenItWasNotObtained)
{
    SetValue(L"AllowAnalyze", 0);
    section = nullptr;
    steps.clear();
    policy.OnUserPolicyChanged(1);
    EXPECT_EQ((Steps{"enter the user's section", "open the key", "close the key"}), steps);
    EXPECT_FALSE(policy.IsAnalyzeAllowed());
}

class MonitoredUserPolicy : public UserPolicy {
protected:
    PolicyNotifications notifications;
};

TEST_F(MonitoredUserPolicy, IsLoadedWhenTheMonitorStarts)
{
    SetValue(L"AllowRunSchedule", 0);
    EXPECT_TRUE(policy.IsRunScheduleAllowed());
    ASSERT_EQ(0U, policy.StartPolicyMonitor(0));
    EXPECT_FALSE(policy.IsRunScheduleAllowed());
    policy.StopPolicyMonitor();
    EXPECT_FALSE(policy.IsRunScheduleAllowed());
}

TEST_F(MonitoredUserPolicy, FollowsEveryChangeOfTheUsersPolicy)
{
    ASSERT_EQ(0U, policy.StartPolicyMonitor(0));
    SetValue(L"AllowAnalyze", 0);
    EXPECT_TRUE(policy.IsAnalyzeAllowed());
    notifications.ChangeUserPolicy();
    EXPECT_FALSE(policy.IsAnalyzeAllowed());
    SetValue(L"AllowAnalyze", 1);
    SetValue(L"AllowLaunch", 2);
    notifications.ChangeUserPolicy();
    EXPECT_TRUE(policy.IsAnalyzeAllowed());
    EXPECT_FALSE(policy.IsLaunchAllowed());
    policy.StopPolicyMonitor();
}

TEST_F(MonitoredUserPolicy, HoldsTheCriticalSectionDuringARefresh)
{
    std::vector<BOOL> sections;
    const Replaced<"EnterCriticalPolicySection", decltype(::EnterCriticalPolicySection)> enter([&](BOOL machine) {
        sections.push_back(machine);
        return static_cast<HANDLE>(&sections);
    });
    const Replaced<"LeaveCriticalPolicySection", decltype(::LeaveCriticalPolicySection)> leave(
        [](HANDLE) { return TRUE; });
    ASSERT_EQ(0U, policy.StartPolicyMonitor(0));
    EXPECT_TRUE(sections.empty());
    notifications.ChangeUserPolicy();
    policy.StopPolicyMonitor();
    EXPECT_EQ((std::vector<BOOL>{FALSE}), sections);
    EXPECT_EQ(1, leave.Calls());
}

TEST_F(MonitoredUserPolicy, IgnoresChangesOfTheMachinesPolicy)
{
    ASSERT_EQ(0U, policy.StartPolicyMonitor(0));
    SetValue(L"AllowAnalyze", 0);
    notifications.ChangeMachinePolicy();
    EXPECT_TRUE(policy.IsAnalyzeAllowed());
    policy.StopPolicyMonitor();
    EXPECT_EQ(2, notifications.Unregistered());
}

} // namespace
