#pragma once

#include "support/captured_output.h"
#include "support/fake_engine.h"
#include "support/registry_sandbox.h"
#include "support/replaced_function.h"
#include "support/resource_census.h"

#include <gtest/gtest.h>

namespace testing_support {

// Whether a CreateThread is GoogleTest's own: it keeps a suspended-born thread for every thread that it looks at, and
// starts it when it likes. The product's threads run at once.
inline bool IsFrameworkThread(DWORD creationFlags)
{
    return (creationFlags & CREATE_SUSPENDED) != 0;
}

// Ground for a test that runs product code: an empty registry, the product's output caught, and at the end a check that
// whatever the product was handed out has been given back.
class ProductTest : public ::testing::Test {
protected:
    void TearDown() override { EXPECT_EQ("", census.Imbalance()); }

    RegistrySandbox registry;
    ResourceCensus census;
    CapturedOutput output;
};

// The same with an engine in the process.
class EngineTest : public ProductTest {
protected:
    void TearDown() override
    {
        EXPECT_EQ(0, engine.LiveObjects());
        ProductTest::TearDown();
    }

    FakeEngine engine;
};

} // namespace testing_support
