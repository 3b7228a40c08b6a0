#include "cmd/dispatcher.h"

#include "cmd/console_control.h"
#include "engine/stop_event.h"
#include "support/arguments.h"
#include "support/installed_program.h"
#include "support/known_commands.h"
#include "support/product_test.h"

#include <string>
#include <vector>

namespace {

using namespace testing_support;

const std::wstring kBannerAndUsage = std::wstring(L"Velundra 14.0\n") + kUsageScreen;

class Dispatching : public EngineTest {
protected:
    static Result Dispatch(const Words& words)
    {
        CommandLine line = ParsedLine(words);
        return DispatchCommand(line);
    }

    bool refusesHandler = false;           // whether Windows refuses the console control handler, without an error
    std::wstring outputBeforeHandler;      // what had been printed when the handler was set
    std::vector<std::wstring> environment; // what was put into it

    Replaced<"SetConsoleCtrlHandler", decltype(::SetConsoleCtrlHandler)> setHandler{
        [this](PHANDLER_ROUTINE routine, BOOL add) {
            EXPECT_EQ(&ConsoleCtrlHandler, routine);
            EXPECT_EQ(TRUE, add);
            outputBeforeHandler = output.Text();
            SetLastError(ERROR_SUCCESS);
            return refusesHandler ? FALSE : TRUE;
        }};

private:
    Replaced<"_wputenv", decltype(::_wputenv)> putEnvironment_{[this](const wchar_t* text) {
        environment.emplace_back(text);
        return 0;
    }};
};

TEST_F(Dispatching, PrintsTheBannerAndThenSetsTheHandlerThatStays)
{
    EXPECT_EQ(0U, Dispatch({L"/?"}));
    EXPECT_EQ(L"Velundra 14.0\n", outputBeforeHandler);
    EXPECT_EQ(1, setHandler.Calls());
    EXPECT_EQ(nullptr, StopEvent);
}

TEST_F(Dispatching, ShowsTheUsageScreenForHelpNoCommandAndUnknownOnes)
{
    for (const Words& words : {Words{L"/?"}, Words{}, Words{L"/w"}, Words{L"/bogus"}, Words{L"C:", L"/st"},
                               Words{L"/?", L"/st"}, Words{L"\\\\SRV1"}}) {
        EXPECT_EQ(0U, Dispatch(words));
        EXPECT_EQ(kBannerAndUsage, output.Take());
    }
    EXPECT_TRUE(environment.empty());
    EXPECT_TRUE(engine.Activations().empty());
}

TEST_F(Dispatching, LoadsTheTranslationBeforeItPrints)
{
    const InstalledProgram program;
    program.Translate(
        1031, L"German",
        {L"2447\t\"Velundra 14.0\"\t\"Velundra 14.0 (deutsch)\"", L"2407\t\"VLCmd /?\"\t\"VLCmd /? (Hilfe)\""});
    RegistrySandbox::SetDword(HKEY_LOCAL_MACHINE, kConsoleProductKey, L"Language", 1036);
    EXPECT_EQ(0U, Dispatch({L"/?"}));
    const std::wstring shown = output.Text();
    EXPECT_TRUE(shown.starts_with(L"Velundra 14.0 (deutsch)\n    Usage :\n")) << shown;
    EXPECT_NE(std::wstring::npos, shown.find(L"13. Display help\nVLCmd /? (Hilfe)\n")) << shown;
}

TEST_F(Dispatching, StaysEnglishForALanguageThatTheProductDoesNotSpeak)
{
    RegistrySandbox::SetDword(HKEY_LOCAL_MACHINE, kCoreProductKey, L"Language", 2055);
    EXPECT_EQ(0U, Dispatch({}));
    EXPECT_EQ(kBannerAndUsage, output.Text());
}

TEST_F(Dispatching, EndsWhereTheHandlerIsRefusedWithoutAnError)
{
    refusesHandler = true;
    EXPECT_EQ(0U, Dispatch({L"/st"}));
    EXPECT_EQ(L"Velundra 14.0\nFailed to set control handler (0).\n", output.Text());
    EXPECT_EQ((std::vector<std::wstring>{L"ERRORLEVEL=0"}), environment);
    EXPECT_TRUE(engine.Activations().empty());
}

} // namespace
