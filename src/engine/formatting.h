#pragma once

#include "win/windows_api.h"

#include <string>
#include <string_view>

// The text of a byte count in the largest unit that it exceeds (from TB on: reaches), or that the decimal exponent asks
// for, rounded up to two decimals: "1.01 KB". The unit's text is a catalogue message.
[[nodiscard]] std::wstring FormatSize(double size, int smallestExponent);

// The text of a byte count with one decimal and at least kilobytes: "0.1 KB". Not translated.
[[nodiscard]] std::wstring FormatSizeShort(double size);

// A number in fixed-point notation without trailing zeros: 2 decimals give "1.5" for 1.5 and "2" for 2. width is the
// least count of characters (negative: as many as needed) that fill makes up for a shorter number.
[[nodiscard]] std::wstring FormatNumber(double value, int width, wchar_t fill, int decimals);

// A moment as the system's default locale writes it, in its short formats; both texts are empty when either cannot be
// had.
struct DateTimeText {
    std::wstring date;
    std::wstring time;
};
[[nodiscard]] DateTimeText FormatDateTime(const SYSTEMTIME& moment);

// The text that stands for %1 in "... failed due to error %1": what the thread's error object, the system's message
// table or the internet functions' table says about the HRESULT, then the HRESULT in hexadecimal and decimal, then the
// source (without its folder) and line of the failing call. An empty source or a negative line leaves that part out.
// Takes the thread's error object away, as GetErrorInfo does.
[[nodiscard]] std::wstring FormatError(HRESULT result, std::wstring_view source, int line);
