#pragma once

#include "win/com_ptr.h"
#include "win/variant.h"

#include <span>
#include <string>

namespace win {

// Automation objects by the names of their members, for which no header is needed.

// How such a call ended: its HRESULT and, of a failure, what the object told about it (empty where it told nothing).
struct [[nodiscard]] CallResult {
    HRESULT code = S_OK;
    std::wstring description{};
};

// Makes an object of the class that is registered under the name ("ADODB.Connection"), in whatever kind of server there
// is for it.
CallResult CreateLateBound(const wchar_t* className, ComPtr<IDispatch>& object);

// Calls a method with its arguments in their natural order; what it returns is dropped. A null object is E_POINTER.
CallResult CallMethod(IDispatch* object, const wchar_t* name, std::span<const Variant> arguments = {});

// Reads a property, with its arguments where it has an index.
CallResult GetProperty(IDispatch* object, const wchar_t* name, std::span<const Variant> arguments, Variant& value);

// Reads a property that is an object; none at all counts as E_POINTER.
CallResult GetObjectProperty(IDispatch* object, const wchar_t* name, std::span<const Variant> arguments,
                             ComPtr<IDispatch>& value);

} // namespace win
