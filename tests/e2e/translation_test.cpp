#include "engine_process.h"
#include "expected.h"
#include "registry_value.h"
#include "support/known_commands.h"

#include <gtest/gtest.h>

#include <string>

namespace {

using namespace e2e;

constexpr std::uint32_t kGerman = 1031;
constexpr std::uint32_t kJapanese = 1041;
constexpr wchar_t kHeader[] = L"#VL_TRANSLATION_FILE\r\n";

// What the tool says of a word that is no drive, untranslated; it needs no engine for that.
const std::vector<std::wstring> kWords = {L"/id", L"CD", L"5"};
const Outcome kEnglish = BannerAnd("CD is not a valid DriveName .\n", 87);

// UTF-16 output of the same command, redirected.
Outcome Says(std::wstring_view text)
{
    return {Redirected(InOutputPage(text)), 87};
}

// A copy of the tool in a folder of its own, where translation files can be laid beside it.
class Translation : public testing::Test {
protected:
    Translation() { std::filesystem::copy_file(ToolPath(), tool_); }

    [[nodiscard]] const testing_support::ScratchFolder& Folder() const { return folder_; }

    template <typename Data>
    void SetCoreValue(const wchar_t* name, const Data& data)
    {
        values_.Add(HKEY_LOCAL_MACHINE, kCoreKey, name, data);
    }

    [[nodiscard]] Outcome Run(const std::vector<std::wstring>& words) const { return Process(tool_, words).Wait(); }

