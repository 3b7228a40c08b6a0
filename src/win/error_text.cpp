#include "win/error_text.h"

#include "win/bstr.h"
#include "win/com_ptr.h"
#include "win/owner.h"
#include "win/result_code.h"

#include <cwchar>

namespace win {

std::wstring ErrorObjectText()
{
    ComPtr<IErrorInfo> error;
    Bstr description;
    if (GetErrorInfo(0, error.Put()) != S_OK || !error || FAILED(error->GetDescription(description.Put()))) {
        return {};
    }
    return description.ToString();
}

std::wstring SystemText(DWORD code)
{
    LocalText text;
    const DWORD length =
        FormatMessageW(FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_IGNORE_INSERTS | FORMAT_MESSAGE_FROM_SYSTEM,
                       nullptr, code, kNeutralLanguage, reinterpret_cast<wchar_t*>(text.Put()), 0, nullptr);
    return text ? std::wstring(text.Get(), length) : std::wstring();
}

std::wstring ReturnCodeText(HRESULT result)
{
    constexpr std::size_t kLength = 64;
    const unsigned long code = ResultOf(result);
    wchar_t text[kLength] = {};
    std::swprintf(text, kLength, L"Return code: 0x%8.8lX (%lu)", code, code);
    return text;
}

} // namespace win
