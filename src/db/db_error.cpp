#include "db/db_error.h"

#include "win/error_text.h"
#include "win/result_code.h"

namespace vldb {

namespace {

std::wstring MessageOf(const win::CallResult& failure)
{
    std::wstring system = win::SystemText(win::ResultOf(failure.code));
    if (failure.description.empty()) {
        return system;
    }
    return system.empty() ? failure.description : failure.description + L"\r\n" + system + L"\r\n";
}

std::wstring TextOf(const win::CallResult& failure, const wchar_t* source, int line, const std::wstring* statement)
{
    const std::wstring query = statement == nullptr ? std::wstring() : L"\r\n\r\nSQL Query:\r\n" + *statement;
    return L"\r\n" + MessageOf(failure) + query + L"\r\n\r\n" + win::ReturnCodeText(failure.code) + L" (" + source +
           L"/#" + std::to_wstring(line) + L")\r\n";
}

} // namespace

CDbError MakeDbError(const win::CallResult& failure, const wchar_t* source, int line,
                     const std::wstring* statement) noexcept
{
    try {
        return {failure.code, TextOf(failure, source, line, statement)};
    } catch (const std::exception&) {
        return {failure.code, {}};
    }
}

} // namespace vldb
