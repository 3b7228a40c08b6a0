#include "support/resource_census.h"

#include "support/format_message.h"
#include "support/replaced_function.h"
#include "win/com_ptr.h"
#include "win/critical_section.h"

#include <algorithm>
#include <map>
#include <mutex>
#include <optional>
#include <vector>

namespace testing_support {

namespace {

// Everything of one kind that is out now.
class Ledger {
public:
    void HandedOut(const void* thing)
    {
        if (thing != nullptr && thing != INVALID_HANDLE_VALUE) {
            const std::lock_guard guard(lock_);
            ++out_[thing];
        }
    }

    // False when the thing is not on the books.
    bool GivenBack(const void* thing)
    {
        const std::lock_guard guard(lock_);
        const auto found = out_.find(thing);
        if (found == out_.end()) {
            return false;
        }
        if (--found->second == 0) {
            out_.erase(found);
        }
        return true;
    }

    [[nodiscard]] std::size_t Count() const { return out_.size(); }

private:
    win::CriticalSection lock_;
    std::map<const void*, int> out_;
};

// Streams over memory. The program has released a stream when this is all that still holds it.
class Streams {
public:
    void HandedOut(IStream* stream)
    {
        const std::lock_guard guard(lock_);
        std::erase_if(out_, IsReleased);
        out_.emplace_back(stream);
    }

    [[nodiscard]] std::size_t Count() const
    {
        return out_.size() - static_cast<std::size_t>(std::count_if(out_.begin(), out_.end(), IsReleased));
    }

private:
    static bool IsReleased(const win::ComPtr<IStream>& stream)
    {
        stream->AddRef();
        return stream->Release() == 1;
    }

    win::CriticalSection lock_;
    std::vector<win::ComPtr<IStream>> out_;
};

// A replacement that is only made when the program imports the function.
template <FunctionName Name, typename Signature>
class Watched {
public:
    explicit Watched(typename Replaced<Name, Signature>::Function function)
    {
        if (IsImported(Name.text)) {
            replaced_.emplace(std::move(function));
        }
    }

    template <typename... Arguments>
    // NOLINTNEXTLINE(modernize-use-nodiscard): see Replaced.
    auto Original(Arguments... arguments) const
    {
        return replaced_->Original(arguments...);
    }

private:
    std::optional<Replaced<Name, Signature>> replaced_;
};

} // namespace

class ResourceCensus::Counters {
public:
    Ledger strings;
    Ledger arrays;
    Ledger keys;
    Ledger handles;
    Ledger searches;
    Ledger localMemory;
    Ledger globalMemory;
    Streams streams;
    std::atomic<int> doubleFrees = 0;
    std::atomic<int> doubleGlobalFrees = 0;
    std::atomic<int> comBalance = 0;

private:
    BSTR Count(BSTR text)
    {
        strings.HandedOut(text);
        return text;
    }
    void Freed(BSTR text)
    {
        if (text != nullptr && !strings.GivenBack(text)) {
            ++doubleFrees;
        }
    }
    // An array goes, and the strings in it.
    void Destroyed(SAFEARRAY* array)
    {
        if (array == nullptr) {
            return;
        }
        arrays.GivenBack(array);
        if ((array->fFeatures & FADF_BSTR) != 0 && array->cDims == 1) {
            const BSTR* const texts = static_cast<const BSTR*>(array->pvData);
            std::for_each(texts, texts + array->rgsabound[0].cElements, [this](BSTR text) { Freed(text); });
        }
    }
    static BSTR TextOf(const VARIANT& value) { return value.vt == VT_BSTR ? value.bstrVal : nullptr; }
    HANDLE Count(HANDLE handle)
    {
        handles.HandedOut(handle);
        return handle;
    }
    HANDLE CountSearch(HANDLE search)
    {
        searches.HandedOut(search);
        return search;
    }

