#pragma once

#include "win/owner.h"

#include <mutex>
#include <string>
#include <string_view>

namespace sim {

// The log of the calls that the engine got, one UTF-8 line each. Every line is appended in a single write, so that
// readers and other writers of the file never see a part of one. Safe to use from any thread.
class CallLog {
public:
    // A log that keeps nothing.
    CallLog() = default;

    // Begins or goes on with the log in this file; false, with GetLastError telling why, where it cannot be opened.
    [[nodiscard]] bool Open(const std::wstring& path);

    // Appends one line; its line end is added.
    void Write(std::wstring_view line);

    // Appends the last line; whatever comes later is not written.
    void WriteLast(std::wstring_view line);

    // 0, or the Windows error of the first line that could not be written.
    [[nodiscard]] DWORD Error() const;

private:
    void Append(std::wstring_view line);

    mutable std::mutex lock_;
    win::FileHandle file_;
    DWORD error_ = ERROR_SUCCESS;
};

// A text as the log shows it: in quotation marks, control characters as <U+000A>; null for a null string.
[[nodiscard]] std::wstring Quoted(std::wstring_view text);

} // namespace sim
