// The constructors and destructors of the interfaces are defined here and not in the headers. So
// each interface has one type information for all libraries, and dynamic_cast works across them.

#include <interf/IAuthenticationConfigManager.h>
#include <interf/ICryptographicHash.h>
#include <interf/IDatabaseFactory.h>
#include <interf/IFileConfigManager.h>
#include <interf/IFolderConfigManager.h>
#include <interf/IProductConfigManager.h>
#include <interf/IQSqlDatabaseWrapper.h>
#include <interf/IQSqlQueryWrapper.h>
#include <interf/IQSqlTypedQuery.h>
#include <interf/IRefreshNativeFileViewer.h>
#include <interf/IScheduleEntryManager.h>
#include <interf/IServerConfigManager.h>

namespace sync::interf {

ICryptographicHash::~ICryptographicHash() = default;
IQSqlDatabaseWrapper::~IQSqlDatabaseWrapper() = default;
IQSqlQueryWrapper::~IQSqlQueryWrapper() = default;
IQSqlTypedQuery::~IQSqlTypedQuery() = default;
IRefreshNativeFileViewer::~IRefreshNativeFileViewer() = default;
factory::IDatabaseFactory::~IDatabaseFactory() = default;

IAuthenticationConfigManager::IAuthenticationConfigManager(QObject* parent)
    : QObject(parent)
{
}
IAuthenticationConfigManager::~IAuthenticationConfigManager() = default;

IFileConfigManager::IFileConfigManager(QObject* parent)
    : QObject(parent)
{
}
IFileConfigManager::~IFileConfigManager() = default;

IFolderConfigManager::IFolderConfigManager(QObject* parent)
    : QObject(parent)
{
}
IFolderConfigManager::~IFolderConfigManager() = default;

IProductConfigManager::IProductConfigManager(QObject* parent)
    : QObject(parent)
{
}
IProductConfigManager::~IProductConfigManager() = default;

IScheduleEntryManager::IScheduleEntryManager(QObject* parent)
    : QObject(parent)
{
}
IScheduleEntryManager::~IScheduleEntryManager() = default;

IServerConfigManager::IServerConfigManager(QObject* parent)
    : QObject(parent)
{
}
IServerConfigManager::~IServerConfigManager() = default;

} // namespace sync::interf
