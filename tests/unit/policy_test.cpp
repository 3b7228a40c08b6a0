#include "policy/ui_group_policy.h"

#include "support/group_policy.h"
#include "support/product_test.h"
#include "support/slot_positions.h"

#include <algorithm>
#include <functional>
#include <iterator>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

namespace {

using namespace testing_support;

static_assert(std::is_base_of_v<CLockable, CGP>);
static_assert(std::is_base_of_v<CGP, CUiGP>);
static_assert(std::is_abstract_v<CGP>, "what a change of policy means is left open");
static_assert(std::has_virtual_destructor_v<CGP>);

using Steps = std::vector<std::string>;

// An error that no call of these tests leaves behind by chance.
constexpr DWORD kRefusal = 1450;
// What stands in the thread's last error after a handle was closed.
constexpr DWORD kErrorOfClosing = 6;

Steps operator+(Steps left, const Steps& right)
{
    left.insert(left.end(), right.begin(), right.end());
    return left;
}

// --- The order of the virtual operations ---

// Other programs of the product call them by their slots. With GNU's compilers a destructor takes two.
TEST(GroupPolicyObject, HasItsOperationsBehindTheDestructorInTheirOrder)
{
#ifdef __GNUC__
    constexpr std::size_t kFirst = 2;
#else
    constexpr std::size_t kFirst = 1;
#endif
    ExpectPositions<CGP>({
        {"OnMachinePolicyChanged", kFirst, [](CGP& policy) { policy.OnMachinePolicyChanged(0); }},
        {"OnUserPolicyChanged", kFirst + 1, [](CGP& policy) { policy.OnUserPolicyChanged(0); }},
    });
}

// --- CLockable ---

class Lockable final : public CLockable {};

// Notes what is done with the critical sections that lie inside one object.
class SectionsOf {
public:
    SectionsOf(const void* object, std::size_t size) : first_(static_cast<const char*>(object)), size_(size) {}

    Steps steps;

private:
    void Note(const void* section, std::string step)
    {
        const auto* const at = static_cast<const char*>(section);
        if (at >= first_ && at < first_ + size_) {
            steps.push_back(std::move(step));
        }
    }

    const char* first_;
    std::size_t size_;

    Replaced<"InitializeCriticalSectionAndSpinCount", decltype(::InitializeCriticalSectionAndSpinCount)> initialize_{
        [this](LPCRITICAL_SECTION section, DWORD spinCount) {
            Note(section, "initialise with spin count " + std::to_string(spinCount));
            return initialize_.Original(section, spinCount);
        }};
    Replaced<"EnterCriticalSection", decltype(::EnterCriticalSection)> enter_{[this](LPCRITICAL_SECTION section) {
        Note(section, "enter");
        enter_.Original(section);
    }};
    Replaced<"LeaveCriticalSection", decltype(::LeaveCriticalSection)> leave_{[this](LPCRITICAL_SECTION section) {
        Note(section, "leave");
        leave_.Original(section);
    }};
    Replaced<"DeleteCriticalSection", decltype(::DeleteCriticalSection)> delete_{[this](LPCRITICAL_SECTION section) {
        Note(section, "delete");
        delete_.Original(section);
    }};
};

TEST(LockableObject, OwnsACriticalSectionWithASpinCountOf10)
{
    std::optional<Lockable> object;
    const SectionsOf sections(&object, sizeof object);
    object.emplace();
    EXPECT_EQ((Steps{"initialise with spin count 10"}), sections.steps);
    object.reset();
    EXPECT_EQ((Steps{"initialise with spin count 10", "delete"}), sections.steps);
}

TEST(LockableObject, LocksAndUnlocksItsCriticalSection)
{
    Lockable object;
    const SectionsOf sections(&object, sizeof object);
    object.lock();
    EXPECT_EQ((Steps{"enter"}), sections.steps);
    object.unlock();
    EXPECT_EQ((Steps{"enter", "leave"}), sections.steps);
    {
        const std::lock_guard guard(object);
        EXPECT_EQ((Steps{"enter", "leave", "enter"}), sections.steps);
    }
    EXPECT_EQ((Steps{"enter", "leave", "enter", "leave"}), sections.steps);
}

// --- CGP: the monitor ---

// What happened, told apart by thread: that of the test, and any other one, which is the monitor's.
class History {
public:
    void Add(std::string step)
    {
        const std::lock_guard guard(lock_);
        (GetCurrentThreadId() == caller_ ? callers_ : monitors_).push_back(std::move(step));
    }

