#include "odbc/connection_string.h"

#include "base/text.h"
#include "odbc/unix_path.h"

#include "win/text.h"

#include <algorithm>
#include <iterator>
#include <utility>
#include <vector>

namespace sim::odbc {

namespace {

using Words = std::vector<std::pair<std::wstring, std::wstring>>;

// What becomes of ADO's own words; an empty name drops the word.
struct Renaming {
    std::wstring_view from;
    std::wstring_view to;
};

constexpr Renaming kRenamings[] = {
    {L"Provider", L""},    {L"Persist Security Info", L""}, {L"User ID", L"UID"},
    {L"Password", L"PWD"}, {L"Data Source", L"DSN"},        {L"Initial Catalog", L"Database"},
};

// Takes the value at the start of the text, up to its semicolon or the end. In quotation marks of either kind it may
// hold semicolons, and the mark itself doubled; braces belong to ODBC and stay.
std::wstring TakeValue(std::wstring_view& text)
{
    text.remove_prefix(std::min(text.find_first_not_of(L" \t"), text.size()));
    std::wstring value;
    const wchar_t first = text.empty() ? L'\0' : text.front();
    if (first == L'"' || first == L'\'') {
        std::size_t at = 1;
        for (; at < text.size(); ++at) {
            if (text[at] != first) {
                value += text[at];
            } else if (at + 1 < text.size() && text[at + 1] == first) {
                value += text[at++];
            } else {
                break;
            }
        }
        text.remove_prefix(std::min(text.find(L';', at), text.size()));
    } else {
        const std::size_t from = first == L'{' ? std::min(text.find(L'}'), text.size()) : 0;
        const std::size_t end = std::min(text.find(L';', from), text.size());
        value = Trim(text.substr(0, end));
        text.remove_prefix(end);
    }
    text.remove_prefix(std::min<std::size_t>(text.size(), 1));
    return value;
}

Words ParseWords(std::wstring_view text)
{
    Words words;
    while (!text.empty()) {
        const std::size_t equals = text.find_first_of(L"=;");
        std::wstring name(Trim(text.substr(0, equals)));
        const bool hasValue = equals != std::wstring_view::npos && text[equals] == L'=';
        text.remove_prefix(equals == std::wstring_view::npos ? text.size() : equals + 1);
        std::wstring value = hasValue ? TakeValue(text) : std::wstring();
        if (win::EqualNames(name, L"Extended Properties")) {
            std::ranges::move(ParseWords(value), std::back_inserter(words));
        } else if (!name.empty()) {
            words.emplace_back(std::move(name), std::move(value));
        }
    }
    return words;
}

std::wstring OdbcName(const std::wstring& name)
{
    const auto* const found = std::ranges::find_if(
        kRenamings, [&](const Renaming& renaming) { return win::EqualNames(renaming.from, name); });
    return found == std::end(kRenamings) ? name : std::wstring(found->to);
}

// Braces keep a semicolon within the value.
std::wstring OdbcValue(const std::wstring& value)
{
    return value.find(L';') == std::wstring::npos || value.starts_with(L'{') ? value : L'{' + value + L'}';
}

void SetWord(Words& words, const std::wstring& name, std::wstring_view value)
{
    if (value.empty()) {
        return;
    }
    std::erase_if(words, [&](const auto& word) { return win::EqualNames(word.first, name); });
    words.emplace_back(name, value);
}

} // namespace

std::optional<std::wstring> ToOdbcConnectionString(std::wstring_view text, std::wstring_view user,
                                                   std::wstring_view password)
{
    Words words;
    for (auto& [name, value] : ParseWords(text)) {
        if (win::EqualNames(name, L"Provider") && !win::EqualNames(value, L"MSDASQL") &&
            !win::EqualNames(value, L"MSDASQL.1")) {
            return std::nullopt;
        }
        const std::wstring odbcName = OdbcName(name);
        if (win::EqualNames(odbcName, L"Database")) {
            value = ToUnixPath(value);
        }
        if (!odbcName.empty()) {
            words.emplace_back(odbcName, std::move(value));
        }
    }
    SetWord(words, L"UID", user);
    SetWord(words, L"PWD", password);

    std::wstring odbcText;
    for (const auto& [name, value] : words) {
        odbcText.append(name).append(L"=").append(OdbcValue(value)).append(L";");
    }
    return odbcText;
}

} // namespace sim::odbc
