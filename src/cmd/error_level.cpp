#include "cmd/error_level.h"

#include <cstdlib>
#include <string>

std::uint32_t SetErrorLevel(std::uint32_t code)
{
    _wputenv((L"ERRORLEVEL=" + std::to_wstring(code)).c_str());
    return code;
}
