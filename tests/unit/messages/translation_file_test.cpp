#include "messages/translation_file.h"

#include "support/installed_program.h"
#include "support/product_test.h"
#include "support/scratch_folder.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace {

using namespace testing_support;
using namespace std::string_literals;

// --- Parsing ---

using Translations = std::map<std::uint32_t, std::wstring>;

// What a whole text gives, of a number that stands twice its last text; nothing when it is rejected.
std::optional<Translations> Parsed(std::wstring_view text)
{
    std::vector<TranslatedMessage> messages;
    if (!ParseTranslations(text, messages)) {
        EXPECT_TRUE(messages.empty());
        return std::nullopt;
    }
    Translations translations;
    for (const TranslatedMessage& message : messages) {
        translations.insert_or_assign(message.number, Unquoted(message.field));
    }
    return translations;
}

// What the lines below a good header give.
Translations ParsedLines(std::initializer_list<std::wstring_view> lines)
{
    return Parsed(TranslationText(lines)).value_or(Translations{});
}

// The translation field's text, quotation marks and all, as message 5 shows it.
std::wstring Shown(const std::wstring& field)
{
    const Translations translations = ParsedLines({L"5\t\"english\"\t" + field});
    EXPECT_EQ(1U, translations.size()) << field;
    return translations.contains(5) ? translations.at(5) : L"(skipped)";
}

// The number that a number field stands for.
std::uint32_t NumberOf(const std::wstring& field)
{
    const Translations translations = ParsedLines({field + L"\t\"english\"\t\"deutsch\""});
    EXPECT_EQ(1U, translations.size()) << field;
    return translations.empty() ? 12345 : translations.begin()->first;
}

TEST(TranslationHeader, AloneIsAFileWithoutMessages)
{
    for (const wchar_t* text : {L"#VL_TRANSLATION_FILE", L"#VL_TRANSLATION_FILE\r\n", L"\r\n\n#VL_TRANSLATION_FILE"}) {
        EXPECT_EQ(Translations{}, Parsed(text)) << text;
    }
}

TEST(TranslationHeader, MustBeTheFirstLineToTheLetter)
{
    for (const wchar_t* header :
         {L"#vl_translation_file", L"#VL_TRANSLATION_FILE ", L" #VL_TRANSLATION_FILE", L"#VL_TRANSLATION_FILE\t",
          L"#VL_TRANSLATION_FIL", L"#VL_TRANSLATION_FILES", L"VL_TRANSLATION_FILE", L"4\t\"a\"\t\"b\"",
          L"5\t\"a\"\t\"b\"\r\n#VL_TRANSLATION_FILE"}) {
        EXPECT_EQ(std::nullopt, Parsed(header + L"\r\n5\t\"a\"\t\"b\"\r\n"s)) << header;
    }
}

TEST(TranslationHeader, CannotStandBehindAByteOrderMark)
{
    EXPECT_EQ(std::nullopt, Parsed(L"\xFEFF" + TranslationText({L"5\t\"a\"\t\"b\""})));
}

TEST(TranslationHeader, IsMissingFromATextWithoutLines)
{
    for (const std::wstring& text : {L""s, L"\r\n\r\n"s, L"\0"s, L"\0#VL_TRANSLATION_FILE"s}) {
        EXPECT_EQ(std::nullopt, Parsed(text));
    }
}

TEST(TranslationLine, MapsItsNumberToTheThirdFieldWithoutQuotationMarks)
{
    EXPECT_EQ((Translations{{5891, L"Windows l\u00E4uft im abgesicherten Modus"}}),
              ParsedLines({L"5891\t\"Windows is running in Safe Boot mode\"\t\"Windows l\u00E4uft im abgesicherten "
                           L"Modus\""}));
}

TEST(TranslationLine, MayEndInAnyRunOfCrAndLf)
{
    for (const wchar_t* end : {L"\n", L"\r", L"\r\n", L"\n\r", L"\r\n\r\n\n\n"}) {
        const std::wstring text = L"#VL_TRANSLATION_FILE"s + end + L"5\t\"a\"\t\"x\"" + end + L"6\t\"b\"\t\"y\"" + end;
        EXPECT_EQ((Translations{{5, L"x"}, {6, L"y"}}), Parsed(text));
    }
}

