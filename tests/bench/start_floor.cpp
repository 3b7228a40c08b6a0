// The least that a command can cost for which no engine is asked: COM started as the tool starts it, and the bytes of
// `VLCmd /?` written at once (`start_floor usage`), or the exit code of a command line that is refused
// (`start_floor refused`, beside `VLCmd /c`).

#include "floor.h"
#include "support/known_commands.h"

#include <cstdio>
#include <cstring>
#include <string>

namespace {

constexpr int kRefused = 13;

// The banner and the usage screen, which are ASCII.
std::string UsageBytes()
{
    std::string bytes = "Velundra 14.0\r\n";
    for (const wchar_t c : testing_support::kUsageScreen) {
        if (c == L'\n') {
            bytes.push_back('\r');
        }
        bytes.push_back(static_cast<char>(c));
    }
    return bytes;
}

} // namespace

int main(int argc, char** argv)
{
    StartCom();
    int code = 0;
    if (argc == 2 && std::strcmp(argv[1], "usage") == 0) {
        Write(UsageBytes());
    } else if (argc == 2 && std::strcmp(argv[1], "refused") == 0) {
        code = kRefused;
    } else {
        std::fputs("usage: start_floor usage|refused\n", stderr);
        code = 2;
    }
    CoUninitialize();
    return code;
}
