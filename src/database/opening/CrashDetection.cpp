#include <database/opening/CrashDetection.h>

#include <database/opening/VfsFile.h>

#include <QFile>
#include <QFileInfo>

using namespace Qt::StringLiterals;

namespace sync::database {

// Every user of a file in WAL mode holds a shared lock on it, and so does one that writes with a
// journal. SQLite itself does the same test at its close, before it removes the WAL.
bool hasNoUser(const QString& path)
{
    const VfsFile file(path);
    if (!file)
        return false;
    const bool alone = file.lock(SQLITE_LOCK_SHARED) && file.lock(SQLITE_LOCK_EXCLUSIVE);
    file.unlock();
    return alone;
}

bool hasLog(const QString& path)
{
    return QFileInfo(path + u"-wal"_s).size() > 0 || QFileInfo(path + u"-journal"_s).size() > 0;
}

bool wasLeftByCrash(const QString& path)
{
    return hasLog(path) && hasNoUser(path);
}

bool isRolledBackWhole(const QString& path)
{
    // sqlite.org/fileformat2.html#the_rollback_journal
    static const QByteArray magic = QByteArray::fromHex("d9d505f920a163d7");
    constexpr int SizeBeforeOffset = 16;
    constexpr int SizeBeforeBytes = 4;
    QFile journal(path + u"-journal"_s);
    if (!journal.open(QIODevice::ReadOnly))
        return false;
    const QByteArray header = journal.read(SizeBeforeOffset + SizeBeforeBytes);
    return header.startsWith(magic) &&
           header.mid(SizeBeforeOffset) == QByteArray(SizeBeforeBytes, '\0');
}

} // namespace sync::database