TEST(TranslationLine, MayBeTheLastWithoutALineEnd)
{
    EXPECT_EQ((Translations{{5, L"x"}}), Parsed(L"#VL_TRANSLATION_FILE\r\n5\t\"a\"\t\"x\""));
}

TEST(TranslationLine, TakesARunOfTabsForOne)
{
    EXPECT_EQ((Translations{{5, L"x"}}), ParsedLines({L"5\t\t\"a\"\t\"x\""}));
    EXPECT_EQ((Translations{{5, L"x"}}), ParsedLines({L"\t\t5\t\t\t\"a\"\t\t\"x\"\t\t"}));
}

TEST(TranslationLine, IsSkippedWithoutExactlyThreeFields)
{
    EXPECT_EQ((Translations{{6, L"y"}}),
              ParsedLines({L"5", L"5\t\"a\"", L"5\t\"a\"\t", L"5 \"a\" \"b\"", L"5\t\"a\"\t\"x\"\t\"z\"", L"\t",
                           L"text", L"\"a\"\t\"b\"", L"6\t\"b\"\t\"y\""}));
}

TEST(TranslationLine, IsSkippedWhereATextIsTooShortForItsQuotationMarks)
{
    EXPECT_EQ((Translations{{6, L"y"}}), ParsedLines({L"5\t\"a\"\t\"", L"5\t\"a\"\tx", L"5\t\"\t\"x\"", L"5\ta\t\"x\"",
                                                      L"5\t\"a\"\t\\\"", L"5\t\"a\"\tx\\", L"6\t\"b\"\t\"y\""}));
}

TEST(TranslationLine, IsAppendedInTheOrderOfTheFile)
{
    const std::wstring text = TranslationText({L"6\t\"b\"\t\"y\"", L"5\t\"a\"\t\"first\"", L"5\t\"a\"\t\"second\""});
    std::vector<TranslatedMessage> messages = {{4, L"\"w\""}};
    EXPECT_TRUE(ParseTranslations(text, messages));
    std::wstring found;
    for (const TranslatedMessage& message : messages) {
        found += std::to_wstring(message.number) + L' ' + Unquoted(message.field) + L'\n';
    }
    EXPECT_EQ(L"4 w\n6 y\n5 first\n5 second\n", found);
}

TEST(TranslationLine, LikeTheHeaderIsOneOfTooFewFields)
{
    EXPECT_EQ((Translations{{5, L"x"}}), ParsedLines({L"#VL_TRANSLATION_FILE", L"5\t\"a\"\t\"x\""}));
}

TEST(TranslationText, EndsAtItsFirstNul)
{
    const std::wstring text =
        TranslationText({L"5\t\"a\"\t\"x\""}) + L"6\t\"b\"\t\"y"s + L"\0"s + L"z\"\r\n"s + L"7\t\"c\"\t\"never\"\r\n"s;
    EXPECT_EQ((Translations{{5, L"x"}, {6, L""}}), Parsed(text));
    EXPECT_EQ((Translations{{5, L"x"}}), Parsed(TranslationText({L"5\t\"a\"\t\"x\""}) + L"\0"s + L"6\t\"b\"\t\"y\""));
}

TEST(TranslationNumber, IsItsLeadingDecimalDigits)
{
    EXPECT_EQ(5891U, NumberOf(L"5891"));
    EXPECT_EQ(7U, NumberOf(L"007"));
    EXPECT_EQ(12U, NumberOf(L"12abc"));
    EXPECT_EQ(12U, NumberOf(L"12.9"));
    EXPECT_EQ(12U, NumberOf(L" 12"));
    EXPECT_EQ(12U, NumberOf(L"+12"));
    EXPECT_EQ(12U, NumberOf(L"12 13"));
    EXPECT_EQ(999999999U, NumberOf(L"999999999"));
    EXPECT_EQ(1000000000U, NumberOf(L"1000000000"));
    EXPECT_EQ(5U, NumberOf(L"0000000000000005"));
    EXPECT_EQ(2147483647U, NumberOf(L"2147483647"));
}

