#include "db/ado_implement.h"

#include "db/db_error.h"
#include "db/db_manager.h"
#include "support/error_object.h"
#include "support/fake_ado.h"
#include "support/message_tables.h"
#include "support/product_test.h"
#include "support/trace_log.h"

#include <cmath>
#include <cwchar>
#include <functional>
#include <iterator>
#include <limits>
#include <memory>
#include <set>

namespace {

using namespace testing_support;

using vldb::CAdoDbConnection;
using vldb::CAdoDbReader;
using vldb::CDbError;

using Lines = std::vector<std::wstring>;

constexpr auto kFailure = static_cast<HRESULT>(0x80040E14);
constexpr wchar_t kFailureText[] = L"\r\nIt broke.\r\n\r\nReturn code: 0x80040E14 (2147749396) (ado_implement/#";
constexpr wchar_t kStatement[] = L"SELECT 'x' FROM t; \n";

// The records of an operation of the ADO classes.
Lines Records(const std::wstring& function, const Lines& between = {}, bool leaves = true)
{
    const std::wstring head = L"ado_implement (vldb::" + function + L") ";
    Lines records{head + L"*** ENTER ***"};
    records.insert(records.end(), between.begin(), between.end());
    if (leaves) {
        records.push_back(head + L"*** LEAVE ***");
    }
    return records;
}

class AdoTest : public ProductTest {
protected:
    void TearDown() override
    {
        ErrorObject::TakeFromThread();
        EXPECT_EQ(0, ErrorObject::Live());
        EXPECT_EQ(0, ado.LiveObjects());
        ProductTest::TearDown();
    }

    // The operation fails when the member does, with an error of its own source file and line; records of entry and
    // leave are the same as of a success.
    void ExpectFailure(const std::wstring& member, const std::function<void()>& operation, const std::wstring& text)
    {
        SCOPED_TRACE(::testing::PrintToString(member));
        ado.Fail(member, {.scode = kFailure, .description = L"It broke."});
        try {
            operation();
            ADD_FAILURE() << "no error";
        } catch (const CDbError& error) {
            EXPECT_EQ(kFailure, error.GetCode());
            EXPECT_TRUE(error.GetText().starts_with(text)) << ::testing::PrintToString(error.GetText());
            EXPECT_TRUE(error.GetText().ends_with(L")\r\n"));
            failedAt.insert(LineOf(error));
        }
        ado.Repair();
    }

    // The line that the error names.
    static long LineOf(const CDbError& error)
    {
        const std::wstring head = L" (ado_implement/#";
        const std::size_t at = error.GetText().rfind(head);
        return at == std::wstring::npos ? 0 : std::wcstol(error.GetText().c_str() + at + head.size(), nullptr, 10);
    }

    // So many operations have failed, each at a line of its own.
    void ExpectLinesOfTheirOwn(std::size_t operations) const
    {
        EXPECT_EQ(operations, failedAt.size());
        EXPECT_FALSE(failedAt.contains(0));
    }

    MessageTables tables;
    FakeAdo ado;
    std::set<long> failedAt; // the lines that errors have named, 0 for none
};

// --- Connection ---

class AdoConnection : public AdoTest {
protected:
    void SetUp() override { EXPECT_EQ(S_OK, Open().code); }
    void TearDown() override
    {
        connection.reset();
        AdoTest::TearDown();
    }

    // Makes the connection anew; how that ended.
    win::CallResult Open(const std::wstring& text = L"Provider=X;Data Source=y")
    {
        connection.reset();
        static_cast<void>(ado.TakeCalls());
        try {
            connection = std::make_unique<CAdoDbConnection>(text);
        } catch (const vldb::ComError& error) {
            return error.failure;
        }
        return {};
    }

