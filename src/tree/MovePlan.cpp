#include <tree/MovePlan.h>

namespace sync::tree {

namespace {

// The path with its longest part that the table has replaced.
QString replaced(const QHash<QString, QString>& table, const QString& path)
{
    if (table.isEmpty())
        return path;
    for (auto end = path.size(); end > 0; end = path.lastIndexOf(u'/', end - 1)) {
        const auto found = table.constFind(path.first(end));
        if (found != table.cend())
            return *found + path.sliced(end);
    }
    return path;
}

} // namespace

void MovePlan::add(const Move& move)
{
    list.push_back(move);
    newPaths.insert(move.from, move.to);
    recordedPaths.insert(move.to, move.from);
    (move.isFolder ? folders : files).insert(move.to, move.id);
    (move.isFolder ? folderIds : fileIds).insert(move.id);
}

QString MovePlan::newPath(const QString& recorded) const
{
    return replaced(newPaths, recorded);
}

QString MovePlan::recordedPath(const QString& path) const
{
    return replaced(recordedPaths, path);
}

bool MovePlan::holds(int id, bool isFolder) const
{
    return (isFolder ? folderIds : fileIds).contains(id);
}

int MovePlan::movedTo(const QString& path, bool isFolder) const
{
    return (isFolder ? folders : files).value(path, -1);
}

} // namespace sync::tree
