#pragma once

#include "db/db_interfaces.h"
#include "win/owner.h"

#include <string>

namespace vldb {

// Makes the connections of the process.
class CDbManager final : public IDbManager {
public:
    CDbManager();
    CDbManager(const CDbManager&) = delete;
    CDbManager(CDbManager&&) = delete;
    ~CDbManager();
    CDbManager& operator=(const CDbManager&) = delete;
    CDbManager& operator=(CDbManager&&) = delete;

    IDbConnection* Connect(const std::wstring& connectionString) override;
    void Lock() override;
    void Unlock() override;
};

// The process's manager, created by the first call.
[[nodiscard]] IDbManager* GetDbManager();

// Closes and deletes what CDbManager::Connect and ExecuteReader made. A failure to close it is ignored: what was wanted
// has been read.
void Release(IDbConnection* connection) noexcept;
void Release(IDbReader* reader) noexcept;

template <typename Interface>
using DbObject = win::Owner<Interface*, static_cast<void (*)(Interface*)>(Release)>;

// Owners of the two; a reader goes before its connection.
using DbConnection = DbObject<IDbConnection>;
using DbReader = DbObject<IDbReader>;

} // namespace vldb
