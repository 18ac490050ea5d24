#include <database/opening/LockHolder.h>

#include <QFile>
#include <QList>
#include <QSysInfo>

#include <sys/stat.h>
#if __has_include(<sys/sysmacros.h>) // makedev() on Linux; elsewhere it comes with sys/types.h
    #include <sys/sysmacros.h>
#endif
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace sync::database {

namespace {

// Where SQLite places its locks (sqlite.org/src/file/src/os_unix.c). In the index of the WAL: the
// locks of the writer, of a checkpoint and of the recovery.
constexpr quint64 FirstIndexByte = 120;
constexpr quint64 LastIndexByte = 122;
constexpr quint64 FirstReaderByte = 123;
constexpr quint64 LastReaderByte = 127;
// In the database file: pending, reserved, and the range that readers share.
constexpr quint64 FirstFileByte = 0x40000000;
constexpr quint64 LastFileByte = FirstFileByte + 2 + 510 - 1;

/// A line of /proc/locks: "1: POSIX  ADVISORY  WRITE 4711 fe:00:1234 120 120" (proc_locks(5)).
struct Lock
{
    explicit Lock(const QByteArray& line)
    {
        const QList<QByteArray> fields = line.simplified().split(' ');
        // The line of a waiting process has "->" after the number.
        if (fields.size() != 8 || fields[1] != "POSIX")
            return;
        const QList<QByteArray> file = fields[5].split(':');
        if (file.size() != 3)
            return;
        writes = fields[3] == "WRITE";
        processId = fields[4].toLongLong();
        id = {
            makedev(file[0].toUInt(nullptr, 16), file[1].toUInt(nullptr, 16)),
            file[2].toULongLong()};
        first = fields[6].toULongLong();
        last = fields[7] == "EOF" ? ~quint64(0) : fields[7].toULongLong();
    }

    bool isOn(const FileId& file, quint64 from, quint64 to) const
    {
        return processId > 0 && id.device == file.device && id.inode == file.inode && first <= to &&
               last >= from;
    }

    bool writes = false;
    qint64 processId = 0;
    FileId id;
    quint64 first = 0;
    quint64 last = 0;
};

std::optional<FileId> idOf(const QString& path)
{
    struct stat status
    {
    };
    if (::stat(QFile::encodeName(path).constData(), &status) != 0)
        return {};
    return FileId{status.st_dev, status.st_ino};
}

QByteArray contentOf(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
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

QDateTime startOf(qint64 processId)
{
    // The 20th field after the name, which may contain anything: clock ticks since the system
    // booted.
    constexpr int StartField = 19;
    const QByteArray status = contentOf(u"/proc/%1/stat"_s.arg(processId));
    const QList<QByteArray> fields = status.mid(status.lastIndexOf(')') + 2).split(' ');
    const QByteArray system = contentOf(u"/proc/stat"_s);
    const qsizetype boot = system.indexOf("btime ");
    const long ticksPerSecond = ::sysconf(_SC_CLK_TCK);
    if (fields.size() <= StartField || boot < 0 || ticksPerSecond <= 0)
        return {};
    const qint64 bootSecond = system.mid(boot + 6).split('\n').constFirst().toLongLong();
    return QDateTime::fromSecsSinceEpoch(
        bootSecond + fields[StartField].toLongLong() / ticksPerSecond);
}

std::optional<LockHolder> otherProcess(qint64 processId)
{
    if (processId <= 0 || processId == ::getpid())
        return {};
    const QByteArray name = contentOf(u"/proc/%1/comm"_s.arg(processId)).trimmed();
    return LockHolder{
        processId, printable(QString::fromUtf8(name)), QSysInfo::machineHostName(),
        startOf(processId)};
}

std::optional<LockHolder> lockHolder(
    const QString& databasePath, const std::optional<FileId>& index)
{
    const auto database = idOf(databasePath);
    if (!database)
        return {};
    return otherProcess(lockingProcess(contentOf(u"/proc/locks"_s), *database, index));
}

} // namespace

qint64 lockingProcess(
    const QByteArray& locks, const FileId& database, const std::optional<FileId>& index)
{
    qint64 reader = 0;
    const QList<QByteArray> lines = locks.split('\n');
    for (const QByteArray& line : lines) {
        const Lock lock(line);
        if (lock.writes && ((index && lock.isOn(*index, FirstIndexByte, LastIndexByte)) ||
                            lock.isOn(database, FirstFileByte, LastFileByte)))
            return lock.processId;
        if (lock.isOn(database, FirstFileByte, LastFileByte))
            reader = lock.processId;
    }
    // With a WAL readers block nobody.
    return index ? 0 : reader;
}

qint64 walReadingProcess(const QByteArray& locks, const FileId& index)
{
    for (const QByteArray& line : locks.split('\n')) {
        const Lock lock(line);
        if (lock.isOn(index, FirstReaderByte, LastReaderByte))
            return lock.processId;
    }
    return 0;
}

std::optional<LockHolder> walReaderOf(const QString& databasePath)
{
    const auto index = idOf(databasePath + u"-shm"_s);
    return index ? otherProcess(walReadingProcess(contentOf(u"/proc/locks"_s), *index))
                 : std::nullopt;
}

std::optional<LockHolder> lockHolderOf(const QString& databasePath)
{
    return lockHolder(databasePath, idOf(databasePath + u"-shm"_s));
}

std::optional<LockHolder> userOf(const QString& databasePath)
{
    // As without a WAL: a process that has the file open then shares it.
    return lockHolder(databasePath, {});
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
