#include "win/late_bound.h"

#include "win/bstr.h"
#include "win/error_text.h"
#include "win/result_code.h"

#include <algorithm>
#include <iterator>
#include <utility>
#include <vector>

namespace win {

namespace {

// What a failing object tells about itself; the receiver frees its strings.
class Exception {
public:
    Exception() noexcept = default;
    Exception(Exception&&) = delete;
    ~Exception()
    {
        SysFreeString(info_.bstrSource);
        SysFreeString(info_.bstrDescription);
        SysFreeString(info_.bstrHelpFile);
    }

    [[nodiscard]] EXCEPINFO* Put() noexcept { return &info_; }

    // Fills in what the object has left out so far, if it has.
    void FillIn() noexcept
    {
        if (const auto fillIn = std::exchange(info_.pfnDeferredFillIn, nullptr)) {
            static_cast<void>(fillIn(&info_));
        }
    }

    // The object's HRESULT. An object sets either scode or wCode; a wCode counts from 0x200, the first code of
    // FACILITY_ITF that objects may use.
    [[nodiscard]] HRESULT Code() const noexcept
    {
        constexpr int kFirstOfObjects = 0x200;
        constexpr int kLast = 0xFFFF;
        if (info_.wCode != 0) {
            return MAKE_HRESULT(SEVERITY_ERROR, FACILITY_ITF, std::min(kFirstOfObjects + info_.wCode, kLast));
        }
        return FAILED(info_.scode) ? info_.scode : DISP_E_EXCEPTION;
    }

    [[nodiscard]] std::wstring Description() const
    {
        return info_.bstrDescription == nullptr
                   ? std::wstring()
                   : std::wstring(info_.bstrDescription, SysStringLen(info_.bstrDescription));
    }

private:
    EXCEPINFO info_{};
};

CallResult Invoke(IDispatch* object, WORD kind, const wchar_t* name, std::span<const Variant> arguments,
                  Variant* result)
{
    if (object == nullptr) {
        return {E_POINTER};
    }
    // An error object of an earlier failure must not be taken for this call's.
    static_cast<void>(SetErrorInfo(0, nullptr));
    DISPID member = DISPID_UNKNOWN;
    auto* memberName = const_cast<wchar_t*>(name);
    if (const HRESULT found = object->GetIDsOfNames(IID_NULL, &memberName, 1, LOCALE_USER_DEFAULT, &member);
        FAILED(found)) {
        return {found, ErrorObjectText()};
    }
    // Automation wants the last argument first. The copies own nothing.
    std::vector<VARIANTARG> values;
    values.reserve(arguments.size());
    std::transform(arguments.rbegin(), arguments.rend(), std::back_inserter(values),
                   [](const Variant& argument) { return argument.Get(); });
    DISPPARAMS parameters{values.data(), nullptr, static_cast<UINT>(values.size()), 0};
    Exception exception;
    const HRESULT invoked = object->Invoke(member, IID_NULL, LOCALE_USER_DEFAULT, kind, &parameters,
                                           result == nullptr ? nullptr : result->Put(), exception.Put(), nullptr);
    if (SUCCEEDED(invoked)) {
        return {};
    }
    if (invoked != DISP_E_EXCEPTION) {
        return {invoked, ErrorObjectText()};
    }
    exception.FillIn();
    std::wstring description = exception.Description();
    return {exception.Code(), description.empty() ? ErrorObjectText() : std::move(description)};
}

} // namespace

CallResult CreateLateBound(const wchar_t* className, ComPtr<IDispatch>& object)
{
    CLSID classId{};
    if (const HRESULT found = CLSIDFromProgID(className, &classId); FAILED(found)) {
        return {found};
    }
    const HRESULT created =
        CoCreateInstance(classId, nullptr, CLSCTX_ALL, IID_IDispatch, reinterpret_cast<void**>(object.Put()));
    return {RequireInterface(created, object.Get())};
}

CallResult CallMethod(IDispatch* object, const wchar_t* name, std::span<const Variant> arguments)
{
    return Invoke(object, DISPATCH_METHOD, name, arguments, nullptr);
}

CallResult GetProperty(IDispatch* object, const wchar_t* name, std::span<const Variant> arguments, Variant& value)
{
    return Invoke(object, DISPATCH_PROPERTYGET, name, arguments, &value);
}

CallResult GetObjectProperty(IDispatch* object, const wchar_t* name, std::span<const Variant> arguments,
                             ComPtr<IDispatch>& value)
{
    Variant held;
    if (CallResult got = GetProperty(object, name, arguments, held); FAILED(got.code)) {
        return got;
    }
    if (const HRESULT changed = held.ChangeType(VT_DISPATCH); FAILED(changed)) {
        return {changed};
    }
    value = ComPtr<IDispatch>(held.Get().pdispVal);
    return {RequireInterface(S_OK, value.Get())};
}

} // namespace win
