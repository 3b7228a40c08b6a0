#pragma once

#include "messages/console_output.h"

#include <span>

// One line of a screen that is made of messages alone.
struct ScreenLine {
    Message message;
    bool emptyLineAfter = false;
};

// Prints the lines in order, each with the empty line that may follow it.
inline void PrintScreen(std::span<const ScreenLine> screen)
{
    for (const ScreenLine& line : screen) {
        PrintMessage(line.message);
        if (line.emptyLineAfter) {
            PrintLine(L"");
        }
    }
}
