#pragma once

#include "win/windows_api.h"

#include <gtest/gtest.h>

namespace testing_support {

// Lets one thread wait for what another one has done. It needs no handle of Windows and none of the functions that make
// and signal handles, so a test that counts or replaces them is not disturbed.
class Signal {
public:
    // Lets one Await return, now or later.
    void Raise()
    {
        AcquireSRWLockExclusive(&lock_);
        ++raised_;
        ReleaseSRWLockExclusive(&lock_);
        WakeConditionVariable(&changed_);
    }

    // Takes a Raise back that no Await has answered.
    void Lower()
    {
        AcquireSRWLockExclusive(&lock_);
        raised_ = raised_ > 0 ? raised_ - 1 : 0;
        ReleaseSRWLockExclusive(&lock_);
    }

    // Returns when the signal has been raised once more. What never comes is a failure of the test and no hang; then
    // the answer is false.
    bool Await()
    {
        constexpr DWORD kTooLong = 30'000;
        AcquireSRWLockExclusive(&lock_);
        while (raised_ == 0) {
            if (SleepConditionVariableSRW(&changed_, &lock_, kTooLong, 0) == FALSE) {
                ReleaseSRWLockExclusive(&lock_);
                ADD_FAILURE() << "what the test waits for has not happened";
                return false;
            }
        }
        --raised_;
        ReleaseSRWLockExclusive(&lock_);
        return true;
    }

private:
    SRWLOCK lock_ = SRWLOCK_INIT;
    CONDITION_VARIABLE changed_ = CONDITION_VARIABLE_INIT;
    int raised_ = 0;
};

} // namespace testing_support
