#pragma once

#include "messages/catalogue.h"
#include "win/critical_section.h"

#include <initializer_list>
#include <string_view>

// The process's standard output, as it is when the object is made; what is printed goes there for as long as the object
// lives. Without an object it goes nowhere.
//
// A console gets UTF-16, with its control characters made visible: each is shown as its picture (U+2400 to U+241F, and
// U+2421 for DEL), and one from U+0080 to U+009F as the picture of ESC and the letter that mean the same. A tab, a line
// feed and a CR before one stay. Redirected output is encoded in the console's output code page (without a console, the
// system's ANSI code page), a character that the page lacks becoming its best fit or "?". In both, a line feed becomes
// CR LF.
//
// When the device refuses a text, standard error is told so in one line, and nothing more is written. There may also be
// no standard output at all, or a pipe that nobody reads any more; that is no failure.
class ConsoleOutput {
public:
    ConsoleOutput() noexcept;
    ConsoleOutput(ConsoleOutput&&) = delete;
    ~ConsoleOutput();

    // Writes the text in one go, under a lock: texts of several threads never tear.
    void Write(std::wstring_view text);

    // The Windows error with which the device refused a text; 0 when it has not.
    [[nodiscard]] DWORD Error() const noexcept { return error_; }

private:
    [[nodiscard]] DWORD WriteToConsole(std::wstring_view text) const;
    [[nodiscard]] DWORD WriteEncoded(std::wstring_view text) const;
    void GiveUp(DWORD error);

    win::CriticalSection lock_;
    HANDLE device_; // null: nothing is written
    bool isConsole_;
    UINT codePage_;
    DWORD error_ = ERROR_SUCCESS;
    ConsoleOutput* before_;
};

// Writes the text to the process's output. No line end is added.
void PrintText(std::wstring_view text);

// The same with a line end.
void PrintLine(std::wstring_view text);

// Writes the resolved text and a line end.
void PrintLine(const CatalogueText& text);

// Looks up a message in the process's catalogue and prints it with its arguments and a line end.
void PrintMessage(const Message& message, std::initializer_list<std::wstring_view> arguments = {});
