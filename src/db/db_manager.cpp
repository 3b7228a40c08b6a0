#include "db/db_manager.h"

#include "db/ado_implement.h"
#include "db/db_error.h"
#include "trace/VLTrace.h"
#include "win/text.h"

#include <memory>
#include <string_view>

namespace vldb {

namespace {

constexpr wchar_t kSource[] = L"db_manager";

template <typename Object>
void CloseAndDelete(Object* object) noexcept
{
    const std::unique_ptr<Object> owner(object);
    try {
        owner->Close();
    } catch (const CDbError&) { // NOLINT(bugprone-empty-catch): there is nobody left to be told.
    }
}

} // namespace

CDbManager::CDbManager()
{
    const TraceEntry entry(kSource, L"vldb::CDbManager::CDbManager", __LINE__);
}

CDbManager::~CDbManager()
{
    const TraceEntry entry(kSource, L"vldb::CDbManager::~CDbManager", __LINE__);
}

IDbConnection* CDbManager::Connect(const std::wstring& connectionString)
{
    const TraceEntry entry(kSource, L"vldb::CDbManager::Connect", __LINE__);
    return Attempt(kSource, [&]() -> IDbConnection* {
        const std::wstring_view text = connectionString;
        const std::size_t colon = text.find(L':');
        if (colon == std::wstring_view::npos || !win::EqualNames(text.substr(0, colon), L"ADO")) {
            return nullptr;
        }
        return std::make_unique<CAdoDbConnection>(connectionString.substr(colon + 1)).release();
    });
}

void CDbManager::Lock()
{
    const TraceEntry entry(kSource, L"vldb::CDbManager::Lock", __LINE__);
}

void CDbManager::Unlock()
{
    const TraceEntry entry(kSource, L"vldb::CDbManager::Unlock", __LINE__);
}

IDbManager* GetDbManager()
{
    static const std::unique_ptr<CDbManager> manager = Attempt(kSource, [] { return std::make_unique<CDbManager>(); });
    return manager.get();
}

// ADO is the only provider, so these are its objects.
void Release(IDbConnection* connection) noexcept
{
    CloseAndDelete(static_cast<CAdoDbConnection*>(connection));
}

void Release(IDbReader* reader) noexcept
{
    CloseAndDelete(static_cast<CAdoDbReader*>(reader));
}

} // namespace vldb