    // The steps so far, and again from now on.
    Steps TakeCallers()
    {
        const std::lock_guard guard(lock_);
        return std::exchange(callers_, {});
    }
    Steps TakeMonitors()
    {
        const std::lock_guard guard(lock_);
        return std::exchange(monitors_, {});
    }

private:
    const DWORD caller_ = GetCurrentThreadId();
    win::CriticalSection lock_;
    Steps callers_;
    Steps monitors_;
};

// A policy that notes what it is asked to do.
class NotingPolicy final : public CGP {
public:
    explicit NotingPolicy(History& history) : history_(history) {}
    NotingPolicy(const NotingPolicy&) = delete;
    NotingPolicy(NotingPolicy&&) = delete;
    ~NotingPolicy() override { StopPolicyMonitor(); }
    NotingPolicy& operator=(const NotingPolicy&) = delete;
    NotingPolicy& operator=(NotingPolicy&&) = delete;

    void OnMachinePolicyChanged(int refresh) noexcept override
    {
        history_.Add("OnMachinePolicyChanged(" + std::to_string(refresh) + ")");
    }
    void OnUserPolicyChanged(int refresh) noexcept override
    {
        history_.Add("OnUserPolicyChanged(" + std::to_string(refresh) + ")");
    }

private:
    History& history_;
};

// Notes the calls by which the monitor is started, works and is stopped, and makes them fail as told.
class PolicyMonitor : public ProductTest {
protected:
    // What creating the events and the thread, and stopping all of it, looks like.
    const Steps creations{"CreateEventW(NULL, manual reset, not signalled, NULL)",
                          "CreateEventW(NULL, manual reset, not signalled, NULL)",
                          "CreateEventW(NULL, auto reset, not signalled, NULL)"};
    const Steps stopping{"SetEvent(stop event)",    "WaitForSingleObject(thread, INFINITE)",
                         "CloseHandle(thread)",     "CloseHandle(machine event)",
                         "CloseHandle(stop event)", "CloseHandle(user event)"};
    // The monitor thread's way in and out.
    const Steps registering{"CoInitializeEx(NULL, 0)", "RegisterGPNotification(machine event, TRUE)",
                            "RegisterGPNotification(user event, FALSE)"};
    const Steps waiting{"WaitForMultipleObjects(machine event, user event, stop event; any, INFINITE)"};
    const Steps leaving{"UnregisterGPNotification(machine event)", "UnregisterGPNotification(user event)",
                        "CoUninitialize()"};

    int failingEvent = 0; // which CreateEventW fails, once, counted from 1
    bool failsThread = false;
    int failingRegistration = 0; // which RegisterGPNotification fails, counted from 1
    std::function<void()> onUserRegistration;
    std::optional<DWORD> waitResult; // what the monitor's wait answers instead of waiting

    History history;
    std::optional<DWORD> exitCode; // of the thread that was waited for
    const void* threadParameter = nullptr;

    std::uint32_t Start(CGP& started, int refresh)
    {
        starting_ = true;
        const std::uint32_t error = started.StartPolicyMonitor(refresh);
        starting_ = false;
        return error;
    }

    // What the calling thread did; from the given step on, which may be the closing of events in any order, sorted.
    Steps TakeSortedFrom(int step)
    {
        Steps steps = history.TakeCallers();
        std::sort(steps.begin() + std::min<std::ptrdiff_t>(step, std::ssize(steps)), steps.end());
        return steps;
    }

    Steps TakeStopping() { return TakeSortedFrom(3); }

    HANDLE EventNamed(const std::string& name)
    {
        const std::lock_guard guard(namesLock_);
        const auto found = std::find_if(names_.begin(), names_.end(), [&](const auto& n) { return n.second == name; });
        return found == names_.end() ? nullptr : found->first;
    }

private:
    // The name of one of the monitor's handles; empty for all others.
    std::string NameOf(HANDLE handle)
    {
        const std::lock_guard guard(namesLock_);
        const auto found = names_.find(handle);
        return found == names_.end() ? std::string() : found->second;
    }

    HANDLE Name(HANDLE handle, const char* name)
    {
        const std::lock_guard guard(namesLock_);
        names_[handle] = name;
        return handle;
    }

