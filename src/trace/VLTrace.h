#pragma once

#include "policy/lockable.h"
#include "trace/file.h"
#include "trace/record.h"
#include "trace/settings.h"
#include "win/owner.h"
#include "win/system_library.h" // whose guard is to be constructed before this file's object

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

// Diagnostic records in a text file that all programs of the product share: one line a record, UTF-16, moved away when
// it has grown to its limit. Every result is 0 or a Windows error, which a caller that has a user to serve ignores.
//
// What only a written record needs (names, folders) is found out when the first one is written, so that a program that
// is not traced pays for reading the settings and for the mutex alone.
class CVLTrace final : public CLockable {
public:
    // Reads the settings and makes the mutex that keeps the product's programs apart. Never fails.
    CVLTrace() noexcept;

    // Reads the settings from the core key, unless they have been read. Returns 0, or the error with which the key
    // could not be opened; then all defaults stand.
    std::uint32_t LoadSettings() noexcept;

    // Writes a message if its level is at most the level that is set; the format is wprintf's, "%ls" for a wide text.
    std::uint32_t TraceMessage(std::uint32_t level, const wchar_t* source, const wchar_t* function, int line,
                               const wchar_t* format, ...) noexcept;

    // Writes one record, whatever the level. The source file's folder and extension do not count. The caller holds the
    // object's lock.
    std::uint32_t TraceWrite(std::wstring_view module, std::wstring_view source, std::wstring_view function, int line,
                             std::wstring_view text) noexcept;

    // Whether records of the source file are written: the list of modules is empty, or holds the file's name or the
    // program's, in any case and anywhere.
    [[nodiscard]] bool IsTraced(std::wstring_view source);

    // Writes one of an operation's own records under the object's lock, if these are asked for.
    void TraceOperation(const wchar_t* source, const wchar_t* function, int line, std::wstring_view text) noexcept;

    // Settings that are kept for the product's other programs; no record of this one is filtered by them.
    [[nodiscard]] const std::wstring& TraceString() const noexcept { return settings_.string; }
    [[nodiscard]] const std::wstring& TraceStringUpper() const noexcept { return settings_.stringUpper; }
    static constexpr std::size_t kVectorSize = trace::Settings::kVectorSize;
    [[nodiscard]] const std::array<std::uint32_t, kVectorSize>& TraceVector() const noexcept
    {
        return settings_.vector;
    }

private:
    void CreateLogMutex() noexcept;
    const trace::Writer& Writer();

    bool isLoaded_ = false;
    trace::Settings settings_;
    std::optional<trace::Writer> writer_; // none until somebody asks for it
    win::KernelHandle mutex_;             // null: not usable
    trace::File file_;
};

// The process's trace log. Every program that includes this file constructs it before its entry point runs.
// NOLINTNEXTLINE(readability-identifier-naming): one object for the whole process, as a name of its own.
inline CVLTrace TheTrace;

// Writes a single record of an operation, if entry and leave records are asked for.
inline void TraceStep(const wchar_t* source, const wchar_t* function, int line, std::wstring_view text) noexcept
{
    TheTrace.TraceOperation(source, function, line, text);
}

// Writes the record of an operation that begins; the operation does not tell when it ends.
inline void TraceEnter(const wchar_t* source, const wchar_t* function, int line) noexcept
{
    TraceStep(source, function, line, L"*** ENTER ***");
}

// Writes the record of an operation that begins and, on whatever way it is left, of its end.
class TraceEntry {
public:
    // The operation's source file, its qualified name ("vldb::CDbManager::Connect") and the line; they must live as
    // long as the object.
    TraceEntry(const wchar_t* source, const wchar_t* function, int line) noexcept
        : source_(source), function_(function), line_(line)
    {
        TraceEnter(source_, function_, line_);
    }
    TraceEntry(TraceEntry&&) = delete;
    ~TraceEntry() { TraceStep(source_, function_, line_, L"*** LEAVE ***"); }

private:
    const wchar_t* source_;
    const wchar_t* function_;
    int line_;
};
