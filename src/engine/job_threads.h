#pragma once

#include "engine/guarded.h"
#include "engine/result_codes.h"
#include "win/com_apartment.h"
#include "win/owner.h"
#include "win/result_code.h"

#include <atomic>
#include <memory>
#include <utility>
#include <vector>

// The worker threads of one batch. The object's end waits until all threads have ended.
class JobThreads {
public:
    // count: how many threads there will be at most.
    explicit JobThreads(std::size_t count) { threads_.reserve(count); }
    JobThreads(const JobThreads&) = delete;
    JobThreads(JobThreads&&) = delete;
    ~JobThreads() { static_cast<void>(WaitForAll()); }

    JobThreads& operator=(const JobThreads&) = delete;
    JobThreads& operator=(JobThreads&&) = delete;

    // Starts a thread that enters the multithreaded COM apartment and runs the job. Its exit code is 0 or the result of
    // the job's failure; the low 16 bits of CoInitializeEx's failure, and then the job is not run; kOutOfMemory when
    // memory runs out on it. Nothing happens when the thread cannot be created.
    template <typename Job, Failure (*Run)(const Job&)>
    void Start(const Job& job)
    {
        auto work = std::make_unique<Work<Job>>(Work<Job>{job, anyFailed_});
        win::KernelHandle thread(CreateThread(nullptr, 0, &Routine<Job, Run>, work.get(), 0, nullptr));
        if (thread) {
            static_cast<void>(work.release());
            threads_.push_back(std::move(thread));
        }
    }

    // Waits until all threads have ended. Fails when one of them failed, with the last exit code that is not 0, in the
    // order in which they were started; with 0 where none is. Fails with the Windows error, too, where the wait fails
    // or a thread's exit code cannot be had, which counts in that thread's place.
    [[nodiscard]] Failure Finish();

private:
    // What a thread owns.
    template <typename Job>
    struct Work {
        const Job job;
        const std::shared_ptr<std::atomic<bool>> anyFailed;
    };

    template <typename Job, Failure (*Run)(const Job&)>
    static DWORD WINAPI Routine(void* parameter) noexcept
    {
        const std::unique_ptr<Work<Job>> work(static_cast<Work<Job>*>(parameter));
        const Failure failure = Guarded([&work] {
            const win::ComApartment apartment;
            return FAILED(apartment.Result()) ? win::CodeOf(apartment.Result()) : Run(work->job);
        });
        if (failure) {
            *work->anyFailed = true;
        }
        return failure.value_or(kSuccess);
    }

    // Returns 0 or the Windows error of the wait.
    [[nodiscard]] DWORD WaitForAll() const;

    // An exit code of 0 may be that of a failure. Shared with the threads, which run on where the wait for them fails.
    std::shared_ptr<std::atomic<bool>> anyFailed_ = std::make_shared<std::atomic<bool>>(false);
    std::vector<win::KernelHandle> threads_;
};
