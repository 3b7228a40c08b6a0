// What ADO's objects answer to calls that are wrong in themselves; nothing here gets as far as a database.

#include "automation.h"

#include "ado/connection_object.h"
#include "ado/provider_registration.h"
#include "ado/recordset_object.h"

#include "win/com_apartment.h"
#include "win/owner.h"

#include <gtest/gtest.h>

#include <array>

namespace {

using namespace database_tests;
using win::ComPtr;
using win::Variant;

class ProviderCalls : public testing::Test {
protected:
    win::ComApartment apartment;
    ComPtr<IDispatch> connection = CreateByName(L"ADODB.Connection");
};

DISPID IdOf(IDispatch* object, const wchar_t* name)
{
    std::wstring copy = name;
    LPOLESTR names = copy.data();
    DISPID id = 12345;
    object->GetIDsOfNames(IID_NULL, &names, 1, LOCALE_NEUTRAL, &id);
    return id;
}

TEST_F(ProviderCalls, KnowMembersByNameInAnyCase)
{
    EXPECT_EQ(IdOf(connection.Get(), L"BeginTrans"), IdOf(connection.Get(), L"BEGINTRANS"));
    EXPECT_EQ(DISPID_UNKNOWN, IdOf(connection.Get(), L"BeginTransaction"));
    EXPECT_EQ(DISPID_UNKNOWN, IdOf(connection.Get(), L""));
    EXPECT_EQ(L"0x80020006", Shown(Call(connection.Get(), L"Launch")));
}

TEST_F(ProviderCalls, KnowNoNamesOfArguments)
{
    std::wstring method = L"Open";
    std::wstring argument = L"UserID";
    std::array<LPOLESTR, 2> names = {method.data(), argument.data()};
    std::array<DISPID, 2> ids{};
    EXPECT_EQ(DISP_E_UNKNOWNNAME, connection->GetIDsOfNames(IID_NULL, names.data(), 2, LOCALE_NEUTRAL, ids.data()));
    EXPECT_EQ(IdOf(connection.Get(), L"Open"), ids[0]);
    EXPECT_EQ(DISPID_UNKNOWN, ids[1]);
}

TEST_F(ProviderCalls, KnowNoOtherKindOfMember)
{
    EXPECT_EQ(L"0x80020003", Shown(Get(connection.Get(), L"Close")));
    EXPECT_EQ(L"0x80020003", Shown(Put(connection.Get(), L"State", Variant::OfInteger(1))));
    DISPPARAMS none{};
    EXPECT_EQ(DISP_E_MEMBERNOTFOUND,
              connection->Invoke(4711, IID_NULL, LOCALE_NEUTRAL, DISPATCH_METHOD, &none, nullptr, nullptr, nullptr));
}

TEST_F(ProviderCalls, TakeNoWrongNumberOfArguments)
{
    EXPECT_EQ(L"0x8002000E", Shown(Call(connection.Get(), L"Execute")));
    EXPECT_EQ(L"0x8002000E", Shown(Call(connection.Get(), L"Close", Arguments(Variant::OfInteger(1)))));
}

TEST_F(ProviderCalls, TakeNoArgumentsByName)
{
    VARIANT argument{};
    DISPID name = 1;
    DISPPARAMS parameters{&argument, &name, 1, 1};
    EXPECT_EQ(DISP_E_NONAMEDARGS, connection->Invoke(IdOf(connection.Get(), L"Open"), IID_NULL, LOCALE_NEUTRAL,
                                                     DISPATCH_METHOD, &parameters, nullptr, nullptr, nullptr));
}

TEST_F(ProviderCalls, RefuseArgumentsThatAreNoText)
{
    const wchar_t* const invalid = L"EXCEPTION 0x800A0BB9 ADODB.Connection: Arguments are of the wrong type, are out "
                                   L"of acceptable range, or are in conflict with one another.";
    EXPECT_EQ(invalid, Shown(Call(connection.Get(), L"Open", Arguments(Variant::OfObject(nullptr)))));
    EXPECT_EQ(invalid, Shown(Call(connection.Get(), L"Execute", Arguments(Variant::OfObject(nullptr)))));
    EXPECT_EQ(invalid, Shown(Call(connection.Get(), L"Open",
                                  Arguments(LeftOut(), LeftOut(), LeftOut(), Variant::OfText(L"no number")))));
}

TEST_F(ProviderCalls, WantTheReservedIdentifierEmpty)
{
    DISPPARAMS none{};
    std::wstring copy = L"State";
    LPOLESTR names = copy.data();
    DISPID id = 0;
    EXPECT_EQ(DISP_E_UNKNOWNINTERFACE, connection->GetIDsOfNames(IID_IDispatch, &names, 1, LOCALE_NEUTRAL, &id));
    EXPECT_EQ(DISP_E_UNKNOWNINTERFACE,
              connection->Invoke(IdOf(connection.Get(), L"State"), IID_IDispatch, LOCALE_NEUTRAL, DISPATCH_PROPERTYGET,
                                 &none, nullptr, nullptr, nullptr));
}

TEST_F(ProviderCalls, DoWithoutPlacesForWhatTheyTell)
{
    DISPPARAMS none{};
    EXPECT_EQ(S_OK, connection->Invoke(IdOf(connection.Get(), L"State"), IID_NULL, LOCALE_NEUTRAL, DISPATCH_PROPERTYGET,
                                       &none, nullptr, nullptr, nullptr));
    EXPECT_EQ(DISP_E_EXCEPTION, connection->Invoke(IdOf(connection.Get(), L"Close"), IID_NULL, LOCALE_NEUTRAL,
                                                   DISPATCH_METHOD, &none, nullptr, nullptr, nullptr));
}

TEST_F(ProviderCalls, HaveNoTypeInformation)
{
    UINT count = 7;
    EXPECT_EQ(S_OK, connection->GetTypeInfoCount(&count));
    EXPECT_EQ(0U, count);
    ComPtr<ITypeInfo> information;
    EXPECT_EQ(DISP_E_BADINDEX, connection->GetTypeInfo(0, LOCALE_NEUTRAL, information.Put()));
    EXPECT_FALSE(information);
}

TEST_F(ProviderCalls, AnswerForTheirInterfacesAlone)
{
    ComPtr<IUnknown> unknown;
    EXPECT_EQ(S_OK, connection->QueryInterface(IID_PPV_ARGS(unknown.Put())));
    ComPtr<IDispatch> again;
    EXPECT_EQ(S_OK, unknown->QueryInterface(IID_PPV_ARGS(again.Put())));
    EXPECT_EQ(connection.Get(), again.Get());
    ComPtr<IClassFactory> factory;
    EXPECT_EQ(E_NOINTERFACE, connection->QueryInterface(IID_PPV_ARGS(factory.Put())));
    EXPECT_EQ(E_POINTER, connection->QueryInterface(IID_IUnknown, nullptr));
}

// The library's entries, as COM calls them.
class ProviderLibrary : public ProviderCalls {
protected:
    template <typename Function>
    [[nodiscard]] Function Entry(const char* name) const
    {
        return reinterpret_cast<Function>(reinterpret_cast<void*>(GetProcAddress(library, name)));
    }

