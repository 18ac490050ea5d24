#include "Machine.h"

#include "Measurement.h"

#include <QDateTime>
#include <QFile>
#include <QProcess>
#include <QStorageInfo>
#include <QSysInfo>
#include <QThread>

#include <fcntl.h>
#include <sqlite3.h>

#include <array>

using namespace Qt::StringLiterals;

namespace velmio::benchmarks {

namespace {

// The value of a line "name   : value" in a file in /proc.
QString procValue(const QString& path, const QByteArray& name)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return {};
    const auto lines = file.readAll().split('\n');
    for (const QByteArray& line : lines) {
        if (line.startsWith(name))
            return QString::fromUtf8(line.mid(line.indexOf(':') + 1)).trimmed();
    }
    return {};
}

// The time that the disk itself takes to sync as many bytes as a durable addition writes.
QString flushTime(const QString& folder)
{
    constexpr int Flushes = 200;
    const std::array<char, 24 * 1024> block{};
    const QByteArray path = QFile::encodeName(folder + u"/flush"_s);
    const int file = ::open(path.constData(), O_CREAT | O_RDWR | O_CLOEXEC, 0600);
    Timer timer(Flushes);
    for (int flush = 0; flush < Flushes; ++flush) {
        timer.time([&] {
            if (::pwrite(file, block.data(), block.size(), 0) > 0)
                ::fdatasync(file);
        });
    }
    ::close(file);
    QFile::remove(folder + u"/flush"_s);
    const Measurement result = timer.result();
    return u"median %1 ms, p99 %2 ms"_s.arg(
        QString::number(result.medianNs / 1e6, 'f', 2),
        QString::number(result.p99Ns / 1e6, 'f', 2));
}

QString commit()
{
    QProcess git;
    git.start(
        u"git"_s, {u"-C"_s, QStringLiteral(VELMIO_SOURCE_DIRECTORY), u"describe"_s, u"--always"_s,
                   u"--dirty"_s});
    git.waitForFinished();
    return QString::fromUtf8(git.readAllStandardOutput()).trimmed();
}

} // namespace

QList<QPair<QString, QString>> describeMachine(const QString& folder)
{
    const QStorageInfo disk(folder);
    return {
        {u"commit"_s, commit()},
        {u"date"_s, QDateTime::currentDateTimeUtc().toString(Qt::ISODate)},
        {u"processor"_s, u"%1, %2 cores"_s.arg(procValue(u"/proc/cpuinfo"_s, "model name"))
                             .arg(QThread::idealThreadCount())},
        {u"memory"_s, procValue(u"/proc/meminfo"_s, "MemTotal")},
        {u"file system"_s, QString::fromUtf8(disk.fileSystemType())},
        {u"flush of 24 KiB"_s, flushTime(folder)},
        {u"system"_s, QSysInfo::prettyProductName() + u", kernel "_s + QSysInfo::kernelVersion()},
        {u"compiler"_s, QStringLiteral(VELMIO_COMPILER)},
        {u"SQLite"_s, QString::fromUtf8(sqlite3_libversion())},
        {u"Qt"_s, QString::fromUtf8(qVersion())}};
}

} // namespace velmio::benchmarks
