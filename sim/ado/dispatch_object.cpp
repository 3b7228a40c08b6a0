#include "ado/dispatch_object.h"

#include "ado/row_value.h"

#include "win/variant.h"

namespace sim::ado {

VARIANT* Call::Argument(UINT number) const
{
    if (number >= parameters_.cArgs) {
        return nullptr;
    }
    VARIANT* argument = &parameters_.rgvarg[parameters_.cArgs - 1 - number];
    if (V_VT(argument) == (VT_BYREF | VT_VARIANT)) {
        argument = V_VARIANTREF(argument);
    }
    const bool isLeftOut = V_VT(argument) == VT_ERROR && V_ERROR(argument) == DISP_E_PARAMNOTFOUND;
    return isLeftOut ? nullptr : argument;
}

std::optional<std::wstring> Call::Text(UINT number) const
{
    VARIANT* const argument = Argument(number);
    if (argument == nullptr) {
        return std::wstring();
    }
    win::Variant text;
    if (FAILED(VariantChangeType(text.Put(), argument, 0, VT_BSTR))) {
        return std::nullopt;
    }
    const BSTR string = V_BSTR(&text.Get());
    return std::wstring(string, SysStringLen(string));
}

std::optional<LONG> Call::Number(UINT number, LONG fallback) const
{
    VARIANT* const argument = Argument(number);
    if (argument == nullptr) {
        return fallback;
    }
    win::Variant value;
    if (FAILED(VariantChangeType(value.Put(), argument, 0, VT_I4))) {
        return std::nullopt;
    }
    return V_I4(&value.Get());
}

void Call::PutBack(UINT number, LONG value) const
{
    if (number >= parameters_.cArgs) {
        return;
    }
    const VARIANT& argument = parameters_.rgvarg[parameters_.cArgs - 1 - number];
    if (V_VT(&argument) == (VT_BYREF | VT_VARIANT)) {
        VariantClear(V_VARIANTREF(&argument));
        V_I4(V_VARIANTREF(&argument)) = value;
        V_VT(V_VARIANTREF(&argument)) = VT_I4;
    } else if (V_VT(&argument) == (VT_BYREF | VT_I4)) {
        *V_I4REF(&argument) = value;
    }
}

Answer Call::Return(const odbc::Value& value) const
{
    if (place_ == nullptr) {
        return {};
    }
    const HRESULT result = PutValue(value, place_);
    if (result == E_OUTOFMEMORY) {
        throw std::bad_alloc();
    }
    return SUCCEEDED(result) ? Answer() : Refusal{result, L"The value cannot be held in a VARIANT."};
}

HRESULT Raise(const Refusal& refusal, const wchar_t* source, EXCEPINFO* exception)
{
    if (exception != nullptr) {
        *exception = {};
        exception->scode = refusal.code;
        exception->bstrSource = SysAllocString(source);
        exception->bstrDescription = SysAllocStringLen(refusal.text.data(), static_cast<UINT>(refusal.text.size()));
    }
    return DISP_E_EXCEPTION;
}

} // namespace sim::ado
