#pragma once

namespace testing_support {

// Makes the library of this build the prefix's ADO unless it is already. Throws where it cannot.
void RegisterProvider();

} // namespace testing_support
