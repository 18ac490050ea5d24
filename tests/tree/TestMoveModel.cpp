// Random changes of a tree on the disk, beside a model that knows which file is which. After each
// scan every file and folder must have the record that it had before.
//
// VELMIO_MOVE_OPERATIONS is the number of operations. A failure prints the seed of its round, and
// VELMIO_MOVE_SEED repeats that round alone.

#include <tree/TreeScan.h>

#include <config/FileConfigManager.h>
#include <config/FolderConfigManager.h>
#include <config/Sha256FileHash.h>
#include <database/SqliteDatabaseFactory.h>
#include <interf/IQSqlQueryWrapper.h>
#include <support/Repetitions.h>
#include <support/TemporaryPlace.h>

#include <QDir>
#include <QFile>
#include <QRandomGenerator>
#include <QTemporaryDir>
#include <QTest>

#include <map>

#include <unistd.h>

using namespace Qt::StringLiterals;
using namespace sync::config;
using sync::database::SqliteDatabaseFactory;

namespace sync::tree {

namespace {

constexpr int RootOne = 1;
constexpr int RootTwo = 2;

/// A folder or file on the disk. Its key stays, whatever its path is.
struct Item
{
    bool isFolder = false;
    int parent = 0;
    QString name = {};
    int recordId = -1;   ///< -1 until a scan has seen it.
    bool isSure = false; ///< Its time of creation is stored.
    bool edited = false; ///< Since the last scan.
    /// Its place was another one's at the last scan, which has moved. The record of a place stays
    /// there if its file is removed, or is in another root, which is searched on its own.
    bool isInOtherPlace = false;
    // As of the last scan.
    int knownParent = 0;
    QString knownName = {};
};

/// One tree on the disk, its store, and the truth.
class Round
{
public:
    explicit Round(quint32 seed)
        : chance(seed)
        , factory(SqliteDatabaseFactory::open(directory.filePath(u"store.db"_s)))
        , folders(std::make_shared<FolderConfigManager>(factory, nullptr))
        , files(factory, std::make_shared<Sha256FileHash>(), nullptr, folders)
    {
        for (const int key : {RootOne, RootTwo}) {
            Item root{.isFolder = true, .name = key == RootOne ? u"one"_s : u"two"_s};
            QDir().mkpath(directory.filePath(root.name));
            FolderConfiguration record;
            record.setParentId(0);
            record.setAuthenticationId(1);
            record.setClientPath(directory.filePath(root.name));
            record.setServerPath(u"/server/"_s + root.name);
            record.setFolderOption(WithSubfolders);
            folders->Add(record);
            root.recordId = record.getId();
            items[key] = root;
            roots[key] = record;
        }
        for (int count = 0; count < 12; ++count)
            create(count < 4);
        scan();
    }

    /// Does one operation; what is wrong after a scan, or nothing.
    QByteArray step()
    {
        switch (chance.bounded(12)) {
        case 0:
            create(true);
            break;
        case 1:
        case 2:
            create(false);
            break;
        case 3:
            remove();
            break;
        case 4:
            edit();
            break;
        case 5:
            copy();
            break;
        case 6:
            swap();
            break;
        case 7:
            changeCase();
            break;
        case 8:
        case 9:
        case 10:
            move();
            break;
        default:
            return scan();
        }
        return {};
    }

    long long moves() const { return foundMoves; }

private:
    QString pathOf(int key) const
    {
        const Item& item = items.at(key);
        return item.parent == 0 ? directory.filePath(item.name)
                                : pathOf(item.parent) + u'/' + item.name;
    }

    bool isBelow(int key, int ancestor) const
    {
        for (; key != 0; key = items.at(key).parent) {
            if (key == ancestor)
                return true;
        }
        return false;
    }

    int rootOf(int key) const
    {
        while (items.at(key).parent != 0)
            key = items.at(key).parent;
        return key;
    }

    // A key of this kind, or 0.
    int any(bool isFolder, bool orRoot = false)
    {
        std::vector<int> found;
        for (const auto& [key, item] : items) {
            if (item.isFolder == isFolder && (orRoot || item.parent != 0))
                found.push_back(key);
        }
        return found.empty() ? 0 : found[chance.bounded(quint32(found.size()))];
    }

    bool exists(int parent, const QString& name) const
    {
        return std::any_of(items.begin(), items.end(), [&](const auto& item) {
            return item.second.parent == parent && item.second.name == name;
        });
    }

    bool holdsExchanged(int ancestor) const
    {
        return std::any_of(items.begin(), items.end(), [&](const auto& item) {
            return item.second.isInOtherPlace && isBelow(item.first, ancestor);
        });
    }

