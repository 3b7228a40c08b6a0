#pragma once

namespace sim::ado {

// Keeps the library loaded for as long as the object lives.
class ModuleHold {
public:
    ModuleHold();
    ModuleHold(const ModuleHold&) = delete;
    ModuleHold(ModuleHold&&) = delete;
    ~ModuleHold();
    ModuleHold& operator=(const ModuleHold&) = delete;
    ModuleHold& operator=(ModuleHold&&) = delete;

    // Keeps the library loaded, or no longer, without an object.
    static void Lock(bool lock);

    // Whether nothing holds the library now.
    [[nodiscard]] static bool IsFree();
};

} // namespace sim::ado
