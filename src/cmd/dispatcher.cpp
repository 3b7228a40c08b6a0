#include "cmd/dispatcher.h"

#include "cmd/commands.h"
#include "cmd/console_control.h"
#include "cmd/error_level.h"
#include "messages/console_output.h"
#include "messages/translator.h"
#include "policy/ui_group_policy.h"

#include <product_version.h>

namespace {

constexpr Message kBanner{2447, "Velundra " PRODUCT_VERSION};
constexpr PolicyRule kLaunch{&CGP::IsLaunchAllowed, {3586, "You do not have permission to launch Velundra."}};

Failure RefusalBy(const CGP& policy, const PolicyRule& rule)
{
    if ((policy.*rule.isAllowed)()) {
        return std::nullopt;
    }
    PrintMessage(rule.refusal);
    return SetErrorLevel(kNotPermitted);
}

Result RunCommand(Request& request)
{
    const Command& command = GetCommand(GetCommandCode(request.commandLine));
    request.allDrivesAtOnce = command.allDrives != nullptr && HasFlag(request.commandLine, kAllDrivesSwitch);
    const Operation work = request.allDrivesAtOnce ? command.allDrives : command.operation;
    for (const Check& check : command.checks) {
        if (const Failure failure =
                check.rule != nullptr ? RefusalBy(request.policy, *check.rule) : check.gather(request)) {
            return *failure;
        }
    }
    return work(request);
}

} // namespace

Result DispatchCommand(const CommandLine& commandLine)
{
    // After any failure the texts stay English.
    static_cast<void>(LoadTranslation(GetTranslator(), kLanguageOfCore));
    PrintMessage(kBanner);

    CUiGP policy;
    // After any failure what was read from the policy holds, or else everything is allowed.
    static_cast<void>(policy.StartPolicyMonitor(1));
    if (const Failure refusal = RefusalBy(policy, kLaunch)) {
        return *refusal;
    }
    if (const Failure failure = InstallConsoleCtrlHandler()) {
        return *failure;
    }
    Request request{commandLine, policy, {}, false, {}, {}};
    GetComputerName(commandLine, request.computer);
    return RunCommand(request);
}
