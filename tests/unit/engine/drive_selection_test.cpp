#include "engine/drive_selection.h"

#include "support/product_test.h"

namespace {

using namespace testing_support;

constexpr auto kNotRegistered = static_cast<HRESULT>(0x80040154);
constexpr auto kEngineFailure = static_cast<HRESULT>(0x80041234); // low 16 bits 0x1234

// An engine that manages C:, D: and a mounted folder, in this order.
class DriveSelectionTest : public EngineTest {
protected:
    DriveSelectionTest()
    {
        engine.AddDrive(L"C:\\");
        engine.AddDrive(L"D:\\");
        engine.AddDrive(L"D:\\Data\\");
    }

    // Makes asking for the drive of an identity fail.
    void RefuseDrive(const wchar_t* identity) { engine.Fail(L"GetDrive", {kEngineFailure, identity}); }
    void RefuseName(const wchar_t* name) { engine.Fail(L"GetDriveName", {kEngineFailure, name}); }
    void UseDriveList(const wchar_t* list)
    {
        engine.driveList = list;
        engine.hasDriveList = true;
    }
};

constexpr const wchar_t* kC = L"\\\\?\\Volume{C}\\";
constexpr const wchar_t* kD = L"\\\\?\\Volume{D}\\";
constexpr const wchar_t* kData = L"\\\\?\\Volume{DData}\\";

class WalkingDrives : public DriveSelectionTest {
protected:
    // Walks and notes what is visited, up to a number of visits.
    HRESULT Walk(std::size_t most = 100)
    {
        win::ComPtr<IVLAgent> agent;
        EXPECT_EQ(S_OK, ConnectToAgent(L"", &agent));
        return WalkDrives(*agent, [&](std::wstring_view identity, IVLDrive& drive) {
            visited.emplace_back(identity);
            ULONG state = 0;
            EXPECT_EQ(S_OK, drive.GetState(&state));
            return visited.size() < most;
        });
    }

    DriveList visited;
};

TEST_F(WalkingDrives, VisitsEveryIdentityWithItsDriveInTheEnginesOrder)
{
    EXPECT_EQ(S_OK, Walk());
    EXPECT_EQ((DriveList{kC, kD, kData}), visited);
    EXPECT_EQ((EngineCalls{L"agent.GetDriveList()", L"agent.GetDrive(\\\\?\\Volume{C}\\)", L"drive.GetState(C:\\)",
                           L"agent.GetDrive(\\\\?\\Volume{D}\\)", L"drive.GetState(D:\\)",
                           L"agent.GetDrive(\\\\?\\Volume{DData}\\)", L"drive.GetState(D:\\Data\\)"}),
              engine.Calls());
}

TEST_F(WalkingDrives, EndsWhenTheVisitorHasSeenEnough)
{
    EXPECT_EQ(S_OK, Walk(2));
    EXPECT_EQ((DriveList{kC, kD}), visited);
    EXPECT_EQ(2, engine.CountCalls(L"GetDrive"));
}

TEST_F(WalkingDrives, EndsWithTheFailureOfTheList)
{
    engine.Fail(L"GetDriveList", {kEngineFailure});
    EXPECT_EQ(kEngineFailure, Walk());
    EXPECT_EQ(DriveList{}, visited);
    EXPECT_EQ((EngineCalls{L"agent.GetDriveList()"}), engine.Calls());
}

TEST_F(WalkingDrives, EndsAtTheFirstDriveThatCannotBeHad)
{
    RefuseDrive(kD);
    EXPECT_EQ(kEngineFailure, Walk());
    EXPECT_EQ(DriveList{kC}, visited);
    EXPECT_EQ(2, engine.CountCalls(L"GetDrive"));
}

TEST_F(WalkingDrives, FailsWhereTheEngineHandsOutNoDrive)
{
    engine.HandOutNull(L"GetDrive");
    EXPECT_EQ(E_POINTER, Walk());
    EXPECT_EQ(DriveList{}, visited);
}

TEST_F(WalkingDrives, VisitsNothingOfAnEmptyList)
{
    UseDriveList(L"");
    EXPECT_EQ(S_OK, Walk());
    engine.HandOutNull(L"GetDriveList");
    EXPECT_EQ(S_OK, Walk());
    EXPECT_EQ(DriveList{}, visited);
    EXPECT_EQ(0, engine.CountCalls(L"GetDrive"));
}

TEST_F(WalkingDrives, PassesOverEmptyPieces)
{
    UseDriveList(L"|C:\\||D:\\|");
    EXPECT_EQ(S_OK, Walk());
    EXPECT_EQ((DriveList{L"C:\\", L"D:\\"}), visited);
    EXPECT_EQ((EngineCalls{L"agent.GetDriveList()", L"agent.GetDrive(C:\\)", L"drive.GetState(C:\\)",
                           L"agent.GetDrive(D:\\)", L"drive.GetState(D:\\)"}),
              engine.Calls());
}

TEST_F(WalkingDrives, HoldsOneDriveAtATime)
{
    win::ComPtr<IVLAgent> agent;
    ASSERT_EQ(S_OK, ConnectToAgent(L"", &agent));
    EXPECT_EQ(S_OK, WalkDrives(*agent, [&](std::wstring_view, IVLDrive&) {
                  EXPECT_EQ(2, engine.LiveObjects()); // the agent and this drive
                  return true;
              }));
    EXPECT_EQ(1, engine.LiveObjects());
}

class ListingAllDrives : public DriveSelectionTest {
protected:
    Result List(const wchar_t* computer = L"") { return ListAllDrives(computer, names); }

