#include "base/text.h"

#include "win/windows_api.h"

#include <cmath>
#include <cwchar>
#include <limits>

namespace sim {

std::optional<std::wstring> FromUtf8(std::string_view bytes)
{
    if (bytes.empty()) {
        return std::wstring();
    }
    const int size = static_cast<int>(bytes.size());
    const int length = MultiByteToWideChar(CP_UTF8, MB_ERR_INVALID_CHARS, bytes.data(), size, nullptr, 0);
    if (length == 0) {
        return std::nullopt;
    }
    std::wstring text(static_cast<std::size_t>(length), L'\0');
    MultiByteToWideChar(CP_UTF8, MB_ERR_INVALID_CHARS, bytes.data(), size, text.data(), length);
    return text;
}

std::string ToUtf8(std::wstring_view text)
{
    if (text.empty()) {
        return {};
    }
    const int length = static_cast<int>(text.size());
    const int size = WideCharToMultiByte(CP_UTF8, 0, text.data(), length, nullptr, 0, nullptr, nullptr);
    std::string bytes(static_cast<std::size_t>(size), '\0');
    WideCharToMultiByte(CP_UTF8, 0, text.data(), length, bytes.data(), size, nullptr, nullptr);
    return bytes;
}

std::wstring_view Trim(std::wstring_view text)
{
    constexpr std::wstring_view kBlanks = L" \t";
    const std::size_t first = text.find_first_not_of(kBlanks);
    if (first == std::wstring_view::npos) {
        return {};
    }
    return text.substr(first, text.find_last_not_of(kBlanks) - first + 1);
}

std::vector<std::wstring_view> Split(std::wstring_view text, wchar_t separator)
{
    std::vector<std::wstring_view> pieces;
    for (;;) {
        const std::size_t end = text.find(separator);
        pieces.push_back(Trim(text.substr(0, end)));
        if (end == std::wstring_view::npos) {
            return pieces;
        }
        text.remove_prefix(end + 1);
    }
}

std::wstring_view WithoutTrailingBackslash(std::wstring_view text)
{
    if (text.ends_with(L'\\')) {
        text.remove_suffix(1);
    }
    return text;
}

std::optional<std::uint64_t> ParseNumber(std::wstring_view text)
{
    std::uint64_t base = 10;
    if (text.starts_with(L"0x") || text.starts_with(L"0X")) {
        base = 16;
        text.remove_prefix(2);
    }
    if (text.empty()) {
        return std::nullopt;
    }
    std::uint64_t value = 0;
    for (const wchar_t character : text) {
        std::uint64_t digit = base;
        if (character >= L'0' && character <= L'9') {
            digit = static_cast<std::uint64_t>(character - L'0');
        } else if (character >= L'a' && character <= L'f') {
            digit = static_cast<std::uint64_t>(character - L'a') + 10;
        } else if (character >= L'A' && character <= L'F') {
            digit = static_cast<std::uint64_t>(character - L'A') + 10;
        }
        if (digit >= base || value > (std::numeric_limits<std::uint64_t>::max() - digit) / base) {
            return std::nullopt;
        }
        value = value * base + digit;
    }
    return value;
}

std::optional<double> ParseDecimal(std::wstring_view text)
{
    // Only digits, a sign and a point: wcstod would also read hexadecimal numbers, infinities and exponents.
    const bool negative = text.starts_with(L'-');
    const std::wstring digits(text.substr(negative ? 1 : 0));
    if (digits.empty() || digits.front() == L'.' || digits.back() == L'.' ||
        digits.find_first_not_of(L"0123456789.") != std::wstring::npos || digits.find(L'.') != digits.rfind(L'.')) {
        return std::nullopt;
    }
    const double value = std::wcstod(digits.c_str(), nullptr);
    if (!std::isfinite(value)) {
        return std::nullopt;
    }
    return negative ? -value : value;
}

std::wstring HexText(std::uint32_t value)
{
    wchar_t text[11];
    std::swprintf(text, std::size(text), L"0x%08X", value);
    return text;
}

std::wstring ErrorText(std::uint32_t windowsError)
{
    return L"error " + std::to_wstring(windowsError);
}

} // namespace sim
