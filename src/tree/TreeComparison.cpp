#include <tree/TreeComparison.h>

#include <base/ClockReading.h>
#include <base/FileError.h>
#include <base/FilePaths.h>
#include <base/StoreFiles.h>
#include <config/FolderConfiguration.h>
#include <database/DatabaseBackups.h>
#include <interf/IQSqlTypedQuery.h>
#include <tree/moves/MoveSearch.h>
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
// Without the zone.
constexpr qsizetype TimeLength = 23;

const QString FileColumns =
    u"SELECT id, clientPath, size, checkSum, createdDateTime, lastModifiedDateTime"_s;
const QString FilesOnDisk =
    u", volume, fileId, createdNs FROM FileConfiguration LEFT JOIN FileOnDisk"
    u" ON fileConfigurationId = id"_s;
const QString InFolder = u" WHERE folderConfigurationId = :folderConfigurationId"_s;
const QString SelectFiles = FileColumns + u", NULL, NULL, NULL FROM FileConfiguration"_s + InFolder;
const QString SelectFilesOnDisk = FileColumns + FilesOnDisk + InFolder;
const QString SelectFileOnDisk = FileColumns + FilesOnDisk + u" WHERE id = :id"_s;

const QString SelectSubfolders =
    u"SELECT id, clientPath, NULL, NULL, NULL FROM FolderConfiguration WHERE parentId = :parentId"_s;
const QString SelectSubfoldersOnDisk =
    u"SELECT id, clientPath, volume, fileId, createdNs FROM FolderConfiguration"
    u" LEFT JOIN FolderOnDisk ON folderId = id WHERE parentId = :parentId"_s;

bool agree(std::optional<qint64> storedMs, qint64 fileMs)
{
    if (!storedMs)
        return false;
    const bool wholeSeconds = *storedMs % SecondMs == 0;
    return *storedMs == fileMs || (wholeSeconds && qAbs(*storedMs - fileMs) < 2 * SecondMs);
}

// The zone is cut off: the stored times are UTC, whatever it says.
std::optional<qint64> timeIn(const QString& text)
{
    const QByteArray latin = text.toLatin1();
    if (const auto reading = base::parseClockReading({latin.constData(), size_t(latin.size())}))
        return reading->sinceEpoch.count();
    QDateTime time =
        QDateTime::fromString(text.first(std::min(text.size(), TimeLength)), Qt::ISODateWithMs);
    time.setTimeSpec(Qt::UTC);
    return time.isValid() ? std::optional(time.toMSecsSinceEpoch()) : std::nullopt;
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

// In this column and the two that follow.
std::optional<DiskIdentity> identityIn(const interf::IQSqlQueryWrapper& row, int column)
{
    if (row.value(column).isNull())
        return std::nullopt;
    return DiskIdentity{
        row.value(column).toLongLong(), row.value(column + 1).toLongLong(),
        numberOrNothing(row.value(column + 2))};
}

// Without a QVariant for each value, where the factory offers it.
KnownFile knownFileIn(const interf::IQSqlQueryWrapper& row, const interf::IQSqlTypedQuery* typed)
{
    const auto text = [&](int column) {
        return typed ? typed->textValue(column) : row.value(column).toString();
    };
    return {row.value(0).toInt(), text(1), row.value(2).toLongLong(), timeIn(text(4)),
            timeIn(text(5)),      text(3), identityIn(row, 6)};
}

// Another folder is at the place, although its time of creation may not be known.
bool differ(const DiskIdentity& stored, const DiskIdentity& found)
{
    return stored.volume != found.volume || stored.fileId != found.fileId ||
           (stored.createdNs && found.createdNs && stored.createdNs != found.createdNs);
}

} // namespace

bool KnownFile::matches(const FileState& state) const
{
    return size == state.size && agree(modifiedMs, state.modifiedMs) &&
           agree(createdMs, state.createdMs);
}

ComparisonHandler::~ComparisonHandler() = default;

