#include "stats/statistics.h"

#include "support/failing_memory.h"
#include "support/installed_program.h"
#include "support/numbered_messages.h"
#include "support/plain_dates.h"
#include "support/product_test.h"

#include <new>
#include <string>
#include <vector>

namespace {

using namespace testing_support;

constexpr auto kFailure = static_cast<HRESULT>(0x80041234);

const std::wstring kComputer = L"Remote Computer:   SRV1\n";
const std::wstring kReport = L"Drive   :   C:\n"
                             L"Date    :   5.11.2026 18:45:0\n"
                             L"\t\t\t\tBefore\tAfter\n"
                             L"File Fragmentation\t\t13%\t2%\n"
                             L"Free Space Fragmentation\t7%\t8%\n"
                             L"Performance\t\t\t60%\t100%\n";
const std::wstring kFailed = L"Error occurred while getting statistics.\n\n";

// What the engine is asked for a drive that has a point.
EngineCalls CallsFor(const std::wstring& drive)
{
    return {L"agent.GetStatistics(" + drive + L", 1)",
            L"statistics.GetInteger(/, NumStatPoints)",
            L"statistics.GetDouble(/Fragmented/1, Date)",
            L"statistics.GetDouble(/Fragmented/1, Before)",
            L"statistics.GetDouble(/Fragmented/1, After)",
            L"statistics.GetDouble(/FreeSpaceFragmentation/1, Before)",
            L"statistics.GetDouble(/FreeSpaceFragmentation/1, After)",
            L"statistics.GetDouble(/Performance/1, Before)",
            L"statistics.GetDouble(/Performance/1, After)"};
}

class RemoteStatistics : public EngineTest {
protected:
    RemoteStatistics()
    {
        engine.figures[L"C:"] = {{L"/ NumStatPoints", 1},
                                 {L"/Fragmented/1 Date", 46331.78125},
                                 {L"/Fragmented/1 Before", 12.5},
                                 {L"/Fragmented/1 After", 2.4},
                                 {L"/FreeSpaceFragmentation/1 Before", 7.45},
                                 {L"/FreeSpaceFragmentation/1 After", 7.5},
                                 {L"/Performance/1 Before", 60.0},
                                 {L"/Performance/1 After", 99.6}};
        engine.figures[L"D:"] = {{L"/ NumStatPoints", 0}};
    }

    // The last lines of the report, with this value for both figures of each.
    std::wstring FiguresOf(double value)
    {
        for (const wchar_t* const path : {L"/Fragmented/1", L"/FreeSpaceFragmentation/1", L"/Performance/1"}) {
            engine.figures[L"C:"][path + std::wstring(L" Before")] = value;
            engine.figures[L"C:"][path + std::wstring(L" After")] = value;
        }
        EXPECT_EQ(0U, ShowRemoteStats(L"SRV1", {L"C:"}));
        const std::wstring text = output.Take();
        return text.substr(text.find(L"After\n") + 6);
    }

