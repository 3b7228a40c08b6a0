#include "cmd/startup.h"
#include "engine/guarded.h"
#include "messages/console_output.h"
#include "trace/VLTrace.h" // its object is to exist before the entry point runs
#include "win/com_apartment.h"
#include "win/result_code.h"

namespace {

// Has Windows let calls fail where it would ask the user, about a drive without a medium for instance: nobody may be
// there to answer. What the caller has switched off stays so.
void KeepDialogsAway()
{
    SetErrorMode(GetErrorMode() | SEM_FAILCRITICALERRORS | SEM_NOOPENFILEERRORBOX);
}

Result RunInNormalMode(int argc, wchar_t** argv)
{
    if (IsSafeBoot()) {
        PrintSafeBootRefusal();
        return kSuccess;
    }
    win::ComApartment apartment;
    if (FAILED(apartment.Result())) {
        return win::CodeOf(apartment.Result());
    }
    if (const HRESULT security = InitializeProcessSecurity(); FAILED(security)) {
        // COM is not closed: it ends with the process.
        apartment.Abandon();
        return win::CodeOf(security);
    }
    return RunCommandLine(argc, argv);
}

// A run that has succeeded ends with the error of its output if the device refused that.
Result RunProgram(int argc, wchar_t** argv)
{
    KeepDialogsAway();
    const ConsoleOutput output;
    const Result result = RunInNormalMode(argc, argv);
    return result == kSuccess ? output.Error() : result;
}

} // namespace

// The program's entry; the runtime ends the process with its result. The result is an unsigned 32-bit exit code, which
// the runtime wants as an int.
extern "C" int wmain(int argc, wchar_t** argv, wchar_t** /*envp*/)
{
    return static_cast<int>(Guarded([=] { return RunProgram(argc, argv); }));
}
