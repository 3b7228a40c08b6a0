#pragma once

#include "support/failing_memory.h"
#include "win/windows_api.h"

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <functional>
#include <utility>

namespace testing_support {

// Points every import of that function in the running program at another address; returns the address that stood there,
// or null when the program does not import the function.
void* PatchImport(const char* function, void* replacement);

// Whether the running program imports the function.
bool IsImported(const char* function);

// Ends the test program: a test has named a function that the program does not import, so it could show nothing.
[[noreturn]] void FailMissingImport(const char* function);

// A function's name as a template argument.
template <std::size_t Length>
struct FunctionName {
    char text[Length];
    // NOLINTNEXTLINE(google-explicit-constructor): a string literal is to become a template argument.
    consteval FunctionName(const char (&literal)[Length]) { std::copy_n(literal, Length, text); }
};

// Replaces a Windows function in the test program's import table for as long as the object lives:
//
//     Replaced<"GetSystemMetrics", decltype(::GetSystemMetrics)> metrics([](int) { return 1; });
//
// Replacements of one function stack; each can call what it replaced through Original. Calls are counted. Allocations
// of a replacement neither count nor fail where a test makes memory fail.
template <FunctionName Name, typename Signature>
class Replaced;

template <FunctionName Name, typename Result, typename... Arguments>
class Replaced<Name, Result(Arguments...)> {
public:
    using Function = std::function<Result(Arguments...)>;

    explicit Replaced(Function function) : function_(std::move(function)), below_(top)
    {
        if (below_ == nullptr) {
            void* const imported = PatchImport(Name.text, reinterpret_cast<void*>(&Call));
            if (imported == nullptr) {
                FailMissingImport(Name.text);
            }
            real = reinterpret_cast<Result (*)(Arguments...)>(imported);
        }
        top = this;
    }
    Replaced(const Replaced&) = delete;
    Replaced(Replaced&&) = delete;
    ~Replaced()
    {
        top = below_;
        if (below_ == nullptr) {
            PatchImport(Name.text, reinterpret_cast<void*>(real));
        }
    }
    Replaced& operator=(const Replaced&) = delete;
    Replaced& operator=(Replaced&&) = delete;

    // What this replacement stands in front of.
    // NOLINTNEXTLINE(modernize-use-nodiscard): a test may have no use for the answer.
    Result Original(Arguments... arguments) const
    {
        return below_ != nullptr ? below_->Answer(arguments...) : real(arguments...);
    }

    // How often the program has called the function.
    [[nodiscard]] int Calls() const { return calls_; }

private:
    Result Answer(Arguments... arguments)
    {
        // What a test does in Windows' place is none of the program's memory.
        const SparedMemory spared;
        ++calls_;
        return function_(arguments...);
    }

    static Result WINAPI Call(Arguments... arguments) { return top.load()->Answer(arguments...); }

    static inline std::atomic<Replaced*> top = nullptr;
    static inline Result (*real)(Arguments...) = nullptr;

    Function function_;
    Replaced* below_;
    std::atomic<int> calls_ = 0;
};

} // namespace testing_support
