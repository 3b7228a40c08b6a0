#include "engine/server_life.h"

#include <algorithm>

namespace sim {

ServerLife::ServerLife(HANDLE quitEvent) : quitEvent_(quitEvent), lastChange_(Clock::now()) {}

void ServerLife::Hold()
{
    CoAddRefServerProcess();
    const std::scoped_lock guard(lock_);
    ++holds_;
    used_ = true;
    lastChange_ = Clock::now();
}

void ServerLife::Drop()
{
    {
        const std::scoped_lock guard(lock_);
        --holds_;
        lastChange_ = Clock::now();
    }
    // Never the last reference: the server keeps one of its own until it decides to end.
    CoReleaseServerProcess();
}

bool ServerLife::IdleSince(Clock::time_point time) const
{
    const std::scoped_lock guard(lock_);
    return holds_ == 0 && lastChange_ <= time;
}

bool ServerLife::IsFree() const
{
    const std::scoped_lock guard(lock_);
    return holds_ == 0;
}

bool ServerLife::WasUsed() const
{
    const std::scoped_lock guard(lock_);
    return used_;
}

void ServerLife::Admit()
{
    bool shut = false;
    {
        const std::scoped_lock guard(lock_);
        lastCall_ = Clock::now();
        shut = shut_;
    }
    if (shut) {
        Sleep(INFINITE);
    }
}

void ServerLife::ShutDoor(std::chrono::milliseconds rest, std::chrono::milliseconds patience)
{
    constexpr DWORD kLook = 20;
    const auto end = Clock::now() + patience;
    std::unique_lock guard(lock_);
    shut_ = true;
    while (Clock::now() < std::min(lastCall_ + rest, end)) {
        guard.unlock();
        Sleep(kLook);
        guard.lock();
    }
}

void ServerLife::Pause(std::chrono::milliseconds time) const
{
    if (time > std::chrono::milliseconds::zero()) {
        WaitForSingleObject(quitEvent_, static_cast<DWORD>(time.count()));
    }
}

} // namespace sim