    // Notes a call that concerns one of the monitor's handles.
    void Note(const char* function, HANDLE handle, const std::string& more = "")
    {
        if (const std::string name = NameOf(handle); !name.empty()) {
            history.Add(function + ("(" + name) + more + ")");
        }
    }

    static std::string Timeout(DWORD milliseconds)
    {
        return milliseconds == INFINITE ? "INFINITE" : std::to_string(milliseconds);
    }

    static HANDLE Refuse()
    {
        SetLastError(kRefusal);
        return nullptr;
    }

    static constexpr const char* kEventNames[] = {"machine event", "user event", "stop event"};

    win::CriticalSection namesLock_;
    std::map<HANDLE, std::string> names_;
    bool starting_ = false;
    int created_ = 0; // events of the current start

protected:
    Replaced<"CreateEventW", decltype(::CreateEventW)> createEvent{[this](LPSECURITY_ATTRIBUTES security, BOOL manual,
                                                                          BOOL signalled, LPCWSTR name) {
        history.Add(std::string("CreateEventW(") + (security == nullptr ? "NULL, " : "attributes, ") +
                    (manual != FALSE ? "manual reset, " : "auto reset, ") +
                    (signalled != FALSE ? "signalled, " : "not signalled, ") + (name == nullptr ? "NULL)" : "name)"));
        if (++created_ == failingEvent) {
            created_ = 0;
            failingEvent = 0;
            return Refuse();
        }
        const char* const event = kEventNames[created_ - 1];
        created_ %= static_cast<int>(std::size(kEventNames));
        return Name(createEvent.Original(security, manual, signalled, name), event);
    }};
    Replaced<"CreateThread", decltype(::CreateThread)> createThread{[this](LPSECURITY_ATTRIBUTES security, SIZE_T stack,
                                                                           LPTHREAD_START_ROUTINE routine,
                                                                           LPVOID parameter, DWORD flags, LPDWORD id) {
        // The test framework has a thread of its own once something has failed.
        if (!starting_) {
            return createThread.Original(security, stack, routine, parameter, flags, id);
        }
        threadParameter = parameter;
        history.Add(std::string("CreateThread(") + (security == nullptr ? "NULL, " : "attributes, ") +
                    std::to_string(stack) + ", policy, " + std::to_string(flags) +
                    (id == nullptr ? ", NULL)" : ", id)"));
        return failsThread ? Refuse()
                           : Name(createThread.Original(security, stack, routine, parameter, flags, id), "thread");
    }};
    Replaced<"SetEvent", decltype(::SetEvent)> setEvent{[this](HANDLE event) {
        Note("SetEvent", event);
        return setEvent.Original(event);
    }};
    Replaced<"WaitForSingleObject", decltype(::WaitForSingleObject)> waitForOne{[this](HANDLE handle, DWORD time) {
        Note("WaitForSingleObject", handle, ", " + Timeout(time));
        const DWORD result = waitForOne.Original(handle, time);
        if (NameOf(handle) == "thread") {
            DWORD code = 0;
            EXPECT_TRUE(GetExitCodeThread(handle, &code));
            exitCode = code;
        }
        return result;
    }};
    // Leaves an error behind, as any successful call of Windows may.
    Replaced<"CloseHandle", decltype(::CloseHandle)> closeHandle{[this](HANDLE handle) {
        Note("CloseHandle", handle);
        {
            const std::lock_guard guard(namesLock_);
            names_.erase(handle);
        }
        const BOOL closed = closeHandle.Original(handle);
        SetLastError(kErrorOfClosing);
        return closed;
    }};