bool ComparisonHandler::moved(const MovePlan&)
{
    return false;
}

class TreeComparison::Run
{
public:
    Run(TreeStore givenStore, ComparisonHandler& handler, IgnoreRule ignored, MoveOptions moves)
        : store(std::move(givenStore))
        , queries(*store.database)
        , handler(handler)
        , ignored(std::move(ignored))
        , moves(std::move(moves))
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

    /// The record of a folder.
    struct KnownFolder
    {
        int id = -1;
        QString path;
        std::optional<DiskIdentity> identity;
    };

    /// What the disk says about an entry of a folder.
    struct EntryState
    {
        std::optional<FileState> state;
        int error = 0;
        std::optional<size_t> position = {}; ///< The place of its record in `known`.
    };

    void begin(const FolderConfiguration& root, const FolderConfiguration& start);
    bool compare(
        DirectoryWalk::Folder& found, const std::optional<base::FileStatus>& status,
        const std::function<bool()>& stopRequested);
    KnownFolder knownFolderAt(const QString& path);
    void readRecordsOf(int folderId, const DirectoryWalk::Folder& found);
    bool readStates(const DirectoryWalk::Folder& found, const std::function<bool()>& stopRequested);
    bool mayHaveMoved(
        const KnownFolder& folder, const std::optional<DiskIdentity>& identity,
        DirectoryWalk::Folder& found);
    bool isRecordedElsewhere(const DirectoryWalk::Folder& found, size_t at);
    void search(const std::function<bool()>& stopRequested);
    bool compareFiles(
        const DirectoryWalk::Folder& found, const std::function<bool()>& stopRequested);
    void compareEntry(const DirectoryWalk::Folder& found, size_t at);
    void match(const DirectoryWalk::Folder& found);
    std::optional<size_t> positionOf(const DirectoryWalk::Folder& found, const std::string& name);
    void compareSubfolders(int folderId, DirectoryWalk::Folder& found);
    std::optional<size_t> positionInOtherForm(
        const DirectoryWalk::Folder& found, const std::string& name, const QString& path);
    void reportMissingTree(const KnownFolder& top);
    void readKnownFiles(int folderId);
    std::vector<KnownFolder> readSubfolders(int folderId);

    const TreeStore store;
    const StoreQueries queries;
    ComparisonHandler& handler;
    const IgnoreRule ignored;
    const MoveOptions moves;
    FolderConfiguration root;
    QString startPath;
    // What identifies folders and files on the disk is stored, at least of some.
    bool identifiesSome = false;
    // Until a search, or if there will be none.
    std::optional<MoveSearch> moveSearch;
    DiskIdentities identities;
    // Of what the handler has not changed.
    MovePlan plan;
    // Subfolders not visited yet, by path
    QHash<QString, KnownFolder> folders;
    // Of the current folder: its subfolders, and the states of its entries
    std::vector<KnownFolder> subfolders;
    std::vector<EntryState> states;
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

TreeComparison::TreeComparison(
    TreeStore store, ComparisonHandler& handler, IgnoreRule ignored, MoveOptions moves)
    : impl(std::make_unique<Run>(std::move(store), handler, std::move(ignored), std::move(moves)))
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
    const FolderConfiguration& givenRoot, const FolderConfiguration& start,
    const std::function<bool()>& stopRequested)
{
    begin(givenRoot, start);
    if (start.getId() != root.getId() && folderIsGone(startPath)) {
        reportMissingTree({start.getId(), startPath, {}});
        return true;
    }
    const bool topLevel = root.getFolderOption() == config::TopLevelOnly;
    const auto depth = topLevel ? DirectoryWalk::Depth::TopLevel : DirectoryWalk::Depth::All;
    DirectoryWalk walk(
        startPath, depth, [this](const TreeProblem& problem) { handler.problem(problem); },
        ignored);
    while (!stopRequested()) {
        DirectoryWalk::Folder* const found = walk.next();
        if (!found)
            return true;
        const auto status = found->isOpen() ? statusOf(found->descriptor) : std::nullopt;
        if (backupFolder && idOf(status) == backupFolder)
            continue;
        if (!compare(*found, status, stopRequested))
            return false;
    }
    return false;
}

