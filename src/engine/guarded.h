#pragma once

#include "engine/result_codes.h"

#include <new>
#include <stdexcept>

// Runs work() where no exception may pass: at the top of a thread and of the process. Returns its Result or Failure, or
// kOutOfMemory when memory ran out; a text longer than any memory counts as that, too.
template <typename Work>
[[nodiscard]] auto Guarded(Work work) noexcept -> decltype(work())
{
    try {
        return work();
    } catch (const std::bad_alloc&) {
        return kOutOfMemory;
    } catch (const std::length_error&) {
        return kOutOfMemory;
    }
}
