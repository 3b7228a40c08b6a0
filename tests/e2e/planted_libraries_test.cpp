// Whoever can write into the tool's folder must not have code run by the administrator who starts it: a library that
// lies there under the name of one of Windows' own is never loaded.

#include "engine_process.h"
#include "expected.h"
#include "registry_value.h"
#include "simulated_computer.h"

#include "support/scratch_folder.h"
#include "support/statistics_database.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <string>
#include <utility>
#include <vector>

namespace {

using namespace e2e;

using Names = std::vector<std::wstring>;

// What the tool imports. Windows takes these from its list of known libraries.
const Names kImported = {L"advapi32.dll", L"kernel32.dll", L"msvcrt.dll", L"ole32.dll", L"oleaut32.dll", L"user32.dll"};

// What it loads while it runs, and what Windows loads for it then: with the shell, with the internet's error texts,
// with COM and its proxies, with ADO and ODBC.
const Names kLoaded = {L"actxprxy.dll", L"combase.dll", L"mpr.dll",     L"odbc32.dll",  L"psapi.dll",
                       L"rpcrt4.dll",   L"shcore.dll",  L"shell32.dll", L"shlwapi.dll", L"userenv.dll",
                       L"version.dll",  L"wininet.dll", L"ws2_32.dll"};

constexpr wchar_t kProgram[] = L"VLCmdAmongPlants.exe";
constexpr wchar_t kOverrides[] = L"Software\\Wine\\AppDefaults\\VLCmdAmongPlants.exe\\DllOverrides";

// A drive that has all work done at once, a file and a schedule.
const std::string kDriveC =
    "[schedule Nightly]\nwork = analyze\n[drive C:\\]\nanalyze-seconds = 0\ndefragment-seconds = 0\n"
    "offline-seconds = 0\nfile-seconds = 0\nfile = 5 C:\\data.db\n";

// A folder of the test's own with a program in it and a planted library under each of the names. On Windows that is
// all. Wine prefers its own libraries to others unless it is told otherwise, and keeps no list of known ones.
class PlantedLibraries : public testing::Test {
protected:
    void Program(const std::filesystem::path& program) const
    {
        std::filesystem::copy_file(program, folder_.PathOf(kProgram));
    }

    // Plants libraries that Wine may take in place of its own, or may not.
    void Plant(const Names& names, bool wineMayTakeThem = true)
    {
        for (const std::wstring& name : names) {
            std::filesystem::copy_file(ProgramFolder() / L"planted_library.dll", folder_.PathOf(name));
            overrides_.Add(HKEY_CURRENT_USER, kOverrides, name.substr(0, name.rfind(L'.')),
                           std::wstring(wineMayTakeThem ? L"native,builtin" : L"builtin"));
        }
    }

    // Plants all names. Libraries that are in place before the tool's first line runs are out of its hands: its
    // imports, which Windows keeps in its list, what these import in turn, of which Wine's own differ from Windows',
    // and what the simulated computer imports, where the tool runs on one.
    void PlantAroundTheTool(const Names& importedBySimulation = {})
    {
        Names early = {L"combase.dll", L"rpcrt4.dll", L"version.dll"};
        early.insert(early.end(), importedBySimulation.begin(), importedBySimulation.end());
        Program(ToolPath());
        Plant(kImported, false);
        for (const std::wstring& name : kLoaded) {
            Plant({name}, std::find(early.begin(), early.end(), name) == early.end());
        }
    }

    [[nodiscard]] Outcome Run(const Names& words) const { return Process(folder_.PathOf(kProgram), words).Wait(); }

    [[nodiscard]] Outcome RunOnSimulatedComputer(const Names& words) const
    {
        Names launched = {L"--exit-code", folder_.PathOf(kProgram)};
        launched.insert(launched.end(), words.begin(), words.end());
        return Process(ProgramFolder() / L"vlrun.exe", launched).Wait();
    }

    // The planted libraries that have run.
    [[nodiscard]] Names Ran() const
    {
        Names ran;
        for (const std::filesystem::directory_entry& entry : std::filesystem::directory_iterator(folder_.Path())) {
            if (entry.path().extension() == L".ran") {
                ran.push_back(entry.path().stem().wstring());
            }
        }
        std::sort(ran.begin(), ran.end());
        return ran;
    }

