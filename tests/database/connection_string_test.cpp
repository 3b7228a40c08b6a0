#include "odbc/connection_string.h"
#include "odbc/unix_path.h"

#include <gtest/gtest.h>

namespace {

using sim::odbc::ToOdbcConnectionString;
using sim::odbc::ToUnixPath;

TEST(ConnectionString, DropsTheProviderAndKeepsTheDriversWords)
{
    EXPECT_EQ(L"Driver={SQLite3};Database=/tmp/a.db;Timeout=5;",
              ToOdbcConnectionString(L"Provider=MSDASQL;Driver={SQLite3};Database=/tmp/a.db;Timeout=5"));
    EXPECT_EQ(L"Driver={SQLite3};", ToOdbcConnectionString(L"provider = msdasql.1 ; Driver = {SQLite3} ; "));
}

TEST(ConnectionString, TakesOdbcForTheProviderWhereNoneIsNamed)
{
    EXPECT_EQ(L"DSN=Stats;", ToOdbcConnectionString(L"DSN=Stats"));
    EXPECT_EQ(L"", ToOdbcConnectionString(L""));
}

TEST(ConnectionString, KnowsNoOtherProvider)
{
    EXPECT_EQ(std::nullopt, ToOdbcConnectionString(L"Provider=SQLOLEDB;Data Source=here"));
    EXPECT_EQ(std::nullopt, ToOdbcConnectionString(L"Driver={SQLite3};PROVIDER=Microsoft.Jet.OLEDB.4.0"));
}

TEST(ConnectionString, TurnsAdosWordsIntoOdbcs)
{
    EXPECT_EQ(L"DSN=Stats;UID=ann;PWD=x y;Database=vl;",
              ToOdbcConnectionString(L"Data Source=Stats;User ID=ann;Password=x y;Initial Catalog=vl;"
                                     L"Persist Security Info=False"));
}

TEST(ConnectionString, TakesUserAndPasswordFromTheCallWhereItHasThem)
{
    EXPECT_EQ(L"DSN=Stats;UID=bob;PWD=two;", ToOdbcConnectionString(L"DSN=Stats;Uid=ann;Password=one", L"bob", L"two"));
    EXPECT_EQ(L"DSN=Stats;Uid=ann;", ToOdbcConnectionString(L"DSN=Stats;Uid=ann", L"", L""));
}

TEST(ConnectionString, ReadsValuesInQuotationMarks)
{
    EXPECT_EQ(L"A={x;y};B=say \"so\";C=it's;", ToOdbcConnectionString(L"A=\"x;y\";B=\"say \"\"so\"\"\";C='it''s'"));
    EXPECT_EQ(L"A=open;", ToOdbcConnectionString(L"A=\"open"));
}

TEST(ConnectionString, KeepsBracesWithTheirSemicolons)
{
    EXPECT_EQ(L"Driver={One;Two};PWD={a=b;};", ToOdbcConnectionString(L"Driver={One;Two};PWD={a=b;}"));
}

TEST(ConnectionString, OpensExtendedProperties)
{
    EXPECT_EQ(L"Driver={SQLite3};Database=/tmp/b.db;Timeout=9;",
              ToOdbcConnectionString(L"Extended Properties=\"Driver={SQLite3};Database=/tmp/b.db\";Timeout=9"));
}

TEST(ConnectionString, PassesOverWordsWithoutAName)
{
    EXPECT_EQ(L"A=1;B=;C=;", ToOdbcConnectionString(L";;A=1;=x;B=;C"));
}

TEST(ConnectionString, NamesADatabaseFileByItsUnixPath)
{
    EXPECT_EQ(L"Database=/statistics.db;", ToOdbcConnectionString(L"Database=Z:\\statistics.db"));
    EXPECT_EQ(L"Database=/tmp/x y.db;", ToOdbcConnectionString(L"Database=z:/tmp/x y.db"));
}

TEST(ConnectionStringPath, StaysWhereItIsNoWindowsPathOrItsFolderIsNotThere)
{
    for (const wchar_t* const path :
         {L"", L"Z", L"Z:", L"vlstats", L"/tmp/a.db", L"1:\\a.db", L":memory:", L"Z:\\no\\such\\folder\\a.db"}) {
        EXPECT_EQ(path, ToUnixPath(path));
    }
}

} // namespace
