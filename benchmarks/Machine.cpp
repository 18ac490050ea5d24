#include "Machine.h"

#include "Measurement.h"

#include <QDateTime>
#include <QFile>
#include <QProcess>
#include <QStorageInfo>
#include <QSysInfo>
#include <QThread>

#include <sqlite3.h>

#include <array>
#include <cstddef>
#include <vector>

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

// The time that the disk itself takes to sync as many bytes as a durable addition writes, by the
// calls that SQLite makes for them.
QString flushTime(const QString& folder)
{
    constexpr int Flushes = 200;
    constexpr int Flags = SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_MAIN_DB;
    const std::array<char, 24 * 1024> block{};
    const QString path = folder + u"/flush"_s;
    const char* const name = sqlite3_create_filename(path.toUtf8().constData(), "", "", 0, nullptr);
    sqlite3_vfs* const vfs = sqlite3_vfs_find(nullptr);
    std::vector<std::max_align_t> memory(std::size_t(vfs->szOsFile) / sizeof(std::max_align_t) + 1);
    auto* const file = reinterpret_cast<sqlite3_file*>(memory.data());
    if (vfs->xOpen(vfs, name, file, Flags, nullptr) != SQLITE_OK)
        return {};
    Timer timer(Flushes);
    for (int flush = 0; flush < Flushes; ++flush) {
        timer.time([&] {
            if (file->pMethods->xWrite(file, block.data(), int(block.size()), 0) == SQLITE_OK)
                file->pMethods->xSync(file, SQLITE_SYNC_NORMAL | SQLITE_SYNC_DATAONLY);
        });
    }
    file->pMethods->xClose(file);
    sqlite3_free_filename(name);
    QFile::remove(path);
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
