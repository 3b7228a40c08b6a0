#include "odbc/odbc.h"

#include "base/text.h"

#include <algorithm>
#include <array>
#include <limits>

namespace sim::odbc {

namespace {

// The text of the bytes of a driver; what is not UTF-8 becomes the replacement character.
std::wstring TextOf(std::string_view bytes)
{
    const int size = static_cast<int>(bytes.size());
    const int length = MultiByteToWideChar(CP_UTF8, 0, bytes.data(), size, nullptr, 0);
    std::wstring text(static_cast<std::size_t>(std::max(length, 0)), L'\0');
    MultiByteToWideChar(CP_UTF8, 0, bytes.data(), size, text.data(), length);
    return text;
}

// ODBC takes bytes that it only reads without const.
SQLCHAR* Bytes(std::string& text)
{
    return reinterpret_cast<SQLCHAR*>(text.data());
}

// The first record that the call on this handle has left; the first one tells the cause.
Failure FailureOf(SQLSMALLINT kind, SQLHANDLE handle)
{
    std::array<SQLCHAR, 6> state{};
    SQLINTEGER nativeError = 0;
    SQLSMALLINT length = 0;
    std::string text(SQL_MAX_MESSAGE_LENGTH, '\0');
    SQLRETURN result = SQLGetDiagRec(kind, handle, 1, state.data(), &nativeError, Bytes(text),
                                     static_cast<SQLSMALLINT>(text.size()), &length);
    if (result == SQL_SUCCESS_WITH_INFO && length >= static_cast<SQLSMALLINT>(text.size())) {
        text.resize(static_cast<std::size_t>(length) + 1);
        result = SQLGetDiagRec(kind, handle, 1, state.data(), &nativeError, Bytes(text),
                               static_cast<SQLSMALLINT>(text.size()), &length);
    }
    if (!SQL_SUCCEEDED(result)) {
        return {"HY000", L"The driver does not tell what is wrong."};
    }
    const std::size_t end = std::min(text.find('\0'), text.size());
    return {reinterpret_cast<const char*>(state.data()), TextOf(std::string_view(text).substr(0, end))};
}

Result CheckCall(SQLRETURN result, SQLSMALLINT kind, SQLHANDLE handle)
{
    return SQL_SUCCEEDED(result) ? Result() : FailureOf(kind, handle);
}

SQLPOINTER Attribute(SQLULEN value)
{
    return reinterpret_cast<SQLPOINTER>(value);
}

// Automation's date of a time stamp, whose fraction counts billionths of a second.
Date DateOf(const SQL_TIMESTAMP_STRUCT& stamp)
{
    constexpr double kFractionsOfADay = 86400e9;
    SYSTEMTIME time{};
    time.wYear = static_cast<WORD>(stamp.year);
    time.wMonth = stamp.month;
    time.wDay = stamp.day;
    time.wHour = stamp.hour;
    time.wMinute = stamp.minute;
    time.wSecond = stamp.second;
    double days = 0;
    if (SystemTimeToVariantTime(&time, &days) == FALSE) {
        return {};
    }
    // The time of day counts away from zero, also before 1899.
    const double fraction = stamp.fraction / kFractionsOfADay;
    return {days < 0 ? days - fraction : days + fraction};
}

// In which of our types a column's values are read.
enum class Kind { Boolean, Integer, Double, Date, Decimal, Bytes, Text };

Kind KindOf(SQLSMALLINT type)
{
    switch (type) {
    case SQL_BIT:
        return Kind::Boolean;
    case SQL_TINYINT:
    case SQL_SMALLINT:
    case SQL_INTEGER:
    case SQL_BIGINT:
        return Kind::Integer;
    case SQL_REAL:
    case SQL_FLOAT:
    case SQL_DOUBLE:
        return Kind::Double;
    case SQL_DATE:
    case SQL_TIMESTAMP:
    case SQL_TYPE_DATE:
    case SQL_TYPE_TIMESTAMP:
        return Kind::Date;
    case SQL_NUMERIC:
    case SQL_DECIMAL:
        return Kind::Decimal;
    case SQL_BINARY:
    case SQL_VARBINARY:
    case SQL_LONGVARBINARY:
        return Kind::Bytes;
    default:
        return Kind::Text;
    }
}

// The type of the column where the number fits it; SQLite keeps any number in any column.
Value IntegerValue(std::int64_t number, SQLSMALLINT type)
{
    using Small = std::numeric_limits<std::int32_t>;
    const bool isSmall = type != SQL_BIGINT && number >= Small::min() && number <= Small::max();
    return isSmall ? Value(static_cast<std::int32_t>(number)) : Value(number);
}

} // namespace

Result Connection::Open(std::wstring_view connectionString)
{
    Close();
    if (!environment_) {
        if (!SQL_SUCCEEDED(SQLAllocHandle(SQL_HANDLE_ENV, SQL_NULL_HANDLE, environment_.Put()))) {
            return Failure{"HY000", L"ODBC is not available."};
        }
        const SQLRETURN result =
            SQLSetEnvAttr(environment_.Get(), SQL_ATTR_ODBC_VERSION, Attribute(SQL_OV_ODBC3), SQL_IS_UINTEGER);
        if (!SQL_SUCCEEDED(result)) {
            return FailureOf(SQL_HANDLE_ENV, environment_.Get());
        }
    }
    if (!handle_ && !SQL_SUCCEEDED(SQLAllocHandle(SQL_HANDLE_DBC, environment_.Get(), handle_.Put()))) {
        return FailureOf(SQL_HANDLE_ENV, environment_.Get());
    }
    std::string bytes = ToUtf8(connectionString);
    const SQLRETURN result =
        SQLDriverConnect(handle_.Get(), nullptr, Bytes(bytes), SQL_NTS, nullptr, 0, nullptr, SQL_DRIVER_NOPROMPT);
    if (!SQL_SUCCEEDED(result)) {
        return Check(result);
    }
    session_.Reset(handle_.Get());
    return {};
}

void Connection::Close()
{
    session_.Reset();
}

Result Connection::Begin()
{
    return SetAutoCommit(false);
}

Result Connection::Commit()
{
    return End(SQL_COMMIT);
}

Result Connection::Rollback()
{
    return End(SQL_ROLLBACK);
}

Result Connection::Check(SQLRETURN result) const
{
    return CheckCall(result, SQL_HANDLE_DBC, handle_.Get());
}

Result Connection::SetAutoCommit(bool on) const
{
    return Check(SQLSetConnectAttr(handle_.Get(), SQL_ATTR_AUTOCOMMIT,
                                   Attribute(on ? SQL_AUTOCOMMIT_ON : SQL_AUTOCOMMIT_OFF), SQL_IS_UINTEGER));
}

Result Connection::End(SQLSMALLINT how) const
{
    Result result = Check(SQLEndTran(SQL_HANDLE_DBC, handle_.Get(), how));
    return result ? result : SetAutoCommit(true);
}

Result Statement::Execute(const Connection& connection, std::wstring_view text)
{
    Close();
    SQLRETURN result = SQLAllocHandle(SQL_HANDLE_STMT, connection.Handle(), handle_.Put());
    if (!SQL_SUCCEEDED(result)) {
        return FailureOf(SQL_HANDLE_DBC, connection.Handle());
    }
    std::string bytes = ToUtf8(text);
    result = SQLExecDirect(handle_.Get(), Bytes(bytes), static_cast<SQLINTEGER>(bytes.size()));
    // A statement that changes no row answers so.
    if (result == SQL_NO_DATA) {
        return {};
    }
    Result failure = Check(result);
    if (!failure) {
        failure = Describe();
    }
    if (failure) {
        Close();
    }
    return failure;
}

Result Statement::Describe()
{
    SQLSMALLINT count = 0;
    Result failure = Check(SQLNumResultCols(handle_.Get(), &count));
    for (SQLSMALLINT number = 1; !failure && number <= count; ++number) {
        std::string name(256, '\0');
        SQLSMALLINT length = 0;
        SQLSMALLINT type = 0;
        SQLULEN size = 0;
        SQLSMALLINT digits = 0;
        SQLSMALLINT nullable = 0;
        const auto describe = [&] {
            return SQLDescribeCol(handle_.Get(), static_cast<SQLUSMALLINT>(number), Bytes(name),
                                  static_cast<SQLSMALLINT>(name.size()), &length, &type, &size, &digits, &nullable);
        };
        failure = Check(describe());
        if (!failure && length >= static_cast<SQLSMALLINT>(name.size())) {
            name.resize(static_cast<std::size_t>(length) + 1);
            failure = Check(describe());
        }
        columns_.push_back({TextOf(std::string_view(name).substr(0, name.find('\0'))), type});
    }
    return failure;
}

std::int64_t Statement::RowCount() const
{
    SQLLEN count = -1;
    return handle_ && SQL_SUCCEEDED(SQLRowCount(handle_.Get(), &count)) ? count : -1;
}

Result Statement::Fetch(std::vector<Value>& row, bool& hasRow)
{
    row.clear();
    const SQLRETURN result = SQLFetch(handle_.Get());
    hasRow = SQL_SUCCEEDED(result);
    if (result == SQL_NO_DATA) {
        return {};
    }
    Result failure = Check(result);
    for (std::size_t index = 0; !failure && index < columns_.size(); ++index) {
        failure = Read(static_cast<SQLUSMALLINT>(index + 1), columns_[index].type, row.emplace_back());
    }
    return failure;
}

void Statement::Close()
{
    columns_.clear();
    handle_.Reset();
}

Result Statement::Check(SQLRETURN result) const
{
    return CheckCall(result, SQL_HANDLE_STMT, handle_.Get());
}

Result Statement::Read(SQLUSMALLINT column, SQLSMALLINT type, Value& value) const
{
    bool isNull = false;
    Result failure;
    switch (KindOf(type)) {
    case Kind::Boolean: {
        SQLCHAR bit = 0;
        failure = ReadFixed(column, SQL_C_BIT, bit, isNull);
        value = bit != 0;
        break;
    }
    case Kind::Integer: {
        std::int64_t number = 0;
        failure = ReadFixed(column, SQL_C_SBIGINT, number, isNull);
        value = IntegerValue(number, type);
        break;
    }
    case Kind::Double: {
        double number = 0;
        failure = ReadFixed(column, SQL_C_DOUBLE, number, isNull);
        value = number;
        break;
    }
    case Kind::Date: {
        SQL_TIMESTAMP_STRUCT stamp{};
        failure = ReadFixed(column, SQL_C_TYPE_TIMESTAMP, stamp, isNull);
        value = DateOf(stamp);
        break;
    }
    case Kind::Bytes: {
        std::vector<std::uint8_t> bytes;
        failure = ReadBytes(column, SQL_C_BINARY, bytes, isNull);
        value = std::move(bytes);
        break;
    }
    case Kind::Decimal:
    case Kind::Text: {
        std::string bytes;
        failure = ReadBytes(column, SQL_C_CHAR, bytes, isNull);
        value = KindOf(type) == Kind::Text ? Value(TextOf(bytes)) : Value(Decimal{TextOf(bytes)});
        break;
    }
    }
    if (isNull) {
        value = std::monostate();
    }
    return failure;
}

template <typename Number>
Result Statement::ReadFixed(SQLUSMALLINT column, SQLSMALLINT target, Number& number, bool& isNull) const
{
    SQLLEN size = 0;
    const SQLRETURN result = SQLGetData(handle_.Get(), column, target, &number, sizeof number, &size);
    isNull = size == SQL_NULL_DATA;
    return Check(result);
}

// Reads a value of any length piece by piece: a driver fills the buffer and goes on behind it at the next call.
template <typename Bytes>
Result Statement::ReadBytes(SQLUSMALLINT column, SQLSMALLINT target, Bytes& bytes, bool& isNull) const
{
    constexpr std::size_t kPiece = 4096;
    // A text is closed with a zero in every piece.
    const std::size_t closing = target == SQL_C_CHAR ? 1 : 0;
    for (;;) {
        std::array<char, kPiece> piece{};
        SQLLEN left = 0; // with this piece; SQL_NO_TOTAL where the driver does not know
        const SQLRETURN result = SQLGetData(handle_.Get(), column, target, piece.data(), kPiece, &left);
        if (result == SQL_NO_DATA) {
            return {};
        }
        if (!SQL_SUCCEEDED(result)) {
            return Check(result);
        }
        if (left == SQL_NULL_DATA) {
            isNull = true;
            return {};
        }
        const std::size_t room = kPiece - closing;
        const bool isLast = left != SQL_NO_TOTAL && static_cast<std::size_t>(left) <= room;
        const std::size_t size = isLast ? static_cast<std::size_t>(left) : room;
        bytes.insert(bytes.end(), piece.begin(), piece.begin() + static_cast<std::ptrdiff_t>(size));
        if (isLast) {
            return {};
        }
    }
}

} // namespace sim::odbc
