#include <velmioctl/doctor/Checks.h>

#include <tree/FileState.h>
#include <velmioctl/doctor/CheckQuery.h>
#include <velmioctl/doctor/Finding.h>

#include <QFileInfo>
#include <QSet>

using namespace Qt::StringLiterals;
using sync::interf::factory::IDatabaseFactory;
using sync::tree::fileIsGone;
using sync::tree::folderIsGone;

namespace velmioctl::doctor {

namespace {

const Check RootUnreachable{
    u"root.unreachable"_s, Severity::Warning, u"root folders that cannot be reached on the disk"_s,
    u"Nothing in them is synchronised; their records stay as they are."_s,
    u"Connect their drives. If a root no longer exists: 'velmioctl folder clean {id}'."_s};
const Check FolderGone{
    u"folder.gone"_s, Severity::Warning, u"folders that are not on the disk"_s,
    u"The client treats them and the files in them as deleted."_s,
    u"Put them back, or remove their records with 'velmioctl scan --prune'."_s};
const Check FileGone{
    u"file.gone"_s, Severity::Warning, u"files that are not on the disk"_s,
    u"The client treats them as deleted."_s,
    u"Put them back, or remove their records with 'velmioctl scan --prune'."_s};

/// What is checked of a folder or file.
struct Record
{
    long long id;
    long long folderId;
    long long rootId;
    QString path;
};

// In batches, so that no statement is open while a slow disk answers: it would keep the WAL from
// being reset.
template <typename Use>
void forEachRecord(IDatabaseFactory& database, const QString& select, Use use)
{
    constexpr size_t BatchSize = 1000;
    std::vector<Record> batch;
    long long last = 0;
    do {
        batch.clear();
        {
            CheckQuery query(
                database, select + u" AND id > :last ORDER BY id LIMIT :count"_s,
                {{u":last"_s, last}, {u":count"_s, qlonglong(BatchSize)}});
            while (query.next()) {
                batch.push_back({query.number(0), query.number(1), query.number(2), query.text(3)});
            }
        }
        for (const Record& record : batch) {
            last = record.id;
            use(record);
        }
    } while (batch.size() == BatchSize);
}

// The ids of the roots that cannot be reached.
QSet<long long> checkRoots(IDatabaseFactory& database, const Found& found)
{
    QSet<long long> unreachable;
    forEachRecord(
        database, u"SELECT id, id, id, clientPath FROM FolderConfiguration WHERE parentId = 0"_s,
        [&](const Record& root) {
            // A link to a folder can be a root.
            if (QFileInfo(root.path).isDir())
                return;
            unreachable.insert(root.id);
            found(RootUnreachable, {FolderTable, root.id, root.path, {}});
        });
    return unreachable;
}

// The ids of the folders that are gone.
QSet<long long> checkFolders(
    IDatabaseFactory& database, const QSet<long long>& unreachableRoots, const Found& found)
{
    QSet<long long> gone;
    forEachRecord(
        database,
        u"SELECT id, parentId, rootId, clientPath FROM FolderConfiguration WHERE parentId <> 0"_s,
        [&](const Record& folder) {
            if (unreachableRoots.contains(folder.rootId) || !folderIsGone(folder.path))
                return;
            gone.insert(folder.id);
            if (!gone.contains(folder.folderId))
                found(FolderGone, {FolderTable, folder.id, folder.path, {}});
        });
    return gone;
}

} // namespace

std::vector<Check> diskChecks()
{
    return {RootUnreachable, FolderGone, FileGone};
}

void checkDisk(IDatabaseFactory& database, const Found& found)
{
    const QSet<long long> unreachableRoots = checkRoots(database, found);
    const QSet<long long> goneFolders = checkFolders(database, unreachableRoots, found);
    forEachRecord(
        database,
        u"SELECT id, folderConfigurationId, rootFolderId, clientPath FROM FileConfiguration"
        u" WHERE clientPath <> ''"_s,
        [&](const Record& file) {
            const bool passedOver =
                unreachableRoots.contains(file.rootId) || goneFolders.contains(file.folderId);
            if (!passedOver && fileIsGone(file.path))
                found(FileGone, {FileTable, file.id, file.path, {}});
        });
}

} // namespace velmioctl::doctor
