#include "win/late_bound.h"

#include "support/error_object.h"
#include "support/fake_ado.h"
#include "support/product_test.h"

namespace {

using namespace testing_support;

constexpr auto kFailure = static_cast<HRESULT>(0x80040E14);

class LateBoundObject : public ProductTest {
protected:
    void TearDown() override
    {
        object.Reset();
        recordset.Reset();
        ErrorObject::TakeFromThread();
        EXPECT_EQ(0, ErrorObject::Live());
        EXPECT_EQ(0, ado.LiveObjects());
        ProductTest::TearDown();
    }

    void SetUp() override
    {
        EXPECT_EQ(S_OK, win::CreateLateBound(L"ADODB.Connection", object).code);
        EXPECT_EQ(S_OK, win::CreateLateBound(L"ADODB.Recordset", recordset).code);
        static_cast<void>(ado.TakeCreations());
    }

    // Calls connection.Close() with the fault.
    win::CallResult CallWith(const AdoFault& fault)
    {
        ado.Fail(L"connection.Close", fault);
        win::CallResult result = win::CallMethod(object.Get(), L"Close");
        ado.Repair();
        return result;
    }

    void ExpectResult(HRESULT code, const std::wstring& description, const win::CallResult& result)
    {
        EXPECT_EQ(code, result.code);
        EXPECT_EQ(description, result.description);
        EXPECT_EQ("", census.Imbalance());
    }