TEST(TranslationNumber, IsZeroForGarbage)
{
    for (const wchar_t* field : {L"\u0665", L"\uFF15", L"0", L"abc", L"x5", L"\"5\"", L"-", L"0x10", L"--5", L"#5"}) {
        EXPECT_EQ(0U, NumberOf(field)) << field;
    }
}

TEST(TranslationNumber, WrapsBelowZero)
{
    EXPECT_EQ(4294967295U, NumberOf(L"-1"));
}

TEST(TranslationNumber, StopsAtTheGreatestAndTheLeastInteger)
{
    EXPECT_EQ(2147483647U, NumberOf(L"2147483648"));
    EXPECT_EQ(2147483647U, NumberOf(L"4294967301"));
    EXPECT_EQ(2147483647U, NumberOf(L"99999999999999999999999999"));
    EXPECT_EQ(2147483648U, NumberOf(L"-4294967301"));
}

TEST(TranslationField, LosesItsFirstAndLastCharacterWhateverTheyAre)
{
    EXPECT_EQ(L"text", Shown(L"\"text\""));
    EXPECT_EQ(L"text", Shown(L"xtexty"));
    EXPECT_EQ(L" text ", Shown(L"\" text \""));
    EXPECT_EQ(L"", Shown(L"\"\""));
    EXPECT_EQ(L"", Shown(L"ab"));
    EXPECT_EQ(L"\"", Shown(L"\"\"\""));
    EXPECT_EQ(L"a", Shown(L"\"a\""));
}

TEST(TranslationField, HasItsEscapesResolved)
{
    EXPECT_EQ(L"Hi\tthere", Shown(L"\"Hi\\tthere\""));
    EXPECT_EQ(L"a\nb", Shown(L"\"a\\nb\""));
    EXPECT_EQ(L"a\rb", Shown(L"\"a\\rb\""));
    EXPECT_EQ(L"a\vb", Shown(L"\"a\\vb\""));
    EXPECT_EQ(L"a\bb", Shown(L"\"a\\bb\""));
    EXPECT_EQ(L"a\fb", Shown(L"\"a\\fb\""));
    EXPECT_EQ(L"a\\b", Shown(L"\"a\\\\b\""));
    EXPECT_EQ(L"a\"b", Shown(L"\"a\\\"b\""));
}

TEST(TranslationField, HasABackslashBeforeAnyOtherCharacterDropped)
{
    EXPECT_EQ(L"aNb", Shown(L"\"a\\Nb\""));
    EXPECT_EQ(L"a0b", Shown(L"\"a\\0b\""));
    EXPECT_EQ(L"ax41", Shown(L"\"a\\x41\""));
    EXPECT_EQ(L"a%1", Shown(L"\"a\\%1\""));
}

TEST(TranslationField, IsUnescapedInOnePass)
{
    EXPECT_EQ(L"a\\nb", Shown(L"\"a\\\\nb\""));
    EXPECT_EQ(L"\\\\", Shown(L"\"\\\\\\\\\""));
    EXPECT_EQ(L"\t\n", Shown(L"\"\\t\\n\""));
}

TEST(TranslationField, HasABackslashAtTheVeryEndDroppedBeforeItsLastCharacter)
{
    EXPECT_EQ(L"text", Shown(L"\"textx\\"));
    EXPECT_EQ(L"tex", Shown(L"\"text\\"));
}

TEST(TranslationField, LosesAnEscapedCharacterThatStandsFirstOrLast)
{
    EXPECT_EQ(L"text", Shown(L"\\ttext\""));
    EXPECT_EQ(L"text", Shown(L"\"text\\\""));
}

TEST(TranslationField, KeepsEveryOtherCharacter)
{
    EXPECT_EQ(L"\u65E5\u672C\u8A9E \U0001F600 \x01\x7F\xFFFF",
              Shown(L"\"\u65E5\u672C\u8A9E \U0001F600 \x01\x7F\xFFFF\""));
}

// --- Reading ---

class ReadingTranslations : public ProductTest {
protected:
    // Reads and gives the result; what was read is in text.
    std::uint32_t Read(const std::wstring& path) { return ReadTranslationFile(path, text); }

