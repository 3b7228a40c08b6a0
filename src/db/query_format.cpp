#include "db/query_format.h"

#include "db/db_error.h"

#include <cwchar>

namespace vldb {

namespace {

constexpr wchar_t kSource[] = L"query_format";

std::wstring TagText(int tag)
{
    return L'%' + std::to_wstring(tag) + L'%';
}

CDbError TagError(int tag, const wchar_t* what)
{
    return {E_INVALIDARG, L"Tag " + std::to_wstring(tag) + what};
}

std::wstring Quoted(std::wstring_view text)
{
    std::wstring literal = L"'";
    for (const wchar_t c : text) {
        literal.append(c == L'\'' ? 2 : 1, c);
    }
    return literal + L'\'';
}

} // namespace

CQueryFormat::CQueryFormat(std::wstring text) : template_(std::move(text))
{
    Attempt(kSource, [&] {
        while (template_.find(TagText(tagCount_ + 1)) != std::wstring::npos) {
            ++tagCount_;
        }
    });
}

void CQueryFormat::Bind(int tag, std::wstring_view value, bool quote)
{
    Attempt(kSource, [&] { values_[tag] = quote ? Quoted(value) : std::wstring(value); });
}

std::wstring CQueryFormat::Str() const
{
    return Attempt(kSource, [&] {
        std::wstring statement = template_;
        for (const auto& [tag, value] : values_) {
            const std::wstring tagText = TagText(tag);
            const std::size_t at = statement.find(tagText);
            if (at == std::wstring::npos) {
                throw TagError(tag, L" not found");
            }
            statement.replace(at, tagText.size(), value);
        }
        for (int tag = 1; tag <= tagCount_; ++tag) {
            if (statement.find(TagText(tag)) != std::wstring::npos) {
                throw TagError(tag, L" not defined");
            }
        }
        return statement;
    });
}

std::wstring CQueryFormat::TextOf(double number)
{
    constexpr std::size_t kLength = 32;
    wchar_t text[kLength] = {};
    std::swprintf(text, kLength, L"%g", number);
    return text;
}

} // namespace vldb
