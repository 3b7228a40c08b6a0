// What becomes of ADO's objects when the things that they need fail; the classes are linked into the test program here,
// so that it can stand in ODBC's place.

#include "automation.h"

#include "ado/connection_object.h"
#include "ado/recordset_object.h"

#include "support/failing_memory.h"
#include "support/replaced_function.h"
#include "support/statistics_database.h"

#include <gtest/gtest.h>

#include <map>
#include <set>

namespace {

using namespace database_tests;
using testing_support::Replaced;
using win::ComPtr;
using win::Variant;

// Counts the handles of ODBC and the open connections, and can refuse one call.
class OdbcWatch {
public:
    explicit OdbcWatch(int refusedCall = 0) : refusedCall_(refusedCall) {}

    // Whether there have been so many calls.
    [[nodiscard]] bool HasRefused() const { return refusedCall_ != 0 && calls_ >= refusedCall_; }
    [[nodiscard]] std::size_t OpenHandles() const { return handles_.size(); }
    [[nodiscard]] std::size_t OpenConnections() const { return connections_.size(); }

private:
    bool Refuses() { return ++calls_ == refusedCall_; }

    template <typename Work>
    SQLRETURN Unless(Work work)
    {
        return Refuses() ? static_cast<SQLRETURN>(SQL_ERROR) : static_cast<SQLRETURN>(work());
    }

    int refusedCall_;
    int calls_ = 0;
    std::set<SQLHANDLE> handles_;
    std::set<SQLHANDLE> connections_;

    Replaced<"SQLAllocHandle", decltype(::SQLAllocHandle)> alloc_{
        [this](SQLSMALLINT kind, SQLHANDLE parent, SQLHANDLE* handle) {
            return Unless([&] {
                const SQLRETURN result = alloc_.Original(kind, parent, handle);
                handles_.insert(*handle);
                return result;
            });
        }};
    Replaced<"SQLFreeHandle", decltype(::SQLFreeHandle)> free_{[this](SQLSMALLINT kind, SQLHANDLE handle) {
        EXPECT_EQ(1U, handles_.erase(handle));
        EXPECT_FALSE(connections_.contains(handle));
        return free_.Original(kind, handle);
    }};
    Replaced<"SQLDriverConnect", decltype(::SQLDriverConnect)> connect_{
        [this](SQLHDBC connection, SQLHWND window, SQLCHAR* text, SQLSMALLINT length, SQLCHAR* out, SQLSMALLINT size,
               SQLSMALLINT* needed, SQLUSMALLINT prompt) {
            return Unless([&] {
                const SQLRETURN result = connect_.Original(connection, window, text, length, out, size, needed, prompt);
                if (SQL_SUCCEEDED(result)) {
                    connections_.insert(connection);
                }
                return result;
            });
        }};
    Replaced<"SQLDisconnect", decltype(::SQLDisconnect)> disconnect_{[this](SQLHDBC connection) {
        EXPECT_EQ(1U, connections_.erase(connection));
        return disconnect_.Original(connection);
    }};
    Replaced<"SQLSetEnvAttr", decltype(::SQLSetEnvAttr)> setEnvironment_{
        [this](SQLHENV environment, SQLINTEGER attribute, SQLPOINTER value, SQLINTEGER length) {
            return Unless([&] { return setEnvironment_.Original(environment, attribute, value, length); });
        }};
    Replaced<"SQLSetConnectAttr", decltype(::SQLSetConnectAttr)> setConnection_{
        [this](SQLHDBC connection, SQLINTEGER attribute, SQLPOINTER value, SQLINTEGER length) {
            return Unless([&] { return setConnection_.Original(connection, attribute, value, length); });
        }};
    Replaced<"SQLExecDirect", decltype(::SQLExecDirect)> execute_{
        [this](SQLHSTMT statement, SQLCHAR* text, SQLINTEGER length) {
            return Unless([&] { return execute_.Original(statement, text, length); });
        }};
    Replaced<"SQLNumResultCols", decltype(::SQLNumResultCols)> count_{[this](SQLHSTMT statement, SQLSMALLINT* count) {
        return Unless([&] { return count_.Original(statement, count); });
    }};
    Replaced<"SQLDescribeCol", decltype(::SQLDescribeCol)> describe_{
        [this](SQLHSTMT statement, SQLUSMALLINT column, SQLCHAR* name, SQLSMALLINT size, SQLSMALLINT* length,
               SQLSMALLINT* type, SQLULEN* width, SQLSMALLINT* digits, SQLSMALLINT* nullable) {
            return Unless([&] {
                return describe_.Original(statement, column, name, size, length, type, width, digits, nullable);
            });
        }};
    Replaced<"SQLFetch", decltype(::SQLFetch)> fetch_{
        [this](SQLHSTMT statement) { return Unless([&] { return fetch_.Original(statement); }); }};
    Replaced<"SQLGetData", decltype(::SQLGetData)> data_{[this](SQLHSTMT statement, SQLUSMALLINT column,
                                                                SQLSMALLINT type, SQLPOINTER value, SQLLEN size,
                                                                SQLLEN* length) {
        return Unless([&] { return data_.Original(statement, column, type, value, size, length); });
    }};
};

class ProviderFaults : public testing::Test {
protected:
    // Opens a connection, changes a row in a transaction, reads two rows and closes everything; answers the first reply
    // that is not well.
    [[nodiscard]] std::wstring Use() const
    {
        const ComPtr<sim::ado::ConnectionObject> connection = sim::MakeObject<sim::ado::ConnectionObject>();
        const ComPtr<sim::ado::RecordsetObject> rows = sim::MakeObject<sim::ado::RecordsetObject>();
        std::wstring fault = Fault(OpenReply(connection));
        for (const wchar_t* const step : {L"BeginTrans", L"CommitTrans"}) {
            fault = fault.empty() ? Fault(Call(connection.Get(), step)) : fault;
        }
        if (fault.empty()) {
            fault = Fault(OpenReply(rows, connection));
        }
        for (const wchar_t* const step : {L"MoveFirst", L"MoveNext", L"MoveFirst"}) {
            fault = fault.empty() ? Fault(Call(rows.Get(), step)) : fault;
        }
        if (fault.empty()) {
            Reply reply = Get(rows.Get(), L"Fields");
            if (reply.result == S_OK) {
                reply = Get(ObjectOf(reply).Get(), L"Item", Arguments(Variant::OfText(L"VolumeName")));
            }
            if (reply.result == S_OK) {
                reply = Get(ObjectOf(reply).Get(), L"Value");
            }
            fault = Fault(reply);
            if (fault.empty()) {
                EXPECT_EQ(L"OK BSTR C:", Shown(reply));
            }
        }
        return fault.empty() ? Fault(Call(rows.Get(), L"Close")) : fault;
    }

