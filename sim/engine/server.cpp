#include "engine/server.h"

#include <algorithm>

namespace sim {

namespace {

using std::chrono::milliseconds;

// How often the server looks whether it is idle.
constexpr milliseconds kLook{100};

// How long the server waits at least for its first client. A client whose activation starts the server looks for it
// again only about a second later.
constexpr std::chrono::seconds kFirstClient{30};

// How long the server goes on answering after it has revoked its class objects; RunUntilIdle tells why.
constexpr milliseconds kLinger{200};

} // namespace

Server::Server(std::shared_ptr<Engine> engine, const ServerInstance& instance, const std::wstring& computer,
               milliseconds idleTime)
    : engine_(std::move(engine)),
      instance_(instance),
      identifiers_(ServerClassesOf(computer)),
      idleTime_(idleTime),
      lastWork_(ServerLife::Clock::now())
{
    classes_ = {MakeAgentClass(engine_), MakeServiceClass(engine_)};
    for (const win::ComPtr<ClassObject>& object : classes_) {
        // Keeps clients connected to the class object after it is revoked.
        CoLockObjectExternal(object.Get(), TRUE, FALSE);
    }
}

Server::~Server()
{
    for (const win::ComPtr<ClassObject>& object : classes_) {
        CoLockObjectExternal(object.Get(), FALSE, TRUE);
    }
}

HRESULT Server::Run(HANDLE readyEvent)
{
    CoAddRefServerProcess();
    HRESULT result = anchor_.Hold();
    if (SUCCEEDED(result)) {
        result = Register();
    }
    if (FAILED(result)) {
        return result;
    }
    if (readyEvent != nullptr) {
        SetEvent(readyEvent);
    }
    return RunUntilIdle();
}

// A client may arrive at the moment at which the idle server decides to end. On Windows, COM handles this: releasing
// the last reference to the server process suspends the class objects, and a later client gets a new process. Wine only
// counts those references. There, revoking the class objects keeps new clients away, but a client may already have a
// class object and be about to call CreateInstance. So the server waits a little: its class objects stay locked and can
// be called, and if somebody holds an object by then, or has set a drive to work, the server registers them again
// instead of ending. One case remains: a client of Wine that has found the server but has not asked it for the class
// object when that is revoked, a matter of a few milliseconds; its activation fails with E_FAIL.
HRESULT Server::RunUntilIdle()
{
    for (;;) {
        bool quits = QuitsWithin(kLook);
        // Finished work is recorded even if no client asks about it.
        engine_->Drives().Settle(EngineDrives::Clock::now());
        if (engine_->Drives().AtWork(EngineDrives::Clock::now())) {
            lastWork_ = ServerLife::Clock::now();
        }
        if (!quits && !IsIdle()) {
            continue;
        }
        instance_.AnnounceEnd(true);
        if (CoReleaseServerProcess() == 0 || quits) {
            Revoke();
            quits = quits || QuitsWithin(kLinger);
            const bool atWork = engine_->Drives().AtWork(EngineDrives::Clock::now());
            if (quits || (engine_->Life().IsFree() && !atWork)) {
                return S_OK;
            }
            CoAddRefServerProcess();
            const HRESULT result = Register();
            if (FAILED(result)) {
                return result;
            }
        } else {
            CoAddRefServerProcess();
        }
        instance_.AnnounceEnd(false);
    }
}

HRESULT Server::Register()
{
    for (std::size_t index = 0; index < classes_.size(); ++index) {
        // Suspended, so that no client gets in before both classes are there.
        const HRESULT result = CoRegisterClassObject(identifiers_[index], classes_[index].Get(), CLSCTX_LOCAL_SERVER,
                                                     REGCLS_MULTIPLEUSE | REGCLS_SUSPENDED, &registrations_[index]);
        if (FAILED(result)) {
            Revoke();
            return result;
        }
    }
    return CoResumeClassObjects();
}

void Server::Revoke()
{
    for (DWORD& registration : registrations_) {
        if (registration != 0) {
            CoRevokeClassObject(registration);
        }
        registration = 0;
    }
}

bool Server::IsIdle() const
{
    const bool unused = !engine_->Life().WasUsed();
    const auto since =
        ServerLife::Clock::now() - (unused ? std::max<milliseconds>(idleTime_, kFirstClient) : idleTime_);
    return lastWork_ <= since && engine_->Life().IdleSince(since);
}

bool Server::QuitsWithin(milliseconds time) const
{
    return WaitForSingleObject(instance_.QuitEvent(), static_cast<DWORD>(time.count())) == WAIT_OBJECT_0;
}

} // namespace sim
