#include "cmd/command_line.h"

#include "support/product_test.h"

namespace {

using namespace testing_support;

class ResolvingDrives : public EngineTest {};

TEST_F(ResolvingDrives, AsksOnceForADriveThatIsNamedInSeveralSpellings)
{
    engine.AddDrive(L"D:\\");
    engine.AddDrive(L"C:\\");
    CommandLine line;
    RegisterSwitches(line);
    const wchar_t* words[] = {L"VLCmd", L"/dol", L"C:", L"c", L"C:\\"};
    ASSERT_TRUE(Parse(line, 5, const_cast<wchar_t**>(words)));
    DriveList drives;
    EXPECT_EQ(0U, ResolveDrives(line, L"", drives));
    EXPECT_EQ((DriveList{L"\\\\?\\Volume{C}\\"}), drives);
}

} // namespace
