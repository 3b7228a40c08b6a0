#include "messages/translator.h"

#include "support/failing_memory.h"
#include "support/installed_program.h"
#include "support/opened_keys.h"
#include "support/product_test.h"

#include <atomic>
#include <filesystem>
#include <optional>
#include <string>
#include <thread>
#include <vector>

namespace {

using namespace testing_support;

// --- Languages ---

struct ExpectedLanguage {
    LANGID id;
    std::wstring englishName;
    std::wstring nativeName;
};

const ExpectedLanguage kExpectedLanguages[] = {
    {1033, L"English", L"English"}, {1034, L"Spanish", L"Espa\u00F1ol"},        {1036, L"French", L"Fran\u00E7ais"},
    {1031, L"German", L"Deutsch"},  {1041, L"Japanese", L"\u65E5\u672C\u8A9E"}, {4, L"Chinese", L"\u4E2D\u6587"},
};

TEST(Languages, AreTheSixOfTheProduct)
{
    const std::vector<Language> languages = GetLanguages();
    ASSERT_EQ(std::size(kExpectedLanguages), languages.size());
    for (std::size_t i = 0; i < languages.size(); ++i) {
        EXPECT_EQ(kExpectedLanguages[i].id, languages[i].id);
        EXPECT_EQ(kExpectedLanguages[i].englishName, languages[i].englishName);
        EXPECT_EQ(kExpectedLanguages[i].nativeName, languages[i].nativeName);
    }
}

TEST(Languages, AreATableOfTheCallersOwn)
{
    std::vector<Language> languages = GetLanguages();
    languages.clear();
    EXPECT_EQ(6U, GetLanguages().size());
}

// --- Making a translator ---

class MakingATranslator : public ProductTest {
protected:
    // The text of message 5891 from a new translator.
    static std::wstring Text()
    {
        Translator translator;
        return translator.Find(5891, "Windows is running in Safe Boot mode");
    }

    static constexpr wchar_t kPlain[] = L"Windows is running in Safe Boot mode";
    static constexpr wchar_t kNumbered[] = L"(-5891-)Windows is running in Safe Boot mode";
};

TEST_F(MakingATranslator, ShowsNoNumbersWithoutKeyOrValue)
{
    EXPECT_EQ(kPlain, Text());
    RegistrySandbox::MakeKey(HKEY_LOCAL_MACHINE, kCoreProductKey);
    EXPECT_EQ(kPlain, Text());
}

TEST_F(MakingATranslator, ShowsNumbersForAnyNumberButZero)
{
    for (const std::uint32_t value : {1U, 2U, 0x80000000U, 0xFFFFFFFFU}) {
        RegistrySandbox::SetDword(HKEY_LOCAL_MACHINE, kCoreProductKey, L"IncludeTransId", value);
        EXPECT_EQ(kNumbered, Text()) << value;
    }
    RegistrySandbox::SetDword(HKEY_LOCAL_MACHINE, kCoreProductKey, L"IncludeTransId", 0);
    EXPECT_EQ(kPlain, Text());
}

TEST_F(MakingATranslator, TakesNoOtherTypeForANumber)
{
    const std::pair<DWORD, std::vector<BYTE>> values[] = {
        {REG_SZ, {'1', 0, 0, 0}},
        {REG_BINARY, {1, 0, 0, 0}},
        {REG_QWORD, {1, 0, 0, 0, 0, 0, 0, 0}},
        {REG_DWORD_BIG_ENDIAN, {0, 0, 0, 1}},
        {REG_NONE, {1, 0, 0, 0}},
        {REG_DWORD, {1, 0, 0, 0, 0}},
    };
    for (const auto& [type, data] : values) {
        RegistrySandbox::SetRaw(HKEY_LOCAL_MACHINE, kCoreProductKey, L"IncludeTransId", type, data);
        EXPECT_EQ(kPlain, Text()) << type;
    }
}

TEST_F(MakingATranslator, AsksTheCoreKeyOnly)
{
    RegistrySandbox::SetDword(HKEY_LOCAL_MACHINE, kConsoleProductKey, L"IncludeTransId", 1);
    RegistrySandbox::SetDword(HKEY_CURRENT_USER, kCoreProductKey, L"IncludeTransId", 1);
    EXPECT_EQ(kPlain, Text());
}

TEST_F(MakingATranslator, OpensTheKeyForReading)
{
    const OpenedKeys keys;
    EXPECT_EQ(kPlain, Text());
    EXPECT_EQ(std::vector<std::wstring>{L"Software\\Kestrane\\VLCore\\14.0"}, keys.Paths());
}

TEST_F(MakingATranslator, MakesALockThatSpinsTenTimes)
{
    DWORD spins = 0;
    const Replaced<"InitializeCriticalSectionAndSpinCount", decltype(::InitializeCriticalSectionAndSpinCount)>
        initialize([&](LPCRITICAL_SECTION section, DWORD count) {
            spins = count;
            return initialize.Original(section, count);
        });
    const Translator translator;
    EXPECT_EQ(10U, spins);
    EXPECT_EQ(1, initialize.Calls());
}

// --- Finding a text ---

class FindingAText : public ProductTest {
protected:
    FindingAText() { program.Translate(1031, L"German", {L"5\t\"english\"\t\"deutsch\"", L"6\t\"e\"\t\"\""}); }

