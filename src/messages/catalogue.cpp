#include "messages/catalogue.h"

#include "messages/translator.h"
#include "win/text.h"

#include <utility>

const MessageCatalogue& GetMessageCatalogue()
{
    static constexpr MessageCatalogue kCatalogue{};
    return kCatalogue;
}

CatalogueText GetMessage(const MessageCatalogue& /*catalogue*/, std::uint32_t number, const char* englishText)
{
    return {GetTranslator().Find(number, englishText)};
}

CatalogueText GetMessage(const Message& message, std::initializer_list<std::wstring_view> arguments)
{
    return {GetTranslator().Find(message.number, message.english),
            std::vector<std::wstring>(arguments.begin(), arguments.end())};
}

void AddArgument(CatalogueText& text, std::wstring_view argument)
{
    text.arguments.emplace_back(argument);
}

void AddNumberArgument(CatalogueText& text, std::uint32_t value, int width, wchar_t fill, int base, int /*precision*/)
{
    const std::uint32_t radix = base == 8 || base == 16 ? static_cast<std::uint32_t>(base) : kDecimal;
    std::wstring digits;
    do {
        digits.insert(digits.begin(), L"0123456789abcdef"[value % radix]);
        value /= radix;
    } while (value != 0);
    text.arguments.push_back(win::PaddedLeft(std::move(digits), width, fill));
}

std::wstring ToWideString(const CatalogueText& text)
{
    const std::wstring_view source = text.text;
    std::wstring result;
    result.reserve(source.size());
    std::size_t at = 0;
    while (at < source.size()) {
        if (source[at] == L'%') {
            const int number = win::ReadDecimal(source.substr(at + 1));
            if (number >= 1 && static_cast<std::size_t>(number) <= text.arguments.size()) {
                result += text.arguments[static_cast<std::size_t>(number) - 1];
                at = source.find_first_not_of(L"0123456789", at + 1);
                continue;
            }
        }
        result.push_back(source[at]);
        ++at;
    }
    return result;
}
