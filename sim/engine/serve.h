#pragma once

#include "engine/call_log.h"
#include "engine/engine.h"

#include "win/windows_api.h"

#include <cstdint>
#include <cwchar>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <variant>

namespace sim {

// The text of a BSTR; a null BSTR is an empty text.
[[nodiscard]] inline std::wstring_view ViewOf(BSTR text)
{
    return text == nullptr ? std::wstring_view() : std::wstring_view(text, SysStringLen(text));
}

// A BSTR as the log shows it.
[[nodiscard]] inline std::wstring LogText(BSTR text)
{
    return text == nullptr ? std::wstring(L"null") : Quoted(ViewOf(text));
}

// The arguments of a call as the log shows them, and the drive that the call concerns.
class Arguments {
public:
    // Adds one argument by its name.
    Arguments& Text(std::wstring_view name, BSTR value) { return Add(name, LogText(value)); }

    template <typename Value>
    Arguments& Number(std::wstring_view name, Value value)
    {
        return Add(name, std::to_wstring(value));
    }
    Arguments& Add(std::wstring_view name, std::wstring_view value)
    {
        if (!text_.empty()) {
            text_ += L", ";
        }
        text_.append(name).append(L"=").append(value);
        return *this;
    }

    // Names the drive whose faults hold for the call.
    Arguments& About(std::optional<DriveIndex> drive)
    {
        drive_ = drive;
        return *this;
    }

    [[nodiscard]] const std::wstring& Shown() const { return text_; }
    [[nodiscard]] std::optional<DriveIndex> Drive() const { return drive_; }

private:
    std::wstring text_;
    std::optional<DriveIndex> drive_;
};

// The places where a call puts what it hands out. Each kind clears its place first, as COM demands of a call that may
// fail, can put there what the scenario orders instead, and tells the log what was put.
class NoOutput {
public:
    [[nodiscard]] static bool Clear() { return true; }
    [[nodiscard]] static bool Substitute(const sim::Substitute& /*substitute*/) { return false; }
    [[nodiscard]] static std::wstring Shown() { return {}; }
};

class TextOutput {
public:
    TextOutput(std::wstring_view name, BSTR* place) : name_(name), place_(place) {}

    [[nodiscard]] bool Clear() const
    {
        if (place_ != nullptr) {
            *place_ = nullptr;
        }
        return place_ != nullptr;
    }

    // Hands out a copy of the text.
    [[nodiscard]] HRESULT Put(std::wstring_view text) const
    {
        *place_ = SysAllocStringLen(text.data(), static_cast<UINT>(text.size()));
        return *place_ == nullptr ? E_OUTOFMEMORY : S_OK;
    }

    [[nodiscard]] bool Substitute(const sim::Substitute& substitute) const
    {
        if (const std::wstring* text = std::get_if<std::wstring>(&substitute)) {
            return SUCCEEDED(Put(*text));
        }
        return std::holds_alternative<NullAnswer>(substitute);
    }

    [[nodiscard]] std::wstring Shown() const { return std::wstring(name_) + L'=' + LogText(*place_); }

private:
    std::wstring_view name_;
    BSTR* place_;
};

template <typename Number>
class NumberOutput {
public:
    NumberOutput(std::wstring_view name, Number* place) : name_(name), place_(place) {}

    [[nodiscard]] bool Clear() const
    {
        if (place_ != nullptr) {
            *place_ = 0;
        }
        return place_ != nullptr;
    }

    // Hands out the number.
    void Put(Number value) const { *place_ = value; }

    [[nodiscard]] bool Substitute(const sim::Substitute& substitute) const
    {
        using Given = std::conditional_t<std::is_floating_point_v<Number>, double, std::uint32_t>;
        const Given* const value = std::get_if<Given>(&substitute);
        if (value != nullptr) {
            *place_ = static_cast<Number>(*value);
        }
        return value != nullptr;
    }

    [[nodiscard]] std::wstring Shown() const
    {
        if constexpr (std::is_floating_point_v<Number>) {
            wchar_t text[32];
            std::swprintf(text, std::size(text), L"%.10g", *place_);
            return std::wstring(name_) + L'=' + text;
        } else {
            return std::wstring(name_) + L'=' + std::to_wstring(*place_);
        }
    }

private:
    std::wstring_view name_;
    Number* place_;
};

template <typename Interface>
class ObjectOutput {
public:
    ObjectOutput(std::wstring_view name, Interface** place) : name_(name), place_(place) {}

    [[nodiscard]] bool Clear() const
    {
        if (place_ != nullptr) {
            *place_ = nullptr;
        }
        return place_ != nullptr;
    }

    // Hands out the interface, whose reference passes to the caller, of the object with this label.
    void Put(Interface* object, std::wstring label)
    {
        *place_ = object;
        label_ = std::move(label);
    }

    [[nodiscard]] static bool Substitute(const sim::Substitute& substitute)
    {
        return std::holds_alternative<NullAnswer>(substitute);
    }

    [[nodiscard]] std::wstring Shown() const { return std::wstring(name_) + L'=' + label_; }

private:
    std::wstring_view name_;
    Interface** place_;
    std::wstring label_ = L"null";
};

// "Interface::Method".
[[nodiscard]] inline std::wstring FullName(Method method)
{
    const MethodInfo& info = InfoOf(method);
    return std::wstring(info.interfaceName).append(L"::").append(info.name);
}

// Serves one call as every method does it: obeys the scenario's faults, otherwise does the work, and logs the call.
// The work gets the output and answers the HRESULT.
template <typename Output, typename Work>
HRESULT Serve(Engine& engine, std::wstring_view label, Method method, const Arguments& arguments, Output output,
              Work work)
{
    engine.Life().Admit();
    HRESULT result = E_POINTER;
    if (output.Clear()) {
        const FaultOrder order = engine.Faults().Take(method, arguments.Drive());
        engine.Life().Pause(order.delay);
        if (order.failure) {
            result = *order.failure;
        } else {
            result = output.Substitute(order.substitute) ? S_OK : work(output);
        }
    }
    engine.LogCall(label, FullName(method), arguments.Shown(), result,
                   SUCCEEDED(result) ? output.Shown() : std::wstring());
    return result;
}

} // namespace sim
