#include <base/system/FileLocks.h>

#include <base/system/Files.h>
#include <base/system/linux/ProcLocks.h>

#include <QByteArrayList>
#include <QFile>

#include <sys/sysmacros.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace sync::base {

namespace {

QByteArray contentOf(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
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

} // namespace

// A line is "1: POSIX  ADVISORY  WRITE 4711 fe:00:1234 120 120" (proc_locks(5)).
std::vector<FileLock> locksIn(const QByteArray& procLocks, const FileId& wanted)
{
    std::vector<FileLock> locks;
    for (const QByteArray& line : procLocks.split('\n')) {
        const QByteArrayList fields = line.simplified().split(' ');
        // The line of a waiting process has "->" after the number.
        if (fields.size() != 8 || fields[1] != "POSIX")
            continue;
        const QByteArrayList file = fields[5].split(':');
        if (file.size() != 3)
            continue;
        const FileId id{
            makedev(file[0].toUInt(nullptr, 16), file[1].toUInt(nullptr, 16)),
            file[2].toULongLong()};
        const FileLock lock{
            fields[4].toLongLong(), fields[3] == "WRITE", fields[6].toULongLong(),
            fields[7] == "EOF" ? ~quint64(0) : fields[7].toULongLong()};
        if (id == wanted && lock.processId > 0)
            locks.push_back(lock);
    }
    return locks;
}

std::vector<FileLock> locksOn(const QString& path)
{
    const auto status = statusOf(path, Links::Follow);
    if (!status)
        return {};
    return locksIn(contentOf(u"/proc/locks"_s), status->id);
}

ProcessDescription describeProcess(qint64 processId)
{
    const QByteArray name = contentOf(u"/proc/%1/comm"_s.arg(processId)).trimmed();
    return {QString::fromUtf8(name), startOf(processId)};
}

} // namespace sync::base
