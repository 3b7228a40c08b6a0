#include "messages/catalogue.h"

#include "messages/translator.h"
#include "win/text.h"

#include <iomanip>
#include <sstream>

std::wstring CatalogueText::ToWideString() const
{
    std::wstring result;
    result.reserve(text_.size());
    std::size_t at = 0;
    while (at < text_.size()) {
        if (text_[at] == L'%') {
            const int number = win::ReadDecimal(std::wstring_view(text_).substr(at + 1));
            if (number >= 1 && static_cast<std::size_t>(number) <= arguments_.size()) {
                result += arguments_[static_cast<std::size_t>(number) - 1];
                at = text_.find_first_not_of(L"0123456789", at + 1);
                continue;
            }
        }
        result.push_back(text_[at]);
        ++at;
    }
    return result;
}

// NOLINTNEXTLINE(readability-convert-member-functions-to-static): a lookup is a question to the catalogue.
CatalogueText MessageCatalogue::Find(std::uint32_t number, const char* englishText) const
{
    return CatalogueText(GetTranslator().Find(number, englishText));
}

MessageCatalogue& GetMessageCatalogue()
{
    static MessageCatalogue catalogue;
    return catalogue;
}

CatalogueText GetMessage(const MessageCatalogue& catalogue, std::uint32_t number, const char* englishText)
{
    return catalogue.Find(number, englishText);
}

CatalogueText GetMessage(const Message& message, std::initializer_list<std::wstring_view> arguments)
{
    CatalogueText text = GetMessage(GetMessageCatalogue(), message.number, message.english);
    for (const std::wstring_view argument : arguments) {
        text.AddArgument(argument);
    }
    return text;
}

void AddArgument(CatalogueText& text, std::wstring_view argument)
{
    text.AddArgument(argument);
}

void AddNumberArgument(CatalogueText& text, std::uint32_t value, int width, wchar_t fill, int base, int precision)
{
    std::wostringstream stream;
    if (width >= 0) {
        stream << std::setw(width);
    }
    if (fill != kDefaultFill) {
        stream << std::setfill(fill);
    }
    if (base != kDecimal) {
        stream << std::setbase(base);
    }
    if (precision >= 0) {
        stream << std::setprecision(precision);
    }
    stream << value;
    text.AddArgument(stream.str());
}

std::wstring ToWideString(const CatalogueText& text)
{
    return text.ToWideString();
}
