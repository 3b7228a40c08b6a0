#include "expected.h"
#include "process.h"
#include "registry_value.h"
#include "simulated_computer.h"
#include "support/scratch_folder.h"
#include "support/trace_file.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <list>

namespace {

using namespace e2e;
using namespace testing_support;

using Lines = std::vector<std::wstring>;

// The shipped program's trace log, in a folder of the test's own. It connects to no database, so that its records are
// few. Other tests' programs may run meanwhile, whose records must not be there.
class ToolTrace : public testing::Test {
protected:
    ToolTrace()
    {
        settings_.emplace_back(HKEY_LOCAL_MACHINE, kCoreKey, L"ConnectionString", L"NONE:");
        settings_.emplace_back(HKEY_LOCAL_MACHINE, kCoreKey, L"TraceFilePath", folder_.Path());
        settings_.emplace_back(HKEY_LOCAL_MACHINE, kCoreKey, L"TraceModuleList", L"vlcmd.exe");
        settings_.emplace_back(HKEY_LOCAL_MACHINE, kCoreKey, L"TraceFunctionName", 1U);
    }

    void Set(const std::wstring& name, std::uint32_t value)
    {
        settings_.emplace_back(HKEY_LOCAL_MACHINE, kCoreKey, name, value);
    }

    [[nodiscard]] std::filesystem::path File() const { return folder_.PathOf(kTraceFile); }

private:
    ScratchFolder folder_;
    std::list<RegistryValue> settings_;
};

constexpr std::uint32_t kNoDatabase = 0x80070429;

TEST_F(ToolTrace, RecordsTheDatabaseLayerFromTheFirstConnectionToTheProcesssEnd)
{
    Set(L"TraceEntryExit", 1);
    EXPECT_EQ(kNoDatabase, RunTool({L"/sta", L"C:", L"D:"}).exitCode);
    EXPECT_EQ((Lines{L"db_manager (vldb::CDbManager::CDbManager) *** ENTER ***",
                     L"db_manager (vldb::CDbManager::CDbManager) *** LEAVE ***",
                     L"db_manager (vldb::CDbManager::Connect) *** ENTER ***",
                     L"db_manager (vldb::CDbManager::Connect) *** LEAVE ***",
                     L"db_manager (vldb::CDbManager::~CDbManager) *** ENTER ***",
                     L"db_manager (vldb::CDbManager::~CDbManager) *** LEAVE ***"}),
              SourcesAndTexts(ReadTraceFile(File())));
}

TEST_F(ToolTrace, IsNotThereUnlessItIsAskedFor)
{
    EXPECT_EQ(kNoDatabase, RunTool({L"/sta", L"C:"}).exitCode);
    Set(L"TraceEntryExit", 2);
    EXPECT_EQ(kNoDatabase, RunTool({L"/sta", L"C:"}).exitCode);
    EXPECT_FALSE(std::filesystem::exists(File()));
}

// The usage screen needs no database and asks nothing of the log, which is there all the same: it has tried to make its
// mutex.
TEST_F(ToolTrace, IsThereBeforeTheProgramsFirstLine)
{
    Set(L"TraceLevel", 100000);
    const SimulatedComputer computer("[windows-fault]\nfunction = CreateMutexW\nerror = 6\n");
    EXPECT_EQ(0U, SimulatedComputer::Run({L"/?"}).exitCode);
    EXPECT_EQ((Lines{L"VLTrace (CVLTrace::CVLTrace) Call to CreateMutex() failed.  Microsoft Error Code = 6",
                     L"VLTrace (CVLTrace::CVLTrace) Mutex could not be successfully created or opened. Log file I/O "
                     L"will NOT be mutexed."}),
              SourcesAndTexts(ReadTraceFile(File())));
}

} // namespace
