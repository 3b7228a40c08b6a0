#include "engine_process.h"

#include <gtest/gtest.h>

namespace {

using namespace e2e;

TEST(StatusCommand, ListsTheDrivesOfTheDefaultScenario)
{
    const EngineProcess engine;
    const Outcome outcome = RunTool({L"/st"});
    EXPECT_EQ("Velundra 14.0\r\n"
              "Drive name: C:\\Status: Idle\r\n"
              "Drive name: D:\\Status: Defragmenting\r\n"
              "Drive name: E:\\Status: Idle\r\n"
              "Drive name: D:\\Mounts\\Archive\\Status: Idle\r\n"
              "Drive name: F:\\Status: Done\r\n",
              outcome.output);
    EXPECT_EQ(0U, outcome.exitCode);
}

TEST(StatusCommand, PrintsNothingMoreForAnEngineWithoutDrives)
{
    const EngineProcess engine("[engine]\nidle-seconds = 60\n");
    const Outcome outcome = RunTool({L"/st"});
    EXPECT_EQ("Velundra 14.0\r\n", outcome.output);
    EXPECT_EQ(0U, outcome.exitCode);
}

} // namespace
