// The product's database layer over ADO's classes and a real database.

#include "db/db_error.h"
#include "db/db_manager.h"

#include "support/statistics_database.h"
#include "win/com_apartment.h"
#include "win/variant.h"

#include <gtest/gtest.h>

#include <functional>

namespace {

using namespace vldb;
using testing_support::StatisticsDatabase;

class DatabaseLayer : public testing::Test {
protected:
    void SetUp() override
    {
        database.Execute(L"CREATE TABLE Kinds (i INTEGER, b BIGINT, d DOUBLE PRECISION, t VARCHAR(50), s TIMESTAMP, "
                         L"n INTEGER, w VARCHAR(50))");
        // 46100.1875 is 19 March 2026, 04:30.
        database.Execute(L"INSERT INTO Kinds VALUES (-7, 9007199254740993, 2.5, '12', '2026-03-19 04:30:00', NULL, "
                         L"'Größe Ω')");
        connection.Reset(GetDbManager()->Connect(database.ProductString()));
        ASSERT_TRUE(connection);
    }

    [[nodiscard]] DbReader Run(const std::wstring& statement) const
    {
        return DbReader(connection.Get()->GetCommand()->ExecuteReader(statement));
    }

    // A reader that stands on the row of Kinds.
    [[nodiscard]] DbReader Row() const
    {
        DbReader reader = Run(L"SELECT i, b, d, t, s, n, w FROM Kinds");
        EXPECT_TRUE(reader.Get()->Read());
        return reader;
    }

    // The code of the error that the work throws; 0 where it throws none.
    static std::uint32_t CodeOf(const std::function<void()>& work)
    {
        try {
            work();
            return 0;
        } catch (const CDbError& error) {
            return static_cast<std::uint32_t>(error.GetCode());
        }
    }

