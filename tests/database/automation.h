#pragma once

#include "win/com_ptr.h"
#include "win/variant.h"

#include <string>
#include <utility>
#include <vector>

namespace database_tests {

// What a call through IDispatch came to.
struct Reply {
    HRESULT result = S_OK;    // what Invoke or GetIDsOfNames answered
    HRESULT code = S_OK;      // of DISP_E_EXCEPTION, the code in EXCEPINFO
    std::wstring source;      // likewise
    std::wstring description; // likewise
    win::Variant value;
};

// An argument that is left out.
[[nodiscard]] win::Variant LeftOut();

// A number of another width than VT_I4.
[[nodiscard]] win::Variant Short(SHORT number);

// Arguments in their order.
template <typename... Values>
[[nodiscard]] std::vector<win::Variant> Arguments(Values&&... values)
{
    std::vector<win::Variant> arguments;
    (arguments.push_back(std::forward<Values>(values)), ...);
    return arguments;
}

// Calls a member by its name, with the arguments in their order.
Reply Invoke(IDispatch* object, const wchar_t* name, WORD kind, const std::vector<win::Variant>& arguments = {});
Reply Call(IDispatch* object, const wchar_t* method, const std::vector<win::Variant>& arguments = {});
[[nodiscard]] Reply Get(IDispatch* object, const wchar_t* property, const std::vector<win::Variant>& arguments = {});
Reply Put(IDispatch* object, const wchar_t* property, win::Variant value);

// An object of the class with this name, made as every late-bound caller makes it; null where there is none.
[[nodiscard]] win::ComPtr<IDispatch> CreateByName(const wchar_t* name);

// The object that a call returned; null for anything else.
[[nodiscard]] win::ComPtr<IDispatch> ObjectOf(const Reply& reply);

// A value with its type, such as "I4 7", "BSTR abc", "NULL", for comparisons and messages.
[[nodiscard]] std::wstring Shown(const win::Variant& value);

// A reply in one line: "OK" and the value, "EXCEPTION 0x800A0E78 ADODB.Connection: text", or "0x80020006".
[[nodiscard]] std::wstring Shown(const Reply& reply);

} // namespace database_tests
