#include "messages/translation_file.h"

#include "win/owner.h"
#include "win/text.h"

#include <algorithm>
#include <array>

namespace {

constexpr std::wstring_view kHeader = L"#VL_TRANSLATION_FILE";
constexpr std::wstring_view kLineEnds = L"\r\n";
constexpr std::wstring_view kFieldEnds = L"\t";
constexpr std::size_t kFieldsOfMessage = 3;
constexpr DWORD kChunkBytes = 32768;

// Cuts the next token off the text: separators before it are passed over, so that there are no empty tokens. Empty
// when nothing but separators is left.
std::wstring_view NextToken(std::wstring_view& text, std::wstring_view separators)
{
    text.remove_prefix(std::min(text.find_first_not_of(separators), text.size()));
    const std::wstring_view token = text.substr(0, text.find_first_of(separators));
    text.remove_prefix(token.size());
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

// Takes the next character off an escaped text; false at its end. A backslash at the very end is no character.
bool TakeCharacter(std::wstring_view& escaped, wchar_t& character)
{
    if (escaped.starts_with(L'\\')) {
        escaped.remove_prefix(1);
        character = escaped.empty() ? L'\0' : Unescaped(escaped.front());
    } else if (!escaped.empty()) {
        character = escaped.front();
    }
    if (escaped.empty()) {
        return false;
    }
    escaped.remove_prefix(1);
    return true;
}

// Whether a field has, unescaped, a first and a last character: its quotation marks.
bool IsQuoted(std::wstring_view field)
{
    wchar_t character = 0;
    const bool hasFirst = TakeCharacter(field, character);
    return hasFirst && TakeCharacter(field, character);
}

// The text between a quoted field's first and last character; which characters those are is not looked at.
std::wstring Unquote(std::wstring_view field)
{
    std::wstring text;
    text.reserve(field.size());
    wchar_t character = 0;
    TakeCharacter(field, character);
    while (TakeCharacter(field, character)) {
        text.push_back(character);
    }
    text.pop_back();
    return text;
}

void ParseLine(std::wstring_view line, Translations& translations)
{
    std::array<std::wstring_view, kFieldsOfMessage> fields;
    for (std::wstring_view& field : fields) {
        field = NextToken(line, kFieldEnds);
    }
    if (fields.back().empty() || !NextToken(line, kFieldEnds).empty()) {
        return;
    }
    const auto& [number, english, translation] = fields;
    if (IsQuoted(english) && IsQuoted(translation)) {
        translations.insert_or_assign(static_cast<std::uint32_t>(win::ReadDecimal(number)), Unquote(translation));
    }
}

} // namespace

std::uint32_t ReadTranslationFile(const std::wstring& path, std::wstring& text)
{
    win::FileHandle file(CreateFileW(path.c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING,
                                     FILE_ATTRIBUTE_NORMAL, nullptr));
    if (!file) {
        return static_cast<std::uint32_t>(E_FAIL);
    }
    // ReadFile tells only "no more" from "more"; whether "no more" was a failure is in the last error, which must hold
    // nothing older than the reading.
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
    } while (read != 0);
    text.resize(bytes / sizeof(wchar_t));
    file.Reset();
    return GetLastError();
}

bool ParseTranslations(std::wstring_view text, Translations& translations)
{
    text = text.substr(0, text.find(L'\0'));
    if (NextToken(text, kLineEnds) != kHeader) {
        return false;
    }
    for (std::wstring_view line = NextToken(text, kLineEnds); !line.empty(); line = NextToken(text, kLineEnds)) {
        ParseLine(line, translations);
    }
    return true;
}
