#include "policy/lockable.h"

#include "noted_steps.h"

#include <gtest/gtest.h>

#include <mutex>
#include <optional>

namespace {

using namespace testing_support;
using namespace testing_support::policies;

class Lockable final : public CLockable {};

TEST(LockableObject, OwnsACriticalSectionWithASpinCountOf10)
{
    std::optional<Lockable> object;
    const SectionsOf sections(&object, sizeof object);
    object.emplace();
    EXPECT_EQ((Steps{"initialise with spin count 10"}), sections.steps);
    object.reset();
    EXPECT_EQ((Steps{"initialise with spin count 10", "delete"}), sections.steps);
}

TEST(LockableObject, LocksAndUnlocksItsCriticalSection)
{
    Lockable object;
    const SectionsOf sections(&object, sizeof object);
    object.lock();
    EXPECT_EQ((Steps{"enter"}), sections.steps);
    object.unlock();
    EXPECT_EQ((Steps{"enter", "leave"}), sections.steps);
    {
        const std::lock_guard guard(object);
        EXPECT_EQ((Steps{"enter", "leave", "enter"}), sections.steps);
    }
    EXPECT_EQ((Steps{"enter", "leave", "enter", "leave"}), sections.steps);
}

} // namespace
