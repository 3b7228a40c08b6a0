#include "messages/translation_file.h"

#include "win/owner.h"
#include "win/text.h"

#include <algorithm>

namespace {

constexpr std::wstring_view kHeader = L"#VL_TRANSLATION_FILE";
constexpr auto kUnreadable = static_cast<std::uint32_t>(E_FAIL);
constexpr DWORD kChunkBytes = 32768;
constexpr std::size_t kMostBytes = std::size_t{64} * 1024 * 1024;

bool IsLineEnd(wchar_t c)
{
    return c == L'\r' || c == L'\n';
}

bool IsTab(wchar_t c)
{
    return c == L'\t';
}

// Cuts the next token off the text: separators before it are passed over, so that there are no empty tokens. Empty
// when nothing but separators is left.
template <typename IsSeparator>
std::wstring_view NextToken(std::wstring_view& text, IsSeparator isSeparator)
{
    const auto begin = std::find_if_not(text.begin(), text.end(), isSeparator);
    const auto end = std::find_if(begin, text.end(), isSeparator);
    const std::wstring_view token =
        text.substr(static_cast<std::size_t>(begin - text.begin()), static_cast<std::size_t>(end - begin));
    text.remove_prefix(static_cast<std::size_t>(end - text.begin()));
    return token;
}

wchar_t Unescaped(wchar_t escape)
{
    switch (escape) {
    case L'n':
        return L'\n';
    case L'r':
        return L'\r';
    case L't':
        return L'\t';
    case L'v':
        return L'\v';
    case L'b':
        return L'\b';
    case L'f':
        return L'\f';
    default:
        return escape;
    }
}

// Visits the characters of an escaped text until visit returns false. A backslash at the very end is no character.
template <typename Visit>
void ForEachCharacter(std::wstring_view escaped, Visit visit)
{
    for (std::size_t i = 0; i < escaped.size(); ++i) {
        const bool isEscape = escaped[i] == L'\\';
        if (isEscape && ++i == escaped.size()) {
            return;
        }
        if (!visit(isEscape ? Unescaped(escaped[i]) : escaped[i])) {
            return;
        }
    }
}

// Whether a field has, unescaped, a first and a last character: its quotation marks.
bool IsQuoted(std::wstring_view field)
{
    int characters = 0;
    ForEachCharacter(field, [&](wchar_t) { return ++characters < 2; });
    return characters == 2;
}

// Appends the message of a line, if it has the shape of one.
void ParseLine(std::wstring_view line, std::vector<TranslatedMessage>& messages)
{
    const std::wstring_view number = NextToken(line, IsTab);
    const std::wstring_view english = NextToken(line, IsTab);
    const std::wstring_view translation = NextToken(line, IsTab);
    if (IsQuoted(english) && IsQuoted(translation) && NextToken(line, IsTab).empty()) {
        messages.push_back({static_cast<std::uint32_t>(win::ReadDecimal(number)), translation});
    }
}

} // namespace

std::uint32_t ReadTranslationFile(const std::wstring& path, std::wstring& text)
{
    win::FileHandle file(CreateFileW(path.c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING,
                                     FILE_ATTRIBUTE_NORMAL, nullptr));
    if (!file) {
        return kUnreadable;
    }
    // Whether reading ended with a failure is told by the last error alone, which must hold nothing older.
    SetLastError(ERROR_SUCCESS);
    std::size_t bytes = 0;
    DWORD read = 0;
    do {
        read = 0;
        text.resize((bytes + kChunkBytes + 1) / sizeof(wchar_t));
        if (ReadFile(file.Get(), reinterpret_cast<char*>(text.data()) + bytes, kChunkBytes, &read, nullptr) == FALSE) {
            break;
        }
        bytes += read;
        if (bytes > kMostBytes) {
            return kUnreadable;
        }
    } while (read != 0);
    text.resize(bytes / sizeof(wchar_t));
    file.Reset();
    return GetLastError();
}

bool ParseTranslations(std::wstring_view text, std::vector<TranslatedMessage>& messages)
{
    text = text.substr(0, text.find(L'\0'));
    if (NextToken(text, IsLineEnd) != kHeader) {
        return false;
    }
    for (std::wstring_view line = NextToken(text, IsLineEnd); !line.empty(); line = NextToken(text, IsLineEnd)) {
        ParseLine(line, messages);
    }
    return true;
}

std::wstring Unquoted(std::wstring_view field)
{
    std::wstring text;
    text.reserve(field.size());
    ForEachCharacter(field, [&](wchar_t character) {
        text.push_back(character);
        return true;
    });
    // Which characters the first and the last one are does not matter.
    return text.substr(1, text.size() - 2);
}
