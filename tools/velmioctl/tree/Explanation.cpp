#include <velmioctl/tree/Explanation.h>

#include <config/FolderConfigManager.h>
#include <config/ProductConfigManager.h>
#include <config/ScheduleEntryManager.h>
#include <config/ServerConfigManager.h>
#include <core/Constants.h>
#include <core/PathHelpers.h>
#include <interf/IQSqlQueryWrapper.h>
#include <velmioctl/cli/Text.h>
#include <velmioctl/store/OwnFiles.h>
#include <velmioctl/store/Session.h>
#include <velmioctl/store/WatchedDatabase.h>
#include <velmioctl/tree/DirectoryWalk.h>
#include <velmioctl/tree/FileState.h>
#include <velmioctl/tree/RootFolders.h>

#include <QFile>
#include <QFileInfo>
#include <QSet>

#include <cerrno>
#include <cstring>
#include <sys/stat.h>

using namespace Qt::StringLiterals;
using sync::config::FolderConfiguration;

namespace velmioctl {

namespace {

// No two of its folders have the same path on a disk that folds case and normal forms.
QString folded(const QString& path)
{
    return path.normalized(QString::NormalizationForm_C).toCaseFolded();
}

QString parentOf(const QString& path)
{
    return QFileInfo(path).absolutePath();
}

bool isIn(const QString& folder, const QString& path)
{
    return folder == path || sync::core::IsParentPath(folder, path);
}

/// What the disk has on the way from a folder down to a path.
struct Way
{
    PathKind kind = PathKind::Missing;
    QString end; ///< Where the way ended: the path, or a link, gap or obstacle before it.
    int error = 0;
};

PathKind kindOf(mode_t mode)
{
    if (S_ISREG(mode))
        return PathKind::File;
    if (S_ISDIR(mode))
        return PathKind::Folder;
    return S_ISLNK(mode) ? PathKind::Link : PathKind::Other;
}

// A link at `start` itself is followed: a root folder may be one.
Way follow(const QString& start, const QString& path)
{
    const QStringList names = path.mid(start.size()).split(u'/', Qt::SkipEmptyParts);
    QString at = start;
    for (qsizetype index = 0;; ++index) {
        struct stat status = {};
        const QByteArray name = QFile::encodeName(at);
        const int result =
            index == 0 ? ::stat(name.constData(), &status) : ::lstat(name.constData(), &status);
        if (result != 0) {
            return {isGone(errno) ? PathKind::Missing : PathKind::Unreadable, at, errno};
        }
        const PathKind kind = kindOf(status.st_mode);
        if (index == names.size() || kind == PathKind::Link)
            return {kind, at, 0};
        at = joinPath(at, names.at(index));
    }
}

QString scanCommand(const FolderConfiguration& root, const QString& options = {})
{
    return u"'velmioctl scan %1%2'"_s.arg(QString::number(root.getId()), options);
}

class Explainer
{
public:
    Explainer(Session& session, const QString& path)
        : session(session)
        , database(session.database())
    {
        all.path = path;
    }

    Explanation explain()
    {
        findRoot();
        findRecords();
        judge();
        if (all.inside)
            findWhatApplies();
        findOverlaps();
        return std::move(all);
    }

private:
    void findRoot();
    void findRecords();
    void addFiles(const QString& table, int type);
    void judge();
    bool judgeRoot();
    bool judgePlace();
    bool judgeWay();
    void remark();
    void findWhatApplies();
    void findSignIn(int id);
    void findProduct(int id);
    void findSchedule();
    void findOverlaps();
    void findServerOverlaps();
    void findOtherSpellings();

    bool hasRoot() const { return all.root.getId() != -1; }

    void add(const QString& id, const QString& text, const QString& remedy = {})
    {
        all.reasons.append({id, text, remedy});
    }
    bool out(const QString& id, const QString& text, const QString& remedy = {})
    {
        add(id, text, remedy);
        return false;
    }

