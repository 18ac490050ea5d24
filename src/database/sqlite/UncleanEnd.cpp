#include <database/sqlite/UncleanEnd.h>

#include <database/sqlite/SqliteHandle.h>

#include <QFile>
#include <QFileInfo>

#include <sqlite3.h>

using namespace Qt::StringLiterals;

namespace sync::database {

namespace {

// Whoever uses a file in WAL mode holds a shared lock on it for as long, and one that writes with a
// journal does so, too. SQLite itself asks like this when it closes, before it removes the log.
bool hasNoUser(const QString& path)
{
    sqlite3* opened = nullptr;
    const int result = sqlite3_open_v2(
        QFile::encodeName(path).constData(), &opened, SQLITE_OPEN_READWRITE | SQLITE_OPEN_NOMUTEX,
        nullptr);
    const SqliteHandle database(opened);
    if (result != SQLITE_OK)
        return false;
    // The connection itself takes none before its first statement, not even a PRAGMA.
    sqlite3_file* file = nullptr;
    sqlite3_file_control(opened, "main", SQLITE_FCNTL_FILE_POINTER, &file);
    const bool alone = file->pMethods->xLock(file, SQLITE_LOCK_SHARED) == SQLITE_OK &&
                       file->pMethods->xLock(file, SQLITE_LOCK_EXCLUSIVE) == SQLITE_OK;
    file->pMethods->xUnlock(file, SQLITE_LOCK_NONE);
    return alone;
}

bool hasContent(const QString& path)
{
    return QFileInfo(path).size() > 0;
}

} // namespace

bool endedUncleanly(const QString& path)
{
    return (hasContent(path + u"-wal"_s) || hasContent(path + u"-journal"_s)) && hasNoUser(path);
}

bool isUndoneByItsJournal(const QString& path)
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
