#include "trace/record.h"

#include "win/system.h"
#include "win/text.h"

#include <cwchar>

namespace trace {

namespace {

// Date, time, computer, user, program, module, process, thread, source file, line, function (where asked for), text.
constexpr wchar_t kLine[] = L"%ls %ls %ls %ls %ls %ls %05d %05u %ls %06d %ls\r\n";
constexpr wchar_t kLineWithFunction[] = L"%ls %ls %ls %ls %ls %ls %05d %05u %ls %06d (%ls) %ls\r\n";
constexpr wchar_t kDate[] = L"%2.02d/%2.02d/%2.02d";
constexpr wchar_t kTime[] = L"%2.02d:%2.02d:%2.02d.%3.03d";

constexpr std::size_t kNameColumn = 16;
constexpr std::size_t kSourceColumn = 32;
constexpr std::size_t kKeptOfLongName = 13;

constexpr DWORD kUserNameSize = 520;
constexpr DWORD kProgramPathSize = 4096;

// The text in a column: filled up with blanks, or cut, to the same few characters whatever the column's width.
std::wstring Column(std::wstring_view text, std::size_t width)
{
    if (text.size() > width) {
        return std::wstring(text.substr(0, kKeptOfLongName)) + L"...";
    }
    std::wstring column(text);
    column.resize(width, L' ');
    return column;
}

std::wstring UserName()
{
    wchar_t name[kUserNameSize + 1] = {};
    DWORD size = kUserNameSize;
    return GetUserNameW(name, &size) != FALSE ? name : std::wstring();
}

std::wstring ProgramName()
{
    std::wstring path(kProgramPathSize, L'\0');
    path.resize(GetModuleFileNameW(nullptr, path.data(), kProgramPathSize));
    return std::wstring(win::BaseName(path));
}

} // namespace

std::wstring FormatList(const wchar_t* format, va_list arguments)
{
    // The runtime's own formatting, for it alone tells how long its text is going to be.
    va_list again;
    va_copy(again, arguments);
    const int length = _vscwprintf(format, again);
    va_end(again);
    if (length <= 0) {
        return {};
    }
    std::wstring text(static_cast<std::size_t>(length), L'\0');
    _vsnwprintf_s(text.data(), text.size() + 1, text.size(), format, arguments);
    return text;
}

std::wstring Format(const wchar_t* format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    std::wstring text = FormatList(format, arguments);
    va_end(arguments);
    return text;
}

Writer FindWriter()
{
    return {win::LocalComputerName(), UserName(), ProgramName()};
}

std::wstring LineOf(const Record& record, const Writer& writer, bool withFunction)
{
    SYSTEMTIME now{};
    GetLocalTime(&now);
    const std::wstring date = Format(kDate, now.wMonth, now.wDay, now.wYear);
    const std::wstring time = Format(kTime, now.wHour, now.wMinute, now.wSecond, now.wMilliseconds);
    const std::wstring user = Column(writer.user, kNameColumn);
    const std::wstring program = Column(writer.program, kNameColumn);
    const std::wstring module = Column(record.module, kNameColumn);
    const std::wstring source = Column(win::BaseName(record.source), kSourceColumn);
    const std::wstring text(record.text);
    const DWORD process = GetCurrentProcessId();
    const DWORD thread = GetCurrentThreadId();
    if (withFunction) {
        return Format(kLineWithFunction, date.c_str(), time.c_str(), writer.computer.c_str(), user.c_str(),
                      program.c_str(), module.c_str(), process, thread, source.c_str(), record.line,
                      std::wstring(record.function).c_str(), text.c_str());
    }
    return Format(kLine, date.c_str(), time.c_str(), writer.computer.c_str(), user.c_str(), program.c_str(),
                  module.c_str(), process, thread, source.c_str(), record.line, text.c_str());
}

} // namespace trace
