#include <velmioctl/tree/Explanation.h>

#include <base/FileError.h>
#include <base/FilePaths.h>
#include <base/StoreFiles.h>
#include <base/system/Files.h>
#include <config/FolderConfigManager.h>
#include <config/ProductConfigManager.h>
#include <config/ScheduleEntryManager.h>
#include <config/ServerConfigManager.h>
#include <core/Constants.h>
#include <core/PathHelpers.h>
#include <interf/IQSqlQueryWrapper.h>
#include <tree/IgnoreRules.h>
#include <velmioctl/cli/Text.h>
#include <velmioctl/store/Session.h>
#include <velmioctl/store/WatchedDatabase.h>
#include <velmioctl/tree/IgnoreFile.h>
#include <velmioctl/tree/RootFolders.h>

#include <QFileInfo>
#include <QSet>

#include <array>
#include <cerrno>
#include <utility>

using namespace Qt::StringLiterals;
using sync::base::FileKind;
using sync::base::isGone;
using sync::base::Links;
using sync::config::FolderConfiguration;
using sync::tree::IgnoreRules;

namespace velmioctl {

namespace {

// On a disk that ignores case and normal forms, equal results are the same file.
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

/// What is on the disk between a folder and a path below it.
struct WalkedPath
{
    PathKind kind = PathKind::Missing;
    QString end; ///< The last place that was reached: the path, or a link or obstacle before it.
    int error = 0;
};

PathKind kindOf(FileKind kind)
{
    switch (kind) {
    case FileKind::File:
        return PathKind::File;
    case FileKind::Folder:
        return PathKind::Folder;
    case FileKind::Link:
        return PathKind::Link;
    default:
        return PathKind::Other;
    }
}

// Follows a link at `start`, because a root folder may be one.
WalkedPath walk(const QString& start, const QString& path)
{
    const QStringList names = path.mid(start.size()).split(u'/', Qt::SkipEmptyParts);
    QString at = start;
    for (qsizetype index = 0;; ++index) {
        const auto status = sync::base::statusOf(at, index == 0 ? Links::Follow : Links::Keep);
        if (!status)
            return {isGone(errno) ? PathKind::Missing : PathKind::Unreadable, at, errno};
        const PathKind kind = kindOf(status->kind);
        if (index == names.size() || kind == PathKind::Link)
            return {kind, at, 0};
        at = sync::base::joinPath(at, names.at(index));
    }
}

// In the order of their flags.
const std::array Rights{
    std::pair{sync::config::ViewPrivilege, u"see"_s},
    std::pair{sync::config::DownloadPrivilege, u"download"_s},
    std::pair{sync::config::UpdatePrivilege, u"change"_s},
    std::pair{sync::config::DeletePrivilege, u"delete"_s},
    std::pair{sync::config::SharePrivilege, u"share"_s}};

// The zone is not converted: columns hold clock readings of UTC.
QDateTime utcTimeOf(const QVariant& value)
{
    QDateTime time = value.toDateTime();
    time.setTimeSpec(Qt::UTC);
    return time;
}

QString scanCommand(const FolderConfiguration& root, const QString& options = {})
{
    return u"'velmioctl scan %1%2'"_s.arg(QString::number(root.getId()), options);
}

class Explainer
{
public:
    Explainer(Session& session, const QString& path, const IgnoreFile& ignored)
        : session(session)
        , ignored(ignored)
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
    bool hasRoot() const { return all.root.getId() != -1; }

    bool out(const QString& id, const QString& text, const QString& remedy = {})
    {
        add(id, text, remedy);
        return false;
    }
    void add(
        const QString& id, const QString& text, const QString& remedy = {},
        const QDateTime& since = {})
    {
        all.reasons.append({id, text, remedy, since});
    }

    void findRoot()
    {
        around = rootsAround(session.folders(), all.path);
        database.check();
        for (const FolderConfiguration& root : around) {
            if (!isIn(root.getClientPath(), all.path))
                continue;
            all.root = root;
            break;
        }
        walked = walk(hasRoot() ? all.root.getClientPath() : parentOf(all.path), all.path);
        all.kind = walked.kind;
    }

    void findRecords()
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

    void addFiles(const QString& table, int type)
    {
        const auto query = database.select(
            u"SELECT id, productConfigurationId, syncOption, privileges, lastOperationTime FROM "_s +
                table + u" WHERE clientPath = :clientPath ORDER BY id"_s,
            {{u":clientPath"_s, all.path}});
        while (query->next())
            all.files.append(
                {query->value(0).toInt(), type, query->value(1).toInt(), query->value(2).toInt(),
                 query->value(3).toInt(), utcTimeOf(query->value(4))});
        database.check();
    }

    void judge()
    {
        all.inside = judgeRoot() && judgePlace() && judgeRules() && judgeDisk();
        if (!all.inside)
            return;
        if (all.path == all.root.getClientPath())
            add(u"inside"_s, u"It is the root folder %1."_s.arg(described(all.root)));
        else
            add(u"inside"_s, u"It is in the root folder %1."_s.arg(described(all.root)));
        remark();
    }

