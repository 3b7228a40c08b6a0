#pragma once

#include "process.h"

#include <cstdint>
#include <string>
#include <string_view>

namespace e2e {

// Texts are written in the tests as a user sees them, with "\n" as the line end.

// The text as it arrives in a file or a pipe: a line feed goes out as CR LF, so one that has a CR already as CR CR LF.
[[nodiscard]] std::string Redirected(std::string_view text);

// UTF-16 text in the code page in which the tool redirects its output.
[[nodiscard]] std::string InOutputPage(std::wstring_view text);

// A command that prints the banner and then the text.
[[nodiscard]] Outcome BannerAnd(std::string_view text, std::uint32_t exitCode = 0);

// The usage screen.
[[nodiscard]] std::string UsageScreen();

// What stands in place of an error placeholder: what Windows says of the failure, or of its low 16 bits where it does
// not know the failure, then the return code as it is written in the test.
[[nodiscard]] std::string ErrorText(std::uint32_t failure, std::string_view returnCode);

// The same as UTF-16, as a console shows it.
[[nodiscard]] std::wstring WideErrorText(std::uint32_t failure, std::string_view returnCode);

// The name of this computer.
[[nodiscard]] std::wstring ComputerName();

// Day and time as this computer writes them.
[[nodiscard]] std::wstring DateAndTime(const SYSTEMTIME& time);

// The outcome with its lines sorted: for commands whose drives report in any order.
[[nodiscard]] Outcome SortedLines(Outcome outcome);

// UTF-16 of ASCII text, and the other way round.
[[nodiscard]] std::wstring Wide(std::string_view text);
[[nodiscard]] std::string Narrow(std::wstring_view text);

} // namespace e2e
