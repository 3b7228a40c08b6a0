#include "messages/console_output.h"

#include "win/critical_section.h"

#include <algorithm>
#include <iostream>
#include <mutex>
#include <string>

namespace {

// A console takes a limited amount in one call; this is below every Windows version's limit.
constexpr std::size_t kConsoleChunk = 8192;

bool WriteToConsole(HANDLE console, std::wstring_view text)
{
    while (!text.empty()) {
        std::size_t chunk = std::min(text.size(), kConsoleChunk);
        if (chunk < text.size() && IS_HIGH_SURROGATE(text[chunk - 1])) {
            --chunk;
        }
        DWORD written = 0;
        if (WriteConsoleW(console, text.data(), static_cast<DWORD>(chunk), &written, nullptr) == FALSE ||
            written == 0) {
            return false;
        }
        text.remove_prefix(written);
    }
    return true;
}

std::string Encode(UINT codePage, std::wstring_view text)
{
    const auto length = static_cast<int>(text.size());
    const int size = WideCharToMultiByte(codePage, 0, text.data(), length, nullptr, 0, nullptr, nullptr);
    std::string encoded(static_cast<std::size_t>(std::max(size, 0)), '\0');
    WideCharToMultiByte(codePage, 0, text.data(), length, encoded.data(), size, nullptr, nullptr);
    return encoded;
}

bool WriteToFile(HANDLE file, std::string_view bytes)
{
    while (!bytes.empty()) {
        DWORD written = 0;
        if (WriteFile(file, bytes.data(), static_cast<DWORD>(bytes.size()), &written, nullptr) == FALSE ||
            written == 0) {
            return false;
        }
        bytes.remove_prefix(written);
    }
    return true;
}

bool IsConsole(HANDLE output)
{
    DWORD mode = 0;
    return GetConsoleMode(output, &mode) != FALSE;
}

static_assert(CP_ACP == 0, "GetConsoleOutputCP answers 0 without a console");

class StandardOutputBuffer final : public std::wstreambuf {
protected:
    int_type overflow(int_type character) override
    {
        if (!traits_type::eq_int_type(character, traits_type::eof())) {
            const wchar_t c = traits_type::to_char_type(character);
            Append({&c, 1});
        }
        return traits_type::not_eof(character);
    }

    std::streamsize xsputn(const wchar_t* text, std::streamsize length) override
    {
        Append({text, static_cast<std::size_t>(length)});
        return length;
    }

    int sync() override
    {
        if (pending_.empty()) {
            return 0;
        }
        const bool written =
            isConsole_ ? WriteToConsole(output_, pending_) : WriteToFile(output_, Encode(codePage_, pending_));
        pending_.clear();
        return written ? 0 : -1;
    }

private:
    void Append(std::wstring_view text)
    {
        while (!text.empty()) {
            const std::size_t line = std::min(text.find(L'\n'), text.size());
            pending_.append(text.substr(0, line));
            text.remove_prefix(line);
            if (!text.empty()) {
                pending_.append(L"\r\n");
                text.remove_prefix(1);
            }
        }
    }

    HANDLE output_ = GetStdHandle(STD_OUTPUT_HANDLE);
    bool isConsole_ = IsConsole(output_);
    // Zero where there is no console, which is just the number of the system's ANSI code page.
    UINT codePage_ = GetConsoleOutputCP();
    std::wstring pending_;
};

win::CriticalSection& OutputLock()
{
    static win::CriticalSection lock;
    return lock;
}

} // namespace

ConsoleOutput::ConsoleOutput()
    : buffer_(std::make_unique<StandardOutputBuffer>()), replaced_(std::wcout.rdbuf(buffer_.get()))
{}

ConsoleOutput::~ConsoleOutput()
{
    std::wcout.flush();
    std::wcout.rdbuf(replaced_);
}

void PrintText(std::wstring_view text)
{
    const std::lock_guard guard(OutputLock());
    // A line that could not be written must not silence the lines after it.
    std::wcout.clear();
    std::wcout << text << std::flush;
}

void PrintLine(std::wstring_view text)
{
    const std::lock_guard guard(OutputLock());
    std::wcout.clear();
    std::wcout << text << std::endl;
}

void PrintLine(const CatalogueText& text)
{
    PrintLine(text.ToWideString());
}

void PrintMessage(const Message& message, std::initializer_list<std::wstring_view> arguments)
{
    PrintLine(GetMessage(message, arguments));
}