    Session& session;
    WatchedDatabase& database;
    Explanation all;
    Way way;
    // The innermost first, also those that only match without regard to case.
    QVector<FolderConfiguration> around;
};

void Explainer::findRoot()
{
    around = rootsAround(session.folders(), all.path);
    database.check();
    for (const FolderConfiguration& root : around) {
        if (!isIn(root.getClientPath(), all.path))
            continue;
        all.root = root;
        break;
    }
    way = follow(hasRoot() ? all.root.getClientPath() : parentOf(all.path), all.path);
    all.kind = way.kind;
}

void Explainer::findRecords()
{
    addFiles(u"FileConfiguration"_s, sync::config::OrdinaryFile);
    addFiles(u"GeneratedFileConfiguration"_s, sync::config::GeneratedFile);
    addFiles(u"BaseFileConfiguration"_s, sync::config::BaseFile);
    const QString top = hasRoot() ? all.root.getClientPath() : all.path;
    for (QString at = all.path;; at = parentOf(at)) {
        all.folder = session.folders().GetFolderConfigurationByClientPath(at);
        database.check();
        if (all.folder.getId() != -1 || at == top)
            break;
    }
    all.folderIsPath = all.folder.getId() != -1 && all.folder.getClientPath() == all.path;
}

void Explainer::addFiles(const QString& table, int type)
{
    const auto query = database.select(
        u"SELECT id, productConfigurationId FROM "_s + table +
            u" WHERE clientPath = :clientPath ORDER BY id"_s,
        {{u":clientPath"_s, all.path}});
    while (query->next())
        all.files.append({query->value(0).toInt(), type, query->value(1).toInt()});
    database.check();
}

void Explainer::judge()
{
    all.inside = judgeRoot() && judgePlace() && judgeWay();
    if (!all.inside)
        return;
    if (all.path == all.root.getClientPath())
        add(u"inside"_s, u"It is the root folder %1."_s.arg(described(all.root)));
    else
        add(u"inside"_s, u"It lies in the root folder %1."_s.arg(described(all.root)));
    remark();
}

bool Explainer::judgeRoot()
{
    if (hasRoot())
        return true;
    if (!around.isEmpty()) {
        const QString rootPath = around.first().getClientPath();
        const QString spelled = rootPath + all.path.mid(rootPath.size());
        return out(
            u"other-case"_s,
            u"Its case differs from that of the root folder %1, whose records hold paths as they "
            u"are spelled on the disk."_s.arg(described(around.first())),
            u"Spell it as the root does: 'velmioctl explain %1'."_s.arg(quoted(spelled)));
    }
    const QString real = QFileInfo(all.path).canonicalFilePath();
    if (!real.isEmpty() && real != all.path && !rootsAround(session.folders(), real).isEmpty()) {
        return out(
            u"link"_s, u"It leads to %1 by a link, and links are not followed."_s.arg(quoted(real)),
            u"Ask for that place: 'velmioctl explain %1'."_s.arg(quoted(real)));
    }
    const auto below = rootsBelow(session.folders(), all.path);
    const QString folder = way.kind == PathKind::File ? parentOf(all.path) : all.path;
    return out(
        u"no-root"_s, u"It lies in no root folder."_s,
        below.isEmpty()
            ? u"To synchronise it, register a root folder with 'velmioctl folder add %1 "
              u"--server-path PATH'."_s.arg(quoted(folder))
            : u"It contains the root folder %1, so it cannot become one itself: register folders "
              u"beside that."_s.arg(described(below.first())));
}

bool Explainer::judgePlace()
{
    const QString& scratch = sync::core::consts::TEMP_FOLDER_NAME;
    if (all.path.contains(scratch, Qt::CaseInsensitive)) {
        return out(
            u"scratch-folder"_s,
            u"It lies in the client's scratch folder, which is never synchronised."_s,
            u"Move it to a place without %1 in its path."_s.arg(quoted(scratch)));
    }
    if (isDatabaseFile(all.path, database.path())) {
        return out(
            u"own-file"_s, u"It belongs to the configuration database itself, which is passed "
                           u"over."_s);
    }
    const bool isRoot = all.path == all.root.getClientPath();
    const bool isDirect = parentOf(all.path) == all.root.getClientPath();
    const bool deep = !isRoot && (!isDirect || way.kind == PathKind::Folder);
    if (all.root.getFolderOption() == sync::config::TopLevelOnly && deep) {
        return out(
            u"top-level-only"_s,
            u"The root folder %1 is registered for the files directly in it alone."_s.arg(
                described(all.root)),
            u"To synchronise its subfolders as well: 'velmioctl folder set %1 --option "
            u"subfolders', and %2."_s.arg(
                QString::number(all.root.getId()), scanCommand(all.root)));
    }
    return true;
}

bool Explainer::judgeWay()
{
    switch (way.kind) {
    case PathKind::Link: {
        const QString real = QFileInfo(all.path).canonicalFilePath();
        return out(
            u"link"_s, u"%1 is a link, and links are not followed."_s.arg(quoted(way.end)),
            real.isEmpty() ? u"Put a file or folder in its place."_s
                           : u"Put what it leads to in its place, or ask for that: 'velmioctl "
                             u"explain %1'."_s.arg(quoted(real)));
    }
    case PathKind::Other:
        return out(
            u"no-file"_s, u"It is a pipe, socket or device, and neither a file nor a folder."_s,
            u"Put it elsewhere, or leave it: it is passed over."_s);
    case PathKind::Unreadable:
        return out(
            u"unreadable"_s,
            u"%1 cannot be looked at: %2."_s.arg(
                quoted(way.end), QString::fromLocal8Bit(std::strerror(way.error))),
            u"Give yourself the right to, and ask again."_s);
    default:
        return true;
    }
}

// What keeps a path that is inside from being synchronised as it is now.
void Explainer::remark()
{
    if (way.kind == PathKind::Missing && way.end == all.root.getClientPath()) {
        add(u"root-missing"_s, u"The root folder is not on the disk."_s,
            u"Connect its drive, or remove it with 'velmioctl folder clean %1'."_s.arg(
                all.root.getId()));
    } else if (way.kind == PathKind::Missing && all.registered()) {
        add(u"gone"_s, u"It has a record, but is gone from the disk."_s,
            u"Put it back, or remove its record with %1."_s.arg(
                scanCommand(all.root, u" --prune"_s)));
    } else if (way.kind == PathKind::Missing) {
        add(u"missing"_s, u"There is nothing on the disk yet: what is made here will be "
                          u"synchronised once a scan has found it."_s);
    } else if (!all.registered()) {
        add(u"unregistered"_s, u"It has no record yet."_s,
            u"Register it with %1."_s.arg(scanCommand(all.root)));
    }
    if (all.folder.getRootId() != all.root.getId()) {
        add(u"other-root"_s,
            u"The record of the folder %1 belongs to the tree of another root, %2."_s.arg(
                described(all.folder), QString::number(all.folder.getRootId())),
            u"See what 'velmioctl doctor' says of it."_s);
    }
}

void Explainer::findWhatApplies()
{
    all.serverPath =
        sync::core::GetServerPath(all.path, all.root.getClientPath(), all.root.getServerPath());
    findSignIn(all.folder.getAuthenticationId());
    const int fileProduct = all.files.isEmpty() ? -1 : all.files.first().productId;
    findProduct(fileProduct > 0 ? fileProduct : all.folder.getProductConfigurationId());
    findSchedule();
}

void Explainer::findSignIn(int id)
{
    all.signIn.id = id;
    // The manager would decipher the password.
    const auto query = database.select(
        u"SELECT userName, domain, serverId FROM AuthenticationConfiguration WHERE id = :id"_s,
        {{u":id"_s, id}});
    all.signIn.exists = query->next();
    database.check();
    if (!all.signIn.exists)
        return;
    all.signIn.name =
        u"%1 on %2"_s.arg(quoted(query->value(0).toString()), quoted(query->value(1).toString()));
    all.server.id = query->value(2).toInt();
    const auto server = session.servers().GetServerConfigById(all.server.id);
    database.check();
    all.server.exists = server.getId() != -1;
    all.server.name = server.getAlias() + u", "_s + server.getWebServiceUrl();
}

void Explainer::findProduct(int id)
{
    all.product.id = id;
    const auto product = session.products().GetProductConfigurationById(id);
    database.check();
    all.product.exists = product.getId() != -1;
    all.product.name = product.getName();
}

void Explainer::findSchedule()
{
    // Folders of a damaged table may lie below themselves.
    QSet<int> visited;
    FolderConfiguration folder = all.folder;
    while (folder.getId() != -1 && !visited.contains(folder.getId())) {
        visited.insert(folder.getId());
        const auto id = database.number(
            u"SELECT id FROM Schedules WHERE folderConfigurationId = :id ORDER BY id LIMIT 1"_s,
            {{u":id"_s, folder.getId()}});
        if (id != 0) {
            all.schedule = session.schedules().GetScheduleEntryById(int(id));
            database.check();
            return;
        }
        folder = session.folders().GetFolderConfigurationById(folder.getParentId());
        database.check();
    }
    const auto schedule = session.schedules().GetDefaultScheduleEntry();
    database.check();
    if (schedule.getId() != -1)
        all.schedule = schedule;
}

void Explainer::findOverlaps()
{
    for (const FolderConfiguration& root : around) {
        if (root.getId() != all.root.getId())
            all.overlaps.append({u"around"_s, root.getId(), root.getClientPath()});
    }
    for (const FolderConfiguration& root : rootsBelow(session.folders(), all.path))
        all.overlaps.append({u"below"_s, root.getId(), root.getClientPath()});
    if (all.inside)
        findServerOverlaps();
    findOtherSpellings();
    database.check();
}

void Explainer::findServerOverlaps()
{
    for (const FolderConfiguration& root : session.folders().GetAllRootFolders()) {
        if (root.getId() != all.root.getId() &&
            root.getAuthenticationId() == all.root.getAuthenticationId() &&
            serverPathsOverlap(root.getServerPath(), all.serverPath))
            all.overlaps.append({u"server"_s, root.getId(), root.getServerPath()});
    }
}

// Among the records beside it: on some disks these are one file.
void Explainer::findOtherSpellings()
{
    const int folderId = all.folderIsPath ? all.folder.getParentId() : all.folder.getId();
    const QString wanted = folded(all.path);
    for (const QString& sql :
         {u"SELECT id, clientPath FROM FolderConfiguration WHERE parentId = :id AND parentId > 0"_s,
          u"SELECT id, clientPath FROM FileConfiguration WHERE folderConfigurationId = :id"_s}) {
        const auto query = database.select(sql, {{u":id"_s, folderId}});
        while (query->next()) {
            const QString other = query->value(1).toString();
            if (other != all.path && folded(other) == wanted)
                all.overlaps.append({u"spelling"_s, query->value(0).toInt(), other});
        }
        database.check();
    }
}

} // namespace

Explanation explain(Session& session, const QString& path)
{
    return Explainer(session, path).explain();
}

} // namespace velmioctl
