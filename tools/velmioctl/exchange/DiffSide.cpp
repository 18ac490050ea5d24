#include <velmioctl/exchange/DiffSide.h>

namespace velmioctl::exchange {

namespace {

bool isDatabaseFile(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) && file.read(16) == QByteArray("SQLite format 3\0", 16);
}

std::vector<const TableShape*> allTables()
{
    std::vector<const TableShape*> tables;
    for (const TableShape& table : tableShapes())
        tables.push_back(&table);
    return tables;
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

RowSource& DiffSide::rows()
{
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
