#pragma once

#include "win/owner.h"

#include <cstdint>
#include <filesystem>
#include <iosfwd>
#include <string>
#include <string_view>
#include <vector>

namespace e2e {

// What a process left behind.
struct Outcome {
    std::string output;         // everything on standard output, byte for byte
    std::uint32_t exitCode = 0; // all 32 bits

    friend bool operator==(const Outcome&, const Outcome&) = default;
};

// Shows an outcome in the message of a failed test.
std::ostream& operator<<(std::ostream& stream, const Outcome& outcome);

// What a program is started with besides its words. The handles must be inheritable; without an input there is nothing
// to read, without a standard error it is the test's own.
struct Surroundings {
    HANDLE output = nullptr;
    HANDLE input = nullptr;
    DWORD creationFlags = 0;
    HANDLE error = nullptr;
};

// A program that is running.
class Process {
public:
    // Starts the program with the words; its standard output can be read from Wait.
    Process(const std::filesystem::path& program, const std::vector<std::wstring>& words);

    // The same with a command line that is passed as it stands behind the program's name.
    Process(const std::filesystem::path& program, std::wstring_view commandLine);

    // Starts the program with this standard output, or with none.
    Process(const std::filesystem::path& program, const std::vector<std::wstring>& words,
            const Surroundings& surroundings);

    // Reads the output to its end, waits for the process and tells how it ended.
    Outcome Wait();

    // Reads on until the output so far holds the text; false when the output ends before.
    bool ReadUntil(std::string_view text);

    // Whether the process has ended within the time.
    [[nodiscard]] bool EndsWithin(DWORD milliseconds) const;

    // Ends the process.
    void Terminate();

    [[nodiscard]] HANDLE Handle() const { return process_.Get(); }
    [[nodiscard]] DWORD Id() const { return GetProcessId(process_.Get()); }

private:
    void StartWithPipe(const std::filesystem::path& program, std::wstring_view commandLine);
    void Start(const std::filesystem::path& program, std::wstring_view commandLine, const Surroundings& surroundings);
    bool ReadSome();

    win::KernelHandle process_;
    win::KernelHandle output_;
    std::string read_;
};

// The folder of the test program, where the other built programs stand, too.
[[nodiscard]] std::filesystem::path ProgramFolder();

// The tool as it was built.
[[nodiscard]] std::filesystem::path ToolPath();

// The words as one command line, quoted so that the C runtime splits it into the same words again.
[[nodiscard]] std::wstring JoinWords(const std::vector<std::wstring>& words);

// Runs VLCmd.exe of the test program's folder with the words.
[[nodiscard]] Outcome RunTool(const std::vector<std::wstring>& words);

// The same with the words in one text, with blanks between them.
[[nodiscard]] Outcome RunToolLine(std::wstring_view commandLine);

// A pipe whose read end a child inherits; nothing is ever written into it.
class SilentPipe {
public:
    SilentPipe();

    [[nodiscard]] HANDLE ReadEnd() const { return readEnd_.Get(); }

private:
    win::KernelHandle readEnd_;
    win::KernelHandle writeEnd_;
};

} // namespace e2e
