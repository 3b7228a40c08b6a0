#pragma once

#include "process.h"
#include "simulated_computer.h"
#include "support/scratch_folder.h"

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace e2e {

// The simulated engine as a process of its own, with a scenario given as UTF-8 text. It is there to be connected to
// when the constructor returns, and gone when the destructor does. By then the tools that a test has run must have
// released all that the engine handed them; the test fails where one has not.
class EngineProcess {
public:
    // Without a scenario, the engine has the one that it has when it is told nothing.
    explicit EngineProcess(std::optional<std::string_view> scenario = std::nullopt);
    // The engine of the simulated computer, or of the one of this name in its network.
    explicit EngineProcess(const SimulatedComputer& around, std::wstring computer = {});
    EngineProcess(const EngineProcess&) = delete;
    EngineProcess(EngineProcess&&) = delete;
    ~EngineProcess();
    EngineProcess& operator=(const EngineProcess&) = delete;
    EngineProcess& operator=(EngineProcess&&) = delete;

    // The lines of the call log behind the server's first: each call that arrived, each object that was released.
    [[nodiscard]] std::vector<std::string> Log() const;

    // The calls of one method, without the object that they were made on: "Analyze(drive="C:\") -> 0x00000000".
    [[nodiscard]] std::vector<std::string> CallsOf(std::string_view method) const;

private:
    [[nodiscard]] Process Start() const;
    void AwaitStart();
    [[nodiscard]] bool IsReady() const;

    testing_support::ScratchFolder folder_;
    std::filesystem::path scenario_;
    std::wstring computer_;
    win::KernelHandle ready_;
    Process process_;
};

// The lines of a call log.
[[nodiscard]] std::vector<std::string> ReadLog(const std::filesystem::path& path);

// A fault for a scenario: the method fails with the result, for all calls or the one of this number, for all drives or
// the one of this name.
[[nodiscard]] std::string Failing(std::string_view method, std::string_view result, std::string_view drive = {},
                                  std::string_view call = {});

// A fault for a scenario: the call of this number hands out this number.
[[nodiscard]] std::string Answering(std::string_view method, std::string_view call, std::string_view value);

// Runs VLEngine.exe with one word, such as "/regserver", and waits until it has done it; returns its exit code.
std::uint32_t RunEngine(const std::wstring& word);

// A computer without the product for as long as the object lives.
class WithoutEngine {
public:
    WithoutEngine();
    WithoutEngine(const WithoutEngine&) = delete;
    WithoutEngine(WithoutEngine&&) = delete;
    ~WithoutEngine();
    WithoutEngine& operator=(const WithoutEngine&) = delete;
    WithoutEngine& operator=(WithoutEngine&&) = delete;
};

} // namespace e2e
