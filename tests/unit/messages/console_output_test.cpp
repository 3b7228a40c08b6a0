#include "messages/console_output.h"

#include "support/product_test.h"
#include "support/standard_output.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <initializer_list>
#include <optional>
#include <string>
#include <thread>
#include <vector>

namespace {

using namespace testing_support;
using ::testing::AnyOf;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr wchar_t kGerman[] = L"Gr\u00F6\u00DFe \u00E4\u00FC";
constexpr wchar_t kJapanese[] = L"\u65E5\u672C\u8A9E";

// What a redirected output of a code page gets for a line.
std::string Encoded(UINT codePage, std::wstring_view text)
{
    StandardOutput out = StandardOutput::Redirected(codePage);
    const ConsoleOutput output;
    PrintLine(text);
    PrintLine(L"next");
    EXPECT_EQ(2U, out.writes.size());
    EXPECT_EQ("next\r\n", out.writes.back());
    return out.writes.front();
}

class PrintingToAFile : public ::testing::Test {
protected:
    StandardOutput out = StandardOutput::Redirected(CP_UTF8);
    std::optional<ConsoleOutput> output{std::in_place};
};

class PrintingToAConsole : public ::testing::Test {
protected:
    StandardOutput out = StandardOutput::Console();
    ConsoleOutput output;
};

TEST_F(PrintingToAFile, WritesALineWithItsEndInOneWrite)
{
    PrintLine(L"first");
    PrintLine(L"");
    PrintLine(L"third");
    EXPECT_THAT(out.writes, ElementsAre("first\r\n", "\r\n", "third\r\n"));
}

TEST_F(PrintingToAFile, WritesATextWithoutALineEndAtOnce)
{
    PrintText(L"no end");
    EXPECT_THAT(out.writes, ElementsAre("no end"));
    PrintText(L"");
    EXPECT_THAT(out.writes, ElementsAre("no end"));
}

TEST_F(PrintingToAFile, MakesCrLfOfALineFeedAsACTextStreamDoes)
{
    PrintText(L"a\nb\r\nc\n\n");
    EXPECT_THAT(out.writes, ElementsAre("a\r\nb\r\r\nc\r\n\r\n"));
}

TEST_F(PrintingToAFile, KeepsEveryOtherControlCharacter)
{
    PrintText(std::wstring_view(L"\ta\r\v\f\b\0b", 8));
    EXPECT_EQ(std::string("\ta\r\v\f\b\0b", 8), out.Bytes());
}

TEST_F(PrintingToAFile, ResolvesTheArgumentsOfAMessage)
{
    CatalogueText text{L"Failed to set control handler (%1)."};
    AddNumberArgument(text, 5);
    PrintLine(text);
    PrintMessage({9999, "%2 and %1"}, {L"a", L"b"});
    EXPECT_THAT(out.writes, ElementsAre("Failed to set control handler (5).\r\n", "b and a\r\n"));
}

TEST_F(PrintingToAFile, GoesOnWhereAWriteTookOnlyAPart)
{
    out.taking = [](std::size_t offered) { return std::min<std::size_t>(offered, 3); };
    PrintLine(L"12345678");
    EXPECT_THAT(out.writes, ElementsAre("123", "456", "78\r", "\n"));
}

TEST_F(PrintingToAFile, WritesNothingMoreBehindALineThatWasRefused)
{
    PrintLine(L"written");
    out.taking = [](std::size_t) {
        SetLastError(ERROR_DISK_FULL);
        return std::nullopt;
    };
    PrintLine(L"refused");
    EXPECT_EQ(2, out.Tries());
    EXPECT_EQ(112U, output->Error());
    out.taking = [](std::size_t offered) { return offered; };
    PrintLine(L"too late");
    PrintText(L"too late");
    EXPECT_THAT(out.writes, ElementsAre("written\r\n"));
    EXPECT_EQ(2, out.Tries());
}

TEST_F(PrintingToAFile, TellsStandardErrorOnceThatALineWasRefused)
{
    out.taking = [](std::size_t) {
        SetLastError(ERROR_DISK_FULL);
        return std::nullopt;
    };
    PrintLine(L"refused");
    PrintLine(L"too late");
    EXPECT_THAT(out.errors, ElementsAre("VLCmd: standard output cannot be written (Windows error 112).\r\n"));
}

TEST_F(PrintingToAFile, TakesForRefusedWhatNothingIsTakenOf)
{
    out.taking = [](std::size_t) { return 0U; };
    PrintLine(L"refused");
    EXPECT_EQ(1, out.Tries());
    EXPECT_EQ(static_cast<DWORD>(ERROR_WRITE_FAULT), output->Error());
    EXPECT_EQ(1U, out.errors.size());
}

TEST_F(PrintingToAFile, TakesForRefusedWhatOnlyItsBeginningIsTakenOf)
{
    out.taking = [this](std::size_t) -> std::optional<std::size_t> {
        SetLastError(ERROR_DISK_FULL);
        return out.writes.empty() ? std::optional<std::size_t>(3) : std::nullopt;
    };
    PrintLine(L"12345678");
    EXPECT_THAT(out.writes, ElementsAre("123"));
    EXPECT_EQ(112U, output->Error());
}

TEST_F(PrintingToAFile, IsNoFailureWhereNobodyReads)
{
    for (const DWORD error : std::initializer_list<DWORD>{ERROR_BROKEN_PIPE, ERROR_NO_DATA, ERROR_PIPE_NOT_CONNECTED,
                                                          ERROR_INVALID_HANDLE}) {
        output.reset();
        output.emplace();
        out.taking = [error](std::size_t) {
            SetLastError(error);
            return std::nullopt;
        };
        const int before = out.Tries();
        PrintLine(L"lost");
        PrintLine(L"lost");
        EXPECT_EQ(1, out.Tries() - before);
        EXPECT_EQ(0U, output->Error());
    }
    EXPECT_THAT(out.errors, IsEmpty());
}

TEST_F(PrintingToAFile, WritesALongLineWhole)
{
    const std::wstring text(100000, L'x');
    PrintLine(text);
    EXPECT_THAT(out.writes, ElementsAre(std::string(100000, 'x') + "\r\n"));
}

TEST_F(PrintingToAFile, KeepsTheLinesOfManyThreadsWhole)
{
    constexpr int kThreads = 8;
    constexpr int kLines = 100;
    std::vector<std::thread> threads;
    std::vector<std::string> expected;
    for (int i = 0; i < kThreads; ++i) {
        const std::wstring text(static_cast<std::size_t>(10 + i), static_cast<wchar_t>(L'a' + i));
        expected.insert(expected.end(), kLines, std::string(text.begin(), text.end()) + "\r\n");
        threads.emplace_back([text] {
            for (int line = 0; line < kLines; ++line) {
                PrintLine(text);
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_THAT(out.writes, ::testing::UnorderedElementsAreArray(expected));
}

// The outputs of objects that live at the same time.
TEST_F(PrintingToAFile, GoesToTheOutputThatWasMadeLastAndThenToTheOneBefore)
{
    {
        StandardOutput inner = StandardOutput::Redirected(CP_UTF8);
        const ConsoleOutput another;
        PrintLine(L"inner");
        EXPECT_THAT(inner.writes, ElementsAre("inner\r\n"));
    }
    PrintLine(L"outer");
    EXPECT_THAT(out.writes, ElementsAre("outer\r\n"));
    output.reset();
    PrintLine(L"nowhere");
    EXPECT_THAT(out.writes, ElementsAre("outer\r\n"));
}

TEST(PrintingNowhere, IsNoFailureWithoutAStandardOutput)
{
    for (const HANDLE missing : {HANDLE{nullptr}, INVALID_HANDLE_VALUE}) {
        StandardOutput out = StandardOutput::Redirected(CP_UTF8);
        const Replaced<"GetStdHandle", decltype(::GetStdHandle)> getHandle([missing](DWORD) { return missing; });
        const ConsoleOutput output;
        PrintLine(L"lost");
        PrintText(L"lost");
        EXPECT_EQ(0U, output.Error());
        EXPECT_EQ(0, out.Tries());
        EXPECT_THAT(out.errors, IsEmpty());
    }
}

// --- Code pages ---

TEST(RedirectedText, IsEncodedInTheConsolesCodePage)
{
    EXPECT_EQ("Gr\x94\xE1"
              "e \x84\x81\r\n",
              Encoded(437, kGerman));
    EXPECT_EQ("Gr\x94\xE1"
              "e \x84\x81\r\n",
              Encoded(850, kGerman));
    EXPECT_EQ("Gr\xF6\xDF"
              "e \xE4\xFC\r\n",
              Encoded(1252, kGerman));
    EXPECT_EQ("Gr\xC3\xB6\xC3\x9F"
              "e \xC3\xA4\xC3\xBC\r\n",
              Encoded(CP_UTF8, kGerman));
    EXPECT_EQ("\x93\xFA\x96\x7B\x8C\xEA\r\n", Encoded(932, kJapanese));
    EXPECT_EQ("\xE6\x97\xA5\xE6\x9C\xAC\xE8\xAA\x9E\r\n", Encoded(CP_UTF8, kJapanese));
    EXPECT_EQ("\xF0\x9F\x98\x80\r\n", Encoded(CP_UTF8, L"\U0001F600"));
}

TEST(RedirectedText, HasAQuestionMarkForACharacterThatThePageLacks)
{
    for (const UINT codePage : {437U, 850U, 1252U}) {
        EXPECT_EQ("???\r\n", Encoded(codePage, kJapanese)) << codePage;
        EXPECT_EQ("a?b\r\n", Encoded(codePage, L"a\u65E5"
                                               L"b"))
            << codePage;
    }
    EXPECT_EQ("??\r\n", Encoded(1252, L"\U0001F600"));
}

TEST(RedirectedText, HasTheBestFitOrAQuestionMarkForALetterThatThePageLacks)
{
    const std::string line = Encoded(932, kGerman);
    ASSERT_EQ(10U, line.size());
    EXPECT_THAT(line.substr(2, 1), AnyOf("o", "?"));
    EXPECT_THAT(line.substr(3, 1), AnyOf("s", "?"));
    EXPECT_THAT(line.substr(6, 1), AnyOf("a", "?"));
    EXPECT_THAT(line.substr(7, 1), AnyOf("u", "?"));
    EXPECT_EQ("Gr", line.substr(0, 2));
    EXPECT_EQ("e ", line.substr(4, 2));
    EXPECT_EQ("\r\n", line.substr(8));
}

TEST(RedirectedText, IsNotLostBehindHalfASurrogatePair)
{
    EXPECT_EQ("a\xEF\xBF\xBD"
              "b\r\n",
              Encoded(CP_UTF8, L"a\xD83D"
                               L"b"));
    EXPECT_EQ("a?b\r\n", Encoded(1252, L"a\xDE00"
                                       L"b"));
}

TEST(RedirectedText, KeepsItsAsciiCharactersWhereWindowsCannotEncodeIt)
{
    for (const int lastCallThatWorks : {0, 1}) {
        const Replaced<"WideCharToMultiByte", decltype(::WideCharToMultiByte)> encode(
            [&](UINT codePage, DWORD flags, LPCWCH text, int length, LPSTR bytes, int size, LPCCH lacking,
                LPBOOL lacks) {
                return encode.Calls() > lastCallThatWorks
                           ? 0
                           : encode.Original(codePage, flags, text, length, bytes, size, lacking, lacks);
            });
        EXPECT_EQ("Gr??e ??\r\n", Encoded(CP_UTF8, kGerman));
    }
}

TEST(RedirectedText, IsEncodedInTheAnsiCodePageWithoutAConsole)
{
    std::vector<UINT> codePages;
    const Replaced<"WideCharToMultiByte", decltype(::WideCharToMultiByte)> encode(
        [&](UINT codePage, auto... arguments) {
            codePages.push_back(codePage);
            return encode.Original(codePage, arguments...);
        });
    EXPECT_EQ("plain\r\n", Encoded(0, L"plain"));
    EXPECT_THAT(codePages, ::testing::Each(UINT{CP_ACP}));
    EXPECT_FALSE(codePages.empty());
}

// --- Consoles ---

TEST_F(PrintingToAConsole, WritesUtf16LineByLine)
{
    PrintLine(kGerman);
    PrintLine(kJapanese);
    PrintLine(L"\U0001F600");
    PrintText(L"a\nb");
    EXPECT_THAT(out.consoleWrites, ElementsAre(L"Gr\u00F6\u00DFe \u00E4\u00FC\r\n", L"\u65E5\u672C\u8A9E\r\n",
                                               L"\U0001F600\r\n", L"a\r\nb"));
    EXPECT_THAT(out.writes, IsEmpty());
}

TEST_F(PrintingToAConsole, CutsALongTextIntoPiecesThatEveryConsoleTakes)
{
    const std::wstring text(100000, L'x');
    PrintLine(text);
    EXPECT_EQ(text + L"\r\n", out.ConsoleText());
    for (const std::wstring& piece : out.consoleWrites) {
        // A console of older Windows has 64 KB for a call and all that goes with it.
        EXPECT_LT(piece.size() * sizeof(wchar_t), 48U * 1024);
    }
}

TEST_F(PrintingToAConsole, CutsNoSurrogatePairInTwo)
{
    for (const wchar_t* before : {L"", L"x"}) {
        out.consoleWrites.clear();
        std::wstring text = before;
        for (int i = 0; i < 30000; ++i) {
            text += L"\U0001F600";
        }
        PrintText(text);
        EXPECT_EQ(text, out.ConsoleText());
        EXPECT_GT(out.consoleWrites.size(), 1U);
        for (const std::wstring& piece : out.consoleWrites) {
            EXPECT_FALSE(IS_HIGH_SURROGATE(piece.back()));
        }
    }
}

TEST_F(PrintingToAConsole, GoesOnWhereAWriteTookOnlyAPart)
{
    out.taking = [](std::size_t offered) { return std::min<std::size_t>(offered, 4); };
    PrintLine(L"12345678");
    EXPECT_THAT(out.consoleWrites, ElementsAre(L"1234", L"5678", L"\r\n"));
}

TEST_F(PrintingToAConsole, WritesNothingMoreBehindALineThatWasRefused)
{
    out.taking = [](std::size_t) {
        SetLastError(ERROR_GEN_FAILURE);
        return std::nullopt;
    };
    PrintLine(L"refused");
    out.taking = [](std::size_t offered) { return offered; };
    PrintLine(L"too late");
    EXPECT_EQ(1, out.Tries());
    EXPECT_EQ(31U, output.Error());
    EXPECT_THAT(out.consoleWrites, IsEmpty());
    EXPECT_THAT(out.errors, ElementsAre("VLCmd: standard output cannot be written (Windows error 31).\r\n"));
}

TEST_F(PrintingToAConsole, ShowsThePicturesOfControlCharacters)
{
    for (wchar_t c = 0; c < L' '; ++c) {
        out.consoleWrites.clear();
        PrintText({&c, 1});
        const std::wstring expected = c == L'\t' ? L"\t" : c == L'\n' ? L"\r\n" : std::wstring(1, L'\u2400' + c);
        EXPECT_EQ(expected, out.ConsoleText()) << static_cast<int>(c);
    }
    out.consoleWrites.clear();
    PrintLine(L"C:\x1B[2J\a\x7F \x80\x85\x9B"
              L"31m\x9F\xA0~");
    EXPECT_EQ(L"C:\u241B[2J\u2407\u2421 \u241B@\u241BE\u241B[31m\u241B_\xA0~\r\n", out.ConsoleText());
}

TEST_F(PrintingToAConsole, KeepsACarriageReturnBeforeALineFeedAlone)
{
    PrintText(L"a\r\nb\rc\r\r\n\r");
    EXPECT_EQ(L"a\r\r\nb\u240Dc\u240D\r\r\n\u240D", out.ConsoleText());
}

} // namespace
