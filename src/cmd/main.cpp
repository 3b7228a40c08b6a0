#include "cmd/startup.h"
#include "engine/guarded.h"
#include "messages/console_output.h"
#include "trace/VLTrace.h" // for its object, which is to be there before the entry point runs
#include "win/com_apartment.h"
#include "win/result_code.h"

namespace {

// What Windows would ask the user about, a drive without a medium above all, is to fail instead: nobody may be there to
// answer. What the caller has switched off stays so.
void KeepDialogsAway()
{
    SetErrorMode(GetErrorMode() | SEM_FAILCRITICALERRORS | SEM_NOOPENFILEERRORBOX);
}

Result RunProgram(int argc, wchar_t** argv)
{
    KeepDialogsAway();
    const ConsoleOutput output;
    if (IsSafeBoot()) {
        PrintSafeBootRefusal();
        return kSuccess;
    }
    win::ComApartment apartment;
    if (FAILED(apartment.Result())) {
        return win::CodeOf(apartment.Result());
    }
    if (const HRESULT security = InitializeProcessSecurity(); FAILED(security)) {
        // The process ends at once, and COM is left to end with it.
        apartment.Abandon();
        return win::CodeOf(security);
    }
    return RunCommandLine(argc, argv);
}

} // namespace

// The program's entry; the runtime ends the process with its result. The result is an unsigned 32-bit exit code, which
// the runtime wants as an int.
extern "C" int wmain(int argc, wchar_t** argv, wchar_t** /*envp*/)
{
    return static_cast<int>(Guarded([=] { return RunProgram(argc, argv); }));
}