    std::unique_ptr<CAdoDbConnection> connection;
};

TEST_F(AdoConnection, OpensWithoutUserPasswordAndOptions)
{
    EXPECT_EQ(S_OK, Open(L"DSN=a;b").code);
    EXPECT_EQ(Lines{L"connection.Open(BSTR DSN=a;b, BSTR , BSTR , I4 -1)"}, ado.TakeCalls());
    EXPECT_EQ((AdoCreation{L"ADODB.Connection", 23, IID_IDispatch}), ado.TakeCreations().at(0));
    EXPECT_EQ(S_OK, Open(L"").code);
    EXPECT_EQ(Lines{L"connection.Open(BSTR , BSTR , BSTR , I4 -1)"}, ado.TakeCalls());
}

TEST_F(AdoConnection, TellsWhyItCouldNotBeOpened)
{
    ado.Fail(L"connection.Open", {.scode = kFailure, .description = L"No server."});
    win::CallResult opened = Open();
    EXPECT_EQ(kFailure, opened.code);
    EXPECT_EQ(L"No server.", opened.description);
    ado.Repair();
    ado.uncreatable[L"ADODB.Connection"] = REGDB_E_CLASSNOTREG;
    EXPECT_EQ(REGDB_E_CLASSNOTREG, Open().code);
    ado.unregistered[L"ADODB.Connection"] = CO_E_CLASSSTRING;
    EXPECT_EQ(CO_E_CLASSSTRING, Open().code);
}

// That an object lacks the interface is no failure of its creation; the first call finds no object.
TEST_F(AdoConnection, HasNoObjectToOpenWhereItLacksTheInterface)
{
    ado.uncreatable[L"ADODB.Connection"] = E_NOINTERFACE;
    EXPECT_EQ(E_POINTER, Open().code);
    EXPECT_TRUE(ado.TakeCalls().empty());
}

// There is no object to be destroyed where it cannot be opened.
TEST_F(AdoConnection, RecordsThatItCouldNotBeOpened)
{
    connection.reset();
    TracedOperations trace;
    ado.Fail(L"connection.Open", {.scode = kFailure, .description = L"No server."});
    EXPECT_EQ(kFailure, Open().code);
    EXPECT_EQ(Records(L"CAdoDbConnection::CAdoDbConnection"), trace.Take());
}

TEST_F(AdoConnection, HasTheFacesOfCommandAndTransaction)
{
    vldb::IDbConnection* const face = connection.get();
    EXPECT_EQ(static_cast<vldb::IDbCommand*>(connection.get()), face->GetCommand());
    EXPECT_EQ(static_cast<vldb::IDbTransaction*>(connection.get()), face->GetTransaction());
    EXPECT_EQ(face->GetCommand(), vldb::GetCommand(face));
    EXPECT_EQ(face->GetTransaction(), vldb::GetTransaction(face));
}

TEST_F(AdoConnection, HasItsBasesInTheirOrder)
{
    const auto address = [](const auto* face) { return reinterpret_cast<std::uintptr_t>(face); };
    EXPECT_LT(address(static_cast<vldb::IDbConnection*>(connection.get())),
              address(static_cast<vldb::IDbTransaction*>(connection.get())));
    EXPECT_LT(address(static_cast<vldb::IDbTransaction*>(connection.get())),
              address(static_cast<vldb::IDbCommand*>(connection.get())));
}

struct ConnectionOperation {
    const wchar_t* function;
    const wchar_t* member;
    const wchar_t* call;
    std::function<void(CAdoDbConnection&)> run;
};

const ConnectionOperation kConnectionOperations[] = {
    {L"CAdoDbConnection::Begin", L"connection.BeginTrans", L"connection.BeginTrans()",
     [](CAdoDbConnection& connection) { connection.Begin(); }},
    {L"CAdoDbConnection::Commit", L"connection.CommitTrans", L"connection.CommitTrans()",
     [](CAdoDbConnection& connection) { connection.Commit(); }},
    {L"CAdoDbConnection::Rollback", L"connection.RollbackTrans", L"connection.RollbackTrans()",
     [](CAdoDbConnection& connection) { connection.Rollback(); }},
    {L"CAdoDbConnection::ExecuteNonQuery", L"connection.Execute", L"connection.Execute(BSTR DELETE FROM t)",
     [](CAdoDbConnection& connection) { connection.ExecuteNonQuery(L"DELETE FROM t"); }},
    {L"CAdoDbConnection::Close", L"connection.Close", L"connection.Close()",
     [](CAdoDbConnection& connection) { connection.Close(); }},
};

TEST_F(AdoConnection, CallsTheOperationOfAdoAndRecordsIt)
{
    TracedOperations trace;
    for (const ConnectionOperation& operation : kConnectionOperations) {
        static_cast<void>(ado.TakeCalls());
        const bool isClose = operation.member == std::wstring_view(L"connection.Close");
        const Lines records = Records(
            operation.function,
            isClose ? Lines{L"ado_implement (vldb::CAdoDbConnection::Close) Call m_Connection->Close()"} : Lines{});
        operation.run(*connection);
        EXPECT_EQ(Lines{operation.call}, ado.TakeCalls());
        EXPECT_EQ(records, trace.Take());
        ExpectFailure(
            operation.member, [&] { operation.run(*connection); }, kFailureText);
        EXPECT_EQ(records, trace.Take());
    }
    ExpectLinesOfTheirOwn(std::size(kConnectionOperations));
}

TEST_F(AdoConnection, RecordsItsLifeAndItsFaces)
{
    TracedOperations trace;
    EXPECT_EQ(S_OK, Open().code);
    EXPECT_EQ((Lines{L"ado_implement (vldb::CAdoDbConnection::~CAdoDbConnection) *** ENTER ***",
                     L"ado_implement (vldb::CAdoDbConnection::~CAdoDbConnection) *** LEAVE ***",
                     L"ado_implement (vldb::CAdoDbConnection::CAdoDbConnection) *** ENTER ***",
                     L"ado_implement (vldb::CAdoDbConnection::CAdoDbConnection) *** LEAVE ***"}),
              trace.Take());
    static_cast<void>(connection->GetCommand());
    EXPECT_EQ(Records(L"CAdoDbConnection::GetCommand"), trace.Take());
    static_cast<void>(connection->GetTransaction());
    EXPECT_EQ(Records(L"CAdoDbConnection::GetTransaction"), trace.Take());
}

TEST_F(AdoConnection, ExecutesAStatementWithAForwardOnlyReadOnlyReader)
{
    TracedOperations trace;
    static_cast<void>(ado.TakeCreations());
    static_cast<void>(ado.TakeCalls());
    const vldb::DbReader reader(connection->ExecuteReader(kStatement));
    EXPECT_EQ((std::vector<AdoCreation>{{L"ADODB.Recordset", 23, IID_IDispatch}}), ado.TakeCreations());
    EXPECT_EQ(Lines{L"recordset.Open(BSTR SELECT 'x' FROM t; \n, DISPATCH connection, I4 0, I4 1, I4 1)"},
              ado.TakeCalls());
    EXPECT_EQ(Records(L"CAdoDbConnection::ExecuteReader", Records(L"CAdoDbReader::CAdoDbReader")), trace.Take());
}

TEST_F(AdoConnection, NamesTheStatementThatCouldNotBeExecuted)
{
    TracedOperations trace;
    const Lines records = Records(L"CAdoDbConnection::ExecuteReader", Records(L"CAdoDbReader::CAdoDbReader"));
    ExpectFailure(
        L"recordset.Open", [&] { static_cast<void>(connection->ExecuteReader(kStatement)); },
        L"\r\nIt broke.\r\n\r\nSQL Query:\r\nSELECT 'x' FROM t; \n\r\n\r\n"
        L"Return code: 0x80040E14 (2147749396) (ado_implement/#");
    ExpectLinesOfTheirOwn(1);
    EXPECT_EQ(records, trace.Take());
}

TEST_F(AdoConnection, NamesTheStatementWhoseRecordsetCouldNotBeMade)
{
    const std::pair<HRESULT, HRESULT> failures[] = {{REGDB_E_CLASSNOTREG, REGDB_E_CLASSNOTREG},
                                                    {E_NOINTERFACE, E_POINTER}};
    for (const auto& [created, thrown] : failures) {
        ado.uncreatable[L"ADODB.Recordset"] = created;
        try {
            static_cast<void>(connection->ExecuteReader(kStatement));
            ADD_FAILURE() << "no error";
        } catch (const CDbError& error) {
            EXPECT_EQ(thrown, error.GetCode());
            EXPECT_NE(std::wstring::npos, error.GetText().find(L"SQL Query:\r\nSELECT 'x' FROM t; \n\r\n\r\n"));
        }
    }
}

// --- Reader ---

VARIANT Date(double date)
{
    VARIANT value{};
    value.vt = VT_DATE;
    value.date = date;
    return value;
}

VARIANT Error()
{
    VARIANT value{};
    value.vt = VT_ERROR;
    value.scode = DISP_E_PARAMNOTFOUND;
    return value;
}

VARIANT Nothing()
{
    VARIANT value{};
    value.vt = VT_BSTR;
    return value;
}

class AdoReader : public AdoTest {
protected:
    void SetUp() override
    {
        ado.columns = {L"StatsDate", L"Text", L"Null", L"Big", L"Half"};
        ado.rows = {{LONG(42), std::wstring(L"12"), std::monostate(), LONGLONG(5'000'000'000), 2.5}};
        reader = std::make_unique<CAdoDbReader>(nullptr, kStatement);
        static_cast<void>(ado.TakeCalls());
    }
    void TearDown() override
    {
        reader.reset();
        AdoTest::TearDown();
    }

    // Whether the column's value cannot be had as what the getter wants; the error is the conversion's.
    static void ExpectNoConversion(const std::function<void()>& get, HRESULT code)
    {
        try {
            get();
            ADD_FAILURE() << "no error";
        } catch (const CDbError& error) {
            EXPECT_EQ(code, error.GetCode());
            EXPECT_NE(std::wstring::npos, error.GetText().find(L" (ado_implement/#"));
        }
    }

    std::unique_ptr<CAdoDbReader> reader;
};

TEST_F(AdoReader, HasNoRowInAnEmptyResult)
{
    ado.rows.clear();
    EXPECT_FALSE(reader->Read());
    EXPECT_EQ(Lines{L"recordset.EOF"}, ado.TakeCalls());
    EXPECT_FALSE(reader->Read());
}

TEST_F(AdoReader, GoesThroughTheRowsOnce)
{
    ado.rows.push_back(ado.rows.front());
    EXPECT_TRUE(reader->Read());
    EXPECT_EQ((Lines{L"recordset.EOF", L"recordset.MoveFirst()", L"recordset.EOF"}), ado.TakeCalls());
    EXPECT_TRUE(reader->Read());
    EXPECT_EQ((Lines{L"recordset.EOF", L"recordset.MoveNext()", L"recordset.EOF"}), ado.TakeCalls());
    EXPECT_FALSE(reader->Read());
    EXPECT_EQ((Lines{L"recordset.EOF", L"recordset.MoveNext()", L"recordset.EOF"}), ado.TakeCalls());
    EXPECT_FALSE(reader->Read());
    EXPECT_EQ(Lines{L"recordset.EOF"}, ado.TakeCalls());
}

TEST_F(AdoReader, IsStillBeforeTheFirstRowWhenItCouldNotGoThere)
{
    ExpectFailure(
        L"recordset.MoveFirst", [&] { reader->Read(); }, kFailureText);
    EXPECT_TRUE(reader->Read());
    static_cast<void>(ado.TakeCalls());
    ExpectFailure(
        L"recordset.MoveNext", [&] { reader->Read(); }, kFailureText);
}

TEST_F(AdoReader, FailsWhereItCannotTellTheEnd)
{
    ExpectFailure(
        L"recordset.EOF", [&] { reader->Read(); }, kFailureText);
    ado.Fail(L"recordset.EOF", {.scode = kFailure, .description = L"It broke.", .call = 2});
    EXPECT_THROW(reader->Read(), CDbError);
    ado.Repair();
    ado.answers[L"recordset.EOF"] = std::wstring(L"perhaps");
    ExpectNoConversion([&] { reader->Read(); }, DISP_E_TYPEMISMATCH);
}

TEST_F(AdoReader, TakesAnIndexedFieldForEachValue)
{
    EXPECT_TRUE(reader->Read());
    static_cast<void>(ado.TakeCalls());
    EXPECT_EQ(2.5, reader->GetDouble(4));
    EXPECT_EQ((Lines{L"recordset.Fields", L"fields.Item(I4 4)", L"field.Value"}), ado.TakeCalls());
}

TEST_F(AdoReader, KnowsItsColumns)
{
    EXPECT_EQ(5, reader->GetColumnCount());
    EXPECT_EQ((Lines{L"recordset.Fields", L"fields.Count"}), ado.TakeCalls());
    EXPECT_EQ(L"StatsDate", reader->GetColumnName(0));
    EXPECT_EQ((Lines{L"recordset.Fields", L"fields.Item(I4 0)", L"field.Name"}), ado.TakeCalls());
    EXPECT_EQ(L"Half", reader->GetColumnName(4));
    ado.columns.clear();
    EXPECT_EQ(0, reader->GetColumnCount());
}

TEST_F(AdoReader, ConvertsTheCountAndTheNamesOfItsColumns)
{
    ado.answers[L"fields.Count"] = std::wstring(L"70000");
    EXPECT_EQ(70000, reader->GetColumnCount());
    ado.answers[L"fields.Count"] = std::wstring(L"many");
    ExpectNoConversion([&] { reader->GetColumnCount(); }, DISP_E_TYPEMISMATCH);
    ado.answers[L"field.Name"] = LONG(42);
    EXPECT_EQ(L"42", reader->GetColumnName(0));
    ado.answers[L"field.Name"] = Nothing();
    EXPECT_EQ(L"", reader->GetColumnName(0));
    ado.answers[L"field.Name"] = Error();
    ExpectNoConversion([&] { static_cast<void>(reader->GetColumnName(0)); }, DISP_E_TYPEMISMATCH);
}

TEST_F(AdoReader, KnowsNullFromEveryOtherValue)
{
    EXPECT_TRUE(reader->Read());
    for (const std::int32_t column : {0, 1, 3, 4}) {
        EXPECT_FALSE(reader->IsNull(column)) << column;
    }
    EXPECT_TRUE(reader->IsNull(2));
    ado.answers[L"field.Value"] = VARIANT{};
    EXPECT_FALSE(reader->IsNull(2)) << "an empty VARIANT is not NULL";
}

TEST_F(AdoReader, ConvertsValuesToNumbers)
{
    EXPECT_TRUE(reader->Read());
    EXPECT_EQ(42, reader->GetInt32(0));
    EXPECT_EQ(42, reader->GetInt64(0));
    EXPECT_EQ(42.0, reader->GetDouble(0));
    EXPECT_EQ(12, reader->GetInt32(1));
    EXPECT_EQ(12, reader->GetInt64(1));
    EXPECT_EQ(12.0, reader->GetDouble(1));
    EXPECT_EQ(5'000'000'000, reader->GetInt64(3));
    EXPECT_EQ(5e9, reader->GetDouble(3));
    EXPECT_EQ(2, reader->GetInt32(4));
    EXPECT_EQ(2, reader->GetInt64(4));
    EXPECT_EQ(2.5, reader->GetDouble(4));
    ado.rows[0][0] = Date(46331.25);
    EXPECT_EQ(46331.25, reader->GetDouble(0));
    EXPECT_EQ(46331, reader->GetInt32(0));
    for (const LONGLONG limit : {std::numeric_limits<LONGLONG>::min(), std::numeric_limits<LONGLONG>::max()}) {
        ado.rows[0][3] = limit;
        EXPECT_EQ(limit, reader->GetInt64(3));
    }
}

VARIANT Single(float number)
{
    VARIANT value{};
    value.vt = VT_R4;
    value.fltVal = number;
    return value;
}

TEST_F(AdoReader, TakesASinglePrecisionValueForTheDecimalThatItStandsFor)
{
    EXPECT_TRUE(reader->Read());
    const std::pair<float, double> numbers[] = {{7.45F, 7.45},
                                                {-7.45F, -7.45},
                                                {0.1F, 0.1},
                                                {99.95F, 99.95},
                                                {0.04F, 0.04},
                                                {12.5F, 12.5},
                                                {0.0F, 0.0},
                                                {16777216.0F, 16777216.0},
                                                {1099511627776.0F, 1099511627776.0},
                                                {1e30F, 1.0000000150474662e30}};
    for (const auto& [single, number] : numbers) {
        ado.rows[0][0] = Single(single);
        EXPECT_EQ(number, reader->GetDouble(0));
        EXPECT_EQ(number, reader->GetValue(0).dblVal);
    }
    ado.rows[0][0] = Single(std::numeric_limits<float>::infinity());
    EXPECT_EQ(std::numeric_limits<double>::infinity(), reader->GetDouble(0));
    ado.rows[0][0] = Single(std::numeric_limits<float>::quiet_NaN());
    EXPECT_TRUE(std::isnan(reader->GetDouble(0)));
    // The least that there is has more places than a figure shows.
    ado.rows[0][0] = Single(std::numeric_limits<float>::min());
    EXPECT_EQ(1.1754943508222875e-38, reader->GetDouble(0));
}

TEST_F(AdoReader, HasNoNumberOfNullOrOfOtherText)
{
    EXPECT_TRUE(reader->Read());
    ado.rows[0][1] = std::wstring(L"twelve");
    for (const std::int32_t column : {1, 2}) {
        ExpectNoConversion([&] { reader->GetInt32(column); }, DISP_E_TYPEMISMATCH);
        ExpectNoConversion([&] { reader->GetInt64(column); }, DISP_E_TYPEMISMATCH);
        ExpectNoConversion([&] { reader->GetDouble(column); }, DISP_E_TYPEMISMATCH);
        ExpectNoConversion([&] { reader->GetValue(column); }, DISP_E_TYPEMISMATCH);
    }
    ExpectNoConversion([&] { reader->GetInt32(3); }, DISP_E_OVERFLOW);
}

TEST_F(AdoReader, ConvertsValuesToText)
{
    EXPECT_TRUE(reader->Read());
    EXPECT_EQ(L"42", reader->GetString(0));
    EXPECT_EQ(L"12", reader->GetString(1));
    EXPECT_EQ(L"", reader->GetString(2));
    EXPECT_EQ(L"5000000000", reader->GetString(3));
    ado.rows[0][1] = std::wstring(L"up to\0here", 10);
    EXPECT_EQ(L"up to", reader->GetString(1));
    ado.rows[0][1] = Nothing();
    EXPECT_EQ(L"", reader->GetString(1));
    ado.rows[0][1] = Error();
    ExpectNoConversion([&] { static_cast<void>(reader->GetString(1)); }, DISP_E_TYPEMISMATCH);
}

TEST_F(AdoReader, GivesAColumnsDoubleAsAVariant)
{
    EXPECT_TRUE(reader->Read());
    const VARIANT value = reader->GetValue(1);
    EXPECT_EQ(VT_R8, value.vt);
    EXPECT_EQ(12.0, value.dblVal);
}

TEST_F(AdoReader, FailsForAColumnThatIsNotThere)
{
    EXPECT_TRUE(reader->Read());
    ExpectNoConversion([&] { reader->GetDouble(5); }, DISP_E_BADINDEX);
    ExpectNoConversion([&] { static_cast<void>(reader->GetColumnName(-1)); }, DISP_E_BADINDEX);
}

struct ReaderOperation {
    const wchar_t* function;
    const wchar_t* property;
    bool leaves; // and records it
    std::function<void(CAdoDbReader&)> run;
};

const ReaderOperation kReaderOperations[] = {
    {L"CAdoDbReader::GetColumnCount", L"fields.Count", false, [](CAdoDbReader& reader) { reader.GetColumnCount(); }},
    {L"CAdoDbReader::GetColumnName", L"field.Name", false,
     [](CAdoDbReader& reader) { static_cast<void>(reader.GetColumnName(0)); }},
    {L"CAdoDbReader::Read", L"recordset.EOF", false, [](CAdoDbReader& reader) { reader.Read(); }},
    {L"CAdoDbReader::IsNull", L"field.Value", true, [](CAdoDbReader& reader) { reader.IsNull(0); }},
    {L"CAdoDbReader::GetInt32", L"field.Value", true, [](CAdoDbReader& reader) { reader.GetInt32(0); }},
    {L"CAdoDbReader::GetInt64", L"field.Value", true, [](CAdoDbReader& reader) { reader.GetInt64(0); }},
    {L"CAdoDbReader::GetDouble", L"field.Value", true, [](CAdoDbReader& reader) { reader.GetDouble(0); }},
    {L"CAdoDbReader::GetString", L"field.Value", true,
     [](CAdoDbReader& reader) { static_cast<void>(reader.GetString(0)); }},
    {L"CAdoDbReader::Close", L"recordset.Close", true, [](CAdoDbReader& reader) { reader.Close(); }},
};

TEST_F(AdoReader, RecordsItsOperationsWhetherOrNotTheyFail)
{
    TracedOperations trace;
    for (const ReaderOperation& operation : kReaderOperations) {
        const Lines records = Records(operation.function, {}, operation.leaves);
        operation.run(*reader);
        EXPECT_EQ(records, trace.Take());
        ExpectFailure(
            operation.property, [&] { operation.run(*reader); }, kFailureText);
        EXPECT_EQ(records, trace.Take());
    }
    ExpectLinesOfTheirOwn(std::size(kReaderOperations));
    static_cast<void>(reader->GetValue(0));
    EXPECT_EQ(Records(L"CAdoDbReader::GetValue", Records(L"CAdoDbReader::GetDouble")), trace.Take());
    reader.reset();
    EXPECT_EQ(Records(L"CAdoDbReader::~CAdoDbReader"), trace.Take());
}

TEST_F(AdoReader, FailsAtEachStepToAValue)
{
    EXPECT_TRUE(reader->Read());
    const std::function<void()> getters[] = {
        [&] { reader->IsNull(0); },
        [&] { reader->GetInt32(0); },
        [&] { reader->GetInt64(0); },
        [&] { reader->GetDouble(0); },
        [&] { static_cast<void>(reader->GetString(0)); },
        [&] { reader->GetValue(0); },
    };
    for (const auto& getter : getters) {
        for (const wchar_t* const member : {L"recordset.Fields", L"fields.Item", L"field.Value"}) {
            ExpectFailure(member, getter, kFailureText);
        }
    }
    for (const wchar_t* const member : {L"recordset.Fields", L"fields.Item", L"field.Name"}) {
        ExpectFailure(
            member, [&] { static_cast<void>(reader->GetColumnName(0)); }, kFailureText);
    }
    for (const wchar_t* const member : {L"recordset.Fields", L"fields.Count"}) {
        ExpectFailure(
            member, [&] { reader->GetColumnCount(); }, kFailureText);
    }
}

// The name of the function that ADO itself would have to be asked for does not exist.
TEST_F(AdoReader, FailsWhereAdoHasNoSuchMember)
{
    ado.Fail(L"recordset.Close", {.result = DISP_E_UNKNOWNNAME, .isUnknown = true});
    ExpectNoConversion([&] { reader->Close(); }, DISP_E_UNKNOWNNAME);
}

} // namespace
