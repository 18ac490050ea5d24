#include <velmioctl/tree/Status.h>

#include <base/FilePaths.h>
#include <interf/IQSqlQueryWrapper.h>
#include <velmioctl/cli/Progress.h>
#include <velmioctl/cli/Text.h>
#include <velmioctl/store/Session.h>
#include <velmioctl/store/WatchedDatabase.h>
#include <velmioctl/tree/IgnoreFile.h>
#include <velmioctl/tree/TreeTexts.h>

#include <algorithm>
#include <array>

using namespace Qt::StringLiterals;
using sync::config::FolderConfiguration;
using sync::tree::FileHash;
using sync::tree::FileState;
using sync::tree::KnownFile;
using sync::tree::RootPlace;
using sync::tree::RootState;
using sync::tree::TreeComparison;

namespace velmioctl {

namespace {

const QString Known = u"known"_s;
const QString New = u"new"_s;
const QString Modified = u"modified"_s;
const QString Missing = u"missing"_s;

constexpr qsizetype KindColumns = 10;

// With their names in JSON.
constexpr std::array<std::pair<long long StatusCounts::*, const char*>, 10> StatusCounters{
    {{&StatusCounts::files, "files"},
     {&StatusCounts::added, "new"},
     {&StatusCounts::modified, "modified"},
     {&StatusCounts::missing, "missing"},
     {&StatusCounts::moved, "moved"},
     {&StatusCounts::outOfSync, "outOfSync"},
     {&StatusCounts::newFolders, "newFolders"},
     {&StatusCounts::missingFolders, "missingFolders"},
     {&StatusCounts::skipped, "skipped"},
     {&StatusCounts::problems, "problems"}}};

Colour colourOf(const QString& kind)
{
    if (kind == New)
        return Colour::Green;
    return kind == Missing ? Colour::Red : Colour::Yellow;
}

QString nameOf(const QString& path)
{
    return path.mid(path.lastIndexOf(u'/') + 1);
}

} // namespace

StatusCounts& StatusCounts::operator+=(const StatusCounts& other)
{
    for (const auto& [counter, name] : StatusCounters)
        this->*counter += other.*counter;
    rootState = std::max(rootState, other.rootState);
    return *this;
}

bool StatusCounts::clean() const
{
    return added + modified + missing + moved + newFolders + missingFolders + problems == 0 &&
           rootState == RootState::Present;
}

QJsonObject StatusCounts::toJson() const
{
    QJsonObject object{
        {u"rootMissing"_s, rootState == RootState::Missing},
        {u"rootState"_s, wordFor(rootState)},
        {u"clean"_s, clean()}};
    for (const auto& [counter, name] : StatusCounters)
        object.insert(QLatin1StringView(name), this->*counter);
    return object;
}

RecordCounts countRecords(WatchedDatabase& database, const Subtree& tree)
{
    const QString below = sync::base::joinPath(tree.start.getClientPath(), QString());
    const auto query = database.select(
        u"SELECT count(*), count(CASE WHEN syncStatus = :syncStatus THEN 1 END)"
        u" FROM FileConfiguration WHERE rootFolderId = :rootFolderId"
        u" AND substr(clientPath, 1, length(:below)) = :sameBelow"_s,
        {{u":syncStatus"_s, int(sync::config::FileNotSynced)},
         {u":rootFolderId"_s, tree.root.getId()},
         {u":below"_s, below},
         {u":sameBelow"_s, below}});
    query->next();
    database.check();
    return {query->value(0).toLongLong(), query->value(1).toLongLong()};
}

Status::Status(
    Session& session, Progress& progress, bool summary, bool moves, QString ignored,
    std::function<bool()> stopRequested)
    : session(session)
    , progress(progress)
    , summary(summary)
    , findsMoves(moves)
    , ignored(std::move(ignored))
    , stopRequested(std::move(stopRequested))
{
}

bool Status::run(const FolderConfiguration& root, const FolderConfiguration& start)
{
    current = {};
    folderArray = {};
    moveArray = {};
    folder = {};
    folderShown = false;
    names.clear();
    rootId = root.getId();
    current.outOfSync = countRecords(session.database(), {root, start}).outOfSync;
    bool toItsEnd = true;
    try {
        toItsEnd = compare(root, start);
    } catch (const sync::database::DatabaseError& error) {
        session.database().fail(error);
    }
    endFolder();
    progress.clear();
    if (current.rootState != RootState::Present)
        session.output.error({ExitCode::Findings, describe(current.rootState, root)});
    return toItsEnd;
}

bool Status::compare(const FolderConfiguration& root, const FolderConfiguration& start)
{
    current.rootState = RootPlace(session.treeStore(), root).state();
    return current.rootState != RootState::Present ||
           TreeComparison(
               session.treeStore(), *this, ignoreRule(ignored, root.getClientPath()),
               {.find = findsMoves})
               .run(root, start, stopRequested);
}

bool Status::moved(const sync::tree::MovePlan& plan)
{
    endFolder();
    for (const sync::tree::Move& move : plan.moves()) {
        ++current.moved;
        if (session.output.json()) {
            moveArray.append(QJsonObject{
                {u"id"_s, move.id},
                {u"kind"_s, move.isFolder ? u"folder"_s : u"file"_s},
                {u"from"_s, move.from},
                {u"to"_s, move.to}});
        } else if (!summary) {
            progress.clear();
            const QString label =
                coloured(u"moved"_s, Colour::Yellow, session.output.answerTerminal());
            session.output.printLines(
                label + u' ' + escapeControls(move.from) + u" -> "_s + escapeControls(move.to) +
                u'\n');
        }
    }
    return false;
}

void Status::folderFound(const Folder& found)
{
    const bool isNew = found.id == -1;
    beginFolder(found, isNew ? New : Known);
    if (!isNew)
        return;
    ++current.newFolders;
    showFolder();
}

void Status::folderMissing(const Folder& missing)
{
    beginFolder(missing, Missing);
    ++current.missingFolders;
    showFolder();
}

void Status::fileFound(const QString& path, const FileState&)
{
    ++current.files;
    ++current.added;
    report(New, path);
}

void Status::fileFound(const QString& path, const FileState& state, const KnownFile& known)
{
    ++current.files;
    if (progress.due())
        progress.show(u"%1 files: %2"_s.arg(QString::number(current.files), path));
    if (!isModified(path, state, known))
        return;
    ++current.modified;
    report(Modified, path);
}

void Status::fileMissing(const KnownFile& known)
{
    ++current.missing;
    report(Missing, known.clientPath);
}

void Status::entrySkipped(const QString&)
{
    ++current.skipped;
}

void Status::problem(const sync::tree::TreeProblem& problem)
{
    warn(describe(problem));
}

bool Status::isModified(const QString& path, const FileState& state, const KnownFile& known)
{
    if (known.matches(state))
        return false;
    // Without a checksum, size and times decide.
    if (state.size != known.size || known.checkSum.isEmpty())
        return true;
    const FileHash hash = hashFile(path, state);
    if (hash.outcome != FileHash::Outcome::Unreadable)
        return hash.checkSum != known.checkSum;
    warn(u"The file %1 cannot be read, so it is not known whether it was modified. Change its "
         u"permissions, and run the command again."_s.arg(quoted(path)));
    return false;
}

void Status::beginFolder(const Folder& next, const QString& state)
{
    endFolder();
    folder = next;
    folderState = state;
}

void Status::endFolder()
{
    if (std::exchange(folderShown, false) && session.output.json()) {
        const auto outOfSync = session.database().number(
            u"SELECT count(*) FROM FileConfiguration WHERE folderConfigurationId = "
            u":folderConfigurationId AND syncStatus = :syncStatus"_s,
            {{u":folderConfigurationId"_s, folder.id},
             {u":syncStatus"_s, int(sync::config::FileNotSynced)}});
        folderArray.append(QJsonObject{
            {u"id"_s, folder.id},
            {u"clientPath"_s, folder.path},
            {u"state"_s, folderState},
            {u"new"_s, QJsonArray::fromStringList(names.value(New))},
            {u"modified"_s, QJsonArray::fromStringList(names.value(Modified))},
            {u"missing"_s, QJsonArray::fromStringList(names.value(Missing))},
            {u"outOfSync"_s, outOfSync},
        });
    }
    names.clear();
}

void Status::showFolder()
{
    if (summary)
        return;
    if (std::exchange(folderShown, true) || session.output.json())
        return;
    progress.clear();
    const QString note = folderState == Known ? QString() : u"  ("_s + folderState + u" folder)"_s;
    session.output.printText(escapeControls(folder.path) + note);
}

void Status::report(const QString& kind, const QString& path)
{
    if (summary)
        return;
    showFolder();
    if (session.output.json()) {
        names[kind].append(nameOf(path));
        return;
    }
    progress.clear();
    const QString label = coloured(kind, colourOf(kind), session.output.answerTerminal());
    const QString gap(KindColumns - kind.size(), u' ');
    session.output.printLines(u"  "_s + label + gap + escapeControls(nameOf(path)) + u'\n');
}

void Status::warn(const QString& text)
{
    ++current.problems;
    progress.clear();
    session.output.warning(text);
}

} // namespace velmioctl
