#pragma once

#include <string>

// The support report about this computer, whole: Windows and hardware, the product's files, the volumes, the product's
// registry keys and other vendors' software. What Windows does not tell is left out or said to be missing; nothing ends
// the report. Lines of most sections end in a line feed, those of the last two in CR LF.
[[nodiscard]] std::wstring BuildSupportReport();
