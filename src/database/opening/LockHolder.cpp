#include <database/opening/LockHolder.h>

#include <base/system/FileLocks.h>

#include <QCoreApplication>
#include <QFileInfo>
#include <QSysInfo>

using namespace Qt::StringLiterals;

namespace sync::database {

namespace {

using base::FileLock;

// Where SQLite places its locks (sqlite.org/src/file/src/os_unix.c). In the index of the WAL: the
// locks of the writer, of a checkpoint and of the recovery.
constexpr quint64 FirstIndexByte = 120;
constexpr quint64 LastIndexByte = 122;
constexpr quint64 FirstReaderByte = 123;
constexpr quint64 LastReaderByte = 127;
// In the database file: pending, reserved, and the range that readers share.
constexpr quint64 FirstFileByte = 0x40000000;
constexpr quint64 LastFileByte = FirstFileByte + 2 + 510 - 1;

bool isOn(const FileLock& lock, quint64 from, quint64 to)
{
    return lock.first <= to && lock.last >= from;
}

// A program chooses its own name, which is printed on terminals.
QString printable(QString name)
{
    for (QChar& character : name) {
        if (!character.isPrint())
            character = u'?';
    }
    return name;
}

std::optional<LockHolder> otherProcess(qint64 processId)
{
    if (processId <= 0 || processId == QCoreApplication::applicationPid())
        return {};
    const base::ProcessDescription process = base::describeProcess(processId);
    return LockHolder{
        processId, printable(process.program), QSysInfo::machineHostName(), process.runningSince};
}

} // namespace

qint64 lockingProcess(
    const std::vector<FileLock>& database, const std::optional<std::vector<FileLock>>& index)
{
    for (const FileLock& lock : index.value_or(std::vector<FileLock>())) {
        if (lock.writes && isOn(lock, FirstIndexByte, LastIndexByte))
            return lock.processId;
    }
    qint64 reader = 0;
    for (const FileLock& lock : database) {
        if (!isOn(lock, FirstFileByte, LastFileByte))
            continue;
        if (lock.writes)
            return lock.processId;
        reader = lock.processId;
    }
    // With a WAL readers block nobody.
    return index ? 0 : reader;
}

qint64 walReadingProcess(const std::vector<FileLock>& index)
{
    for (const FileLock& lock : index) {
        if (isOn(lock, FirstReaderByte, LastReaderByte))
            return lock.processId;
    }
    return 0;
}

std::optional<LockHolder> walReaderOf(const QString& databasePath)
{
    return otherProcess(walReadingProcess(base::locksOn(databasePath + u"-shm"_s)));
}

std::optional<LockHolder> lockHolderOf(const QString& databasePath)
{
    const QString index = databasePath + u"-shm"_s;
    return otherProcess(lockingProcess(
        base::locksOn(databasePath),
        QFileInfo::exists(index) ? std::optional(base::locksOn(index)) : std::nullopt));
}

std::optional<LockHolder> userOf(const QString& databasePath)
{
    // As without a WAL: a process that has the file open then shares it.
    return otherProcess(lockingProcess(base::locksOn(databasePath), {}));
}

QString describe(const LockHolder& holder)
{
    QString text = u"process %1 (%2) on %3"_s.arg(
        QString::number(holder.processId), holder.program, holder.host);
    if (holder.runningSince.isValid())
        text += u", running since "_s + holder.runningSince.toString(u"yyyy-MM-dd HH:mm:ss"_s);
    return text;
}

} // namespace sync::database
