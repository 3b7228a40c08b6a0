#pragma once

#include "win/windows_api.h"

#include <string>

namespace win {

// The language of message tables that a text is asked in: the user's default, by Windows' rule for a neutral one.
inline constexpr DWORD kNeutralLanguage = MAKELANGID(LANG_NEUTRAL, SUBLANG_DEFAULT);

// The description of the calling thread's error object; empty where there is none. Takes the object away, as
// GetErrorInfo does.
[[nodiscard]] std::wstring ErrorObjectText();

// What the system's message table says about a code, inserts left as they stand; empty where it says nothing. The text
// ends in a line end.
[[nodiscard]] std::wstring SystemText(DWORD code);

// "Return code: 0x80070005 (2147942405)".
[[nodiscard]] std::wstring ReturnCodeText(HRESULT result);

} // namespace win
