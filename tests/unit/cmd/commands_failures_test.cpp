#include "cmd/dispatcher.h"

#include "support/arguments.h"
#include "support/known_commands.h"
#include "support/operation_test.h"

#include <algorithm>
#include <iterator>
#include <string>
#include <vector>

namespace {

using namespace testing_support;

// What can be seen of a command's run.
struct SeenRun {
    Result result = 0;
    std::wstring text;
    EngineCalls calls;
};

// A failure whose low 16 bits are not 0 and no result of the program's own.
const EngineFailure& TellingFailure()
{
    constexpr Result kTellingCode = 0xFFFE;
    return *std::find_if(std::begin(kEngineFailures), std::end(kEngineFailures),
                         [](const EngineFailure& failure) { return failure.code == kTellingCode; });
}

// Lets each engine call of a command fail in turn.
class FailingEngineCall : public OperationTest, public ::testing::WithParamInterface<const wchar_t*> {
protected:
    // Runs the command; with a failure, the call at this place fails with it.
    SeenRun RunCommand(std::size_t place = 0, const EngineFailure* failure = nullptr)
    {
        static_cast<void>(engine.TakeCalls());
        engine.FailCallAt(place, failure == nullptr ? S_OK : failure->failure);
        SeenRun run;
        run.result = DispatchCommand(TypedLine(GetParam()));
        run.text = output.Take();
        run.calls = engine.TakeCalls();
        return run;
    }

    // What a run looks like that differs from this one in the failure alone.
    static SeenRun WithFailure(SeenRun run, const EngineFailure& was, const EngineFailure& is)
    {
        if (run.result == was.code) {
            run.result = is.code;
        } else if (run.result == static_cast<Result>(was.failure)) {
            run.result = static_cast<Result>(is.failure);
        }
        const std::wstring text = was.errorText;
        const std::wstring other = is.errorText;
        for (std::size_t at = 0; (at = run.text.find(text, at)) != std::wstring::npos; at += other.size()) {
            run.text.replace(at, text.size(), other);
        }
        return run;
    }

private:
    Replaced<"SetConsoleCtrlHandler", decltype(::SetConsoleCtrlHandler)> setHandler_{
        [](PHANDLER_ROUTINE, BOOL) { return TRUE; }};
    Replaced<"_wputenv", decltype(::_wputenv)> putEnvironment_{[](const wchar_t*) { return 0; }};
    Replaced<"Sleep", decltype(::Sleep)> sleep_{[](DWORD) {}};
    Replaced<"CoSetProxyBlanket", decltype(::CoSetProxyBlanket)> blanket_{
        [](IUnknown*, DWORD, DWORD, OLECHAR*, DWORD, DWORD, RPC_AUTH_IDENTITY_HANDLE, DWORD) { return S_OK; }};
};

TEST_P(FailingEngineCall, StopsTheSameWhateverItsFailure)
{
    const std::size_t calls = RunCommand().calls.size();
    ASSERT_NE(0U, calls);
    for (std::size_t place = 0; place < calls; ++place) {
        const SeenRun told = RunCommand(place, &TellingFailure());
        for (const EngineFailure& failure : kEngineFailures) {
            if (failure.object != nullptr) {
                continue; // who has set it is another test's question
            }
            SCOPED_TRACE(::testing::Message()
                         << ::testing::PrintToString(told.calls.at(place)) << " fails with a failure " << failure.kind);
            const SeenRun expected = WithFailure(told, TellingFailure(), failure);
            const SeenRun run = RunCommand(place, &failure);
            EXPECT_EQ(expected.calls, run.calls);
            EXPECT_EQ(expected.text, run.text);
            EXPECT_EQ(expected.result, run.result);
        }
    }
}

// The commands that ask the engine something, and what some of them do in other ways.
std::vector<const wchar_t*> EngineCommands()
{
    std::vector<const wchar_t*> commands{L"/an C: /w",      L"/dol C: /w",        L"/of C: /all /w",
                                         L"/sb C: /all",    L"/sta C: /c SRV1",   L"/sto /alldrives",
                                         L"/cb /alldrives", L"/an /alldrives /w", L"/tw /alldrives"};
    for (const KnownCommand& command : kCommands) {
        if (AsksEngine(command)) {
            commands.push_back(command.words);
        }
    }
    return commands;
}

INSTANTIATE_TEST_SUITE_P(Of, FailingEngineCall, ::testing::ValuesIn(EngineCommands()), [](const auto& test) {
    std::string name;
    for (const wchar_t c : std::wstring(test.param)) {
        name += c >= L'0' && c <= L'z' && c != L':' && c != L'\\' ? static_cast<char>(c) : '_';
    }
    return name;
});

} // namespace