    // What the tool says of a word that is no drive.
    [[nodiscard]] Outcome Run() const { return Run(kWords); }

private:
    testing_support::ScratchFolder folder_;
    std::filesystem::path tool_ = folder_.PathOf(L"VLCmd.exe");
    RegistryValues values_;
};

// --- The language ---

TEST_F(Translation, MayAlsoReplaceEnglishTexts)
{
    Folder().AddFile(L"English.tr", std::wstring(kHeader) + L"2447\t\"Velundra 14.0\"\t\"Velundra fourteen\"\r\n");
    EXPECT_EQ(Says(L"Velundra fourteen\nCD is not a valid DriveName .\n"), Run());
}

TEST_F(Translation, IsChosenByTheLanguage)
{
    struct {
        std::uint32_t language;
        const wchar_t* name;
    } const languages[] = {{1033, L"English"}, {1034, L"Spanish"},  {1036, L"French"},
                           {1031, L"German"},  {1041, L"Japanese"}, {4, L"Chinese"}};
    for (const auto& [language, name] : languages) {
        Folder().AddFile(std::wstring(name) + L".tr", kHeader + (L"2447\t\"\"\t\"" + std::wstring(name)) + L"\"\r\n");
    }
    for (const auto& [language, name] : languages) {
        SetCoreValue(L"Language", language);
        EXPECT_EQ(Says(std::wstring(name) + L"\nCD is not a valid DriveName .\n"), Run()) << Narrow(name);
    }
    // Of the value, the low 16 bits are the language.
    SetCoreValue(L"Language", 0x00010000 + kGerman);
    EXPECT_EQ(Says(L"German\nCD is not a valid DriveName .\n"), Run());
    // A value that is no number leaves the first language.
    SetCoreValue(L"Language", std::wstring(L"1031"));
    EXPECT_EQ(Says(L"English\nCD is not a valid DriveName .\n"), Run());
    // There is no file for any other language.
    SetCoreValue(L"Language", std::uint32_t{1035});
    EXPECT_EQ(kEnglish, Run());
}

TEST_F(Translation, IsNotChosenByTheLanguageOfTheConsole)
{
    const RegistryValue console(HKEY_LOCAL_MACHINE, kConsoleKey, L"Language", kGerman);
    Folder().AddFile(L"German.tr", std::wstring(kHeader) + L"2447\t\"\"\t\"Deutsch\"\r\n");
    EXPECT_EQ(kEnglish, Run());
}

TEST_F(Translation, PrintsWhatThePageHasAndLosesNothingAfterIt)
{
    SetCoreValue(L"Language", kGerman);
    Folder().AddFile(L"German.tr", std::wstring(kHeader) +
                                       L"2447\t\"\"\t\"Velundra – größer, schöner\"\r\n"
                                       L"284\t\"\"\t\"„%1“ ist kein gültiges Laufwerk \u2261 \u03A9.\"\r\n");
    EXPECT_EQ(Says(L"Velundra – größer, schöner\n„CD“ ist kein gültiges Laufwerk \u2261 \u03A9.\n"), Run());

    SetCoreValue(L"Language", kJapanese);
    Folder().AddFile(L"Japanese.tr",
                     std::wstring(kHeader) +
                         L"2447\t\"\"\t\"日本語のバナー\"\r\n284\t\"\"\t\"ドライブ %1 は無効です\"\r\n");
    EXPECT_EQ(Says(L"日本語のバナー\nドライブ CD は無効です\n"), Run());
}

TEST_F(Translation, ReplacesOneLineOfTheUsage)
{
    Folder().AddFile(L"English.tr", std::wstring(kHeader) + L"2407\t\"VLCmd /?\"\t\"VLCmd help\"\r\n");
    std::string screen = UsageScreen();
    const std::string line = "\nVLCmd /?\n";
    screen.replace(screen.find(line), line.size(), "\nVLCmd help\n");
    EXPECT_EQ(BannerAnd(screen), Run({L"/?"}));
}

TEST_F(Translation, IsNotReadForALineThatCannotBeRead)
{
    Folder().AddFile(L"English.tr", std::wstring(kHeader) + L"2447\t\"Velundra 14.0\"\t\"Velundra fourteen\"\r\n");
    EXPECT_EQ((Outcome{"", 13}), Run({L"/an", L"C:", L"/c"}));
}

TEST_F(Translation, JoinsTheTextsOfADriveStatusAsTheyAre)
{
    const EngineProcess engine("[drive C:\\]\nstate = 1\n[drive D:\\]\nstate = 8\n");
    Folder().AddFile(L"English.tr", std::wstring(kHeader) + L"1376\t\"\"\t\"[%1]\"\r\n"
                                                            L"2990\t\"\"\t\" is \"\r\n"
                                                            L"686\t\"\"\t\"busy\\nvery\"\r\n");
    EXPECT_EQ(BannerAnd("[C:\\] is busy\nvery\n[D:\\] is \n"), Run({L"/st"}));
}

// --- Placeholders and escapes ---

TEST_F(Translation, PutsArgumentsInTheirPlaces)
{
    Folder().AddFile(L"English.tr",
                     std::wstring(kHeader) + L"284\t\"\"\t\"%1%1 %2 %0 %x % %% 100% %01 %1a %11 %4294967297 %\"\r\n");
    EXPECT_EQ(BannerAnd("CDCD %2 %0 %x % %% 100% CD CDa %11 %4294967297 %\n", 87), Run());
}

TEST_F(Translation, MayExchangeArguments)
{
    const EngineProcess engine("[drive C:\\]\nfile = 5 %3 %2.txt\n");
    Folder().AddFile(L"English.tr", std::wstring(kHeader) + L"1708\t\"\"\t\"%3: %2 = %1\"\r\n");
    EXPECT_EQ(BannerAnd("C:: 5 = %3 %2.txt\n"), Run({L"/id", L"C:", L"5"}));
}

TEST_F(Translation, MayHoldEscapedCharacters)
{
    Folder().AddFile(L"English.tr", std::wstring(kHeader) +
                                        LR"(2447	""	"Hi\tthere\nnext\r\nlast\v\b\f|\\|\"|\q|\0")" +
                                        L"\r\n284\t\"\"\t\"%1\\\r\n");
    // The last one ends in a backslash, which is dropped; then the last character goes as if it were the quote.
    EXPECT_EQ((Outcome{"Hi\tthere\r\nnext\r\r\nlast\v\b\f|\\|\"|q|0\r\n%\r\n", 87}), Run());
}

// --- Files that are not as they should be ---

