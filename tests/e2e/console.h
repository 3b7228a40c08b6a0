#pragma once

#include "process.h"

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

namespace e2e {

// A console without a window, to which this process and the programs it starts belong as long as the object lives.
class TestConsole {
public:
    TestConsole();
    TestConsole(const TestConsole&) = delete;
    TestConsole(TestConsole&&) = delete;
    ~TestConsole();
    TestConsole& operator=(const TestConsole&) = delete;
    TestConsole& operator=(TestConsole&&) = delete;

    // Presses Ctrl+C in the console. What of it this process gets, it ignores.
    static void PressControlC();

    // Runs a program with an empty screen of the console as its standard output; returns its exit code.
    std::uint32_t Run(const std::filesystem::path& program, const std::vector<std::wstring>& words);

    // The lines of that screen above the cursor, without the blanks at their ends.
    [[nodiscard]] std::vector<std::wstring> Lines() const;

private:
    SilentPipe noInput_;
    Process keeper_; // the console is made with this process and lives as long
    win::FileHandle screen_;
};

} // namespace e2e
