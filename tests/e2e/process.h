#pragma once

#include "win/owner.h"

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace e2e {

// What a process left behind.
struct Outcome {
    std::string output;         // everything on standard output, byte for byte
    std::uint32_t exitCode = 0; // all 32 bits
};

// A program that is running.
class Process {
public:
    // Starts the program with the words; with captureOutput its standard output can be read from Wait, else it is
    // thrown away. Standard error is the test's own.
    Process(const std::filesystem::path& program, const std::vector<std::wstring>& words, bool captureOutput);

    // The same with a command line that is passed as it stands.
    Process(const std::filesystem::path& program, std::wstring commandLine, bool captureOutput);

    // Reads the output to its end, waits for the process and tells how it ended.
    Outcome Wait();

    // Whether the process has ended within the time.
    [[nodiscard]] bool EndsWithin(DWORD milliseconds) const;

    // Ends the process.
    void Terminate();

    [[nodiscard]] HANDLE Handle() const { return process_.Get(); }

private:
    win::KernelHandle process_;
    win::KernelHandle output_;
};

// The folder of the test program, where the other built programs stand, too.
[[nodiscard]] std::filesystem::path ProgramFolder();

// The words as one command line, quoted so that the C runtime splits it into the same words again.
[[nodiscard]] std::wstring JoinWords(const std::vector<std::wstring>& words);

// Runs VLCmd.exe of the test program's folder with the words.
[[nodiscard]] Outcome RunTool(const std::vector<std::wstring>& words);

// A folder of its own for one test; it goes with its contents.
class ScratchFolder {
public:
    ScratchFolder();
    ScratchFolder(const ScratchFolder&) = delete;
    ScratchFolder(ScratchFolder&&) = delete;
    ~ScratchFolder();
    ScratchFolder& operator=(const ScratchFolder&) = delete;
    ScratchFolder& operator=(ScratchFolder&&) = delete;

    [[nodiscard]] const std::filesystem::path& Path() const { return path_; }

    // Writes bytes into a file of the folder; returns its path.
    std::filesystem::path Write(const std::wstring& name, std::string_view bytes) const;
    // The same with UTF-16 text, without a byte-order mark.
    std::filesystem::path Write(const std::wstring& name, std::wstring_view text) const;

private:
    std::filesystem::path path_;
};

// A registry value for as long as the object lives; what stood there before comes back.
class RegistryValue {
public:
    RegistryValue(HKEY root, const std::wstring& key, const std::wstring& name, std::uint32_t value);
    RegistryValue(const RegistryValue&) = delete;
    RegistryValue(RegistryValue&&) = delete;
    ~RegistryValue();
    RegistryValue& operator=(const RegistryValue&) = delete;
    RegistryValue& operator=(RegistryValue&&) = delete;

private:
    win::RegistryKey key_;
    std::wstring name_;
    std::optional<std::uint32_t> before_;
};

} // namespace e2e
