#include <velmioctl/upkeep/KeyPruning.h>

#include <base/FileError.h>
#include <base/PartialFile.h>
#include <base/system/Files.h>
#include <config/PasswordKeys.h>
#include <core/Crypto.h>
#include <database/DatabaseBackups.h>
#include <database/DatabaseError.h>
#include <database/SqliteDatabaseFactory.h>
#include <database/StoreInspection.h>
#include <velmioctl/cli/Table.h>
#include <velmioctl/cli/Text.h>
#include <velmioctl/store/Session.h>
#include <velmioctl/store/StoredPassword.h>
#include <velmioctl/store/WatchedDatabase.h>

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>

#include <algorithm>

using namespace Qt::StringLiterals;
using namespace sync::core::crypto;
using sync::config::PasswordKeys;
using sync::database::DatabaseBackups;
using sync::database::DatabaseError;
using sync::database::SqliteDatabaseFactory;
using sync::database::StoreInspection;

namespace velmioctl {

namespace {

/// A backup, and the keys that its passwords need.
struct KeyUser
{
    QString path;
    QSet<KeyId> keys;
    QString problem = {}; ///< Why it is left as it is.
};

/// An earlier key, and why it stays.
struct EarlierKey
{
    enum class Reason { Unused, Database, Backups, OtherDatabases, Recent };

    KeyId id;
    Reason reason = Reason::Unused;
    QStringList backups;
};

struct PruningPlan
{
    std::vector<EarlierKey> keys;
    QStringList rewritten;
    QStringList removed;
    QStringList problems; ///< Of backups that are left as they are.

