#pragma once

#include "engine/class_object.h"
#include "engine/engine.h"
#include "engine/instance.h"
#include "engine/interface_anchor.h"
#include "engine/server_classes.h"

#include <array>
#include <chrono>
#include <memory>
#include <string>

namespace sim {

// The server itself: keeps the class objects registered until somebody asks it to quit or nobody has used it for a
// while and no drive is at work.
class Server {
public:
    // A server for this engine of the computer, whose name is empty for this one; the instance outlasts it.
    Server(std::shared_ptr<Engine> engine, const ServerInstance& instance, const std::wstring& computer,
           std::chrono::milliseconds idleTime);

    Server(const Server&) = delete;
    Server& operator=(const Server&) = delete;
    ~Server();

    // Registers the class objects, then signals the ready event, if there is one. A failure is answered at once;
    // otherwise S_OK when the class objects are revoked again. The calling thread is in the multithreaded apartment,
    // where the server must also go.
    [[nodiscard]] HRESULT Run(HANDLE readyEvent);

private:
    [[nodiscard]] HRESULT Register();
    void Revoke();
    [[nodiscard]] bool IsIdle() const;
    [[nodiscard]] HRESULT RunUntilIdle();
    [[nodiscard]] bool QuitsWithin(std::chrono::milliseconds time) const;

    std::shared_ptr<Engine> engine_;
    const ServerInstance& instance_;
    ServerClasses identifiers_;
    std::chrono::milliseconds idleTime_;
    ServerLife::Clock::time_point lastWork_;
    InterfaceAnchor anchor_;
    std::array<win::ComPtr<ClassObject>, 2> classes_;
    std::array<DWORD, 2> registrations_{};
};

} // namespace sim
