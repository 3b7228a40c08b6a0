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
        if (!pending_.empty()) {
            // There is nobody to be told that a line could not be written; the next one may get through.
            static_cast<void>(isConsole_ ? WriteToConsole(output_, pending_)
                                         : WriteToFile(output_, Encode(codePage_, pending_)));
            pending_.clear();
        }
        return 0;
    }

private:
    // Takes the whole text or, where memory runs out, nothing of it.
    void Append(std::wstring_view text)
    {
        const auto lineFeeds = static_cast<std::size_t>(std::count(text.begin(), text.end(), L'\n'));
        pending_.reserve(pending_.size() + text.size() + lineFeeds);
        for (const wchar_t c : text) {
            if (c == L'\n') {
                pending_.push_back(L'\r');
            }
            pending_.push_back(c);
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

// Writes a finished text in one go.
void Emit(std::wstring_view text)
{
    const std::lock_guard guard(OutputLock());
    std::wcout.clear();
    std::wcout.write(text.data(), static_cast<std::streamsize>(text.size())).flush();
}

} // namespace

ConsoleOutput::ConsoleOutput()
    : buffer_(std::make_unique<StandardOutputBuffer>()),
      replaced_(std::wcout.rdbuf(buffer_.get())),
      replacedExceptions_(std::wcout.exceptions())
{
    // A stream keeps exceptions to itself unless it is told otherwise, and memory that runs out must not pass for a
    // line that was written.
    std::wcout.exceptions(std::ios_base::badbit);
}

ConsoleOutput::~ConsoleOutput()
{
    std::wcout.clear();
    std::wcout.exceptions(std::ios_base::goodbit);
    std::wcout.flush();
    std::wcout.rdbuf(replaced_);
    std::wcout.exceptions(replacedExceptions_);
}

void PrintText(std::wstring_view text)
{
    Emit(text);
}

void PrintLine(std::wstring_view text)
{
    std::wstring line(text);
    line.push_back(L'\n');
    Emit(line);
}

void PrintLine(const CatalogueText& text)
{
    PrintLine(text.ToWideString());
}

void PrintMessage(const Message& message, std::initializer_list<std::wstring_view> arguments)
{
    PrintLine(GetMessage(message, arguments));
}