    DriveList names{L"left over"};
};

TEST_F(ListingAllDrives, GivesTheNamesInTheEnginesOrder)
{
    EXPECT_EQ(0U, List());
    EXPECT_EQ((DriveList{L"C:\\", L"D:\\", L"D:\\Data\\"}), names);
    EXPECT_EQ(L"", output.Text());
}

TEST_F(ListingAllDrives, KeepsTheEnginesOrderAndItsDoubles)
{
    UseDriveList(L"D:\\|C:\\|D:\\");
    EXPECT_EQ(0U, List());
    EXPECT_EQ((DriveList{L"D:\\", L"C:\\", L"D:\\"}), names);
}

TEST_F(ListingAllDrives, AsksTheComputersEngineAndMakesNoRightsCheck)
{
    EXPECT_EQ(0U, List(L"SRV1"));
    ASSERT_EQ(1U, engine.Activations().size());
    EXPECT_EQ((Activation{true, AgentClass(), __uuidof(IVLAgent), 16, L"SRV1"}), engine.Activations().front());
    EXPECT_EQ((EngineCalls{L"agent.GetDriveList()", L"agent.GetDrive(\\\\?\\Volume{C}\\)", L"drive.GetDriveName(C:\\)",
                           L"agent.GetDrive(\\\\?\\Volume{D}\\)", L"drive.GetDriveName(D:\\)",
                           L"agent.GetDrive(\\\\?\\Volume{DData}\\)", L"drive.GetDriveName(D:\\Data\\)"}),
              engine.Calls());
}

TEST_F(ListingAllDrives, ReturnsTheConnectionsResultWhole)
{
    engine.activation = kNotRegistered;
    EXPECT_EQ(0x80040154U, List(L"SRV1"));
    EXPECT_EQ(DriveList{}, names);
    EXPECT_EQ(L"Velundra is not installed on computer 'SRV1'\n", output.Text());
}

TEST_F(ListingAllDrives, ReturnsTheLowHalfOfTheListsFailure)
{
    engine.Fail(L"GetDriveList", {kEngineFailure});
    EXPECT_EQ(0x1234U, List());
    EXPECT_EQ(DriveList{}, names);
    EXPECT_EQ(L"", output.Text());
}

TEST_F(ListingAllDrives, KeepsTheNamesBeforeADriveThatCannotBeHad)
{
    RefuseDrive(kData);
    EXPECT_EQ(0x1234U, List());
    EXPECT_EQ((DriveList{L"C:\\", L"D:\\"}), names);
}

TEST_F(ListingAllDrives, GivesNothingWhereTheFirstDriveCannotBeHad)
{
    RefuseDrive(kC);
    EXPECT_EQ(0x1234U, List());
    EXPECT_EQ(DriveList{}, names);
    EXPECT_EQ(1, engine.CountCalls(L"GetDrive"));
}

TEST_F(ListingAllDrives, PassesOverADriveThatDoesNotTellItsName)
{
    RefuseName(L"C:\\");
    EXPECT_EQ(0U, List());
    EXPECT_EQ((DriveList{L"D:\\", L"D:\\Data\\"}), names);
    engine.Fail(L"GetDriveName", {kEngineFailure});
    EXPECT_EQ(0U, List());
    EXPECT_EQ(DriveList{}, names);
    EXPECT_EQ(L"", output.Text());
}

TEST_F(ListingAllDrives, TakesANullNameForAnEmptyOne)
{
    engine.HandOutNull(L"GetDriveName");
    EXPECT_EQ(0U, List());
    EXPECT_EQ((DriveList{L"", L"", L""}), names);
}

TEST_F(ListingAllDrives, GivesAnEmptyListOfAnEngineWithoutDrives)
{
    engine.drives.clear();
    EXPECT_EQ(0U, List());
    EXPECT_EQ(DriveList{}, names);
    engine.HandOutNull(L"GetDriveList");
    EXPECT_EQ(0U, List());
    EXPECT_EQ(DriveList{}, names);
}

class FindingAVolume : public DriveSelectionTest {
protected:
    static constexpr Failure kFound = std::nullopt;

