#pragma once

#include "support/replaced_function.h"
#include "win/windows_api.h"

#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

namespace testing_support {

// A value of the fake ADO: a database NULL, a VARIANT type of its own, or a VARIANT whose contents need no freeing.
using AdoValue = std::variant<std::monostate, LONG, LONGLONG, double, std::wstring, VARIANT>;
using AdoRow = std::vector<AdoValue>;

// How a member of one of the fake's objects fails.
struct AdoFault {
    HRESULT result = DISP_E_EXCEPTION; // what Invoke answers; the rest tells the reason with that result alone
    SCODE scode = E_FAIL;
    WORD wCode = 0;
    std::optional<std::wstring> description{};
    bool isDeferred = false;                   // the reason is told only when it is asked for
    std::optional<std::wstring> errorObject{}; // description of an error object that the thread gets
    int call = 0;                              // only the n-th call, counted from 1; 0 for all
    bool isUnknown = false;                    // GetIDsOfNames answers the result and the member is never reached
};

// What the program asked COM for.
struct AdoCreation {
    std::wstring className;
    DWORD context;
    IID interfaceId;
    bool operator==(const AdoCreation&) const = default;
};

// The two ADO classes inside the test process, by their late-bound members. As long as it lives, CLSIDFromProgID and
// CoCreateInstance know "ADODB.Connection" and "ADODB.Recordset".
//
// Every call is logged with the types of its arguments in their natural order: "recordset.Open(BSTR SELECT 1, DISPATCH
// connection, I4 0, I4 1, I4 1)"; a property stands without parentheses unless it has an index.
class FakeAdo {
public:
    FakeAdo();
    FakeAdo(FakeAdo&&) = delete;
    ~FakeAdo();

    std::vector<std::wstring> columns; // names
    std::vector<AdoRow> rows;
    // By the name of a class or a member: what CLSIDFromProgID and CoCreateInstance answer, and what takes a property's
    // place.
    std::map<std::wstring, HRESULT> unregistered;
    std::map<std::wstring, HRESULT> uncreatable; // a success hands out null
    std::map<std::wstring, AdoValue> answers;

    // Makes a member fail: "connection.Open", "fields.Item".
    void Fail(const std::wstring& member, AdoFault fault);
    void Repair() { faults_.clear(); }

    [[nodiscard]] std::vector<std::wstring> TakeCalls() { return std::exchange(calls_, {}); }
    [[nodiscard]] std::vector<AdoCreation> TakeCreations() { return std::exchange(creations_, {}); }
    // Objects that somebody still holds.
    [[nodiscard]] int LiveObjects() const { return liveObjects_; }

private:
    class Objects;
    friend class Objects;

    std::map<std::wstring, AdoFault> faults_;
    std::map<std::wstring, int> counts_; // calls by member
    std::vector<std::wstring> calls_;
    std::vector<AdoCreation> creations_;
    int liveObjects_ = 0;

    Replaced<"CLSIDFromProgID", decltype(::CLSIDFromProgID)> classId_;
    Replaced<"CoCreateInstance", decltype(::CoCreateInstance)> create_;
};

} // namespace testing_support
