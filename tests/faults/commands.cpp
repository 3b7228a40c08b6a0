#include "commands.h"

#include "win/windows_api.h"

namespace faults {

namespace {

// An error placeholder is an empty line, a heading, the system's text and the code with its place.
constexpr std::string_view kFailures[] = {
    "",
    "Error text:",
    "Detailed error text is not available",
    "Return code: 0x* (*)(Operations/#*)",
    "Failed to set control handler (*).",
    "Could not connect to computer '*'.  Verify the name is correct and the machine is turned on.",
    "Velundra is not installed on computer '*'",
    "You do not have permission to connect to Velundra on computer '*'.  You must be a member of the Local Admin "
    "group.",
    "Unable to connect to specified computer, error access denied.",
    "Unable to get drive interface due to error ",
    "Unable to query drive mount point due to error ",
    "No drives specified for this operation.",
};

// A drive without a name has a line all the same, one without a state none of its own.
constexpr std::string_view kStatusLines[] = {"Status: Idle", "Drive name: *"};
constexpr std::string_view kAnalyzeLines[] = {"Analyze failed due to error "};
constexpr std::string_view kAnalyzeAndWaitLines[] = {
    "Analyze failed due to error ",
    "Failed to output statistics for volume *. Error: *",
    "No statistics data available for * drive.",
    "Local Computer            :   ",
    "Date * :   *", // also where date or time cannot be written
};
constexpr std::string_view kOnlineLines[] = {"Optimization online failed due to error "};
constexpr std::string_view kOfflineLines[] = {
    "Offline Defrag of System Files failed due to error ",
    "Unable to schedule drive * for an Offline defrag pass of your System Files due to error ",
    "Drive * has been scheduled for an offline defrag of your system files on next reboot.",
    "Boot time defragmentation scheduled for drive *.",
    "Offline optimization of System Files started on drive *.",
};
constexpr std::string_view kFileLines[] = {
    "Single File defragmentation failed due to error ",
    "Specified file(s) are in bad format.",
    "Provide fully qualified path names.",
    "Use quotes for files containing spaces.",
};
constexpr std::string_view kStatisticsLines[] = {
    "Failed to output statistics for volume *. Error: *",
    "No statistics data available for * drive.",
    "Local Computer            :   ",
    "Local Computer                  :   ",
    "Local Computer                   :   ",
    "Date * :   *", // also where date or time cannot be written
};
constexpr std::string_view kRemoteLines[] = {"Error occurred while getting statistics.", "Date    :   *"};
constexpr std::string_view kScheduleLines[] = {
    "Unable to schedule drive * for an Offline defrag pass of your System Files due to error ",
};
constexpr std::string_view kCancelLines[] = {
    "Unable to remove drive * from an Offline defrag pass of your System Files due to error ",
};
constexpr std::string_view kIdLines[] = {
    "Failed to get Drive manager due to error ",
    "Failed to get File Name from id  error ",
    "Return code: 0x* (*)(Operations/#*).",
    "* is not a valid DriveName .",
    "* Could not be converted to a known drive type .",
    "* Could not be matched with a known volume GUID .",
};
// The lines of the support report whose facts may be missing or others where Windows does not tell them.
constexpr std::string_view kReportLines[] = {
    "Computer: ",
    "Windows Information: *",
    "Windows *",
    "Physical Memory: *",
    " - Space: *",
    "Bios Date: *",
    "Number of Cores: *",
    "* : .  *",
    "*: Not found",
    "*:Not Found",
    "* : *.*.*.*",
    "* Volume: *",
    " - Boot.ini information: *",
    " - Failed to get volume information of drive * (*)",
    " - Failed to get freespace information of drive * (*)",
    " - Total Clusters:    *",
    " - Free Clusters:    *",
    " - Used Clusters:    *",
    " - MFT Clusters:     *",
};

constexpr std::uint32_t kWork = kUsage | kRefused | kLowBits | kFailureItself | kNotPermitted;

std::vector<Command> MakeCommands()
{
    return {
        {"Help", {L"/?"}},
        {"Status",
         {L"/st"},
         kRefused | kFailureItself | kLowBits | kNotPermitted,
         kStatusLines,
         Order::Kept,
         Lost::Nothing,
         LineEnd::NotBehindAName},
        {"Analyze", {L"/an", L"C:", L"D:"}, kWork | kNotConnected, kAnalyzeLines, Order::AsDrivesGetThere},
        {"AnalyzeAndWait",
         {L"/an", L"C:", L"D:", L"/w"},
         kWork | kNotConnected | kNoDatabase,
         kAnalyzeAndWaitLines,
         Order::AsDrivesGetThere},
        {"DefragOnly", {L"/dol", L"C:", L"D:"}, kUsage, kOnlineLines, Order::AsDrivesGetThere},
        {"TierWeaveAndWait", {L"/tw", L"C:", L"/w"}, kUsage, kOnlineLines, Order::AsDrivesGetThere},
        {"ConsolidateFreeSpace", {L"/cfs", L"/alldrives"}, kUsage, kOnlineLines, Order::AsDrivesGetThere},
        {"SsdOptimize", {L"/ssd", L"D:"}, kUsage, kOnlineLines},
        {"PrepForShrink", {L"/prep", L"C:"}, kUsage, kOnlineLines},
        {"Offline", {L"/of", L"C:", L"D:", L"/d"}, kUsage, kOfflineLines, Order::AsDrivesGetThere},
        {"OfflineAndWait", {L"/of", L"C:", L"/w"}, kUsage, kOfflineLines, Order::AsDrivesGetThere},
        {"DefragFiles", {L"/df", L"C:\\a.txt", L"C:\\b.txt"}, kWork, kFileLines},
        {"StatAnalyze", {L"/sta", L"C:", L"D:"}, kUsage | kFailureItself | kNoDatabase, kStatisticsLines},
        {"StatOnline", {L"/sto", L"/alldrives"}, kUsage | kFailureItself | kNoDatabase, kStatisticsLines},
        {"StatOffline", {L"/stf", L"C:", L"E:"}, kUsage | kFailureItself | kNoDatabase, kStatisticsLines},
        {"RemoteStatistics",
         {L"/sto", L"C:", L"D:", L"/c", L"SRV1"},
         kUsage | kFailureItself | kNotPermitted,
         kRemoteLines},
        {"Stop", {L"/stop", L"C:", L"D:"}, kWork},
        {"StopAll", {L"/stop", L"/alldrives"}, kWork},
        {"ScheduleBoot", {L"/sb", L"C:", L"D:"}, kWork, kScheduleLines},
        {"CancelBootTime",
         {L"/cb", L"C:", L"D:"},
         kWork,
         kCancelLines,
         Order::Kept,
         Lost::Nothing,
         LineEnd::Always,
         ERROR_SUCCESS,
         {L"/sb", L"C:", L"D:", L"/s"}},
        {"CancelNothing",
         {L"/cb", L"E:"},
         kWork,
         kCancelLines,
         Order::Kept,
         Lost::Nothing,
         LineEnd::Always,
         0x20000001},
        {"RunSchedule", {L"/rs", L"Nightly"}, kWork | kNotConnected},
        {"QueryFileById", {L"/id", L"C:", L"42"}, kWork | kNoVolume, kIdLines},
        {"SupportInformation", {L"/si"}, kNothingElse, kReportLines, Order::Kept, Lost::WhatCannotBeHad},
    };
}

} // namespace

const std::vector<Command>& Commands()
{
    static const std::vector<Command> commands = MakeCommands();
    return commands;
}

std::span<const std::string_view> FailureLines()
{
    return kFailures;
}

} // namespace faults