    QSet<KeyId> neededByBackups() const;
    qsizetype dropped() const;
    bool isEmpty() const { return dropped() == 0 && rewritten.isEmpty() && removed.isEmpty(); }
};

QSet<KeyId> PruningPlan::neededByBackups() const
{
    QSet<KeyId> needed;
    for (const EarlierKey& key : keys) {
        if (!key.backups.isEmpty())
            needed.insert(key.id);
    }
    return needed;
}

qsizetype PruningPlan::dropped() const
{
    return std::count_if(keys.begin(), keys.end(), [](const EarlierKey& key) {
        return key.reason == EarlierKey::Reason::Unused;
    });
}

// For programs.
QString wordFor(EarlierKey::Reason reason)
{
    switch (reason) {
    case EarlierKey::Reason::Unused:
        return u"unused"_s;
    case EarlierKey::Reason::Database:
        return u"database"_s;
    case EarlierKey::Reason::Backups:
        return u"backups"_s;
    case EarlierKey::Reason::OtherDatabases:
        return u"other-databases"_s;
    case EarlierKey::Reason::Recent:
        return u"recent"_s;
    }
    Q_UNREACHABLE();
}

QString textFor(EarlierKey::Reason reason)
{
    switch (reason) {
    case EarlierKey::Reason::Unused:
        return u"unused"_s;
    case EarlierKey::Reason::Database:
        return u"used by passwords of this database"_s;
    case EarlierKey::Reason::Backups:
        return u"needed by backups"_s;
    case EarlierKey::Reason::OtherDatabases:
        return u"needed by other databases"_s;
    case EarlierKey::Reason::Recent:
        return u"replaced less than a day ago"_s;
    }
    Q_UNREACHABLE();
}

// One that may need any key.
KeyUser unreadable(const QString& path, const QString& reason)
{
    return {
        path,
        {KeyId()},
        reason + u" It may need any of the keys: remove it yourself if it is of no use."_s};
}

KeyUser userOf(const QString& path)
{
    try {
        const auto used = PasswordKeys(SqliteDatabaseFactory::openReadOnly(path)).usedKeys();
        if (!used)
            return unreadable(path, u"The backup %1 cannot be read."_s.arg(quoted(path)));
        // Its newest changes are not in the file, and a program may have it open.
        for (const QString& companion : {path + u"-wal"_s, path + u"-journal"_s}) {
            if (QFileInfo::exists(companion)) {
                return {
                    path, *used,
                    u"The backup %1 is left as it is, because %2 belongs to it, and a program may "
                    u"be using them."_s.arg(quoted(path), quoted(companion))};
            }
        }
        return {path, *used};
    } catch (const DatabaseError& error) {
        return unreadable(path, error.text());
    }
}

// Not the database itself, which would be removed or replaced while it is in use.
QString givenBackup(const std::string& given, const QString& database)
{
    using sync::base::Links;
    using sync::base::statusOf;
    QString path = absolutePath(given);
    const auto status = statusOf(path, Links::Follow);
    const auto own = statusOf(database, Links::Follow);
    if (status && own && status->id == own->id) {
        throw CommandError(
            ExitCode::Usage, u"%1 is the database itself. Name backups of it."_s.arg(quoted(path)));
    }
    return path;
}

// The backups beside the database, what a restore has replaced, and what the user names.
std::vector<KeyUser> usersOf(const QString& database, const KeyPruningOptions& options)
{
    QStringList paths;
    for (const auto& backup : DatabaseBackups(database).list())
        paths += backup.path;
    const QFileInfo file(database);
    for (const QFileInfo& kept : file.dir().entryInfoList(
             {file.fileName() + u"-replaced.*Z"_s}, QDir::Files | QDir::Hidden, QDir::Name))
        paths += kept.absoluteFilePath();
    for (const std::string& given : options.files)
        paths += givenBackup(given, database);
    paths.removeDuplicates();

    std::vector<KeyUser> users;
    for (const QString& path : paths)
        users.push_back(userOf(path));
    return users;
}

// Opening an older one for writing would migrate it.
bool canBeRewritten(const KeyUser& user)
{
    return StoreInspection(user.path).schemaVersion() == SqliteDatabaseFactory::schemaVersion();
}

bool needsEarlierKey(const KeyUser& user, const KeyRing& ring)
{
    const QList<KeyId> earlier = ring.ids().mid(1);
    return std::any_of(earlier.begin(), earlier.end(), [&user](const KeyId& id) {
        return user.keys.contains(id) || user.keys.contains(KeyId());
    });
}

// What stays of the backups after those that the options change.
std::vector<KeyUser> decide(
    const std::vector<KeyUser>& users, const KeyRing& ring, const KeyPruningOptions& options,
    PruningPlan& plan)
{
    std::vector<KeyUser> left;
    for (const KeyUser& user : users) {
        if (!needsEarlierKey(user, ring))
            continue;
        if (!user.problem.isEmpty()) {
            left.push_back(user);
            plan.problems += user.problem;
        } else if (options.rewriteBackups && canBeRewritten(user)) {
            plan.rewritten += user.path;
        } else if (options.removeBackups) {
            plan.removed += user.path;
        } else {
            left.push_back(user);
        }
    }
    return left;
}

PruningPlan planOf(Session& session, const KeyRing& ring, const KeyPruningOptions& options)
{
    PruningPlan plan;
    const auto used = session.passwordKeys().usedKeys();
    session.database().check(used.has_value(), u"Reading the stored passwords"_s);
    const auto users = decide(usersOf(session.databasePath(), options), ring, options, plan);
    const QSet<KeyId> others = ring.neededByStoresOtherThan(session.database().storeId());
    constexpr std::chrono::seconds Rest = PasswordKeys::DefaultKeyRest;
    const QSet<KeyId> rested = ring.retiredUntil(
        QDateTime::currentDateTimeUtc().addSecs(options.noRest ? 0 : -Rest.count()));
    for (const KeyId& id : ring.ids().mid(1)) {
        EarlierKey key{.id = id, .backups = {}};
        for (const KeyUser& user : users) {
            if (user.keys.contains(id) || user.keys.contains(KeyId()))
                key.backups += user.path;
        }
        using Reason = EarlierKey::Reason;
        if (used->contains(id) || used->contains(KeyId()))
            key.reason = Reason::Database;
        else if (!rested.contains(id))
            key.reason = Reason::Recent;
        else if (!options.force && !key.backups.isEmpty())
            key.reason = Reason::Backups;
        else if (!options.force && others.contains(id))
            key.reason = Reason::OtherDatabases;
        plan.keys.push_back(key);
    }
    return plan;
}

QJsonArray arrayOf(const QStringList& texts)
{
    return QJsonArray::fromStringList(texts);
}

void printJson(Session& session, const PruningPlan& plan, bool done)
{
    QJsonArray dropped;
    QJsonArray kept;
    for (const EarlierKey& key : plan.keys) {
        if (key.reason == EarlierKey::Reason::Unused) {
            dropped.append(keyText(key.id));
            continue;
        }
        kept.append(QJsonObject{
            {u"keyId"_s, keyText(key.id)},
            {u"reason"_s, wordFor(key.reason)},
            {u"backups"_s, arrayOf(key.backups)}});
    }
    session.output.print(QJsonObject{
        {u"dropped"_s, dropped},
        {u"kept"_s, kept},
        {u"rewritten"_s, arrayOf(plan.rewritten)},
        {u"removed"_s, arrayOf(plan.removed)},
        {u"done"_s, done},
    });
}

void show(Session& session, const PruningPlan& plan)
{
    if (session.output.json())
        return;
    Table table({u"EARLIER KEY"_s, u"STATE"_s, u"BACKUP"_s});
    table.keepWhole();
    for (const EarlierKey& key : plan.keys) {
        table.addRow({keyText(key.id), textFor(key.reason), key.backups.value(0)});
        for (const QString& backup : key.backups.mid(1))
            table.addRow({{}, {}, backup});
    }
    if (table.isEmpty())
        session.output.printText(u"There are no earlier keys in %1."_s.arg(keyPlace()));
    else
        session.output.print(table);
    for (const QString& path : plan.rewritten)
        session.output.printText(u"To encrypt again: %1"_s.arg(quoted(path)));
    for (const QString& path : plan.removed)
        session.output.printText(u"To remove: %1"_s.arg(quoted(path)));
}

void explainKept(Session& session, const PruningPlan& plan, const KeyPruningOptions& options)
{
    const auto isKept = [&plan](EarlierKey::Reason reason) {
        return std::any_of(plan.keys.begin(), plan.keys.end(), [reason](const EarlierKey& key) {
            return key.reason == reason;
        });
    };
    for (const QString& problem : plan.problems)
        session.output.warning(problem);
    using Reason = EarlierKey::Reason;
    if (isKept(Reason::Database)) {
        session.output.note(
            u"'velmioctl secrets rekey' encrypts the passwords of the database again; 'velmioctl "
            u"secrets verify' shows those that cannot be read."_s);
    }
    if (isKept(Reason::Backups)) {
        session.output.note(
            u"--rewrite-backups encrypts the passwords in these backups with the current key, and "
            u"--remove-backups removes them."_s);
    }
    if (isKept(Reason::Recent) && !options.noRest) {
        session.output.note(
            u"A program may still store a password with a key that was replaced less than a day "
            u"ago. Add --no-rest if none is running."_s);
    }
    if (isKept(Reason::OtherDatabases)) {
        session.output.note(
            u"Run 'velmioctl secrets rekey' on the other databases that use this key store. If "
            u"they do not exist any more, --force drops their keys."_s);
    }
}

QString questionOf(const PruningPlan& plan)
{
    return u"Drop %1, encrypt the passwords in %2 again, and remove %3? A dropped key cannot be "
           u"restored: other databases and backups, which this command does not know, could need "
           u"it."_s.arg(
               counted(plan.dropped(), u"key"_s), counted(plan.rewritten.size(), u"backup"_s),
               QString::number(plan.removed.size()));
}

// A whole new file that replaces the backup at once.
void rewrite(const QString& path)
{
    // Also that nobody else could have put it there.
    DatabaseBackups::verify(path);
    const QTemporaryDir folder(path + u".XXXXXX"_s);
    const QString copy = folder.filePath(u"copy.db"_s);
    if (!folder.isValid() || !QFile::copy(path, copy))
        throw sync::base::FileError(path, u"Cannot copy the backup"_s, errno);
    const auto outcome = PasswordKeys(SqliteDatabaseFactory::open(copy))
                             .useCurrentKey(PasswordKeys::Accept::Earlier);
    if (!outcome.succeeded || !outcome.unreadableIds.isEmpty()) {
        throw CommandError(
            ExitCode::Findings,
            u"The backup %1 was not changed, because it has passwords that cannot be read. "
            u"--remove-backups removes it."_s.arg(quoted(path)));
    }
    DatabaseBackups::verify(copy);
    QFile source(copy);
    if (!source.open(QIODevice::ReadOnly))
        throw sync::base::FileError(copy, u"Cannot read the copy"_s, errno);
    sync::base::PartialFile fresh(path);
    constexpr qint64 BlockBytes = 1 << 20;
    while (!source.atEnd())
        fresh.append(source.read(BlockBytes));
    fresh.publishOver();
}

// Leaves in the plan what was done. The other backups keep their keys.
void changeBackups(Session& session, PruningPlan& plan)
{
    for (const QString& path : std::exchange(plan.rewritten, {})) {
        try {
            rewrite(path);
            plan.rewritten += path;
        } catch (const CommandError& error) {
            session.output.warning(error.text());
        } catch (const DatabaseError& error) {
            session.output.warning(error.text());
        } catch (const sync::base::FileError& error) {
            session.output.warning(error.text());
        }
    }
    for (const QString& path : std::exchange(plan.removed, {})) {
        if (QFile::remove(path))
            plan.removed += path;
        else
            session.output.warning(u"The backup %1 could not be removed."_s.arg(quoted(path)));
    }
}

} // namespace

void pruneKeys(Session& session, const KeyPruningOptions& options)
{
    session.database();
    KeyRing ring = keyStore()->read();
    if (ring.isEmpty()) {
        throw CommandError(
            ExitCode::KeyUnavailable,
            u"There is no key in %1, so nothing can be dropped."_s.arg(keyPlace()));
    }
    PruningPlan plan = planOf(session, ring, options);
    show(session, plan);
    const bool changes = !options.dryRun && !plan.isEmpty();
    if (changes) {
        session.requireWriting();
        session.confirm(options.yes, questionOf(plan));
        changeBackups(session, plan);
        KeyPruningOptions without = options;
        without.rewriteBackups = without.removeBackups = false;
        PruningPlan after = planOf(session, keyStore()->read(), without);
        const QSet<KeyId> keep = options.force ? QSet<KeyId>() : after.neededByBackups();
        const auto others =
            options.force ? PasswordKeys::OtherStores::Ignore : PasswordKeys::OtherStores::Keep;
        const auto rest = options.noRest ? std::chrono::hours(0) : PasswordKeys::DefaultKeyRest;
        const int dropped = session.passwordKeys().dropUnusedKeys(rest, keep, others);
        session.database().check(dropped >= 0, u"Reading the stored passwords"_s);
        after.rewritten = plan.rewritten;
        after.removed = plan.removed;
        plan = after;
        if (!session.output.json())
            session.output.printText(u"Dropped %1."_s.arg(counted(dropped, u"key"_s)));
    }
    if (session.output.json())
        printJson(session, plan, changes);
    explainKept(session, plan, options);
}

} // namespace velmioctl
