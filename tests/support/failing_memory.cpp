#include "support/failing_memory.h"

#include <cstdlib>
#include <new>

namespace testing_support {

namespace {

// Allocations until one fails, that one included; 0 when none is to fail.
thread_local int allocationsLeft = 0;
thread_local bool hasFailed = false;
thread_local int sparings = 0;

void* Allocate(std::size_t size) noexcept
{
    if (sparings == 0 && allocationsLeft > 0 && --allocationsLeft == 0) {
        hasFailed = true;
        return nullptr;
    }
    return std::malloc(size == 0 ? 1 : size);
}

void* AllocateOrThrow(std::size_t size)
{
    void* const block = Allocate(size);
    if (block == nullptr) {
        throw std::bad_alloc();
    }
    return block;
}

} // namespace

FailingMemory::FailingMemory(int allocation)
{
    hasFailed = false;
    allocationsLeft = allocation;
}

FailingMemory::~FailingMemory()
{
    allocationsLeft = 0;
}

bool FailingMemory::HasFailed() const
{
    return hasFailed;
}

SparedMemory::SparedMemory()
{
    ++sparings;
}

SparedMemory::~SparedMemory()
{
    --sparings;
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
    return testing_support::Allocate(size);
}

void* operator new[](std::size_t size, const std::nothrow_t& /*tag*/) noexcept
{
    return testing_support::Allocate(size);
}

void operator delete(void* block) noexcept
{
    std::free(block);
}

void operator delete[](void* block) noexcept
{
    std::free(block);
}

void operator delete(void* block, std::size_t /*size*/) noexcept
{
    std::free(block);
}

void operator delete[](void* block, std::size_t /*size*/) noexcept
{
    std::free(block);
}

void operator delete(void* block, const std::nothrow_t& /*tag*/) noexcept
{
    std::free(block);
}

void operator delete[](void* block, const std::nothrow_t& /*tag*/) noexcept
{
    std::free(block);
}