    // In front of the notifications' own replacements, which let the test change the policy.
    PolicyNotifications notifications;
    Replaced<"RegisterGPNotification", decltype(::RegisterGPNotification)> registerEvent{
        [this](HANDLE event, BOOL machine) {
            Note("RegisterGPNotification", event, machine != FALSE ? ", TRUE" : ", FALSE");
            if (failingRegistration == registerEvent.Calls()) {
                return FALSE;
            }
            if (machine == FALSE && onUserRegistration) {
                onUserRegistration();
            }
            return registerEvent.Original(event, machine);
        }};
    Replaced<"UnregisterGPNotification", decltype(::UnregisterGPNotification)> unregisterEvent{[this](HANDLE event) {
        Note("UnregisterGPNotification", event);
        return unregisterEvent.Original(event);
    }};
    // Noted before the test hears of it.
    Replaced<"ResetEvent", decltype(::ResetEvent)> resetEvent{[this](HANDLE event) {
        Note("ResetEvent", event);
        return resetEvent.Original(event);
    }};
    Replaced<"WaitForMultipleObjects", decltype(::WaitForMultipleObjects)> waitForMany{[this](DWORD count,
                                                                                              const HANDLE* handles,
                                                                                              BOOL all, DWORD time) {
        if (NameOf(handles[0]).empty()) {
            return waitForMany.Original(count, handles, all, time);
        }
        std::string text;
        for (DWORD i = 0; i < count; ++i) {
            text += (i == 0 ? "" : ", ") + NameOf(handles[i]);
        }
        history.Add("WaitForMultipleObjects(" + text + (all != FALSE ? "; all, " : "; any, ") + Timeout(time) + ")");
        return waitResult ? *waitResult : waitForMany.Original(count, handles, all, time);
    }};
    Replaced<"CoInitializeEx", decltype(::CoInitializeEx)> initializeCom{[this](LPVOID reserved, DWORD model) {
        history.Add(std::string("CoInitializeEx(") + (reserved == nullptr ? "NULL, " : "reserved, ") +
                    std::to_string(model) + ")");
        return initializeCom.Original(reserved, model);
    }};
    Replaced<"CoUninitialize", decltype(::CoUninitialize)> uninitializeCom{[this] {
        history.Add("CoUninitialize()");
        uninitializeCom.Original();
    }};
};

class StartingThePolicyMonitor : public PolicyMonitor, public ::testing::WithParamInterface<int> {};

TEST_P(StartingThePolicyMonitor, CreatesTheEventsLoadsBothPoliciesOnTheCallersThreadAndStartsTheThread)
{
    const std::string refresh = std::to_string(GetParam());
    NotingPolicy policy(history);
    EXPECT_EQ(0U, Start(policy, GetParam()));
    EXPECT_EQ((creations + Steps{"OnMachinePolicyChanged(" + refresh + ")", "OnUserPolicyChanged(" + refresh + ")",
                                 "CreateThread(NULL, 0, policy, 0, NULL)"}),
              history.TakeCallers());
    EXPECT_EQ(static_cast<const CGP*>(&policy), threadParameter);
}

INSTANTIATE_TEST_SUITE_P(Refresh, StartingThePolicyMonitor, ::testing::Values(0, 1, 7));

class RefusedPolicyEvent : public PolicyMonitor, public ::testing::WithParamInterface<int> {};

TEST_P(RefusedPolicyEvent, ClosesTheEarlierOnesReturnsTheErrorAndStartsNothing)
{
    failingEvent = GetParam();
    {
        NotingPolicy policy(history);
        EXPECT_EQ(kRefusal, Start(policy, 1));
        const Steps closings{"CloseHandle(machine event)", "CloseHandle(user event)"};
        EXPECT_EQ(Steps(creations.begin(), creations.begin() + GetParam()) +
                      Steps(closings.begin(), closings.begin() + GetParam() - 1),
                  TakeSortedFrom(GetParam()));
        policy.StopPolicyMonitor();
    }
    // Neither stopping nor the end of the object waits for or closes anything.
    EXPECT_EQ(Steps{}, history.TakeCallers());
    EXPECT_EQ(Steps{}, history.TakeMonitors());
}

TEST_P(RefusedPolicyEvent, CanBeTriedAgain)
{
    failingEvent = GetParam();
    NotingPolicy policy(history);
    ASSERT_EQ(kRefusal, Start(policy, 1));
    EXPECT_EQ(0U, Start(policy, 1));
    history.TakeCallers();
    policy.StopPolicyMonitor();
    EXPECT_EQ(stopping, TakeStopping());
}

INSTANTIATE_TEST_SUITE_P(Events, RefusedPolicyEvent, ::testing::Values(1, 2, 3));

class RefusedMonitorThread : public PolicyMonitor {};

TEST_F(RefusedMonitorThread, ClosesAllEventsAndReturnsTheErrorAfterThePoliciesWereLoaded)
{
    failsThread = true;
    {
        NotingPolicy policy(history);
        EXPECT_EQ(kRefusal, Start(policy, 1));
        EXPECT_EQ((creations + Steps{"OnMachinePolicyChanged(1)", "OnUserPolicyChanged(1)",
                                     "CreateThread(NULL, 0, policy, 0, NULL)", "CloseHandle(machine event)",
                                     "CloseHandle(stop event)", "CloseHandle(user event)"}),
                  TakeSortedFrom(6));
        policy.StopPolicyMonitor();
    }
    EXPECT_EQ(Steps{}, history.TakeCallers());
    EXPECT_EQ(Steps{}, history.TakeMonitors());
}

TEST_F(RefusedMonitorThread, LeavesWhatWasLoadedInForce)
{
    RegistrySandbox::SetDword(HKEY_CURRENT_USER, kUserPolicyKey, L"AllowAnalyze", 0);
    failsThread = true;
    CUiGP policy;
    EXPECT_EQ(kRefusal, Start(policy, 1));
    EXPECT_FALSE(policy.IsAnalyzeAllowed());
    EXPECT_TRUE(policy.IsLaunchAllowed());
}

class StoppingThePolicyMonitor : public PolicyMonitor {};

TEST_F(StoppingThePolicyMonitor, SignalsTheStopEventWaitsWithoutLimitAndClosesThreadAndEvents)
{
    NotingPolicy policy(history);
    ASSERT_EQ(0U, Start(policy, 1));
    history.TakeCallers();
    policy.StopPolicyMonitor();
    EXPECT_EQ(stopping, TakeStopping());
    EXPECT_EQ(0U, exitCode);
    EXPECT_EQ("", census.Imbalance());
}

TEST_F(StoppingThePolicyMonitor, DoesNothingTheSecondTime)
{
    NotingPolicy policy(history);
    ASSERT_EQ(0U, Start(policy, 1));
    policy.StopPolicyMonitor();
    history.TakeCallers();
    policy.StopPolicyMonitor();
    EXPECT_EQ(Steps{}, history.TakeCallers());
}

TEST_F(StoppingThePolicyMonitor, DoesNothingWhenItWasNeverStarted)
{
    {
        NotingPolicy policy(history);
        policy.StopPolicyMonitor();
    }
    {
        const CUiGP policy;
    }
    EXPECT_EQ(Steps{}, history.TakeCallers());
}

TEST_F(StoppingThePolicyMonitor, IsDoneByTheDestructor)
{
    {
        CUiGP policy;
        ASSERT_EQ(0U, Start(policy, 1));
        history.TakeCallers();
    }
    EXPECT_EQ(stopping, TakeStopping());
    EXPECT_EQ(0U, exitCode);
}

TEST_F(StoppingThePolicyMonitor, AllowsToStartItAgain)
{
    NotingPolicy policy(history);
    for (int round = 0; round < 2; ++round) {
        EXPECT_EQ(0U, Start(policy, 0));
        EXPECT_EQ((creations + Steps{"OnMachinePolicyChanged(0)", "OnUserPolicyChanged(0)",
                                     "CreateThread(NULL, 0, policy, 0, NULL)"}),
                  history.TakeCallers());
        policy.StopPolicyMonitor();
        EXPECT_EQ(stopping, TakeStopping());
        EXPECT_EQ(registering + waiting + leaving, history.TakeMonitors());
    }
}

class RunningPolicyMonitor : public PolicyMonitor {
protected:
    // What the monitor thread did from its start to its end.
    Steps StepsOfTheMonitor()
    {
        policy.StopPolicyMonitor();
        return history.TakeMonitors();
    }

