#pragma once

#include "win/windows_api.h"

#include <cstdint>

// Whether Windows was started in fail-safe mode, with or without network.
[[nodiscard]] bool IsSafeBoot();

// Says why the program does not work in Safe Boot.
void PrintSafeBootRefusal();

// Sets the security of the whole process: COM chooses the services, calls are made with the default authentication and
// may be impersonated by the engine. Returns the HRESULT of CoInitializeSecurity.
[[nodiscard]] HRESULT InitializeProcessSecurity();

// Runs the one command of a command line; returns the exit code. A command line that cannot be parsed is 13.
[[nodiscard]] std::uint32_t RunCommandLine(int argc, wchar_t** argv);