TEST_F(Translation, IsRejectedWithoutItsHeader)
{
    const std::wstring entry = L"2447\t\"Velundra 14.0\"\t\"Other\"\r\n";
    const std::pair<const char*, std::wstring> files[] = {
        {"empty", L""},
        {"only line ends", L"\r\n\r\n"},
        {"only the header", kHeader},
        {"only the header, without a line end", L"#VL_TRANSLATION_FILE"},
        {"no header", entry},
        {"byte-order mark", L"\uFEFF" + (kHeader + entry)},
        {"other byte order", L"\u2300\u5600" + (kHeader + entry)},
        {"other case", L"#vl_translation_file\r\n" + entry},
        {"blank behind the header", L"#VL_TRANSLATION_FILE \r\n" + entry},
        {"tab before the header", L"\t" + (kHeader + entry)},
        {"NUL before the header", std::wstring(1, L'\0') + (kHeader + entry)},
        {"NUL behind the header", L"#VL_TRANSLATION_FILE" + std::wstring(1, L'\0') + (L"\r\n" + entry)},
    };
    for (const auto& [name, content] : files) {
        Folder().AddFile(L"English.tr", content);
        EXPECT_EQ(kEnglish, Run()) << name;
    }
    // The same text in single bytes.
    Folder().AddFile(L"English.tr", Narrow(kHeader + entry));
    EXPECT_EQ(kEnglish, Run());
    Folder().AddFile(L"English.tr", std::string_view("#"));
    EXPECT_EQ(kEnglish, Run());
}

TEST_F(Translation, IsReadWhateverItsLineEnds)
{
    for (const wchar_t* const end : {L"\r\n", L"\n", L"\r", L"\n\n\r\r\n"}) {
        Folder().AddFile(L"English.tr", std::wstring(end) + L"#VL_TRANSLATION_FILE" + end + L"2447\t\"\"\t\"Banner\"" +
                                            end + L"284\t\"\"\t\"No %1\"");
        EXPECT_EQ(Says(L"Banner\nNo CD\n"), Run()) << testing::PrintToString(Narrow(end));
    }
}

TEST_F(Translation, PassesOverLinesThatAreNoEntries)
{
    Folder().AddFile(L"English.tr", std::wstring(kHeader) + L"2447\r\n"
                                                            L"2447\t\"two fields\"\r\n"
                                                            L"2447\t\t\"two fields\"\t\r\n"
                                                            L"2447\t\"\"\t\"four fields\"\t\"\"\r\n"
                                                            L"2447\t\"\"\tx\r\n"
                                                            L"2447\tx\t\"one character in field two\"\r\n"
                                                            L"2447\t\"\"\t\\\r\n"
                                                            L"\t\t\t\r\n"
                                                            L"number\t\"\"\t\"none\"\r\n"
                                                            L"99999999999999999999\t\"\"\t\"too great\"\r\n"
                                                            L"-99999999999999999999\t\"\"\t\"too small\"\r\n"
                                                            L"284\t\"\"\t\"No %1\"\r\n");
    EXPECT_EQ(Says(L"Velundra 14.0\nNo CD\n"), Run());
}

TEST_F(Translation, TakesEntriesInLooseForm)
{
    Folder().AddFile(L"English.tr", std::wstring(kHeader) + L"2447\t\"\"\t\"First\"\r\n"
                                                            L"\t 2447th\t\t\"\"\t\t(Last)\t\r\n"
                                                            L"284\txx\t\"\"\r\n");
    EXPECT_EQ(Says(L"Last\n\n"), Run());
}

TEST_F(Translation, EndsAtANulAndBeforeAnOddByte)
{
    const std::wstring entry = L"2447\t\"\"\t\"Banner\"\r\n";
    const std::wstring other = L"284\t\"\"\t\"No %1\"";
    Folder().AddFile(L"English.tr", kHeader + entry + std::wstring(1, L'\0') + other + L"\r\n");
    EXPECT_EQ(Says(L"Banner\nCD is not a valid DriveName .\n"), Run());

    const std::wstring text = kHeader + entry + other;
    std::string bytes(reinterpret_cast<const char*>(text.data()), text.size() * sizeof(wchar_t));
    bytes.push_back('x');
    Folder().AddFile(L"English.tr", bytes);
    EXPECT_EQ(Says(L"Banner\nNo CD\n"), Run());
}

