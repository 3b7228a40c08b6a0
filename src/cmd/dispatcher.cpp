#include "cmd/dispatcher.h"

#include "cmd/console_control.h"
#include "cmd/usage.h"
#include "engine/Operations.h"
#include "messages/console_output.h"
#include "messages/translator.h"

namespace {

constexpr Message kBanner{2447, "Velundra 14.0"};

Result ShowUsage()
{
    PrintUsage();
    return kSuccess;
}

Result RunCommand(const CommandLine& commandLine)
{
    std::wstring computer;
    GetComputerName(commandLine, computer);
    return GetCommandCode(commandLine) == CommandCode::Status ? ShowDriveStatus(computer) : ShowUsage();
}

} // namespace

Result DispatchCommand(const CommandLine& commandLine)
{
    // Without a translation the texts stay English.
    static_cast<void>(LoadTranslation(GetTranslator(), kLanguageOfCore));
    PrintMessage(kBanner);
    if (const Result failure = InstallConsoleCtrlHandler(); failure != kSuccess) {
        return failure;
    }
    return RunCommand(commandLine);
}
