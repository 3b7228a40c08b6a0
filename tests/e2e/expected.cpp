#include "expected.h"

#include "support/known_commands.h"
#include "win/windows_api.h"

#include <algorithm>
#include <iterator>
#include <stdexcept>
#include <vector>

namespace e2e {

namespace {

std::wstring SystemText(std::uint32_t failure)
{
    win::LocalText text;
    const DWORD length = FormatMessageW(
        FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_IGNORE_INSERTS | FORMAT_MESSAGE_FROM_SYSTEM, nullptr, failure,
        MAKELANGID(LANG_NEUTRAL, SUBLANG_DEFAULT), reinterpret_cast<wchar_t*>(text.Put()), 0, nullptr);
    constexpr std::uint32_t kLowBits = 0xFFFF;
    if (length == 0 && failure > kLowBits) {
        return SystemText(failure & kLowBits);
    }
    if (length == 0) {
        throw std::invalid_argument("the system has no text for the failure of the test");
    }
    return {text.Get(), length};
}

} // namespace

std::string Redirected(std::string_view text)
{
    std::string bytes;
    for (const char c : text) {
        bytes.append(c == '\n' ? "\r\n" : std::string(1, c));
    }
    return bytes;
}

std::string InOutputPage(std::wstring_view text)
{
    const UINT page = GetConsoleOutputCP(); // 0, which names the ANSI page, without a console
    const auto length = static_cast<int>(text.size());
    const int size = WideCharToMultiByte(page, 0, text.data(), length, nullptr, 0, nullptr, nullptr);
    std::string bytes(static_cast<std::size_t>(size), '\0');
    WideCharToMultiByte(page, 0, text.data(), length, bytes.data(), size, nullptr, nullptr);
    return bytes;
}

Outcome BannerAnd(std::string_view text, std::uint32_t exitCode)
{
    return {Redirected("Velundra 14.0\n" + std::string(text)), exitCode};
}

std::string UsageScreen()
{
    return Narrow(testing_support::kUsageScreen);
}

std::string ErrorText(std::uint32_t failure, std::string_view returnCode)
{
    return InOutputPage(WideErrorText(failure, returnCode));
}

std::wstring WideErrorText(std::uint32_t failure, std::string_view returnCode)
{
    return L"\r\nError text:\r\n" + SystemText(failure) + L"\r\nReturn code: " + Wide(returnCode);
}

std::wstring ComputerName()
{
    wchar_t name[MAX_COMPUTERNAME_LENGTH + 1] = {};
    DWORD length = MAX_COMPUTERNAME_LENGTH + 1;
    if (GetComputerNameW(name, &length) == FALSE) {
        throw std::runtime_error("the computer has no name");
    }
    return {name, length};
}

std::wstring DateAndTime(const SYSTEMTIME& time)
{
    wchar_t date[100] = {};
    wchar_t clock[100] = {};
    GetDateFormatW(LOCALE_SYSTEM_DEFAULT, 0, &time, nullptr, date, static_cast<int>(std::size(date)));
    GetTimeFormatW(LOCALE_SYSTEM_DEFAULT, 0, &time, nullptr, clock, static_cast<int>(std::size(clock)));
    return std::wstring(date) + L' ' + clock;
}

Outcome SortedLines(Outcome outcome)
{
    std::vector<std::string> lines;
    for (std::size_t begin = 0; begin < outcome.output.size();) {
        const std::size_t end = std::min(outcome.output.find('\n', begin), outcome.output.size() - 1) + 1;
        lines.push_back(outcome.output.substr(begin, end - begin));
        begin = end;
    }
    std::ranges::sort(lines);
    outcome.output.clear();
    for (const std::string& line : lines) {
        outcome.output += line;
    }
    return outcome;
}

std::wstring Wide(std::string_view text)
{
    return {text.begin(), text.end()};
}

std::string Narrow(std::wstring_view text)
{
    std::string narrow;
    for (const wchar_t c : text) {
        if (c > L'~') {
            throw std::invalid_argument("the text is not ASCII");
        }
        narrow.push_back(static_cast<char>(c));
    }
    return narrow;
}

} // namespace e2e
