#pragma once

#include "process.h"

#include <string>
#include <string_view>
#include <vector>

namespace e2e {

// The simulated engine as a process of its own, with a scenario given as UTF-8 text. It is there to be connected to
// when the constructor returns, and gone when the destructor does.
class EngineProcess {
public:
    explicit EngineProcess(std::string_view scenario);
    // With the scenario that the engine has when it is told nothing.
    EngineProcess();
    EngineProcess(const EngineProcess&) = delete;
    EngineProcess(EngineProcess&&) = delete;
    ~EngineProcess();
    EngineProcess& operator=(const EngineProcess&) = delete;
    EngineProcess& operator=(EngineProcess&&) = delete;

    // The lines of the call log so far.
    [[nodiscard]] std::vector<std::string> Log() const;

private:
    void AwaitReady();

    ScratchFolder folder_;
    win::KernelHandle ready_;
    Process process_;
};

// Runs VLEngine.exe with one word, such as "/regserver", and waits until it has done it; returns its exit code.
std::uint32_t RunEngine(const std::wstring& word);

} // namespace e2e
