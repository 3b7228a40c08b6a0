#pragma once

#include <string>

// Which of the other vendors' drivers and services that get in the way of disk tools are on this computer. Lines end in
// CR LF.
[[nodiscard]] std::wstring GetThirdPartySection();
