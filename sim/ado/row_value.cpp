#include "ado/row_value.h"

#include "win/owner.h"

#include <algorithm>

namespace sim::ado {

namespace {

// Puts the value into the place, whose type it sets, kind by kind.
struct Putter {
    VARIANT* place;

    HRESULT operator()(std::monostate /*null*/) const { return Done(VT_NULL); }

    HRESULT operator()(bool value) const
    {
        V_BOOL(place) = value ? VARIANT_TRUE : VARIANT_FALSE;
        return Done(VT_BOOL);
    }

    HRESULT operator()(std::int32_t value) const
    {
        V_I4(place) = value;
        return Done(VT_I4);
    }

    HRESULT operator()(std::int64_t value) const
    {
        V_I8(place) = value;
        return Done(VT_I8);
    }

    HRESULT operator()(double value) const
    {
        V_R8(place) = value;
        return Done(VT_R8);
    }

    HRESULT operator()(odbc::Date value) const
    {
        V_DATE(place) = value.days;
        return Done(VT_DATE);
    }

    HRESULT operator()(const odbc::Decimal& value) const
    {
        std::wstring digits = value.digits;
        // A DECIMAL takes the whole VARIANT, so the type is set afterwards.
        DECIMAL decimal{};
        const HRESULT result = VarDecFromStr(digits.data(), LOCALE_INVARIANT, 0, &decimal);
        if (FAILED(result)) {
            return result;
        }
        V_DECIMAL(place) = decimal;
        return Done(VT_DECIMAL);
    }

    HRESULT operator()(const std::wstring& value) const
    {
        V_BSTR(place) = SysAllocStringLen(value.data(), static_cast<UINT>(value.size()));
        return V_BSTR(place) == nullptr ? E_OUTOFMEMORY : Done(VT_BSTR);
    }

    HRESULT operator()(const std::vector<std::uint8_t>& value) const
    {
        win::SafeArray array(SafeArrayCreateVector(VT_UI1, 0, static_cast<ULONG>(value.size())));
        void* bytes = nullptr;
        if (!array || FAILED(SafeArrayAccessData(array.Get(), &bytes))) {
            return E_OUTOFMEMORY;
        }
        std::ranges::copy(value, static_cast<std::uint8_t*>(bytes));
        SafeArrayUnaccessData(array.Get());
        V_ARRAY(place) = array.Detach();
        return Done(VT_ARRAY | VT_UI1);
    }

private:
    [[nodiscard]] HRESULT Done(int type) const
    {
        V_VT(place) = static_cast<VARTYPE>(type);
        return S_OK;
    }
};

} // namespace

HRESULT PutValue(const odbc::Value& value, VARIANT* place)
{
    return std::visit(Putter{place}, value);
}

} // namespace sim::ado
