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

/// A host's six managers over one factory of the embedded engine.
class Managers
{
public:
    explicit Managers(std::shared_ptr<database::SqliteDatabaseFactory> factory);

    /// Opens the database file.
    explicit Managers(const QString& path);

    /// Runs a statement of the test's own; false when it fails.
    bool run(const QString& sql);

    /// How many failures the factory has counted.
    int errors() const { return factory->failureCount(); }

    const std::shared_ptr<database::SqliteDatabaseFactory> factory;
    config::ServerConfigManager servers;
    config::ProductConfigManager products;
    config::AuthenticationConfigManager signIns;
    const std::shared_ptr<config::FolderConfigManager> folders;
    config::FileConfigManager files;
    config::ScheduleEntryManager schedules;
};

/// Fills an empty database with a few rows in each table. Ids count from 1; the folders are
///
///     1 root, with 2 "docs" (in it 3 "old") and 4 "pics"      5 root, with 6 "x"
///     7 in no tree: its root 78 does not exist
///
/// and no file of theirs exists on the disk. False when an operation fails.
bool fillWithSamples(Managers& managers);

/// Which of the rules does not hold that folders and files keep whatever happens: a root names
/// itself, a folder has its parent and a file its folder in the same tree. Empty when all do.
QByteArray brokenRule(Managers& managers);

/// A record as the samples have them, not stored yet.
config::FolderConfiguration sampleFolder(const QString& clientPath, int parentId, int rootId);
config::FileConfiguration sampleFile(const QString& clientPath, int folderId, int rootId);
config::ServerConfiguration sampleServer(const QString& alias);

} // namespace sync::test
