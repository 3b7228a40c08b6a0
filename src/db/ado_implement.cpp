#include "db/ado_implement.h"

#include "db/db_error.h"
#include "trace/VLTrace.h"
#include "win/late_bound.h"
#include "win/variant.h"

#include <cmath>
#include <memory>
#include <span>
#include <utility>

namespace vldb {

namespace {

constexpr wchar_t kSource[] = L"ado_implement";

// ADO's own constants.
constexpr LONG kOptionsUnspecified = -1; // adOptionUnspecified, also adConnectUnspecified
constexpr LONG kForwardOnly = 0;         // adOpenForwardOnly
constexpr LONG kReadOnly = 1;            // adLockReadOnly
constexpr LONG kCommandIsText = 1;       // adCmdText

// Makes an object of the class. Where it has no IDispatch, the first call finds no object and fails.
win::ComPtr<IDispatch> Create(const wchar_t* className)
{
    win::ComPtr<IDispatch> object;
    if (win::CallResult created = win::CreateLateBound(className, object); created.code != E_NOINTERFACE) {
        Require(std::move(created));
    }
    return object;
}

void Call(const win::ComPtr<IDispatch>& object, const wchar_t* method, std::span<const win::Variant> arguments = {})
{
    Require(win::CallMethod(object.Get(), method, arguments));
}

// A property, changed to the type.
win::Variant GetProperty(const win::ComPtr<IDispatch>& object, const wchar_t* name, VARTYPE type)
{
    win::Variant value;
    Require(win::GetProperty(object.Get(), name, {}, value));
    Require({value.ChangeType(type)});
    return value;
}

win::ComPtr<IDispatch> OpenConnection(const std::wstring& connectionString)
{
    win::ComPtr<IDispatch> connection = Create(L"ADODB.Connection");
    const win::Variant arguments[] = {
        win::Variant::OfText(connectionString),
        win::Variant::OfText(L""), // user
        win::Variant::OfText(L""), // password
        win::Variant::OfInteger(kOptionsUnspecified),
    };
    Call(connection, L"Open", arguments);
    return connection;
}

win::ComPtr<IDispatch> OpenRecordset(IDispatch* connection, const std::wstring& statement)
{
    win::ComPtr<IDispatch> recordset = Create(L"ADODB.Recordset");
    const win::Variant arguments[] = {
        win::Variant::OfText(statement),         win::Variant::OfObject(connection),
        win::Variant::OfInteger(kForwardOnly),   win::Variant::OfInteger(kReadOnly),
        win::Variant::OfInteger(kCommandIsText),
    };
    Call(recordset, L"Open", arguments);
    return recordset;
}

bool IsAtEnd(const win::ComPtr<IDispatch>& recordset)
{
    return GetProperty(recordset, L"EOF", VT_BOOL).Get().boolVal != VARIANT_FALSE;
}

win::ComPtr<IDispatch> FieldsOf(const win::ComPtr<IDispatch>& recordset)
{
    win::ComPtr<IDispatch> fields;
    Require(win::GetObjectProperty(recordset.Get(), L"Fields", {}, fields));
    return fields;
}

win::ComPtr<IDispatch> FieldOf(const win::ComPtr<IDispatch>& recordset, std::int32_t index)
{
    const win::Variant indexes[] = {win::Variant::OfInteger(index)};
    win::ComPtr<IDispatch> field;
    Require(win::GetObjectProperty(FieldsOf(recordset).Get(), L"Item", indexes, field));
    return field;
}

// The field's value as it is.
win::Variant ValueOf(const win::ComPtr<IDispatch>& recordset, std::int32_t index)
{
    win::Variant value;
    Require(win::GetProperty(FieldOf(recordset, index).Get(), L"Value", {}, value));
    return value;
}

// The field's value, changed to the type.
win::Variant ValueOf(const win::ComPtr<IDispatch>& recordset, std::int32_t index, VARTYPE type)
{
    return GetProperty(FieldOf(recordset, index), L"Value", type);
}

// The number that a single-precision one stands for: of the decimals that it is the nearest one to, the shortest.
// Merely widened, 7.45 would be 7.4499998 and round to 7.4.
double DecimalOf(float number)
{
    constexpr int kMostPlaces = 9;
    double scale = 1;
    for (int places = 0; places <= kMostPlaces; ++places) {
        if (const double decimal = std::round(number * scale) / scale; static_cast<float>(decimal) == number) {
            return decimal;
        }
        scale *= 10;
    }
    return number;
}

// The text of a VT_BSTR up to its first NUL character.
std::wstring TextOf(const win::Variant& value)
{
    return value.Get().bstrVal == nullptr ? std::wstring() : std::wstring(value.Get().bstrVal);
}

} // namespace

// --- Connection ---

CAdoDbConnection::CAdoDbConnection(const std::wstring& connectionString)
{
    const TraceEntry entry(kSource, L"vldb::CAdoDbConnection::CAdoDbConnection", __LINE__);
    connection_ = OpenConnection(connectionString);
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
    Attempt(kSource, [&] { Call(connection_, L"Close"); });
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
    Attempt(kSource, [&] { Call(connection_, L"BeginTrans"); });
}

void CAdoDbConnection::Commit()
{
    const TraceEntry entry(kSource, L"vldb::CAdoDbConnection::Commit", __LINE__);
    Attempt(kSource, [&] { Call(connection_, L"CommitTrans"); });
}

void CAdoDbConnection::Rollback()
{
    const TraceEntry entry(kSource, L"vldb::CAdoDbConnection::Rollback", __LINE__);
    Attempt(kSource, [&] { Call(connection_, L"RollbackTrans"); });
}

void CAdoDbConnection::ExecuteNonQuery(const std::wstring& statement)
{
    const TraceEntry entry(kSource, L"vldb::CAdoDbConnection::ExecuteNonQuery", __LINE__);
    Attempt(kSource, [&] {
        const win::Variant arguments[] = {win::Variant::OfText(statement)};
        Call(connection_, L"Execute", arguments);
    });
}

IDbReader* CAdoDbConnection::ExecuteReader(const std::wstring& statement)
{
    const TraceEntry entry(kSource, L"vldb::CAdoDbConnection::ExecuteReader", __LINE__);
    return Attempt(
        kSource, [&] { return std::make_unique<CAdoDbReader>(connection_.Get(), statement).release(); }, &statement);
}

// --- Reader ---

CAdoDbReader::CAdoDbReader(IDispatch* connection, const std::wstring& statement)
{
    const TraceEntry entry(kSource, L"vldb::CAdoDbReader::CAdoDbReader", __LINE__);
    recordset_ = Attempt(
        kSource, [&] { return OpenRecordset(connection, statement); }, &statement);
}

CAdoDbReader::~CAdoDbReader()
{
    const TraceEntry entry(kSource, L"vldb::CAdoDbReader::~CAdoDbReader", __LINE__);
}

bool CAdoDbReader::Read()
{
    TraceEnter(kSource, L"vldb::CAdoDbReader::Read", __LINE__);
    return Attempt(kSource, [&] {
        if (IsAtEnd(recordset_)) {
            return false;
        }
        Call(recordset_, isBeforeFirst_ ? L"MoveFirst" : L"MoveNext");
        isBeforeFirst_ = false;
        return !IsAtEnd(recordset_);
    });
}

void CAdoDbReader::Close()
{
    const TraceEntry entry(kSource, L"vldb::CAdoDbReader::Close", __LINE__);
    Attempt(kSource, [&] { Call(recordset_, L"Close"); });
}

std::int32_t CAdoDbReader::GetColumnCount()
{
    TraceEnter(kSource, L"vldb::CAdoDbReader::GetColumnCount", __LINE__);
    return Attempt(kSource, [&] { return GetProperty(FieldsOf(recordset_), L"Count", VT_I4).Get().lVal; });
}

std::wstring CAdoDbReader::GetColumnName(std::int32_t index)
{
    TraceEnter(kSource, L"vldb::CAdoDbReader::GetColumnName", __LINE__);
    return Attempt(kSource, [&] { return TextOf(GetProperty(FieldOf(recordset_, index), L"Name", VT_BSTR)); });
}

bool CAdoDbReader::IsNull(std::int32_t index)
{
    const TraceEntry entry(kSource, L"vldb::CAdoDbReader::IsNull", __LINE__);
    return Attempt(kSource, [&] { return ValueOf(recordset_, index).Type() == VT_NULL; });
}

std::int32_t CAdoDbReader::GetInt32(std::int32_t index)
{
    const TraceEntry entry(kSource, L"vldb::CAdoDbReader::GetInt32", __LINE__);
    return Attempt(kSource, [&] { return ValueOf(recordset_, index, VT_I4).Get().lVal; });
}

std::int64_t CAdoDbReader::GetInt64(std::int32_t index)
{
    const TraceEntry entry(kSource, L"vldb::CAdoDbReader::GetInt64", __LINE__);
    return Attempt(kSource, [&] { return ValueOf(recordset_, index, VT_I8).Get().llVal; });
}

double CAdoDbReader::GetDouble(std::int32_t index)
{
    const TraceEntry entry(kSource, L"vldb::CAdoDbReader::GetDouble", __LINE__);
    return Attempt(kSource, [&] {
        win::Variant value = ValueOf(recordset_, index);
        if (value.Type() == VT_R4) {
            return DecimalOf(value.Get().fltVal);
        }
        Require({value.ChangeType(VT_R8)});
        return value.Get().dblVal;
    });
}

std::wstring CAdoDbReader::GetString(std::int32_t index)
{
    const TraceEntry entry(kSource, L"vldb::CAdoDbReader::GetString", __LINE__);
    return Attempt(kSource, [&]() -> std::wstring {
        win::Variant value = ValueOf(recordset_, index);
        if (value.Type() == VT_NULL) {
            return {};
        }
        if (value.Type() != VT_BSTR) {
            Require({value.ChangeType(VT_BSTR)});
        }
        return TextOf(value);
    });
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
