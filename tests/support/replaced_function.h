#pragma once

#include "support/failing_memory.h"
#include "win/windows_api.h"

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <functional>
#include <utility>

namespace testing_support {

// Points every import of that function in the running program at another address, and what the product gets when it
// looks the function up by name; returns the address that stood there, or null when the program does not use the
// function in either way.
void* PatchImport(const char* function, void* replacement);

// Whether the running program imports the function.
bool IsImported(const char* function);

// Ends the test program: a test has named a function that the program does not use, so it could show nothing.
[[noreturn]] void FailMissingImport(const char* function);

// A function's name as a template argument.
template <std::size_t Length>
struct FunctionName {
    char text[Length];
    // NOLINTNEXTLINE(google-explicit-constructor): a string literal is to become a template argument.
    consteval FunctionName(const char (&literal)[Length]) { std::copy_n(literal, Length, text); }
};

// The function that stands in the import table: what the program calls, in the replaced function's own calling
// convention. Answer is where the call goes on to.
template <auto Answer, typename Signature>
struct Entrance;

template <auto Answer, typename Result, typename... Arguments>
struct Entrance<Answer, Result(Arguments...)> {
    static Result Call(Arguments... arguments) { return Answer(arguments...); }
};

// A signature without its calling convention, in the parts that Replacement wants.
template <typename Signature>
struct Parts;

template <typename Result, typename... Arguments>
struct Parts<Result(Arguments...)> {
    using Plain = Result(Arguments...);
};

#ifdef _X86_
// Only 32-bit Windows has a calling convention of its own.
template <auto Answer, typename Result, typename... Arguments>
struct Entrance<Answer, Result WINAPI(Arguments...)> {
    static Result WINAPI Call(Arguments... arguments) { return Answer(arguments...); }
};

template <typename Result, typename... Arguments>
struct Parts<Result WINAPI(Arguments...)> {
    using Plain = Result(Arguments...);
};
#endif

// Replaces a Windows function in the test program's import table, or in its lookups by name, for as long as the object
// lives:
//
//     Replaced<"GetSystemMetrics", decltype(::GetSystemMetrics)> metrics([](int) { return 1; });
//
// Replacements of one function stack; each can call what it replaced through Original. Calls are counted. Allocations
// of a replacement neither count nor fail where a test makes memory fail.
template <FunctionName Name, typename Signature, typename Plain = typename Parts<Signature>::Plain>
class Replaced;

template <FunctionName Name, typename Signature, typename Result, typename... Arguments>
class Replaced<Name, Signature, Result(Arguments...)> {
public:
    using Function = std::function<Result(Arguments...)>;

    explicit Replaced(Function function) : function_(std::move(function)), below_(top)
    {
        if (below_ == nullptr) {
            void* const imported =
                PatchImport(Name.text, reinterpret_cast<void*>(&Entrance<&Replaced::OnCall, Signature>::Call));
            if (imported == nullptr) {
                FailMissingImport(Name.text);
            }
            real = reinterpret_cast<Signature*>(imported);
        }
        top = this;
    }
    Replaced(Replaced&&) = delete;
    ~Replaced()
    {
        top = below_;
        if (below_ == nullptr) {
            PatchImport(Name.text, reinterpret_cast<void*>(real));
        }
    }

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

    static Result OnCall(Arguments... arguments) { return top.load()->Answer(arguments...); }

    static inline std::atomic<Replaced*> top = nullptr;
    static inline Signature* real = nullptr;

    Function function_;
    Replaced* below_;
    std::atomic<int> calls_ = 0;
};

} // namespace testing_support