    win::ComApartment apartment;
    StatisticsDatabase database;
    DbConnection connection;
};

constexpr std::uint32_t kTypeMismatch = 0x80020005;
constexpr std::uint32_t kOverflow = 0x8002000A;

TEST_F(DatabaseLayer, ReadsIntegers)
{
    const DbReader reader = Row();
    EXPECT_EQ(-7, reader.Get()->GetInt32(0));
    EXPECT_EQ(-7, reader.Get()->GetInt64(0));
    EXPECT_EQ(-7.0, reader.Get()->GetDouble(0));
    EXPECT_EQ(L"-7", reader.Get()->GetString(0));
    EXPECT_FALSE(reader.Get()->IsNull(0));
}

TEST_F(DatabaseLayer, ReadsNumbersOf64Bits)
{
    const DbReader reader = Row();
    EXPECT_EQ(9007199254740993, reader.Get()->GetInt64(1));
    EXPECT_EQ(9007199254740992.0, reader.Get()->GetDouble(1));
    EXPECT_EQ(L"9007199254740993", reader.Get()->GetString(1));
    EXPECT_EQ(kOverflow, CodeOf([&] { reader.Get()->GetInt32(1); }));
}

TEST_F(DatabaseLayer, ReadsDoubles)
{
    const DbReader reader = Row();
    EXPECT_EQ(2.5, reader.Get()->GetDouble(2));
    // Automation rounds a half to the even number.
    EXPECT_EQ(2, reader.Get()->GetInt32(2));
    const win::Variant value(reader.Get()->GetValue(2));
    EXPECT_EQ(VT_R8, value.Type());
    EXPECT_EQ(2.5, value.Get().dblVal);
}

TEST_F(DatabaseLayer, ReadsTexts)
{
    const DbReader reader = Row();
    EXPECT_EQ(L"12", reader.Get()->GetString(3));
    EXPECT_EQ(12, reader.Get()->GetInt32(3));
    EXPECT_EQ(12, reader.Get()->GetInt64(3));
    EXPECT_EQ(12.0, reader.Get()->GetDouble(3));
    EXPECT_EQ(L"Größe Ω", reader.Get()->GetString(6));
    EXPECT_EQ(kTypeMismatch, CodeOf([&] { reader.Get()->GetInt32(6); }));
    EXPECT_EQ(kTypeMismatch, CodeOf([&] { reader.Get()->GetDouble(6); }));
}

TEST_F(DatabaseLayer, ReadsDates)
{
    const DbReader reader = Row();
    EXPECT_DOUBLE_EQ(46100.1875, reader.Get()->GetDouble(4));
    EXPECT_EQ(46100, reader.Get()->GetInt32(4));
}

TEST_F(DatabaseLayer, ReadsNull)
{
    const DbReader reader = Row();
    EXPECT_TRUE(reader.Get()->IsNull(5));
    EXPECT_EQ(L"", reader.Get()->GetString(5));
    EXPECT_EQ(kTypeMismatch, CodeOf([&] { reader.Get()->GetInt32(5); }));
    EXPECT_EQ(kTypeMismatch, CodeOf([&] { reader.Get()->GetInt64(5); }));
    EXPECT_EQ(kTypeMismatch, CodeOf([&] { reader.Get()->GetDouble(5); }));
    EXPECT_EQ(kTypeMismatch, CodeOf([&] { reader.Get()->GetValue(5); }));
}

TEST_F(DatabaseLayer, KnowsItsColumns)
{
    const DbReader reader = Row();
    EXPECT_EQ(7, reader.Get()->GetColumnCount());
    EXPECT_EQ(L"i", reader.Get()->GetColumnName(0));
    EXPECT_EQ(L"w", reader.Get()->GetColumnName(6));
    constexpr std::uint32_t kItemNotFound = 0x800A0CC1;
    for (const std::int32_t index : {-1, 7}) {
        EXPECT_EQ(kItemNotFound, CodeOf([&] { reader.Get()->GetColumnName(index); })) << index;
        EXPECT_EQ(kItemNotFound, CodeOf([&] { reader.Get()->GetDouble(index); })) << index;
    }
}

TEST_F(DatabaseLayer, ReadsNothingFromAnEmptyResult)
{
    const DbReader reader = Run(L"SELECT i FROM Kinds WHERE i = 8");
    EXPECT_FALSE(reader.Get()->Read());
    EXPECT_FALSE(reader.Get()->Read());
}

TEST_F(DatabaseLayer, ReadsARowOnce)
{
    const DbReader reader = Run(L"SELECT i FROM Kinds");
    EXPECT_TRUE(reader.Get()->Read());
    EXPECT_FALSE(reader.Get()->Read());
    EXPECT_FALSE(reader.Get()->Read());
}

TEST_F(DatabaseLayer, ReadsRowsInTheirOrder)
{
    database.Execute(L"INSERT INTO Kinds (i) VALUES (3)");
    database.Execute(L"INSERT INTO Kinds (i) VALUES (11)");
    const DbReader reader = Run(L"SELECT i FROM Kinds ORDER BY i DESC");
    for (const std::int32_t number : {11, 3, -7}) {
        EXPECT_TRUE(reader.Get()->Read());
        EXPECT_EQ(number, reader.Get()->GetInt32(0));
    }
    EXPECT_FALSE(reader.Get()->Read());
}

TEST_F(DatabaseLayer, KeepsOrTakesBackWhatATransactionHasChanged)
{
    IDbTransaction* const transaction = connection.Get()->GetTransaction();
    IDbCommand* const command = connection.Get()->GetCommand();
    transaction->Begin();
    command->ExecuteNonQuery(L"INSERT INTO Kinds (i) VALUES (1)");
    transaction->Rollback();
    EXPECT_EQ(1U, database.Query(L"SELECT i FROM Kinds").size());
    transaction->Begin();
    command->ExecuteNonQuery(L"INSERT INTO Kinds (i) VALUES (1)");
    transaction->Commit();
    EXPECT_EQ(2U, database.Query(L"SELECT i FROM Kinds").size());
    constexpr std::uint32_t kNoTransaction = 0x8004D00E;
    EXPECT_EQ(kNoTransaction, CodeOf([&] { transaction->Commit(); }));
    EXPECT_EQ(kNoTransaction, CodeOf([&] { transaction->Rollback(); }));
}

TEST_F(DatabaseLayer, CarriesWhatTheDatabaseSaysOfAStatement)
{
    const bool isPostgres = StatisticsDatabase::IsPostgres();
    const std::wstring statement = L"SELECT a FROM nowhere WHERE b = 'it''s'";
    try {
        static_cast<void>(Run(statement));
        FAIL() << "the table is there";
    } catch (const CDbError& error) {
        EXPECT_EQ(isPostgres ? 0x80040E37 : 0x80004005, static_cast<std::uint32_t>(error.GetCode()));
        const std::wstring& text = error.GetText();
        EXPECT_EQ(0U, text.find(isPostgres ? L"\r\nERROR: relation \"nowhere\" does not exist"
                                           : L"\r\n[SQLite]no such table: nowhere (1)"))
            << text;
        EXPECT_NE(std::wstring::npos,
                  text.find(L"\r\n\r\nSQL Query:\r\n" + statement +
                            (isPostgres ? L"\r\n\r\nReturn code: 0x80040E37 (2147749431) (ado_implement/#"
                                        : L"\r\n\r\nReturn code: 0x80004005 (2147500037) (ado_implement/#")))
            << text;
        EXPECT_TRUE(text.ends_with(L")\r\n"));
    }
    EXPECT_NE(0U, CodeOf([&] { connection.Get()->GetCommand()->ExecuteNonQuery(L"SELEKT"); }));
}

TEST_F(DatabaseLayer, CarriesWhatTheDriverSaysOfAConnection)
{
    try {
        const DbConnection none(GetDbManager()->Connect(L"ADO:Provider=MSDASQL;Driver={No Such Driver}"));
        FAIL() << "the driver is there";
    } catch (const CDbError& error) {
        EXPECT_EQ(E_FAIL, error.GetCode());
        EXPECT_NE(std::wstring::npos, error.GetText().find(L"No Such Driver")) << error.GetText();
        EXPECT_NE(std::wstring::npos, error.GetText().find(L"Return code: 0x80004005 (2147500037) (db_manager/#"))
            << error.GetText();
    }
    constexpr std::uint32_t kProviderNotFound = 0x800A0E7A;
    EXPECT_EQ(kProviderNotFound, CodeOf([] { DbConnection(GetDbManager()->Connect(L"ADO:Provider=SQLOLEDB")); }));
}

TEST_F(DatabaseLayer, DoesNothingOverAClosedConnection)
{
    connection.Get()->Close();
    constexpr std::uint32_t kObjectClosed = 0x800A0E78;
    EXPECT_EQ(kObjectClosed, CodeOf([&] { connection.Get()->Close(); }));
    EXPECT_EQ(kObjectClosed, CodeOf([&] { connection.Get()->GetTransaction()->Begin(); }));
    constexpr std::uint32_t kInvalidConnection = 0x800A0E7D;
    EXPECT_EQ(kInvalidConnection, CodeOf([&] { static_cast<void>(Run(L"SELECT 1")); }));
}

} // namespace
