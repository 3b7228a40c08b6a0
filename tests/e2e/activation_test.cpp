#include "engine_process.h"
#include "expected.h"
#include "registry_value.h"

#include <gtest/gtest.h>

#include <string>

namespace {

using namespace e2e;

// The engine as COM finds it in the registry: nobody has started it.
class ActivatedEngine : public testing::Test {
public:
    ActivatedEngine() { RunEngine(L"/quit"); }
    ~ActivatedEngine() override { RunEngine(L"/quit"); }

protected:
    [[nodiscard]] std::vector<std::string> Log() const { return ReadLog(log_); }

    // Whether the log's last line begins with the text within the time.
    [[nodiscard]] bool LogEndsWith(const std::string& begin, int seconds) const
    {
        constexpr DWORD kPause = 100;
        for (int i = 0; i < seconds * 10; ++i) {
            if (const std::vector<std::string> lines = Log(); !lines.empty() && lines.back().starts_with(begin)) {
                return true;
            }
            Sleep(kPause);
        }
        return false;
    }

    void UseScenario(std::string_view text)
    {
        folder_.AddFile(L"test.scenario", text);
        scenario_.emplace(HKEY_LOCAL_MACHINE, kSimulatorKey, L"Scenario", folder_.PathOf(L"test.scenario"));
    }

private:
    testing_support::ScratchFolder folder_;
    std::filesystem::path log_ = folder_.PathOf(L"calls.log");
    RegistryValue logValue_{HKEY_LOCAL_MACHINE, kSimulatorKey, L"CallLog", log_.wstring()};
    std::optional<RegistryValue> scenario_;
};

TEST_F(ActivatedEngine, StartsForTheFirstCommandAndShowsItsDefaultScenario)
{
    EXPECT_EQ(BannerAnd("Drive name: C:\\Status: Idle\n"
                        "Drive name: D:\\Status: Defragmenting\n"
                        "Drive name: E:\\Status: Idle\n"
                        "Drive name: D:\\Mounts\\Archive\\Status: Idle\n"
                        "Drive name: F:\\Status: Done\n"),
              RunTool({L"/st"}));
    ASSERT_FALSE(Log().empty());
    EXPECT_EQ("server started: 5 drives, 2 schedules, 0 faults", Log().front());
}

TEST_F(ActivatedEngine, GoesOnBetweenCommands)
{
    UseScenario("[drive C:\\]\nanalyze-seconds = 600\n");
    EXPECT_EQ(BannerAnd("Analyze started on drive C:\\.\n"), RunTool({L"/an", L"C:"}));
    EXPECT_EQ(BannerAnd("Drive name: C:\\Status: Analyzing\n"), RunTool({L"/st"}));
    EXPECT_EQ(BannerAnd("Drive C:\\ was stopped.\n"), RunTool({L"/stop", L"C:"}));
    EXPECT_EQ(BannerAnd("Drive name: C:\\Status: Idle\n"), RunTool({L"/st"}));
}

TEST_F(ActivatedEngine, EndsByItselfAndStartsAnew)
{
    UseScenario("[engine]\nidle-seconds = 1\n[drive C:\\]\n");
    EXPECT_EQ(BannerAnd("Drive name: C:\\Status: Idle\n"), RunTool({L"/st"}));
    EXPECT_TRUE(LogEndsWith("server ended: agent 0, service 0, drive 0", 60));
    EXPECT_EQ(BannerAnd("Drive name: C:\\Status: Idle\n"), RunTool({L"/st"}));
}

} // namespace