    FakeAdo ado;
    win::ComPtr<IDispatch> object;
    win::ComPtr<IDispatch> recordset;
};

TEST_F(LateBoundObject, IsMadeInWhateverServerOffersIt)
{
    win::ComPtr<IDispatch> made;
    EXPECT_EQ(S_OK, win::CreateLateBound(L"ADODB.Recordset", made).code);
    EXPECT_TRUE(made);
    EXPECT_EQ((std::vector<AdoCreation>{{L"ADODB.Recordset", 23, IID_IDispatch}}), ado.TakeCreations());
}

TEST_F(LateBoundObject, IsNotMadeOfAClassThatIsNotRegistered)
{
    ado.unregistered[L"ADODB.Connection"] = CO_E_CLASSSTRING;
    win::ComPtr<IDispatch> made;
    ExpectResult(CO_E_CLASSSTRING, L"", win::CreateLateBound(L"ADODB.Connection", made));
    EXPECT_FALSE(made);
    EXPECT_TRUE(ado.TakeCreations().empty());
}

TEST_F(LateBoundObject, GivesTheFailureOfItsCreation)
{
    win::ComPtr<IDispatch> made;
    for (const HRESULT failure : {REGDB_E_CLASSNOTREG, E_NOINTERFACE, E_ACCESSDENIED}) {
        ado.uncreatable[L"ADODB.Connection"] = failure;
        ExpectResult(failure, L"", win::CreateLateBound(L"ADODB.Connection", made));
        EXPECT_FALSE(made);
    }
}

TEST_F(LateBoundObject, IsMissedWhenItsCreationHandsOutNone)
{
    ado.uncreatable[L"ADODB.Connection"] = S_OK;
    win::ComPtr<IDispatch> made;
    ExpectResult(E_POINTER, L"", win::CreateLateBound(L"ADODB.Connection", made));
}

TEST_F(LateBoundObject, GetsItsArgumentsInTheirNaturalOrder)
{
    const win::Variant arguments[] = {win::Variant::OfText(L"a"), win::Variant::OfInteger(2),
                                      win::Variant::OfObject(object.Get()), win::Variant::OfText(L"")};
    EXPECT_EQ(S_OK, win::CallMethod(recordset.Get(), L"Open", arguments).code);
    EXPECT_EQ((std::vector<std::wstring>{L"recordset.Open(BSTR a, I4 2, DISPATCH connection, BSTR )"}),
              ado.TakeCalls());
}

TEST_F(LateBoundObject, IsNeededForACall)
{
    win::Variant value;
    win::ComPtr<IDispatch> child;
    ExpectResult(E_POINTER, L"", win::CallMethod(nullptr, L"Close"));
    ExpectResult(E_POINTER, L"", win::GetProperty(nullptr, L"EOF", {}, value));
    ExpectResult(E_POINTER, L"", win::GetObjectProperty(nullptr, L"Fields", {}, child));
}

TEST_F(LateBoundObject, GivesAProperty)
{
    win::Variant value = win::Variant::OfText(L"what was there before");
    ExpectResult(S_OK, L"", win::GetProperty(recordset.Get(), L"EOF", {}, value));
    EXPECT_EQ(VT_BOOL, value.Type());
    EXPECT_EQ(VARIANT_TRUE, value.Get().boolVal);
}

TEST_F(LateBoundObject, GivesAPropertyThatIsAnObject)
{
    win::ComPtr<IDispatch> fields;
    ExpectResult(S_OK, L"", win::GetObjectProperty(recordset.Get(), L"Fields", {}, fields));
    EXPECT_EQ(3, ado.LiveObjects());
    fields.Reset();
    EXPECT_EQ(2, ado.LiveObjects());
}

TEST_F(LateBoundObject, GivesTheFailureOfAProperty)
{
    ado.Fail(L"recordset.Fields", {.scode = kFailure, .description = L"closed"});
    win::ComPtr<IDispatch> fields;
    ExpectResult(kFailure, L"closed", win::GetObjectProperty(recordset.Get(), L"Fields", {}, fields));
    EXPECT_FALSE(fields);
}

TEST_F(LateBoundObject, MissesAPropertyThatIsNoObject)
{
    win::ComPtr<IDispatch> fields;
    VARIANT nothing{};
    nothing.vt = VT_DISPATCH;
    ado.answers[L"recordset.Fields"] = nothing;
    ExpectResult(E_POINTER, L"", win::GetObjectProperty(recordset.Get(), L"Fields", {}, fields));
    ado.answers[L"recordset.Fields"] = std::wstring(L"text");
    ExpectResult(DISP_E_TYPEMISMATCH, L"", win::GetObjectProperty(recordset.Get(), L"Fields", {}, fields));
}

TEST_F(LateBoundObject, TellsTheCodeAndDescriptionOfItsException)
{
    ExpectResult(kFailure, L"No such table.", CallWith({.scode = kFailure, .description = L"No such table."}));
    ExpectResult(kFailure, L"", CallWith({.scode = kFailure}));
}

TEST_F(LateBoundObject, IsAskedForAnExceptionThatItTellsLater)
{
    ExpectResult(kFailure, L"late", CallWith({.scode = kFailure, .description = L"late", .isDeferred = true}));
}

TEST_F(LateBoundObject, MayNumberItsExceptionsItself)
{
    ExpectResult(static_cast<HRESULT>(0x80040201), L"one", CallWith({.scode = 0, .wCode = 1, .description = L"one"}));
    ExpectResult(static_cast<HRESULT>(0x800411E8), L"", CallWith({.scode = 0, .wCode = 4072}));
    ExpectResult(static_cast<HRESULT>(0x8004FFFF), L"", CallWith({.scode = 0, .wCode = 0xFFFF}));
}

TEST_F(LateBoundObject, HasFailedThoughItsExceptionTellsNoFailure)
{
    ExpectResult(DISP_E_EXCEPTION, L"", CallWith({.scode = 0}));
    ExpectResult(DISP_E_EXCEPTION, L"odd", CallWith({.scode = S_FALSE, .description = L"odd"}));
}

TEST_F(LateBoundObject, MayTellItsFailureThroughAnErrorObject)
{
    ExpectResult(kFailure, L"told", CallWith({.result = kFailure, .errorObject = L"told"}));
    ExpectResult(kFailure, L"told", CallWith({.scode = kFailure, .errorObject = L"told"}));
    ExpectResult(kFailure, L"own", CallWith({.scode = kFailure, .description = L"own", .errorObject = L"told"}));
    ExpectResult(DISP_E_BADPARAMCOUNT, L"", CallWith({.result = DISP_E_BADPARAMCOUNT}));
}

TEST_F(LateBoundObject, IsNotBlamedForAnEarlierErrorObject)
{
    ErrorObject::SetForThread(L"stale");
    ExpectResult(kFailure, L"", CallWith({.result = kFailure}));
    ErrorObject::SetForThread(L"stale");
    ExpectResult(kFailure, L"", CallWith({.scode = kFailure}));
}

TEST_F(LateBoundObject, GivesTheFailureOfLookingAMemberUp)
{
    ExpectResult(DISP_E_UNKNOWNNAME, L"", CallWith({.result = DISP_E_UNKNOWNNAME, .isUnknown = true}));
    ExpectResult(RPC_E_DISCONNECTED, L"gone",
                 CallWith({.result = RPC_E_DISCONNECTED, .errorObject = L"gone", .isUnknown = true}));
    EXPECT_TRUE(ado.TakeCalls().empty());
}

} // namespace