    Watched<"SysAllocString", decltype(::SysAllocString)> allocString_{
        [this](const OLECHAR* text) { return Count(allocString_.Original(text)); }};
    Watched<"SysAllocStringLen", decltype(::SysAllocStringLen)> allocStringLen_{
        [this](const OLECHAR* text, UINT length) { return Count(allocStringLen_.Original(text, length)); }};
    Watched<"SysFreeString", decltype(::SysFreeString)> freeString_{[this](BSTR text) {
        Freed(text);
        freeString_.Original(text);
    }};
    // What Automation allocates and frees for itself in a VARIANT or an array passes the import table by.
    Watched<"VariantClear", decltype(::VariantClear)> clearVariant_{[this](VARIANT* value) {
        Freed(TextOf(*value));
        if ((value->vt & VT_ARRAY) != 0) {
            Destroyed(value->parray);
        }
        return clearVariant_.Original(value);
    }};
    Watched<"SafeArrayCreateVector", decltype(::SafeArrayCreateVector)> createArray_{
        [this](VARTYPE type, LONG first, ULONG count) {
            SAFEARRAY* const array = createArray_.Original(type, first, count);
            arrays.HandedOut(array);
            return array;
        }};
    Watched<"SafeArrayDestroy", decltype(::SafeArrayDestroy)> destroyArray_{[this](SAFEARRAY* array) {
        Destroyed(array);
        return destroyArray_.Original(array);
    }};
    Watched<"VariantChangeType", decltype(::VariantChangeType)> changeVariant_{
        [this](VARIANT* changed, auto* value, USHORT flags, VARTYPE type) {
            const BSTR before = TextOf(*changed);
            const HRESULT result = changeVariant_.Original(changed, value, flags, type);
            if (const BSTR after = TextOf(*changed); after != before) {
                Freed(before);
                Count(after);
            }
            return result;
        }};

    Watched<"RegOpenKeyExW", decltype(::RegOpenKeyExW)> openKey_{
        [this](HKEY root, LPCWSTR path, DWORD options, REGSAM access, PHKEY key) {
            const LSTATUS status = openKey_.Original(root, path, options, access, key);
            if (status == ERROR_SUCCESS) {
                keys.HandedOut(*key);
            }
            return status;
        }};
    Watched<"RegCloseKey", decltype(::RegCloseKey)> closeKey_{[this](HKEY key) {
        keys.GivenBack(key);
        return closeKey_.Original(key);
    }};

    Watched<"CreateFileW", decltype(::CreateFileW)> createFile_{[this](LPCWSTR path, DWORD access, DWORD share,
                                                                       LPSECURITY_ATTRIBUTES security,
                                                                       DWORD disposition, DWORD flags, HANDLE pattern) {
        return Count(createFile_.Original(path, access, share, security, disposition, flags, pattern));
    }};
    Watched<"CreateEventW", decltype(::CreateEventW)> createEvent_{
        [this](LPSECURITY_ATTRIBUTES security, BOOL manual, BOOL signalled, LPCWSTR name) {
            return Count(createEvent_.Original(security, manual, signalled, name));
        }};
    Watched<"CreateMutexW", decltype(::CreateMutexW)> createMutex_{
        [this](LPSECURITY_ATTRIBUTES security, BOOL owned, LPCWSTR name) {
            return Count(createMutex_.Original(security, owned, name));
        }};
    Watched<"OpenMutexW", decltype(::OpenMutexW)> openMutex_{
        [this](DWORD access, BOOL inherit, LPCWSTR name) { return Count(openMutex_.Original(access, inherit, name)); }};
    Watched<"CreateThread", decltype(::CreateThread)> createThread_{
        [this](LPSECURITY_ATTRIBUTES security, SIZE_T stack, LPTHREAD_START_ROUTINE routine, LPVOID parameter,
               DWORD flags,
               LPDWORD id) { return Count(createThread_.Original(security, stack, routine, parameter, flags, id)); }};
    Watched<"OpenProcess", decltype(::OpenProcess)> openProcess_{
        [this](DWORD access, BOOL inherit, DWORD id) { return Count(openProcess_.Original(access, inherit, id)); }};
    // Handles that were open before the census began are none of its business.
    Watched<"CloseHandle", decltype(::CloseHandle)> closeHandle_{[this](HANDLE handle) {
        handles.GivenBack(handle);
        return closeHandle_.Original(handle);
    }};

    Watched<"FindFirstFileW", decltype(::FindFirstFileW)> findFile_{
        [this](LPCWSTR path, LPWIN32_FIND_DATAW found) { return CountSearch(findFile_.Original(path, found)); }};
    Watched<"FindClose", decltype(::FindClose)> findClose_{[this](HANDLE search) {
        searches.GivenBack(search);
        return findClose_.Original(search);
    }};
    Watched<"FindFirstVolumeW", decltype(::FindFirstVolumeW)> findVolume_{
        [this](LPWSTR name, DWORD length) { return CountSearch(findVolume_.Original(name, length)); }};
    Watched<"FindVolumeClose", decltype(::FindVolumeClose)> findVolumeClose_{[this](HANDLE search) {
        searches.GivenBack(search);
        return findVolumeClose_.Original(search);
    }};
    Watched<"FindFirstVolumeMountPointW", decltype(::FindFirstVolumeMountPointW)> findMountPoint_{
        [this](LPCWSTR root, LPWSTR folder, DWORD length) {
            return CountSearch(findMountPoint_.Original(root, folder, length));
        }};
    Watched<"FindVolumeMountPointClose", decltype(::FindVolumeMountPointClose)> findMountPointClose_{
        [this](HANDLE search) {
            searches.GivenBack(search);
            return findMountPointClose_.Original(search);
        }};

