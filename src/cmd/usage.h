#pragma once

// Writes the usage screen, message by message, to standard output.
void PrintUsage();
