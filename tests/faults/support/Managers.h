#pragma once
#include <core/PosixSync.h>

#include <config/AuthenticationConfigManager.h>
#include <config/FileConfigManager.h>
#include <config/FolderConfigManager.h>
#include <config/ProductConfigManager.h>
#include <config/ScheduleEntryManager.h>
#include <config/ServerConfigManager.h>
#include <database/SqliteDatabaseFactory.h>

#include <memory>

namespace sync::test {

/// The six managers of a host, sharing one factory of the embedded engine.
class Managers
{
public:
    explicit Managers(std::shared_ptr<database::SqliteDatabaseFactory> factory);

    explicit Managers(const QString& path);

    /// Runs an SQL statement; false when it fails.
    bool run(const QString& sql);

    /// Add a sample record; false when that fails.
    bool addServer(const QString& alias);
    bool addFolder(const QString& clientPath, int parentId, int rootId);
    bool addFile(const QString& clientPath, int folderId, int rootId);

    /// The number of failures that the factory has counted.
    int errors() const { return factory->failureCount(); }

    const std::shared_ptr<database::SqliteDatabaseFactory> factory;
    config::ServerConfigManager servers;
    config::ProductConfigManager products;
    config::AuthenticationConfigManager signIns;
    const std::shared_ptr<config::FolderConfigManager> folders;
    config::FileConfigManager files;
    config::ScheduleEntryManager schedules;
};

/// Fills an empty database with a few rows in each table; false when an operation fails. Ids count
/// from 1. The folders, none of which exists on disk:
///
///     1 root, contains 2 "docs" (contains 3 "old") and 4 "pics"
///     5 root, contains 6 "x"
///     7 has the root id 78, which does not exist
bool fillWithSamples(Managers& managers);

/// Checks the rules that hold for folders and files in every state: a root folder has its own id as
/// root id, and a folder and its parent, or a file and its folder, are in the same tree. Returns
/// the rule that is broken, or an empty text.
QByteArray brokenRule(Managers& managers);

/// A record like those of the samples, not stored yet.
config::FolderConfiguration sampleFolder(const QString& clientPath, int parentId, int rootId);
config::FileConfiguration sampleFile(const QString& clientPath, int folderId, int rootId);
config::ServerConfiguration sampleServer(const QString& alias);

} // namespace sync::test
