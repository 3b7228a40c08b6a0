#pragma once

#include "win/windows_api.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace faults {

// What a function returns when it fails. A status and a result are the error themselves; the others leave it to
// GetLastError.
enum class Returns { Zero, InvalidHandle, WaitFailed, Status, Result };

// Things that a function hands out and another takes back.
enum class Kind { None, Handle, Key, FileSearch, VolumeSearch, MountPointSearch, LocalMemory, Array, Text, Object };
inline constexpr std::size_t kKinds = 10;

[[nodiscard]] const char* NameOf(Kind kind);

// Where a function's argument is meant, the return value.
inline constexpr int kReturned = -1;

inline constexpr std::size_t kMostErrors = 4;

// A function that may fail, and how its documentation says that it does.
struct Function {
    const char* name;
    Returns returns = Returns::Zero;
    // The errors with which it may fail; those of a result are kFailingResults.
    std::array<DWORD, kMostErrors> errors{};
    // Where it may succeed and hand out nothing: what it returns then, and of the argument that points to the place of
    // its output the number and the size.
    struct Nothing {
        std::uint64_t returned;
        int argument;
        std::size_t size;
    };
    std::optional<Nothing> nothing{};
    // What it hands out: through the argument of this number, which points to the place, or as its return value.
    Kind gives = Kind::None;
    int givesAt = kReturned;
    // What it takes back through the argument of this number.
    Kind takes = Kind::None;
    int takesAt = 0;
};

// All that may fail: functions that the program imports or looks up by name, methods of the engine and of ADO.
[[nodiscard]] std::span<const Function> Functions();

// The place of a function in the table; nothing for one that is not there.
[[nodiscard]] std::optional<std::size_t> FindFunction(std::string_view name);

// A function that the program imports or looks up and that is never made to fail.
struct Exemption {
    const char* name;
    const char* reason;
    // What it takes back through its first argument.
    Kind takes = Kind::None;
};

[[nodiscard]] std::span<const Exemption> Exemptions();

// One way in which a function can fail, or succeed without a result.
struct Way {
    std::string name; // the error as a number, or "nothing"
    std::uint64_t returned = 0;
    std::optional<DWORD> lastError;
    std::optional<Function::Nothing> nothing;
};

[[nodiscard]] std::vector<Way> WaysOf(const Function& function);

} // namespace faults
