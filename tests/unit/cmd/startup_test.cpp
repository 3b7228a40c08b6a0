#include "cmd/startup.h"

#include "support/arguments.h"
#include "support/numbered_messages.h"
#include "support/product_test.h"

#include <string>

namespace {

using namespace testing_support;

class SafeBoot : public ProductTest {
protected:
    // What IsSafeBoot makes of an answer of Windows.
    static bool IsSafeBootAt(int mode)
    {
        int index = 0;
        const Replaced<"GetSystemMetrics", decltype(::GetSystemMetrics)> metrics([&](int asked) {
            index = asked;
            return mode;
        });
        const bool isSafeBoot = IsSafeBoot();
        EXPECT_EQ(67, index);
        return isSafeBoot;
    }
};

TEST_F(SafeBoot, IsFailSafeModeWithAndWithoutNetwork)
{
    EXPECT_TRUE(IsSafeBootAt(1));
    EXPECT_TRUE(IsSafeBootAt(2));
}

TEST_F(SafeBoot, IsNothingElse)
{
    for (const int mode : {0, 3, 4, -1, 0x10001}) {
        EXPECT_FALSE(IsSafeBootAt(mode)) << mode;
    }
}

TEST_F(SafeBoot, IsRefusedByNumberedMessages)
{
    const NumberedMessages numbered;
    PrintSafeBootRefusal();
    EXPECT_EQ(L"(-5891-)Windows is running in Safe Boot mode\n"
              L"(-5892-)and uses a minimal set of device drivers\n"
              L"(-5893-)and services to start Windows.\n"
              L"(-5894-)Velundra command line utility requires\n"
              L"(-5895-)Windows to be started in the\n"
              L"(-5896-)Normal mode to work properly.\n"
              L"\n"
              L"(-5897-)The application now exit.\n"
              L"\n",
              output.Text());
}

// What CoInitializeSecurity was called with.
struct SecurityArguments {
    PSECURITY_DESCRIPTOR descriptor;
    LONG serviceCount;
    SOLE_AUTHENTICATION_SERVICE* services;
    void* reserved1;
    DWORD authenticationLevel;
    DWORD impersonationLevel;
    void* authentication;
    DWORD capabilities;
    void* reserved3;
    bool operator==(const SecurityArguments&) const = default;
};

TEST(ProcessSecurity, LeavesTheServicesToComAndLetsTheEngineImpersonate)
{
    SecurityArguments seen{};
    const Replaced<"CoInitializeSecurity", decltype(::CoInitializeSecurity)> initialize([&](auto... arguments) {
        seen = {arguments...};
        return S_OK;
    });
    EXPECT_EQ(S_OK, InitializeProcessSecurity());
    EXPECT_EQ((SecurityArguments{nullptr, -1, nullptr, nullptr, 0, 3, nullptr, 0, nullptr}), seen);
    EXPECT_EQ(1, initialize.Calls());
}

TEST(ProcessSecurity, GivesTheFailureAsItIs)
{
    const Replaced<"CoInitializeSecurity", decltype(::CoInitializeSecurity)> initialize(
        [](auto...) { return RPC_E_TOO_LATE; });
    EXPECT_EQ(RPC_E_TOO_LATE, InitializeProcessSecurity());
}

class RunningACommandLine : public EngineTest {
protected:
    static std::uint32_t Run(const Words& words)
    {
        Arguments arguments(words);
        return RunCommandLine(arguments.Count(), arguments.Values());
    }

    Replaced<"_wputenv", decltype(::_wputenv)> putEnvironment{[](const wchar_t*) { return 0; }};
};

TEST_F(RunningACommandLine, EndsWith13AndWithoutAWordWhenTheComputerNameIsMissing)
{
    EXPECT_EQ(13U, Run({L"/an", L"C:", L"/c"}));
    EXPECT_EQ(13U, Run({L"/c"}));
    EXPECT_EQ(13U, Run({L"/?", L"/C"}));
    EXPECT_EQ(L"", output.Text());
    EXPECT_EQ(0, putEnvironment.Calls());
    EXPECT_TRUE(engine.Activations().empty());
}

TEST_F(RunningACommandLine, KeepsNothingOfOneLineForTheNext)
{
    ASSERT_EQ(0U, Run({L"/st", L"/c", L"SRV1"}));
    ASSERT_EQ(0U, Run({L"/st"}));
    const std::vector<Activation> activations = engine.Activations();
    ASSERT_EQ(2U, activations.size());
    EXPECT_TRUE(activations[0].remote);
    EXPECT_EQ(L"SRV1", activations[0].server);
    EXPECT_FALSE(activations[1].remote);
}

} // namespace
