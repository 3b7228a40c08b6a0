#pragma once

#include "messages/translation_file.h"
#include "win/critical_section.h"

#include <cstdint>
#include <list>
#include <string>
#include <vector>

// A language that a translation file may exist for.
struct Language {
    LANGID id;
    const wchar_t* englishName; // also the translation file's base name
    const wchar_t* nativeName;
};

// The languages of the product, in the order of its language table.
[[nodiscard]] std::vector<Language> GetLanguages();

// Which of the product's registry keys tells the language: 1 stands for the console's, any other number for the core's.
inline constexpr int kLanguageOfConsole = 1;
inline constexpr int kLanguageOfCore = 0;

// The translated texts of the configured language. Safe to use from several threads.
class Translator {
public:
    // Knows no translation yet; whether texts carry their numbers is read from the DWORD "IncludeTransId" of the core
    // key.
    Translator();

    // The text of a message: the translation of its number where one is loaded, else the English text (system ANSI code
    // page) converted; before it "(-number-)" when "IncludeTransId" asks for it.
    [[nodiscard]] std::wstring Find(std::uint32_t number, const char* englishText);

private:
    friend std::uint32_t LoadTranslation(Translator& translator, int which);

    std::uint32_t Load(std::wstring text);

    win::CriticalSection lock_;
    std::list<std::wstring> files_;           // the files' texts as they were read
    std::vector<TranslatedMessage> messages_; // views of them, ordered by number; of equal numbers the last one counts
    LANGID language_;
    bool includeTransId_ = false;
};

// The process's translator, created by the first call, which must come before a second thread exists.
[[nodiscard]] Translator& GetTranslator();

// Loads the translation file of the language that the chosen key's DWORD "Language" names: English name + ".tr" in the
// program's folder. Returns 0; E_FAIL (0x80004005) for an unknown language and a file that cannot be opened or does not
// begin with the header; the Windows error that ended the reading. Where memory runs out, E_OUTOFMEMORY, and the texts
// stay as they were.
std::uint32_t LoadTranslation(Translator& translator, int which);
