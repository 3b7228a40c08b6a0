#pragma once

#include "ado/dispatch_object.h"
#include "ado/session.h"

#include <array>
#include <memory>
#include <string>

namespace sim::ado {

// "Fields", the columns of a recordset.
class FieldsObject final : public DispatchObject<FieldsObject> {
public:
    // The columns of the cursor's result; none where there is no cursor.
    explicit FieldsObject(std::shared_ptr<Cursor> cursor);

    // Returns the field of the number, counted from 0, or of the name, in any case, that is the first argument.
    Answer OnItem(const Call& call);

private:
    friend class DispatchObject<FieldsObject>;

    Answer OnCount(const Call& call);

    static const wchar_t* const kSource;
    static const std::array<Member<FieldsObject>, 2> kMembers;

    std::shared_ptr<Cursor> cursor_;
};

// "Field", a column of a recordset; its value is that of the row that is current when it is asked for.
class FieldObject final : public DispatchObject<FieldObject> {
public:
    FieldObject(std::shared_ptr<Cursor> cursor, std::size_t column, std::wstring name);

private:
    friend class DispatchObject<FieldObject>;

    Answer OnName(const Call& call);
    Answer OnValue(const Call& call);

    static const wchar_t* const kSource;
    static const std::array<Member<FieldObject>, 2> kMembers;

    std::shared_ptr<Cursor> cursor_;
    std::size_t column_;
    std::wstring name_;
};

} // namespace sim::ado
