#pragma once

#include "win/windows_api.h"

#include <new>
#include <string>
#include <string_view>
#include <utility>

namespace win {

// Owner of one BSTR.
class Bstr {
public:
    Bstr() noexcept = default;

    // A copy of the text. Throws std::bad_alloc where Windows has no memory for it, which it reports as a null BSTR.
    explicit Bstr(std::wstring_view text) : value_(SysAllocStringLen(text.data(), static_cast<UINT>(text.size())))
    {
        if (value_ == nullptr) {
            throw std::bad_alloc();
        }
    }
    Bstr(Bstr&& other) noexcept : value_(std::exchange(other.value_, nullptr)) {}
    ~Bstr() { SysFreeString(value_); }

    Bstr& operator=(Bstr&& other) noexcept
    {
        std::swap(value_, other.value_);
        return *this;
    }

    [[nodiscard]] BSTR Get() const noexcept { return value_; }

    // The whole text; a null BSTR is an empty string, by Automation's own rule.
    [[nodiscard]] std::wstring_view View() const noexcept
    {
        return value_ == nullptr ? std::wstring_view() : std::wstring_view(value_, SysStringLen(value_));
    }

    [[nodiscard]] std::wstring ToString() const { return std::wstring(View()); }

    // Hands the string to the caller, who frees it.
    [[nodiscard]] BSTR Detach() noexcept { return std::exchange(value_, nullptr); }

    // An empty place for a COM call to fill.
    [[nodiscard]] BSTR* Put() noexcept
    {
        SysFreeString(std::exchange(value_, nullptr));
        return &value_;
    }

private:
    BSTR value_ = nullptr;
};

} // namespace win
