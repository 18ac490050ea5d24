#pragma once

#include <config/FileConfigManager.h>
#include <tree/store/StoreQueries.h>

#include <QString>

#include <functional>
#include <memory>
#include <vector>

namespace sync::tree {

/// The file links of a store, which name other files by paths: absolute ones, or ones that are
/// relative to the folder of the linking file.
class FileLinkPaths
{
public:
    enum class Action { Count, Store };

    /// Where a file of a root is afterwards; for the target of a link, whose root is not known,
    /// the id is -1.
    using NewPath = std::function<QString(const QString& path, int rootId)>;

    FileLinkPaths(std::shared_ptr<interf::factory::IDatabaseFactory> factory, NewPath newPath);

    /// Has every link lead to where its file is afterwards. Must come before the paths of the files
    /// are changed. Throws database::DatabaseError.
    void visit(Action action);

    /// The number of records with links that lead elsewhere.
    long long changed() const { return changedRecords; }

private:
    struct Record
    {
        qint64 id;
        QString path;
        int rootId;
        QString xml;
    };

    std::vector<Record> readPage(const QString& table, qint64 afterId) const;
    bool relink(Record& record);

    const StoreQueries queries;
    const config::FileConfigManager files;
    const NewPath newPath;
    long long changedRecords = 0;
};

} // namespace sync::tree