    [[nodiscard]] Reply OpenReply(const ComPtr<sim::ado::ConnectionObject>& connection) const
    {
        return Call(connection.Get(), L"Open", Arguments(Variant::OfText(database.AdoString())));
    }

    static Reply OpenReply(const ComPtr<sim::ado::RecordsetObject>& rows,
                           const ComPtr<sim::ado::ConnectionObject>& connection)
    {
        return Call(rows.Get(), L"Open",
                    Arguments(Variant::OfText(L"SELECT VolumeId, VolumeName FROM Volumes ORDER BY VolumeId"),
                              Variant::OfObject(connection.Get())));
    }

    // An open connection.
    [[nodiscard]] ComPtr<sim::ado::ConnectionObject> Open() const
    {
        ComPtr<sim::ado::ConnectionObject> connection = sim::MakeObject<sim::ado::ConnectionObject>();
        EXPECT_EQ(L"", Fault(OpenReply(connection)));
        return connection;
    }

    // A recordset of the two volumes, on the first.
    static ComPtr<sim::ado::RecordsetObject> OpenVolumes(const ComPtr<sim::ado::ConnectionObject>& connection)
    {
        ComPtr<sim::ado::RecordsetObject> rows = sim::MakeObject<sim::ado::RecordsetObject>();
        EXPECT_EQ(L"", Fault(OpenReply(rows, connection)));
        return rows;
    }

    static std::wstring Fault(const Reply& reply) { return reply.result == S_OK ? std::wstring() : Shown(reply); }

    void SetUp() override
    {
        database.Execute(L"INSERT INTO Volumes VALUES (1, 'C:')");
        database.Execute(L"INSERT INTO Volumes VALUES (2, 'D:')");
    }

