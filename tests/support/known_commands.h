#pragma once

#include "policy/group_policy.h"

#include <optional>
#include <string>
#include <string_view>

namespace testing_support {

// The usage screen with the number of each message.
inline constexpr wchar_t kNumberedUsageScreen[] =
    L"(-18-)    Usage :\n"
    L"\n"
    L"(-2422-)VLCmd <command> [<command-data>] [<command-flags>] [/c <computer-name>]\n"
    L"\n"
    L"(-3529-)Where:\n"
    L"\n"
    L"(-410-)<command>       - is VLCmd command\n"
    L"(-408-)<command-data>  - data for the command\n"
    L"(-409-)<command-flags> - additional command options\n"
    L"(-411-)<computer-name> - name of the remote computer\n"
    L"\n"
    L"(-750-)Available commands :\n"
    L"\n"
    L"(-506-)1. Drive status\n"
    L"(-2419-)VLCmd /st [/c <computer-name>]\n"
    L"(-2881-)Show status of all drives \n"
    L"\n"
    L"(-518-)2. Defrag drives online\n"
    L"(-2411-)VLCmd /dol|/tw|/cfs  /alldrives|<drive1> <drive2>... [/w] [/c <computer-name>]\n"
    L"(-3528-)Where :\n"
    L"(-136-)/dol - Defragment only\n"
    L"(-158-)/tw  - Tierweave\n"
    L"(-127-)/cfs - Consolidate free space\n"
    L"(-5886-)/ssd - SSD Optimize\n"
    L"(-5887-)/prep - Prep For Shrink\n"
    L"(-122-)/alldrives - perform operation on all drives\n"
    L"(-175-)/w         - wait until operation completes\n"
    L"\n"
    L"(-527-)3. Defrag drives offline\n"
    L"(-2414-)VLCmd /of  /alldrives|<drive1> <drive2>... /all|[ /d][ /s][ /p]   [/w] [/c <computer-name>]\n"
    L"(-3529-)Where:\n"
    L"(-120-)/all - defrag directories, system files and paging file\n"
    L"(-131-)/d   - defrag directories\n"
    L"(-149-)/s   - defrag system files\n"
    L"(-144-)/p   - defrag paging file\n"
    L"\n"
    L"(-529-)4. Defrag files\n"
    L"(-2410-)VLCmd /df <file1> [<file2> ...] [/c <computer-name>]\n"
    L"\n"
    L"(-531-)5. Analyze drive\n"
    L"(-2408-)VLCmd /an  /alldrives|<drive1> <drive2>... [/w] [/c <computer-name>]\n"
    L"\n"
    L"(-535-)6. Show latest statistics\n"
    L"(-2420-)VLCmd /sta|/sto|/stf  /alldrives|<drive1> <drive2>...  [/c <computer-name>]\n"
    L"(-3529-)Where:\n"
    L"(-161-)/sta - statistic of analyze pass\n"
    L"(-169-)/sto - statistic of online  defrag pass\n"
    L"(-167-)/stf - statistic of offline defrag pass\n"
    L"\n"
    L"(-536-)7. Stop the current active operation\n"
    L"(-2421-)VLCmd /stop  /alldrives|<drive1> <drive2>...  [/c <computer-name>]\n"
    L"\n"
    L"(-537-)8. Schedule boottime defrag.\n"
    L"(-2417-)VLCmd /sb  /alldrives|<drive1> <drive2>...  [/c <computer-name>]\n"
    L"\n"
    L"(-538-)9. Cancel bootime defrag.\n"
    L"(-2409-)VLCmd /cb  /alldrives|<drive1> <drive2>...  [/c <computer-name>]\n"
    L"\n"
    L"(-510-)10. Run schedule\n"
    L"(-2416-)VLCmd /rs  <schedule-name> [/c <computer-name>]\n"
    L"\n"
    L"(-512-)11. Query file name by the ID on NTFS drive\n"
    L"(-2413-)VLCmd /id <drive> <id>   [/c <computer-name>]\n"
    L"(-3529-)Where:\n"
    L"(-412-)<drive> - drive letter\n"
    L"(-439-)<id>    - NTFS file ID\n"
    L"\n"
    L"(-515-)12. Show support information\n"
    L"(-2418-)VLCmd /si\n"
    L"\n"
    L"(-516-)13. Display help\n"
    L"(-2407-)VLCmd /?\n";

// The same as a user sees it, without the numbers.
inline std::wstring WithoutNumbers(std::wstring_view screen)
{
    std::wstring text;
    while (!screen.empty()) {
        if (screen.starts_with(L"(-")) {
            screen.remove_prefix(screen.find(L"-)") + 2);
        }
        const std::wstring_view line = screen.substr(0, screen.find(L'\n') + 1);
        text += line;
        screen.remove_prefix(line.size());
    }
    return text;
}
inline const std::wstring kUsageScreen = WithoutNumbers(kNumberedUsageScreen);

// A command with all the data that it needs, and the permission that it asks for.
struct KnownCommand {
    const char* name;
    const wchar_t* words;
    std::optional<Permission> permission;
    // What it prints where the engine's only drive is the idle C:; a report has tests of its own.
    std::optional<std::wstring> text;
};

inline const KnownCommand kCommands[] = {
    {"None", L"", std::nullopt, kUsageScreen},
    {"Unknown", L"/bogus C:", std::nullopt, kUsageScreen},
    {"Help", L"/?", std::nullopt, kUsageScreen},
    {"Status", L"/st", Permission::Status, L"Drive name: C:\\Status: Idle\n"},
    {"Analyze", L"/an C:", Permission::Analyze, L"Analyze started on drive C:\\.\n"},
    {"DefragOnly", L"/dol C:", Permission::OnlineDefrag, L"Online optimization started on drive C:\\.\n"},
    {"TierWeave", L"/tw C:", Permission::OnlineDefrag, L"Online optimization started on drive C:\\.\n"},
    {"ConsolidateFreeSpace", L"/cfs C:", Permission::OnlineDefrag, L"Online optimization started on drive C:\\.\n"},
    {"SsdOptimize", L"/ssd C:", Permission::OnlineDefrag, L"Online optimization started on drive C:\\.\n"},
    {"PrepForShrink", L"/prep C:", Permission::OnlineDefrag, L"Online optimization started on drive C:\\.\n"},
    {"Offline", L"/of C:", Permission::OfflineDefrag, L"Offline optimization of System Files started on drive C:\\.\n"},
    {"DefragFiles", L"/df C:\\a.txt", Permission::OnlineDefrag,
     L"Single File defragmentation started on drive C:\\.\n"},
    {"StatAnalyze", L"/sta C:", Permission::Status, std::nullopt},
    {"StatOnline", L"/sto C:", Permission::Status, std::nullopt},
    {"StatOffline", L"/stf C:", Permission::Status, std::nullopt},
    {"Stop", L"/stop C:", Permission::Stop, L"Drive C:\\ was stopped.\n"},
    {"StopAll", L"/stop /alldrives", Permission::Stop, L"All drives were stopped.\n"},
    {"ScheduleBoot", L"/sb C:", Permission::BootTimeSchedule,
     L"Drive C:\\ has been scheduled for an offline defrag of your system files on next reboot.\n"},
    {"CancelBootTime", L"/cb C:", Permission::BootTimeSchedule,
     L"Drive C:\\ has been removed from an offline defrag of your system files on next reboot.\n"},
    {"RunSchedule", L"/rs Nightly", Permission::RunSchedule, L""},
    {"QueryFileById", L"/id C: 42", std::nullopt, L"File Name C:\\data\\report.doc corresponds to id 42 on drive C:\n"},
    {"SupportInformation", L"/si", std::nullopt, std::nullopt},
};

// Whether the command has the engine do something; only reports and help need neither it nor a permission.
inline bool AsksEngine(const KnownCommand& command)
{
    return command.text && (command.permission || std::wstring_view(command.words).starts_with(L"/id"));
}

} // namespace testing_support
