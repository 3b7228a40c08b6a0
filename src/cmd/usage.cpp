#include "cmd/usage.h"

#include "cmd/message_screen.h"

namespace {

constexpr ScreenLine kUsage[] = {
    {{18, "    Usage :"}, true},
    {{2422, "VLCmd <command> [<command-data>] [<command-flags>] [/c <computer-name>]"}, true},
    {{3529, "Where:"}, true},
    {{410, "<command>       - is VLCmd command"}},
    {{408, "<command-data>  - data for the command"}},
    {{409, "<command-flags> - additional command options"}},
    {{411, "<computer-name> - name of the remote computer"}, true},
    {{750, "Available commands :"}, true},
    {{506, "1. Drive status"}},
    {{2419, "VLCmd /st [/c <computer-name>]"}},
    {{2881, "Show status of all drives "}, true},
    {{518, "2. Defrag drives online"}},
    {{2411, "VLCmd /dol|/tw|/cfs  /alldrives|<drive1> <drive2>... [/w] [/c <computer-name>]"}},
    {{3528, "Where :"}},
    {{136, "/dol - Defragment only"}},
    {{158, "/tw  - Tierweave"}},
    {{127, "/cfs - Consolidate free space"}},
    {{5886, "/ssd - SSD Optimize"}},
    {{5887, "/prep - Prep For Shrink"}},
    {{122, "/alldrives - perform operation on all drives"}},
    {{175, "/w         - wait until operation completes"}, true},
    {{527, "3. Defrag drives offline"}},
    {{2414, "VLCmd /of  /alldrives|<drive1> <drive2>... /all|[ /d][ /s][ /p]   [/w] [/c <computer-name>]"}},
    {{3529, "Where:"}},
    {{120, "/all - defrag directories, system files and paging file"}},
    {{131, "/d   - defrag directories"}},
    {{149, "/s   - defrag system files"}},
    {{144, "/p   - defrag paging file"}, true},
    {{529, "4. Defrag files"}},
    {{2410, "VLCmd /df <file1> [<file2> ...] [/c <computer-name>]"}, true},
    {{531, "5. Analyze drive"}},
    {{2408, "VLCmd /an  /alldrives|<drive1> <drive2>... [/w] [/c <computer-name>]"}, true},
    {{535, "6. Show latest statistics"}},
    {{2420, "VLCmd /sta|/sto|/stf  /alldrives|<drive1> <drive2>...  [/c <computer-name>]"}},
    {{3529, "Where:"}},
    {{161, "/sta - statistic of analyze pass"}},
    {{169, "/sto - statistic of online  defrag pass"}},
    {{167, "/stf - statistic of offline defrag pass"}, true},
    {{536, "7. Stop the current active operation"}},
    {{2421, "VLCmd /stop  /alldrives|<drive1> <drive2>...  [/c <computer-name>]"}, true},
    {{537, "8. Schedule boottime defrag."}},
    {{2417, "VLCmd /sb  /alldrives|<drive1> <drive2>...  [/c <computer-name>]"}, true},
    {{538, "9. Cancel bootime defrag."}},
    {{2409, "VLCmd /cb  /alldrives|<drive1> <drive2>...  [/c <computer-name>]"}, true},
    {{510, "10. Run schedule"}},
    {{2416, "VLCmd /rs  <schedule-name> [/c <computer-name>]"}, true},
    {{512, "11. Query file name by the ID on NTFS drive"}},
    {{2413, "VLCmd /id <drive> <id>   [/c <computer-name>]"}},
    {{3529, "Where:"}},
    {{412, "<drive> - drive letter"}},
    {{439, "<id>    - NTFS file ID"}, true},
    {{515, "12. Show support information"}},
    {{2418, "VLCmd /si"}, true},
    {{516, "13. Display help"}},
    {{2407, "VLCmd /?"}},
};

} // namespace

void PrintUsage()
{
    PrintScreen(kUsage);
}
