#pragma once

#include "messages/translator.h"
#include "support/registry_sandbox.h"
#include "support/replaced_function.h"
#include "support/scratch_folder.h"

#include <algorithm>
#include <cstdint>
#include <initializer_list>
#include <memory>
#include <string>
#include <string_view>
#include <utility>

namespace testing_support {

inline constexpr wchar_t kCoreProductKey[] = L"Software\\Kestrane\\VLCore\\14.0";
inline constexpr wchar_t kConsoleProductKey[] = L"Software\\Kestrane\\VLConsole\\14.0";

// The text of a translation file: the header, then the lines.
inline std::wstring TranslationText(std::initializer_list<std::wstring_view> lines)
{
    std::wstring text = L"#VL_TRANSLATION_FILE\r\n";
    for (const std::wstring_view line : lines) {
        text.append(line).append(L"\r\n");
    }
    return text;
}

// Makes the program believe that it runs from a folder of the test's own, where translation files can stand. The
// process's translator forgets what was loaded when the object goes. Needs a registry sandbox that lives longer.
class InstalledProgram {
public:
    InstalledProgram()
        : moduleFileName_([this](HMODULE module, LPWSTR path, DWORD size) {
              return module == nullptr && !path_.empty() ? Copy(path, size)
                                                         : moduleFileName_.Original(module, path, size);
          })
    {}
    InstalledProgram(InstalledProgram&&) = delete;
    ~InstalledProgram()
    {
        // What a test has set must not outlive it in the new translator.
        RegistrySandbox::SetDword(HKEY_LOCAL_MACHINE, kCoreProductKey, L"IncludeTransId", 0);
        Translator& translator = GetTranslator();
        std::destroy_at(&translator);
        std::construct_at(&translator);
    }

    [[nodiscard]] const ScratchFolder& Folder() const { return folder_; }

    // The running program's path from now on.
    void MoveTo(std::wstring path) { path_ = std::move(path); }

    // Makes the language the configured one and writes its translation file.
    void Translate(std::uint32_t language, const std::wstring& englishName,
                   std::initializer_list<std::wstring_view> lines) const
    {
        RegistrySandbox::SetDword(HKEY_LOCAL_MACHINE, kCoreProductKey, L"Language", language);
        folder_.AddFile(englishName + L".tr", TranslationText(lines));
    }

private:
    // As Windows does it: a path that does not fit is cut and the size of the buffer is the answer.
    DWORD Copy(LPWSTR path, DWORD size) const
    {
        const auto length = static_cast<DWORD>(std::min<std::size_t>(path_.size(), size - 1));
        path[path_.copy(path, length)] = L'\0';
        const bool isCut = length < path_.size();
        SetLastError(isCut ? ERROR_INSUFFICIENT_BUFFER : ERROR_SUCCESS);
        return isCut ? size : length;
    }

    ScratchFolder folder_;
    std::wstring path_ = folder_.PathOf(L"VLCmd.exe");
    Replaced<"GetModuleFileNameW", decltype(::GetModuleFileNameW)> moduleFileName_;
};

} // namespace testing_support
