#include "support/provider_registration.h"

#include <gtest/gtest.h>

namespace {

// Every test finds the library of this build registered as ADO.
class RegisteredLibrary : public testing::Environment {
public:
    void SetUp() override { testing_support::RegisterProvider(); }
};

const testing::Environment* const kEnvironment = testing::AddGlobalTestEnvironment(new RegisteredLibrary);

} // namespace
