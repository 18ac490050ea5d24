#include <tree/Relocation.h>

#include <base/system/Files.h>
#include <database/HostTransaction.h>
#include <interf/ICryptographicHash.h>
#include <tree/store/FileLinkPaths.h>
#include <tree/store/StoreQueries.h>

#include <array>

using namespace Qt::StringLiterals;
using sync::base::FileKind;
using sync::base::Links;
using sync::base::statusOf;
using sync::config::FolderConfiguration;

namespace sync::tree {

namespace {

constexpr qint64 MostSamples = 64;

/// A table with paths, and its column with the id of the root folder.
struct PathTable
{
    QString name;
    QString rootColumn;
    long long Relocation::Changes::*changed;
};

const std::array<PathTable, 4>& pathTables()
{
    using Changes = Relocation::Changes;
    static const std::array<PathTable, 4> tables{
        {{u"FolderConfiguration"_s, u"rootId"_s, &Changes::folders},
         {u"FileConfiguration"_s, u"rootFolderId"_s, &Changes::files},
         {u"GeneratedFileConfiguration"_s, u"rootFolderId"_s, &Changes::generatedFiles},
         {u"BaseFileConfiguration"_s, u"rootFolderId"_s, &Changes::baseFiles}}};
    return tables;
}

QString nameOf(const QString& path)
{
    return path.mid(path.lastIndexOf(u'/') + 1);
}

/// Changes, or only counts, the rows of a root by the same condition.
class RootRows
{
public:
    RootRows(
        const StoreQueries& queries, const FolderConfiguration& root, const PathMapping& mapping)
        : queries(queries)
        , root(root)
        , mapping(mapping)
        , below(mapping.from() + u'/')
        , path(mapping.isFromWindows() ? u"replace(clientPath, '\\', '/')"_s : u"clientPath"_s)
        , condition(
              mapping.isFromWindows() ? u"lower(substr(%1, 1, :length)) = lower(:below)"_s.arg(path)
                                      : u"substr(%1, 1, :length) = :below"_s.arg(path))
    {
    }

    qint64 countBelow(const PathTable& table) const
    {
        return queries.number(
            u"SELECT count(*) FROM %1 WHERE %2 = :rootId AND %3"_s.arg(
                table.name, table.rootColumn, condition),
            bindings());
    }

    qint64 changeBelow(const PathTable& table) const
    {
        auto values = bindings();
        values.emplace_back(u":newPath"_s, mapping.to());
        values.emplace_back(u":rest"_s, length());
        const auto query = queries.select(
            u"UPDATE %1 SET clientPath = :newPath || substr(%2, :rest) WHERE %3 = :rootId AND %4"_s
                .arg(table.name, path, table.rootColumn, condition),
            values);
        return query->numRowsAffected();
    }

    void changeRoot() const
    {
        // A name that the user has chosen stays.
        const bool isNamedAfterPath = root.getName() == nameOf(mapping.from());
        queries.change(
            u"UPDATE FolderConfiguration SET clientPath = :clientPath, name = :name WHERE id = :id"_s,
            {{u":clientPath"_s, mapping.applied(root.getClientPath())},
             {u":name"_s, isNamedAfterPath ? nameOf(mapping.to()) : root.getName()},
             {u":id"_s, root.getId()}});
    }

private:
    // In code points, as SQLite counts.
    int length() const { return int(below.toUcs4().size()); }

    std::vector<StoreQueries::Binding> bindings() const
    {
        return {{u":rootId"_s, root.getId()}, {u":length"_s, length()}, {u":below"_s, below}};
    }

