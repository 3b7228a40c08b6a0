#include "automation.h"

#include "support/statistics_database.h"
#include "win/com_apartment.h"
#include "win/owner.h"

#include <gtest/gtest.h>

#include <psapi.h>

#include <array>
#include <cmath>
#include <thread>

namespace {

using namespace database_tests;
using testing_support::StatisticsDatabase;
using win::ComPtr;
using win::Variant;

constexpr wchar_t kConnectionClosed[] =
    L"EXCEPTION 0x800A0E78 ADODB.Connection: Operation is not allowed when the object is closed.";
constexpr wchar_t kConnectionOpen[] =
    L"EXCEPTION 0x800A0E79 ADODB.Connection: Operation is not allowed when the object is open.";
constexpr wchar_t kRecordsetClosed[] =
    L"EXCEPTION 0x800A0E78 ADODB.Recordset: Operation is not allowed when the object is closed.";
constexpr wchar_t kRecordsetOpen[] =
    L"EXCEPTION 0x800A0E79 ADODB.Recordset: Operation is not allowed when the object is open.";
constexpr wchar_t kNoRecord[] = L"Either BOF or EOF is True, or the current record has been deleted. Requested "
                                L"operation requires a current record.";
constexpr wchar_t kNoItem[] =
    L"EXCEPTION 0x800A0CC1 ADODB.Fields: Item cannot be found in the collection corresponding to the requested name "
    L"or ordinal.";

// ADO as VLAdo.dll serves it through COM, over a real database.
class Provider : public testing::Test {
protected:
    // Everything that the library has handed out is gone by the end.
    void TearDown() override
    {
        CoFreeUnusedLibraries();
        const auto canUnload = reinterpret_cast<HRESULT(WINAPI*)()>(
            reinterpret_cast<void*>(GetProcAddress(GetModuleHandleW(L"VLAdo.dll"), "DllCanUnloadNow")));
        if (canUnload != nullptr) {
            EXPECT_EQ(S_OK, canUnload());
        }
    }

    // An open connection to the database.
    [[nodiscard]] ComPtr<IDispatch> Connect() const
    {
        ComPtr<IDispatch> connection = CreateByName(L"ADODB.Connection");
        EXPECT_EQ(L"OK EMPTY", Shown(Open(connection, database.AdoString())));
        return connection;
    }

    static Reply Open(const ComPtr<IDispatch>& connection, std::wstring_view text)
    {
        return Call(
            connection.Get(), L"Open",
            Arguments(Variant::OfText(text), Variant::OfText(L""), Variant::OfText(L""), Variant::OfInteger(-1)));
    }

    static Reply Execute(const ComPtr<IDispatch>& connection, std::wstring_view statement)
    {
        return Call(connection.Get(), L"Execute", Arguments(Variant::OfText(statement)));
    }

    // A recordset over the statement; what Open answered goes to the reply.
    static ComPtr<IDispatch> OpenRecordset(const ComPtr<IDispatch>& connection, std::wstring_view statement,
                                           Reply& reply)
    {
        ComPtr<IDispatch> recordset = CreateByName(L"ADODB.Recordset");
        reply = Call(recordset.Get(), L"Open",
                     Arguments(Variant::OfText(statement), Variant::OfObject(connection.Get()), Variant::OfInteger(0),
                               Variant::OfInteger(1), Variant::OfInteger(1)));
        return recordset;
    }

    static ComPtr<IDispatch> OpenRecordset(const ComPtr<IDispatch>& connection, std::wstring_view statement)
    {
        Reply reply;
        ComPtr<IDispatch> recordset = OpenRecordset(connection, statement, reply);
        EXPECT_EQ(L"OK EMPTY", Shown(reply)) << std::wstring(statement);
        return recordset;
    }

    static ComPtr<IDispatch> FieldOf(const ComPtr<IDispatch>& recordset, Variant which)
    {
        const ComPtr<IDispatch> fields = ObjectOf(Get(recordset.Get(), L"Fields"));
        return ObjectOf(Get(fields.Get(), L"Item", Arguments(std::move(which))));
    }

    // The value of a field in the row at hand.
    static std::wstring ValueOf(const ComPtr<IDispatch>& recordset, LONG field)
    {
        return Shown(Get(FieldOf(recordset, Variant::OfInteger(field)).Get(), L"Value"));
    }

