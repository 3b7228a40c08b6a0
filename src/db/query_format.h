#pragma once

#include <map>
#include <string>
#include <string_view>
#include <type_traits>

namespace vldb {

// A statement with numbered tags "%1%", "%2%", ... that values are put in for. Where memory runs out each operation
// throws CDbError, as the rest of the database layer does.
class CQueryFormat {
public:
    // The template's tags count from 1 up to the first number that does not occur in it.
    explicit CQueryFormat(std::wstring text);

    // Gives a tag its value as text: as it is, or quoted as an SQL string literal, its apostrophes doubled. A number is
    // written in the shortest way that six digits allow, a whole one with all its digits.
    void Bind(int tag, std::wstring_view value, bool quote);
    template <typename Number>
    requires std::is_arithmetic_v<Number>
    void Bind(int tag, Number value, bool quote)
    {
        if constexpr (std::is_integral_v<Number>) {
            Bind(tag, std::to_wstring(value), quote);
        } else {
            Bind(tag, TextOf(value), quote);
        }
    }

    // The statement. In the order of their numbers, each bound value has replaced the first occurrence of its tag.
    // Throws CDbError with E_INVALIDARG: "Tag N not found" for a value whose tag does not occur, "Tag N not defined"
    // when a tag of the template is still there, also where it stood twice or came with a value.
    [[nodiscard]] std::wstring Str() const;

private:
    static std::wstring TextOf(double number);

    std::wstring template_;
    std::map<int, std::wstring> values_;
    int tagCount_ = 0;
};

} // namespace vldb
