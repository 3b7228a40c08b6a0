#include "win/text.h"

#include "win/windows_api.h"

#include <algorithm>
#include <cwctype>
#include <limits>

namespace win {

namespace {

constexpr bool IsAscii(wchar_t c)
{
    return c < 0x80;
}

constexpr wchar_t AsciiUpper(wchar_t c)
{
    return c >= L'a' && c <= L'z' ? static_cast<wchar_t>(c - L'a' + L'A') : c;
}

// CSTR_LESS_THAN, CSTR_EQUAL or CSTR_GREATER_THAN. Of ASCII, which most names are, Windows' upper-case table holds A to
// Z only; Windows is asked from the first other character on.
int CompareNames(std::wstring_view left, std::wstring_view right) noexcept
{
    const std::size_t common = std::min(left.size(), right.size());
    for (std::size_t i = 0; i < common; ++i) {
        if (!IsAscii(left[i]) || !IsAscii(right[i])) {
            return CompareStringOrdinal(left.data() + i, static_cast<int>(left.size() - i), right.data() + i,
                                        static_cast<int>(right.size() - i), TRUE);
        }
        if (const wchar_t l = AsciiUpper(left[i]), r = AsciiUpper(right[i]); l != r) {
            return l < r ? CSTR_LESS_THAN : CSTR_GREATER_THAN;
        }
    }
    if (left.size() == right.size()) {
        return CSTR_EQUAL;
    }
    return left.size() < right.size() ? CSTR_LESS_THAN : CSTR_GREATER_THAN;
}

} // namespace

bool EqualNames(std::wstring_view left, std::wstring_view right) noexcept
{
    return left.size() == right.size() && CompareNames(left, right) == CSTR_EQUAL;
}

bool NameLess::operator()(std::wstring_view left, std::wstring_view right) const noexcept
{
    return CompareNames(left, right) == CSTR_LESS_THAN;
}

std::wstring UpperCase(std::wstring_view text)
{
    std::wstring upper(text);
    CharUpperBuffW(upper.data(), static_cast<DWORD>(upper.size()));
    return upper;
}

std::wstring_view BaseName(std::wstring_view path) noexcept
{
    const std::wstring_view name = path.substr(path.rfind(L'\\') + 1);
    return name.substr(0, name.rfind(L'.'));
}

std::wstring PaddedLeft(std::wstring text, int width, wchar_t fill)
{
    const auto least = static_cast<std::size_t>(std::max(width, 0));
    text.insert(0, least - std::min(text.size(), least), fill);
    return text;
}

std::int32_t ReadDecimal(std::wstring_view text) noexcept
{
    constexpr std::int64_t kLeast = std::numeric_limits<std::int32_t>::min();
    constexpr std::int64_t kGreatest = std::numeric_limits<std::int32_t>::max();
    while (!text.empty() && std::iswspace(text.front()) != 0) {
        text.remove_prefix(1);
    }
    const bool isNegative = text.starts_with(L'-');
    if (isNegative || text.starts_with(L'+')) {
        text.remove_prefix(1);
    }
    std::int64_t number = 0;
    for (const wchar_t c : text) {
        if (c < L'0' || c > L'9' || number > kGreatest) {
            break;
        }
        number = number * 10 + (c - L'0');
    }
    return static_cast<std::int32_t>(isNegative ? std::max(-number, kLeast) : std::min(number, kGreatest));
}

} // namespace win
