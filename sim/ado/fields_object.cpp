#include "ado/fields_object.h"

#include "win/text.h"

namespace sim::ado {

namespace {

// The place of the column that an argument names by its number or its name.
std::optional<std::size_t> FindColumn(const std::vector<odbc::Column>& columns, const Call& call)
{
    if (V_VT(call.Argument(0)) == VT_BSTR) {
        const std::optional<std::wstring> name = call.Text(0);
        const auto found = std::ranges::find_if(
            columns, [&](const odbc::Column& column) { return win::EqualNames(column.name, *name); });
        return found == columns.end() ? std::nullopt : std::optional(static_cast<std::size_t>(found - columns.begin()));
    }
    const std::optional<LONG> number = call.Number(0, 0);
    const bool exists = number && *number >= 0 && static_cast<std::size_t>(*number) < columns.size();
    return exists ? std::optional(static_cast<std::size_t>(*number)) : std::nullopt;
}

} // namespace

const wchar_t* const FieldsObject::kSource = L"ADODB.Fields";

const std::array<Member<FieldsObject>, 2> FieldsObject::kMembers = {{
    {L"Item", DISPID_VALUE, kItem, 1, 1, &FieldsObject::OnItem},
    {L"Count", 1, kReadOnly, 0, 0, &FieldsObject::OnCount},
}};

FieldsObject::FieldsObject(std::shared_ptr<Cursor> cursor) : cursor_(std::move(cursor)) {}

Answer FieldsObject::OnItem(const Call& call)
{
    if (call.Argument(0) == nullptr) {
        return InvalidArgument();
    }
    std::vector<odbc::Column> columns = cursor_ ? cursor_->Columns() : std::vector<odbc::Column>();
    const std::optional<std::size_t> column = FindColumn(columns, call);
    if (!column) {
        return ItemNotFound();
    }
    return call.ReturnObject(MakeObject<FieldObject>(cursor_, *column, std::move(columns[*column].name)));
}

Answer FieldsObject::OnCount(const Call& call)
{
    return call.Return(static_cast<std::int32_t>(cursor_ ? cursor_->Columns().size() : 0));
}

const wchar_t* const FieldObject::kSource = L"ADODB.Field";

const std::array<Member<FieldObject>, 2> FieldObject::kMembers = {{
    {L"Value", DISPID_VALUE, kReadOnly, 0, 0, &FieldObject::OnValue},
    {L"Name", 1100, kReadOnly, 0, 0, &FieldObject::OnName},
}};

FieldObject::FieldObject(std::shared_ptr<Cursor> cursor, std::size_t column, std::wstring name)
    : cursor_(std::move(cursor)), column_(column), name_(std::move(name))
{}

Answer FieldObject::OnName(const Call& call)
{
    return call.Return(name_);
}

Answer FieldObject::OnValue(const Call& call)
{
    odbc::Value value;
    Answer refusal = cursor_->ReadValue(column_, value);
    return refusal ? refusal : call.Return(value);
}

} // namespace sim::ado
