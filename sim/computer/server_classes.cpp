#include "computer/server_classes.h"

#include "results.h"
#include "settings.h"
#include "text.h"

#include "win/owner.h"

#include <cstddef>
#include <cstdint>
#include <cstring>

#include <vlengine.h>

namespace sim {

namespace {

constexpr const wchar_t* kClassNames[] = {L"Simulated engine: drive manager", L"Simulated engine: service"};

// Below this key stands a key for each computer with a name.
std::wstring ComputersKey()
{
    return std::wstring(kSimulatorKey) + L"\\Computers";
}

std::wstring ClassKeyPath(const GUID& identifier)
{
    std::array<wchar_t, 39> text{};
    StringFromGUID2(identifier, text.data(), static_cast<int>(text.size()));
    return std::wstring(L"Software\\Classes\\CLSID\\") + text.data();
}

HRESULT SetDefaultValue(const std::wstring& keyPath, const std::wstring& value)
{
    win::RegistryKey key;
    LSTATUS status =
        RegCreateKeyExW(HKEY_LOCAL_MACHINE, keyPath.c_str(), 0, nullptr, 0, KEY_SET_VALUE, nullptr, key.Put(), nullptr);
    if (status == ERROR_SUCCESS) {
        status = RegSetKeyValueW(key.Get(), nullptr, nullptr, REG_SZ, value.c_str(),
                                 static_cast<DWORD>((value.size() + 1) * sizeof(wchar_t)));
    }
    return status == ERROR_SUCCESS ? S_OK : FromWindowsError(static_cast<DWORD>(status));
}

HRESULT DeleteTree(const std::wstring& keyPath)
{
    const LSTATUS status = RegDeleteTreeW(HKEY_LOCAL_MACHINE, keyPath.c_str());
    const bool gone = status == ERROR_SUCCESS || status == ERROR_FILE_NOT_FOUND;
    return gone ? S_OK : FromWindowsError(static_cast<DWORD>(status));
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
        const std::uint64_t hash = HashOf(FoldCase(computer));
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
        result = SetDefaultValue(ComputersKey() + L'\\' + FoldCase(computer), computer);
    }
    const ServerClasses classes = ServerClassesOf(computer);
    for (std::size_t index = 0; index < classes.size(); ++index) {
        const std::wstring key = ClassKeyPath(classes[index]);
        if (SUCCEEDED(result)) {
            result = SetDefaultValue(key, kClassNames[index]);
        }
        if (SUCCEEDED(result)) {
            result = SetDefaultValue(key + L"\\LocalServer32", server);
        }
    }
    return result;
}

HRESULT UnregisterClasses(const std::wstring& computer)
{
    HRESULT result = computer.empty() ? S_OK : DeleteTree(ComputersKey() + L'\\' + FoldCase(computer));
    for (const GUID& identifier : ServerClassesOf(computer)) {
        if (const HRESULT deleted = DeleteTree(ClassKeyPath(identifier)); SUCCEEDED(result)) {
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