    InstalledProgram program;
};

TEST_F(FindingAText, GivesTheEnglishOneUntilATranslationIsLoaded)
{
    Translator translator;
    EXPECT_EQ(L"english", translator.Find(5, "english"));
    ASSERT_EQ(0U, LoadTranslation(translator, 0));
    EXPECT_EQ(L"deutsch", translator.Find(5, "english"));
    EXPECT_EQ(L"another", translator.Find(7, "another"));
}

TEST_F(FindingAText, GivesATranslationThatIsEmpty)
{
    Translator translator;
    ASSERT_EQ(0U, LoadTranslation(translator, 0));
    EXPECT_EQ(L"", translator.Find(6, "english"));
}

TEST_F(FindingAText, PutsTheNumberBeforeEitherText)
{
    RegistrySandbox::SetDword(HKEY_LOCAL_MACHINE, kCoreProductKey, L"IncludeTransId", 1);
    Translator translator;
    ASSERT_EQ(0U, LoadTranslation(translator, 0));
    EXPECT_EQ(L"(-5-)deutsch", translator.Find(5, "english"));
    EXPECT_EQ(L"(-2224-)No drives specified for this operation.",
              translator.Find(2224, "No drives specified for this operation."));
    EXPECT_EQ(L"(-18-)    Usage :", translator.Find(18, "    Usage :"));
    EXPECT_EQ(L"(-0-)", translator.Find(0, ""));
}

TEST_F(FindingAText, ConvertsTheEnglishTextFromTheAnsiCodePageInTwoCalls)
{
    std::vector<int> sizes;
    const Replaced<"MultiByteToWideChar", decltype(::MultiByteToWideChar)> convert(
        [&](UINT codePage, DWORD flags, LPCCH text, int length, LPWSTR wide, int size) {
            EXPECT_EQ(0U, codePage);
            EXPECT_EQ(0U, flags);
            EXPECT_STREQ("english", text);
            EXPECT_EQ(-1, length);
            sizes.push_back(size);
            return convert.Original(codePage, flags, text, length, wide, size);
        });
    Translator translator;
    EXPECT_EQ(L"english", translator.Find(5, "english"));
    EXPECT_EQ((std::vector<int>{0, 8}), sizes);
}

TEST_F(FindingAText, GivesThePrefixAloneWhereTheEnglishTextCannotBeConverted)
{
    RegistrySandbox::SetDword(HKEY_LOCAL_MACHINE, kCoreProductKey, L"IncludeTransId", 1);
    Translator translator;
    const Replaced<"MultiByteToWideChar", decltype(::MultiByteToWideChar)> convert(
        [](UINT, DWORD, LPCCH, int, LPWSTR, int) { return 0; });
    EXPECT_EQ(L"(-5-)", translator.Find(5, "english"));
    EXPECT_EQ(1, convert.Calls());
}

TEST_F(FindingAText, GivesThePrefixAloneWhereThereIsNoMemoryForTheEnglishText)
{
    RegistrySandbox::SetDword(HKEY_LOCAL_MACHINE, kCoreProductKey, L"IncludeTransId", 1);
    Translator translator;
    std::optional<FailingMemory> memory;
    const Replaced<"MultiByteToWideChar", decltype(::MultiByteToWideChar)> convert(
        [&](UINT codePage, DWORD flags, LPCCH text, int length, LPWSTR wide, int size) {
            const int needed = convert.Original(codePage, flags, text, length, wide, size);
            memory.emplace(1);
            return needed;
        });
    const std::wstring text = translator.Find(5, "english");
    const bool failed = memory && memory->HasFailed();
    memory.reset();
    EXPECT_TRUE(failed);
    EXPECT_EQ(L"(-5-)", text);
    EXPECT_EQ(1, convert.Calls());
}

TEST_F(FindingAText, IsSafeWhileAnotherThreadLoads)
{
    Translator translator;
    std::atomic<bool> done = false;
    std::atomic<int> strange = 0;
    constexpr int kReaders = 4;
    std::vector<std::thread> readers;
    readers.reserve(kReaders);
    for (int i = 0; i < kReaders; ++i) {
        readers.emplace_back([&] {
            while (!done) {
                const std::wstring text = translator.Find(5, "english");
                strange += text != L"english" && text != L"deutsch" ? 1 : 0;
            }
        });
    }
    for (int i = 0; i < 20; ++i) {
        EXPECT_EQ(0U, LoadTranslation(translator, 0));
    }
    done = true;
    for (std::thread& reader : readers) {
        reader.join();
    }
    EXPECT_EQ(0, strange);
    EXPECT_EQ(L"deutsch", translator.Find(5, "english"));
}

TEST(ProcessTranslator, IsOne)
{
    EXPECT_EQ(&GetTranslator(), &GetTranslator());
}

// --- Loading ---

class LoadingATranslation : public ProductTest {
protected:
    LoadingATranslation()
    {
        for (const ExpectedLanguage& language : kExpectedLanguages) {
            AddFile(language.englishName, L"5\t\"english\"\t\"" + language.englishName + L" text\"");
        }
    }

