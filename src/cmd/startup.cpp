#include "cmd/startup.h"

#include "cmd/command_line.h"
#include "cmd/dispatcher.h"
#include "cmd/message_screen.h"

namespace {

constexpr ScreenLine kSafeBootRefusal[] = {
    {{5891, "Windows is running in Safe Boot mode"}}, {{5892, "and uses a minimal set of device drivers"}},
    {{5893, "and services to start Windows."}},       {{5894, "Velundra command line utility requires"}},
    {{5895, "Windows to be started in the"}},         {{5896, "Normal mode to work properly."}, true},
    {{5897, "The application now exit."}, true},
};

} // namespace

bool IsSafeBoot()
{
    constexpr int kFailSafe = 1;
    constexpr int kFailSafeWithNetwork = 2;
    const int mode = GetSystemMetrics(SM_CLEANBOOT);
    return mode == kFailSafe || mode == kFailSafeWithNetwork;
}

void PrintSafeBootRefusal()
{
    PrintScreen(kSafeBootRefusal);
}

HRESULT InitializeProcessSecurity()
{
    constexpr LONG kComChoosesServices = -1;
    return CoInitializeSecurity(nullptr, kComChoosesServices, nullptr, nullptr, RPC_C_AUTHN_LEVEL_DEFAULT,
                                RPC_C_IMP_LEVEL_IMPERSONATE, nullptr, EOAC_NONE, nullptr);
}

std::uint32_t RunCommandLine(int argc, wchar_t** argv)
{
    CommandLine commandLine;
    RegisterSwitches(commandLine);
    if (!Parse(commandLine, argc, argv)) {
        return kNotMatched;
    }
    return DispatchCommand(commandLine);
}
