#include <config/FileBatch.h>

#include <config/statement/SqlText.h>
#include <config/statement/Statement.h>
#include <database/TransactionalScope.h>

#include <algorithm>
#include <array>

using namespace Qt::StringLiterals;

namespace sync::config {

namespace {

constexpr int PathsTogether = 64;

// Like the search of Add(), which finds the lowest id first.
constexpr SqlText SelectByClientPaths(
    u"SELECT id, clientPath, folderConfigurationId FROM FileConfiguration WHERE clientPath IN (%1)"
    u" ORDER BY id");

struct Search
{
    Search()
    {
        QStringList names;
        for (int number = 0; number < PathsTogether; ++number)
            names += placeholders[size_t(number)] = u":path%1"_s.arg(number);
        sql = QString(SelectByClientPaths).arg(names.join(u", "_s));
    }

    std::array<QString, PathsTogether> placeholders;
    QString sql;
};

} // namespace

FileBatch::FileBatch(FileConfigManager& manager)
    : manager(manager)
{
}

QVector<int> FileBatch::Add(QVector<FileConfiguration>& files)
{
    QVector<int> ids(files.size(), -1);
    database::TransactionalScope scope;
    end = 0;
    for (qsizetype at = 0; at < files.size(); ++at) {
        if (at == end && !_FindNamesakes(files, at))
            break;
        if (_AddOne(files[at]))
            ids[at] = files[at].getId();
        // Its links may have added files that come later in the list.
        if (!files[at].getFileLinks().isEmpty())
            end = at + 1;
    }
    return ids;
}

bool FileBatch::_FindNamesakes(const QVector<FileConfiguration>& files, qsizetype from)
{
    static const Search search;
    namesakes.clear();
    end = std::min<qsizetype>(from + PathsTogether, files.size());
    Statement statement = manager._Prepare(search.sql);
    // Those without a value are NULL, which equals no path.
    for (qsizetype at = from; at < end; ++at)
        statement.bind(search.placeholders[size_t(at - from)], files[at].getClientPath());
    if (!statement.exec())
        return false;
    const RowReader row = statement.row();
    while (row.next()) {
        const std::pair place(row.text(1), row.integer(2));
        if (!namesakes.contains(place))
            namesakes.insert(place, row.integer(0));
    }
    return statement.lastError().isEmpty();
}

bool FileBatch::_AddOne(FileConfiguration& file)
{
    if (!file.getFileLinks().isEmpty() || file.getClientPath().isEmpty())
        return manager.Add(file);
    const std::pair place(file.getClientPath(), file.getFolderConfigurationId());
    if (const auto namesake = namesakes.constFind(place); namesake != namesakes.cend()) {
        file.setId(*namesake);
        return manager.Update(file);
    }
    if (!manager._Insert(file))
        return false;
    if (file.getFileType() == OrdinaryFile)
        namesakes.insert(place, file.getId());
    return true;
}

} // namespace sync::config
