#pragma once

#include <map>
#include <sstream>
#include <string>

namespace vldb {

// A statement with numbered tags "%1%", "%2%", ... that values are put in for.
class CQueryFormat {
public:
    // The template's tags count from 1 up to the first number that does not occur in it.
    explicit CQueryFormat(std::wstring text);

    // Gives a tag its value as text: as it is, or quoted as an SQL string literal, its apostrophes doubled.
    template <typename Value>
    void Bind(int tag, const Value& value, bool quote)
    {
        std::wostringstream text;
        text << value;
        BindText(tag, text.str(), quote);
    }

    // The statement. In the order of their numbers, each bound value has replaced the first occurrence of its tag.
    // Throws CDbError with E_INVALIDARG: "Tag N not found" for a value whose tag does not occur, "Tag N not defined"
    // when a tag of the template is still there, also where it stood twice or came with a value.
    [[nodiscard]] std::wstring Str() const;

private:
    void BindText(int tag, const std::wstring& text, bool quote);

    std::wstring template_;
    std::map<int, std::wstring> values_;
    int tagCount_ = 0;
};

} // namespace vldb
