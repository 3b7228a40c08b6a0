#include "engine/Operations.h"

#include "run_test.h"
#include "support/failing_memory.h"
#include "support/operation_test.h"
#include "support/signal.h"

#include <algorithm>
#include <map>
#include <mutex>
#include <new>
#include <ostream>
#include <set>
#include <sstream>
#include <stdexcept>

namespace {

using namespace testing_support;
using namespace testing_support::runs;

// Watches the threads of a batch. Threads are known by the order in which they are asked for, which is that of the
// drives, from 0.
class BatchThreads {
public:
    std::set<int> notCreated;           // those whose creation fails
    std::map<int, HRESULT> noApartment; // those that cannot enter COM's apartment

    // Everything in order: "create 0", "initialize 0", "activate 0", "uninitialize 0", "wait 2". The thread of the
    // test is number -1.
    Events events;

private:
    int NumberOfThisThread()
    {
        const std::lock_guard guard(lock_);
        const auto found = numbers_.find(GetCurrentThreadId());
        return found == numbers_.end() ? -1 : found->second;
    }
    void Note(const wchar_t* what, int number) { events.Add(what + (L' ' + std::to_wstring(number))); }

    win::CriticalSection lock_;
    std::map<DWORD, int> numbers_; // by thread identifier
    int asked_ = 0;

    Replaced<"CreateThread", decltype(::CreateThread)> createThread_{
        [this](LPSECURITY_ATTRIBUTES security, SIZE_T stack, LPTHREAD_START_ROUTINE routine, LPVOID parameter,
               DWORD flags, LPDWORD id) {
            if (IsFrameworkThread(flags)) {
                return createThread_.Original(security, stack, routine, parameter, flags, id);
            }
            EXPECT_EQ(nullptr, security);
            EXPECT_EQ(0U, stack);
            EXPECT_EQ(0U, flags);
            const int number = asked_++;
            if (notCreated.contains(number)) {
                SetLastError(ERROR_NOT_ENOUGH_MEMORY);
                return HANDLE{nullptr};
            }
            Note(L"create", number);
            // The thread must not run before its number is known.
            const HANDLE thread =
                createThread_.Original(security, stack, routine, parameter, flags | CREATE_SUSPENDED, id);
            {
                const std::lock_guard guard(lock_);
                numbers_[GetThreadId(thread)] = number;
            }
            ResumeThread(thread);
            return thread;
        }};
    Replaced<"WaitForMultipleObjects", decltype(::WaitForMultipleObjects)> wait_{
        [this](DWORD count, const HANDLE* handles, BOOL all, DWORD milliseconds) {
            // The C++ runtime waits for one of two handles when threads meet at a lock of its own.
            if (all == FALSE) {
                return wait_.Original(count, handles, all, milliseconds);
            }
            EXPECT_EQ(INFINITE, milliseconds);
            Note(L"wait", static_cast<int>(count));
            return wait_.Original(count, handles, all, milliseconds);
        }};
    Replaced<"CoInitializeEx", decltype(::CoInitializeEx)> initialize_{[this](LPVOID reserved, DWORD model) {
        EXPECT_EQ(nullptr, reserved);
        EXPECT_EQ(0U, model);
        const int number = NumberOfThisThread();
        Note(L"initialize", number);
        const auto failure = noApartment.find(number);
        return failure == noApartment.end() ? initialize_.Original(reserved, model) : failure->second;
    }};
    Replaced<"CoUninitialize", decltype(::CoUninitialize)> uninitialize_{[this] {
        Note(L"uninitialize", NumberOfThisThread());
        uninitialize_.Original();
    }};
    Replaced<"CoCreateInstance", decltype(::CoCreateInstance)> activate_{
        [this](REFCLSID classId, IUnknown* outer, DWORD context, REFIID interfaceId, void** object) {
            Note(L"activate", NumberOfThisThread());
            return activate_.Original(classId, outer, context, interfaceId, object);
        }};
};

struct Batch {
    const char* name;
    Failure (*run)(const std::wstring& computer, const DriveList& drives, bool wait);
    const wchar_t* method; // by which the engine is asked to work
    const wchar_t* started;
    const wchar_t* completed;
    bool reportsFailures; // else its result is 0 whatever happens
};

void PrintTo(const Batch& batch, std::ostream* stream)
{
    *stream << batch.name;
}

class BatchOfDrives : public RunTest, public ::testing::WithParamInterface<Batch> {
protected:
    BatchOfDrives()
    {
        engine.AddDrive(L"D:\\");
        engine.AddDrive(L"E:\\");
    }