    const StoreQueries& queries;
    const FolderConfiguration& root;
    const PathMapping& mapping;
    const QString below;
    const QString path;
    const QString condition;
};

// Times that were stored in whole seconds may differ by less than two.
bool isSameTime(const QVariant& storedMs, qint64 fileMs)
{
    constexpr qint64 SecondMs = 1000;
    const qint64 stored = storedMs.toLongLong();
    const qint64 allowed = stored % SecondMs == 0 ? 2 * SecondMs - 1 : 0;
    return !storedMs.isNull() && qAbs(stored - fileMs) <= allowed;
}

void compareFolders(
    const StoreQueries& queries, const FolderConfiguration& root, const PathMapping& mapping,
    Relocation::Comparison& found)
{
    const auto query = queries.select(
        u"SELECT clientPath FROM FolderConfiguration WHERE rootId = :rootId AND parentId <> 0"_s,
        {{u":rootId"_s, root.getId()}});
    while (query->next()) {
        const auto path = mapping.mapped(query->value(0).toString());
        if (!path)
            continue;
        const auto status = statusOf(*path, Links::Keep);
        ++found.folders;
        found.missingFolders += status && status->kind == FileKind::Folder ? 0 : 1;
    }
    queries.check(*query);
}

} // namespace

bool Relocation::Comparison::agrees() const
{
    if (files == 0)
        return 2 * missingFolders <= folders;
    return 2 * (missing + otherSize) <= files && 2 * otherContent <= read;
}

Relocation::Relocation(
    TreeStore store, std::shared_ptr<interf::ICryptographicHash> hashes, FolderConfiguration root,
    const QString& newPath)
    : store(std::move(store))
    , hashes(std::move(hashes))
    , root(std::move(root))
    , mapping(this->root.getClientPath(), newPath)
{
}

std::optional<Relocation::Comparison> Relocation::compare(
    Reading reading, const std::function<bool(long long)>& goOn) const
{
    const StoreQueries queries(*store.database);
    Comparison found;
    compareFolders(queries, root, mapping, found);
    const qint64 withChecksum = queries.number(
        u"SELECT count(*) FROM FileConfiguration WHERE rootFolderId = :rootId AND checkSum <> ''"_s,
        {{u":rootId"_s, root.getId()}});
    const qint64 distance = reading == Reading::All ? 1 : withChecksum / MostSamples + 1;
    qint64 checksums = 0;

    const auto query = queries.select(
        u"SELECT clientPath, size, checkSum, CAST(round((julianday(substr(lastModifiedDateTime, 1,"
        u" 23)) - 2440587.5) * 86400000) AS INTEGER) FROM FileConfiguration"
        u" WHERE rootFolderId = :rootId"_s,
        {{u":rootId"_s, root.getId()}});
    while (query->next()) {
        const auto path = mapping.mapped(query->value(0).toString());
        if (!path)
            continue;
        if (goOn && !goOn(found.files))
            return std::nullopt;
        ++found.files;
        const QString checkSum = query->value(2).toString();
        const bool isSample = !checkSum.isEmpty() && checksums++ % distance == 0;
        const auto status = statusOf(*path, Links::Keep);
        if (!status || status->kind != FileKind::File) {
            ++found.missing;
        } else if (status->size != query->value(1).toLongLong()) {
            ++found.otherSize;
        } else {
            found.otherTime += isSameTime(query->value(3), status->modified.toMs()) ? 0 : 1;
            found.read += isSample ? 1 : 0;
            found.otherContent += isSample && hashes->GetFileHash(*path) != checkSum ? 1 : 0;
        }
    }
    queries.check(*query);
    return found;
}

// A store may hold another root at the same place, of another sign-in, whose files stay.
std::function<QString(const QString&, int)> Relocation::newPath() const
{
    return [this](const QString& path, int rootId) {
        return rootId == -1 || rootId == root.getId() ? mapping.applied(path) : path;
    };
}

Relocation::Changes Relocation::preview() const
{
    const StoreQueries queries(*store.database);
    const RootRows rows(queries, root, mapping);
    Changes changes{.folders = 1};
    for (const PathTable& table : pathTables())
        changes.*table.changed += rows.countBelow(table);
    FileLinkPaths links(store.database, newPath());
    links.visit(FileLinkPaths::Action::Count);
    changes.links = links.changed();
    return changes;
}

Relocation::Changes Relocation::apply() const
{
    const StoreQueries queries(*store.database);
    const RootRows rows(queries, root, mapping);
    database::HostTransaction transaction(*store.database);
    if (!transaction.isOpen())
        queries.fail(u"The transaction could not begin."_s);
    // First, because links are relative to the paths that the files have had.
    FileLinkPaths links(store.database, newPath());
    links.visit(FileLinkPaths::Action::Store);
    Changes changes{.folders = 1, .links = links.changed()};
    for (const PathTable& table : pathTables())
        changes.*table.changed += rows.changeBelow(table);
    rows.changeRoot();
    if (!transaction.commit())
        queries.fail(u"The transaction could not be committed."_s);
    return changes;
}

} // namespace sync::tree
