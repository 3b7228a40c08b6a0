#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace faults {

// What a command may end with beside its result without a failure, 14 where memory ran out, and Windows' error where
// the control handler or COM's beginning failed: docs/exit-codes.md.
enum Results : std::uint32_t {
    kNothingElse = 0,
    kUsage = 1,          // 87: no drive is left, or the file's drive is unknown
    kRefused = 2,        // 0x20000001
    kNotConnected = 4,   // 0x20000002
    kFailureItself = 8,  // the HRESULT: of connecting, of the database, of another computer's statistics
    kLowBits = 16,       // the low 16 bits of the HRESULT
    kNoDatabase = 32,    // 0x80070429
    kNoVolume = 64,      // 13, of /id
    kNotPermitted = 128, // 0x20000004, of the engine's check
};

// Whether the lines of an undisturbed run come in their order.
enum class Order { Kept, AsDrivesGetThere };

// What may be missing from the output of a run that ends with 0 and tells of no failure.
enum class Lost { Nothing, WhatCannotBeHad };

// How a line may end: always whole, or, where a drive's state cannot be had, behind the drive's name, so that the next
// drive's line goes on there.
enum class LineEnd { Always, NotBehindAName };

// A command on the computer of the loop.
struct Command {
    const char* name;
    std::vector<std::wstring> words;
    std::uint32_t results = kNothingElse;
    // Lines beside those of an undisturbed run and kFailures. A * stands for any text.
    std::span<const std::string_view> lines = {};
    Order order = Order::Kept;
    Lost lost = Lost::Nothing;
    LineEnd lineEnd = LineEnd::Always;
    // What it ends with undisturbed.
    std::uint32_t exitCode = 0;
    // What has to be run before, so that every run finds the same state.
    std::vector<std::wstring> before = {};
};

[[nodiscard]] const std::vector<Command>& Commands();

// The lines that any command may print when something fails.
[[nodiscard]] std::span<const std::string_view> FailureLines();

} // namespace faults
