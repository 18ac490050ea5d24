#pragma once

#include <base/system/Files.h>
#include <tree/FileState.h>

#include <QHash>
#include <QString>

#include <optional>

namespace sync::tree {

/// Makes identities, and keeps what it has to ask the system only once. Used by one thread.
class DiskIdentities
{
public:
    /// The identity of what is at a path, whose device is `id.device`.
    DiskIdentity of(
        const base::FileId& id, const std::optional<qint64>& createdNs, const QString& path);

    /// The same of a status that was read for this path; nothing without one.
    std::optional<DiskIdentity> of(
        const std::optional<base::FileStatus>& status, const QString& path);

private:
    // device -> volume
    QHash<quint64, qint64> volumes;
};

/// The time of creation in nanoseconds; nothing where the file system does not know it.
std::optional<qint64> createdNsOf(const base::FileStatus& status);

} // namespace sync::tree
