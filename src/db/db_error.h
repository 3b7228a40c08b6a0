#pragma once

#include "win/late_bound.h"
#include "win/windows_api.h"

#include <exception>
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

// A COM call that failed in an operation. It never leaves the operation, which makes a CDbError of it.
struct ComError {
    win::CallResult failure;
};

// Throws the failure of a COM call.
inline void Require(win::CallResult result)
{
    if (FAILED(result.code)) {
        throw ComError{std::move(result)};
    }
}

// The error of a COM call that failed in an operation: what the object told, what the system's message table says about
// the code, the statement that it concerns if there is one, the code, and the operation's source file and line. Where
// there is no memory for the text it is empty.
[[nodiscard]] CDbError MakeDbError(const win::CallResult& failure, const wchar_t* source, int line,
                                   const std::wstring* statement = nullptr) noexcept;

// Does an operation's work and returns what it returns. A COM call that fails in it, and memory that runs out, become a
// CDbError with the operation's source file and line.
template <typename Work>
auto Attempt(const wchar_t* source, Work work, const std::wstring* statement = nullptr, int line = __builtin_LINE())
    -> decltype(work())
{
    try {
        return work();
    } catch (const ComError& error) {
        throw MakeDbError(error.failure, source, line, statement);
    } catch (const std::exception&) { // the standard library throws here only where memory runs out
        throw MakeDbError({E_OUTOFMEMORY}, source, line, statement);
    }
}

} // namespace vldb
