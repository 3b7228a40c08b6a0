#include "messages/translator.h"

#include "support/registry.h"
#include "win/system.h"

#include <algorithm>
#include <iterator>
#include <memory>
#include <mutex>
#include <new>
#include <utility>

namespace {

constexpr DWORD kSpinCount = 10;
constexpr DWORD kProgramPathSize = 512;
constexpr auto kFailed = static_cast<std::uint32_t>(E_FAIL);

constexpr LANGID kEnglishUnitedStates = 1033;

constexpr Language kLanguages[] = {
    {kEnglishUnitedStates, L"English", L"English"},
    {1034, L"Spanish", L"Espa\u00F1ol"},
    {1036, L"French", L"Fran\u00E7ais"},
    {1031, L"German", L"Deutsch"},
    {1041, L"Japanese", L"\u65E5\u672C\u8A9E"},
    {4, L"Chinese", L"\u4E2D\u6587"},
};

// The path of the language's translation file; empty for an unknown language or when the program's folder is unknown.
std::wstring TranslationPath(LANGID id)
{
    const std::vector<Language> languages = GetLanguages();
    const auto language =
        std::find_if(languages.begin(), languages.end(), [id](const Language& l) { return l.id == id; });
    const std::wstring folder = win::ProgramFolder(kProgramPathSize);
    if (language == languages.end() || folder.empty()) {
        return {};
    }
    return folder + language->englishName + L".tr";
}

// The text in UTF-16; empty where Windows cannot convert it or there is no memory for it.
std::wstring FromAnsi(const char* text)
{
    const int size = MultiByteToWideChar(CP_ACP, 0, text, -1, nullptr, 0);
    if (size <= 0) {
        return {};
    }
    const std::unique_ptr<wchar_t[]> wide(new (std::nothrow) wchar_t[static_cast<std::size_t>(size)]());
    if (!wide) {
        return {};
    }
    MultiByteToWideChar(CP_ACP, 0, text, -1, wide.get(), size);
    return wide.get();
}

} // namespace

std::vector<Language> GetLanguages()
{
    return {std::begin(kLanguages), std::end(kLanguages)};
}

Translator::Translator() : lock_(kSpinCount), language_(kEnglishUnitedStates)
{
    win::RegistryKey core;
    std::uint32_t include = 0;
    if (RegOpen(HKEY_LOCAL_MACHINE, kCoreKey, KEY_READ, core) == ERROR_SUCCESS &&
        RegReadDword(core.Get(), L"IncludeTransId", include) == ERROR_SUCCESS) {
        includeTransId_ = include != 0;
    }
}

std::wstring Translator::Find(std::uint32_t number, const char* englishText)
{
    const std::lock_guard guard(lock_);
    std::wstring text;
    if (includeTransId_) {
        text = L"(-" + std::to_wstring(static_cast<std::int32_t>(number)) + L"-)";
    }
    const auto after = std::upper_bound(
        messages_.begin(), messages_.end(), number,
        [](std::uint32_t wanted, const TranslatedMessage& message) { return wanted < message.number; });
    if (after != messages_.begin() && std::prev(after)->number == number) {
        return text + Unquoted(std::prev(after)->field);
    }
    return text + FromAnsi(englishText);
}

std::uint32_t Translator::Load(std::wstring text)
{
    std::list<std::wstring> file;
    file.push_back(std::move(text));
    std::vector<TranslatedMessage> messages = messages_;
    if (!ParseTranslations(file.front(), messages)) {
        return kFailed;
    }
    std::stable_sort(
        messages.begin(), messages.end(),
        [](const TranslatedMessage& left, const TranslatedMessage& right) { return left.number < right.number; });
    messages_.swap(messages);
    files_.splice(files_.end(), file);
    return 0;
}

Translator& GetTranslator()
{
    static Translator translator;
    return translator;
}

std::uint32_t LoadTranslation(Translator& translator, int which)
try {
    const std::lock_guard guard(translator.lock_);
    const wchar_t* const product = which == kLanguageOfConsole ? kConsoleKey : kCoreKey;
    win::RegistryKey key;
    std::uint32_t language = 0;
    if (RegOpen(HKEY_LOCAL_MACHINE, product, KEY_READ, key) == ERROR_SUCCESS &&
        RegReadDword(key.Get(), L"Language", language) == ERROR_SUCCESS) {
        translator.language_ = static_cast<LANGID>(language);
    }
    const std::wstring path = TranslationPath(translator.language_);
    if (path.empty()) {
        return kFailed;
    }
    std::wstring text;
    if (const std::uint32_t error = ReadTranslationFile(path, text); error != ERROR_SUCCESS) {
        return error;
    }
    return translator.Load(std::move(text));
} catch (const std::bad_alloc&) {
    return static_cast<std::uint32_t>(E_OUTOFMEMORY);
}
