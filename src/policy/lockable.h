#pragma once

#include "win/critical_section.h"

// Base of objects that several threads share: owns a critical section and offers lock and unlock.
class CLockable {
public:
    CLockable() = default;
    CLockable(CLockable&&) = delete;

    // The names that std::lock_guard calls.
    void lock() noexcept { section_.lock(); }
    void unlock() noexcept { section_.unlock(); }

protected:
    ~CLockable() = default;

private:
    static constexpr DWORD kSpinCount = 10;

    win::CriticalSection section_{kSpinCount};
};
