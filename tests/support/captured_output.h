#pragma once

#include "messages/console_output.h"
#include "support/standard_output.h"

#include <string>

namespace testing_support {

// Catches what the product prints, in UTF-16 and with "\n" as the line end: a console of the test's own.
class CapturedOutput {
public:
    // Everything since the start, or since the last Take.
    [[nodiscard]] std::wstring Text() const
    {
        std::wstring text = device_.ConsoleText();
        for (std::size_t at = text.find(L"\r\n"); at != std::wstring::npos; at = text.find(L"\r\n", at + 1)) {
            text.erase(at, 1);
        }
        return text;
    }
    [[nodiscard]] std::wstring Take()
    {
        std::wstring text = Text();
        device_.consoleWrites.clear();
        return text;
    }

    // What stands in for the console.
    [[nodiscard]] StandardOutput& Device() { return device_; }

private:
    StandardOutput device_ = StandardOutput::Console();
    ConsoleOutput output_;
};

} // namespace testing_support
