#include "db/ado_implement.h"

#include "db/db_error.h"
#include "trace/VLTrace.h"
#include "win/variant.h"

#include <memory>

namespace vldb {

namespace {

constexpr wchar_t kSource[] = L"ado_implement";

// ADO's own constants.
constexpr LONG kOptionsUnspecified = -1; // adOptionUnspecified, also adConnectUnspecified
constexpr LONG kForwardOnly = 0;         // adOpenForwardOnly
constexpr LONG kReadOnly = 1;            // adLockReadOnly
constexpr LONG kCommandIsText = 1;       // adCmdText

// Throws the error of a failed call; line is the operation's.
void Require(const win::CallResult& result, int line)
{
    if (FAILED(result.code)) {
        throw MakeDbError(result, kSource, line);
    }
}

// Makes an object of the class. That it has no IDispatch is left to the first call to find out, which then has no
// object.
win::CallResult Create(const wchar_t* className, win::ComPtr<IDispatch>& object)
{
    win::CallResult created = win::CreateLateBound(className, object);
    return created.code == E_NOINTERFACE ? win::CallResult{} : created;
}

win::CallResult OpenConnection(const std::wstring& connectionString, win::ComPtr<IDispatch>& connection)
{
    if (win::CallResult created = Create(L"ADODB.Connection", connection); FAILED(created.code)) {
        return created;
    }
    const win::Variant arguments[] = {
        win::Variant::OfText(connectionString),
        win::Variant::OfText(L""), // user
        win::Variant::OfText(L""), // password
        win::Variant::OfInteger(kOptionsUnspecified),
    };
    return win::CallMethod(connection.Get(), L"Open", arguments);
}

win::CallResult OpenRecordset(IDispatch* connection, const std::wstring& statement, win::ComPtr<IDispatch>& recordset)
{
    if (win::CallResult created = Create(L"ADODB.Recordset", recordset); FAILED(created.code)) {
        return created;
    }
    const win::Variant arguments[] = {
        win::Variant::OfText(statement),         win::Variant::OfObject(connection),
        win::Variant::OfInteger(kForwardOnly),   win::Variant::OfInteger(kReadOnly),
        win::Variant::OfInteger(kCommandIsText),
    };
    return win::CallMethod(recordset.Get(), L"Open", arguments);
}

bool IsAtEnd(const win::ComPtr<IDispatch>& recordset, int line)
{
    win::Variant end;
    Require(win::GetProperty(recordset.Get(), L"EOF", {}, end), line);
    Require({end.ChangeType(VT_BOOL)}, line);
    return end.Get().boolVal != VARIANT_FALSE;
}

win::ComPtr<IDispatch> FieldsOf(const win::ComPtr<IDispatch>& recordset, int line)
{
    win::ComPtr<IDispatch> fields;
    Require(win::GetObjectProperty(recordset.Get(), L"Fields", {}, fields), line);
    return fields;
}

// A property of the field.
win::Variant FieldProperty(const win::ComPtr<IDispatch>& recordset, std::int32_t index, const wchar_t* name, int line)
{
    const win::ComPtr<IDispatch> fields = FieldsOf(recordset, line);
    const win::Variant indexes[] = {win::Variant::OfInteger(index)};
    win::ComPtr<IDispatch> field;
    Require(win::GetObjectProperty(fields.Get(), L"Item", indexes, field), line);
    win::Variant value;
    Require(win::GetProperty(field.Get(), name, {}, value), line);
    return value;
}

// The field's value, changed to the type.
win::Variant FieldValue(const win::ComPtr<IDispatch>& recordset, std::int32_t index, VARTYPE type, int line)
{
    win::Variant value = FieldProperty(recordset, index, L"Value", line);
    Require({value.ChangeType(type)}, line);
    return value;
}

// The text of a VT_BSTR up to its first NUL character.
std::wstring TextOf(const win::Variant& value)
{
    return value.Get().bstrVal == nullptr ? std::wstring() : std::wstring(value.Get().bstrVal);
}

} // namespace

// --- Connection ---

CAdoDbConnection::CAdoDbConnection(const std::wstring& connectionString, win::CallResult& opened)
{
    const TraceEntry entry(kSource, L"vldb::CAdoDbConnection::CAdoDbConnection", __LINE__);
    opened = OpenConnection(connectionString, connection_);
}

CAdoDbConnection::~CAdoDbConnection()
{
    const TraceEntry entry(kSource, L"vldb::CAdoDbConnection::~CAdoDbConnection", __LINE__);
}

void CAdoDbConnection::Close()
{
    constexpr wchar_t kFunction[] = L"vldb::CAdoDbConnection::Close";
    const TraceEntry entry(kSource, kFunction, __LINE__);
    TraceStep(kSource, kFunction, __LINE__, L"Call m_Connection->Close()");
    Require(win::CallMethod(connection_.Get(), L"Close"), __LINE__);
}

IDbTransaction* CAdoDbConnection::GetTransaction()
{
    const TraceEntry entry(kSource, L"vldb::CAdoDbConnection::GetTransaction", __LINE__);
    return this;
}

IDbCommand* CAdoDbConnection::GetCommand()
{
    const TraceEntry entry(kSource, L"vldb::CAdoDbConnection::GetCommand", __LINE__);
    return this;
}

void CAdoDbConnection::Begin()
{
    const TraceEntry entry(kSource, L"vldb::CAdoDbConnection::Begin", __LINE__);
    Require(win::CallMethod(connection_.Get(), L"BeginTrans"), __LINE__);
}

void CAdoDbConnection::Commit()
{
    const TraceEntry entry(kSource, L"vldb::CAdoDbConnection::Commit", __LINE__);
    Require(win::CallMethod(connection_.Get(), L"CommitTrans"), __LINE__);
}

void CAdoDbConnection::Rollback()
{
    const TraceEntry entry(kSource, L"vldb::CAdoDbConnection::Rollback", __LINE__);
    Require(win::CallMethod(connection_.Get(), L"RollbackTrans"), __LINE__);
}

void CAdoDbConnection::ExecuteNonQuery(const std::wstring& statement)
{
    const TraceEntry entry(kSource, L"vldb::CAdoDbConnection::ExecuteNonQuery", __LINE__);
    const win::Variant arguments[] = {win::Variant::OfText(statement)};
    Require(win::CallMethod(connection_.Get(), L"Execute", arguments), __LINE__);
}

IDbReader* CAdoDbConnection::ExecuteReader(const std::wstring& statement)
{
    const TraceEntry entry(kSource, L"vldb::CAdoDbConnection::ExecuteReader", __LINE__);
    return std::make_unique<CAdoDbReader>(connection_.Get(), statement).release();
}

// --- Reader ---

CAdoDbReader::CAdoDbReader(IDispatch* connection, const std::wstring& statement)
{
    const TraceEntry entry(kSource, L"vldb::CAdoDbReader::CAdoDbReader", __LINE__);
    if (const win::CallResult opened = OpenRecordset(connection, statement, recordset_); FAILED(opened.code)) {
        throw MakeStatementError(opened, statement, kSource, __LINE__);
    }
}

CAdoDbReader::~CAdoDbReader()
{
    const TraceEntry entry(kSource, L"vldb::CAdoDbReader::~CAdoDbReader", __LINE__);
}

bool CAdoDbReader::Read()
{
    TraceEnter(kSource, L"vldb::CAdoDbReader::Read", __LINE__);
    if (IsAtEnd(recordset_, __LINE__)) {
        return false;
    }
    Require(win::CallMethod(recordset_.Get(), isBeforeFirst_ ? L"MoveFirst" : L"MoveNext"), __LINE__);
    isBeforeFirst_ = false;
    return !IsAtEnd(recordset_, __LINE__);
}

void CAdoDbReader::Close()
{
    const TraceEntry entry(kSource, L"vldb::CAdoDbReader::Close", __LINE__);
    Require(win::CallMethod(recordset_.Get(), L"Close"), __LINE__);
}

std::int32_t CAdoDbReader::GetColumnCount()
{
    TraceEnter(kSource, L"vldb::CAdoDbReader::GetColumnCount", __LINE__);
    win::Variant count;
    Require(win::GetProperty(FieldsOf(recordset_, __LINE__).Get(), L"Count", {}, count), __LINE__);
    Require({count.ChangeType(VT_I4)}, __LINE__);
    return count.Get().lVal;
}

std::wstring CAdoDbReader::GetColumnName(std::int32_t index)
{
    TraceEnter(kSource, L"vldb::CAdoDbReader::GetColumnName", __LINE__);
    win::Variant name = FieldProperty(recordset_, index, L"Name", __LINE__);
    Require({name.ChangeType(VT_BSTR)}, __LINE__);
    return TextOf(name);
}

bool CAdoDbReader::IsNull(std::int32_t index)
{
    const TraceEntry entry(kSource, L"vldb::CAdoDbReader::IsNull", __LINE__);
    return FieldProperty(recordset_, index, L"Value", __LINE__).Type() == VT_NULL;
}

std::int32_t CAdoDbReader::GetInt32(std::int32_t index)
{
    const TraceEntry entry(kSource, L"vldb::CAdoDbReader::GetInt32", __LINE__);
    return FieldValue(recordset_, index, VT_I4, __LINE__).Get().lVal;
}

std::int64_t CAdoDbReader::GetInt64(std::int32_t index)
{
    const TraceEntry entry(kSource, L"vldb::CAdoDbReader::GetInt64", __LINE__);
    return FieldValue(recordset_, index, VT_I8, __LINE__).Get().llVal;
}

double CAdoDbReader::GetDouble(std::int32_t index)
{
    const TraceEntry entry(kSource, L"vldb::CAdoDbReader::GetDouble", __LINE__);
    return FieldValue(recordset_, index, VT_R8, __LINE__).Get().dblVal;
}

std::wstring CAdoDbReader::GetString(std::int32_t index)
{
    const TraceEntry entry(kSource, L"vldb::CAdoDbReader::GetString", __LINE__);
    win::Variant value = FieldProperty(recordset_, index, L"Value", __LINE__);
    if (value.Type() == VT_NULL) {
        return {};
    }
    if (value.Type() != VT_BSTR) {
        Require({value.ChangeType(VT_BSTR)}, __LINE__);
    }
    return TextOf(value);
}

VARIANT CAdoDbReader::GetValue(std::int32_t index)
{
    const TraceEntry entry(kSource, L"vldb::CAdoDbReader::GetValue", __LINE__);
    VARIANT value{};
    value.dblVal = GetDouble(index);
    value.vt = VT_R8;
    return value;
}

} // namespace vldb
