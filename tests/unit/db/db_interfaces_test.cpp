#include "db/db_interfaces.h"

#include "support/slot_positions.h"

#include <type_traits>

namespace {

using namespace vldb;

using testing_support::ExpectPositions;

template <typename Interface>
constexpr bool kIsPure = std::is_abstract_v<Interface> && !std::has_virtual_destructor_v<Interface> &&
                         !std::is_destructible_v<Interface> && sizeof(Interface) == sizeof(void*);

// Nobody destroys an object through its face.
static_assert(kIsPure<IDbManager>);
static_assert(kIsPure<IDbConnection>);
static_assert(kIsPure<IDbTransaction>);
static_assert(kIsPure<IDbCommand>);
static_assert(kIsPure<IDbReader>);

TEST(DbInterfaces, HaveTheManagersOperationsInTheirOrder)
{
    ExpectPositions<IDbManager>({
        {"Connect", 0, [](IDbManager& manager) { manager.Connect(L""); }},
        {"Lock", 1, [](IDbManager& manager) { manager.Lock(); }},
        {"Unlock", 2, [](IDbManager& manager) { manager.Unlock(); }},
    });
}

TEST(DbInterfaces, HaveTheConnectionsOperationsInTheirOrder)
{
    ExpectPositions<IDbConnection>({
        {"Close", 0, [](IDbConnection& connection) { connection.Close(); }},
        {"GetTransaction", 1, [](IDbConnection& connection) { connection.GetTransaction(); }},
        {"GetCommand", 2, [](IDbConnection& connection) { connection.GetCommand(); }},
    });
}

TEST(DbInterfaces, HaveTheTransactionsOperationsInTheirOrder)
{
    ExpectPositions<IDbTransaction>({
        {"Begin", 0, [](IDbTransaction& transaction) { transaction.Begin(); }},
        {"Commit", 1, [](IDbTransaction& transaction) { transaction.Commit(); }},
        {"Rollback", 2, [](IDbTransaction& transaction) { transaction.Rollback(); }},
    });
}

TEST(DbInterfaces, HaveTheCommandsOperationsInTheirOrder)
{
    ExpectPositions<IDbCommand>({
        {"ExecuteNonQuery", 0, [](IDbCommand& command) { command.ExecuteNonQuery(L""); }},
        {"ExecuteReader", 1, [](IDbCommand& command) { command.ExecuteReader(L""); }},
    });
}

TEST(DbInterfaces, HaveTheReadersOperationsInTheirOrder)
{
    ExpectPositions<IDbReader>({
        {"Read", 0, [](IDbReader& reader) { reader.Read(); }},
        {"Close", 1, [](IDbReader& reader) { reader.Close(); }},
        {"GetColumnCount", 2, [](IDbReader& reader) { reader.GetColumnCount(); }},
        {"GetColumnName", 3, [](IDbReader& reader) { static_cast<void>(reader.GetColumnName(0)); }},
        {"IsNull", 4, [](IDbReader& reader) { reader.IsNull(0); }},
        {"GetInt32", 5, [](IDbReader& reader) { reader.GetInt32(0); }},
        {"GetInt64", 6, [](IDbReader& reader) { reader.GetInt64(0); }},
        {"GetDouble", 7, [](IDbReader& reader) { reader.GetDouble(0); }},
        {"GetString", 8, [](IDbReader& reader) { static_cast<void>(reader.GetString(0)); }},
        {"GetValue", 9, [](IDbReader& reader) { reader.GetValue(0); }},
    });
}

TEST(DbInterfaces, HaveNoFacesOfAMissingConnection)
{
    EXPECT_EQ(nullptr, GetCommand(nullptr));
    EXPECT_EQ(nullptr, GetTransaction(nullptr));
}

} // namespace