    [[nodiscard]] const testing_support::ScratchFolder& Folder() const { return folder_; }

private:
    testing_support::ScratchFolder folder_;
    RegistryValues overrides_;
};

// All that the tool has a part in, but for what every program needs to start.
Names AllNames()
{
    Names names = kLoaded;
    for (const std::wstring& name : kImported) {
        if (name != L"kernel32.dll" && name != L"msvcrt.dll") {
            names.push_back(name);
        }
    }
    std::sort(names.begin(), names.end());
    return names;
}

TEST_F(PlantedLibraries, RunInAProgramThatTakesNoPrecautions)
{
    Program(ProgramFolder() / L"library_loader.exe");
    Plant(AllNames());
    EXPECT_EQ(0U, Run(AllNames()).exitCode);
    EXPECT_EQ(AllNames(), Ran());
}

TEST_F(PlantedLibraries, DoNotRunInAProgramWithTheToolsPrecautions)
{
    Program(ProgramFolder() / L"guarded_loader.exe");
    Plant(AllNames());
    EXPECT_EQ(0U, Run(AllNames()).exitCode);
    EXPECT_EQ(Names{}, Ran());
}

TEST_F(PlantedLibraries, DoNotRunInAnyCommand)
{
    PlantAroundTheTool();
    testing_support::StatisticsDatabase database;
    RegistryValues settings;
    settings.Add(HKEY_LOCAL_MACHINE, kCoreKey, L"ConnectionString", database.ProductString());
    // The log's folder is made by the shell.
    settings.Add(HKEY_LOCAL_MACHINE, kCoreKey, L"TraceEntryExit", 1U);
    settings.Add(HKEY_LOCAL_MACHINE, kCoreKey, L"TraceFilePath", Folder().PathOf(L"traces\\of the tool"));
    const EngineProcess engine(kDriveC);
    // The engine of another computer cannot be reached from here.
    constexpr std::uint32_t kNotReached = 0x80040154;
    const std::pair<Names, std::uint32_t> commands[] = {
        {{}, 0},
        {{L"/?"}, 0},
        {{L"/st"}, 0},
        {{L"/an", L"C:"}, 0},
        {{L"/dol", L"C:"}, 0},
        {{L"/tw", L"C:"}, 0},
        {{L"/cfs", L"C:"}, 0},
        {{L"/ssd", L"C:"}, 0},
        {{L"/prep", L"C:"}, 0},
        {{L"/of", L"C:"}, 0},
        {{L"/df", L"C:\\data.db"}, 0},
        {{L"/sta", L"C:"}, 0},
        {{L"/sto", L"C:"}, 0},
        {{L"/stf", L"C:"}, 0},
        {{L"/sta", L"C:", L"/c", L"SRV1"}, kNotReached},
        {{L"/st", L"/c", L"SRV1"}, kNotReached},
        {{L"/stop", L"C:"}, 0},
        {{L"/stop", L"/alldrives"}, 0},
        {{L"/sb", L"C:", L"/d"}, 0},
        {{L"/cb", L"C:"}, 0},
        {{L"/rs", L"Nightly"}, 0},
        {{L"/id", L"C:", L"5"}, 0},
        {{L"/si"}, 0},
    };
    for (const auto& [words, exitCode] : commands) {
        EXPECT_EQ(exitCode, Run(words).exitCode) << Narrow(JoinWords(words));
        EXPECT_EQ(Names{}, Ran()) << Narrow(JoinWords(words));
    }
    EXPECT_TRUE(std::filesystem::exists(Folder().PathOf(L"traces\\of the tool"))) << "the shell was not asked";
}

// A wait lasts a minute, unless the computer's clock is simulated.
TEST_F(PlantedLibraries, DoNotRunInACommandThatWaits)
{
    PlantAroundTheTool({L"userenv.dll"});
    testing_support::StatisticsDatabase database;
    const RegistryValue connection(HKEY_LOCAL_MACHINE, kCoreKey, L"ConnectionString", database.ProductString());
    const SimulatedComputer computer(FastClock() + kDriveC);
    const EngineProcess engine(computer);
    EXPECT_EQ(0U, RunOnSimulatedComputer({L"/an", L"C:", L"/w"}).exitCode);
    EXPECT_EQ(Names{}, Ran());
}

// The texts of the internet's errors are in a library of their own.
TEST_F(PlantedLibraries, DoNotRunWhereAnErrorIsLookedUp)
{
    PlantAroundTheTool();
    const EngineProcess engine(kDriveC + Failing("GetFileNameById", "0x80072EE7"));
    const Outcome outcome = Run({L"/id", L"C:", L"5"});
    EXPECT_EQ(0x2EE7U, outcome.exitCode);
    EXPECT_EQ(Names{}, Ran());
}

// Where a class is registered without its library's folder, COM looks for the library as Windows does.
TEST_F(PlantedLibraries, DoNotRunAsAComClassThatIsRegisteredByItsNameAlone)
{
    PlantAroundTheTool();
    Plant({L"somebody.dll"});
    const RegistryValue connection(HKEY_LOCAL_MACHINE, kCoreKey, L"ConnectionString", std::wstring(L"ADO:Provider=x"));
    const RegistryValue server(HKEY_LOCAL_MACHINE,
                               L"Software\\Classes\\CLSID\\{00000514-0000-0010-8000-00AA006D2EA4}\\InprocServer32", L"",
                               std::wstring(L"somebody.dll"));
    EXPECT_NE(0U, Run({L"/sta", L"C:"}).exitCode);
    EXPECT_EQ(Names{}, Ran());
}

} // namespace
