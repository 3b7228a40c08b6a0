#include "policy/ui_group_policy.h"

#include "noted_steps.h"
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

namespace {

using namespace testing_support;
using namespace testing_support::policies;

static_assert(std::is_base_of_v<CLockable, CGP>);
static_assert(std::is_base_of_v<CGP, CUiGP>);
static_assert(std::is_abstract_v<CGP>, "what a change of policy means is left open");
static_assert(std::has_virtual_destructor_v<CGP>);

// An error that no call of these tests leaves behind by chance.
constexpr DWORD kRefusal = 1450;
// What stands in the thread's last error after a handle was closed.
constexpr DWORD kErrorOfClosing = 6;

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

// --- The monitor ---

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

} // namespace
