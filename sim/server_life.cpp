#include "server_life.h"

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

void ServerLife::Admit() const
{
    if (shut_) {
        Sleep(INFINITE);
    }
}

void ServerLife::ShutDoor()
{
    shut_ = true;
}

void ServerLife::Pause(std::chrono::milliseconds time) const
{
    if (time > std::chrono::milliseconds::zero()) {
        WaitForSingleObject(quitEvent_, static_cast<DWORD>(time.count()));
    }
}

} // namespace sim
