#pragma once

#include "engine/drive_selection.h"
#include "engine/result_codes.h"

#include <string>

// What the commands have the engine do. Each operation makes its own connection to the engine on the computer (an empty
// name stands for the local one), prints its own messages and returns the command's result.

// Prints a line for every drive that the engine manages: its name and what the engine is doing on it. Returns 0, the
// connection's HRESULT, kNotPermitted, or the low 16 bits of a failing GetDriveList or GetDrive; lines printed before
// the failure stay.
[[nodiscard]] Result ShowDriveStatus(const std::wstring& computer);