    Watched<"FormatMessageW", FormatMessageFunction> formatMessage_{
        [this](DWORD flags, LPCVOID source, DWORD code, DWORD language, LPWSTR text, DWORD size, char** arguments) {
            const DWORD length = formatMessage_.Original(flags, source, code, language, text, size, arguments);
            if (length != 0 && (flags & FORMAT_MESSAGE_ALLOCATE_BUFFER) != 0) {
                localMemory.HandedOut(*reinterpret_cast<wchar_t**>(text));
            }
            return length;
        }};
    Watched<"LocalAlloc", decltype(::LocalAlloc)> localAlloc_{[this](UINT flags, SIZE_T size) {
        const HLOCAL block = localAlloc_.Original(flags, size);
        localMemory.HandedOut(block);
        return block;
    }};
    Watched<"LocalFree", decltype(::LocalFree)> localFree_{[this](HLOCAL block) {
        localMemory.GivenBack(block);
        return localFree_.Original(block);
    }};

    Watched<"GlobalAlloc", decltype(::GlobalAlloc)> globalAlloc_{[this](UINT flags, SIZE_T size) {
        const HGLOBAL block = globalAlloc_.Original(flags, size);
        globalMemory.HandedOut(block);
        return block;
    }};
    Watched<"GlobalFree", decltype(::GlobalFree)> globalFree_{[this](HGLOBAL block) {
        if (block != nullptr && !globalMemory.GivenBack(block)) {
            ++doubleGlobalFrees;
        }
        return globalFree_.Original(block);
    }};
    Watched<"CreateStreamOnHGlobal", decltype(::CreateStreamOnHGlobal)> createStream_{
        [this](HGLOBAL block, BOOL freesBlock, IStream** stream) {
            const HRESULT result = createStream_.Original(block, freesBlock, stream);
            if (SUCCEEDED(result)) {
                if (freesBlock != FALSE) {
                    globalMemory.GivenBack(block);
                }
                streams.HandedOut(*stream);
            }
            return result;
        }};

    Watched<"CoInitializeEx", decltype(::CoInitializeEx)> initialize_{[this](LPVOID reserved, DWORD model) {
        const HRESULT result = initialize_.Original(reserved, model);
        if (SUCCEEDED(result)) {
            ++comBalance;
        }
        return result;
    }};
    Watched<"CoUninitialize", decltype(::CoUninitialize)> uninitialize_{[this] {
        --comBalance;
        uninitialize_.Original();
    }};
};

ResourceCensus::ResourceCensus() : counters_(std::make_unique<Counters>()) {}

ResourceCensus::~ResourceCensus() = default;

std::string ResourceCensus::Imbalance() const
{
    const std::pair<const char*, long long> counts[] = {
        {"BSTRs not freed", static_cast<long long>(counters_->strings.Count())},
        {"BSTRs freed that were not allocated", counters_->doubleFrees},
        {"arrays not destroyed", static_cast<long long>(counters_->arrays.Count())},
        {"registry keys open", static_cast<long long>(counters_->keys.Count())},
        {"handles open", static_cast<long long>(counters_->handles.Count())},
        {"searches open", static_cast<long long>(counters_->searches.Count())},
        {"local memory blocks", static_cast<long long>(counters_->localMemory.Count())},
        {"global memory blocks", static_cast<long long>(counters_->globalMemory.Count())},
        {"global memory blocks freed that were not allocated", counters_->doubleGlobalFrees},
        {"streams not released", static_cast<long long>(counters_->streams.Count())},
        {"COM initialisations", counters_->comBalance},
    };
    std::string text;
    for (const auto& [what, count] : counts) {
        if (count != 0) {
            text += std::string(what) + ": " + std::to_string(count) + "\n";
        }
    }
    return text;
}

int ResourceCensus::ComBalance() const
{
    return counters_->comBalance;
}

} // namespace testing_support
