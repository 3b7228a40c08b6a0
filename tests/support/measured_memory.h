#pragma once

#include <cstddef>

namespace testing_support {

// Measures the memory that the calling thread takes from the allocation functions, beyond what it had at first. Only
// one object may live in a thread at a time.
class MeasuredMemory {
public:
    MeasuredMemory();
    MeasuredMemory(const MeasuredMemory&) = delete;
    MeasuredMemory(MeasuredMemory&&) = delete;
    ~MeasuredMemory();
    MeasuredMemory& operator=(const MeasuredMemory&) = delete;
    MeasuredMemory& operator=(MeasuredMemory&&) = delete;

    // The most bytes that there were at any moment.
    [[nodiscard]] std::ptrdiff_t Peak() const { return peak_; }

    // Counts a block of the thread that has been allocated or, with a negative size, is given back.
    static void Count(std::ptrdiff_t size);

private:
    std::ptrdiff_t held_ = 0;
    std::ptrdiff_t peak_ = 0;
};

} // namespace testing_support
