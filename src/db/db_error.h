#pragma once

#include "win/late_bound.h"
#include "win/windows_api.h"

#include <string>
#include <utility>

namespace vldb {

// What every operation of the database layer throws when it fails.
class CDbError {
public:
    CDbError(HRESULT code, std::wstring text) : code_(code), text_(std::move(text)) {}

    [[nodiscard]] HRESULT GetCode() const noexcept { return code_; }
    [[nodiscard]] const std::wstring& GetText() const noexcept { return text_; }

private:
    HRESULT code_;
    std::wstring text_;
};

// The error of a COM call that failed in an operation: what the object told, what the system's message table says about
// the code, the code, and the operation's source file and line.
[[nodiscard]] CDbError MakeDbError(const win::CallResult& failure, const wchar_t* source, int line);

// The same for a statement, which stands in the text, too.
[[nodiscard]] CDbError MakeStatementError(const win::CallResult& failure, const std::wstring& statement,
                                          const wchar_t* source, int line);

} // namespace vldb