    bool judgeRoot()
    {
        if (hasRoot())
            return true;
        if (!around.isEmpty()) {
            const QString rootPath = around.first().getClientPath();
            const QString spelled = rootPath + all.path.mid(rootPath.size());
            return out(
                u"other-case"_s,
                u"Its case differs from that of the root folder %1, and records hold paths as they "
                u"are spelled on the disk."_s.arg(described(around.first())),
                u"Spell it like the root: 'velmioctl explain %1'."_s.arg(quoted(spelled)));
        }
        const QString real = QFileInfo(all.path).canonicalFilePath();
        if (!real.isEmpty() && real != all.path &&
            !rootsAround(session.folders(), real).isEmpty()) {
            return out(
                u"link"_s,
                u"It is reached through a link to %1, and links are not followed."_s.arg(
                    quoted(real)),
                u"See 'velmioctl explain %1'."_s.arg(quoted(real)));
        }
        const auto below = rootsBelow(session.folders(), all.path);
        const QString folder = walked.kind == PathKind::File ? parentOf(all.path) : all.path;
        return out(
            u"no-root"_s, u"It is not in a root folder."_s,
            below.isEmpty()
                ? u"To synchronise it, register a root folder with 'velmioctl folder add %1 "
                  u"--server-path PATH'."_s.arg(quoted(folder))
                : u"It contains the root folder %1, so it cannot become a root folder. Register "
                  u"other folders."_s.arg(described(below.first())));
    }

    bool judgePlace()
    {
        const QString& scratch = sync::core::consts::TEMP_FOLDER_NAME;
        if (all.path.contains(scratch, Qt::CaseInsensitive)) {
            return out(
                u"scratch-folder"_s,
                u"It is in the client's scratch folder, which is never synchronised."_s,
                u"Move it to a folder without %1 in its path."_s.arg(quoted(scratch)));
        }
        if (sync::base::isDatabaseFile(all.path, database.path())) {
            return out(
                u"own-file"_s,
                u"It belongs to the configuration database, which is never synchronised."_s);
        }
        const bool isRoot = all.path == all.root.getClientPath();
        const bool isDirect = parentOf(all.path) == all.root.getClientPath();
        const bool deep = !isRoot && (!isDirect || walked.kind == PathKind::Folder);
        if (all.root.getFolderOption() == sync::config::TopLevelOnly && deep) {
            return out(
                u"top-level-only"_s,
                u"Only the files directly in the root folder %1 are synchronised."_s.arg(
                    described(all.root)),
                u"To synchronise its subfolders too, run 'velmioctl folder set %1 --option "
                u"subfolders' and %2."_s.arg(
                    QString::number(all.root.getId()), scanCommand(all.root)));
        }
        return true;
    }

    bool judgeRules()
    {
        const auto rule = IgnoreRules(all.root.getClientPath(), ignored.read())
                              .ruleFor(all.path, walked.kind == PathKind::Folder);
        if (!rule)
            return true;
        return out(
            u"ignored"_s,
            u"The rule %1 in line %2 of %3 leaves it out."_s.arg(
                quoted(rule->text), QString::number(rule->line),
                quoted(QString::fromStdString(ignored.path.value_or(std::string())))),
            u"Change the rule, or rename the file or folder."_s);
    }

    bool judgeDisk()
    {
        switch (walked.kind) {
        case PathKind::Link: {
            const QString real = QFileInfo(all.path).canonicalFilePath();
            return out(
                u"link"_s, u"%1 is a link, and links are not followed."_s.arg(quoted(walked.end)),
                real.isEmpty() ? u"Replace it by a file or folder."_s
                               : u"Replace it by its target, or see 'velmioctl explain %1'."_s.arg(
                                     quoted(real)));
        }
        case PathKind::Other:
            return out(
                u"no-file"_s, u"It is a pipe, socket or device, not a file or folder."_s,
                u"It can stay, because a scan skips it."_s);
        case PathKind::Unreadable:
            return out(
                u"unreadable"_s,
                u"%1 is not accessible: %2."_s.arg(
                    quoted(walked.end), sync::base::systemErrorText(walked.error)),
                u"Change its permissions, and run the command again."_s);
        default:
            return true;
        }
    }

