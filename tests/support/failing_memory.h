#pragma once

namespace testing_support {

// Makes one allocation of the calling thread fail: operator new throws std::bad_alloc, or answers null where it is
// asked not to throw. Only one object may live in a thread at a time.
class FailingMemory {
public:
    // Which allocation from now on fails, counted from 1.
    explicit FailingMemory(int allocation);
    FailingMemory(const FailingMemory&) = delete;
    FailingMemory(FailingMemory&&) = delete;
    ~FailingMemory();
    FailingMemory& operator=(const FailingMemory&) = delete;
    FailingMemory& operator=(FailingMemory&&) = delete;

    // Whether there have been so many allocations.
    [[nodiscard]] bool HasFailed() const { return hasFailed_; }

    // Whether the allocation that failed said so with an exception, as all do that are not asked not to throw.
    [[nodiscard]] bool HasThrown() const { return hasThrown_; }

    // Counts an allocation of the thread; true when it is the one that fails, which throws or answers null.
    [[nodiscard]] static bool FailsNext(bool throws);

private:
    int left_; // allocations until the failing one, that one included
    bool hasFailed_ = false;
    bool hasThrown_ = false;
};

// Allocations of the calling thread neither count nor fail as long as the object lives.
class SparedMemory {
public:
    SparedMemory();
    SparedMemory(const SparedMemory&) = delete;
    SparedMemory(SparedMemory&&) = delete;
    ~SparedMemory();
    SparedMemory& operator=(const SparedMemory&) = delete;
    SparedMemory& operator=(SparedMemory&&) = delete;
};

} // namespace testing_support
