#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <unordered_map>

// Translated texts by message number.
using Translations = std::unordered_map<std::uint32_t, std::wstring>;

// Reads the whole file as little-endian UTF-16 without interpreting it; an odd byte at the end is ignored. Returns 0,
// or the Windows error with which reading ended (the texts read before it are in the output all the same), or E_FAIL as
// an unsigned number when the file cannot be opened.
[[nodiscard]] std::uint32_t ReadTranslationFile(const std::wstring& path, std::wstring& text);

// Adds the messages of a translation file's text to the translations; a number that stands twice has its last text.
//
// The text is lines separated by CR and LF, the first of them exactly "#VL_TRANSLATION_FILE"; it ends at its first NUL.
// Every further line is a message number, the English text and the translation, separated by tabs, both texts in
// quotation marks; lines of another shape are passed over. Returns false, and adds nothing, when the first line is not
// that header.
[[nodiscard]] bool ParseTranslations(std::wstring_view text, Translations& translations);
