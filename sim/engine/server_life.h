#pragma once

#include "win/owner.h"

#include <chrono>
#include <mutex>

namespace sim {

// What keeps the server alive: its objects and the locks of its clients. Every hold is also one reference to the
// server process, by which COM knows that the process is in use. Safe to use from any thread.
class ServerLife {
public:
    using Clock = std::chrono::steady_clock;

    // Nothing holds the server yet. The quit event ends every wait.
    explicit ServerLife(HANDLE quitEvent);

    // One more object or lock.
    void Hold();

    // One object or lock less.
    void Drop();

    // Whether nothing has held the server since this time.
    [[nodiscard]] bool IdleSince(Clock::time_point time) const;

    // Whether nothing holds the server now, and whether anything ever did.
    [[nodiscard]] bool IsFree() const;
    [[nodiscard]] bool WasUsed() const;

    // Called when a call arrives; does not return once ShutDoor has been called.
    void Admit();

    // Blocks all later calls, and waits until none has arrived for the time of rest, at most as long as the patience.
    void ShutDoor(std::chrono::milliseconds rest, std::chrono::milliseconds patience);

    // Waits for the time, or until the server is told to quit.
    void Pause(std::chrono::milliseconds time) const;

private:
    HANDLE quitEvent_;
    mutable std::mutex lock_;
    unsigned long long holds_ = 0;
    bool used_ = false;
    Clock::time_point lastChange_;
    Clock::time_point lastCall_;
    bool shut_ = false;
};

} // namespace sim
