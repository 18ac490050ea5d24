#pragma once
#include <core/PosixSync.h>

#include <config/FileConfigManager.h>
#include <core/Export.h>

#include <QHash>
#include <QVector>

#include <utility>

namespace sync::config {

/// Adds many file records at once: the result equals FileConfigManager::Add() for each, in order.
///
/// Looks for duplicates in one statement for many records. As thread-safe as the manager.
class VELMIO_CONFIGURATION_EXPORT FileBatch
{
public:
    /// The manager must outlive the batch.
    explicit FileBatch(FileConfigManager& manager);

    /// Adds the records in one transaction, or in the one that the thread has open. Returns the id
    /// of each, which it also has afterwards, and -1 for one that Add() would refuse; the others
    /// are added. Where duplicates cannot be read, nothing more is added. A failed commit undoes
    /// all; database::ErrorGuard shows it.
    QVector<int> Add(QVector<FileConfiguration>& files);

private:
    // Its path and folder -> the id of the ordinary file
    using Namesakes = QHash<std::pair<QString, int>, int>;

    bool _FindNamesakes(const QVector<FileConfiguration>& files, qsizetype from);
    bool _AddOne(FileConfiguration& file);

    FileConfigManager& manager;
    // Of the records from the first one up to `end`.
    Namesakes namesakes;
    qsizetype end = 0;
};

} // namespace sync::config