    Failure Find(const wchar_t* typed, const wchar_t* computer = L"")
    {
        return FindVolumeIdentity(computer, typed, identity);
    }

    std::wstring identity = L"left over";
};

TEST_F(FindingAVolume, GivesTheIdentityOfTheTypedDrive)
{
    const struct {
        const wchar_t* typed;
        const wchar_t* identity;
    } rows[] = {{L"C", kC}, {L"c:", kC}, {L"C:\\", kC}, {L"d", kD}, {L"D:\\Data", kData}, {L"d:\\DATA\\", kData}};
    for (const auto& row : rows) {
        EXPECT_EQ(kFound, Find(row.typed)) << ::testing::PrintToString(row.typed);
        EXPECT_EQ(row.identity, identity);
    }
    EXPECT_EQ(L"", output.Text());
}

TEST_F(FindingAVolume, ComparesWithoutRegardToTheEnginesLetterCase)
{
    engine.drives.clear();
    engine.AddDrive(L"c:\\");
    engine.AddDrive(L"d:\\R\u00E4ume\\");
    EXPECT_EQ(kFound, Find(L"C:"));
    EXPECT_EQ(L"\\\\?\\Volume{c}\\", identity);
    EXPECT_EQ(kFound, Find(L"D:\\R\u00C4UME"));
    EXPECT_EQ(L"\\\\?\\Volume{dR\u00E4ume}\\", identity);
}

TEST_F(FindingAVolume, DoesNotTakeADriveWithoutANameForAWordThatNamesNone)
{
    engine.drives.push_back({L"volume 4", L"", L""});
    for (const wchar_t* const word : {L"", L"1:\\", L"data"}) {
        EXPECT_EQ(Failure(13U), Find(word)) << ::testing::PrintToString(std::wstring(word));
        EXPECT_EQ(L"", identity);
    }
    EXPECT_EQ(12, engine.CountCalls(L"GetDriveName"));
}

TEST_F(FindingAVolume, ComparesAVolumeGuidInItsConvertedForm)
{
    engine.drives.push_back({L"volume 4", L"\\\\?\\Volume{abc}", L""});
    engine.drives.push_back({L"volume 5", L"\\\\?\\Volume{def}\\", L""});
    EXPECT_EQ(kFound, Find(L"\\\\?\\Volume{ABC}\\"));
    EXPECT_EQ(L"volume 4", identity);
    EXPECT_EQ(kFound, Find(L"{abc}"));
    EXPECT_EQ(L"volume 4", identity);
    // The converted form has no closing backslash, so a name with one is another name.
    EXPECT_EQ(Failure(13U), Find(L"\\\\?\\Volume{def}\\"));
}

TEST_F(FindingAVolume, WalksInOrderAndStopsAtTheFirstMatchWithoutARightsCheck)
{
    UseDriveList(L"\\\\?\\Volume{DData}\\|D:\\|\\\\?\\Volume{D}\\|C:\\");
    EXPECT_EQ(kFound, Find(L"D:"));
    EXPECT_EQ(L"D:\\", identity);
    EXPECT_EQ((EngineCalls{L"agent.GetDriveList()", L"agent.GetDrive(\\\\?\\Volume{DData}\\)",
                           L"drive.GetDriveName(D:\\Data\\)", L"agent.GetDrive(D:\\)", L"drive.GetDriveName(D:\\)"}),
              engine.Calls());
}

TEST_F(FindingAVolume, AsksTheComputersEngine)
{
    EXPECT_EQ(kFound, Find(L"C:", L"SRV1"));
    ASSERT_EQ(1U, engine.Activations().size());
    EXPECT_EQ((Activation{true, AgentClass(), __uuidof(IVLAgent), 16, L"SRV1"}), engine.Activations().front());
}

TEST_F(FindingAVolume, ReturnsTheConnectionsResultWhole)
{
    engine.activation = kNotRegistered;
    EXPECT_EQ(Failure(0x80040154U), Find(L"C:", L"SRV1"));
    EXPECT_EQ(L"", identity);
    EXPECT_EQ(L"Velundra is not installed on computer 'SRV1'\n", output.Text());
}

TEST_F(FindingAVolume, ReturnsTheLowHalfOfTheListsFailure)
{
    engine.Fail(L"GetDriveList", {kEngineFailure});
    EXPECT_EQ(Failure(0x1234U), Find(L"C:"));
    EXPECT_EQ(L"", identity);
    EXPECT_EQ(L"", output.Text());
}

TEST_F(FindingAVolume, StopsAtADriveThatCannotBeHadEvenIfALaterOneWouldMatch)
{
    RefuseDrive(kC);
    EXPECT_EQ(Failure(0x1234U), Find(L"D:"));
    EXPECT_EQ(L"", identity);
    EXPECT_EQ((EngineCalls{L"agent.GetDriveList()", L"agent.GetDrive(\\\\?\\Volume{C}\\)"}), engine.Calls());
}

TEST_F(FindingAVolume, FailsWithTheResult0WhereTheLowHalfOfTheFailureIs0)
{
    for (const std::uint32_t failure : {0x80040000U, 0x80070000U}) {
        engine.Fail(L"GetDrive", {static_cast<HRESULT>(failure)});
        EXPECT_EQ(Failure(0), Find(L"C:"));
        engine.Fail(L"GetDriveList", {static_cast<HRESULT>(failure)});
        EXPECT_EQ(Failure(0), Find(L"C:"));
        EXPECT_EQ(L"", identity);
    }
}

TEST_F(FindingAVolume, NeverReachesABadDriveBehindTheMatch)
{
    RefuseDrive(kD);
    EXPECT_EQ(kFound, Find(L"C:"));
    EXPECT_EQ(kC, identity);
}

TEST_F(FindingAVolume, PassesOverADriveThatDoesNotTellItsName)
{
    RefuseName(L"C:\\");
    EXPECT_EQ(kFound, Find(L"D:"));
    EXPECT_EQ(kD, identity);
    EXPECT_EQ(Failure(13U), Find(L"C:"));
    EXPECT_EQ(L"", identity);
}

TEST_F(FindingAVolume, EndsWithThirteenWhenNoDriveMatches)
{
    EXPECT_EQ(Failure(13U), Find(L"E:"));
    EXPECT_EQ(L"", identity);
    EXPECT_EQ(3, engine.CountCalls(L"GetDriveName"));
    engine.drives.clear();
    EXPECT_EQ(Failure(13U), Find(L"C:"));
    engine.HandOutNull(L"GetDriveList");
    EXPECT_EQ(Failure(13U), Find(L"C:"));
    EXPECT_EQ(L"", output.Text());
}

TEST(RequestedDriveNames, AreTheWordsAsTypedAndConverted)
{
    const RequestedDrives requested({L"c", L"D:\\Data", L"{abc}", L"Label 1"});
    for (const wchar_t* const name :
         {L"C", L"C:\\", L"c:\\", L"D:\\Data", L"d:\\DATA\\", L"{ABC}", L"\\\\?\\volume{abc}", L"LABEL 1"}) {
        EXPECT_TRUE(requested.Contains(name)) << ::testing::PrintToString(name);
    }
    for (const wchar_t* const name :
         {L"", L"C:", L"D:\\", L"D:\\Dat", L"D:\\Data\\\\", L"\\\\?\\Volume{abc}\\", L"abc", L"Label", L"X:\\"}) {
        EXPECT_FALSE(requested.Contains(name)) << ::testing::PrintToString(name);
    }
}

TEST(RequestedDriveNames, AreNoneWithoutWords)
{
    const RequestedDrives requested({});
    EXPECT_FALSE(requested.Contains(L""));
    EXPECT_FALSE(requested.Contains(L"C:\\"));
}

TEST(RequestedDriveNames, CompareLettersOfOtherScriptsWithoutRegardToCase)
{
    const RequestedDrives requested({L"D:\\\u0434\u0430\u043D\u043D\u044B\u0435"});
    EXPECT_TRUE(requested.Contains(L"d:\\\u0414\u0410\u041D\u041D\u042B\u0415\\"));
}

class MatchingDrives : public DriveSelectionTest {
protected:
    HRESULT Match(const DriveList& words)
    {
        win::ComPtr<IVLAgent> agent;
        EXPECT_EQ(S_OK, ConnectToAgent(L"", &agent));
        return MatchDrives(*agent, RequestedDrives(words), identities);
    }

