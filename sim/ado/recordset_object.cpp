#include "ado/recordset_object.h"

#include "ado/connection_object.h"
#include "ado/fields_object.h"
#include "ado/object_state.h"

#include <mutex>

namespace sim::ado {

const wchar_t* const RecordsetObject::kSource = L"ADODB.Recordset";

const std::array<Member<RecordsetObject>, 8> RecordsetObject::kMembers = {{
    {L"Fields", DISPID_VALUE, kItem, 0, 1, &RecordsetObject::OnFields},
    {L"BOF", 1002, kReadOnly, 0, 0, &RecordsetObject::OnBof},
    {L"EOF", 1006, kReadOnly, 0, 0, &RecordsetObject::OnEof},
    {L"Close", 1014, kMethod, 0, 0, &RecordsetObject::OnClose},
    {L"MoveNext", 1018, kMethod, 0, 0, &RecordsetObject::OnMoveNext},
    {L"MoveFirst", 1020, kMethod, 0, 0, &RecordsetObject::OnMoveFirst},
    {L"Open", 1022, kMethod, 0, 5, &RecordsetObject::OnOpen},
    {L"State", 1054, kReadOnly, 0, 0, &RecordsetObject::OnState},
}};

RecordsetObject::RecordsetObject(std::shared_ptr<Cursor> cursor) : cursor_(std::move(cursor)) {}

std::shared_ptr<Cursor> RecordsetObject::SharedCursor() const
{
    const std::lock_guard guard(lock_);
    return cursor_;
}

template <typename Question>
Answer RecordsetObject::Ask(Question question) const
{
    const std::shared_ptr<Cursor> cursor = SharedCursor();
    return cursor ? question(*cursor) : ObjectClosed();
}

Answer RecordsetObject::OnOpen(const Call& call)
{
    const std::optional<std::wstring> source = call.Text(0);
    const VARIANT* const activeConnection = call.Argument(1);
    // Every kind of cursor and lock is accepted; a provider that lacks it uses the kind that it has.
    constexpr LONG kUnspecified = -1;
    if (!source || source->empty() || !call.Number(2, kUnspecified) || !call.Number(3, kUnspecified) ||
        !call.Number(4, kUnspecified)) {
        return InvalidArgument();
    }
    if (const std::shared_ptr<Cursor> cursor = SharedCursor(); cursor && cursor->IsOpen()) {
        return ObjectOpen();
    }
    return activeConnection == nullptr ? InvalidConnection() : RunOver(*activeConnection, *source);
}

// Runs the source over a connection object, or over a connection of its own that a connection string describes.
Answer RecordsetObject::RunOver(const VARIANT& activeConnection, std::wstring_view source)
{
    std::shared_ptr<Session> session;
    if (V_VT(&activeConnection) == VT_BSTR) {
        session = std::make_shared<Session>();
        const BSTR text = V_BSTR(&activeConnection);
        if (Answer refusal = session->Open(std::wstring_view(text, SysStringLen(text)), {}, {})) {
            return refusal;
        }
    } else {
        win::ComPtr<ConnectionObject> connection;
        connection.Attach(ConnectionObject::From(activeConnection));
        if (!connection || !connection->SharedSession()->IsOpen()) {
            return InvalidConnection();
        }
        session = connection->SharedSession();
    }
    std::shared_ptr<Cursor> cursor;
    std::int64_t rowCount = 0;
    Answer refusal = session->Run(source, cursor, rowCount);
    if (!refusal) {
        const std::lock_guard guard(lock_);
        cursor_ = std::move(cursor);
    }
    return refusal;
}

Answer RecordsetObject::OnClose(const Call& /*call*/)
{
    return Ask([](Cursor& cursor) { return cursor.Close(); });
}

Answer RecordsetObject::OnBof(const Call& call)
{
    bool isAtBegin = false;
    Answer refusal = Ask([&](const Cursor& cursor) { return cursor.IsAtBegin(isAtBegin); });
    return refusal ? refusal : call.Return(isAtBegin);
}

Answer RecordsetObject::OnEof(const Call& call)
{
    bool isAtEnd = false;
    Answer refusal = Ask([&](const Cursor& cursor) { return cursor.IsAtEnd(isAtEnd); });
    return refusal ? refusal : call.Return(isAtEnd);
}

Answer RecordsetObject::OnMoveFirst(const Call& /*call*/)
{
    return Ask([](Cursor& cursor) { return cursor.MoveFirst(); });
}

Answer RecordsetObject::OnMoveNext(const Call& /*call*/)
{
    return Ask([](Cursor& cursor) { return cursor.MoveNext(); });
}

Answer RecordsetObject::OnFields(const Call& call)
{
    const win::ComPtr<FieldsObject> fields = MakeObject<FieldsObject>(SharedCursor());
    // With an argument it is the item of the collection that is asked for.
    return call.Argument(0) == nullptr ? call.ReturnObject(fields) : fields->OnItem(call);
}

Answer RecordsetObject::OnState(const Call& call)
{
    const std::shared_ptr<Cursor> cursor = SharedCursor();
    return call.Return(cursor && cursor->IsOpen() ? kStateOpen : kStateClosed);
}

} // namespace sim::ado
