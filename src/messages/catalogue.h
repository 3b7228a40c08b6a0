#pragma once

#include "win/windows_api.h"

#include <cstdint>
#include <initializer_list>
#include <string>
#include <string_view>
#include <vector>

// A message that is printed in more than one place, or that a table holds: its number and its English text.
struct Message {
    std::uint32_t number;
    const char* english;
};

// The result of a lookup: a text and the arguments that replace its placeholders "%1", "%2", ...
struct CatalogueText {
    std::wstring text;
    std::vector<std::wstring> arguments{};
};

// The numbered messages of the program. It holds no texts: the English ones stand where they are used, the translated
// ones in the translator.
struct MessageCatalogue {};

// The process's catalogue.
[[nodiscard]] const MessageCatalogue& GetMessageCatalogue();

// Looks up a message: its translation where one is loaded, else its English text (system ANSI code page). The text that
// it gives has no arguments yet.
[[nodiscard]] CatalogueText GetMessage(const MessageCatalogue& catalogue, std::uint32_t number,
                                       const char* englishText);

// Looks up a message in the process's catalogue and adds the arguments in order.
[[nodiscard]] CatalogueText GetMessage(const Message& message, std::initializer_list<std::wstring_view> arguments = {});

// Appends a string as the text's next argument.
void AddArgument(CatalogueText& text, std::wstring_view argument);

// How AddNumberArgument writes a number unless told otherwise: plain decimal.
inline constexpr int kDefaultWidth = -1;
inline constexpr wchar_t kDefaultFill = L' ';
inline constexpr int kDecimal = 10;
inline constexpr int kDefaultPrecision = -1;

// Appends a number as the text's next argument. width is the least count of characters (negative: as many as needed),
// fill what stands before a shorter number, base 8, 10 or 16 (any other means 10); precision does not change a whole
// number.
void AddNumberArgument(CatalogueText& text, std::uint32_t value, int width = kDefaultWidth, wchar_t fill = kDefaultFill,
                       int base = kDecimal, int precision = kDefaultPrecision);

// The text with its placeholders resolved. A "%" before a number from 1 to the count of arguments gives way, with the
// digits of that number, to the argument; any other "%" stands for itself.
[[nodiscard]] std::wstring ToWideString(const CatalogueText& text);
