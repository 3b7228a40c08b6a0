#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

// A message of a translation file: its number and the field with its translation, as the file's text has it.
struct TranslatedMessage {
    std::uint32_t number;
    std::wstring_view field;
};

// Reads the whole file as little-endian UTF-16 without interpreting it; an odd byte at the end is ignored. Returns 0,
// or the Windows error with which reading ended (the texts read before it are in the output all the same), or E_FAIL as
// an unsigned number when the file cannot be opened or has more than 64 MB.
[[nodiscard]] std::uint32_t ReadTranslationFile(const std::wstring& path, std::wstring& text);

// Appends the messages of a translation file's text, in their order there.
//
// The text is lines separated by CR and LF, the first of them exactly "#VL_TRANSLATION_FILE"; it ends at its first NUL.
// Every further line is a message number, the English text and the translation, separated by tabs, both texts in
// quotation marks; lines of another shape are passed over. Returns false, and appends nothing, when the first line is
// not that header.
[[nodiscard]] bool ParseTranslations(std::wstring_view text, std::vector<TranslatedMessage>& messages);

// The text that a translation's field stands for: its escapes resolved, its quotation marks gone.
[[nodiscard]] std::wstring Unquoted(std::wstring_view field);
