#include <velmioctl/exchange/DiffSide.h>

#include <database/StoreInspection.h>

using sync::database::StoreInspection;

namespace velmioctl::exchange {

namespace {

// A file that may be open as a store is not opened here: closing it would drop the locks that the
// other side may hold on it (sqlite.org/howtocorrupt.html).
bool isDatabaseFile(const QString& path)
{
    using Kind = StoreInspection::Kind;
    switch (StoreInspection(path, StoreInspection::Depth::Header).kind()) {
    case Kind::Missing:
    case Kind::Directory:
    case Kind::NotAFile:
    case Kind::Unreadable:
    case Kind::Empty:
        return false;
    case Kind::NotADatabase: {
        QFile file(path);
        return file.open(QIODevice::ReadOnly) &&
               file.read(16) == QByteArray("SQLite format 3\0", 16);
    }
    default:
        return true;
    }
}

} // namespace

DiffSide::DiffSide(const QString& path)
{
    if (isDatabaseFile(path)) {
        snapshot.emplace(path);
        storeRows.emplace(snapshot->openDatabase(), allTables());
    } else {
        file.emplace(path);
    }
}

DiffSide::DiffSide(std::shared_ptr<WatchedDatabase> openStore)
    : store(std::move(openStore))
{
    fleetRows.emplace(*store, allTables());
}

RowSource& DiffSide::rows()
{
    if (fleetRows)
        return *fleetRows;
    if (storeRows)
        return *storeRows;
    return file->rows();
}

void DiffSide::check(const doctor::ReadFailure& failure) const
{
    if (snapshot)
        snapshot->check(failure);
}

} // namespace velmioctl::exchange
