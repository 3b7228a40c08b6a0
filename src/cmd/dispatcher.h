#pragma once

#include "cmd/command_line.h"

// Runs the command of a command line and returns the exit code: prints the banner, checks what the command needs, has
// its operation do the work.
[[nodiscard]] Result DispatchCommand(const CommandLine& commandLine);
