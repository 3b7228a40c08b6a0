#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace win {

// Whether two names are equal by Windows' own rule for names of files, volumes and computers: ordinal, without regard
// to case, the same in every locale.
[[nodiscard]] bool EqualNames(std::wstring_view left, std::wstring_view right) noexcept;

// Orders names by the same rule; transparent, so that a set of strings can be asked with a view.
struct NameLess {
    using is_transparent = void;
    bool operator()(std::wstring_view left, std::wstring_view right) const noexcept;
};

// The text in upper case, character by character.
[[nodiscard]] std::wstring UpperCase(std::wstring_view text);

// The name of the file that a path leads to, without folder ("\\" alone separates folders) and without extension.
[[nodiscard]] std::wstring_view BaseName(std::wstring_view path) noexcept;

// The text with as many fill characters before it as it lacks to the width; a negative width asks for none.
[[nodiscard]] std::wstring PaddedLeft(std::wstring text, int width, wchar_t fill);

// The number that the text begins with, as _wtoi reads it, the same with every runtime: blanks, a sign, then digits
// from 0 to 9, up to whatever else follows; 0 where there are none. A number past the limits of 32 bits is the limit.
[[nodiscard]] std::int32_t ReadDecimal(std::wstring_view text) noexcept;

// Calls visit(piece) for every non-empty piece of the text between separators, in order, until visit returns false.
template <typename Visit>
void ForEachPiece(std::wstring_view text, wchar_t separator, Visit visit)
{
    while (!text.empty()) {
        const std::size_t end = text.find(separator);
        const std::wstring_view piece = text.substr(0, end);
        text = end == std::wstring_view::npos ? std::wstring_view() : text.substr(end + 1);
        if (!piece.empty() && !visit(piece)) {
            return;
        }
    }
}

} // namespace win
