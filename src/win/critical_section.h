#pragma once

#include "win/windows_api.h"

namespace win {

// A critical section, deleted with its object; use it through std::lock_guard.
class CriticalSection {
public:
    // spinCount: how often a thread tries before it waits, on a computer with several processors.
    explicit CriticalSection(DWORD spinCount = 0) noexcept
    {
        // Cannot fail from Windows Vista on, whatever the declared result says.
        static_cast<void>(InitializeCriticalSectionAndSpinCount(&section_, spinCount));
    }
    CriticalSection(CriticalSection&&) = delete;
    ~CriticalSection() { DeleteCriticalSection(&section_); }

    // The names that std::lock_guard calls.
    void lock() noexcept { EnterCriticalSection(&section_); }
    void unlock() noexcept { LeaveCriticalSection(&section_); }

private:
    CRITICAL_SECTION section_{};
};

} // namespace win
