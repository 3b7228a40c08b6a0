#pragma once

#include "cmd/command_line.h"
#include "messages/catalogue.h"
#include "policy/group_policy.h"

#include <cstdint>
#include <initializer_list>
#include <string>

// A permission, and the message that refuses a command where policy does not grant it.
struct PolicyRule {
    bool (CGP::*isAllowed)() const noexcept;
    Message refusal;
};

// One command on its way through its checks: what was asked, and what the checks have gathered so far.
struct Request {
    const CommandLine& commandLine;
    const CGP& policy;
    std::wstring computer;
    bool allDrivesAtOnce; // the command's allDrives does the work, so no list of drives is gathered
    DriveList drives;
    Words files;
};

// Gathers something that the command needs. On failure, which has been printed, the command ends with its result.
using Gathering = Failure (*)(Request&);

// One check of a command: a permission that is asked for or a thing that is gathered.
struct Check {
    constexpr Check(const PolicyRule& permission) : rule(&permission) {}
    constexpr Check(Gathering gathering) : gather(gathering) {}

    const PolicyRule* rule = nullptr;
    Gathering gather = nullptr;
};

// The work of a command; returns the exit code.
using Operation = Result (*)(const Request&);

// The number of a command, which is its row's place in the table; 0 stands for no or an unknown command.
using CommandCode = std::uint32_t;

// All that there is to know about a command. The order of the checks is part of how a command behaves.
struct Command {
    CommandCode code;
    const wchar_t* shortWord; // null where there is none; the same holds for the long word
    const wchar_t* longWord;
    std::initializer_list<Check> checks;
    Operation operation;
    Operation allDrives = nullptr; // with "/alldrives" in place of the operation: one call for all drives
};

// The command that the first word names, in either spelling and any case.
[[nodiscard]] CommandCode GetCommandCode(const CommandLine& commandLine);

// The row of a code that GetCommandCode gave.
[[nodiscard]] const Command& GetCommand(CommandCode code);
