#pragma once

#include <config/FolderConfigManager.h>
#include <config/FolderConfiguration.h>
#include <tree/MovePlan.h>
#include <tree/TreeStore.h>
#include <tree/store/StoreQueries.h>

#include <QHash>

#include <vector>

namespace sync::tree {

/// Gives records the paths and folders of where their files are now. Ids, what the server has
/// assigned, properties and all else stay.
///
/// Used once, by one thread.
class MoveWriter
{
public:
    /// What moves, moves into the root.
    MoveWriter(TreeStore store, const config::FolderConfiguration& root);

    /// Stores all moves in one transaction, or none. The calling thread must have none open. Throws
    /// database::DatabaseError when the store fails.
    void apply(const MovePlan& plan);

private:
    /// A folder that was moved, or one below it.
    struct FolderRow
    {
        int id;
        QString path;
        QString serverPath;
        QString newPath;
    };

    std::vector<FolderRow> takeAway(const MovePlan& plan, const Move& move);
    void putFolders(const Move& move, const std::vector<FolderRow>& rows);
    void putFilesOf(const FolderRow& row, const QString& newServerPath);
    void putFile(const Move& move);
    void putDependants(int fromRootId);
    int folderAt(const QString& path);
    QString serverPathOf(const QString& path) const;

    const TreeStore store;
    const StoreQueries queries;
    const config::FolderConfiguration root;
    config::FolderConfigManager folders;
    // id of a folder -> its path before and after
    QHash<int, std::pair<QString, QString>> movedFolders;
};

} // namespace sync::tree
