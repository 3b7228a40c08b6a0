#include "engine/formatting.h"

#include "messages/catalogue.h"
#include "win/error_text.h"
#include "win/result_code.h"
#include "win/system_library.h"
#include "win/text.h"

#include <cmath>
#include <cwchar>
#include <limits>
#include <utility>

namespace {

constexpr double kKilo = 1024.0;
constexpr double kMega = kKilo * kKilo;
constexpr double kGiga = kMega * kKilo;
constexpr double kTera = kGiga * kKilo;
constexpr double kPeta = kTera * kKilo;
constexpr double kExa = kPeta * kKilo;
constexpr double kZetta = kExa * kKilo;
constexpr double kYotta = kZetta * kKilo;

struct SizeUnit {
    double divisor;
    int exponent;
    // Whether a size of exactly one unit is already shown in it.
    bool reached;
    int decimals;
    Message message;
};

constexpr SizeUnit kSizeUnits[] = {
    {kYotta, 24, true, 2, {42404, "%1 YB"}}, {kZetta, 21, true, 2, {42403, "%1 ZB"}},
    {kExa, 18, true, 2, {42402, "%1 EB"}},   {kPeta, 15, true, 2, {42401, "%1 PB"}},
    {kTera, 12, true, 2, {306, "%1 TB"}},    {kGiga, 9, false, 2, {281, "%1 GB"}},
    {kMega, 6, false, 2, {290, "%1 MB"}},    {kKilo, 3, false, 2, {288, "%1 KB"}},
};
constexpr Message kBytes{260, "%1 B"};

struct ShortSizeUnit {
    double divisor;
    const wchar_t* format;
};

constexpr ShortSizeUnit kShortSizeUnits[] = {
    {kYotta, L"%.1f YB"}, {kZetta, L"%.1f ZB"}, {kExa, L"%.1f EB"},  {kPeta, L"%.1f PB"},
    {kTera, L"%.1f TB"},  {kGiga, L"%.1f GB"},  {kMega, L"%.1f MB"},
};
constexpr ShortSizeUnit kShortestUnit{kKilo, L"%.1f KB"};
constexpr std::size_t kSizeTextLength = 512;

std::wstring Rounded(double value, int decimals)
{
    const double scale = std::pow(10.0, decimals);
    return FormatNumber(std::ceil(value * scale) / scale, kDefaultWidth, kDefaultFill, decimals);
}

// What GetDateFormatW or GetTimeFormatW writes for the moment; empty when it fails.
template <typename Format>
std::wstring FormatMoment(Format format, const SYSTEMTIME& moment, int length)
{
    std::wstring text(static_cast<std::size_t>(length), L'\0');
    const int written = format(LOCALE_SYSTEM_DEFAULT, 0, &moment, nullptr, text.data(), length);
    // The count includes the terminating NUL.
    text.resize(written > 0 ? static_cast<std::size_t>(written) - 1 : 0);
    return text;
}

bool IsInternetError(HRESULT result)
{
    constexpr std::uint32_t kFirst = 12000;
    constexpr std::uint32_t kLast = 12175;
    constexpr auto kFacilityWin32 = 7;
    constexpr auto kFacilityInternet = 12;
    const std::uint32_t code = win::CodeOf(result);
    const int facility = HRESULT_FACILITY(result);
    return code >= kFirst && code <= kLast && (facility == kFacilityWin32 || facility == kFacilityInternet);
}

std::wstring InternetText(DWORD code)
{
    constexpr wchar_t kInternetModule[] = L"WININET.DLL";
    constexpr DWORD kLength = 1024;
    HMODULE module = GetModuleHandleW(kInternetModule);
    if (module == nullptr) {
        module = win::LoadSystemLibrary(kInternetModule);
    }
    if (module == nullptr) {
        return {};
    }
    wchar_t text[kLength] = {};
    const DWORD length =
        FormatMessageW(FORMAT_MESSAGE_FROM_HMODULE | FORMAT_MESSAGE_IGNORE_INSERTS | FORMAT_MESSAGE_MAX_WIDTH_MASK,
                       module, code, win::kNeutralLanguage, text, kLength, nullptr);
    return {text, length};
}

std::wstring ErrorText(HRESULT result)
{
    std::wstring text = win::ErrorObjectText();
    if (text.empty()) {
        text = win::SystemText(win::ResultOf(result));
    }
    if (text.empty() && IsInternetError(result)) {
        text = InternetText(win::CodeOf(result));
    }
    if (text.empty()) {
        text = win::SystemText(win::CodeOf(result));
    }
    return text.empty() ? L"Detailed error text is not available" : text;
}

} // namespace

std::wstring FormatSize(double size, int smallestExponent)
{
    const double magnitude = std::abs(size);
    for (const SizeUnit& unit : kSizeUnits) {
        const bool large = unit.reached ? magnitude >= unit.divisor : magnitude > unit.divisor;
        if (large || smallestExponent >= unit.exponent) {
            return ToWideString(GetMessage(unit.message, {Rounded(size / unit.divisor, unit.decimals)}));
        }
    }
    return ToWideString(GetMessage(kBytes, {Rounded(size, 0)}));
}

std::wstring FormatSizeShort(double size)
{
    ShortSizeUnit unit = kShortestUnit;
    for (const ShortSizeUnit& candidate : kShortSizeUnits) {
        if (size > candidate.divisor) {
            unit = candidate;
            break;
        }
    }
    wchar_t text[kSizeTextLength] = {};
    std::swprintf(text, kSizeTextLength, unit.format, size / unit.divisor);
    return text;
}

std::wstring FormatNumber(double value, int width, wchar_t fill, int decimals)
{
    // A sign, the digits of the greatest number, the point, a NUL; the decimals come on top.
    constexpr std::size_t kLengthWithoutDecimals = std::numeric_limits<double>::max_exponent10 + 4;
    constexpr std::size_t kDefaultDecimals = 6; // which a negative count stands for
    const std::size_t length =
        kLengthWithoutDecimals + (decimals < 0 ? kDefaultDecimals : static_cast<std::size_t>(decimals));
    std::wstring text(length, L'\0');
    text.resize(static_cast<std::size_t>(std::swprintf(text.data(), length, L"%.*f", decimals, value)));
    text = win::PaddedLeft(std::move(text), width, fill);
    if (text.find(L'.') != std::wstring::npos) {
        text.erase(text.find_last_not_of(L'0') + 1);
        if (text.ends_with(L'.')) {
            text.pop_back();
        }
    }
    return text;
}

DateTimeText FormatDateTime(const SYSTEMTIME& moment)
{
    const int dateLength = GetDateFormatW(LOCALE_SYSTEM_DEFAULT, 0, &moment, nullptr, nullptr, 0);
    const int timeLength = GetTimeFormatW(LOCALE_SYSTEM_DEFAULT, 0, &moment, nullptr, nullptr, 0);
    if (dateLength == 0 || timeLength == 0) {
        return {};
    }
    return {FormatMoment(GetDateFormatW, moment, dateLength), FormatMoment(GetTimeFormatW, moment, timeLength)};
}

std::wstring FormatError(HRESULT result, std::wstring_view source, int line)
{
    std::wstring text = L"\r\nError text:\r\n" + ErrorText(result) + L"\r\n" + win::ReturnCodeText(result);
    if (!source.empty() && line >= 0) {
        text += L'(';
        text += source.substr(source.rfind(L'\\') + 1);
        text += L"/#" + std::to_wstring(line) + L')';
    }
    return text;
}
