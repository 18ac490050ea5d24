#pragma once

#include <support/SystemCalls.h>

#include <QDir>
#include <QFileInfo>
#include <QMutex>
#include <QSet>
#include <QStringList>

namespace sync::test {

/// Sees what a power cut could take: the files of a folder that were written, and the folders in
/// which a name was given, since either was synced last. As SystemCallWatch, one at a time.
class UnsyncedFiles
{
public:
    explicit UnsyncedFiles(QString folder)
        : folder(std::move(folder))
    {
    }

    /// Sorted, relative to the folder. The index of a WAL is made again after a power cut.
    QStringList list() const
    {
        const QMutexLocker lock(&mutex);
        QStringList files;
        for (const QByteArray& path : paths) {
            const QString name = QFile::decodeName(path);
            if (name.startsWith(folder) && !name.endsWith(QStringLiteral("-shm")))
                files += QDir(folder).relativeFilePath(name);
        }
        files.sort();
        return files;
    }

private:
    void note(const SystemCall& call)
    {
        const QMutexLocker lock(&mutex);
        if (call.name == "fsync" || call.name == "fdatasync")
            paths.remove(call.path);
        else if (call.name == "unlink" || call.name == "readdir")
            return; // a file that has another name now has to be synced before
        else if (call.name == "link" || call.name == "rename" || call.name == "mkdir")
            paths.insert(QFile::encodeName(QFileInfo(QFile::decodeName(call.path)).path()));
        else
            paths.insert(call.path);
    }

    const QString folder;
    mutable QMutex mutex;
    QSet<QByteArray> paths;
    const SystemCallWatch watch{[this](const SystemCall& call) {
        note(call);
        return 0;
    }};
};

} // namespace sync::test
