#pragma once

#include "win/windows_api.h"

#include <string_view>

#include <objbase.h>

// Ends the program where a call of COM has failed. A floor program is built by itself, without the tool's library.
inline void Check(HRESULT result)
{
    if (FAILED(result)) {
        ExitProcess(1);
    }
}

// Writes the bytes to standard output in one call.
inline void Write(std::string_view text)
{
    DWORD written = 0;
    WriteFile(GetStdHandle(STD_OUTPUT_HANDLE), text.data(), static_cast<DWORD>(text.size()), &written, nullptr);
}

// COM as the tool has it: many threads, and the process's security.
inline void StartCom()
{
    Check(CoInitializeEx(nullptr, COINIT_MULTITHREADED));
    Check(CoInitializeSecurity(nullptr, -1, nullptr, nullptr, RPC_C_AUTHN_LEVEL_DEFAULT, RPC_C_IMP_LEVEL_IMPERSONATE,
                               nullptr, EOAC_NONE, nullptr));
}
