#include "engine/job_threads.h"

#include <algorithm>
#include <array>
#include <cstddef>

Failure JobThreads::Finish()
{
    WaitForAll();
    Result last = kSuccess;
    for (const win::KernelHandle& thread : threads_) {
        DWORD exitCode = kSuccess;
        GetExitCodeThread(thread.Get(), &exitCode);
        if (exitCode != kSuccess) {
            last = exitCode;
        }
    }
    threads_.clear();
    return anyFailed_ ? Failure(last) : std::nullopt;
}

void JobThreads::WaitForAll() const
{
    // One wait takes at most MAXIMUM_WAIT_OBJECTS handles; waiting for group after group ends when all have ended, too.
    std::array<HANDLE, MAXIMUM_WAIT_OBJECTS> group{};
    for (auto next = threads_.begin(); next != threads_.end();) {
        const auto count = std::min<std::ptrdiff_t>(threads_.end() - next, MAXIMUM_WAIT_OBJECTS);
        std::transform(next, next + count, group.begin(), [](const win::KernelHandle& t) { return t.Get(); });
        WaitForMultipleObjects(static_cast<DWORD>(count), group.data(), TRUE, INFINITE);
        next += count;
    }
}
