#include "ado/connection_object.h"

#include "ado/object_state.h"
#include "ado/recordset_object.h"

#include <mutex>

namespace sim::ado {

namespace {

// Only our own connections answer to this identifier, with a pointer to the object itself.
constexpr GUID kOwnConnection = {0x8f0f2b6e, 0x1d73, 0x4c0a, {0xa1, 0x5e, 0x7c, 0x42, 0x90, 0xbb, 0x36, 0xd1}};

} // namespace

const wchar_t* const ConnectionObject::kSource = L"ADODB.Connection";

const std::array<Member<ConnectionObject>, 8> ConnectionObject::kMembers = {{
    {L"ConnectionString", DISPID_VALUE, kReadWrite, 0, 0, &ConnectionObject::OnConnectionString},
    {L"Close", 5, kMethod, 0, 0, &ConnectionObject::OnClose},
    {L"Execute", 6, kMethod, 1, 3, &ConnectionObject::OnExecute},
    {L"BeginTrans", 7, kMethod, 0, 0, &ConnectionObject::OnBeginTrans},
    {L"CommitTrans", 8, kMethod, 0, 0, &ConnectionObject::OnCommitTrans},
    {L"RollbackTrans", 9, kMethod, 0, 0, &ConnectionObject::OnRollbackTrans},
    {L"Open", 10, kMethod, 0, 4, &ConnectionObject::OnOpen},
    {L"State", 18, kReadOnly, 0, 0, &ConnectionObject::OnState},
}};

ConnectionObject::ConnectionObject() : session_(std::make_shared<Session>()) {}

ConnectionObject* ConnectionObject::From(const VARIANT& argument)
{
    IDispatch* const dispatch = V_VT(&argument) == VT_DISPATCH                ? V_DISPATCH(&argument)
                                : V_VT(&argument) == (VT_BYREF | VT_DISPATCH) ? *V_DISPATCHREF(&argument)
                                                                              : nullptr;
    void* own = nullptr;
    return dispatch != nullptr && SUCCEEDED(dispatch->QueryInterface(kOwnConnection, &own))
               ? static_cast<ConnectionObject*>(own)
               : nullptr;
}

HRESULT ConnectionObject::QueryInterface(REFIID iid, void** object)
{
    const GUID wanted = CopyGuid(&iid);
    if (object != nullptr && IsEqualGUID(wanted, kOwnConnection)) {
        *object = this;
        AddRef();
        return S_OK;
    }
    return DispatchObject::QueryInterface(wanted, object);
}

Answer ConnectionObject::OnOpen(const Call& call)
{
    std::optional<std::wstring> text = call.Text(0);
    const std::optional<std::wstring> user = call.Text(1);
    const std::optional<std::wstring> password = call.Text(2);
    constexpr LONG kUnspecified = -1;
    const std::optional<LONG> options = call.Number(3, kUnspecified);
    if (!text || !user || !password || !options) {
        return InvalidArgument();
    }
    const std::lock_guard guard(lock_);
    if (text->empty()) {
        text = connectionString_;
    }
    Answer answer = session_->Open(*text, *user, *password);
    if (!answer) {
        connectionString_ = std::move(*text);
    }
    return answer;
}

Answer ConnectionObject::OnClose(const Call& /*call*/)
{
    return session_->Close();
}

Answer ConnectionObject::OnExecute(const Call& call)
{
    const std::optional<std::wstring> statement = call.Text(0);
    if (!statement) {
        return InvalidArgument();
    }
    std::shared_ptr<Cursor> cursor;
    std::int64_t rowCount = 0;
    if (Answer refusal = session_->Run(*statement, cursor, rowCount)) {
        return refusal;
    }
    call.PutBack(1, static_cast<LONG>(rowCount));
    return call.ReturnObject(MakeObject<RecordsetObject>(std::move(cursor)));
}

Answer ConnectionObject::OnBeginTrans(const Call& call)
{
    // The level of the transaction; there are none within another.
    constexpr std::int32_t kLevel = 1;
    Answer refusal = session_->Begin();
    return refusal ? refusal : call.Return(kLevel);
}

Answer ConnectionObject::OnCommitTrans(const Call& /*call*/)
{
    return session_->Commit();
}

Answer ConnectionObject::OnRollbackTrans(const Call& /*call*/)
{
    return session_->Rollback();
}

Answer ConnectionObject::OnState(const Call& call)
{
    return call.Return(session_->IsOpen() ? kStateOpen : kStateClosed);
}

Answer ConnectionObject::OnConnectionString(const Call& call)
{
    const std::lock_guard guard(lock_);
    if (!call.IsPut()) {
        return call.Return(connectionString_);
    }
    if (session_->IsOpen()) {
        return ObjectOpen();
    }
    std::optional<std::wstring> text = call.Text(0);
    if (!text) {
        return InvalidArgument();
    }
    connectionString_ = std::move(*text);
    return {};
}

} // namespace sim::ado
