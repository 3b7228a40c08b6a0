#include "engine/job_threads.h"

#include <algorithm>
#include <array>
#include <cstddef>

Failure JobThreads::Finish()
{
    const DWORD waitError = WaitForAll();
    Result last = kSuccess;
    bool anyUnknown = false;
    for (const win::KernelHandle& thread : threads_) {
        DWORD exitCode = kSuccess;
        if (GetExitCodeThread(thread.Get(), &exitCode) == FALSE) {
            anyUnknown = true;
            exitCode = GetLastError();
        }
        last = exitCode != kSuccess ? exitCode : last;
    }
    threads_.clear();
    if (waitError != ERROR_SUCCESS) {
        return waitError;
    }
    return anyUnknown || *anyFailed_ ? Failure(last) : std::nullopt;
}

DWORD JobThreads::WaitForAll() const
{
    // One wait takes at most MAXIMUM_WAIT_OBJECTS handles; waiting for group after group ends when all have ended, too.
    std::array<HANDLE, MAXIMUM_WAIT_OBJECTS> group{};
    DWORD error = ERROR_SUCCESS;
    for (auto next = threads_.begin(); next != threads_.end();) {
        const auto count = std::min<std::ptrdiff_t>(threads_.end() - next, MAXIMUM_WAIT_OBJECTS);
        std::transform(next, next + count, group.begin(), [](const win::KernelHandle& t) { return t.Get(); });
        if (WaitForMultipleObjects(static_cast<DWORD>(count), group.data(), TRUE, INFINITE) == WAIT_FAILED) {
            error = GetLastError();
        }
        next += count;
    }
    return error;
}