    NotingPolicy policy{history};
};

TEST_F(RunningPolicyMonitor, RegistersBothEventsWaitsAndTakesThemBack)
{
    ASSERT_EQ(0U, Start(policy, 1));
    EXPECT_EQ(registering + waiting + leaving, StepsOfTheMonitor());
    EXPECT_EQ(0U, exitCode);
    EXPECT_EQ(0, census.ComBalance());
}

TEST_F(RunningPolicyMonitor, HasTheMachinesChangesDealtWithAndResetsTheEventAfterwards)
{
    ASSERT_EQ(0U, Start(policy, 0));
    notifications.ChangeMachinePolicy();
    notifications.ChangeMachinePolicy();
    const Steps change{"OnMachinePolicyChanged(1)", "ResetEvent(machine event)"};
    EXPECT_EQ(registering + waiting + change + waiting + change + waiting + leaving, StepsOfTheMonitor());
}

TEST_F(RunningPolicyMonitor, HasTheUsersChangesDealtWithAndResetsTheEventAfterwards)
{
    ASSERT_EQ(0U, Start(policy, 0));
    notifications.ChangeUserPolicy();
    notifications.ChangeUserPolicy();
    const Steps change{"OnUserPolicyChanged(1)", "ResetEvent(user event)"};
    EXPECT_EQ(registering + waiting + change + waiting + change + waiting + leaving, StepsOfTheMonitor());
}

TEST_F(RunningPolicyMonitor, TakesTheMachineThenTheUserAndThenTheStop)
{
    const Steps signalling{"SetEvent(stop event)", "SetEvent(user event)", "SetEvent(machine event)"};
    onUserRegistration = [this] {
        for (const char* const event : {"stop event", "user event", "machine event"}) {
            SetEvent(EventNamed(event));
        }
    };
    ASSERT_EQ(0U, Start(policy, 0));
    EXPECT_EQ((registering + signalling + waiting + Steps{"OnMachinePolicyChanged(1)", "ResetEvent(machine event)"} +
               waiting + Steps{"OnUserPolicyChanged(1)", "ResetEvent(user event)"} + waiting + leaving),
              StepsOfTheMonitor());
}

TEST_F(RunningPolicyMonitor, EndsWhenTheMachinesEventIsRefused)
{
    failingRegistration = 1;
    ASSERT_EQ(0U, Start(policy, 1));
    EXPECT_EQ((Steps{"CoInitializeEx(NULL, 0)", "RegisterGPNotification(machine event, TRUE)", "CoUninitialize()"}),
              StepsOfTheMonitor());
    EXPECT_EQ(0xFFFFFFFFU, exitCode);
    EXPECT_EQ(0, census.ComBalance());
    EXPECT_EQ("", census.Imbalance());
}

TEST_F(RunningPolicyMonitor, EndsWhenTheUsersEventIsRefusedAndLeavesTheMachinesRegistered)
{
    failingRegistration = 2;
    ASSERT_EQ(0U, Start(policy, 1));
    EXPECT_EQ(registering + Steps{"CoUninitialize()"}, StepsOfTheMonitor());
    EXPECT_EQ(0xFFFFFFFFU, exitCode);
    EXPECT_EQ(0, census.ComBalance());
    EXPECT_EQ("", census.Imbalance());
}

TEST_F(RunningPolicyMonitor, TakesNoLockOfThePolicyObject)
{
    const SectionsOf sections(&policy, sizeof policy);
    ASSERT_EQ(0U, Start(policy, 1));
    notifications.ChangeMachinePolicy();
    notifications.ChangeUserPolicy();
    policy.StopPolicyMonitor();
    EXPECT_EQ(Steps{}, sections.steps);
}

class RefusedRegistration : public PolicyMonitor, public ::testing::WithParamInterface<int> {};

TEST_P(RefusedRegistration, DoesNotBlockTheEndOfThePolicy)
{
    failingRegistration = GetParam();
    {
        CUiGP policy;
        ASSERT_EQ(0U, Start(policy, 1));
        history.TakeCallers();
    }
    EXPECT_EQ(stopping, TakeStopping());
    EXPECT_EQ(0xFFFFFFFFU, exitCode);
}

INSTANTIATE_TEST_SUITE_P(Events, RefusedRegistration, ::testing::Values(1, 2));

class EndedPolicyWait : public PolicyMonitor, public ::testing::WithParamInterface<DWORD> {};

TEST_P(EndedPolicyWait, EndsTheMonitorThatTakesBothEventsBack)
{
    waitResult = GetParam();
    NotingPolicy policy(history);
    ASSERT_EQ(0U, Start(policy, 1));
    policy.StopPolicyMonitor();
    EXPECT_EQ(registering + waiting + leaving, history.TakeMonitors());
    EXPECT_EQ(0U, exitCode);
    EXPECT_EQ("", census.Imbalance());
}

INSTANTIATE_TEST_SUITE_P(Results, EndedPolicyWait,
                         ::testing::Values(WAIT_OBJECT_0 + 2, WAIT_ABANDONED_0, WAIT_TIMEOUT, WAIT_FAILED));

// --- CUiGP: the permissions ---

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
