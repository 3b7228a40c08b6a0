#pragma once

#include "win/windows_api.h"

namespace sim::ado {

// The identifiers under which every program knows ADO's classes.
constexpr GUID kConnectionClass = {0x00000514, 0x0000, 0x0010, {0x80, 0x00, 0x00, 0xAA, 0x00, 0x6D, 0x2E, 0xA4}};
constexpr GUID kRecordsetClass = {0x00000535, 0x0000, 0x0010, {0x80, 0x00, 0x00, 0xAA, 0x00, 0x6D, 0x2E, 0xA4}};

// Makes the library the computer's ADO: its classes by their identifiers and by their names. What is there is
// overwritten; doing it again changes nothing. Answers the first failure.
[[nodiscard]] HRESULT RegisterProvider(HMODULE library);

// Removes the classes and their names; it succeeds where there are none. Answers the first failure.
[[nodiscard]] HRESULT UnregisterProvider();

} // namespace sim::ado
