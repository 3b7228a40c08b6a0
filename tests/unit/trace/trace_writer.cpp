// Another of the product's programs, for the tests of the trace log: trace_writer FOLDER MUTEX GO LABEL COUNT writes
// COUNT records "LABEL 1", "LABEL 2", ... into the trace log in FOLDER as soon as the event GO is signalled, and ends
// with the number of records that could not be written. With COUNT 0 it takes the mutex, signals GO and ends, mutex
// and all, when its standard input does.

#include "support/registry_sandbox.h"
#include "support/replaced_function.h"
#include "support/trace_log.h"

#include <cstdlib>
#include <cwchar>

namespace {

using namespace testing_support;

int HoldMutex(const wchar_t* mutexName, HANDLE go)
{
    const win::KernelHandle mutex(CreateMutexW(nullptr, FALSE, mutexName));
    WaitForSingleObject(mutex.Get(), INFINITE);
    SetEvent(go);
    char end = 0;
    DWORD read = 0;
    ReadFile(GetStdHandle(STD_INPUT_HANDLE), &end, 1, &read, nullptr);
    return 0;
}

int WriteRecords(CVLTrace& trace, const wchar_t* label, int count)
{
    int failures = 0;
    for (int number = 1; number <= count; ++number) {
        failures +=
            trace.TraceMessage(0, L"trace_writer", L"WriteRecords", number, L"%ls %d", label, number) == 0 ? 0 : 1;
    }
    return failures;
}

} // namespace

extern "C" int wmain(int argc, wchar_t** argv)
{
    if (argc != 6) {
        return -1;
    }
    const std::wstring mutexName = argv[2];
    const win::KernelHandle go(OpenEventW(SYNCHRONIZE | EVENT_MODIFY_STATE, FALSE, argv[3]));
    const int count = std::wcstol(argv[5], nullptr, 10);
    if (count == 0) {
        return HoldMutex(mutexName.c_str(), go.Get());
    }
    const RegistrySandbox registry;
    RegistrySandbox::SetString(HKEY_LOCAL_MACHINE, kTraceSettings, L"TraceFilePath", argv[1]);
    RegistrySandbox::SetDword(HKEY_LOCAL_MACHINE, kTraceSettings, L"TraceMaxFileSizeMB", 1);
    const Replaced<"CreateMutexW", decltype(::CreateMutexW)> createMutex(
        [&](LPSECURITY_ATTRIBUTES security, BOOL owned, LPCWSTR) {
            return createMutex.Original(security, owned, mutexName.c_str());
        });
    CVLTrace trace;
    WaitForSingleObject(go.Get(), INFINITE);
    return WriteRecords(trace, argv[4], count);
}
