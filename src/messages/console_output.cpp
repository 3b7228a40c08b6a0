#include "messages/console_output.h"

#include <algorithm>
#include <mutex>
#include <string>
#include <utility>

namespace {

// A console takes a limited amount in one call; this is below every Windows version's limit.
constexpr std::size_t kConsoleChunk = 8192;
constexpr wchar_t kLastOfAscii = 0x7F;

ConsoleOutput* theOutput = nullptr;

HANDLE StandardOutput() noexcept
{
    const HANDLE handle = GetStdHandle(STD_OUTPUT_HANDLE);
    return handle == INVALID_HANDLE_VALUE ? nullptr : handle;
}

bool IsConsole(HANDLE output) noexcept
{
    DWORD mode = 0;
    return GetConsoleMode(output, &mode) != FALSE;
}

// The text with CR LF for each line feed.
std::wstring WithCrLf(std::wstring_view text)
{
    std::wstring expanded;
    expanded.reserve(text.size() + static_cast<std::size_t>(std::count(text.begin(), text.end(), L'\n')));
    for (const wchar_t c : text) {
        if (c == L'\n') {
            expanded.push_back(L'\r');
        }
        expanded.push_back(c);
    }
    return expanded;
}

// The text as a console shows it, without anything that could move its cursor or rewrite what stands there.
std::wstring WithPictures(std::wstring_view text)
{
    constexpr wchar_t kDelete = 0x7F;
    constexpr wchar_t kFirstC1 = 0x80;
    constexpr wchar_t kLastC1 = 0x9F;
    constexpr wchar_t kPictureOfEscape = L'\u241B';
    std::wstring shown;
    shown.reserve(text.size());
    for (std::size_t i = 0; i < text.size(); ++i) {
        const wchar_t c = text[i];
        const bool isLineEnd = c == L'\n' || (c == L'\r' && text.substr(i + 1).starts_with(L'\n'));
        if (c < L' ' && c != L'\t' && !isLineEnd) {
            shown.push_back(static_cast<wchar_t>(L'\u2400' + c));
        } else if (c == kDelete) {
            shown.push_back(L'\u2421');
        } else if (c >= kFirstC1 && c <= kLastC1) {
            shown.push_back(kPictureOfEscape);
            shown.push_back(static_cast<wchar_t>(c - kFirstC1 + L'@'));
        } else {
            shown.push_back(c);
        }
    }
    return shown;
}

static_assert(CP_ACP == 0, "GetConsoleOutputCP answers 0 without a console");

std::string Encode(UINT codePage, std::wstring_view text)
{
    const auto length = static_cast<int>(text.size());
    const int size = WideCharToMultiByte(codePage, 0, text.data(), length, nullptr, 0, nullptr, nullptr);
    std::string encoded(static_cast<std::size_t>(std::max(size, 0)), '\0');
    if (WideCharToMultiByte(codePage, 0, text.data(), length, encoded.data(), size, nullptr, nullptr) <= 0) {
        // Windows does not know the page or cannot convert: of every page the characters of ASCII are certain.
        encoded.assign(text.size(), '?');
        std::transform(text.begin(), text.end(), encoded.begin(),
                       [](wchar_t c) { return c <= kLastOfAscii ? static_cast<char>(c) : '?'; });
    }
    return encoded;
}

// What a write told about itself as a Windows error; taking nothing at all is one, too.
DWORD ErrorOf(BOOL hasSucceeded, DWORD written) noexcept
{
    if (hasSucceeded == FALSE) {
        return GetLastError();
    }
    return written == 0 ? ERROR_WRITE_FAULT : ERROR_SUCCESS;
}

DWORD WriteBytes(HANDLE file, std::string_view bytes) noexcept
{
    while (!bytes.empty()) {
        DWORD written = 0;
        const BOOL hasSucceeded = WriteFile(file, bytes.data(), static_cast<DWORD>(bytes.size()), &written, nullptr);
        if (const DWORD error = ErrorOf(hasSucceeded, written); error != ERROR_SUCCESS) {
            return error;
        }
        bytes.remove_prefix(written);
    }
    return ERROR_SUCCESS;
}

// Whether a write failed because there is nobody to write for: the pipe's reader has left, or the handle that the
// process was given is none.
bool MeansNobodyReads(DWORD error) noexcept
{
    return error == ERROR_BROKEN_PIPE || error == ERROR_NO_DATA || error == ERROR_PIPE_NOT_CONNECTED ||
           error == ERROR_INVALID_HANDLE;
}

} // namespace

ConsoleOutput::ConsoleOutput() noexcept
    : device_(StandardOutput()),
      isConsole_(IsConsole(device_)),
      codePage_(GetConsoleOutputCP()),
      before_(std::exchange(theOutput, this))
{}

ConsoleOutput::~ConsoleOutput()
{
    theOutput = before_;
}

void ConsoleOutput::Write(std::wstring_view text)
{
    const std::lock_guard guard(lock_);
    if (device_ == nullptr) {
        return;
    }
    const DWORD error = isConsole_ ? WriteToConsole(text) : WriteEncoded(text);
    if (error != ERROR_SUCCESS) {
        GiveUp(error);
    }
}

DWORD ConsoleOutput::WriteToConsole(std::wstring_view text) const
{
    const std::wstring shown = WithCrLf(WithPictures(text));
    std::wstring_view left = shown;
    while (!left.empty()) {
        std::size_t chunk = std::min(left.size(), kConsoleChunk);
        if (chunk < left.size() && IS_HIGH_SURROGATE(left[chunk - 1])) {
            --chunk;
        }
        DWORD written = 0;
        const BOOL hasSucceeded = WriteConsoleW(device_, left.data(), static_cast<DWORD>(chunk), &written, nullptr);
        if (const DWORD error = ErrorOf(hasSucceeded, written); error != ERROR_SUCCESS) {
            return error;
        }
        left.remove_prefix(written);
    }
    return ERROR_SUCCESS;
}

DWORD ConsoleOutput::WriteEncoded(std::wstring_view text) const
{
    return WriteBytes(device_, Encode(codePage_, WithCrLf(text)));
}

void ConsoleOutput::GiveUp(DWORD error)
{
    device_ = nullptr;
    if (MeansNobodyReads(error)) {
        return;
    }
    error_ = error;
    // Where this cannot be written either, the exit code tells it.
    static_cast<void>(WriteBytes(GetStdHandle(STD_ERROR_HANDLE),
                                 Encode(codePage_, L"VLCmd: standard output cannot be written (Windows error " +
                                                       std::to_wstring(error) + L").\r\n")));
}

void PrintText(std::wstring_view text)
{
    if (theOutput != nullptr) {
        theOutput->Write(text);
    }
}

void PrintLine(std::wstring_view text)
{
    std::wstring line;
    line.reserve(text.size() + 1);
    PrintText(line.append(text).append(1, L'\n'));
}

void PrintLine(const CatalogueText& text)
{
    PrintLine(ToWideString(text));
}

void PrintMessage(const Message& message, std::initializer_list<std::wstring_view> arguments)
{
    PrintLine(GetMessage(message, arguments));
}
