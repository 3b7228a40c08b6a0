#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace sim {

// The text of UTF-8 bytes, or nothing where the bytes are not UTF-8.
[[nodiscard]] std::optional<std::wstring> FromUtf8(std::string_view bytes);

// The UTF-8 bytes of a text; an unpaired surrogate becomes the replacement character.
[[nodiscard]] std::string ToUtf8(std::wstring_view text);

// The text without blanks and tabs at either end.
[[nodiscard]] std::wstring_view Trim(std::wstring_view text);

// The pieces between the separators, each trimmed; an empty text is one empty piece.
[[nodiscard]] std::vector<std::wstring_view> Split(std::wstring_view text, wchar_t separator);

// The text without one trailing backslash.
[[nodiscard]] std::wstring_view WithoutTrailingBackslash(std::wstring_view text);

// A whole number from 0 to 2^64 - 1, decimal or with 0x in front; nothing where the text is anything else.
[[nodiscard]] std::optional<std::uint64_t> ParseNumber(std::wstring_view text);

// A decimal number with a point, such as 12 or -0.5; nothing where the text is anything else.
[[nodiscard]] std::optional<double> ParseDecimal(std::wstring_view text);

// "0x" and eight hexadecimal digits.
[[nodiscard]] std::wstring HexText(std::uint32_t value);

// What GetLastError or a registry call answered, as "error 5".
[[nodiscard]] std::wstring ErrorText(std::uint32_t windowsError);

} // namespace sim
