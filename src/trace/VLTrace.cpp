#include "trace/VLTrace.h"

#include "win/security.h"
#include "win/text.h"

#include <cstdarg>
#include <exception>
#include <mutex>

#include <product_version.h>

namespace {

constexpr wchar_t kSource[] = L"VLTrace";
constexpr wchar_t kConstructor[] = L"CVLTrace::CVLTrace";
constexpr std::uint32_t kMutexLevel = 100000; // of messages about the mutex

constexpr wchar_t kMutexName[] = L"Global\\VL" PRODUCT_VERSION_DIGITS L"_LogFileMutex";
constexpr DWORD kMutexPatience = 2000; // milliseconds

// Creates the mutex for everyone; an error instead of it.
DWORD CreateForEveryone(win::KernelHandle& mutex) noexcept
{
    win::SecurityDescriptor everyone;
    if (const DWORD error = win::MakeAccessByEveryone(everyone); error != ERROR_SUCCESS) {
        return error;
    }
    SECURITY_ATTRIBUTES security{sizeof security, everyone.Get(), FALSE};
    mutex.Reset(CreateMutexW(&security, FALSE, kMutexName));
    return mutex ? ERROR_SUCCESS : GetLastError();
}

// The mutex that one of the product's programs at a time holds while it writes; after a while the write goes on
// without it.
class MutexHold {
public:
    explicit MutexHold(HANDLE mutex) noexcept : mutex_(mutex)
    {
        if (mutex_ != nullptr) {
            const DWORD waited = WaitForSingleObject(mutex_, kMutexPatience);
            // A program that ended without giving the mutex back leaves it to the next one.
            isHeld_ = waited == WAIT_OBJECT_0 || waited == WAIT_ABANDONED;
        }
    }
    MutexHold(MutexHold&&) = delete;
    ~MutexHold()
    {
        if (isHeld_) {
            ReleaseMutex(mutex_);
        }
    }

private:
    HANDLE mutex_;
    bool isHeld_ = false;
};

// Runs work(), whose memory may run out, where no exception may pass.
template <typename Work>
std::uint32_t WithoutException(Work work) noexcept
{
    try {
        return work();
    } catch (const std::exception&) {
        return ERROR_OUTOFMEMORY;
    }
}

} // namespace

CVLTrace::CVLTrace() noexcept
{
    // Without settings the defaults stand, and nothing is written.
    static_cast<void>(LoadSettings());
    CreateLogMutex();
}

std::uint32_t CVLTrace::LoadSettings() noexcept
{
    const std::lock_guard guard(*this);
    if (isLoaded_) {
        return ERROR_SUCCESS;
    }
    const std::uint32_t error = WithoutException([this] { return trace::ReadSettings(settings_); });
    isLoaded_ = error == ERROR_SUCCESS;
    return error;
}

void CVLTrace::CreateLogMutex() noexcept
{
    const DWORD error = CreateForEveryone(mutex_);
    if (error == ERROR_SUCCESS) {
        return;
    }
    TraceMessage(kMutexLevel, kSource, kConstructor, __LINE__,
                 L"Call to CreateMutex() failed.  Microsoft Error Code = %u", error);
    // The mutex of another user's program may be waited for, no more.
    if (error == ERROR_ACCESS_DENIED) {
        mutex_.Reset(OpenMutexW(SYNCHRONIZE, FALSE, kMutexName));
        if (mutex_) {
            return;
        }
        TraceMessage(kMutexLevel, kSource, kConstructor, __LINE__,
                     L"Call to OpenMutex() failed.  Microsoft Error Code = %u", GetLastError());
    }
    TraceMessage(kMutexLevel, kSource, kConstructor, __LINE__,
                 L"Mutex could not be successfully created or opened. Log file I/O will NOT be mutexed.");
}

std::uint32_t CVLTrace::TraceMessage(std::uint32_t level, const wchar_t* source, const wchar_t* function, int line,
                                     const wchar_t* format, ...) noexcept
{
    const std::lock_guard guard(*this);
    if (level > settings_.level) {
        return ERROR_SUCCESS;
    }
    va_list arguments;
    va_start(arguments, format);
    const std::uint32_t result =
        WithoutException([&] { return TraceWrite({}, source, function, line, trace::FormatList(format, arguments)); });
    va_end(arguments);
    return result;
}

void CVLTrace::TraceOperation(const wchar_t* source, const wchar_t* function, int line, std::wstring_view text) noexcept
{
    // The settings do not change once they have been read, so that this question needs no lock.
    if (settings_.entryExit != 1) {
        return;
    }
    const std::lock_guard guard(*this);
    static_cast<void>(TraceWrite({}, source, function, line, text));
}

bool CVLTrace::IsTraced(std::wstring_view source)
{
    if (settings_.moduleList.empty()) {
        return true;
    }
    if (source.empty()) {
        return false;
    }
    const auto isListed = [this](std::wstring_view name) {
        return settings_.moduleListUpper.find(win::UpperCase(name)) != std::wstring::npos;
    };
    return isListed(win::BaseName(source)) || isListed(Writer().program);
}

std::uint32_t CVLTrace::TraceWrite(std::wstring_view module, std::wstring_view source, std::wstring_view function,
                                   int line, std::wstring_view text) noexcept
{
    return WithoutException([&]() -> std::uint32_t {
        if (!IsTraced(source)) {
            return ERROR_SUCCESS;
        }
        const trace::Writer& writer = Writer();
        if (settings_.directory.empty()) {
            settings_.directory = trace::DefaultDirectory();
        }
        const MutexHold hold(mutex_.Get());
        const std::wstring record =
            trace::LineOf({module, source, function, line, text}, writer, settings_.functionName);
        return file_.Append(settings_.directory, settings_.maxFileSize, record);
    });
}

const trace::Writer& CVLTrace::Writer()
{
    if (!writer_) {
        writer_ = trace::FindWriter();
    }
    return *writer_;
}
