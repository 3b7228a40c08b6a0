#pragma once

#include "win/owner.h"

#include <cstdint>
#include <list>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace e2e {

inline constexpr wchar_t kCoreKey[] = L"Software\\Kestrane\\VLCore\\14.0";
inline constexpr wchar_t kPolicyKey[] = L"Software\\Policies\\Kestrane\\Velundra\\14.0";
// What the product reads of it.
inline constexpr const wchar_t* kPolicyValues[] = {
    L"AllowLaunch",       L"AllowAdvanceConfiguration", L"AllowAnalyze",          L"AllowZeroFreeSpace",
    L"AllowOnlineDefrag", L"AllowOfflineDefrag",        L"AllowModifyDriveProps", L"AllowModifySched",
    L"AllowRunSchedule",  L"AllowCheckUpdate",          L"AllowFreeSpaceStatus",  L"AllowFreeSpaceReclaim"};
inline constexpr wchar_t kSimulatorKey[] = L"Software\\Kestrane\\Simulator";

// A registry value, or none, for as long as the object lives; what stood there before comes back, and a key that was
// not there goes again.
class RegistryValue {
public:
    RegistryValue(HKEY root, const std::wstring& key, const std::wstring& name, std::uint32_t value);
    RegistryValue(HKEY root, const std::wstring& key, const std::wstring& name, const std::wstring& value);
    // No value of this name.
    RegistryValue(HKEY root, const std::wstring& key, const std::wstring& name);
    RegistryValue(const RegistryValue&) = delete;
    RegistryValue(RegistryValue&&) = delete;
    ~RegistryValue();
    RegistryValue& operator=(const RegistryValue&) = delete;
    RegistryValue& operator=(RegistryValue&&) = delete;

private:
    struct Content {
        DWORD type = REG_NONE;
        std::vector<BYTE> bytes;
    };

    RegistryValue(HKEY root, std::wstring key, std::wstring name, const std::optional<Content>& content);
    [[nodiscard]] std::optional<Content> Read() const;
    [[nodiscard]] LSTATUS Write(const std::optional<Content>& content) const;

    HKEY root_;
    std::wstring path_;
    std::wstring name_;
    win::RegistryKey key_;
    bool createdKey_ = false;
    std::optional<Content> before_;
};

// Any number of registry values; they are given up in reverse order, so that a name may be set several times.
class RegistryValues {
public:
    RegistryValues() = default;
    RegistryValues(const RegistryValues&) = delete;
    RegistryValues(RegistryValues&&) = delete;
    ~RegistryValues() { Clear(); }
    RegistryValues& operator=(const RegistryValues&) = delete;
    RegistryValues& operator=(RegistryValues&&) = delete;

    // Makes one more registry value, with what its constructor takes.
    template <typename... Arguments>
    void Add(Arguments&&... arguments)
    {
        values_.emplace_back(std::forward<Arguments>(arguments)...);
    }

    void Clear()
    {
        while (!values_.empty()) {
            values_.pop_back();
        }
    }

private:
    std::list<RegistryValue> values_;
};

} // namespace e2e
