#include "db/db_manager.h"

#include "db/db_error.h"
#include "support/fake_ado.h"
#include "support/message_tables.h"
#include "support/product_test.h"
#include "support/trace_log.h"

#include <optional>

namespace {

using namespace testing_support;

using vldb::CDbManager;

using Lines = std::vector<std::wstring>;

constexpr auto kFailure = static_cast<HRESULT>(0x80004005);

class DbManager : public ProductTest {
protected:
    MessageTables tables;
    FakeAdo ado;
    CDbManager manager;
};

TEST_F(DbManager, ConnectsThroughAdoInAnyCase)
{
    for (const wchar_t* const provider : {L"ADO", L"ado", L"aDo"}) {
        const vldb::DbConnection connection(
            manager.Connect(provider + std::wstring(L":Provider=X:1;Data Source=C:\\d")));
        EXPECT_TRUE(connection);
        // Only the first colon separates.
        EXPECT_EQ(L"connection.Open(BSTR Provider=X:1;Data Source=C:\\d, BSTR , BSTR , I4 -1)", ado.TakeCalls().back());
    }
}

TEST_F(DbManager, ConnectsWithAnEmptyStringOfAdos)
{
    const vldb::DbConnection connection(manager.Connect(L"ADO:"));
    EXPECT_TRUE(connection);
    EXPECT_EQ(Lines{L"connection.Open(BSTR , BSTR , BSTR , I4 -1)"}, ado.TakeCalls());
}

TEST_F(DbManager, KnowsNoOtherProvider)
{
    for (const wchar_t* const text : {L"", L":", L":Provider=X", L"ADO", L"ODBC:DSN=x", L"ADO :x", L" ADO:x", L"ADOX:x",
                                      L"AD:x", L"Provider=X", L"ADO;x"}) {
        EXPECT_EQ(nullptr, manager.Connect(text)) << ::testing::PrintToString(std::wstring(text));
    }
    EXPECT_TRUE(ado.TakeCreations().empty());
}

TEST_F(DbManager, ThrowsAnErrorOfItsOwnWhereTheConnectionCannotBeOpened)
{
    ado.Fail(L"connection.Open", {.scode = kFailure, .description = L"No such file."});
    try {
        manager.Connect(L"ADO:x");
        ADD_FAILURE() << "no error";
    } catch (const vldb::CDbError& error) {
        EXPECT_EQ(kFailure, error.GetCode());
        EXPECT_TRUE(
            error.GetText().starts_with(L"\r\nNo such file.\r\n\r\nReturn code: 0x80004005 (2147500037) (db_manager/#"))
            << ::testing::PrintToString(error.GetText());
    }
    EXPECT_EQ(0, ado.LiveObjects());
}

TEST_F(DbManager, ThrowsTheErrorOfAMissingAdo)
{
    ado.unregistered[L"ADODB.Connection"] = CO_E_CLASSSTRING;
    try {
        manager.Connect(L"ADO:x");
        ADD_FAILURE() << "no error";
    } catch (const vldb::CDbError& error) {
        EXPECT_EQ(CO_E_CLASSSTRING, error.GetCode());
        EXPECT_NE(std::wstring::npos, error.GetText().find(L" (db_manager/#"));
    }
}

TEST_F(DbManager, IsOneForTheProcess)
{
    EXPECT_NE(nullptr, vldb::GetDbManager());
    EXPECT_EQ(vldb::GetDbManager(), vldb::GetDbManager());
}

TEST_F(DbManager, RecordsItsLifeAndItsOperations)
{
    TracedOperations trace;
    std::optional<CDbManager> other(std::in_place);
    const auto records = [](const std::wstring& function) {
        return Lines{L"db_manager (vldb::CDbManager::" + function + L") *** ENTER ***",
                     L"db_manager (vldb::CDbManager::" + function + L") *** LEAVE ***"};
    };
    EXPECT_EQ(records(L"CDbManager"), trace.Take());
    other->Lock();
    EXPECT_EQ(records(L"Lock"), trace.Take());
    other->Unlock();
    EXPECT_EQ(records(L"Unlock"), trace.Take());
    EXPECT_EQ(nullptr, other->Connect(L""));
    EXPECT_EQ(records(L"Connect"), trace.Take());
    {
        const vldb::DbConnection connection(other->Connect(L"ADO:x"));
        EXPECT_EQ((Lines{L"db_manager (vldb::CDbManager::Connect) *** ENTER ***",
                         L"ado_implement (vldb::CAdoDbConnection::CAdoDbConnection) *** ENTER ***",
                         L"ado_implement (vldb::CAdoDbConnection::CAdoDbConnection) *** LEAVE ***",
                         L"db_manager (vldb::CDbManager::Connect) *** LEAVE ***"}),
                  trace.Take());
    }
    static_cast<void>(trace.Take());
    other.reset();
    EXPECT_EQ(records(L"~CDbManager"), trace.Take());
}

TEST_F(DbManager, RecordsThatItLeavesWithAnError)
{
    TracedOperations trace;
    ado.unregistered[L"ADODB.Connection"] = CO_E_CLASSSTRING;
    EXPECT_THROW(manager.Connect(L"ADO:x"), vldb::CDbError);
    const Lines records = trace.Take();
    EXPECT_EQ(L"db_manager (vldb::CDbManager::Connect) *** ENTER ***", records.front());
    EXPECT_EQ(L"db_manager (vldb::CDbManager::Connect) *** LEAVE ***", records.back());
}

class DbOwners : public DbManager {};

TEST_F(DbOwners, CloseAndReleaseTheReaderBeforeItsConnection)
{
    {
        const vldb::DbConnection connection(manager.Connect(L"ADO:x"));
        const vldb::DbReader reader(connection.Get()->GetCommand()->ExecuteReader(L"SELECT 1"));
        static_cast<void>(ado.TakeCalls());
    }
    EXPECT_EQ((Lines{L"recordset.Close()", L"connection.Close()"}), ado.TakeCalls());
    EXPECT_EQ(0, ado.LiveObjects());
}

TEST_F(DbOwners, ReleaseAlsoWhatCannotBeClosed)
{
    {
        const vldb::DbConnection connection(manager.Connect(L"ADO:x"));
        const vldb::DbReader reader(connection.Get()->GetCommand()->ExecuteReader(L"SELECT 1"));
        ado.Fail(L"connection.Close", {.scode = kFailure, .description = L"busy"});
        ado.Fail(L"recordset.Close", {.scode = kFailure, .description = L"busy"});
    }
    EXPECT_EQ(0, ado.LiveObjects());
}

} // namespace