    // True if the last scan has recorded something there. What is put there then gets the record
    // of the place, unless the other one moves away.
    bool isRecorded(int parent, const QString& name) const
    {
        const auto isIt = [&](const auto& item) {
            return item.second.recordId != -1 && item.second.knownParent == parent &&
                   item.second.knownName == name;
        };
        return removed.contains({parent, name}) || std::any_of(items.begin(), items.end(), isIt);
    }

    QString newName() { return u"n%1"_s.arg(++names); }

    void create(bool isFolder)
    {
        const int parent = any(true, true);
        const int key = ++keys;
        items[key] = {.isFolder = isFolder, .parent = parent, .name = newName()};
        if (isFolder)
            QDir().mkpath(pathOf(key));
        else
            write(key);
    }

    // No two files ever have the same content.
    void write(int key)
    {
        QFile file(pathOf(key));
        if (!file.open(QIODevice::WriteOnly))
            qFatal("%s", qPrintable(file.errorString()));
        file.write(QByteArray::number(++contents));
        file.write(QByteArray(int(chance.bounded(40)), '.'));
    }

    void edit()
    {
        if (const int key = any(false)) {
            write(key);
            items[key].edited = true;
        }
    }

    void copy()
    {
        const int from = any(false);
        if (from == 0)
            return;
        const int key = ++keys;
        items[key] = {.parent = any(true, true), .name = newName()};
        QFile::copy(pathOf(from), pathOf(key));
    }

    void remove()
    {
        const int key = chance.bounded(4) == 0 ? any(true) : any(false);
        if (key == 0 || holdsExchanged(key))
            return;
        const QString path = pathOf(key);
        if (items[key].isFolder)
            QDir(path).removeRecursively();
        else
            QFile::remove(path);
        forget(key);
    }

    void forget(int key)
    {
        std::vector<int> children;
        for (const auto& [child, item] : items) {
            if (item.parent == key)
                children.push_back(child);
        }
        for (const int child : children)
            forget(child);
        if (items[key].recordId != -1)
            removed.insert({items[key].knownParent, items[key].knownName});
        items.erase(key);
    }

    void put(int key, int parent, const QString& name)
    {
        const QString from = pathOf(key);
        items[key].parent = parent;
        items[key].name = name;
        if (std::rename(qPrintable(from), qPrintable(pathOf(key))) != 0)
            qFatal("cannot rename %s", qPrintable(from));
    }

    void move()
    {
        const int key = any(chance.bounded(3) == 0);
        const int parent = any(true, true);
        if (key == 0 || isBelow(parent, key) ||
            (rootOf(parent) != rootOf(key) && holdsExchanged(key)))
            return;
        // Sometimes to where something else was, which makes chains.
        const int other = any(items[key].isFolder);
        const QString name =
            other != 0 && items[other].recordId != -1 ? items[other].knownName : newName();
        const bool isFree = !exists(parent, name) && !isRecorded(parent, name);
        put(key, parent, isFree ? name : newName());
    }

    void swap()
    {
        const bool isFolder = chance.bounded(3) == 0;
        const int one = any(isFolder);
        const int two = any(isFolder);
        if (one == 0 || one == two || isBelow(one, two) || isBelow(two, one) ||
            rootOf(one) != rootOf(two) || !items[one].isSure || !items[two].isSure)
            return;
        const Item first = items[one];
        const Item second = items[two];
        put(one, RootOne, newName());
        put(two, first.parent, first.name);
        put(one, second.parent, second.name);
        items[one].isInOtherPlace = true;
        items[two].isInOtherPlace = true;
    }

    void changeCase()
    {
        const int key = any(chance.bounded(3) == 0);
        if (key == 0)
            return;
        const QString name = items[key].name.startsWith(u'n') ? items[key].name.toUpper()
                                                              : items[key].name.toLower();
        if (!exists(items[key].parent, name) && !isRecorded(items[key].parent, name))
            put(key, items[key].parent, name);
    }

    void run(const QString& sql)
    {
        const auto query = factory->CreateQuery();
        query->prepare(sql);
        if (!query->exec())
            qFatal("%s", qPrintable(query->lastError()));
    }

    QByteArray scan()
    {
        class Count : public ScanObserver
        {
        public:
            void moved(const Move&) override { ++moves; }
            long long moves = 0;
        } observer;
        for (const int key :
             chance.bounded(2) == 0 ? std::array{RootOne, RootTwo} : std::array{RootTwo, RootOne})
            TreeScan(TreeStore::of(factory), observer, {}).run(roots[key], roots[key]);
        foundMoves += observer.moves;
        folders->ClearCaches();
        return judge();
    }

