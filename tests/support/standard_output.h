#pragma once

#include "support/replaced_function.h"
#include "win/critical_section.h"

#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace testing_support {

// Stands in for the process's standard output, below all conversion, and for standard error: what the program hands to
// Windows arrives here.
class StandardOutput {
public:
    // What a write takes of the characters or bytes that it is offered; nothing makes it fail.
    using Taking = std::function<std::optional<std::size_t>(std::size_t offered)>;

    // A file or pipe; codePage is what GetConsoleOutputCP answers, 0 where there is no console.
    static StandardOutput Redirected(UINT codePage) { return {false, codePage}; }
    static StandardOutput Console() { return {true, CP_UTF8}; }

    StandardOutput(StandardOutput&&) = delete;
    ~StandardOutput() = default;

    Taking taking = [](std::size_t offered) { return offered; };

    // What each successful write took, in order.
    std::vector<std::string> writes;         // WriteFile
    std::vector<std::wstring> consoleWrites; // WriteConsoleW
    std::vector<std::string> errors;         // WriteFile, to standard error

    [[nodiscard]] std::string Bytes() const { return Joined(writes); }
    [[nodiscard]] std::wstring ConsoleText() const { return Joined(consoleWrites); }

    // Writes to standard output that were tried.
    [[nodiscard]] int Tries() const { return tries_; }

private:
    StandardOutput(bool isConsole, UINT codePage)
        : getHandle_([this](DWORD which) {
              return which == STD_OUTPUT_HANDLE  ? static_cast<HANDLE>(this)
                     : which == STD_ERROR_HANDLE ? static_cast<HANDLE>(&errors)
                                                 : getHandle_.Original(which);
          }),
          getMode_([this, isConsole](HANDLE handle, LPDWORD mode) {
              if (handle != this) {
                  return getMode_.Original(handle, mode);
              }
              *mode = ENABLE_PROCESSED_OUTPUT;
              return isConsole ? TRUE : FALSE;
          }),
          getCodePage_([codePage] { return codePage; }),
          writeFile_([this](HANDLE handle, LPCVOID data, DWORD size, LPDWORD written, LPOVERLAPPED overlapped) {
              const std::string_view bytes(static_cast<const char*>(data), size);
              if (handle == &errors) {
                  errors.emplace_back(bytes);
                  *written = size;
                  return TRUE;
              }
              return handle == this ? Take(writes, bytes, *written)
                                    : writeFile_.Original(handle, data, size, written, overlapped);
          }),
          writeConsole_([this](HANDLE, const void* text, DWORD length, LPDWORD written, LPVOID) {
              return Take(consoleWrites, std::wstring_view(static_cast<const wchar_t*>(text), length), *written);
          })
    {}

    template <typename Character>
    BOOL Take(std::vector<std::basic_string<Character>>& taken, std::basic_string_view<Character> offered,
              DWORD& written)
    {
        const std::lock_guard guard(lock_);
        ++tries_;
        const std::optional<std::size_t> size = taking(offered.size());
        written = static_cast<DWORD>(size.value_or(0));
        if (written != 0) {
            taken.emplace_back(offered.substr(0, *size));
        }
        return size ? TRUE : FALSE;
    }

    template <typename Text>
    static Text Joined(const std::vector<Text>& pieces)
    {
        Text joined;
        for (const Text& piece : pieces) {
            joined += piece;
        }
        return joined;
    }

    win::CriticalSection lock_;
    int tries_ = 0;
    Replaced<"GetStdHandle", decltype(::GetStdHandle)> getHandle_;
    Replaced<"GetConsoleMode", decltype(::GetConsoleMode)> getMode_;
    Replaced<"GetConsoleOutputCP", decltype(::GetConsoleOutputCP)> getCodePage_;
    Replaced<"WriteFile", decltype(::WriteFile)> writeFile_;
    Replaced<"WriteConsoleW", decltype(::WriteConsoleW)> writeConsole_;
};

} // namespace testing_support
