#pragma once

#include "messages/catalogue.h"

#include <initializer_list>
#include <ios>
#include <memory>
#include <streambuf>
#include <string_view>

// Sends what is written to std::wcout to the process's standard output for as long as the object lives.
//
// The stream's own buffer converts with the C locale and gives up for good at the first character that its code page
// lacks. This one hands UTF-16 to a console; where the output is redirected, it encodes in the console's output code
// page (without a console, the system's ANSI code page), a character that the page lacks becoming its best fit or "?".
// A line feed becomes CR LF. What was written since the last flush leaves in one write. Running
// out of memory passes through the stream as std::bad_alloc.
class ConsoleOutput {
public:
    ConsoleOutput();
    ConsoleOutput(const ConsoleOutput&) = delete;
    ConsoleOutput(ConsoleOutput&&) = delete;
    ~ConsoleOutput();

    ConsoleOutput& operator=(const ConsoleOutput&) = delete;
    ConsoleOutput& operator=(ConsoleOutput&&) = delete;

private:
    std::unique_ptr<std::wstreambuf> buffer_;
    std::wstreambuf* replaced_;
    std::ios_base::iostate replacedExceptions_;
};

// Writes the text to std::wcout and flushes, under the one lock that all output takes: texts of several threads never
// tear. No line end is added.
void PrintText(std::wstring_view text);

// The same with a line end.
void PrintLine(std::wstring_view text);

// Writes the resolved text and a line end.
void PrintLine(const CatalogueText& text);

// Looks up a message in the process's catalogue and prints it with its arguments and a line end.
void PrintMessage(const Message& message, std::initializer_list<std::wstring_view> arguments = {});
