#include <velmioctl/doctor/RecordChecks.h>

#include <base/WindowsNames.h>
#include <config/FileConfigManager.h>
#include <velmioctl/cli/Text.h>
#include <velmioctl/doctor/CheckQuery.h>
#include <velmioctl/doctor/Finding.h>

#include <QDateTime>
#include <QHash>
#include <QMap>

#include <algorithm>
#include <functional>

using namespace Qt::StringLiterals;
using sync::interf::factory::IDatabaseFactory;

namespace velmioctl::doctor {

namespace {

struct Root
{
    long long id;
    long long signIn;
    QString clientPath;
    QString serverPath;
};

std::vector<Root> readRoots(IDatabaseFactory& database)
{
    CheckQuery query(
        database, u"SELECT id, authenticationId, clientPath, serverPath FROM FolderConfiguration"
                  u" WHERE parentId = 0 ORDER BY id"_s);
    std::vector<Root> roots;
    while (query.next())
        roots.push_back({query.number(0), query.number(1), query.text(2), query.text(3)});
    return roots;
}

/// A path of a root, in a form with which every path inside it begins.
struct Place
{
    QString key;
    const Root* root;
};

QString keyOf(const QString& path)
{
    const QString folded = path.toCaseFolded();
    return folded.endsWith(u'/') ? folded : folded + u'/';
}

// When sorted, the places inside a place follow it directly: all that contain a place are still
// open.
void findOverlaps(
    std::vector<Place> places, const std::function<void(const Root& inner, const Root& outer)>& use)
{
    std::stable_sort(places.begin(), places.end(), [](const Place& left, const Place& right) {
        return left.key < right.key;
    });
    std::vector<Place> open;
    for (const Place& place : places) {
        while (!open.empty() && !place.key.startsWith(open.back().key))
            open.pop_back();
        if (!open.empty())
            use(*place.root, *open.back().root);
        open.push_back(place);
    }
}

void checkClientOverlaps(IDatabaseFactory& database, const Check& check, const Found& found)
{
    const std::vector<Root> roots = readRoots(database);
    std::vector<Place> places;
    places.reserve(roots.size());
    for (const Root& root : roots)
        places.push_back({keyOf(root.clientPath), &root});
    findOverlaps(std::move(places), [&](const Root& inner, const Root& outer) {
        found(
            check, {FolderTable, inner.id, inner.clientPath,
                    u"in root %1, %2"_s.arg(QString::number(outer.id), quoted(outer.clientPath))});
    });
}

// A path is a different place for each sign-in. An empty one is not a place.
void checkServerOverlaps(IDatabaseFactory& database, const Check& check, const Found& found)
{
    const std::vector<Root> roots = readRoots(database);
    QMap<long long, std::vector<Place>> bySignIn;
    for (const Root& root : roots) {
        if (!root.serverPath.isEmpty())
            bySignIn[root.signIn].push_back({keyOf(root.serverPath), &root});
    }
    for (const auto& places : std::as_const(bySignIn)) {
        findOverlaps(places, [&](const Root& inner, const Root& outer) {
            found(
                check,
                {FolderTable, inner.id, inner.serverPath,
                 u"in %1 of root %2"_s.arg(quoted(outer.serverPath), QString::number(outer.id))});
        });
    }
}

// `select` returns a container, an id and a path, sorted by container, so only the paths of one
// folder are kept at a time.
void checkSpellings(
    IDatabaseFactory& database, const QString& select, const QString& table, const Check& check,
    const Found& found)
{
    CheckQuery query(database, select);
    QVariant container;
    // folded -> the first one of that name
    QHash<QString, std::pair<long long, QString>> firstOnes;
    while (query.next()) {
        if (query.value(0) != container) {
            container = query.value(0);
            firstOnes.clear();
        }
        const QString path = query.text(2);
        const QString folded = path.normalized(QString::NormalizationForm_C).toCaseFolded();
        const auto first = firstOnes.constFind(folded);
        if (first == firstOnes.cend())
            firstOnes.insert(folded, {query.number(1), path});
        else if (first->second != path)
            found(
                check, {table, query.number(1), path,
                        u"as well as %1, id %2"_s.arg(
                            quoted(first->second), QString::number(first->first))});
    }
}

void checkFolderSpellings(IDatabaseFactory& database, const Check& check, const Found& found)
{
    checkSpellings(
        database,
        u"SELECT parentId, id, clientPath FROM FolderConfiguration WHERE parentId <> 0"
        u" ORDER BY parentId"_s,
        FolderTable, check, found);
}

void checkFileSpellings(IDatabaseFactory& database, const Check& check, const Found& found)
{
    checkSpellings(
        database,
        u"SELECT folderConfigurationId, id, clientPath FROM FileConfiguration"
        u" ORDER BY folderConfigurationId"_s,
        FileTable, check, found);
}

void checkWindowsNames(
    IDatabaseFactory& database, const QString& select, const QString& table, const Check& check,
    const Found& found)
{
    CheckQuery query(database, select);
    while (query.next()) {
        const QString path = query.text(1);
        const QString problem =
            sync::base::windowsNameProblem(QStringView(path).sliced(path.lastIndexOf(u'/') + 1));
        if (!problem.isEmpty())
            found(check, {table, query.number(0), path, problem});
    }
}

// Not of roots, which have another name on each desktop.
void checkFolderWindowsNames(IDatabaseFactory& database, const Check& check, const Found& found)
{
    checkWindowsNames(
        database, u"SELECT id, clientPath FROM FolderConfiguration WHERE parentId <> 0"_s,
        FolderTable, check, found);
}

void checkFileWindowsNames(IDatabaseFactory& database, const Check& check, const Found& found)
{
    checkWindowsNames(
        database, u"SELECT id, clientPath FROM FileConfiguration"_s, FileTable, check, found);
}

// A link without a FileId was stored without its file.
void checkLinks(IDatabaseFactory& database, const Check& check, const Found& found)
{
    // Only to parse the links.
    const sync::config::FileConfigManager reader(nullptr, nullptr, nullptr, nullptr);
    CheckQuery query(
        database,
        u"SELECT id, clientPath, fileLinks FROM FileConfiguration WHERE fileLinks <> ''"_s);
    while (query.next()) {
        QDateTime date;
        for (const auto& link : reader.GetFileLinkArrayFromXmlString(query.text(2), date)) {
            if (link.FileId <= 0)
                continue;
            CheckQuery target(
                database, u"SELECT 1 FROM FileConfiguration WHERE id = :id"_s,
                {{u":id"_s, link.FileId}});
            if (!target.next()) {
                found(
                    check, {FileTable, query.number(0), query.text(1),
                            u"link to file %1, %2"_s.arg(
                                QString::number(link.FileId), quoted(link.Path))});
            }
        }
    }
}

} // namespace

std::vector<RecordCheck> pathChecks()
{
    return {
        {{u"root.client-overlap"_s, Severity::Error, u"root folders inside another one"_s,
          u"Their files are registered and synchronised twice, and each overwrites the other."_s,
          u"Keep one of the two: 'velmioctl folder clean {id}' removes the records of the inner "
          u"one."_s},
         checkClientOverlaps},
        {{u"root.server-overlap"_s, Severity::Error,
          u"root folders whose server path is inside that of another one of the same sign-in"_s,
          u"A change in one of them is a change in the other, and comes back from there."_s,
          u"Name another place: 'velmioctl folder set {id} --server-path PATH'; or keep one of the "
          u"two with 'velmioctl folder clean {id}'."_s},
         checkServerOverlaps},
        {{u"folder.spelling"_s, Severity::Warning,
          u"folders that differ from another one beside them only in case or in normal form"_s,
          u"On a disk that does not distinguish them, as most of macOS and Windows, one of them "
          u"hides the other."_s,
          u"Rename one of them on the disk, and run 'velmioctl scan --prune'."_s},
         checkFolderSpellings},
        {{u"file.spelling"_s, Severity::Warning,
          u"files that differ from another one beside them only in case or in normal form"_s,
          u"On a disk that does not distinguish them, as most of macOS and Windows, one of them "
          u"hides the other."_s,
          u"Rename one of them on the disk, and run 'velmioctl scan --prune'."_s},
         checkFileSpellings},
        {{u"folder.windows-name"_s, Severity::Note, u"folders with a name that Windows refuses"_s,
          u"A desktop with Windows cannot synchronise them."_s,
          u"Rename them on the disk, and run 'velmioctl scan --prune'."_s},
         checkFolderWindowsNames},
        {{u"file.windows-name"_s, Severity::Note, u"files with a name that Windows refuses"_s,
          u"A desktop with Windows cannot synchronise them."_s,
          u"Rename them on the disk, and run 'velmioctl scan --prune'."_s},
         checkFileWindowsNames},
        {{u"file.link-missing"_s, Severity::Note, u"links to files that have no record"_s,
          u"This is allowed: the client finds the file by its path."_s,
          u"None needed: the client writes the links again with the file."_s},
         checkLinks},
    };
}

} // namespace velmioctl::doctor
