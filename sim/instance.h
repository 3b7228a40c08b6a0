#pragma once

#include "win/owner.h"

#include <chrono>
#include <optional>

namespace sim {

// The one server of a session: at most one process is it, from Claim until the process has ended. Other processes find
// it by names and can ask it to quit.
class ServerInstance {
public:
    // Becomes the session's server; waits for another one as long as that is about to end, or the patience lasts.
    // Nothing where the other one goes on running; then GetLastError is ERROR_ALREADY_EXISTS, or else what kept this
    // process from finding out.
    [[nodiscard]] static std::optional<ServerInstance> Claim(std::chrono::milliseconds patience);

    // Signalled when somebody has asked the server to quit.
    [[nodiscard]] HANDLE QuitEvent() const { return quitEvent_.Get(); }

    // Tells a server that is being started whether to wait for the end of this one.
    void AnnounceEnd(bool ending) const;

private:
    ServerInstance() = default;

    win::KernelHandle running_; // a mutex that nobody releases: its owner's end does
    win::KernelHandle process_; // a memory section that holds the process identifier
    win::KernelHandle quitEvent_;
    win::KernelHandle endingEvent_;
};

// Whether a server runs that is not about to end.
[[nodiscard]] bool IsServerRunning();

// Starts a server in the background, with none of the caller's standard handles, and waits until clients may come; at
// once where one is running. Answers 0 or a Windows error: WAIT_TIMEOUT for a server that does not get ready,
// ERROR_PROCESS_ABORTED for one that ends instead.
[[nodiscard]] DWORD StartServer(std::chrono::milliseconds patience);

// Asks the session's server to quit and waits until its process is gone, at once where there is none. Answers 0 or a
// Windows error: WAIT_TIMEOUT for a server that does not end.
[[nodiscard]] DWORD QuitRunningServer(std::chrono::milliseconds patience);

} // namespace sim
