#pragma once

#include <string_view>

// The trace log's interface with nothing behind it: what the program would be without the log.

inline void TraceStep(const wchar_t* /*source*/, const wchar_t* /*function*/, int /*line*/,
                      std::wstring_view /*text*/) noexcept
{}

inline void TraceEnter(const wchar_t* /*source*/, const wchar_t* /*function*/, int /*line*/) noexcept {}

class TraceEntry {
public:
    TraceEntry(const wchar_t* /*source*/, const wchar_t* /*function*/, int /*line*/) noexcept {}
};