    // The path of a new file.
    [[nodiscard]] std::wstring FileOfBytes(std::string_view bytes) const
    {
        folder.AddFile(L"a.tr", bytes);
        return folder.PathOf(L"a.tr");
    }
    [[nodiscard]] std::wstring FileOf(std::wstring_view content) const
    {
        folder.AddFile(L"a.tr", content);
        return folder.PathOf(L"a.tr");
    }

    ScratchFolder folder;
    std::wstring text;
};

TEST_F(ReadingTranslations, GivesTheFileUnitByUnit)
{
    const std::wstring content = L"\xFEFFline\r\n\0\u65E5\xD83D\r"s;
    EXPECT_EQ(0U, Read(FileOf(content)));
    EXPECT_EQ(content, text);
}

TEST_F(ReadingTranslations, GivesNothingOfAnEmptyFile)
{
    EXPECT_EQ(0U, Read(FileOfBytes("")));
    EXPECT_EQ(L"", text);
}

TEST_F(ReadingTranslations, IgnoresAnOddByteAtTheEnd)
{
    EXPECT_EQ(0U, Read(FileOfBytes({"a\0b\0c", 5})));
    EXPECT_EQ(L"ab", text);
    EXPECT_EQ(0U, Read(FileOfBytes("x")));
    EXPECT_EQ(L"", text);
}

TEST_F(ReadingTranslations, OpensTheFileForSharedReading)
{
    const std::wstring path = FileOf(L"text");
    std::wstring opened;
    const Replaced<"CreateFileW", decltype(::CreateFileW)> createFile(
        [&](LPCWSTR name, DWORD access, DWORD share, LPSECURITY_ATTRIBUTES security, DWORD disposition, DWORD flags,
            HANDLE pattern) {
            opened = name;
            EXPECT_EQ(0x80000000, access);
            EXPECT_EQ(1U, share);
            EXPECT_EQ(nullptr, security);
            EXPECT_EQ(3U, disposition);
            EXPECT_EQ(0x80U, flags);
            EXPECT_EQ(nullptr, pattern);
            return createFile.Original(name, access, share, security, disposition, flags, pattern);
        });
    EXPECT_EQ(0U, Read(path));
    EXPECT_EQ(path, opened);
    EXPECT_EQ(1, createFile.Calls());
}

TEST_F(ReadingTranslations, FailsForAFileThatCannotBeOpened)
{
    EXPECT_EQ(0x80004005, Read(folder.PathOf(L"missing.tr")));
    EXPECT_EQ(0x80004005, Read(folder.Path()));
    EXPECT_EQ(L"", text);
}

TEST_F(ReadingTranslations, ReadsChunksOf32768BytesUntilNoneIsLeft)
{
    const std::wstring content(40000, L'x');
    std::vector<DWORD> chunks;
    const Replaced<"ReadFile", decltype(::ReadFile)> readFile(
        [&](HANDLE file, LPVOID buffer, DWORD size, LPDWORD read, LPOVERLAPPED overlapped) {
            chunks.push_back(size);
            return readFile.Original(file, buffer, size, read, overlapped);
        });
    EXPECT_EQ(0U, Read(FileOf(content)));
    EXPECT_EQ(content, text);
    EXPECT_EQ(std::vector<DWORD>(4, 32768), chunks);
}

TEST_F(ReadingTranslations, PutsShortReadsOfAnyLengthTogether)
{
    const std::wstring content = L"#VL_TRANSLATION_FILE\r\n";
    for (const DWORD most : {1U, 3U, 7U}) {
        const Replaced<"ReadFile", decltype(::ReadFile)> readFile(
            [&](HANDLE file, LPVOID buffer, DWORD size, LPDWORD read, LPOVERLAPPED overlapped) {
                return readFile.Original(file, buffer, std::min(size, most), read, overlapped);
            });
        EXPECT_EQ(0U, Read(FileOf(content)));
        EXPECT_EQ(content, text) << most;
    }
}

