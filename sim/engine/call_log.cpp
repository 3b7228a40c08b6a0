#include "engine/call_log.h"

#include "base/text.h"

#include <cwchar>

namespace sim {

bool CallLog::Open(const std::wstring& path)
{
    // With no other right than to append, Windows puts every write at the end of the file. The file may be read,
    // emptied or deleted by a test while it is open.
    file_.Reset(CreateFileW(path.c_str(), FILE_APPEND_DATA, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                            nullptr, OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr));
    return static_cast<bool>(file_);
}

void CallLog::Write(std::wstring_view line)
{
    const std::scoped_lock guard(lock_);
    Append(line);
}

void CallLog::WriteLast(std::wstring_view line)
{
    const std::scoped_lock guard(lock_);
    Append(line);
    file_.Reset();
}

DWORD CallLog::Error() const
{
    const std::scoped_lock guard(lock_);
    return error_;
}

void CallLog::Append(std::wstring_view line)
{
    if (!file_) {
        return;
    }
    const std::string bytes = ToUtf8(line) + '\n';
    const auto size = static_cast<DWORD>(bytes.size());
    DWORD written = 0;
    if (WriteFile(file_.Get(), bytes.data(), size, &written, nullptr) == FALSE && error_ == ERROR_SUCCESS) {
        error_ = GetLastError();
    } else if (written != size && error_ == ERROR_SUCCESS) {
        error_ = ERROR_DISK_FULL;
    }
}

std::wstring Quoted(std::wstring_view text)
{
    std::wstring quoted = L"\"";
    for (const wchar_t character : text) {
        constexpr wchar_t kFirstPrintable = 0x20;
        if (character >= kFirstPrintable) {
            quoted += character;
        } else {
            wchar_t code[9];
            std::swprintf(code, std::size(code), L"<U+%04X>", static_cast<unsigned>(character));
            quoted += code;
        }
    }
    return quoted + L'"';
}

} // namespace sim
