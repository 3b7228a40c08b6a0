#include "process.h"
#include "registry_value.h"
#include "simulated_computer.h"
#include "support/scratch_folder.h"
#include "support/trace_file.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using namespace e2e;
using namespace testing_support;

// The trace log of the shipped program; that of a run with the database is in database_reports_test.cpp. Other tests'
// programs may run meanwhile, whose records must not be there.

// The usage screen needs no database and asks nothing of the log, which is there all the same: it has tried to make its
// mutex.
TEST(ToolTrace, IsThereBeforeTheProgramsFirstLine)
{
    const ScratchFolder folder;
    RegistryValues settings;
    settings.Add(HKEY_LOCAL_MACHINE, kCoreKey, L"TraceFilePath", folder.Path());
    settings.Add(HKEY_LOCAL_MACHINE, kCoreKey, L"TraceModuleList", std::wstring(L"vlcmd.exe"));
    settings.Add(HKEY_LOCAL_MACHINE, kCoreKey, L"TraceFunctionName", 1U);
    settings.Add(HKEY_LOCAL_MACHINE, kCoreKey, L"TraceLevel", 100000U);
    const SimulatedComputer computer("[windows-fault]\nfunction = CreateMutexW\nerror = 6\n");
    EXPECT_EQ(0U, SimulatedComputer::Run({L"/?"}).exitCode);
    EXPECT_EQ((std::vector<std::wstring>{
                  L"VLTrace (CVLTrace::CVLTrace) Call to CreateMutex() failed.  Microsoft Error Code = 6",
                  L"VLTrace (CVLTrace::CVLTrace) Mutex could not be successfully created or opened. Log file I/O "
                  L"will NOT be mutexed."}),
              SourcesAndTexts(ReadTraceFile(folder.PathOf(kTraceFile))));
}

} // namespace
