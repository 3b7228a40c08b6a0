#pragma once

#include "engine/Operations.h"

#include "engine/stop_event.h"
#include "support/operation_test.h"

#include <atomic>
#include <functional>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

namespace testing_support::runs {

inline constexpr auto kNotRegistered = static_cast<HRESULT>(0x80040154);
inline constexpr auto kRefused = static_cast<HRESULT>(0x80041234); // low 16 bits 0x1234

inline constexpr DWORD kFiveSeconds = 5000;

// An order of events, noted by several threads.
class Events {
public:
    void Add(std::wstring event)
    {
        const std::lock_guard guard(lock_);
        events_.push_back(std::move(event));
    }
    std::vector<std::wstring> Take()
    {
        const std::lock_guard guard(lock_);
        return std::exchange(events_, {});
    }

private:
    win::CriticalSection lock_;
    std::vector<std::wstring> events_;
};

// Time passes at once: pauses are noted and not made.
class RunTest : public OperationTest {
protected:
    // The pauses so far, in milliseconds, and again from now on.
    std::vector<DWORD> TakePauses()
    {
        const std::lock_guard guard(lock_);
        return std::exchange(pauses_, {});
    }

    // Called instead of pausing.
    std::function<void()> onPause;

private:
    win::CriticalSection lock_;
    std::vector<DWORD> pauses_;
    Replaced<"Sleep", decltype(::Sleep)> sleep_{[this](DWORD milliseconds) {
        // The runtime's own way of giving way to another thread.
        if (milliseconds <= 1) {
            sleep_.Original(milliseconds);
            return;
        }
        {
            const std::lock_guard guard(lock_);
            pauses_.push_back(milliseconds);
        }
        if (onPause) {
            onPause();
        }
    }};
};

// A stop event that is found signalled from a certain test on, counted from 1; never for 0.
class StopSignal {
public:
    explicit StopSignal(int signalledFrom) : signalledFrom_(signalledFrom) { StopEvent = this; }
    StopSignal(const StopSignal&) = delete;
    StopSignal(StopSignal&&) = delete;
    ~StopSignal() { StopEvent = nullptr; }
    StopSignal& operator=(const StopSignal&) = delete;
    StopSignal& operator=(StopSignal&&) = delete;

    [[nodiscard]] int Tests() const { return tests_; }

    // Called at each test.
    std::function<void()> onTest;

private:
    const int signalledFrom_;
    std::atomic<int> tests_ = 0;
    Replaced<"WaitForSingleObject", decltype(::WaitForSingleObject)> wait_{[this](HANDLE handle, DWORD milliseconds) {
        if (handle != this) {
            return wait_.Original(handle, milliseconds);
        }
        EXPECT_EQ(0U, milliseconds);
        if (onTest) {
            onTest();
        }
        return ++tests_ >= signalledFrom_ && signalledFrom_ != 0 ? static_cast<DWORD>(WAIT_OBJECT_0)
                                                                 : static_cast<DWORD>(WAIT_TIMEOUT);
    }};
};

inline constexpr ULONG kIdle = 0;
inline constexpr ULONG kBusy = 2;

} // namespace testing_support::runs
