#pragma once

#include "odbc/odbc.h"

#include "win/windows_api.h"

#include <utility>

namespace sim::ado {

// Owner of one VARIANT and whatever it holds.
class Variant {
public:
    Variant() noexcept { VariantInit(&value_); }
    Variant(const Variant&) = delete;
    Variant(Variant&&) = delete;
    ~Variant() { VariantClear(&value_); }
    Variant& operator=(const Variant&) = delete;
    Variant& operator=(Variant&&) = delete;

    [[nodiscard]] const VARIANT& Get() const noexcept { return value_; }

    // An empty place for a call to fill.
    [[nodiscard]] VARIANT* Put() noexcept
    {
        VariantClear(&value_);
        return &value_;
    }

    // Hands the value to the caller, who clears it.
    [[nodiscard]] VARIANT Detach() noexcept { return std::exchange(value_, VARIANT{}); }

private:
    VARIANT value_;
};

// Puts a value of a row into an empty VARIANT, in the type that ADO gives it: NULL VT_NULL, text VT_BSTR, integers
// VT_I4 and VT_I8, double VT_R8, date VT_DATE, decimal VT_DECIMAL, boolean VT_BOOL, bytes an array of VT_UI1. Answers
// E_OUTOFMEMORY, or what Automation says of a decimal that it cannot hold.
[[nodiscard]] HRESULT PutValue(const odbc::Value& value, VARIANT* place);

} // namespace sim::ado