    static Failure Run(const DriveList& drives, bool wait = false, const wchar_t* computer = L"")
    {
        return GetParam().run(computer, drives, wait);
    }

    // Makes the work on a drive fail.
    void Refuse(const wchar_t* drive, HRESULT failure) { engine.Fail(GetParam().method, {failure, drive}); }

    // What the batch returns when its drives' last failure is this one.
    static Failure ResultOf(Failure failure) { return GetParam().reportsFailures ? failure : kSucceeded; }

    // The line about a drive that has started.
    static std::wstring Started(const wchar_t* mountPoint)
    {
        return std::wstring(GetParam().started) + mountPoint + L".\n";
    }

    // The output's lines, sorted: the threads' order is their own.
    std::vector<std::wstring> TakeLines()
    {
        std::vector<std::wstring> lines;
        std::wistringstream text(output.Take());
        for (std::wstring line; std::getline(text, line);) {
            lines.push_back(line + L'\n');
        }
        std::sort(lines.begin(), lines.end());
        return lines;
    }

    static constexpr auto kFirst = static_cast<HRESULT>(0x80041111);
    static constexpr auto kSecond = static_cast<HRESULT>(0x80042222);
    static constexpr auto kThird = static_cast<HRESULT>(0x80043333);
    static constexpr auto kZero = static_cast<HRESULT>(0x80040000);
    static constexpr auto kZeroOfWindows = static_cast<HRESULT>(0x80070000);
    inline static const DriveList kThreeDrives{L"C:\\", L"D:\\", L"E:\\"};
};

TEST_P(BatchOfDrives, StartsNoThreadForAnEmptyList)
{
    BatchThreads threads;
    EXPECT_EQ(kSucceeded, Run({}));
    EXPECT_EQ((std::vector<std::wstring>{L"activate -1"}), threads.events.Take()); // the refresh notice's
    EXPECT_EQ(EngineCalls{L"refresh.Refresh()"}, engine.Calls());
    EXPECT_EQ(L"", output.Text());
}

TEST_P(BatchOfDrives, WorksOnOneDriveOnAThreadOfItsOwn)
{
    BatchThreads threads;
    EXPECT_EQ(kSucceeded, Run({L"D:\\"}));
    const std::vector<std::wstring> events = threads.events.Take();
    // The test's thread waits while the other one works.
    std::vector<std::wstring> work;
    std::copy_if(events.begin(), events.end(), std::back_inserter(work),
                 [](const std::wstring& event) { return event != L"wait 1"; });
    EXPECT_EQ(
        (std::vector<std::wstring>{L"create 0", L"initialize 0", L"activate 0", L"uninitialize 0", L"activate -1"}),
        work);
    EXPECT_EQ(Started(L"D:\\"), output.Text());
}

TEST_P(BatchOfDrives, StartsAllThreadsBeforeItWaits)
{
    BatchThreads threads;
    EXPECT_EQ(kSucceeded, Run(kThreeDrives));
    std::vector<std::wstring> events = threads.events.Take();
    std::erase_if(
        events, [](const std::wstring& event) { return !event.starts_with(L"create") && !event.starts_with(L"wait"); });
    EXPECT_EQ((std::vector<std::wstring>{L"create 0", L"create 1", L"create 2", L"wait 3"}), events);
}

TEST_P(BatchOfDrives, ConnectsOnceForEachDriveOnItsThread)
{
    BatchThreads threads;
    EXPECT_EQ(kSucceeded, Run(kThreeDrives));
    const std::vector<std::wstring> events = threads.events.Take();
    for (const wchar_t* const number : {L" 0", L" 1", L" 2"}) {
        std::vector<std::wstring> own;
        std::copy_if(events.begin(), events.end(), std::back_inserter(own),
                     [&](const std::wstring& event) { return event.ends_with(number); });
        EXPECT_EQ(
            (std::vector<std::wstring>{std::wstring(L"create") + number, std::wstring(L"initialize") + number,
                                       std::wstring(L"activate") + number, std::wstring(L"uninitialize") + number}),
            own);
    }
    EXPECT_EQ(L"activate -1", events.back());
}

TEST_P(BatchOfDrives, HandsItsSettingsToEveryDrive)
{
    for (FakeDrive& drive : engine.drives) {
        drive.states = {kBusy, kIdle};
    }
    EXPECT_EQ(kSucceeded, Run(kThreeDrives, true, L"SRV1"));
    EXPECT_EQ(std::vector<Activation>(3, RemoteAgent(L"SRV1")), engine.Activations());
    std::vector<std::wstring> lines(3, GetParam().completed);
    lines.insert(lines.end(), {Started(L"C:\\ (Boot)"), Started(L"D:\\"), Started(L"E:\\")});
    std::sort(lines.begin(), lines.end());
    EXPECT_EQ(lines, TakeLines());
    EXPECT_EQ(std::vector<DWORD>(6, kFiveSeconds), TakePauses());
}

TEST_P(BatchOfDrives, TakesAnyNumberOfDrives)
{
    for (const int count : {1, 64, 65, 200}) {
        SCOPED_TRACE(count);
        engine.drives.clear();
        DriveList drives;
        std::vector<std::wstring> lines;
        for (int i = 0; i < count; ++i) {
            drives.push_back(L"M:\\" + std::to_wstring(1000 + i) + L"\\");
            engine.AddDrive(drives.back());
            lines.push_back(Started(drives.back().c_str()));
        }
        const std::size_t activations = engine.Activations().size();
        const int works = engine.CountCalls(GetParam().method);
        EXPECT_EQ(kSucceeded, Run(drives));
        EXPECT_EQ(lines, TakeLines());
        EXPECT_EQ(works + count, engine.CountCalls(GetParam().method));
        EXPECT_EQ(activations + static_cast<std::size_t>(count) + 1, engine.Activations().size());
    }
}

TEST_P(BatchOfDrives, OnlyEndsWhenEveryThreadHasEnded)
{
    // The first drive's thread works until all others have long begun theirs.
    Signal othersBegan;
    engine.onCall = [&](const std::wstring& call) {
        if (call.find(std::wstring(GetParam().method) + L"(E:\\") != std::wstring::npos) {
            othersBegan.Raise();
        } else if (call.find(std::wstring(GetParam().method) + L"(C:\\") != std::wstring::npos) {
            othersBegan.Await();
        }
    };
    EXPECT_EQ(kSucceeded, Run(kThreeDrives));
    EXPECT_EQ((std::vector<std::wstring>{Started(L"C:\\ (Boot)"), Started(L"D:\\"), Started(L"E:\\")}), TakeLines());
    EXPECT_EQ(L"refresh.Refresh()", engine.Calls().back());
}

TEST_P(BatchOfDrives, ReturnsTheFailureOfTheLastDriveThatFailed)
{
    const struct {
        const char* name;
        HRESULT c;
        HRESULT d;
        HRESULT e;
        Failure result;
    } rows[] = {
        {"first", kFirst, S_OK, S_OK, 0x1111},
        {"middle", S_OK, kSecond, S_OK, 0x2222},
        {"last", S_OK, S_OK, kThird, 0x3333},
        {"first and last", kFirst, S_OK, kThird, 0x3333},
        {"first two", kFirst, kSecond, S_OK, 0x2222},
        {"last two", S_OK, kSecond, kThird, 0x3333},
        {"all", kFirst, kSecond, kThird, 0x3333},
        {"none", S_OK, S_OK, S_OK, kSucceeded},
        // The low 16 bits of these are 0, as is the exit code of their thread.
        {"one with 0", S_OK, kZero, S_OK, 0},
        {"all with 0", kZeroOfWindows, kZero, kZeroOfWindows, 0},
        {"another one before 0", kFirst, kZero, S_OK, 0x1111},
        {"another one after 0", kZeroOfWindows, S_OK, kThird, 0x3333},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        Refuse(L"C:\\", row.c);
        Refuse(L"D:\\", row.d);
        Refuse(L"E:\\", row.e);
        EXPECT_EQ(ResultOf(row.result), Run(kThreeDrives));
    }
    EXPECT_EQ(36, engine.CountCalls(GetParam().method));
}

TEST_P(BatchOfDrives, GoesByTheListsOrderNotByWhoEndsLast)
{
    Signal secondFailed;
    engine.onCall = [&](const std::wstring& call) {
        if (call.find(std::wstring(GetParam().method) + L"(D:\\") != std::wstring::npos) {
            secondFailed.Raise();
        } else if (call.find(std::wstring(GetParam().method) + L"(C:\\") != std::wstring::npos) {
            secondFailed.Await();
        }
    };
    Refuse(L"C:\\", kFirst);
    Refuse(L"D:\\", kSecond);
    EXPECT_EQ(ResultOf(0x2222), Run({L"C:\\", L"D:\\"}));
}

TEST_P(BatchOfDrives, ReturnsTheConnectionsFailureOfADrive)
{
    engine.activation = kNotRegistered;
    EXPECT_EQ(ResultOf(0x20000002), Run(kThreeDrives, true, L"SRV1"));
    EXPECT_EQ(std::vector<std::wstring>(3, L"Velundra is not installed on computer 'SRV1'\n"), TakeLines());
}

TEST_P(BatchOfDrives, ShowsEachDrivesOwnErrorObject)
{
    engine.onCall = [](const std::wstring& call) {
        if (call.starts_with(std::wstring(L"agent.") + GetParam().method)) {
            ErrorObject::SetForThread(call);
        }
    };
    Refuse(L"", kFirst);
    EXPECT_EQ(ResultOf(0x1111), Run({L"C:\\", L"D:\\"}));
    const std::wstring text = output.Take();
    for (const wchar_t* const drive : {L"(C:\\", L"(D:\\"}) {
        EXPECT_NE(std::wstring::npos,
                  text.find(std::wstring(L"\r\nError text:\r\nagent.") + GetParam().method + drive));
    }
}

TEST_P(BatchOfDrives, FailsWhereAThreadsExitCodeCannotBeHad)
{
    const Replaced<"GetExitCodeThread", decltype(::GetExitCodeThread)> exitCode([&](HANDLE thread, LPDWORD code) {
        if (exitCode.Calls() == 2) {
            SetLastError(ERROR_INVALID_HANDLE);
            return FALSE;
        }
        return exitCode.Original(thread, code);
    });
    EXPECT_EQ(ResultOf(6U), Run(kThreeDrives));
    EXPECT_EQ(3, exitCode.Calls());
}

TEST_P(BatchOfDrives, FailsWhereTheWaitFails)
{
    const Replaced<"WaitForMultipleObjects", decltype(::WaitForMultipleObjects)> wait(
        [&](DWORD count, const HANDLE* handles, BOOL all, DWORD milliseconds) -> DWORD {
            const DWORD waited = wait.Original(count, handles, all, milliseconds);
            // The C++ runtime waits for one of two handles; the batch waits for all.
            if (all == FALSE) {
                return waited;
            }
            SetLastError(ERROR_NOT_ENOUGH_MEMORY);
            return WAIT_FAILED;
        });
    EXPECT_EQ(ResultOf(8U), Run(kThreeDrives));
    Refuse(L"E:\\", kFirst);
    EXPECT_EQ(ResultOf(8U), Run(kThreeDrives));
}

TEST_P(BatchOfDrives, PassesOverADriveWhoseThreadCannotBeCreated)
{
    BatchThreads threads;
    threads.notCreated = {1};
    Refuse(L"C:\\", kFirst);
    Refuse(L"D:\\", kSecond);
    EXPECT_EQ(ResultOf(0x1111), Run(kThreeDrives));
    EXPECT_EQ(2, engine.CountCalls(GetParam().method));
    EXPECT_EQ(std::wstring::npos, output.Text().find(L"D:\\"));
}

TEST_P(BatchOfDrives, DoesNothingWhereNoThreadCanBeCreated)
{
    BatchThreads threads;
    threads.notCreated = {0, 1, 2};
    EXPECT_EQ(kSucceeded, Run(kThreeDrives));
    EXPECT_EQ((std::vector<std::wstring>{L"activate -1"}), threads.events.Take());
    EXPECT_EQ(EngineCalls{L"refresh.Refresh()"}, engine.Calls());
    EXPECT_EQ(L"", output.Text());
}

TEST_P(BatchOfDrives, EndsADriveWhoseThreadCannotEnterTheApartment)
{
    BatchThreads threads;
    threads.noApartment[2] = static_cast<HRESULT>(0x80010106);
    EXPECT_EQ(ResultOf(0x0106), Run(kThreeDrives));
    const std::vector<std::wstring> events = threads.events.Take();
    EXPECT_EQ(1, std::count(events.begin(), events.end(), L"initialize 2"));
    EXPECT_EQ(0, std::count(events.begin(), events.end(), L"activate 2"));
    EXPECT_EQ(0, std::count(events.begin(), events.end(), L"uninitialize 2"));
    EXPECT_EQ((std::vector<std::wstring>{Started(L"C:\\ (Boot)"), Started(L"D:\\")}), TakeLines());
}

TEST_P(BatchOfDrives, FailsWhereTheApartmentsFailureHasTheLow16Bits0)
{
    BatchThreads threads;
    threads.noApartment[1] = kZero;
    EXPECT_EQ(ResultOf(0U), Run(kThreeDrives));
    EXPECT_EQ(2, engine.CountCalls(GetParam().method));
}

TEST_P(BatchOfDrives, EndsADriveForWhichMemoryRunsOut)
{
    // Windows reports it as a null string ...
    {
        Replaced<"SysAllocStringLen", decltype(::SysAllocStringLen)> alloc([&](const OLECHAR* text, UINT length) {
            return length == 3 && text != nullptr && text[0] == L'D' ? BSTR{nullptr} : alloc.Original(text, length);
        });
        EXPECT_EQ(ResultOf(14), Run(kThreeDrives));
        EXPECT_EQ((std::vector<std::wstring>{Started(L"C:\\ (Boot)"), Started(L"E:\\")}), TakeLines());
    }
    // ... the runtime as an exception, for a text beyond all measure as another one.
    for (const bool beyondMeasure : {false, true}) {
        engine.onCall = [=](const std::wstring& call) {
            if (call == L"agent.GetDrive(E:\\)") {
                if (beyondMeasure) {
                    throw std::length_error("text");
                }
                throw std::bad_alloc();
            }
        };
        EXPECT_EQ(ResultOf(14), Run(kThreeDrives));
        EXPECT_EQ((std::vector<std::wstring>{Started(L"C:\\ (Boot)"), Started(L"D:\\")}), TakeLines());
    }
}

TEST_P(BatchOfDrives, LeavesNothingBehindWhateverAllocationFails)
{
    bool failed = true;
    int exceptions = 0;
    for (int allocation = 1; failed; ++allocation) {
        const FailingMemory memory(allocation);
        try {
            EXPECT_EQ(kSucceeded, Run(kThreeDrives));
        } catch (const std::bad_alloc&) {
            ++exceptions;
        }
        failed = memory.HasFailed();
        // All threads have ended.
        EXPECT_EQ(0, engine.LiveObjects()) << allocation;
    }
    EXPECT_GT(exceptions, 3);
}

TEST_P(BatchOfDrives, WaitsForTheThreadsItHasStartedWhenMemoryRunsOut)
{
    // The one thread works on until it is waited for.
    Signal waitedFor;
    engine.onCall = [&](const std::wstring& call) {
        if (call == L"agent.GetDrive(C:\\)") {
            waitedFor.Await();
        }
    };
    Replaced<"WaitForMultipleObjects", decltype(::WaitForMultipleObjects)> wait(
        [&](DWORD count, const HANDLE* handles, BOOL all, DWORD milliseconds) {
            waitedFor.Raise();
            return wait.Original(count, handles, all, milliseconds);
        });
    int threads = 0;
    Replaced<"CreateThread", decltype(::CreateThread)> create([&](LPSECURITY_ATTRIBUTES security, SIZE_T stack,
                                                                  LPTHREAD_START_ROUTINE routine, LPVOID parameter,
                                                                  DWORD flags, LPDWORD id) {
        if (!IsFrameworkThread(flags) && ++threads == 2) {
            throw std::bad_alloc();
        }
        return create.Original(security, stack, routine, parameter, flags, id);
    });
    EXPECT_THROW(static_cast<void>(Run(kThreeDrives)), std::bad_alloc);
    EXPECT_EQ(1, wait.Calls());
    EXPECT_EQ(1, engine.CountCalls(GetParam().method));
    EXPECT_EQ(Started(L"C:\\ (Boot)"), output.Text());
}

constexpr wchar_t kAnalyzeStarted[] = L"Analyze started on drive ";
constexpr wchar_t kOnlineStarted[] = L"Online optimization started on drive ";
constexpr wchar_t kOfflineStarted[] = L"Offline optimization of System Files started on drive ";
constexpr wchar_t kZeroStarted[] = L"Zero free space started on drive ";

INSTANTIATE_TEST_SUITE_P(
    Of, BatchOfDrives,
    ::testing::Values(
        Batch{"Analyses",
              [](const std::wstring& computer, const DriveList& drives, bool wait) {
                  return AnalyzeDrives(computer, drives, wait);
              },
              L"Analyze", kAnalyzeStarted, L"Analyze completed.\n", true},
        Batch{"OnlineOptimizations",
              [](const std::wstring& computer, const DriveList& drives, bool wait) {
                  EXPECT_EQ(0U, OptimizeDrives(drives, {{computer, L"", wait}, true, VLModeDefragOnly, 4096}));
                  return kSucceeded;
              },
              L"OptimizeOnline", kOnlineStarted, L"Optimization completed.\n", false},
        Batch{"OfflineOptimizations",
              [](const std::wstring& computer, const DriveList& drives, bool wait) {
                  EXPECT_EQ(0U, OptimizeDrives(drives, {{computer, L"", wait}, false, VLModeTierWeave, 7}));
                  return kSucceeded;
              },
              L"OptimizeOffline", kOfflineStarted, L"Optimization completed.\n", false},
        Batch{"ZeroingsOfFreeSpace",
              [](const std::wstring& computer, const DriveList& drives, bool wait) {
                  return ZeroFreeSpaceOnDrives(computer, drives, wait);
              },
              L"ZeroFreeSpace", kZeroStarted, L"Zero free space completed.\n", true}),
    [](const auto& batch) { return batch.param.name; });

class OptimizingSeveralDrives : public RunTest {
protected:
    OptimizingSeveralDrives() { engine.AddDrive(L"D:\\"); }
};

TEST_F(OptimizingSeveralDrives, HandsTheModeToEach)
{
    EXPECT_EQ(0U, OptimizeDrives({L"C:\\", L"D:\\"}, {{L"", L"", false}, true, VLModeConsolidateFreeSpace, 4096}));
    const EngineCalls calls = engine.Calls();
    EXPECT_EQ(1, std::count(calls.begin(), calls.end(), L"agent.OptimizeOnline(C:\\, 2)"));
    EXPECT_EQ(1, std::count(calls.begin(), calls.end(), L"agent.OptimizeOnline(D:\\, 2)"));
}

TEST_F(OptimizingSeveralDrives, HandsTheFileTypesToEach)
{
    EXPECT_EQ(0U, OptimizeDrives({L"C:\\", L"D:\\"}, {{L"", L"", false}, false, VLModeTierWeave, 6}));
    const EngineCalls calls = engine.Calls();
    EXPECT_EQ(1, std::count(calls.begin(), calls.end(), L"agent.OptimizeOffline(C:\\, 6)"));
    EXPECT_EQ(1, std::count(calls.begin(), calls.end(), L"agent.OptimizeOffline(D:\\, 6)"));
}

TEST_F(OptimizingSeveralDrives, SchedulesOnlyTheOneThatCannotRunNow)
{
    engine.Fail(L"PrepareOffline", {kRefused, L"C:\\"});
    EXPECT_EQ(0U, OptimizeDrives({L"C:\\", L"D:\\"}, {{L"", L"", false}, false, VLModeTierWeave, 7}));
    EXPECT_EQ(1, engine.CountCalls(L"ScheduleBootTime"));
    EXPECT_EQ(1, engine.CountCalls(L"OptimizeOffline"));
    const std::wstring text = output.Text();
    EXPECT_NE(std::wstring::npos, text.find(L"Boot time defragmentation scheduled for drive C:\\ (Boot).\n"));
    EXPECT_NE(std::wstring::npos, text.find(L"Offline optimization of System Files started on drive D:\\.\n"));
}

} // namespace
