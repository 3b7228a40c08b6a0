#pragma once

#include "database/finished_work.h"

#include <optional>
#include <string>

namespace sim {

// The statistics database as the engine writes it. Safe to use from any thread.
class StatisticsDatabase {
public:
    // The database of this connection string in the product's form, "ADO:" and a string of ADO's; an empty one is
    // none. Without one it is the database that the product's registry value names whenever something is recorded.
    explicit StatisticsDatabase(std::optional<std::wstring> connectionString);

    // Adds the row of the work, under the volume's name with and without its trailing backslash, for the engine writes
    // C:\ where a user writes C:. Answers what is wrong where it cannot; a computer without a database is no fault.
    [[nodiscard]] std::optional<std::wstring> Record(const FinishedWork& work) const;

private:
    std::optional<std::wstring> connectionString_;
};

} // namespace sim
