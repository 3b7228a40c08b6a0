// The product's database layer over ADO's classes and a real database.

#include "db/db_error.h"
#include "db/db_manager.h"

#include "support/statistics_database.h"
#include "win/com_apartment.h"

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

TEST_F(DatabaseLayer, ReadsValuesOfEveryKind)
{
    const DbReader row = Run(L"SELECT i, b, d, t, s, n, w FROM Kinds");
    ASSERT_TRUE(row.Get()->Read());
    EXPECT_EQ(-7, row.Get()->GetInt32(0));
    EXPECT_EQ(9007199254740993, row.Get()->GetInt64(1));
    EXPECT_EQ(2.5, row.Get()->GetDouble(2));
    EXPECT_EQ(12.0, row.Get()->GetDouble(3));
    EXPECT_DOUBLE_EQ(46100.1875, row.Get()->GetDouble(4));
    EXPECT_TRUE(row.Get()->IsNull(5));
    EXPECT_EQ(L"Größe Ω", row.Get()->GetString(6));
    constexpr std::uint32_t kTypeMismatch = 0x80020005;
    EXPECT_EQ(kTypeMismatch, CodeOf([&] { row.Get()->GetDouble(5); }));
    EXPECT_EQ(7, row.Get()->GetColumnCount());
    EXPECT_EQ(L"w", row.Get()->GetColumnName(6));
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

} // namespace