    // Why a path that is inside may still not be synchronised now.
    void remark()
    {
        remarkOverlap();
        remarkRecord();
        if (walked.kind == PathKind::Missing && walked.end == all.root.getClientPath()) {
            add(u"root-missing"_s, u"The root folder does not exist on the disk."_s,
                u"Connect its drive, or remove its records with 'velmioctl folder clean %1'."_s.arg(
                    all.root.getId()));
        } else if (walked.kind == PathKind::Missing && all.registered()) {
            add(u"gone"_s, u"It has a record, but does not exist on the disk."_s,
                u"Restore it, or remove its record with %1."_s.arg(
                    scanCommand(all.root, u" --prune"_s)),
                lastOperation());
        } else if (walked.kind == PathKind::Missing) {
            add(u"missing"_s,
                u"It does not exist on the disk yet. Once it exists, a scan registers it."_s);
        } else if (!all.registered()) {
            add(u"unregistered"_s, u"It has no record yet."_s,
                u"Register it with %1."_s.arg(scanCommand(all.root)));
        }
        if (all.folder.getRootId() != all.root.getId()) {
            add(u"other-root"_s,
                u"The record of the folder %1 belongs to the tree of another root, %2."_s.arg(
                    described(all.folder), QString::number(all.folder.getRootId())),
                u"See 'velmioctl doctor'."_s);
        }
    }

    // Roots around each other come from other programs and older versions.
    void remarkOverlap()
    {
        for (const FolderConfiguration& root : around) {
            if (root.getId() != all.root.getId() && isIn(root.getClientPath(), all.path)) {
                add(u"innermost-root"_s,
                    u"It is also in the root folder %1, but the innermost one decides."_s.arg(
                        described(root)));
            }
        }
    }

    QDateTime lastOperation() const
    {
        return all.files.isEmpty() ? all.folder.getLastOperationTime() : all.files.first().changed;
    }

    // What the record itself says: that of the file, or of the folder that the path is.
    void remarkRecord()
    {
        if (!all.registered())
            return;
        const bool isFile = !all.files.isEmpty();
        const int option = isFile ? all.files.first().syncOption : int(all.folder.getSyncOption());
        if (option != sync::config::DefaultSyncOption) {
            add(u"sync-option"_s,
                u"Its record has the sync option %1, whose meaning is the client's."_s.arg(option),
                {}, lastOperation());
        }
        const int privileges =
            isFile ? all.files.first().privileges : int(all.folder.getPrivileges());
        QStringList lacking;
        for (const auto& [flag, right] : Rights) {
            if ((privileges & flag) == 0)
                lacking += right;
        }
        if (!lacking.isEmpty()) {
            add(u"privileges"_s,
                u"The user has no right to %1 it on the server."_s.arg(lacking.join(u" or "_s)), {},
                lastOperation());
        }
    }

    void findWhatApplies()
    {
        all.serverPath =
            sync::core::GetServerPath(all.path, all.root.getClientPath(), all.root.getServerPath());
        findSignIn(all.folder.getAuthenticationId());
        const int fileProduct = all.files.isEmpty() ? -1 : all.files.first().productId;
        findProduct(fileProduct > 0 ? fileProduct : all.folder.getProductConfigurationId());
        findSchedule();
    }

    void findSignIn(int id)
    {
        all.signIn.id = id;
        // The manager would decrypt the password.
        const auto query = database.select(
            u"SELECT userName, domain, serverId FROM AuthenticationConfiguration WHERE id = :id"_s,
            {{u":id"_s, id}});
        all.signIn.exists = query->next();
        database.check();
        if (!all.signIn.exists)
            return;
        all.signIn.name = u"%1 on %2"_s.arg(
            quoted(query->value(0).toString()), quoted(query->value(1).toString()));
        all.server.id = query->value(2).toInt();
        const auto server = session.servers().GetServerConfigById(all.server.id);
        database.check();
        all.server.exists = server.getId() != -1;
        all.server.name = server.getAlias() + u", "_s + server.getWebServiceUrl();
    }

    void findProduct(int id)
    {
        all.product.id = id;
        const auto product = session.products().GetProductConfigurationById(id);
        database.check();
        all.product.exists = product.getId() != -1;
        all.product.name = product.getName();
    }

    void findSchedule()
    {
        // In a damaged table a folder may be below itself.
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

    void findOverlaps()
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

    void findServerOverlaps()
    {
        for (const FolderConfiguration& root : session.folders().GetAllRootFolders()) {
            if (root.getId() != all.root.getId() &&
                root.getAuthenticationId() == all.root.getAuthenticationId() &&
                serverPathsOverlap(root.getServerPath(), all.serverPath))
                all.overlaps.append({u"server"_s, root.getId(), root.getServerPath()});
        }
    }

    // Among the records beside it: on some disks they are the same file.
    void findOtherSpellings()
    {
        const int folderId = all.folderIsPath ? all.folder.getParentId() : all.folder.getId();
        const QString wanted = folded(all.path);
        for (
            const QString& sql :
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

    Session& session;
    const IgnoreFile& ignored;
    WatchedDatabase& database;
    Explanation all;
    WalkedPath walked;
    // The innermost first, also those that only match without regard to case.
    QVector<FolderConfiguration> around;
};

} // namespace

Explanation explain(Session& session, const QString& path, const IgnoreFile& ignored)
{
    return Explainer(session, path, ignored).explain();
}

} // namespace velmioctl
