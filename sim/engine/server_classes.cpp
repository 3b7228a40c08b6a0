#include "engine/server_classes.h"

#include "base/registry_keys.h"
#include "base/settings.h"
#include "base/text.h"

#include "win/owner.h"
#include "win/text.h"

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <tuple>

#include <vlengine.h>

namespace sim {

namespace {

constexpr std::array<const wchar_t*, std::tuple_size_v<ServerClasses>> kClassNames = {
    L"Simulated engine: drive manager", L"Simulated engine: service"};

// Below this key stands a key for each computer with a name.
std::wstring ComputersKey()
{
    return std::wstring(kSimulatorKey) + L"\\Computers";
}

// FNV-1a over the name's bytes: short, and the same in every program.
std::uint64_t HashOf(const std::wstring& text)
{
    constexpr std::uint64_t kBasis = 0xcbf29ce484222325;
    constexpr std::uint64_t kPrime = 0x100000001b3;
    std::uint64_t hash = kBasis;
    for (const char byte : ToUtf8(text)) {
        hash = (hash ^ static_cast<unsigned char>(byte)) * kPrime;
    }
    return hash;
}

} // namespace

ServerClasses ServerClassesOf(const std::wstring& computer)
{
    ServerClasses classes = {__uuidof(VLAgent), __uuidof(VLService)};
    if (!computer.empty()) {
        const std::uint64_t hash = HashOf(win::UpperCase(computer));
        for (GUID& identifier : classes) {
            std::memcpy(identifier.Data4, &hash, sizeof identifier.Data4);
        }
    }
    return classes;
}

HRESULT RegisterClasses(const std::wstring& computer, const std::wstring& program)
{
    std::wstring server = L'"' + program + L'"';
    HRESULT result = S_OK;
    if (!computer.empty()) {
        server += L" --computer \"" + computer + L'"';
        result = SetRegistryText(ComputersKey() + L'\\' + win::UpperCase(computer), nullptr, computer);
    }
    const ServerClasses classes = ServerClassesOf(computer);
    for (std::size_t index = 0; index < kClassNames.size(); ++index) {
        const std::wstring key = ClassKeyPath(classes[index]);
        if (SUCCEEDED(result)) {
            result = SetRegistryText(key, nullptr, kClassNames[index]);
        }
        if (SUCCEEDED(result)) {
            result = SetRegistryText(key + L"\\LocalServer32", nullptr, server);
        }
    }
    return result;
}

HRESULT UnregisterClasses(const std::wstring& computer)
{
    HRESULT result = computer.empty() ? S_OK : RemoveRegistryKey(ComputersKey() + L'\\' + win::UpperCase(computer));
    for (const GUID& identifier : ServerClassesOf(computer)) {
        if (const HRESULT deleted = RemoveRegistryKey(ClassKeyPath(identifier)); SUCCEEDED(result)) {
            result = deleted;
        }
    }
    return result;
}

std::vector<std::wstring> RegisteredComputers()
{
    constexpr DWORD kLongestKeyName = 255;
    std::vector<std::wstring> computers;
    win::RegistryKey key;
    if (RegOpenKeyExW(HKEY_LOCAL_MACHINE, ComputersKey().c_str(), 0, KEY_READ, key.Put()) != ERROR_SUCCESS) {
        return computers;
    }
    for (DWORD index = 0;; ++index) {
        wchar_t name[kLongestKeyName + 1];
        DWORD length = kLongestKeyName + 1;
        if (RegEnumKeyExW(key.Get(), index, name, &length, nullptr, nullptr, nullptr, nullptr) != ERROR_SUCCESS) {
            return computers;
        }
        computers.emplace_back(name, length);
    }
}

} // namespace sim
