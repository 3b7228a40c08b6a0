#pragma once

#include "engine/guarded.h"
#include "engine/result_codes.h"
#include "win/com_apartment.h"
#include "win/owner.h"
#include "win/result_code.h"

#include <memory>
#include <utility>
#include <vector>

// The worker threads of one batch. Whatever happens to the batch, they have ended before the object goes.
class JobThreads {
public:
    // count: how many threads there will be at most.
    explicit JobThreads(std::size_t count) { threads_.reserve(count); }
    JobThreads(const JobThreads&) = delete;
    JobThreads(JobThreads&&) = delete;
    ~JobThreads() { WaitForAll(); }

    JobThreads& operator=(const JobThreads&) = delete;
    JobThreads& operator=(JobThreads&&) = delete;

    // Starts a thread that enters the multithreaded COM apartment, runs the job and owns it. Its exit code is the job's
    // result; the low 16 bits of CoInitializeEx's failure, and then the job is not run; kOutOfMemory when memory runs
    // out on it. Nothing happens when the thread cannot be created.
    template <typename Job, Result (*Run)(const Job&)>
    void Start(std::unique_ptr<const Job> job)
    {
        win::KernelHandle thread(CreateThread(nullptr, 0, &Routine<Job, Run>, const_cast<Job*>(job.get()), 0, nullptr));
        if (thread) {
            static_cast<void>(job.release());
            threads_.push_back(std::move(thread));
        }
    }

    // Waits until all threads have ended; returns their exit codes in the order in which they were started.
    [[nodiscard]] std::vector<Result> Finish();

private:
    template <typename Job, Result (*Run)(const Job&)>
    static DWORD WINAPI Routine(void* parameter) noexcept
    {
        const std::unique_ptr<const Job> job(static_cast<const Job*>(parameter));
        return Guarded([&job] {
            const win::ComApartment apartment;
            return FAILED(apartment.Result()) ? win::CodeOf(apartment.Result()) : Run(*job);
        });
    }

    void WaitForAll() const;

    std::vector<win::KernelHandle> threads_;
};
