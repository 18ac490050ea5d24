#pragma once
#include <core/PosixSync.h>

#include <core/Export.h>

#include <QString>

#include <memory>

namespace sync::database {
class SqliteDatabaseFactory;
} // namespace sync::database

namespace sync::interf::factory {
class IDatabaseFactory;
} // namespace sync::interf::factory

namespace sync::tree {

/// The store that holds the records of a tree.
struct VELMIO_TREE_EXPORT TreeStore
{
    /// A store of the embedded engine.
    static TreeStore of(const std::shared_ptr<database::SqliteDatabaseFactory>& factory);

    /// Any factory; more is known about a failure if it is also a database::FailureSource.
    std::shared_ptr<interf::factory::IDatabaseFactory> database;

    /// The file of the store, which a walk skips with its companions and backups; empty for none.
    QString path;

    /// True if the store comes from another machine or account: what it knows about disks there
    /// means nothing here.
    bool isMoved = false;
};

} // namespace sync::tree
