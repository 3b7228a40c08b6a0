// What the loop makes of a run, shown on runs that never were.

#include "verdict.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <string_view>

namespace {

using namespace faults;

const Command& CommandNamed(std::string_view name)
{
    return *std::ranges::find_if(Commands(), [&](const Command& command) { return command.name == name; });
}

// The second call of the function in its first way.
Disturbance SecondCallOf(std::string_view function)
{
    return {FindFunction(function).value(), 2, 0};
}

class Verdict : public testing::Test {
protected:
    Verdict()
    {
        undisturbed_.ended = true;
        undisturbed_.output = "Velundra 14.0\r\nDrive C:\\ was stopped.\r\nDrive D:\\ was stopped.\r\n";
        run_ = undisturbed_;
    }

    // Of a run of "/stop C: D:" in which the engine refused to stop the second drive.
    [[nodiscard]] std::string Complaints(std::string_view function = "IVLAgent::StopDrive") const
    {
        return faults::Complaints(CommandNamed("Stop"), undisturbed_, run_, SecondCallOf(function));
    }

    static std::string OneOf(const std::string& complaint) { return "  " + complaint + "\n"; }

    Traces undisturbed_;
    Traces run_;
};

TEST_F(Verdict, HasNoComplaintOfARunThatTellsItsFailure)
{
    run_.exitCode = 0x20000001;
    run_.output = "Velundra 14.0\r\nDrive C:\\ was stopped.\r\n";
    EXPECT_EQ("", Complaints());
}

TEST_F(Verdict, TakesTheFailureItselfForAResult)
{
    run_.exitCode = 0x800706BA;
    run_.output = "Velundra 14.0\r\nCould not connect to computer 'X'.  Verify the name is correct and the machine is "
                  "turned on.\r\n";
    EXPECT_EQ(OneOf("ends with 0x800706BA"), Complaints());
    EXPECT_EQ("", faults::Complaints(CommandNamed("Stop"), undisturbed_, run_,
                                     {FindFunction("CoCreateInstance").value(), 1, 5}));
}

TEST_F(Verdict, ComplainsOfACrash)
{
    run_.exitCode = 0xC0000005;
    EXPECT_EQ(OneOf("ends with 0xC0000005"), Complaints());
}

TEST_F(Verdict, ComplainsOfARunWithoutAnEnd)
{
    run_.ended = false;
    EXPECT_EQ(OneOf("does not end"), Complaints());
}

TEST_F(Verdict, ComplainsOfALineOfNobodys)
{
    run_.output += "terminate called\r\n";
    EXPECT_EQ(OneOf("prints a line that is none of its own: terminate called"), Complaints());
}

TEST_F(Verdict, ComplainsOfALineThatComesTwice)
{
    run_.output += "Drive D:\\ was stopped.\r\n";
    EXPECT_EQ(OneOf("prints a line that is none of its own: Drive D:\\ was stopped."), Complaints());
}

TEST_F(Verdict, ComplainsOfLinesOutOfOrder)
{
    run_.output = "Velundra 14.0\r\nDrive D:\\ was stopped.\r\nDrive C:\\ was stopped.\r\n";
    EXPECT_EQ(OneOf("prints a line that is none of its own: Drive C:\\ was stopped."), Complaints());
}

TEST_F(Verdict, ComplainsOfHalfALine)
{
    run_.exitCode = 0x20000001;
    run_.output = "Velundra 14.0\r\nDrive C:";
    EXPECT_EQ(OneOf("has left half a line: Drive C:") + OneOf("prints a line that is none of its own: Drive C:"),
              Complaints());
}

TEST_F(Verdict, ComplainsOfALineThatNobodyTellsTheLossOf)
{
    run_.output = "Velundra 14.0\r\nDrive C:\\ was stopped.\r\n";
    EXPECT_EQ(OneOf("ends with 0 and has left out lines"), Complaints("RegOpenKeyExW"));
}

TEST_F(Verdict, ComplainsOfWhatIsKept)
{
    run_.report.kept[static_cast<std::size_t>(Kind::Key)] = 1;
    EXPECT_EQ(OneOf("keeps 1 registry keys, undisturbed 0"), Complaints());
}

TEST_F(Verdict, ComplainsOfAChangedDatabase)
{
    run_.databaseIsSame = false;
    EXPECT_EQ(OneOf("has changed the database"), Complaints());
}

TEST_F(Verdict, ComplainsOfATornTraceLog)
{
    const auto bytes = [](std::wstring_view text) {
        return std::string(reinterpret_cast<const char*>(text.data()), text.size() * sizeof(wchar_t));
    };
    const std::wstring record =
        L"11/05/2026 08:09:07.138 SRV0 root             VLCmd                             01280 "
        L"01288 db_manager                       000042 (vldb::CDbManager::Connect) *** ENTER "
        L"***";
    run_.traceLog = bytes(L"\xFEFF" + record + L"\r\n");
    EXPECT_EQ("", Complaints());
    run_.traceLog = bytes(L"\xFEFF" + record);
    EXPECT_EQ(OneOf("has left half a record in the trace log"), Complaints());
    run_.traceLog = bytes(record + L"\r\n");
    EXPECT_EQ(OneOf("has torn the trace log"), Complaints());
    run_.traceLog = bytes(L"\xFEFF" + record.substr(20) + L"\r\n").substr(1);
    EXPECT_EQ(OneOf("has torn the trace log"), Complaints());
    run_.traceLogIsShut = true;
    run_.traceLog.clear();
    EXPECT_EQ(OneOf("has made a trace log that nobody may write to"), Complaints());
}

} // namespace