    static std::wstring Eof(const ComPtr<IDispatch>& recordset) { return Shown(Get(recordset.Get(), L"EOF")); }
    static std::wstring Bof(const ComPtr<IDispatch>& recordset) { return Shown(Get(recordset.Get(), L"BOF")); }
    static std::wstring Move(const ComPtr<IDispatch>& recordset, const wchar_t* method)
    {
        return Shown(Call(recordset.Get(), method));
    }

    // The one value of a query.
    static std::wstring Answer(const ComPtr<IDispatch>& connection, std::wstring_view query)
    {
        return ValueOf(OpenRecordset(connection, query), 0);
    }

    void MakeNumbers(int count)
    {
        database.Execute(L"CREATE TABLE Numbers (N INTEGER)");
        for (int number = 1; number <= count; ++number) {
            database.Execute(L"INSERT INTO Numbers VALUES (" + std::to_wstring(number) + L")");
        }
    }

    win::ComApartment apartment;
    StatisticsDatabase database;
};

// --- Connection ---

TEST_F(Provider, IsClosedUntilItIsOpened)
{
    const ComPtr<IDispatch> connection = CreateByName(L"ADODB.Connection");
    ASSERT_TRUE(connection);
    EXPECT_EQ(L"OK I4 0", Shown(Get(connection.Get(), L"State")));
    EXPECT_EQ(L"OK EMPTY", Shown(Open(connection, database.AdoString())));
    EXPECT_EQ(L"OK I4 1", Shown(Get(connection.Get(), L"State")));
    EXPECT_EQ(L"OK EMPTY", Shown(Call(connection.Get(), L"Close")));
    EXPECT_EQ(L"OK I4 0", Shown(Get(connection.Get(), L"State")));
}

TEST_F(Provider, OpensAgainAfterItWasClosed)
{
    const ComPtr<IDispatch> connection = Connect();
    EXPECT_EQ(kConnectionOpen, Shown(Open(connection, database.AdoString())));
    EXPECT_EQ(L"OK EMPTY", Shown(Call(connection.Get(), L"Close")));
    EXPECT_EQ(L"OK EMPTY", Shown(Open(connection, database.AdoString())));
    EXPECT_EQ(L"OK BSTR x", Answer(connection, L"SELECT 'x'"));
}

TEST_F(Provider, TakesTheConnectionStringFromThePropertyToo)
{
    const ComPtr<IDispatch> connection = CreateByName(L"ADODB.Connection");
    EXPECT_EQ(L"OK EMPTY", Shown(Put(connection.Get(), L"ConnectionString", Variant::OfText(database.AdoString()))));
    EXPECT_EQ(L"OK BSTR " + database.AdoString(), Shown(Get(connection.Get(), L"connectionstring")));
    EXPECT_EQ(L"OK EMPTY", Shown(Call(connection.Get(), L"Open")));
    EXPECT_EQ(kConnectionOpen, Shown(Put(connection.Get(), L"ConnectionString", Variant::OfText(L"DSN=x"))));
    EXPECT_EQ(L"OK BSTR y", Answer(connection, L"SELECT 'y'"));
}

TEST_F(Provider, KeepsTheConnectionStringThatItWasOpenedWith)
{
    const ComPtr<IDispatch> connection = Connect();
    EXPECT_EQ(L"OK BSTR " + database.AdoString(), Shown(Get(connection.Get(), L"ConnectionString")));
    EXPECT_EQ(L"OK EMPTY", Shown(Call(connection.Get(), L"Close")));
    EXPECT_EQ(L"OK EMPTY", Shown(Call(connection.Get(), L"Open")));
    EXPECT_EQ(L"OK BSTR z", Answer(connection, L"SELECT 'z'"));
}

TEST_F(Provider, DoesNothingWhileTheConnectionIsClosed)
{
    const ComPtr<IDispatch> connection = CreateByName(L"ADODB.Connection");
    for (const wchar_t* const method : {L"Close", L"BeginTrans", L"CommitTrans", L"RollbackTrans"}) {
        EXPECT_EQ(kConnectionClosed, Shown(Call(connection.Get(), method))) << method;
    }
    EXPECT_EQ(kConnectionClosed, Shown(Execute(connection, L"SELECT 1")));
}

TEST_F(Provider, KnowsNoProviderButThatForOdbc)
{
    const ComPtr<IDispatch> connection = CreateByName(L"ADODB.Connection");
    EXPECT_EQ(L"EXCEPTION 0x800A0E7A ADODB.Connection: Provider cannot be found. It may not be properly installed.",
              Shown(Open(connection, L"Provider=SQLOLEDB;Data Source=here")));
}

TEST_F(Provider, TellsWhyTheDriverDoesNotConnect)
{
    const ComPtr<IDispatch> connection = CreateByName(L"ADODB.Connection");
    const Reply noDriver = Open(connection, L"Provider=MSDASQL;Driver={No Such Driver}");
    EXPECT_EQ(DISP_E_EXCEPTION, noDriver.result);
    EXPECT_EQ(E_FAIL, noDriver.code);
    EXPECT_NE(std::wstring::npos, noDriver.description.find(L"No Such Driver")) << noDriver.description;

    const std::wstring missing = database.MissingProductString().substr(4);
    const Reply noDatabase = Open(connection, missing);
    EXPECT_EQ(DISP_E_EXCEPTION, noDatabase.result);
    EXPECT_EQ(E_FAIL, noDatabase.code);
    EXPECT_FALSE(noDatabase.description.empty());
    EXPECT_EQ(L"OK I4 0", Shown(Get(connection.Get(), L"State")));
}

TEST_F(Provider, TellsWhatIsWrongWithAStatement)
{
    const ComPtr<IDispatch> connection = Connect();
    Reply reply;
    OpenRecordset(connection, L"SELECT a FROM nowhere", reply);
    if (StatisticsDatabase::IsPostgres()) {
        EXPECT_EQ(DISP_E_EXCEPTION, reply.result);
        EXPECT_EQ(0x80040E37, static_cast<std::uint32_t>(reply.code));
        EXPECT_EQ(0U, reply.description.find(L"ERROR: relation \"nowhere\" does not exist")) << reply.description;
    } else {
        // The driver knows one SQLSTATE for all faults.
        EXPECT_EQ(L"EXCEPTION 0x80004005 ADODB.Recordset: [SQLite]no such table: nowhere (1)", Shown(reply));
    }
    const Reply syntax = Execute(connection, L"SELEKT 1");
    EXPECT_EQ(DISP_E_EXCEPTION, syntax.result);
    EXPECT_EQ(StatisticsDatabase::IsPostgres() ? 0x80040E14 : 0x80004005, static_cast<std::uint32_t>(syntax.code));
    EXPECT_NE(std::wstring::npos, syntax.description.find(L"syntax error")) << syntax.description;
}

TEST_F(Provider, ReturnsARecordsetFromExecute)
{
    const ComPtr<IDispatch> connection = Connect();
    MakeNumbers(3);
    const ComPtr<IDispatch> rows = ObjectOf(Execute(connection, L"SELECT N FROM Numbers ORDER BY N"));
    ASSERT_TRUE(rows);
    EXPECT_EQ(L"OK I4 1", ValueOf(rows, 0));

    Variant changed = Variant::OfInteger(0);
    VARIANT reference{};
    V_VT(&reference) = VT_BYREF | VT_VARIANT;
    V_VARIANTREF(&reference) = changed.Put();
    const Reply reply = Call(connection.Get(), L"Execute",
                             Arguments(Variant::OfText(L"DELETE FROM Numbers WHERE N > 1"), Variant(reference)));
    const ComPtr<IDispatch> none = ObjectOf(reply);
    ASSERT_TRUE(none);
    EXPECT_EQ(L"OK I4 0", Shown(Get(none.Get(), L"State")));
    EXPECT_EQ(L"I4 2", Shown(changed));
}

// --- Transactions ---

TEST_F(Provider, KeepsWhatATransactionHasChangedWhenItIsCommitted)
{
    const ComPtr<IDispatch> connection = Connect();
    MakeNumbers(1);
    EXPECT_EQ(L"OK I4 1", Shown(Call(connection.Get(), L"BeginTrans")));
    Execute(connection, L"INSERT INTO Numbers VALUES (2)");
    EXPECT_EQ(L"OK EMPTY", Shown(Call(connection.Get(), L"CommitTrans")));
    EXPECT_EQ(2U, database.Query(L"SELECT N FROM Numbers").size());
}

TEST_F(Provider, TakesBackWhatATransactionHasChangedWhenItIsRolledBack)
{
    const ComPtr<IDispatch> connection = Connect();
    MakeNumbers(1);
    Call(connection.Get(), L"BeginTrans");
    Execute(connection, L"INSERT INTO Numbers VALUES (2)");
    EXPECT_EQ(L"OK EMPTY", Shown(Call(connection.Get(), L"RollbackTrans")));
    EXPECT_EQ(1U, database.Query(L"SELECT N FROM Numbers").size());
    // Then every statement stands for itself again.
    Execute(connection, L"INSERT INTO Numbers VALUES (3)");
    EXPECT_EQ(2U, database.Query(L"SELECT N FROM Numbers").size());
}

TEST_F(Provider, TakesBackATransactionThatIsNeverEnded)
{
    MakeNumbers(1);
    {
        const ComPtr<IDispatch> connection = Connect();
        Call(connection.Get(), L"BeginTrans");
        Execute(connection, L"INSERT INTO Numbers VALUES (2)");
    }
    EXPECT_EQ(1U, database.Query(L"SELECT N FROM Numbers").size());
}

TEST_F(Provider, HasOneTransactionAtATime)
{
    const ComPtr<IDispatch> connection = Connect();
    const wchar_t* const none = L"EXCEPTION 0x8004D00E ADODB.Connection: No transaction is active.";
    EXPECT_EQ(none, Shown(Call(connection.Get(), L"CommitTrans")));
    EXPECT_EQ(none, Shown(Call(connection.Get(), L"RollbackTrans")));
    Call(connection.Get(), L"BeginTrans");
    EXPECT_EQ(L"EXCEPTION 0x8004D013 ADODB.Connection: Only one transaction can be active on this session.",
              Shown(Call(connection.Get(), L"BeginTrans")));
    EXPECT_EQ(
        L"EXCEPTION 0x800A0CAE ADODB.Connection: Connection object cannot be explicitly closed while in a transaction.",
        Shown(Call(connection.Get(), L"Close")));
    EXPECT_EQ(L"OK EMPTY", Shown(Call(connection.Get(), L"RollbackTrans")));
    EXPECT_EQ(L"OK EMPTY", Shown(Call(connection.Get(), L"Close")));
}

// --- Recordset ---

TEST_F(Provider, IsAtTheEndOfAnEmptyResult)
{
    const ComPtr<IDispatch> connection = Connect();
    MakeNumbers(0);
    const ComPtr<IDispatch> rows = OpenRecordset(connection, L"SELECT N FROM Numbers");
    EXPECT_EQ(L"OK I4 1", Shown(Get(rows.Get(), L"State")));
    EXPECT_EQ(L"OK BOOL true", Eof(rows));
    EXPECT_EQ(L"OK BOOL true", Bof(rows));
    const std::wstring noRecord = std::wstring(L"EXCEPTION 0x800A0BCD ADODB.Recordset: ") + kNoRecord;
    EXPECT_EQ(noRecord, Move(rows, L"MoveFirst"));
    EXPECT_EQ(noRecord, Move(rows, L"MoveNext"));
    EXPECT_EQ(std::wstring(L"EXCEPTION 0x800A0BCD ADODB.Field: ") + kNoRecord, ValueOf(rows, 0));
}

TEST_F(Provider, GoesThroughARowEachAndThenStandsAtTheEnd)
{
    const ComPtr<IDispatch> connection = Connect();
    MakeNumbers(2);
    const ComPtr<IDispatch> rows = OpenRecordset(connection, L"SELECT N FROM Numbers ORDER BY N");
    EXPECT_EQ(L"OK BOOL false", Eof(rows));
    EXPECT_EQ(L"OK BOOL false", Bof(rows));
    EXPECT_EQ(L"OK EMPTY", Move(rows, L"MoveFirst"));
    EXPECT_EQ(L"OK I4 1", ValueOf(rows, 0));
    EXPECT_EQ(L"OK EMPTY", Move(rows, L"MoveNext"));
    EXPECT_EQ(L"OK BOOL false", Eof(rows));
    EXPECT_EQ(L"OK I4 2", ValueOf(rows, 0));
    EXPECT_EQ(L"OK EMPTY", Move(rows, L"MoveNext"));
    EXPECT_EQ(L"OK BOOL true", Eof(rows));
    EXPECT_EQ(L"OK BOOL false", Bof(rows));
    EXPECT_EQ(std::wstring(L"EXCEPTION 0x800A0BCD ADODB.Recordset: ") + kNoRecord, Move(rows, L"MoveNext"));
}

TEST_F(Provider, RunsTheStatementAgainToGoBackToTheFirstRow)
{
    const ComPtr<IDispatch> connection = Connect();
    MakeNumbers(3);
    const ComPtr<IDispatch> rows = OpenRecordset(connection, L"SELECT N FROM Numbers ORDER BY N");
    while (Eof(rows) == L"OK BOOL false") {
        Move(rows, L"MoveNext");
    }
    EXPECT_EQ(L"OK EMPTY", Move(rows, L"MoveFirst"));
    EXPECT_EQ(L"OK BOOL false", Eof(rows));
    EXPECT_EQ(L"OK I4 1", ValueOf(rows, 0));
}

TEST_F(Provider, DoesNothingWhileTheRecordsetIsClosed)
{
    const ComPtr<IDispatch> connection = Connect();
    const ComPtr<IDispatch> rows = CreateByName(L"ADODB.Recordset");
    const auto expectClosed = [&] {
        EXPECT_EQ(L"OK I4 0", Shown(Get(rows.Get(), L"State")));
        EXPECT_EQ(kRecordsetClosed, Eof(rows));
        EXPECT_EQ(kRecordsetClosed, Bof(rows));
        EXPECT_EQ(kRecordsetClosed, Move(rows, L"MoveFirst"));
        EXPECT_EQ(kRecordsetClosed, Move(rows, L"MoveNext"));
        EXPECT_EQ(kRecordsetClosed, Move(rows, L"Close"));
        const ComPtr<IDispatch> fields = ObjectOf(Get(rows.Get(), L"Fields"));
        EXPECT_EQ(L"OK I4 0", Shown(Get(fields.Get(), L"Count")));
        EXPECT_EQ(kNoItem, Shown(Get(fields.Get(), L"Item", Arguments(Variant::OfInteger(0)))));
    };
    expectClosed();
    const auto open = [&] {
        return Shown(
            Call(rows.Get(), L"Open", Arguments(Variant::OfText(L"SELECT 1"), Variant::OfObject(connection.Get()))));
    };
    EXPECT_EQ(L"OK EMPTY", open());
    EXPECT_EQ(kRecordsetOpen, open());
    EXPECT_EQ(L"OK EMPTY", Move(rows, L"Close"));
    expectClosed();
    EXPECT_EQ(L"OK EMPTY", open());
}

TEST_F(Provider, NeedsAnOpenConnectionForARecordset)
{
    const wchar_t* const invalid = L"EXCEPTION 0x800A0E7D ADODB.Recordset: The connection cannot be used to perform "
                                   L"this operation. It is either closed or invalid in this context.";
    const ComPtr<IDispatch> rows = CreateByName(L"ADODB.Recordset");
    const Variant text = Variant::OfText(L"SELECT 1");
    EXPECT_EQ(invalid, Shown(Call(rows.Get(), L"Open", Arguments(Variant::OfText(L"SELECT 1")))));
    EXPECT_EQ(invalid, Shown(Call(rows.Get(), L"Open", Arguments(Variant::OfText(L"SELECT 1"), LeftOut()))));
    EXPECT_EQ(invalid,
              Shown(Call(rows.Get(), L"Open", Arguments(Variant::OfText(L"SELECT 1"), Variant::OfObject(nullptr)))));
    EXPECT_EQ(invalid,
              Shown(Call(rows.Get(), L"Open", Arguments(Variant::OfText(L"SELECT 1"), Variant::OfObject(rows.Get())))));
    const ComPtr<IDispatch> closed = CreateByName(L"ADODB.Connection");
    EXPECT_EQ(invalid, Shown(Call(rows.Get(), L"Open",
                                  Arguments(Variant::OfText(L"SELECT 1"), Variant::OfObject(closed.Get())))));
}

TEST_F(Provider, OpensARecordsetOverAConnectionString)
{
    const ComPtr<IDispatch> rows = CreateByName(L"ADODB.Recordset");
    EXPECT_EQ(L"OK EMPTY",
              Shown(Call(rows.Get(), L"Open",
                         Arguments(Variant::OfText(L"SELECT 'z'"), Variant::OfText(database.AdoString())))));
    EXPECT_EQ(L"OK BSTR z", ValueOf(rows, 0));
    EXPECT_EQ(L"OK EMPTY", Move(rows, L"Close"));
}

TEST_F(Provider, ClosesTheRecordsetsOfAConnectionWithIt)
{
    const ComPtr<IDispatch> connection = Connect();
    const ComPtr<IDispatch> rows = OpenRecordset(connection, L"SELECT 'a'");
    const ComPtr<IDispatch> others = OpenRecordset(connection, L"SELECT 'b'");
    const ComPtr<IDispatch> field = FieldOf(rows, Variant::OfInteger(0));
    EXPECT_EQ(L"OK EMPTY", Shown(Call(connection.Get(), L"Close")));
    EXPECT_EQ(L"OK I4 0", Shown(Get(rows.Get(), L"State")));
    EXPECT_EQ(kRecordsetClosed, Eof(others));
    EXPECT_EQ(L"EXCEPTION 0x800A0E78 ADODB.Field: Operation is not allowed when the object is closed.",
              Shown(Get(field.Get(), L"Value")));
}

TEST_F(Provider, KeepsTheConnectionOfARecordsetThatIsInUse)
{
    const ComPtr<IDispatch> rows = OpenRecordset(Connect(), L"SELECT 'kept'");
    EXPECT_EQ(L"OK BSTR kept", ValueOf(rows, 0));
    const ComPtr<IDispatch> field = FieldOf(OpenRecordset(Connect(), L"SELECT 'too'"), Variant::OfInteger(0));
    EXPECT_EQ(L"OK BSTR too", Shown(Get(field.Get(), L"Value")));
}

TEST_F(Provider, ReadsSeveralRecordsetsOfAConnectionSideBySide)
{
    const ComPtr<IDispatch> connection = Connect();
    MakeNumbers(2);
    const ComPtr<IDispatch> up = OpenRecordset(connection, L"SELECT N FROM Numbers ORDER BY N");
    const ComPtr<IDispatch> down = OpenRecordset(connection, L"SELECT N FROM Numbers ORDER BY N DESC");
    Move(up, L"MoveNext");
    EXPECT_EQ(L"OK I4 2", ValueOf(up, 0));
    EXPECT_EQ(L"OK I4 2", ValueOf(down, 0));
    Move(down, L"MoveNext");
    EXPECT_EQ(L"OK I4 1", ValueOf(down, 0));
}

// --- Fields and values ---

TEST_F(Provider, FindsFieldsByNumberAndByNameInAnyCase)
{
    const ComPtr<IDispatch> connection = Connect();
    const ComPtr<IDispatch> rows = OpenRecordset(connection, L"SELECT 'x' AS \"First\", 'y' AS \"Zweite Spalte Ä\"");
    const ComPtr<IDispatch> fields = ObjectOf(Get(rows.Get(), L"Fields"));
    EXPECT_EQ(L"OK I4 2", Shown(Get(fields.Get(), L"Count")));
    EXPECT_EQ(L"OK BSTR First", Shown(Get(FieldOf(rows, Variant::OfInteger(0)).Get(), L"Name")));
    EXPECT_EQ(L"OK BSTR Zweite Spalte Ä", Shown(Get(FieldOf(rows, Short(1)).Get(), L"Name")));
    EXPECT_EQ(L"OK BSTR y", Shown(Get(FieldOf(rows, Variant::OfText(L"zweite spalte ä")).Get(), L"Value")));
    // The default members: Fields of a recordset, Item of the fields, Value of a field.
    const ComPtr<IDispatch> first = ObjectOf(Get(rows.Get(), L"Fields", Arguments(Variant::OfText(L"FIRST"))));
    DISPPARAMS none{};
    Reply value;
    EXPECT_EQ(S_OK, first->Invoke(DISPID_VALUE, IID_NULL, LOCALE_NEUTRAL, DISPATCH_PROPERTYGET, &none,
                                  value.value.Put(), nullptr, nullptr));
    EXPECT_EQ(L"OK BSTR x", Shown(value));
}

TEST_F(Provider, FindsNoFieldOutsideTheResult)
{
    const ComPtr<IDispatch> rows = OpenRecordset(Connect(), L"SELECT 'x' AS a, 'y' AS b");
    const ComPtr<IDispatch> fields = ObjectOf(Get(rows.Get(), L"Fields"));
    for (const LONG number : {-1L, 2L, 2147483647L}) {
        EXPECT_EQ(kNoItem, Shown(Get(fields.Get(), L"Item", Arguments(Variant::OfInteger(number))))) << number;
    }
    EXPECT_EQ(kNoItem, Shown(Get(fields.Get(), L"Item", Arguments(Variant::OfText(L"c")))));
}

TEST_F(Provider, GivesValuesInTheTypesOfTheDatabase)
{
    // 46100.1875 is 19 March 2026, 04:30.
    database.Execute(
        L"CREATE TABLE Kinds (i INTEGER, b BIGINT, d DOUBLE PRECISION, v VARCHAR(50), t TEXT, s TIMESTAMP, "
        L"y DATE, n NUMERIC(20,4))");
    database.Execute(L"INSERT INTO Kinds VALUES (-2147483648, -9223372036854775807, 0.1, 'short', 'longer', "
                     L"'2026-03-19 04:30:00', '1899-12-29', 12.5)");
    const ComPtr<IDispatch> rows = OpenRecordset(Connect(), L"SELECT * FROM Kinds");
    EXPECT_EQ(L"OK I4 -2147483648", ValueOf(rows, 0));
    EXPECT_EQ(L"OK I8 -9223372036854775807", ValueOf(rows, 1));
    EXPECT_EQ(L"OK R8 0.10000000000000001", ValueOf(rows, 2));
    EXPECT_EQ(L"OK BSTR short", ValueOf(rows, 3));
    EXPECT_EQ(L"OK BSTR longer", ValueOf(rows, 4));
    EXPECT_EQ(L"OK DATE 46100.1875000000", ValueOf(rows, 5));
    EXPECT_EQ(L"OK DATE -1.0000000000", ValueOf(rows, 6));
    // SQLite keeps every number that is not whole as a double.
    EXPECT_EQ(StatisticsDatabase::IsPostgres() ? L"OK DECIMAL 12.5" : L"OK R8 12.5", ValueOf(rows, 7));
}

TEST_F(Provider, GivesNullForNullOfAnyType)
{
    database.Execute(
        L"CREATE TABLE Kinds (i INTEGER, b BIGINT, d DOUBLE PRECISION, v VARCHAR(50), t TEXT, s TIMESTAMP, "
        L"y DATE, n NUMERIC(20,4))");
    database.Execute(L"INSERT INTO Kinds (i) VALUES (NULL)");
    const ComPtr<IDispatch> rows = OpenRecordset(Connect(), L"SELECT Kinds.*, NULL FROM Kinds");
    for (LONG field = 0; field < 9; ++field) {
        EXPECT_EQ(L"OK NULL", ValueOf(rows, field)) << field;
    }
}

// SQLite's driver hands on 15 digits of a double, PostgreSQL's all.
TEST_F(Provider, GivesLargeAndSmallNumbers)
{
    database.Execute(L"CREATE TABLE Limits (b BIGINT, d DOUBLE PRECISION)");
    database.Execute(L"INSERT INTO Limits VALUES (9223372036854775807, 1.5e308)");
    database.Execute(L"INSERT INTO Limits VALUES (0, 2.5e-307)");
    const ComPtr<IDispatch> rows = OpenRecordset(Connect(), L"SELECT b, d FROM Limits ORDER BY b DESC");
    EXPECT_EQ(L"OK I8 9223372036854775807", ValueOf(rows, 0));
    EXPECT_EQ(L"OK R8 1.5e+308", ValueOf(rows, 1));
    Move(rows, L"MoveNext");
    EXPECT_EQ(L"OK R8 2.5000000000000001e-307", ValueOf(rows, 1));
}

TEST_F(Provider, GivesBytesAsAnArray)
{
    database.Execute(StatisticsDatabase::IsPostgres() ? L"CREATE TABLE Raw (r BYTEA)" : L"CREATE TABLE Raw (r BLOB)");
    database.Execute(StatisticsDatabase::IsPostgres() ? L"INSERT INTO Raw VALUES ('\\x00ff10')"
                                                      : L"INSERT INTO Raw VALUES (x'00ff10')");
    EXPECT_EQ(L"OK UI1[] 00 FF 10", Answer(Connect(), L"SELECT r FROM Raw"));
}

TEST_F(Provider, GivesTextsOfAnyLengthAndLanguage)
{
    const ComPtr<IDispatch> connection = Connect();
    const std::wstring texts[] = {L"",
                                  L"Ärger, naïve, Ω",
                                  L"漢字",
                                  L"\U0001F600 beyond",
                                  std::wstring(10'000, L'ä') + L'!',
                                  std::wstring(4095, L'x'),
                                  std::wstring(4096, L'x')};
    for (const std::wstring& text : texts) {
        EXPECT_EQ(L"OK BSTR " + text, Answer(connection, L"SELECT '" + text + L"' AS t"));
    }
}

TEST_F(Provider, LetsNoLetterBecomeAQuotationMark)
{
    // The lower half of U+0127 is the apostrophe's code; the emoji makes a driver manager cut letters down to it.
    const std::wstring text = L"\U0001F600 \u0127 OR \u0127x\u0127=\u0127x";
    EXPECT_EQ(L"OK BSTR " + text, Answer(Connect(), L"SELECT '" + text + L"' AS t"));
}

TEST_F(Provider, HoldsTheRowAsItWasRead)
{
    const ComPtr<IDispatch> rows = OpenRecordset(Connect(), L"SELECT 'same' AS t");
    const ComPtr<IDispatch> field = FieldOf(rows, Variant::OfInteger(0));
    EXPECT_EQ(L"OK BSTR same", Shown(Get(field.Get(), L"Value")));
    EXPECT_EQ(L"OK BSTR same", Shown(Get(field.Get(), L"Value")));
    EXPECT_EQ(L"OK BSTR same", ValueOf(rows, 0));
}

// --- Threads and leaks ---

TEST_F(Provider, LetsThreadsShareAConnection)
{
    const ComPtr<IDispatch> connection = Connect();
    MakeNumbers(5);
    std::array<int, 4> sums{};
    std::vector<std::thread> threads;
    threads.reserve(sums.size());
    for (int& sum : sums) {
        threads.emplace_back([&connection, &sum] {
            const win::ComApartment own;
            for (int round = 0; round < 10; ++round) {
                Reply reply;
                const ComPtr<IDispatch> rows = OpenRecordset(connection, L"SELECT N FROM Numbers", reply);
                for (; Eof(rows) == L"OK BOOL false"; Move(rows, L"MoveNext")) {
                    sum += std::stoi(ValueOf(rows, 0).substr(6));
                }
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ((std::array<int, 4>{150, 150, 150, 150}), sums);
}

TEST_F(Provider, GivesBackWhatItTakes)
{
    const ComPtr<IDispatch> connection = Connect();
    const std::wstring query = L"SELECT '" + std::wstring(10'000, L'm') + L"' AS t";
    const auto round = [&] {
        Answer(connection, query);
        Execute(connection, L"SELEKT");
        static_cast<void>(Connect());
    };
    const auto memory = [] {
        PROCESS_MEMORY_COUNTERS counters{};
        GetProcessMemoryInfo(GetCurrentProcess(), &counters, sizeof counters);
        return static_cast<std::int64_t>(counters.PagefileUsage);
    };
    DWORD handlesBefore = 0;
    DWORD handlesAfter = 0;
    for (int count = 0; count < 50; ++count) {
        round();
    }
    const std::int64_t before = memory();
    GetProcessHandleCount(GetCurrentProcess(), &handlesBefore);
    constexpr int kRounds = 400;
    for (int count = 0; count < kRounds; ++count) {
        round();
    }
    GetProcessHandleCount(GetCurrentProcess(), &handlesAfter);
    // One text that is left behind in every round would be 8 megabytes.
    EXPECT_LT(memory() - before, 2'000'000);
    EXPECT_EQ(handlesBefore, handlesAfter);
}

} // namespace
