#pragma once

#include "odbc/odbc.h"

#include "win/windows_api.h"

#include <optional>
#include <string>

namespace sim::ado {

// Why a member of an object refuses: what the caller finds in EXCEPINFO.
struct Refusal {
    HRESULT code;
    std::wstring text;
};

// What a member answers: nothing on success.
using Answer = std::optional<Refusal>;

// The refusals of ADO itself, with its numbers and texts.
[[nodiscard]] Refusal InvalidArgument();
[[nodiscard]] Refusal NoCurrentRecord();
[[nodiscard]] Refusal InTransaction();
[[nodiscard]] Refusal ItemNotFound();
[[nodiscard]] Refusal ObjectClosed();
[[nodiscard]] Refusal ObjectOpen();
[[nodiscard]] Refusal ProviderNotFound();
[[nodiscard]] Refusal InvalidConnection();

// The refusals of the provider behind it.
[[nodiscard]] Refusal NoTransaction();
[[nodiscard]] Refusal TransactionExists();

// What OLE DB's provider for ODBC makes of a driver's failure: an HRESULT by the SQLSTATE, and the driver's own text.
[[nodiscard]] Refusal RefusalOf(const odbc::Failure& failure);

} // namespace sim::ado
