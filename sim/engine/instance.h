#pragma once

#include "win/owner.h"

#include <chrono>
#include <optional>
#include <string>

namespace sim {

// The one server of a computer in a session: at most one process is the server, from Claim until its end. Other
// processes find it by names and can ask it to quit. The computer's name is empty for this one.
class ServerInstance {
public:
    // Becomes the computer's server; waits for another one as long as that is about to end, or the patience lasts.
    // Nothing where the other one goes on running (GetLastError is then ERROR_ALREADY_EXISTS) or Windows refuses.
    [[nodiscard]] static std::optional<ServerInstance> Claim(const std::wstring& computer,
                                                             std::chrono::milliseconds patience);

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

// Whether the computer's server runs and is not about to end.
[[nodiscard]] bool IsServerRunning(const std::wstring& computer);

// Starts the server of this computer in the background, with none of the caller's standard handles, and waits until
// clients may come; at once where one is running. Answers 0 or a Windows error: WAIT_TIMEOUT for a server that does not
// get ready, ERROR_PROCESS_ABORTED for one that ends instead.
[[nodiscard]] DWORD StartServer(std::chrono::milliseconds patience);

// Asks the computer's server to quit and waits until its process is gone, at once where there is none. Answers 0 or a
// Windows error: WAIT_TIMEOUT for a server that does not end.
[[nodiscard]] DWORD QuitRunningServer(const std::wstring& computer, std::chrono::milliseconds patience);

} // namespace sim
