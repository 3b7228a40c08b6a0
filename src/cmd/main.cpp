#include "cmd/startup.h"
#include "engine/result_codes.h"
#include "messages/console_output.h"
#include "win/com_apartment.h"
#include "win/result_code.h"

#include <new>
#include <stdexcept>

namespace {

std::uint32_t RunProgram(int argc, wchar_t** argv)
{
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
    std::uint32_t exitCode = kSuccess;
    try {
        exitCode = RunProgram(argc, argv);
    } catch (const std::bad_alloc&) {
        exitCode = kOutOfMemory;
    } catch (const std::length_error&) {
        // A text longer than any memory is memory running out, too.
        exitCode = kOutOfMemory;
    }
    return static_cast<int>(exitCode);
}
