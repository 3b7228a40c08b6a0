#pragma once

namespace testing_support {

// Makes one allocation of the calling thread fail, or that one and all behind it: operator new throws std::bad_alloc,
// or answers null where it is asked not to throw. Only one object may live in a thread at a time.
class FailingMemory {
public:
    // Whether there is memory again after the allocation that failed.
    enum class Afterwards { Enough, None };

    // Which allocation from now on fails, counted from 1.
    explicit FailingMemory(int allocation, Afterwards afterwards = Afterwards::Enough);
    FailingMemory(FailingMemory&&) = delete;
    ~FailingMemory();

    // Whether there have been so many allocations.
    [[nodiscard]] bool HasFailed() const { return hasFailed_; }

    // Whether the allocation that failed said so with an exception, as all do that are not asked not to throw.
    [[nodiscard]] bool HasThrown() const { return hasThrown_; }

    // Counts an allocation of the thread; true when it is the one that fails, which throws or answers null.
    [[nodiscard]] static bool FailsNext(bool throws);

private:
    int left_; // allocations until the failing one, that one included
    Afterwards afterwards_;
    bool hasFailed_ = false;
    bool hasThrown_ = false;
};

// Allocations of the calling thread neither count nor fail as long as the object lives.
class SparedMemory {
public:
    SparedMemory();
    SparedMemory(SparedMemory&&) = delete;
    ~SparedMemory();
};

} // namespace testing_support