    DriveList identities;
};

TEST_F(MatchingDrives, GivesTheIdentitiesOfTheRequestedOnesSorted)
{
    UseDriveList(L"\\\\?\\Volume{DData}\\|\\\\?\\Volume{D}\\|\\\\?\\Volume{C}\\");
    EXPECT_EQ(S_OK, Match({L"D:\\Data", L"c:"}));
    EXPECT_EQ((DriveList{kC, kData}), identities);
}

TEST_F(MatchingDrives, GivesEachIdentityOnce)
{
    UseDriveList(L"D:\\|C:\\|D:\\|C:\\");
    EXPECT_EQ(S_OK, Match({L"C:", L"C", L"c:\\", L"D:"}));
    EXPECT_EQ((DriveList{L"C:\\", L"D:\\"}), identities);
}

TEST_F(MatchingDrives, AsksEveryDriveForItsNameOnce)
{
    EXPECT_EQ(S_OK, Match({L"C:", L"C:", L"c:", L"D:"}));
    EXPECT_EQ((EngineCalls{L"agent.GetDriveList()", L"agent.GetDrive(\\\\?\\Volume{C}\\)", L"drive.GetDriveName(C:\\)",
                           L"agent.GetDrive(\\\\?\\Volume{D}\\)", L"drive.GetDriveName(D:\\)",
                           L"agent.GetDrive(\\\\?\\Volume{DData}\\)", L"drive.GetDriveName(D:\\Data\\)"}),
              engine.Calls());
}

TEST_F(MatchingDrives, DropsWordsThatMatchNoDrive)
{
    EXPECT_EQ(S_OK, Match({L"E:", L"D:", L"X:\\Y"}));
    EXPECT_EQ(DriveList{kD}, identities);
    identities.clear();
    EXPECT_EQ(S_OK, Match({L"E:"}));
    EXPECT_EQ(DriveList{}, identities);
    EXPECT_EQ(L"", output.Text());
}

TEST_F(MatchingDrives, PassesOverADriveThatDoesNotTellItsName)
{
    RefuseName(L"C:\\");
    EXPECT_EQ(S_OK, Match({L"C:", L"D:"}));
    EXPECT_EQ(DriveList{kD}, identities);
}

TEST_F(MatchingDrives, NeverMatchesADriveWithoutAName)
{
    engine.HandOutNull(L"GetDriveName");
    EXPECT_EQ(S_OK, Match({L"C:", L"D:", L"not a drive"}));
    EXPECT_EQ(DriveList{}, identities);
}

TEST_F(MatchingDrives, ReturnsTheListsFailureWhole)
{
    engine.Fail(L"GetDriveList", {kEngineFailure});
    EXPECT_EQ(kEngineFailure, Match({L"C:"}));
    EXPECT_EQ(DriveList{}, identities);
}

TEST_F(MatchingDrives, EndsAtTheFirstDriveThatCannotBeHad)
{
    UseDriveList(L"\\\\?\\Volume{D}\\|\\\\?\\Volume{C}\\|\\\\?\\Volume{DData}\\");
    RefuseDrive(kData);
    EXPECT_EQ(kEngineFailure, Match({L"C:", L"D:", L"D:\\Data"}));
    EXPECT_EQ((DriveList{kD, kC}), identities);
}

TEST_F(MatchingDrives, GivesNothingOfAnEngineWithoutDrives)
{
    engine.drives.clear();
    EXPECT_EQ(S_OK, Match({L"C:"}));
    EXPECT_EQ(DriveList{}, identities);
}

} // namespace