void TreeComparison::Run::begin(
    const FolderConfiguration& givenRoot, const FolderConfiguration& start)
{
    root = givenRoot;
    startPath = start.getClientPath();
    plan = {};
    moveSearch.reset();
    // A store of an older version that is only read does not have the tables.
    const bool hasTables =
        queries.number(u"SELECT count(*) FROM sqlite_master WHERE name = 'FileOnDisk'"_s) > 0;
    identifiesSome =
        hasTables && !store.isMoved &&
        queries.number(u"SELECT EXISTS (SELECT 1 FROM FileOnDisk) OR EXISTS (SELECT 1 FROM"
                       u" FolderOnDisk)"_s) > 0;
    if (moves.find && hasTables && !store.isMoved)
        moveSearch.emplace(queries, root, ignored, moves.hashes.get());
    folders.clear();
    folders.insert(
        startPath, {start.getId(), startPath,
                    start.getId() != root.getId() && identifiesSome
                        ? MoveSearch::stored(queries, start.getId(), true)
                        : std::nullopt});
}

bool TreeComparison::Run::compare(
    DirectoryWalk::Folder& found, const std::optional<base::FileStatus>& status,
    const std::function<bool()>& stopRequested)
{
    const bool isRoot = found.path == root.getClientPath();
    const auto identity = isRoot ? std::nullopt : identities.of(status, found.path);
    KnownFolder record = knownFolderAt(found.path);
    if (!readStates(found, stopRequested))
        return false;
    readRecordsOf(record.id, found);
    if (moveSearch && mayHaveMoved(record, identity, found)) {
        search(stopRequested);
        record = knownFolderAt(found.path);
        readRecordsOf(record.id, found);
    }
    Folder folder{found.path, record.id};
    const bool isStored = record.identity && identity && !differ(*record.identity, *identity) &&
                          (record.identity->createdNs || !identity->createdNs);
    if (!isStored)
        folder.unstoredIdentity = identity;
    handler.folderFound(folder);
    if (!compareFiles(found, stopRequested))
        return false;
    if (root.getFolderOption() != config::TopLevelOnly)
        compareSubfolders(record.id, found);
    return true;
}

TreeComparison::Run::KnownFolder TreeComparison::Run::knownFolderAt(const QString& path)
{
    if (const auto at = folders.find(path); at != folders.end()) {
        KnownFolder folder = *at;
        folders.erase(at);
        return folder;
    }
    KnownFolder folder{plan.movedTo(path, true), path, {}};
    if (folder.id == -1) {
        // Also a folder whose record has another parent than the one on the disk.
        const QString recorded = plan.recordedPath(path);
        const auto query = queries.select(
            u"SELECT id FROM FolderConfiguration WHERE clientPath = :clientPath"_s,
            {{u":clientPath"_s, recorded}});
        const bool found = query->next();
        queries.check(*query);
        if (found && plan.newPath(recorded) == path)
            folder.id = query->value(0).toInt();
    }
    if (folder.id != -1 && identifiesSome)
        folder.identity = MoveSearch::stored(queries, folder.id, true);
    return folder;
}

void TreeComparison::Run::readRecordsOf(int folderId, const DirectoryWalk::Folder& found)
{
    readKnownFiles(folderId);
    match(found);
    subfolders = folderId == -1 || root.getFolderOption() == config::TopLevelOnly
                     ? std::vector<KnownFolder>()
                     : readSubfolders(folderId);
}

