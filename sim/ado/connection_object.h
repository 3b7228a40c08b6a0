#pragma once

#include "ado/dispatch_object.h"
#include "ado/session.h"

#include <array>
#include <memory>
#include <string>

namespace sim::ado {

// "ADODB.Connection". Several threads may use it; one at a time works.
class ConnectionObject final : public DispatchObject<ConnectionObject> {
public:
    ConnectionObject();

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) override;

    // The object behind an argument, where it is a connection of this library.
    [[nodiscard]] static ConnectionObject* From(const VARIANT& argument);

    // The connection that the objects share.
    [[nodiscard]] const std::shared_ptr<Session>& SharedSession() const { return session_; }

private:
    friend class DispatchObject<ConnectionObject>;

    Answer OnOpen(const Call& call);
    Answer OnClose(const Call& call);
    Answer OnExecute(const Call& call);
    Answer OnBeginTrans(const Call& call);
    Answer OnCommitTrans(const Call& call);
    Answer OnRollbackTrans(const Call& call);
    Answer OnState(const Call& call);
    Answer OnConnectionString(const Call& call);

    static const wchar_t* const kSource;
    static const std::array<Member<ConnectionObject>, 8> kMembers;

    std::shared_ptr<Session> session_;
    win::CriticalSection lock_; // guards the text
    std::wstring connectionString_;
};

} // namespace sim::ado
