#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>

namespace trace {

// What the registry says about tracing; a value that it lacks has the default that stands here.
struct Settings {
    static constexpr std::size_t kVectorSize = 8192;

    std::uint32_t level = 0;
    std::uint32_t entryExit = 0;
    std::uint32_t maxFileSize = 10; // MB
    std::wstring directory;         // empty: the default one
    std::wstring string;
    std::wstring stringUpper;
    std::wstring moduleList;
    std::wstring moduleListUpper;
    std::array<std::uint32_t, kVectorSize> vector{};
    bool functionName = false;
};

// Reads the settings from the core key. Returns 0, or the error with which the key could not be opened; then all stay
// as they were.
std::uint32_t ReadSettings(Settings& settings);

} // namespace trace