TEST_F(ReadingTranslations, EndsWithTheErrorOfAReadThatFails)
{
    const std::wstring path = FileOf(std::wstring(40000, L'x'));
    for (const int failing : {1, 2, 3}) {
        const Replaced<"ReadFile", decltype(::ReadFile)> readFile(
            [&](HANDLE file, LPVOID buffer, DWORD size, LPDWORD read, LPOVERLAPPED overlapped) -> BOOL {
                if (readFile.Calls() < failing) {
                    return readFile.Original(file, buffer, size, read, overlapped);
                }
                SetLastError(ERROR_CRC);
                return FALSE;
            });
        EXPECT_EQ(23U, Read(path)) << failing;
        EXPECT_EQ(failing, readFile.Calls());
    }
}

TEST_F(ReadingTranslations, TakesAReadThatFailsWithoutAnErrorForTheEnd)
{
    const Replaced<"ReadFile", decltype(::ReadFile)> readFile(
        [&](HANDLE file, LPVOID buffer, DWORD size, LPDWORD read, LPOVERLAPPED overlapped) -> BOOL {
            const BOOL result = readFile.Original(file, buffer, size, read, overlapped);
            SetLastError(ERROR_SUCCESS);
            return readFile.Calls() == 1 ? result : FALSE;
        });
    EXPECT_EQ(0U, Read(FileOf(L"text")));
    EXPECT_EQ(L"text", text);
}

TEST_F(ReadingTranslations, DoesNotMistakeAnOlderErrorForOneOfReading)
{
    const std::wstring path = FileOf(L"text");
    // Opening a file may leave an error behind where it succeeds.
    const Replaced<"CreateFileW", decltype(::CreateFileW)> createFile([&](auto... arguments) {
        const HANDLE file = createFile.Original(arguments...);
        SetLastError(ERROR_ALREADY_EXISTS);
        return file;
    });
    EXPECT_EQ(0U, Read(path));
    EXPECT_EQ(L"text", text);
}

TEST_F(ReadingTranslations, ClosesTheFile)
{
    const std::wstring path = FileOf(L"text");
    EXPECT_EQ(0U, Read(path));
    EXPECT_NE(FALSE, DeleteFileW(path.c_str()));
}

TEST_F(ReadingTranslations, CopesWithTwentyMegabytes)
{
    constexpr std::uint32_t kMessages = 300000;
    std::wstring content = TranslationText({});
    for (std::uint32_t number = 1; number <= kMessages; ++number) {
        content += std::to_wstring(number) + L"\t\"english\"\t\"translation " + std::to_wstring(number) + L"\"\r\n";
    }
    ASSERT_GT(content.size() * sizeof(wchar_t), 20U * 1024 * 1024);
    ASSERT_EQ(0U, Read(FileOf(content)));
    ASSERT_EQ(content.size(), text.size());
    EXPECT_EQ(content, text);
    std::vector<TranslatedMessage> messages;
    ASSERT_TRUE(ParseTranslations(text, messages));
    ASSERT_EQ(kMessages, messages.size());
    EXPECT_EQ(1U, messages.front().number);
    EXPECT_EQ(L"translation 1", Unquoted(messages.front().field));
    EXPECT_EQ(kMessages, messages.back().number);
    EXPECT_EQ(L"translation 300000", Unquoted(messages.back().field));
}

TEST_F(ReadingTranslations, TakesAFileOf64MegabytesAndNoneThatIsLonger)
{
    constexpr std::uintmax_t kMost = 64 * 1024 * 1024;
    const std::wstring path = FileOf(L"");
    std::filesystem::resize_file(path, kMost);
    EXPECT_EQ(0U, Read(path));
    EXPECT_EQ(kMost / sizeof(wchar_t), text.size());
    std::filesystem::resize_file(path, kMost + 1);
    EXPECT_EQ(0x80004005, Read(path));
}

// A file that never ends, such as a device may be.
TEST_F(ReadingTranslations, StopsBehind64Megabytes)
{
    const std::wstring path = FileOf(L"text");
    std::uint64_t bytes = 0;
    const Replaced<"ReadFile", decltype(::ReadFile)> readFile(
        [&](HANDLE, LPVOID buffer, DWORD size, LPDWORD read, LPOVERLAPPED) {
            std::memset(buffer, 'x', size);
            *read = size;
            bytes += size;
            return TRUE;
        });
    EXPECT_EQ(0x80004005, Read(path));
    EXPECT_EQ(64U * 1024 * 1024 + 32768, bytes);
}

} // namespace
