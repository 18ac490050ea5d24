#include <tree/TreeComparison.h>

#include <base/FileError.h>
#include <base/FilePaths.h>
#include <base/StoreFiles.h>
#include <config/FolderConfiguration.h>
#include <database/DatabaseBackups.h>
#include <tree/store/StoreQueries.h>
#include <tree/walk/DirectoryWalk.h>
#include <tree/walk/DiskState.h>

#include <QFileInfo>
#include <QHash>
#include <QSet>

#include <algorithm>
#include <cerrno>

using namespace Qt::StringLiterals;
using sync::base::FileId;
using sync::base::joinPath;
using sync::base::Links;
using sync::base::statusOf;
using sync::base::textOfName;
using sync::config::FolderConfiguration;

namespace sync::tree {

namespace {

constexpr qint64 SecondMs = 1000;

// Times as numbers, because comparing them is many times faster than parsing texts. The zone is cut
// off: the stored times are UTC, whatever it says.
const QString SelectFiles =
    u"SELECT id, clientPath, size, checkSum,"
    u" CAST(round((julianday(substr(createdDateTime, 1, 23)) - 2440587.5) * 86400000) AS INTEGER),"
    u" CAST(round((julianday(substr(lastModifiedDateTime, 1, 23)) - 2440587.5) * 86400000)"
    u" AS INTEGER)"
    u" FROM FileConfiguration WHERE folderConfigurationId = :folderConfigurationId"_s;

bool agree(std::optional<qint64> storedMs, qint64 fileMs)
{
    if (!storedMs)
        return false;
    const bool wholeSeconds = *storedMs % SecondMs == 0;
    return *storedMs == fileMs || (wholeSeconds && qAbs(*storedMs - fileMs) < 2 * SecondMs);
}

std::optional<qint64> numberOrNothing(const QVariant& value)
{
    return value.isNull() ? std::nullopt : std::optional(value.toLongLong());
}

std::optional<FileId> idOf(const std::optional<base::FileStatus>& status)
{
    return status ? std::optional(status->id) : std::nullopt;
}

std::optional<FileId> idOfFolder(const QString& path)
{
    return idOf(statusOf(path, Links::Follow));
}

bool isAscii(QStringView text)
{
    return std::all_of(text.begin(), text.end(), [](QChar at) { return at.unicode() < 0x80; });
}

QStringView nameIn(const QString& path)
{
    return QStringView(path).sliced(path.lastIndexOf(u'/') + 1);
}

QString composed(QStringView name)
{
    return name.toString().normalized(QString::NormalizationForm_C);
}

// composed name -> place in the list, of the names that are not ASCII
using ComposedNames = QMultiHash<QString, size_t>;

template <typename Item>
ComposedNames composedNames(const std::vector<Item>& items, QString Item::*path)
{
    ComposedNames names;
    for (size_t at = 0; at < items.size(); ++at) {
        const QStringView name = nameIn(items[at].*path);
        if (!isAscii(name))
            names.insert(composed(name), at);
    }
    return names;
}

bool hasName(const DirectoryWalk::Folder& folder, const std::string& name)
{
    return std::binary_search(
               folder.entries.begin(), folder.entries.end(), DirectoryWalk::Entry{name, true},
               [](const auto& left, const auto& right) { return left.name < right.name; }) ||
           std::any_of(folder.folders.begin(), folder.folders.end(), [&](const auto& child) {
               return child.name == name;
           });
}

// True if the record at a path is that of a file or folder whose name on the disk has another
// normal form. Many file systems keep the forms apart; then the path leads to another file, or the
// folder also has its name.
bool isRecordOf(const QString& path, const DirectoryWalk::Folder& found, const std::string& name)
{
    const auto recorded = idOf(statusOf(path, Links::Keep));
    return recorded && recorded == idOf(statusOf(found.descriptor, name.c_str())) &&
           !hasName(found, nameIn(path).toString().toStdString());
}

// Gives the subfolder that the record at a path is about the text of the record.
bool takeForm(
    const QString& path, DirectoryWalk::Folder& found, std::optional<ComposedNames>& forms)
{
    if (isAscii(nameIn(path)))
        return false;
    if (!forms)
        forms = composedNames(found.folders, &DirectoryWalk::Subfolder::path);
    for (const size_t at : forms->values(composed(nameIn(path)))) {
        if (isRecordOf(path, found, found.folders[at].name)) {
            found.folders[at].path = path;
            return true;
        }
    }
    return false;
}

bool isFolder(const DirectoryWalk::Folder& found, const std::optional<FileId>& wanted)
{
    return wanted && found.isOpen() && idOf(statusOf(found.descriptor)) == wanted;
}

} // namespace

bool KnownFile::matches(const FileState& state) const
{
    return size == state.size && agree(modifiedMs, state.modifiedMs) &&
           agree(createdMs, state.createdMs);
}

ComparisonHandler::~ComparisonHandler() = default;

class TreeComparison::Run
{
public:
    Run(TreeStore givenStore, ComparisonHandler& handler, IgnoreRule ignored)
        : store(std::move(givenStore))
        , queries(*store.database)
        , handler(handler)
        , ignored(std::move(ignored))
    {
        if (store.path.isEmpty())
            return;
        const QFileInfo file(QFileInfo(store.path).canonicalFilePath());
        ownFolder = idOfFolder(file.absolutePath());
        ownName = file.fileName();
        backupFolder = idOfFolder(database::DatabaseBackups(file.absoluteFilePath()).folder());
    }

