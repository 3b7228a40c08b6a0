#pragma once

#include <cstdint>

// Puts the code into the process's environment as "ERRORLEVEL=" and its unsigned decimal digits, for programs that the
// process would start; returns the code unchanged.
std::uint32_t SetErrorLevel(std::uint32_t code);