TEST_F(Translation, MayBeHuge)
{
    // Twenty megabytes, of which the last entry counts.
    constexpr std::size_t kCharacters = std::size_t{10} * 1024 * 1024;
    std::wstring text = kHeader;
    text.reserve(kCharacters + 256);
    for (int number = 100000; text.size() < kCharacters; ++number) {
        text += std::to_wstring(number) + L"\t\"english\"\t\"" + std::wstring(200, L'x') + L"\"\r\n";
    }
    text += L"2447\t\"\"\t\"Banner\"\r\n";
    Folder().AddFile(L"English.tr", text);
    EXPECT_EQ(Says(L"Banner\nCD is not a valid DriveName .\n"), Run());
}

TEST_F(Translation, MayHoldAHugeText)
{
    const std::wstring banner(300000, L'x');
    Folder().AddFile(L"English.tr", kHeader + (L"2447\t\"\"\t\"" + banner) + L"\"\r\n");
    EXPECT_EQ(Says(banner + L"\nCD is not a valid DriveName .\n"), Run());
}

TEST_F(Translation, IsDoneWithoutWhenItCannotBeOpened)
{
    std::filesystem::create_directory(Folder().PathOf(L"English.tr"));
    EXPECT_EQ(kEnglish, Run());

    SetCoreValue(L"Language", kGerman);
    Folder().AddFile(L"German.tr", std::wstring(kHeader) + L"2447\t\"\"\t\"Deutsch\"\r\n");
    const std::wstring path = Folder().PathOf(L"German.tr");
    {
        const win::FileHandle locked(
            CreateFileW(path.c_str(), GENERIC_READ, 0, nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
        ASSERT_TRUE(locked);
        EXPECT_EQ(kEnglish, Run());
    }
    EXPECT_EQ(Says(L"Deutsch\nCD is not a valid DriveName .\n"), Run());
}

// --- Numbers before the texts ---

TEST_F(Translation, MayShowTheNumbersOfTheMessages)
{
    SetCoreValue(L"IncludeTransId", std::uint32_t{1});
    EXPECT_EQ((Outcome{Redirected("(-2447-)Velundra 14.0\n" + Narrow(testing_support::kNumberedUsageScreen)), 0}),
              Run({L"/?"}));
    EXPECT_EQ((Outcome{"(-2447-)Velundra 14.0\r\n(-284-)CD is not a valid DriveName .\r\n", 87}), Run());
    EXPECT_EQ((Outcome{"", 13}), Run({L"/c"}));
}

TEST_F(Translation, ShowsTheNumbersBeforeEachPartOfAStatusLine)
{
    SetCoreValue(L"IncludeTransId", std::uint32_t{1});
    const EngineProcess engine("[drive C:\\]\n");
    EXPECT_EQ((Outcome{"(-2447-)Velundra 14.0\r\n(-1376-)Drive name: C:\\(-2990-)Status: (-1934-)Idle\r\n", 0}),
              Run({L"/st"}));
}

TEST_F(Translation, ShowsTheNumbersBeforeTranslatedTexts)
{
    SetCoreValue(L"IncludeTransId", std::uint32_t{1});
    Folder().AddFile(L"English.tr", std::wstring(kHeader) + L"2447\t\"\"\t\" Banner\"\r\n");
    EXPECT_EQ((Outcome{"(-2447-) Banner\r\n(-284-)CD is not a valid DriveName .\r\n", 87}), Run());
}

TEST_F(Translation, ShowsTheNumbersForAnyNumberButZero)
{
    const Outcome numbered{"(-2447-)Velundra 14.0\r\n(-284-)CD is not a valid DriveName .\r\n", 87};
    SetCoreValue(L"IncludeTransId", std::uint32_t{0});
    EXPECT_EQ(kEnglish, Run());
    SetCoreValue(L"IncludeTransId", std::uint32_t{2});
    EXPECT_EQ(numbered, Run());
    SetCoreValue(L"IncludeTransId", std::uint32_t{0xFFFFFFFF});
    EXPECT_EQ(numbered, Run());
    SetCoreValue(L"IncludeTransId", std::wstring(L"1"));
    EXPECT_EQ(kEnglish, Run());
}

} // namespace