bool TreeComparison::Run::readStates(
    const DirectoryWalk::Folder& found, const std::function<bool()>& stopRequested)
{
    states.clear();
    states.reserve(found.entries.size());
    for (const DirectoryWalk::Entry& entry : found.entries) {
        if (stopRequested())
            return false;
        EntryState& entryState = states.emplace_back();
        if (!entry.regular)
            continue;
        entryState.state = readFileState(found.descriptor, entry.name.c_str());
        entryState.error = entryState.state ? 0 : errno;
    }
    return true;
}

// True if something here is worth a search: it is recorded elsewhere, or its record is not here.
bool TreeComparison::Run::mayHaveMoved(
    const KnownFolder& folder, const std::optional<DiskIdentity>& identity,
    DirectoryWalk::Folder& found)
{
    if (identifiesSome && identity && folder.id == -1 &&
        moveSearch->isRecordedElsewhere(*identity, true, found.path))
        return true;
    if (identity && folder.identity && differ(*folder.identity, *identity))
        return true;
    for (size_t at = 0; at < states.size(); ++at) {
        if (isRecordedElsewhere(found, at))
            return true;
    }
    if (!found.complete)
        return false;
    const bool fileMissed = std::any_of(positions.cbegin(), positions.cend(), [this](size_t at) {
        const bool isKnown = known[at].identity || !known[at].checkSum.isEmpty();
        return !seen[at] && isKnown && fileIsGone(known[at].clientPath);
    });
    return fileMissed || std::any_of(
                             subfolders.begin(), subfolders.end(),
                             [](const KnownFolder& child) { return folderIsGone(child.path); });
}

bool TreeComparison::Run::isRecordedElsewhere(const DirectoryWalk::Folder& found, size_t at)
{
    const auto& [state, error, position] = states[at];
    if (!identifiesSome || !state || !state->regular)
        return false;
    // Two that were made at one time and have one size may have exchanged their names.
    const KnownFile* const record = position ? &known[*position] : nullptr;
    if (record && record->matches(*state) &&
        (!record->identity || record->identity->fileId == qint64(state->inode)))
        return false;
    const QString path =
        joinPath(found.path, textOfName(found.entries[at].name).value_or(QString()));
    return moveSearch->isRecordedElsewhere(
        identities.of({state->device, state->inode}, state->createdNs, found.path), false, path);
}

void TreeComparison::Run::search(const std::function<bool()>& stopRequested)
{
    const MovePlan found = moveSearch->run(startPath, stopRequested);
    moveSearch.reset();
    if (!found.isEmpty() && !handler.moved(found))
        plan = found;
    // The paths of those that are not visited yet may be others.
    folders.clear();
}

bool TreeComparison::Run::compareFiles(
    const DirectoryWalk::Folder& found, const std::function<bool()>& stopRequested)
{
    const bool besideDatabase = ownFolder && idOf(statusOf(found.descriptor)) == ownFolder;
    for (size_t at = 0; at < found.entries.size(); ++at) {
        if (stopRequested())
            return false;
        const QString name = textOfName(found.entries[at].name).value_or(QString());
        if (!besideDatabase || !base::isDatabaseFileName(name, ownName))
            compareEntry(found, at);
    }
    if (!found.complete)
        return true;
    for (size_t at = 0; at < known.size(); ++at) {
        if (!seen[at] && fileIsGone(known[at].clientPath))
            handler.fileMissing(known[at]);
    }
    return true;
}

void TreeComparison::Run::compareEntry(const DirectoryWalk::Folder& found, size_t at)
{
    const DirectoryWalk::Entry& entry = found.entries[at];
    const auto& [state, error, position] = states[at];
    if (position) {
        handler.fileFound(known[*position].clientPath, *state, known[*position]);
        return;
    }
    const QString path = joinPath(found.path, textOfName(entry.name).value_or(QString()));
    if (!entry.regular || (state && !state->regular)) {
        handler.entrySkipped(path);
        return;
    }
    if (!state) {
        // A known file that vanished since the folder was read is missing.
        if (!base::isGone(error))
            handler.problem({TreeProblem::Kind::InaccessibleFile, path.toUtf8(), error});
        return;
    }
    handler.fileFound(path, *state);
}