    QByteArray judge()
    {
        QHash<QString, FolderConfiguration> folderAt;
        for (const FolderConfiguration& folder : folders->GetAll())
            folderAt.insert(folder.getClientPath(), folder);
        QHash<QString, FileConfiguration> fileAt;
        for (const FileConfiguration& file : files.GetAll())
            fileAt.insert(file.getClientPath(), file);
        const QSet<int> sureFiles = idsOf(u"SELECT fileConfigurationId FROM FileOnDisk"_s);
        const QSet<int> sureFolders = idsOf(u"SELECT folderId FROM FolderOnDisk"_s);
        for (auto& [key, item] : items) {
            if (item.parent == 0)
                continue;
            const QString path = pathOf(key);
            const int id =
                item.isFolder ? folderAt.value(path).getId() : fileAt.value(path).getId();
            const int parentId = item.isFolder ? folderAt.value(path).getParentId()
                                               : fileAt.value(path).getFolderConfigurationId();
            if (id == -1)
                return "no record of " + path.toUtf8();
            // Without its time of creation, its content decides.
            const bool mayBeNew = !item.isSure && (item.isFolder || item.edited);
            if (item.recordId != -1 && item.recordId != id && !mayBeNew) {
                return "the record of " + path.toUtf8() + " is " + QByteArray::number(id) +
                       " and was " + QByteArray::number(item.recordId);
            }
            if (parentId != recordIdOf(item.parent, folderAt))
                return "another folder holds " + path.toUtf8();
            item.recordId = id;
            item.knownParent = item.parent;
            item.knownName = item.name;
            item.edited = false;
            item.isInOtherPlace = false;
            item.isSure = (item.isFolder ? sureFolders : sureFiles).contains(id);
        }
        return pruned(folderAt, fileAt);
    }

    int recordIdOf(int key, const QHash<QString, FolderConfiguration>& folderAt) const
    {
        return folderAt.value(pathOf(key)).getId();
    }

    QSet<int> idsOf(const QString& select)
    {
        QSet<int> ids;
        const auto query = factory->CreateQuery();
        query->prepare(select + u" WHERE createdNs IS NOT NULL"_s);
        query->exec();
        while (query->next())
            ids.insert(query->value(0).toInt());
        return ids;
    }

    // Removes the records of what does not exist, as a user would.
    QByteArray pruned(
        const QHash<QString, FolderConfiguration>& folderAt,
        const QHash<QString, FileConfiguration>& fileAt)
    {
        QSet<QString> paths;
        for (const auto& [key, item] : items)
            paths.insert(pathOf(key));
        for (const FileConfiguration& file : fileAt) {
            if (!paths.contains(file.getClientPath()))
                run(u"DELETE FROM FileConfiguration WHERE id = %1"_s.arg(file.getId()));
        }
        for (const FolderConfiguration& folder : folderAt) {
            if (!paths.contains(folder.getClientPath()))
                run(u"DELETE FROM FolderConfiguration WHERE id = %1"_s.arg(folder.getId()));
        }
        removed.clear();
        return {};
    }

    QRandomGenerator chance;
    QTemporaryDir directory{test::temporaryPlaceInMemory()};
    std::shared_ptr<SqliteDatabaseFactory> factory;
    std::shared_ptr<FolderConfigManager> folders;
    FileConfigManager files;
    std::map<int, Item> items;
    std::map<int, FolderConfiguration> roots;
    // Where something was recorded that does not exist any more: the key of its folder, its name.
    QSet<std::pair<int, QString>> removed;
    int keys = RootTwo;
    int names = 0;
    int contents = 0;
    long long foundMoves = 0;
};

} // namespace

class TestMoveModel : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void everyFileKeepsItsRecord();
};

void TestMoveModel::everyFileKeepsItsRecord()
{
    constexpr int RoundOperations = 400;
    bool given = false;
    long long operations = qEnvironmentVariableIntValue("VELMIO_MOVE_OPERATIONS", &given);
    if (!given)
        operations = test::repetitions(100'000);
    const auto onlySeed = quint32(qEnvironmentVariableIntValue("VELMIO_MOVE_SEED"));
    long long done = 0;
    long long moves = 0;
    for (quint32 seed = std::max(1U, onlySeed); done < operations; ++seed) {
        Round round(seed);
        for (int step = 0; step < RoundOperations; ++step, ++done) {
            const QByteArray finding = round.step();
            const QByteArray place =
                "seed " + QByteArray::number(seed) + ", step " + QByteArray::number(step) + ": ";
            QVERIFY2(finding.isEmpty(), (place + finding).constData());
        }
        moves += round.moves();
        if (onlySeed != 0)
            break;
    }
    qInfo("%lld operations, %lld moves found", done, moves);
    QVERIFY(moves > 0);
}

} // namespace sync::tree

QTEST_GUILESS_MAIN(sync::tree::TestMoveModel)
#include "TestMoveModel.moc"