    void AddFile(const std::wstring& name, const std::wstring& line) const
    {
        program.Folder().AddFile(name + L".tr", TranslationText({line}));
    }

    // Message 5 as the translator gives it.
    std::wstring Text() { return translator.Find(5, "english"); }

    InstalledProgram program;
    Translator translator;
};

TEST_F(LoadingATranslation, TakesEnglishWithoutAConfiguredLanguage)
{
    EXPECT_EQ(0U, LoadTranslation(translator, 0));
    EXPECT_EQ(L"English text", Text());
}

TEST_F(LoadingATranslation, TakesTheFileOfTheConfiguredLanguage)
{
    for (const ExpectedLanguage& language : kExpectedLanguages) {
        RegistrySandbox::SetDword(HKEY_LOCAL_MACHINE, kCoreProductKey, L"Language", language.id);
        EXPECT_EQ(0U, LoadTranslation(translator, 0));
        EXPECT_EQ(language.englishName + L" text", Text());
    }
}

TEST_F(LoadingATranslation, TakesTheLow16BitsOfTheLanguage)
{
    RegistrySandbox::SetDword(HKEY_LOCAL_MACHINE, kCoreProductKey, L"Language", 0xABCD0000 + 1031);
    EXPECT_EQ(0U, LoadTranslation(translator, 0));
    EXPECT_EQ(L"German text", Text());
}

TEST_F(LoadingATranslation, AsksTheKeyThatItIsTold)
{
    RegistrySandbox::SetDword(HKEY_LOCAL_MACHINE, L"Software\\Kestrane\\VLCore\\14.0", L"Language", 1031);
    RegistrySandbox::SetDword(HKEY_LOCAL_MACHINE, L"Software\\Kestrane\\VLConsole\\14.0", L"Language", 1036);
    const std::pair<int, std::wstring> cases[] = {
        {0, L"German text"}, {1, L"French text"}, {2, L"German text"}, {-1, L"German text"}};
    for (const auto& [which, text] : cases) {
        EXPECT_EQ(0U, LoadTranslation(translator, which));
        EXPECT_EQ(text, Text()) << which;
    }
}

TEST_F(LoadingATranslation, OpensTheKeyForReading)
{
    const OpenedKeys keys;
    EXPECT_EQ(0U, LoadTranslation(translator, 0));
    EXPECT_EQ(0U, LoadTranslation(translator, 1));
    EXPECT_EQ((std::vector<std::wstring>{L"Software\\Kestrane\\VLCore\\14.0", L"Software\\Kestrane\\VLConsole\\14.0"}),
              keys.Paths());
}

TEST_F(LoadingATranslation, KeepsTheLanguageThatItHadWhereNoneCanBeRead)
{
    RegistrySandbox::SetDword(HKEY_LOCAL_MACHINE, kCoreProductKey, L"Language", 1031);
    ASSERT_EQ(0U, LoadTranslation(translator, 0));
    AddFile(L"German", L"5\t\"english\"\t\"German again\"");
    // The console's key is missing.
    EXPECT_EQ(0U, LoadTranslation(translator, 1));
    EXPECT_EQ(L"German again", Text());
}

TEST_F(LoadingATranslation, TakesNoOtherTypeForALanguage)
{
    const std::pair<DWORD, std::vector<BYTE>> values[] = {
        {REG_SZ, {'1', 0, '0', 0, '3', 0, '1', 0, 0, 0}},
        {REG_BINARY, {0x07, 0x04, 0, 0}},
        {REG_QWORD, {0x07, 0x04, 0, 0, 0, 0, 0, 0}},
        {REG_DWORD, {0x07, 0x04, 0, 0, 0}},
    };
    for (const auto& [type, data] : values) {
        RegistrySandbox::SetRaw(HKEY_LOCAL_MACHINE, kCoreProductKey, L"Language", type, data);
        EXPECT_EQ(0U, LoadTranslation(translator, 0));
        EXPECT_EQ(L"English text", Text()) << type;
    }
}

TEST_F(LoadingATranslation, FailsForALanguageThatTheProductDoesNotSpeak)
{
    for (const std::uint32_t language : {0U, 9U, 1032U, 2055U, 1028U}) {
        RegistrySandbox::SetDword(HKEY_LOCAL_MACHINE, kCoreProductKey, L"Language", language);
        EXPECT_EQ(0x80004005, LoadTranslation(translator, 0)) << language;
    }
    EXPECT_EQ(L"english", Text());
}

TEST_F(LoadingATranslation, FailsWithoutAFile)
{
    EXPECT_NE(FALSE, DeleteFileW(program.Folder().PathOf(L"English.tr").c_str()));
    EXPECT_EQ(0x80004005, LoadTranslation(translator, 0));
    EXPECT_EQ(L"english", Text());
}

TEST_F(LoadingATranslation, FailsForAFileThatIsEmptyOrHasAnotherFirstLine)
{
    for (const wchar_t* text :
         {L"", L"\r\n", L"5\t\"english\"\t\"x\"", L"\xFEFF#VL_TRANSLATION_FILE\r\n5\t\"e\"\t\"x\"",
          L"#vl_translation_file\r\n5\t\"e\"\t\"x\""}) {
        program.Folder().AddFile(L"English.tr", text);
        EXPECT_EQ(0x80004005, LoadTranslation(translator, 0)) << text;
    }
    EXPECT_EQ(L"english", Text());
}

TEST_F(LoadingATranslation, SucceedsForAFileWithTheHeaderAlone)
{
    program.Folder().AddFile(L"English.tr", L"#VL_TRANSLATION_FILE");
    EXPECT_EQ(0U, LoadTranslation(translator, 0));
    EXPECT_EQ(L"english", Text());
}

TEST_F(LoadingATranslation, GivesTheErrorThatEndedTheReadingAndLoadsNothing)
{
    const Replaced<"ReadFile", decltype(::ReadFile)> readFile(
        [&](HANDLE file, LPVOID buffer, DWORD size, LPDWORD read, LPOVERLAPPED overlapped) -> BOOL {
            if (readFile.Calls() == 1) {
                return readFile.Original(file, buffer, size, read, overlapped);
            }
            SetLastError(ERROR_CRC);
            return FALSE;
        });
    EXPECT_EQ(23U, LoadTranslation(translator, 0));
    EXPECT_EQ(L"english", Text());
}

TEST_F(LoadingATranslation, LeavesTheTextsAsTheyWereForAFileThatIsTooLong)
{
    std::filesystem::resize_file(program.Folder().PathOf(L"English.tr"), 64 * 1024 * 1024 + 1);
    EXPECT_EQ(0x80004005, LoadTranslation(translator, 0));
    EXPECT_EQ(L"english", Text());
}

TEST_F(LoadingATranslation, LeavesTheTextsAsTheyWereWhereMemoryRunsOut)
{
    RegistrySandbox::SetDword(HKEY_LOCAL_MACHINE, kCoreProductKey, L"Language", 1036);
    ASSERT_EQ(0U, LoadTranslation(translator, 0));
    RegistrySandbox::SetDword(HKEY_LOCAL_MACHINE, kCoreProductKey, L"Language", 1031);
    int allocation = 1;
    for (bool hasThrown = true; hasThrown; ++allocation) {
        std::uint32_t result = 0;
        {
            const FailingMemory memory(allocation, FailingMemory::Afterwards::None);
            result = LoadTranslation(translator, 0);
            hasThrown = memory.HasThrown();
        }
        // Sorting can do without the memory that it asks for.
        EXPECT_EQ(hasThrown ? 0x8007000EU : 0U, result) << allocation;
        EXPECT_EQ(hasThrown ? L"French text" : L"German text", Text()) << allocation;
        ASSERT_LT(allocation, 1000);
    }
    EXPECT_GT(allocation, 5);
}

TEST_F(LoadingATranslation, TakesTheLastTextOfANumberInAnyOrderOfTheFile)
{
    program.Folder().AddFile(L"English.tr",
                             TranslationText({L"9\t\"e\"\t\"nine\"", L"5\t\"e\"\t\"first\"", L"7\t\"e\"\t\"seven\"",
                                              L"5\t\"e\"\t\"last\"", L"1\t\"e\"\t\"one\""}));
    EXPECT_EQ(0U, LoadTranslation(translator, 0));
    const std::pair<std::uint32_t, const wchar_t*> texts[] = {{0, L"english"}, {1, L"one"},     {4, L"english"},
                                                              {5, L"last"},    {6, L"english"}, {7, L"seven"},
                                                              {8, L"english"}, {9, L"nine"},    {10, L"english"}};
    for (const auto& [number, text] : texts) {
        EXPECT_EQ(text, translator.Find(number, "english")) << number;
    }
}

TEST_F(LoadingATranslation, AddsToWhatIsLoadedAndReplacesIt)
{
    AddFile(L"English", L"4\t\"e\"\t\"w\"\r\n5\t\"e\"\t\"old\"");
    ASSERT_EQ(0U, LoadTranslation(translator, 0));
    AddFile(L"English", L"5\t\"e\"\t\"new\"");
    EXPECT_EQ(0U, LoadTranslation(translator, 0));
    EXPECT_EQ(L"new", Text());
    EXPECT_EQ(L"w", translator.Find(4, "english"));
}

TEST_F(LoadingATranslation, DoesNotMistakeAnOlderErrorForItsOwn)
{
    SetLastError(ERROR_ACCESS_DENIED);
    EXPECT_EQ(0U, LoadTranslation(translator, 0));
    EXPECT_EQ(L"English text", Text());
}

TEST_F(LoadingATranslation, KeepsWhatAnEarlierOneLoaded)
{
    RegistrySandbox::SetDword(HKEY_LOCAL_MACHINE, kCoreProductKey, L"Language", 1031);
    ASSERT_EQ(0U, LoadTranslation(translator, 0));
    RegistrySandbox::SetDword(HKEY_LOCAL_MACHINE, kCoreProductKey, L"Language", 1032);
    EXPECT_EQ(0x80004005, LoadTranslation(translator, 0));
    EXPECT_EQ(L"German text", Text());
}

TEST_F(LoadingATranslation, KeepsOtherThreadsWaitingUntilItIsDone)
{
    std::atomic<bool> hasFound = false;
    bool foundWhileLoading = false;
    std::wstring found;
    std::thread other;
    const Replaced<"ReadFile", decltype(::ReadFile)> readFile(
        [&](HANDLE file, LPVOID buffer, DWORD size, LPDWORD read, LPOVERLAPPED overlapped) {
            if (!other.joinable()) {
                other = std::thread([&] {
                    found = Text();
                    hasFound = true;
                });
                Sleep(50);
                foundWhileLoading = hasFound;
            }
            return readFile.Original(file, buffer, size, read, overlapped);
        });
    EXPECT_EQ(0U, LoadTranslation(translator, 0));
    other.join();
    EXPECT_FALSE(foundWhileLoading);
    EXPECT_EQ(L"English text", found);
}

// Where the file is looked for, by the program's own path.
class TranslationPath : public LoadingATranslation {
protected:
    // The path that a program opens when it stands there; empty when it opens none.
    std::wstring OpenedFrom(const std::wstring& programPath)
    {
        program.MoveTo(programPath);
        std::wstring opened;
        const Replaced<"CreateFileW", decltype(::CreateFileW)> createFile([&](LPCWSTR path, auto...) {
            opened = path;
            SetLastError(ERROR_FILE_NOT_FOUND);
            return INVALID_HANDLE_VALUE;
        });
        EXPECT_EQ(0x80004005, LoadTranslation(translator, 0));
        return opened;
    }

