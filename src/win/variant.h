#pragma once

#include "win/bstr.h"
#include "win/windows_api.h"

#include <string_view>
#include <utility>

namespace win {

// Owner of one VARIANT and of whatever it holds: a string, an interface, a SAFEARRAY.
class Variant {
public:
    // Holds nothing (VT_EMPTY).
    Variant() noexcept = default;

    // Takes over the value, whose contents the caller owns.
    explicit Variant(const VARIANT& value) noexcept : value_(value) {}
    Variant(Variant&& other) noexcept : value_(std::exchange(other.value_, VARIANT{})) {}
    ~Variant() { VariantClear(&value_); }

    Variant& operator=(Variant&& other) noexcept
    {
        std::swap(value_, other.value_);
        return *this;
    }

    // A 32-bit integer (VT_I4).
    [[nodiscard]] static Variant OfInteger(LONG number) noexcept
    {
        Variant variant;
        variant.value_.vt = VT_I4;
        variant.value_.lVal = number;
        return variant;
    }

    // A copy of the text (VT_BSTR). Throws std::bad_alloc where Windows has no memory for it.
    [[nodiscard]] static Variant OfText(std::wstring_view text)
    {
        Variant variant;
        variant.value_.bstrVal = Bstr(text).Detach();
        variant.value_.vt = VT_BSTR;
        return variant;
    }

    // A reference of its own to the object, which may be null (VT_DISPATCH).
    [[nodiscard]] static Variant OfObject(IDispatch* object) noexcept
    {
        Variant variant;
        variant.value_.vt = VT_DISPATCH;
        variant.value_.pdispVal = object;
        if (object != nullptr) {
            object->AddRef();
        }
        return variant;
    }

    // The value, still owned.
    [[nodiscard]] const VARIANT& Get() const noexcept { return value_; }

    [[nodiscard]] VARTYPE Type() const noexcept { return value_.vt; }

    // An empty place for a call to fill.
    [[nodiscard]] VARIANT* Put() noexcept
    {
        VariantClear(&value_);
        return &value_;
    }

    // Changes the value in place to another type, by Automation's rules of conversion. On failure it stays as it was.
    [[nodiscard]] HRESULT ChangeType(VARTYPE type) noexcept { return VariantChangeType(&value_, &value_, 0, type); }

private:
    VARIANT value_{}; // all zero is VT_EMPTY
};

} // namespace win
