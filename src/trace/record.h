#pragma once

#include <cstdarg>
#include <string>
#include <string_view>

namespace trace {

// What wprintf would write; "%ls" stands for a wide text.
[[nodiscard]] std::wstring Format(const wchar_t* format, ...);
[[nodiscard]] std::wstring FormatList(const wchar_t* format, va_list arguments);

// Who writes: what every record of the process says of it.
struct Writer {
    std::wstring computer;
    std::wstring user;
    std::wstring program; // without folder and extension
};

// Finds out about the running program.
[[nodiscard]] Writer FindWriter();

// What a record says of the place that it comes from, and what that place has to tell.
struct Record {
    std::wstring_view module;
    std::wstring_view source; // its folder and extension do not count
    std::wstring_view function;
    int line;
    std::wstring_view text;
};

// The record as a line of the trace file, with the time as it is now, its line end included.
[[nodiscard]] std::wstring LineOf(const Record& record, const Writer& writer, bool withFunction);

} // namespace trace
