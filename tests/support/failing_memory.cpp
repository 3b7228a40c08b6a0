#include "support/failing_memory.h"

#include "support/measured_memory.h"

#include <algorithm>
#include <cstdlib>
#include <new>

#include <malloc.h>

namespace testing_support {

namespace {

thread_local FailingMemory* failing = nullptr;
thread_local int sparings = 0;
thread_local MeasuredMemory* measuring = nullptr;

void* Allocate(std::size_t size, bool throws) noexcept
{
    void* const block = FailingMemory::FailsNext(throws) ? nullptr : std::malloc(size == 0 ? 1 : size);
    if (measuring != nullptr && block != nullptr) {
        MeasuredMemory::Count(static_cast<std::ptrdiff_t>(_msize(block)));
    }
    return block;
}

void Free(void* block) noexcept
{
    if (measuring != nullptr && block != nullptr) {
        MeasuredMemory::Count(-static_cast<std::ptrdiff_t>(_msize(block)));
    }
    std::free(block);
}

void* AllocateOrThrow(std::size_t size)
{
    void* const block = Allocate(size, true);
    if (block == nullptr) {
        throw std::bad_alloc();
    }
    return block;
}

} // namespace

FailingMemory::FailingMemory(int allocation, Afterwards afterwards) : left_(allocation), afterwards_(afterwards)
{
    failing = this;
}

FailingMemory::~FailingMemory()
{
    failing = nullptr;
}

bool FailingMemory::FailsNext(bool throws)
{
    if (failing == nullptr || sparings != 0) {
        return false;
    }
    if (failing->hasFailed_) {
        return failing->afterwards_ == Afterwards::None;
    }
    if (--failing->left_ != 0) {
        return false;
    }
    failing->hasFailed_ = true;
    failing->hasThrown_ = throws;
    return true;
}

SparedMemory::SparedMemory()
{
    ++sparings;
}

SparedMemory::~SparedMemory()
{
    --sparings;
}

MeasuredMemory::MeasuredMemory()
{
    measuring = this;
}

MeasuredMemory::~MeasuredMemory()
{
    measuring = nullptr;
}

void MeasuredMemory::Count(std::ptrdiff_t size)
{
    measuring->held_ += size;
    measuring->peak_ = std::max(measuring->peak_, measuring->held_);
}

} // namespace testing_support

// The test program's allocation functions, in place of the standard library's.

void* operator new(std::size_t size)
{
    return testing_support::AllocateOrThrow(size);
}

void* operator new[](std::size_t size)
{
    return testing_support::AllocateOrThrow(size);
}

void* operator new(std::size_t size, const std::nothrow_t& /*tag*/) noexcept
{
    return testing_support::Allocate(size, false);
}

void* operator new[](std::size_t size, const std::nothrow_t& /*tag*/) noexcept
{
    return testing_support::Allocate(size, false);
}

void operator delete(void* block) noexcept
{
    testing_support::Free(block);
}

void operator delete[](void* block) noexcept
{
    testing_support::Free(block);
}

void operator delete(void* block, std::size_t /*size*/) noexcept
{
    testing_support::Free(block);
}

void operator delete[](void* block, std::size_t /*size*/) noexcept
{
    testing_support::Free(block);
}

void operator delete(void* block, const std::nothrow_t& /*tag*/) noexcept
{
    testing_support::Free(block);
}

void operator delete[](void* block, const std::nothrow_t& /*tag*/) noexcept
{
    testing_support::Free(block);
}