    // A path of this length whose folder, "C:\ddd...\", is all but the last nine characters.
    static std::wstring PathOfLength(std::size_t length)
    {
        constexpr std::wstring_view kName = L"\\VLCmd.exe";
        return L"C:\\" + std::wstring(length - 3 - kName.size(), L'd') + std::wstring(kName);
    }
};

TEST_F(TranslationPath, IsTheProgramsFolder)
{
    EXPECT_EQ(L"C:\\Tools\\English.tr", OpenedFrom(L"C:\\Tools\\VLCmd.exe"));
    EXPECT_EQ(L"C:\\English.tr", OpenedFrom(L"C:\\VLCmd.exe"));
    EXPECT_EQ(L"C:\\Program Files\\a.b\\English.tr", OpenedFrom(L"C:\\Program Files\\a.b\\VLCmd"));
    EXPECT_EQ(L"\\\\server\\share\\tools\\English.tr", OpenedFrom(L"\\\\server\\share\\tools\\VLCmd.exe"));
}

TEST_F(TranslationPath, MayTake511CharactersOfProgramPath)
{
    const std::wstring path = PathOfLength(511);
    EXPECT_EQ(path.substr(0, path.size() - 9) + L"English.tr", OpenedFrom(path));
}

TEST_F(TranslationPath, IsNoneForAProgramPathThatIsLonger)
{
    EXPECT_EQ(L"", OpenedFrom(PathOfLength(512)));
    EXPECT_EQ(L"", OpenedFrom(PathOfLength(600)));
}

TEST_F(TranslationPath, IsNoneWhereWindowsDoesNotTellTheProgramPath)
{
    const Replaced<"GetModuleFileNameW", decltype(::GetModuleFileNameW)> moduleFileName(
        [](HMODULE module, LPWSTR, DWORD size) {
            EXPECT_EQ(nullptr, module);
            EXPECT_EQ(512U, size);
            return 0U;
        });
    EXPECT_EQ(0x80004005, LoadTranslation(translator, 0));
    EXPECT_EQ(1, moduleFileName.Calls());
    EXPECT_EQ(L"english", Text());
}

} // namespace
