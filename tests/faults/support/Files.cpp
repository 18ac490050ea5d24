#include "Files.h"

#include <QFile>

using namespace Qt::StringLiterals;

namespace sync::test {

namespace {

void writeOrRemove(const QString& path, const QByteArray& bytes)
{
    if (!bytes.isEmpty())
        writeFile(path, bytes);
    else if (QFile::exists(path) && !QFile::remove(path))
        qFatal("Cannot remove %s", qPrintable(path));
}

} // namespace

DatabaseFiles DatabaseFiles::read(const QString& path)
{
    return {readFile(path), readFile(path + u"-wal"_s), readFile(path + u"-journal"_s)};
}

void DatabaseFiles::write(const QString& path) const
{
    writeOrRemove(path, database);
    writeOrRemove(path + u"-wal"_s, wal);
    writeOrRemove(path + u"-journal"_s, journal);
    writeOrRemove(path + u"-shm"_s, {});
}

} // namespace sync::test
