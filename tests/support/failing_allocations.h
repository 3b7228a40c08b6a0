#pragma once

#include "support/failing_memory.h"
#include "support/resource_census.h"

#include <gtest/gtest.h>

#include <new>

namespace testing_support {

// Calls work(memory) once for each of its allocations, which then fails, and at last once with none failing. An
// allocation that throws must end the work, one that answers null must not, and each time all must be given back.
template <typename Work>
void FailEachAllocation(const ResourceCensus& census, const Work& work)
{
    bool hasFailed = true;
    for (int allocation = 1; hasFailed && !::testing::Test::HasFailure(); ++allocation) {
        {
            const FailingMemory memory(allocation);
            try {
                work(memory);
                EXPECT_FALSE(memory.HasThrown());
            } catch (const std::bad_alloc&) {
                EXPECT_TRUE(memory.HasThrown());
            }
            hasFailed = memory.HasFailed();
        }
        EXPECT_EQ("", census.Imbalance()) << "allocation " << allocation;
    }
}

} // namespace testing_support