    HMODULE library = GetModuleHandleW(L"VLAdo.dll");
};

TEST_F(ProviderLibrary, ServesItsTwoClassesAlone)
{
    const auto getClass = Entry<HRESULT(WINAPI*)(REFCLSID, REFIID, void**)>("DllGetClassObject");
    ComPtr<IClassFactory> factory;
    for (const GUID& known : {sim::ado::kConnectionClass, sim::ado::kRecordsetClass}) {
        ASSERT_EQ(S_OK, getClass(known, IID_PPV_ARGS(factory.Put())));
        ComPtr<IDispatch> object;
        EXPECT_EQ(S_OK, factory->CreateInstance(nullptr, IID_PPV_ARGS(object.Put())));
        EXPECT_TRUE(object);
        void* aggregated = &factory;
        EXPECT_EQ(CLASS_E_NOAGGREGATION, factory->CreateInstance(connection.Get(), IID_IUnknown, &aggregated));
        EXPECT_EQ(nullptr, aggregated);
        ComPtr<IClassFactory> wrong;
        EXPECT_EQ(E_NOINTERFACE, factory->CreateInstance(nullptr, IID_PPV_ARGS(wrong.Put())));
    }
    EXPECT_EQ(CLASS_E_CLASSNOTAVAILABLE, getClass(IID_IDispatch, IID_PPV_ARGS(factory.Put())));
    EXPECT_EQ(E_POINTER, getClass(sim::ado::kConnectionClass, IID_IClassFactory, nullptr));
}

TEST_F(ProviderLibrary, StaysForAsLongAsItIsHeld)
{
    const auto canUnload = Entry<HRESULT(WINAPI*)()>("DllCanUnloadNow");
    const auto getClass = Entry<HRESULT(WINAPI*)(REFCLSID, REFIID, void**)>("DllGetClassObject");
    EXPECT_EQ(S_FALSE, canUnload());
    connection.Reset();
    EXPECT_EQ(S_OK, canUnload());
    ComPtr<IClassFactory> factory;
    ASSERT_EQ(S_OK, getClass(sim::ado::kConnectionClass, IID_PPV_ARGS(factory.Put())));
    EXPECT_EQ(S_FALSE, canUnload());
    factory->LockServer(TRUE);
    factory.Reset();
    EXPECT_EQ(S_FALSE, canUnload());
    ASSERT_EQ(S_OK, getClass(sim::ado::kConnectionClass, IID_PPV_ARGS(factory.Put())));
    factory->LockServer(FALSE);
    factory.Reset();
    EXPECT_EQ(S_OK, canUnload());
}

} // namespace
