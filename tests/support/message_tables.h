#pragma once

#include "support/format_message.h"
#include "support/replaced_function.h"
#include "win/critical_section.h"

#include <gtest/gtest.h>

#include <map>
#include <mutex>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace testing_support {

// Stands in for the message tables of the system and of the internet module, which is loaded. Every call's arguments
// are checked; at the end every text that was handed out must have been freed.
class MessageTables {
public:
    MessageTables() = default;
    MessageTables(MessageTables&&) = delete;
    ~MessageTables() { EXPECT_EQ(std::set<HLOCAL>{}, blocks_) << "texts were not freed"; }

    // The texts by their codes.
    std::map<DWORD, std::wstring> system;
    std::map<DWORD, std::wstring> internet;

    // What was asked, in order, and again from now on: "system 0x80004005", "internet 0x00002EE7".
    [[nodiscard]] std::vector<std::wstring> TakeAsked()
    {
        const std::lock_guard guard(lock_);
        return std::exchange(asked_, {});
    }

    [[nodiscard]] HMODULE InternetModule() { return reinterpret_cast<HMODULE>(this); }

    // How often somebody looked whether the internet module is loaded.
    [[nodiscard]] int ModuleLookups() const { return getModule_.Calls(); }

private:
    static constexpr DWORD kAllocateIgnoreInsertsSystem = 0x1300;
    static constexpr DWORD kModuleMaxWidth = 0x8FF;
    static constexpr DWORD kInternetBuffer = 1024;

    DWORD FromSystem(DWORD flags, const void* source, DWORD code, wchar_t** allocated)
    {
        EXPECT_EQ(kAllocateIgnoreInsertsSystem, flags);
        EXPECT_EQ(nullptr, source);
        const std::wstring* const text = Look(L"system", system, code);
        if (text == nullptr) {
            return 0;
        }
        auto* const block = static_cast<wchar_t*>(LocalAlloc(LPTR, (text->size() + 1) * sizeof(wchar_t)));
        text->copy(block, text->size());
        blocks_.insert(block);
        *allocated = block;
        return static_cast<DWORD>(text->size());
    }

    DWORD FromInternetModule(DWORD flags, const void* source, DWORD code, wchar_t* buffer, DWORD size)
    {
        EXPECT_EQ(kModuleMaxWidth, flags & ~static_cast<DWORD>(FORMAT_MESSAGE_IGNORE_INSERTS));
        EXPECT_EQ(InternetModule(), source);
        EXPECT_EQ(kInternetBuffer, size);
        const std::wstring* const text = Look(L"internet", internet, code);
        if (text == nullptr) {
            return 0;
        }
        buffer[text->copy(buffer, size - 1)] = L'\0';
        return static_cast<DWORD>(text->size());
    }

    const std::wstring* Look(const wchar_t* name, const std::map<DWORD, std::wstring>& table, DWORD code)
    {
        wchar_t asked[40] = {};
        swprintf(asked, 40, L"%ls 0x%08lX", name, code);
        asked_.emplace_back(asked);
        const auto found = table.find(code);
        SetLastError(ERROR_MR_MID_NOT_FOUND);
        return found == table.end() ? nullptr : &found->second;
    }

    win::CriticalSection lock_;
    std::vector<std::wstring> asked_;
    std::set<HLOCAL> blocks_; // what was handed out and not freed

    Replaced<"FormatMessageW", FormatMessageFunction> formatMessage_{
        [this](DWORD flags, LPCVOID source, DWORD code, DWORD language, LPWSTR buffer, DWORD size, char** arguments) {
            const std::lock_guard guard(lock_);
            EXPECT_EQ(1024U, language);
            EXPECT_EQ(nullptr, arguments);
            return (flags & FORMAT_MESSAGE_FROM_SYSTEM) != 0
                       ? FromSystem(flags, source, code, reinterpret_cast<wchar_t**>(buffer))
                       : FromInternetModule(flags, source, code, buffer, size);
        }};
    Replaced<"LocalFree", decltype(::LocalFree)> localFree_{[this](HLOCAL block) {
        const std::lock_guard guard(lock_);
        blocks_.erase(block);
        return localFree_.Original(block);
    }};
    Replaced<"GetModuleHandleW", decltype(::GetModuleHandleW)> getModule_{[this](LPCWSTR name) {
        EXPECT_STREQ(L"WININET.DLL", name);
        return InternetModule();
    }};
};

} // namespace testing_support
