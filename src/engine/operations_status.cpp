#include "engine/Operations.h"

#include "engine/operation_steps.h"
#include "messages/console_output.h"
#include "win/result_code.h"

#include <iterator>

namespace {

constexpr Message kDriveName{1376, "Drive name: %1"};
constexpr Message kStatus{2990, "Status: "};

// By VLDriveState.
constexpr Message kStateWords[] = {
    {1934, "Idle"},
    {686, "Analyzing"},
    {1219, "Defragmenting"},
    {2304, "Offline Verify"},
    {2288, "Offline Defrag Directories"},
    {2295, "Offline Defrag System Files"},
    {2294, "Offline Defrag Page File"},
    {1341, "Done"},
};

void PrintDriveStatus(IVLDrive& drive)
{
    std::wstring line;
    win::Bstr name;
    if (SUCCEEDED(drive.GetDriveName(name.Put()))) {
        line = ToWideString(GetMessage(kDriveName, {name.View()}));
    }
    ULONG state = 0;
    if (FAILED(drive.GetState(&state))) {
        PrintText(line);
        return;
    }
    line += ToWideString(GetMessage(kStatus));
    if (state < std::size(kStateWords)) {
        line += ToWideString(GetMessage(kStateWords[state]));
    }
    PrintLine(line);
}

} // namespace

Result ShowDriveStatus(const std::wstring& computer)
{
    win::ComPtr<IVLAgent> agent;
    if (const Failure failure = ConnectAndCheckAccess(computer, agent)) {
        return *failure;
    }
    return win::CodeOf(WalkDrives(*agent, [](std::wstring_view, IVLDrive& drive) {
        PrintDriveStatus(drive);
        return true;
    }));
}
