#pragma once

#include "ado/dispatch_object.h"
#include "ado/session.h"

#include <array>
#include <memory>
#include <string_view>

namespace sim::ado {

// "ADODB.Recordset": forward-only and read-only, whatever cursor and lock are asked for.
class RecordsetObject final : public DispatchObject<RecordsetObject> {
public:
    // A closed recordset.
    RecordsetObject() = default;

    // The recordset of a statement that a connection has run.
    explicit RecordsetObject(std::shared_ptr<Cursor> cursor);

private:
    friend class DispatchObject<RecordsetObject>;

    Answer OnOpen(const Call& call);
    Answer OnClose(const Call& call);
    Answer OnBof(const Call& call);
    Answer OnEof(const Call& call);
    Answer OnMoveFirst(const Call& call);
    Answer OnMoveNext(const Call& call);
    Answer OnFields(const Call& call);
    Answer OnState(const Call& call);

    [[nodiscard]] std::shared_ptr<Cursor> SharedCursor() const;
    [[nodiscard]] Answer RunOver(const VARIANT& activeConnection, std::wstring_view source);
    // Asks the open cursor something, or refuses.
    template <typename Question>
    [[nodiscard]] Answer Ask(Question question) const;

    static const wchar_t* const kSource;
    static const std::array<Member<RecordsetObject>, 8> kMembers;

    mutable win::CriticalSection lock_; // guards what is below; never held while the cursor works
    std::shared_ptr<Cursor> cursor_;    // keeps the connection's session
};

} // namespace sim::ado
