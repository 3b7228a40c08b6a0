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

CDbError MakeError(const win::CallResult& failure, const std::wstring& query, const wchar_t* source, int line)
{
    return {failure.code, L"\r\n" + MessageOf(failure) + query + L"\r\n\r\n" + win::ReturnCodeText(failure.code) +
                              L" (" + source + L"/#" + std::to_wstring(line) + L")\r\n"};
}

} // namespace

CDbError MakeDbError(const win::CallResult& failure, const wchar_t* source, int line)
{
    return MakeError(failure, {}, source, line);
}

CDbError MakeStatementError(const win::CallResult& failure, const std::wstring& statement, const wchar_t* source,
                            int line)
{
    return MakeError(failure, L"\r\n\r\nSQL Query:\r\n" + statement, source, line);
}

} // namespace vldb