    PlainDates dates;
    HRESULT blanket = S_OK;
    Replaced<"CoSetProxyBlanket", decltype(::CoSetProxyBlanket)> setBlanket{
        [this](IUnknown* proxy, DWORD authentication, DWORD authorisation, OLECHAR* principal, DWORD level,
               DWORD impersonation, RPC_AUTH_IDENTITY_HANDLE identity, DWORD capabilities) {
            // Of the engine's objects only the statistics have this interface.
            win::ComPtr<IVLStatistics> statistics;
            EXPECT_EQ(S_OK, proxy->QueryInterface(__uuidof(IVLStatistics), reinterpret_cast<void**>(statistics.Put())));
            EXPECT_EQ(proxy, statistics.Get());
            EXPECT_EQ(10U, authentication); // NTLM
            EXPECT_EQ(0U, authorisation);
            EXPECT_EQ(nullptr, principal);
            EXPECT_EQ(3U, level);         // each call
            EXPECT_EQ(3U, impersonation); // the server acts as the caller
            EXPECT_EQ(nullptr, identity);
            EXPECT_EQ(0U, capabilities);
            EXPECT_FALSE(engine.Calls().empty());
            EXPECT_TRUE(engine.Calls().back().starts_with(L"agent.GetStatistics("));
            return blanket;
        }};
};

TEST_F(RemoteStatistics, ShowTheNewestPoint)
{
    EXPECT_EQ(0U, ShowRemoteStats(L"SRV1", {L"C:"}));
    EXPECT_EQ(kComputer + kReport, output.Take());
    EXPECT_EQ(CallsFor(L"C:"), engine.TakeCalls());
    EXPECT_EQ((std::vector<Activation>{{true, AgentClass(), __uuidof(IVLAgent), 16, L"SRV1"}}), engine.Activations());
    EXPECT_EQ(1, setBlanket.Calls());
}

TEST_F(RemoteStatistics, AreCatalogueMessages)
{
    const NumberedMessages numbered;
    EXPECT_EQ(0U, ShowRemoteStats(L"SRV1", {L"C:", L"D:"}));
    EXPECT_EQ(L"(-2644-)Remote Computer:   SRV1\n"
              L"(-185-)Drive   :   C:\n"
              L"(-1137-)Date    :   5.11.2026 18:45:0\n"
              L"(-199-)\t\t\t\tBefore\tAfter\n"
              L"(-1703-)File Fragmentation\t\t13%\t2%\n"
              L"(-1811-)Free Space Fragmentation\t7%\t8%\n"
              L"(-2528-)Performance\t\t\t60%\t100%\n"
              L"(-189-)No statistics data available for D: drive.\n",
              output.Take());
    engine.Fail(L"GetInteger", {kFailure});
    EXPECT_EQ(0x80041234U, ShowRemoteStats(L"SRV1", {L"C:"}));
    EXPECT_EQ(L"(-2644-)Remote Computer:   SRV1\n(-1501-)" + kFailed, output.Take());
}

TEST_F(RemoteStatistics, AreRoundedToWholePercents)
{
    const std::pair<double, const wchar_t*> values[] = {
        {0.0, L"0"},     {0.49, L"0"}, {0.5, L"1"},  {7.45, L"7"}, {7.5, L"8"},   {99.49, L"99"},        {99.5, L"100"},
        {100.0, L"100"}, {-0.2, L"0"}, {-0.7, L"0"}, {-1.4, L"0"}, {-1.5, L"-1"}, {1e10, L"10000000000"}};
    for (const auto& [value, text] : values) {
        std::wstring figures;
        for (const wchar_t* const label :
             {L"File Fragmentation\t\t", L"Free Space Fragmentation\t", L"Performance\t\t\t"}) {
            figures.append(label).append(text).append(L"%\t").append(text).append(L"%\n");
        }
        EXPECT_EQ(figures, FiguresOf(value)) << value;
    }
}

TEST_F(RemoteStatistics, HaveOnePercentSignBehindEachNumberHoweverATranslationWritesIt)
{
    const InstalledProgram program;
    program.Translate(1031, L"German",
                      {L"1703\t\"File Fragmentation\"\t\"Dateien %1%% %2%%\"",
                       L"1811\t\"Free Space Fragmentation\"\t\"Frei %1% %2%\"",
                       L"2528\t\"Performance\"\t\"%2%% nach %1%\""});
    static_cast<void>(LoadTranslation(GetTranslator(), kLanguageOfCore));
    EXPECT_EQ(0U, ShowRemoteStats(L"SRV1", {L"C:"}));
    const std::wstring text = output.Take();
    EXPECT_EQ(L"Dateien 13% 2%\nFrei 7% 8%\n100% nach 60%\n", text.substr(text.find(L"Dateien")));
}

TEST_F(RemoteStatistics, AreAskedForUpToADayAhead)
{
    const Replaced<"GetSystemTime", decltype(::GetSystemTime)> now(
        [](LPSYSTEMTIME time) { *time = {2026, 11, 0, 5, 18, 45, 0, 0}; });
    EXPECT_EQ(0U, ShowRemoteStats(L"SRV1", {L"C:"}));
    EXPECT_EQ(std::vector<DATE>{46332.78125}, engine.cutOffs);
}

TEST_F(RemoteStatistics, SayThatThereAreNone)
{
    EXPECT_EQ(0U, ShowRemoteStats(L"SRV1", {L"D:"}));
    EXPECT_EQ(kComputer + L"No statistics data available for D: drive.\n", output.Take());
    EXPECT_EQ((EngineCalls{L"agent.GetStatistics(D:, 1)", L"statistics.GetInteger(/, NumStatPoints)"}),
              engine.TakeCalls());
    engine.figures[L"D:"][L"/ NumStatPoints"] = -1;
    EXPECT_EQ(0U, ShowRemoteStats(L"SRV1", {L"D:"}));
    EXPECT_EQ(kComputer + L"No statistics data available for D: drive.\n", output.Take());
}

TEST_F(RemoteStatistics, ShowTheFirstPointOfSeveral)
{
    engine.figures[L"C:"][L"/ NumStatPoints"] = 5;
    EXPECT_EQ(0U, ShowRemoteStats(L"SRV1", {L"C:"}));
    EXPECT_EQ(kComputer + kReport, output.Take());
}

TEST_F(RemoteStatistics, OfSeveralDrivesComeInTheirOrder)
{
    engine.figures[L"E:"] = engine.figures[L"C:"];
    EXPECT_EQ(0U, ShowRemoteStats(L"SRV1", {L"E:", L"D:", L"C:"}));
    std::wstring first = kReport;
    first.replace(first.find(L"C:"), 2, L"E:");
    EXPECT_EQ(kComputer + first + L"No statistics data available for D: drive.\n" + kReport, output.Take());
    EXPECT_EQ(3, setBlanket.Calls());
    EXPECT_EQ(1U, engine.Activations().size());
}

TEST_F(RemoteStatistics, OfNoDrivesAreTheComputersNameAlone)
{
    EXPECT_EQ(0U, ShowRemoteStats(L"SRV1", {}));
    EXPECT_EQ(kComputer, output.Take());
}

TEST_F(RemoteStatistics, NeedAConnection)
{
    engine.activation = HRESULT_FROM_WIN32(RPC_S_SERVER_UNAVAILABLE);
    EXPECT_EQ(0x800706BAU, ShowRemoteStats(L"SRV1", {L"C:"}));
    EXPECT_EQ(L"Could not connect to computer 'SRV1'.  Verify the name is correct and the machine is turned on.\n",
              output.Take());
}

TEST_F(RemoteStatistics, EndWithoutAWordWhereADriveHasNoStatisticsObject)
{
    engine.Fail(L"GetStatistics", {kFailure, L"D:"});
    EXPECT_EQ(0x80041234U, ShowRemoteStats(L"SRV1", {L"C:", L"D:", L"C:"}));
    EXPECT_EQ(kComputer + kReport, output.Take());
    EXPECT_EQ(2, engine.CountCalls(L"GetStatistics"));
}

TEST_F(RemoteStatistics, EndWithoutAWordWhereTheStatisticsObjectIsNull)
{
    engine.HandOutNull(L"GetStatistics");
    EXPECT_EQ(0x80004003U, ShowRemoteStats(L"SRV1", {L"C:"}));
    EXPECT_EQ(kComputer, output.Take());
    EXPECT_EQ(0, setBlanket.Calls());
}

TEST_F(RemoteStatistics, EndWithoutAWordWhereTheProxyCannotBeSecured)
{
    blanket = E_NOINTERFACE;
    EXPECT_EQ(0x80004002U, ShowRemoteStats(L"SRV1", {L"C:", L"D:"}));
    EXPECT_EQ(kComputer, output.Take());
    EXPECT_EQ(EngineCalls{L"agent.GetStatistics(C:, 1)"}, engine.TakeCalls());
}

TEST_F(RemoteStatistics, TellThatAValueCouldNotBeReadAndEnd)
{
    const EngineCalls calls = CallsFor(L"C:");
    for (std::size_t read = 1; read < calls.size(); ++read) {
        const std::wstring& call = calls[read];
        SCOPED_TRACE(::testing::PrintToString(call));
        const std::wstring method = read == 1 ? L"GetInteger" : L"GetDouble";
        const std::wstring argument = call.substr(call.find(L'(') + 1, call.size() - call.find(L'(') - 2);
        engine.Fail(method, {kFailure, argument});
        EXPECT_EQ(0x80041234U, ShowRemoteStats(L"SRV1", {L"C:", L"D:"}));
        EXPECT_EQ(kComputer + kFailed, output.Take());
        // Nothing is asked behind the failure.
        EXPECT_EQ(EngineCalls(calls.begin(), calls.begin() + static_cast<std::ptrdiff_t>(read) + 1),
                  engine.TakeCalls());
        engine.Fail(method, {S_OK, argument});
    }
}

TEST_F(RemoteStatistics, TellThatAValueIsNotHeld)
{
    engine.figures[L"C:"].erase(L"/Performance/1 After");
    EXPECT_EQ(0x80070002U, ShowRemoteStats(L"SRV1", {L"C:"}));
    EXPECT_EQ(kComputer + kFailed, output.Take());
}

// Before the first drive is asked about, memory that runs out ends the program.
TEST_F(RemoteStatistics, TellThatMemoryRanOutOnADrive)
{
    const DriveList drives{L"C:", L"D:"};
    const std::wstring computer = L"SRV1";
    int told = 0;
    bool failed = true;
    for (int allocation = 1; failed && !HasFailure(); ++allocation) {
        SCOPED_TRACE(allocation);
        bool hasThrown = false;
        bool hasEscaped = false;
        Result result = 0;
        {
            const FailingMemory memory(allocation);
            try {
                result = ShowRemoteStats(computer, drives);
            } catch (const std::bad_alloc&) {
                hasEscaped = true;
            }
            failed = memory.HasFailed();
            hasThrown = memory.HasThrown();
        }
        const std::wstring text = output.Take();
        if (hasEscaped) {
            EXPECT_EQ(0, engine.CountCalls(L"GetStatistics"));
        } else if (result != 0) {
            EXPECT_EQ(14U, result);
            EXPECT_TRUE(hasThrown);
            EXPECT_TRUE(text.ends_with(kFailed)) << ::testing::PrintToString(text);
            ++told;
        }
        static_cast<void>(engine.TakeCalls());
        EXPECT_EQ(0, engine.LiveObjects());
        EXPECT_EQ("", census.Imbalance());
    }
    EXPECT_GT(told, 10);
}

TEST_F(RemoteStatistics, MayBeThoseOfTheLocalComputerByName)
{
    EXPECT_EQ(0U, ShowRemoteStats(L"thispc", {L"C:"}));
    EXPECT_EQ(L"Remote Computer:   thispc\n" + kReport, output.Take());
    EXPECT_EQ((std::vector<Activation>{{false, AgentClass(), __uuidof(IVLAgent), 4, L""}}), engine.Activations());
}

} // namespace