void TreeComparison::Run::match(const DirectoryWalk::Folder& found)
{
    for (size_t at = 0; at < states.size(); ++at) {
        EntryState& entry = states[at];
        entry.position.reset();
        if (!entry.state || !entry.state->regular)
            continue;
        entry.position = positionOf(found, found.entries[at].name);
        if (entry.position)
            seen[*entry.position] = true;
    }
}

// The record of an entry, which may have moved here.
std::optional<size_t> TreeComparison::Run::positionOf(
    const DirectoryWalk::Folder& found, const std::string& name)
{
    const QString path = joinPath(found.path, textOfName(name).value_or(QString()));
    if (const auto exact = positions.constFind(path); exact != positions.cend())
        return *exact;
    if (const int id = plan.movedTo(path, false); id != -1) {
        const auto query = queries.select(SelectFileOnDisk, {{u":id"_s, id}});
        const bool exists = query->next();
        queries.check(*query);
        if (exists) {
            known.push_back(knownFileIn(*query, nullptr));
            known.back().clientPath = path;
            seen.push_back(true);
            return known.size() - 1;
        }
    }
    return positionInOtherForm(found, name, path);
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

void TreeComparison::Run::compareSubfolders(int folderId, DirectoryWalk::Folder& found)
{
    if (folderId == -1)
        return;
    QSet<QString> present;
    for (const DirectoryWalk::Subfolder& child : found.folders)
        present.insert(child.path);
    std::optional<ComposedNames> forms;
    for (const KnownFolder& child : std::exchange(subfolders, {})) {
        if (present.contains(child.path) || takeForm(child.path, found, forms))
            folders.insert(child.path, child);
        else if (found.complete && folderIsGone(child.path))
            reportMissingTree(child);
    }
}

void TreeComparison::Run::reportMissingTree(const KnownFolder& top)
{
    std::vector<KnownFolder> pending{top};
    // In a damaged table a folder may be below itself.
    QSet<int> visited;
    while (!pending.empty()) {
        const KnownFolder folder = std::move(pending.back());
        pending.pop_back();
        if (visited.contains(folder.id))
            continue;
        visited.insert(folder.id);

        handler.folderMissing({folder.path, folder.id});
        readKnownFiles(folder.id);
        for (const KnownFile& file : known)
            handler.fileMissing(file);
        for (KnownFolder& child : readSubfolders(folder.id))
            pending.push_back(std::move(child));
    }
}

void TreeComparison::Run::readKnownFiles(int folderId)
{
    known.clear();
    positions.clear();
    otherForms.reset();
    if (folderId != -1) {
        const auto query = queries.select(
            identifiesSome ? SelectFilesOnDisk : SelectFiles,
            {{u":folderConfigurationId"_s, folderId}});
        const auto* const typed = dynamic_cast<const interf::IQSqlTypedQuery*>(query.get());
        while (query->next()) {
            KnownFile file = knownFileIn(*query, typed);
            if (plan.holds(file.id, false))
                continue;
            file.clientPath = plan.newPath(file.clientPath);
            positions.insert(file.clientPath, known.size());
            known.push_back(std::move(file));
        }
        // With rows missing, known files would look new, and folders empty.
        queries.check(*query);
    }
    seen.assign(known.size(), false);
}

std::vector<TreeComparison::Run::KnownFolder> TreeComparison::Run::readSubfolders(int folderId)
{
    const auto query = queries.select(
        identifiesSome ? SelectSubfoldersOnDisk : SelectSubfolders, {{u":parentId"_s, folderId}});
    std::vector<KnownFolder> found;
    while (query->next()) {
        KnownFolder folder{query->value(0).toInt(), plan.newPath(query->value(1).toString()), {}};
        if (plan.holds(folder.id, true))
            continue;
        folder.identity = identityIn(*query, 2);
        found.push_back(std::move(folder));
    }
    queries.check(*query);
    return found;
}

} // namespace sync::tree
