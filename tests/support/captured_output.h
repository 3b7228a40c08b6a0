#pragma once

#include <iostream>
#include <sstream>
#include <string>

namespace testing_support {

// Catches what the product writes to std::wcout, in UTF-16 and with "\n" as the line end. As with ConsoleOutput,
// running out of memory passes through the stream.
class CapturedOutput {
public:
    CapturedOutput() : replaced_(std::wcout.rdbuf(&buffer_)), replacedExceptions_(std::wcout.exceptions())
    {
        std::wcout.exceptions(std::ios_base::badbit);
    }
    CapturedOutput(const CapturedOutput&) = delete;
    CapturedOutput(CapturedOutput&&) = delete;
    ~CapturedOutput()
    {
        std::wcout.rdbuf(replaced_);
        std::wcout.exceptions(replacedExceptions_);
    }
    CapturedOutput& operator=(const CapturedOutput&) = delete;
    CapturedOutput& operator=(CapturedOutput&&) = delete;

    // Everything since the start, or since the last Take.
    [[nodiscard]] std::wstring Text() const { return buffer_.str(); }
    [[nodiscard]] std::wstring Take()
    {
        std::wstring text = buffer_.str();
        buffer_.str({});
        return text;
    }

private:
    std::wstringbuf buffer_;
    std::wstreambuf* replaced_;
    std::ios_base::iostate replacedExceptions_;
};

} // namespace testing_support