    bool run(
        const FolderConfiguration& root, const FolderConfiguration& start,
        const std::function<bool()>& stopRequested);

private:
    using Folder = ComparisonHandler::Folder;

    int idOf(const QString& path);
    bool compareFiles(
        const Folder& folder, const DirectoryWalk::Folder& found,
        const std::function<bool()>& stopRequested);
    void compareEntry(
        const DirectoryWalk::Folder& found, const DirectoryWalk::Entry& entry, bool besideDatabase);
    void compareSubfolders(const Folder& folder, DirectoryWalk::Folder& found);
    std::optional<size_t> positionInOtherForm(
        const DirectoryWalk::Folder& found, const std::string& name, const QString& path);
    void reportMissingTree(const Folder& top);
    void readKnownFiles(int folderId);
    std::vector<Folder> readSubfolders(int folderId);

    const TreeStore store;
    const StoreQueries queries;
    ComparisonHandler& handler;
    const IgnoreRule ignored;
    // Subfolders not visited yet: path -> id
    QHash<QString, int> ids;
    // Of the current folder: path -> place in `known`
    QHash<QString, size_t> positions;
    // The same by the composed name, of those that are not ASCII; made when it is needed.
    std::optional<QMultiHash<QString, size_t>> otherForms;
    std::vector<KnownFile> known;
    std::vector<bool> seen;
    // The folder of the store, the name of its file, and the folder of its backups.
    std::optional<FileId> ownFolder;
    QString ownName;
    std::optional<FileId> backupFolder;
};

TreeComparison::TreeComparison(TreeStore store, ComparisonHandler& handler, IgnoreRule ignored)
    : impl(std::make_unique<Run>(std::move(store), handler, std::move(ignored)))
{
}

TreeComparison::~TreeComparison() = default;

bool TreeComparison::run(
    const FolderConfiguration& root, const FolderConfiguration& start,
    const std::function<bool()>& stopRequested)
{
    return impl->run(root, start, stopRequested);
}

bool TreeComparison::Run::run(
    const FolderConfiguration& root, const FolderConfiguration& start,
    const std::function<bool()>& stopRequested)
{
    const QString path = start.getClientPath();
    if (start.getId() != root.getId() && folderIsGone(path)) {
        reportMissingTree({path, start.getId()});
        return true;
    }
    const bool topLevel = root.getFolderOption() == config::TopLevelOnly;
    const auto depth = topLevel ? DirectoryWalk::Depth::TopLevel : DirectoryWalk::Depth::All;
    DirectoryWalk walk(
        path, depth, [this](const TreeProblem& problem) { handler.problem(problem); }, ignored);
    ids.clear();
    ids.insert(path, start.getId());
    while (!stopRequested()) {
        DirectoryWalk::Folder* const found = walk.next();
        if (!found)
            return true;
        if (isFolder(*found, backupFolder))
            continue;
        const Folder folder{found->path, idOf(found->path)};
        handler.folderFound(folder);
        if (!compareFiles(folder, *found, stopRequested))
            return false;
        if (!topLevel)
            compareSubfolders(folder, *found);
    }
    return false;
}

int TreeComparison::Run::idOf(const QString& path)
{
    if (const auto at = ids.find(path); at != ids.end()) {
        const int id = *at;
        ids.erase(at);
        return id;
    }
    // Also a folder whose record has another parent than the one on the disk.
    const auto query = queries.select(
        u"SELECT id FROM FolderConfiguration WHERE clientPath = :clientPath"_s,
        {{u":clientPath"_s, path}});
    const bool found = query->next();
    queries.check(*query);
    return found ? query->value(0).toInt() : -1;
}

bool TreeComparison::Run::compareFiles(
    const Folder& folder, const DirectoryWalk::Folder& found,
    const std::function<bool()>& stopRequested)
{
    readKnownFiles(folder.id);
    const bool besideDatabase = isFolder(found, ownFolder);
    for (const DirectoryWalk::Entry& entry : found.entries) {
        if (stopRequested())
            return false;
        compareEntry(found, entry, besideDatabase);
    }
    if (!found.complete)
        return true;
    for (size_t at = 0; at < known.size(); ++at) {
        if (!seen[at] && fileIsGone(known[at].clientPath))
            handler.fileMissing(known[at]);
    }
    return true;
}

void TreeComparison::Run::compareEntry(
    const DirectoryWalk::Folder& found, const DirectoryWalk::Entry& entry, bool besideDatabase)
{
    const QString name = textOfName(entry.name).value_or(QString());
    if (besideDatabase && base::isDatabaseFileName(name, ownName))
        return;
    const QString path = joinPath(found.path, name);
    if (!entry.regular) {
        handler.entrySkipped(path);
        return;
    }
    const auto state = readFileState(found.descriptor, entry.name.c_str());
    if (!state) {
        // A known file that vanished since the folder was read is missing.
        if (const int error = errno; !base::isGone(error)) {
            handler.problem({TreeProblem::Kind::InaccessibleFile, path.toUtf8(), error});
        }
        return;
    }
    if (!state->regular) {
        handler.entrySkipped(path);
        return;
    }
    const auto exact = positions.constFind(path);
    const auto position = exact != positions.cend() ? std::optional(*exact)
                                                    : positionInOtherForm(found, entry.name, path);
    if (!position) {
        handler.fileFound(path, *state);
        return;
    }
    seen[*position] = true;
    handler.fileFound(known[*position].clientPath, *state, known[*position]);
}

std::optional<size_t> TreeComparison::Run::positionInOtherForm(
    const DirectoryWalk::Folder& found, const std::string& name, const QString& path)
{
    if (known.empty() || isAscii(nameIn(path)))
        return {};
    if (!otherForms)
        otherForms = composedNames(known, &KnownFile::clientPath);
    const auto [first, last] = std::as_const(*otherForms).equal_range(composed(nameIn(path)));
    const auto own = std::find_if(
        first, last, [&](size_t at) { return isRecordOf(known[at].clientPath, found, name); });
    return own == last ? std::nullopt : std::optional(*own);
}

void TreeComparison::Run::compareSubfolders(const Folder& folder, DirectoryWalk::Folder& found)
{
    if (folder.id == -1)
        return;
    QSet<QString> present;
    for (const DirectoryWalk::Subfolder& child : found.folders)
        present.insert(child.path);
    std::optional<ComposedNames> forms;
    for (const Folder& child : readSubfolders(folder.id)) {
        if (present.contains(child.path) || takeForm(child.path, found, forms))
            ids.insert(child.path, child.id);
        else if (found.complete && folderIsGone(child.path))
            reportMissingTree(child);
    }
}

void TreeComparison::Run::reportMissingTree(const Folder& top)
{
    std::vector<Folder> pending{top};
    // In a damaged table a folder may be below itself.
    QSet<int> visited;
    while (!pending.empty()) {
        const Folder folder = std::move(pending.back());
        pending.pop_back();
        if (visited.contains(folder.id))
            continue;
        visited.insert(folder.id);

        handler.folderMissing(folder);
        readKnownFiles(folder.id);
        for (const KnownFile& file : known)
            handler.fileMissing(file);
        for (Folder& child : readSubfolders(folder.id))
            pending.push_back(std::move(child));
    }
}

void TreeComparison::Run::readKnownFiles(int folderId)
{
    known.clear();
    positions.clear();
    otherForms.reset();
    if (folderId != -1) {
        const auto query = queries.select(SelectFiles, {{u":folderConfigurationId"_s, folderId}});
        while (query->next()) {
            positions.insert(query->value(1).toString(), known.size());
            known.push_back(
                {query->value(0).toInt(), query->value(1).toString(), query->value(2).toLongLong(),
                 numberOrNothing(query->value(4)), numberOrNothing(query->value(5)),
                 query->value(3).toString()});
        }
        // With rows missing, known files would look new, and folders empty.
        queries.check(*query);
    }
    seen.assign(known.size(), false);
}

std::vector<ComparisonHandler::Folder> TreeComparison::Run::readSubfolders(int folderId)
{
    const auto query = queries.select(
        u"SELECT id, clientPath FROM FolderConfiguration WHERE parentId = :parentId"_s,
        {{u":parentId"_s, folderId}});
    std::vector<Folder> folders;
    while (query->next())
        folders.push_back({query->value(1).toString(), query->value(0).toInt()});
    queries.check(*query);
    return folders;
}

} // namespace sync::tree
