#include "automation.h"

#include "base/text.h"

#include <algorithm>
#include <cwchar>
#include <iterator>

namespace database_tests {

namespace {

std::wstring TextOf(BSTR text)
{
    std::wstring copy(text == nullptr ? L"" : std::wstring(text, SysStringLen(text)));
    SysFreeString(text);
    return copy;
}

} // namespace

win::Variant LeftOut()
{
    VARIANT value{};
    V_VT(&value) = VT_ERROR;
    V_ERROR(&value) = DISP_E_PARAMNOTFOUND;
    return win::Variant(value);
}

win::Variant Short(SHORT number)
{
    VARIANT value{};
    V_VT(&value) = VT_I2;
    V_I2(&value) = number;
    return win::Variant(value);
}

Reply Invoke(IDispatch* object, const wchar_t* name, WORD kind, const std::vector<win::Variant>& arguments)
{
    Reply reply;
    std::wstring copy = name;
    LPOLESTR names = copy.data();
    DISPID id = DISPID_UNKNOWN;
    reply.result = object->GetIDsOfNames(IID_NULL, &names, 1, LOCALE_NEUTRAL, &id);
    if (FAILED(reply.result)) {
        return reply;
    }
    std::vector<VARIANT> reversed;
    std::transform(arguments.rbegin(), arguments.rend(), std::back_inserter(reversed),
                   [](const win::Variant& argument) { return argument.Get(); });
    DISPID put = DISPID_PROPERTYPUT;
    const bool isPut = kind == DISPATCH_PROPERTYPUT;
    DISPPARAMS parameters{reversed.data(), isPut ? &put : nullptr, static_cast<UINT>(reversed.size()), isPut ? 1U : 0U};
    EXCEPINFO exception{};
    reply.result =
        object->Invoke(id, IID_NULL, LOCALE_NEUTRAL, kind, &parameters, reply.value.Put(), &exception, nullptr);
    reply.code = exception.scode;
    reply.source = TextOf(exception.bstrSource);
    reply.description = TextOf(exception.bstrDescription);
    SysFreeString(exception.bstrHelpFile);
    return reply;
}

Reply Call(IDispatch* object, const wchar_t* method, const std::vector<win::Variant>& arguments)
{
    return Invoke(object, method, DISPATCH_METHOD, arguments);
}

Reply Get(IDispatch* object, const wchar_t* property, const std::vector<win::Variant>& arguments)
{
    return Invoke(object, property, DISPATCH_PROPERTYGET, arguments);
}

Reply Put(IDispatch* object, const wchar_t* property, win::Variant value)
{
    return Invoke(object, property, DISPATCH_PROPERTYPUT, Arguments(std::move(value)));
}

win::ComPtr<IDispatch> CreateByName(const wchar_t* name)
{
    win::ComPtr<IDispatch> object;
    CLSID identifier{};
    if (SUCCEEDED(CLSIDFromProgID(name, &identifier))) {
        static_cast<void>(CoCreateInstance(identifier, nullptr, CLSCTX_ALL, IID_PPV_ARGS(object.Put())));
    }
    return object;
}

win::ComPtr<IDispatch> ObjectOf(const Reply& reply)
{
    return reply.value.Type() == VT_DISPATCH ? win::ComPtr<IDispatch>(V_DISPATCH(&reply.value.Get()))
                                             : win::ComPtr<IDispatch>();
}

std::wstring Shown(const win::Variant& value)
{
    const VARIANT& content = value.Get();
    wchar_t text[64];
    switch (value.Type()) {
    case VT_EMPTY:
        return L"EMPTY";
    case VT_NULL:
        return L"NULL";
    case VT_I4:
        return L"I4 " + std::to_wstring(V_I4(&content));
    case VT_I8:
        return L"I8 " + std::to_wstring(V_I8(&content));
    case VT_BOOL:
        return V_BOOL(&content) != VARIANT_FALSE ? L"BOOL true" : L"BOOL false";
    case VT_R8:
        std::swprintf(text, std::size(text), L"R8 %.17g", V_R8(&content));
        return text;
    case VT_DATE:
        std::swprintf(text, std::size(text), L"DATE %.10f", V_DATE(&content));
        return text;
    case VT_BSTR:
        return L"BSTR " + std::wstring(V_BSTR(&content), SysStringLen(V_BSTR(&content)));
    case VT_DISPATCH:
        return V_DISPATCH(&content) == nullptr ? L"DISPATCH null" : L"DISPATCH";
    case VT_DECIMAL: {
        DECIMAL decimal = V_DECIMAL(&content);
        win::Bstr digits;
        return FAILED(VarBstrFromDec(&decimal, LOCALE_INVARIANT, 0, digits.Put())) ? L"DECIMAL"
                                                                                   : L"DECIMAL " + digits.ToString();
    }
    case VT_ARRAY | VT_UI1: {
        std::wstring bytes = L"UI1[]";
        void* data = nullptr;
        SafeArrayAccessData(V_ARRAY(&content), &data);
        for (ULONG index = 0; index < V_ARRAY(&content)->rgsabound[0].cElements; ++index) {
            std::swprintf(text, std::size(text), L" %02X", static_cast<const BYTE*>(data)[index]);
            bytes += text;
        }
        SafeArrayUnaccessData(V_ARRAY(&content));
        return bytes;
    }
    default:
        return L"type " + std::to_wstring(value.Type());
    }
}

std::wstring Shown(const Reply& reply)
{
    if (reply.result == DISP_E_EXCEPTION) {
        return L"EXCEPTION " + sim::HexText(static_cast<std::uint32_t>(reply.code)) + L' ' + reply.source + L": " +
               reply.description;
    }
    return reply.result == S_OK ? L"OK " + Shown(reply.value) : sim::HexText(static_cast<std::uint32_t>(reply.result));
}

} // namespace database_tests
