#include "db/db_error.h"

#include "support/failing_memory.h"
#include "support/message_tables.h"
#include "support/product_test.h"

#include <new>

namespace {

using namespace testing_support;

constexpr auto kDenied = static_cast<HRESULT>(0x80070005);
constexpr auto kUnknown = static_cast<HRESULT>(0x8004FFFE);

class DbError : public ProductTest {
protected:
    DbError() { tables.system[0x80070005] = L"Access is denied.\r\n"; }

    MessageTables tables;
};

TEST_F(DbError, HasTheSystemsMessageWhereTheObjectSaysNothing)
{
    const vldb::CDbError error = vldb::MakeDbError({kDenied, L""}, L"db_manager", 42);
    EXPECT_EQ(kDenied, error.GetCode());
    EXPECT_EQ(L"\r\nAccess is denied.\r\n\r\n\r\nReturn code: 0x80070005 (2147942405) (db_manager/#42)\r\n",
              error.GetText());
}

TEST_F(DbError, HasTheDescriptionAndTheSystemsMessageBehindIt)
{
    const vldb::CDbError error = vldb::MakeDbError({kDenied, L"The server refuses."}, L"ado_implement", 7);
    EXPECT_EQ(kDenied, error.GetCode());
    EXPECT_EQ(L"\r\nThe server refuses.\r\nAccess is denied.\r\n\r\n"
              L"\r\n\r\nReturn code: 0x80070005 (2147942405) (ado_implement/#7)\r\n",
              error.GetText());
}

TEST_F(DbError, HasTheDescriptionAloneWhereTheSystemKnowsNoMessage)
{
    const vldb::CDbError error = vldb::MakeDbError({kUnknown, L"No such table."}, L"ado_implement", 1);
    EXPECT_EQ(kUnknown, error.GetCode());
    EXPECT_EQ(L"\r\nNo such table.\r\n\r\nReturn code: 0x8004FFFE (2147811326) (ado_implement/#1)\r\n",
              error.GetText());
}

TEST_F(DbError, HasNoMessageWhereNobodyKnowsOne)
{
    EXPECT_EQ(L"\r\n\r\n\r\nReturn code: 0x8004FFFE (2147811326) (db_manager/#123456)\r\n",
              vldb::MakeDbError({kUnknown, L""}, L"db_manager", 123456).GetText());
}

TEST_F(DbError, AsksTheSystemForTheWholeCodeOnce)
{
    static_cast<void>(vldb::MakeDbError({kUnknown, L""}, L"db_manager", 1));
    static_cast<void>(vldb::MakeDbError({kDenied, L"x"}, L"db_manager", 1));
    EXPECT_EQ((std::vector<std::wstring>{L"system 0x8004FFFE", L"system 0x80070005"}), tables.TakeAsked());
}

TEST_F(DbError, OfAStatementHoldsTheStatementToo)
{
    const std::wstring statement = L"SELECT %s %1% FROM t; \n";
    const vldb::CDbError bare = vldb::MakeDbError({kDenied, L""}, L"ado_implement", 9, &statement);
    EXPECT_EQ(kDenied, bare.GetCode());
    EXPECT_EQ(L"\r\nAccess is denied.\r\n\r\n\r\nSQL Query:\r\nSELECT %s %1% FROM t; \n"
              L"\r\n\r\nReturn code: 0x80070005 (2147942405) (ado_implement/#9)\r\n",
              bare.GetText());
    EXPECT_EQ(L"\r\nNo such column.\r\n\r\nSQL Query:\r\nSELECT %s %1% FROM t; \n"
              L"\r\n\r\nReturn code: 0x8004FFFE (2147811326) (ado_implement/#10)\r\n",
              vldb::MakeDbError({kUnknown, L"No such column."}, L"ado_implement", 10, &statement).GetText());
    EXPECT_EQ(L"\r\nHelp!\r\nAccess is denied.\r\n\r\n\r\n\r\nSQL Query:\r\nSELECT %s %1% FROM t; \n"
              L"\r\n\r\nReturn code: 0x80070005 (2147942405) (ado_implement/#11)\r\n",
              vldb::MakeDbError({kDenied, L"Help!"}, L"ado_implement", 11, &statement).GetText());
}

TEST_F(DbError, WritesItsCodeWithEightHexadecimalDigits)
{
    EXPECT_NE(std::wstring::npos, vldb::MakeDbError({static_cast<HRESULT>(0xABC), L""}, L"s", 1)
                                      .GetText()
                                      .find(L"Return code: 0x00000ABC (2748) (s/#1)\r\n"));
}

// The error that the work ends with.
template <typename Work>
vldb::CDbError ErrorOf(Work work)
{
    try {
        vldb::Attempt(L"source", work, nullptr, 42);
    } catch (const vldb::CDbError& error) {
        return error;
    }
    ADD_FAILURE() << "no error";
    return {S_OK, L""};
}

TEST_F(DbError, IsMadeOfAFailedCallWithThePlaceOfItsOperation)
{
    EXPECT_EQ(7, vldb::Attempt(L"source", [] { return 7; }));
    const vldb::CDbError error = ErrorOf([] { vldb::Require({kUnknown, L"It broke."}); });
    EXPECT_EQ(kUnknown, error.GetCode());
    EXPECT_EQ(L"\r\nIt broke.\r\n\r\nReturn code: 0x8004FFFE (2147811326) (source/#42)\r\n", error.GetText());
}

TEST_F(DbError, IsMadeOfMemoryThatRunsOut)
{
    const vldb::CDbError error = ErrorOf([] { throw std::bad_alloc(); });
    EXPECT_EQ(E_OUTOFMEMORY, error.GetCode());
    EXPECT_TRUE(error.GetText().ends_with(L"\r\n\r\nReturn code: 0x8007000E (2147942414) (source/#42)\r\n"));
}

TEST_F(DbError, GoesThroughAnOperationThatCallsAnotherAsItIs)
{
    const vldb::CDbError error = ErrorOf([] { throw vldb::CDbError(kUnknown, L"text"); });
    EXPECT_EQ(kUnknown, error.GetCode());
    EXPECT_EQ(L"text", error.GetText());
}

TEST_F(DbError, HasNoTextWhereThereIsNoMemoryForIt)
{
    const FailingMemory memory(1);
    const vldb::CDbError error = vldb::MakeDbError({kUnknown, L""}, L"a source with a long name", 1);
    EXPECT_TRUE(memory.HasThrown());
    EXPECT_EQ(kUnknown, error.GetCode());
    EXPECT_EQ(L"", error.GetText());
}

} // namespace