    testing_support::StatisticsDatabase database;
};

TEST_F(ProviderFaults, NothingIsLeftOfWhatWentWell)
{
    const OdbcWatch watch;
    EXPECT_EQ(L"", Use());
    EXPECT_EQ(0U, watch.OpenHandles());
    EXPECT_EQ(0U, watch.OpenConnections());
}

TEST_F(ProviderFaults, EveryCallOfOdbcMayFail)
{
    int call = 1;
    for (;; ++call) {
        const OdbcWatch watch(call);
        const std::wstring fault = Use();
        EXPECT_EQ(0U, watch.OpenHandles()) << call;
        EXPECT_EQ(0U, watch.OpenConnections()) << call;
        if (!watch.HasRefused()) {
            EXPECT_EQ(L"", fault);
            break;
        }
        // What the driver has to say of a fault that is none is its own affair; it is told as an exception.
        EXPECT_EQ(0U, fault.find(L"EXCEPTION 0x80")) << call << ": " << fault;
    }
    EXPECT_GT(call, 20);
}

TEST_F(ProviderFaults, MemoryMayRunOutAtAnyTime)
{
    int allocation = 1;
    for (;; ++allocation) {
        const OdbcWatch watch;
        bool hasFailed = false;
        std::wstring fault;
        try {
            const testing_support::FailingMemory memory(allocation);
            fault = Use();
            hasFailed = memory.HasFailed();
        } catch (const std::bad_alloc&) {
            // The test's own memory, not that of a call.
            hasFailed = true;
        }
        EXPECT_EQ(0U, watch.OpenHandles()) << allocation;
        EXPECT_EQ(0U, watch.OpenConnections()) << allocation;
        if (!hasFailed) {
            EXPECT_EQ(L"", fault);
            break;
        }
        EXPECT_TRUE(fault.empty() || fault == L"0x8007000E") << allocation << ": " << fault;
    }
    EXPECT_GT(allocation, 50);
}

// Refuses every call of a function of ODBC that it stands in for.
constexpr auto kRefuse = [](auto...) { return static_cast<SQLRETURN>(SQL_ERROR); };

TEST_F(ProviderFaults, LeaveATransactionAsItWas)
{
    const ComPtr<sim::ado::ConnectionObject> connection = Open();
    {
        const Replaced<"SQLSetConnectAttr", decltype(::SQLSetConnectAttr)> begin(kRefuse);
        EXPECT_EQ(DISP_E_EXCEPTION, Call(connection.Get(), L"BeginTrans").result);
    }
    // There is none yet.
    EXPECT_EQ(L"OK I4 1", Shown(Call(connection.Get(), L"BeginTrans")));
    {
        const Replaced<"SQLEndTran", decltype(::SQLEndTran)> end(kRefuse);
        EXPECT_EQ(DISP_E_EXCEPTION, Call(connection.Get(), L"CommitTrans").result);
        EXPECT_EQ(DISP_E_EXCEPTION, Call(connection.Get(), L"RollbackTrans").result);
    }
    // It is still there to be ended.
    EXPECT_EQ(L"OK EMPTY", Shown(Call(connection.Get(), L"RollbackTrans")));
    EXPECT_EQ(L"OK EMPTY", Shown(Call(connection.Get(), L"Close")));
}

TEST_F(ProviderFaults, CloseARecordsetThatCannotGoBackToItsFirstRow)
{
    const ComPtr<sim::ado::ConnectionObject> connection = Open();
    const ComPtr<sim::ado::RecordsetObject> rows = OpenVolumes(connection);
    EXPECT_EQ(L"OK EMPTY", Shown(Call(rows.Get(), L"MoveNext")));
    {
        const Replaced<"SQLFetch", decltype(::SQLFetch)> fetch(kRefuse);
        EXPECT_EQ(DISP_E_EXCEPTION, Call(rows.Get(), L"MoveFirst").result);
    }
    EXPECT_EQ(L"OK I4 0", Shown(Get(rows.Get(), L"State")));
}

class ProviderStatements : public ProviderFaults {};

// A client that goes to the first row before it reads costs the database nothing.
TEST_F(ProviderStatements, RunAgainOnlyOnceTheFirstRowIsPast)
{
    const ComPtr<sim::ado::ConnectionObject> connection = Open();
    const Replaced<"SQLExecDirect", decltype(::SQLExecDirect)> execute(
        [&](SQLHSTMT statement, SQLCHAR* text, SQLINTEGER length) {
            return execute.Original(statement, text, length);
        });
    const ComPtr<sim::ado::RecordsetObject> rows = OpenVolumes(connection);
    EXPECT_EQ(L"OK EMPTY", Shown(Call(rows.Get(), L"MoveFirst")));
    EXPECT_EQ(L"OK EMPTY", Shown(Call(rows.Get(), L"MoveFirst")));
    EXPECT_EQ(1, execute.Calls());
    EXPECT_EQ(L"OK EMPTY", Shown(Call(rows.Get(), L"MoveNext")));
    EXPECT_EQ(L"OK EMPTY", Shown(Call(rows.Get(), L"MoveFirst")));
    EXPECT_EQ(2, execute.Calls());
}

// The SQLSTATEs of the drivers and what they become.
TEST_F(ProviderFaults, AreToldByTheirKind)
{
    const std::map<std::string, std::uint32_t> codes = {
        {"42S02", 0x80040E37}, {"S0002", 0x80040E37}, {"42P01", 0x80040E37}, {"42000", 0x80040E14},
        {"42601", 0x80040E14}, {"37000", 0x80040E14}, {"23000", 0x80040E2F}, {"23505", 0x80040E2F},
        {"22001", 0x80040E57}, {"22003", 0x80040E57}, {"22018", 0x80040E07}, {"28000", 0x80040E4D},
        {"28P01", 0x80040E4D}, {"HYT00", 0x80040E31}, {"HYT01", 0x80040E31}, {"HY000", 0x80004005},
        {"08001", 0x80004005}, {"IM002", 0x80004005}, {"01000", 0x80004005},
    };
    for (const auto& [state, code] : codes) {
        const sim::ado::Refusal refusal = sim::ado::RefusalOf({state, L"what the driver says"});
        EXPECT_EQ(code, static_cast<std::uint32_t>(refusal.code)) << state;
        EXPECT_EQ(L"what the driver says", refusal.text);
    }
}

} // namespace
