#include "trace/VLTrace.h"

// Whoever has the log's object has the guard that is constructed before it.
static_assert(sizeof win::kSystemLibrariesOnly != 0);

#include "support/trace_log.h"
#include "trace_test.h"

#include <filesystem>
#include <optional>
#include <type_traits>
#include <vector>

namespace {

using namespace testing_support;
using namespace testing_support::tracing;

static_assert(std::is_base_of_v<CLockable, CVLTrace>);

// --- The record ---

class TraceRecord : public TraceLog {
protected:
    // The record that a new trace log writes.
    std::wstring Record(std::wstring_view module = L"", std::wstring_view source = L"source",
                        std::wstring_view function = L"function", int line = 123, std::wstring_view text = L"text")
    {
        CVLTrace trace;
        std::uint32_t result = 0;
        {
            // GoogleTest goes by the ids, too, so they are others for this call alone.
            const Replaced<"GetCurrentProcessId", decltype(::GetCurrentProcessId)> process(
                [this] { return processId; });
            const Replaced<"GetCurrentThreadId", decltype(::GetCurrentThreadId)> thread([this] { return threadId; });
            result = trace.TraceWrite(module, source, function, line, text);
        }
        EXPECT_EQ(0U, result);
        return TakeRecord();
    }
};

TEST_F(TraceRecord, IsOneLineOfAllFieldsInTheirColumns)
{
    EXPECT_EQ(L"11/05/2026 08:09:07.006 THISPC user             VLCmd            module           00007 00042 "
              L"source                           000123 text",
              Record(L"module"));
}

TEST_F(TraceRecord, HasTheFunctionsNameWhereThatIsAsked)
{
    for (const std::uint32_t nonZero : {1U, 2U, 0x80000000U}) {
        Set(L"TraceFunctionName", nonZero);
        EXPECT_EQ(L"11/05/2026 08:09:07.006 THISPC user             VLCmd            module           00007 00042 "
                  L"source                           000123 (vldb::CDbManager::Connect) text",
                  Record(L"module", L"source", L"vldb::CDbManager::Connect"));
    }
    Set(L"TraceFunctionName", 0);
    EXPECT_TRUE(Record().ends_with(L" 000123 text"));
}

TEST_F(TraceRecord, EndsInCarriageReturnAndLineFeed)
{
    Record();
    CVLTrace trace;
    EXPECT_EQ(0U, Write(trace));
    EXPECT_EQ(0U, Write(trace));
    const std::wstring text = ReadTraceFile(File());
    EXPECT_TRUE(text.ends_with(L" text\r\n"));
    EXPECT_EQ(2U, Records().size());
}

TEST_F(TraceRecord, HasDateAndTimeWithLeadingZeros)
{
    now = {2031, 1, 0, 2, 3, 4, 5, 0};
    EXPECT_TRUE(Record().starts_with(L"01/02/2031 03:04:05.000 THISPC "));
    now = {2026, 12, 0, 31, 23, 59, 58, 999};
    EXPECT_TRUE(Record().starts_with(L"12/31/2026 23:59:58.999 THISPC "));
}

TEST_F(TraceRecord, HasTheComputersNameAsItIs)
{
    for (const wchar_t* const name : {L"A", L"FIFTEEN-LETTERS"}) {
        computerName = name;
        EXPECT_TRUE(Record().starts_with(L"11/05/2026 08:09:07.006 " + computerName + L" user             VLCmd "));
    }
}

TEST_F(TraceRecord, CutsALongUserName)
{
    const std::pair<std::wstring, std::wstring> names[] = {
        {L"", L"                "},
        {L"abcdefghijklmno", L"abcdefghijklmno "},
        {L"abcdefghijklmnop", L"abcdefghijklmnop"},
        {L"abcdefghijklmnopq", L"abcdefghijklm..."},
        {L"abcdefghijklmnopqrst", L"abcdefghijklm..."},
        {std::wstring(519, L'u'), L"uuuuuuuuuuuuu..."},
    };
    for (const auto& [name, column] : names) {
        user = name;
        EXPECT_TRUE(Record().starts_with(L"11/05/2026 08:09:07.006 THISPC " + column + L" VLCmd            "))
            << ::testing::PrintToString(name);
    }
}

TEST_F(TraceRecord, HasNoUserNameWhereWindowsTellsNone)
{
    const Replaced<"GetUserNameW", decltype(::GetUserNameW)> refuse([](LPWSTR, LPDWORD) { return FALSE; });
    EXPECT_TRUE(Record().starts_with(L"11/05/2026 08:09:07.006 THISPC " + kSixteenBlanks + L" VLCmd "));
}

TEST_F(TraceRecord, HasTheProgramsNameWithoutFolderAndExtension)
{
    const std::pair<const wchar_t*, const wchar_t*> programs[] = {
        {L"C:\\Program Files\\Velundra\\VLCmd.exe", L"VLCmd           "},
        {L"C:\\a.b\\VLCmd", L"VLCmd           "},
        {L"C:\\my.tool.exe", L"my.tool         "},
        {L"C:\\abcdefghijklmnop.exe", L"abcdefghijklmnop"},
        {L"C:\\abcdefghijklmnopq.exe", L"abcdefghijklm..."},
    };
    for (const auto& [path, column] : programs) {
        program = path;
        EXPECT_TRUE(Record().starts_with(L"11/05/2026 08:09:07.006 THISPC user             " + std::wstring(column) +
                                         L' ' + kSixteenBlanks + L" 00007 "))
            << ::testing::PrintToString(std::wstring(path));
    }
}

TEST_F(TraceRecord, HasTheProgramsNameHoweverLongItsPathIs)
{
    program = L"C:\\" + std::wstring(4000, L'p') + L"\\tool.exe";
    EXPECT_NE(std::wstring::npos, Record().find(L" tool             "));
}

TEST_F(TraceRecord, CutsALongModuleName)
{
    EXPECT_NE(std::wstring::npos, Record(L"").find(L"VLCmd            " + kSixteenBlanks + L" 00007"));
    EXPECT_NE(std::wstring::npos, Record(L"abcdefghijklmnop").find(L"VLCmd            abcdefghijklmnop 00007"));
    EXPECT_NE(std::wstring::npos, Record(L"abcdefghijklmnopq").find(L"VLCmd            abcdefghijklm... 00007"));
}

TEST_F(TraceRecord, HasTheIdsOfProcessAndThreadWithAtLeastFiveDigits)
{
    processId = 99999;
    threadId = 1;
    EXPECT_NE(std::wstring::npos, Record().find(L" 99999 00001 source "));
    processId = 1234567;
    threadId = 4000000000U;
    EXPECT_NE(std::wstring::npos, Record().find(L" 1234567 4000000000 source "));
}

// The wide column cuts to the same few characters as the narrow ones.
TEST_F(TraceRecord, CutsALongSourceNameToSixteenCharacters)
{
    const std::pair<std::wstring, std::wstring> sources[] = {
        {L"", std::wstring(32, L' ')},
        {L"db_manager", L"db_manager                      "},
        {std::wstring(31, L's'), std::wstring(31, L's') + L' '},
        {std::wstring(32, L's'), std::wstring(32, L's')},
        {std::wstring(33, L's'), L"sssssssssssss..."},
        {std::wstring(40, L's'), L"sssssssssssss..."},
    };
    for (const auto& [source, column] : sources) {
        EXPECT_TRUE(Record(L"", source).ends_with(L" 00007 00042 " + column + L" 000123 text"))
            << ::testing::PrintToString(source);
    }
}

TEST_F(TraceRecord, HasTheSourcesNameWithoutFolderAndExtension)
{
    for (const wchar_t* const source :
         {L"C:\\src\\db\\ado_implement.cpp", L"ado_implement.cpp", L"db\\ado_implement"}) {
        EXPECT_TRUE(Record(L"", source).ends_with(L" 00042 ado_implement                    000123 text"));
    }
    EXPECT_TRUE(Record(L"", L"a.b.cpp").ends_with(L" 00042 a.b                              000123 text"));
}

TEST_F(TraceRecord, HasALineNumberOfAtLeastSixDigits)
{
    EXPECT_TRUE(Record(L"", L"s", L"", 1).ends_with(L" 000001 text"));
    EXPECT_TRUE(Record(L"", L"s", L"", 999999).ends_with(L" 999999 text"));
    EXPECT_TRUE(Record(L"", L"s", L"", 2000000000).ends_with(L" 2000000000 text"));
    EXPECT_TRUE(Record(L"", L"s", L"", -1).ends_with(L" -00001 text"));
}

TEST_F(TraceRecord, HasItsTextAsItStands)
{
    EXPECT_TRUE(Record(L"", L"s", L"", 1, L"").ends_with(L" 000001 "));
    EXPECT_TRUE(Record(L"", L"s", L"", 1, L"100 %s %d %n ä€").ends_with(L" 000001 100 %s %d %n ä€"));
    const std::wstring longText(100'000, L'x');
    EXPECT_TRUE(Record(L"", L"s", L"", 1, longText).ends_with(L" 000001 " + longText));
}

// --- Messages, entries and leaves ---

class TracedMessage : public TraceLog {};

TEST_F(TracedMessage, IsFormattedAsWprintfDoes)
{
    CVLTrace trace;
    EXPECT_EQ(0U, trace.TraceMessage(0, L"src", L"fn", 12, L"%ls has %u of %d%% (%04x)", L"C:", 5U, -3, 0xABU));
    const std::wstring record = TakeRecord();
    EXPECT_TRUE(record.ends_with(L" src                              000012 C: has 5 of -3% (00ab)")) << record.c_str();
    EXPECT_NE(std::wstring::npos, record.find(L" VLCmd            " + kSixteenBlanks + L" 0"));
}

TEST_F(TracedMessage, MayBeEmptyOrOfAnyLength)
{
    CVLTrace trace;
    EXPECT_EQ(0U, trace.TraceMessage(0, L"src", L"fn", 1, L"%ls", L""));
    EXPECT_TRUE(TakeRecord().ends_with(L" 000001 "));
    const std::wstring text(50'000, L'x');
    EXPECT_EQ(0U, trace.TraceMessage(0, L"src", L"fn", 1, L"[%ls]", text.c_str()));
    EXPECT_TRUE(TakeRecord().ends_with(L" [" + text + L"]"));
}

TEST_F(TracedMessage, GivesTheErrorOfWritingIt)
{
    CVLTrace trace;
    const WantedFiles wanted(ERROR_ACCESS_DENIED);
    EXPECT_EQ(5U, trace.TraceMessage(0, L"src", L"fn", 1, L"text"));
}

class TracedOperation : public TraceLog {};

TEST_F(TracedOperation, IsWrittenWhenTheSettingIsOneAlone)
{
    const std::pair<std::uint32_t, std::size_t> settings[] = {{0, 0}, {1, 1}, {2, 0}, {3, 0}, {0xFFFFFFFF, 0}};
    for (const auto& [setting, records] : settings) {
        Set(L"TraceEntryExit", setting);
        CVLTrace trace;
        trace.TraceOperation(L"db_manager", L"vldb::CDbManager::Connect", 42, L"*** ENTER ***");
        EXPECT_EQ(records, Records().size()) << setting;
        std::filesystem::remove(File());
    }
}

TEST_F(TracedOperation, HasNoModule)
{
    Set(L"TraceEntryExit", 1);
    Set(L"TraceFunctionName", 1);
    CVLTrace trace;
    trace.TraceOperation(L"db_manager", L"vldb::CDbManager::Connect", 42, L"*** ENTER ***");
    const std::wstring record = TakeRecord();
    EXPECT_NE(std::wstring::npos, record.find(L" VLCmd            " + kSixteenBlanks + L" 0")) << record.c_str();
    EXPECT_TRUE(
        record.ends_with(L" db_manager                       000042 (vldb::CDbManager::Connect) *** ENTER ***"));
}

TEST_F(TracedOperation, NeverTellsThatItCouldNotBeWritten)
{
    Set(L"TraceEntryExit", 1);
    CVLTrace trace;
    const WantedFiles wanted(ERROR_ACCESS_DENIED);
    trace.TraceOperation(L"s", L"f", 1, L"text");
    EXPECT_EQ(1U, wanted.paths.size());
}

void LeaveEarly(bool early)
{
    const TraceEntry entry(L"source", L"LeaveEarly", 5);
    if (early) {
        return;
    }
    throw 1;
}

TEST_F(TracedOperation, RecordsItsEntryAndEveryWayOfLeavingIt)
{
    TracedOperations operations;
    LeaveEarly(true);
    EXPECT_EQ((Lines{L"source (LeaveEarly) *** ENTER ***", L"source (LeaveEarly) *** LEAVE ***"}), operations.Take());
    EXPECT_THROW(LeaveEarly(false), int);
    EXPECT_EQ((Lines{L"source (LeaveEarly) *** ENTER ***", L"source (LeaveEarly) *** LEAVE ***"}), operations.Take());
    TraceEnter(L"source", L"Read", 6);
    EXPECT_EQ(Lines{L"source (Read) *** ENTER ***"}, operations.Take());
    TraceStep(L"source", L"Close", 6, L"Call m_Connection->Close()");
    EXPECT_EQ(Lines{L"source (Close) Call m_Connection->Close()"}, operations.Take());
}

// How often the trace log's own critical section is entered and not yet left.
class HeldLock {
public:
    explicit HeldLock(const CVLTrace& trace) : begin_(reinterpret_cast<const char*>(&trace)) {}

    [[nodiscard]] int Depth() const { return depth_; }

private:
    [[nodiscard]] int IsOwn(LPCRITICAL_SECTION section) const
    {
        const auto* const at = reinterpret_cast<const char*>(section);
        return at >= begin_ && at < begin_ + sizeof(CVLTrace) ? 1 : 0;
    }

    const char* begin_;
    int depth_ = 0;
    Replaced<"EnterCriticalSection", decltype(::EnterCriticalSection)> enter_{[this](LPCRITICAL_SECTION section) {
        enter_.Original(section);
        depth_ += IsOwn(section);
    }};
    Replaced<"LeaveCriticalSection", decltype(::LeaveCriticalSection)> leave_{[this](LPCRITICAL_SECTION section) {
        depth_ -= IsOwn(section);
        leave_.Original(section);
    }};
};

class LockedTrace : public TraceLog {
protected:
    LockedTrace() { Set(L"TraceEntryExit", 1); }
};

TEST_F(LockedTrace, IsWhatMessagesAndOperationsAreWrittenTo)
{
    CVLTrace trace;
    const HeldLock lock(trace);
    std::vector<int> depths;
    const Replaced<"WriteFile", decltype(::WriteFile)> write(
        [&](HANDLE file, LPCVOID data, DWORD size, LPDWORD written, LPOVERLAPPED overlapped) {
            depths.push_back(lock.Depth());
            return write.Original(file, data, size, written, overlapped);
        });
    EXPECT_EQ(0U, trace.TraceMessage(0, L"src", L"fn", 1, L"text"));
    trace.TraceOperation(L"src", L"fn", 1, L"text");
    EXPECT_EQ((std::vector<int>{1, 1, 1}), depths); // the byte-order mark and two records
    EXPECT_EQ(0, lock.Depth());
}

TEST_F(LockedTrace, IsWhatTheSettingsAreReadInto)
{
    int calls = 0;
    std::optional<HeldLock> lock;
    const Replaced<"RegOpenKeyExW", decltype(::RegOpenKeyExW)> open(
        [&](HKEY, LPCWSTR, DWORD, REGSAM, PHKEY) -> LSTATUS {
            ++calls;
            EXPECT_EQ(lock ? 1 : 0, lock ? lock->Depth() : 0);
            return ERROR_ACCESS_DENIED;
        });
    CVLTrace trace;
    lock.emplace(trace);
    EXPECT_EQ(5U, trace.LoadSettings());
    EXPECT_EQ(2, calls);
    EXPECT_EQ(0, lock->Depth());
}

// --- Module filter ---

struct FilterCase {
    const wchar_t* list;
    const wchar_t* source;
    bool isTraced;
};

class ModuleFilter : public TraceLog, public ::testing::WithParamInterface<FilterCase> {};

TEST_P(ModuleFilter, LetsTheListedFilesAndProgramsThrough)
{
    SetText(L"TraceModuleList", GetParam().list);
    CVLTrace trace;
    EXPECT_EQ(GetParam().isTraced, trace.IsTraced(GetParam().source));
    EXPECT_EQ(0U, Write(trace, GetParam().source));
    EXPECT_EQ(GetParam().isTraced ? 1U : 0U, Records().size());
}

INSTANTIATE_TEST_SUITE_P(
    Lists, ModuleFilter,
    ::testing::Values(FilterCase{L"", L"db_manager", true}, FilterCase{L"", L"", true},
                      FilterCase{L"DB_MANAGER", L"db_manager", true}, FilterCase{L"db_manager", L"DB_Manager", true},
                      FilterCase{L"DB_MANAGER;OTHER", L"C:\\src\\db\\db_manager.cpp", true},
                      FilterCase{L"other;xdb_managerx", L"db_manager", true},
                      FilterCase{L"ADO_IMPLEMENT", L"db_manager", false},
                      FilterCase{L"ADO_IMPLEMENT", L"ado_implement", true}, FilterCase{L"ADO_IMPLEMENT", L"", false},
                      FilterCase{L"VLCMD", L"", false}, FilterCase{L"VLCMD", L"db_manager", true},
                      FilterCase{L"ADO_IMPLEMENT;vlcmd", L"db_manager", true},
                      FilterCase{L"VLCM", L"db_manager", false}, FilterCase{L"DB_MANAGER.CPP", L"db_manager.h", true},
                      FilterCase{L"CPP", L"db_manager.cpp", false}, FilterCase{L"SRC", L"src\\db_manager", false},
                      FilterCase{L"A.B", L"a.b.cpp", true}));

} // namespace
