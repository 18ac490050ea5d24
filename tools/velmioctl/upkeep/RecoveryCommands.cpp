#include <velmioctl/upkeep/Commands.h>

#include <config/PasswordKeys.h>
#include <core/KeyError.h>
#include <database/DatabaseBackups.h>
#include <database/DatabaseError.h>
#include <database/SqliteDatabaseFactory.h>
#include <velmioctl/cli/CommandLine.h>
#include <velmioctl/cli/Table.h>
#include <velmioctl/cli/Text.h>
#include <velmioctl/store/Columns.h>
#include <velmioctl/store/Session.h>
#include <velmioctl/store/WatchedDatabase.h>

#include <QFileInfo>

using namespace Qt::StringLiterals;
using sync::config::PasswordKeys;
using sync::database::DatabaseBackups;
using sync::database::DatabaseError;
using sync::database::SqliteDatabaseFactory;

namespace velmioctl {

namespace {

struct RecoveryOptions
{
    std::string file;
    bool fromBackup = false;
    bool salvage = false;
    bool yes = false;
    bool otherStore = false;
};

template <class Action>
auto withDatabaseErrors(const Action& action)
{
    try {
        return action();
    } catch (const DatabaseError& error) {
        const CommandError failure = commandError(error);
        if (error.cause() != DatabaseError::Cause::AlteredSchema)
            throw CommandError(failure);
        throw CommandError(
            failure.code(),
            failure.text() + u" 'velmioctl doctor --fix --database FILE' removes what it can."_s,
            failure.cause());
    }
}

QJsonValue jsonPath(const QString& path)
{
    return path.isEmpty() ? QJsonValue() : QJsonValue(path);
}

void confirmOtherStore(Session& session, const QString& file, bool otherStore)
{
    if (!DatabaseBackups(session.databasePath()).isOfOtherStore(file))
        return;
    session.confirm(
        otherStore,
        u"%1 is a backup of another database than %2, which would become a second copy of that "
        u"one. Use it?"_s.arg(quoted(file), quoted(session.databasePath())),
        u"--other-store"_s);
}

// The user chose this backup, so its passwords are accepted even if they were encrypted before the
// last change of the key. They stay bound to their sign-ins and servers.
void takePasswordsOver(Session& session)
{
    const QString path = session.databasePath();
    try {
        const auto putBack = PasswordKeys(SqliteDatabaseFactory::openReadOnly(path)).putBackIds();
        if (putBack && putBack->isEmpty())
            return;
        const auto outcome = PasswordKeys(SqliteDatabaseFactory::open(path))
                                 .useCurrentKey(PasswordKeys::Accept::Earlier);
        if (outcome.succeeded) {
            session.output.note(
                u"Encrypted %1 of the backup again, because the key was changed since."_s.arg(
                    counted(outcome.encrypted, u"password"_s)));
            return;
        }
    } catch (const sync::core::crypto::KeyError& error) {
        session.output.warning(error.text());
    } catch (const DatabaseError& error) {
        session.output.warning(error.text());
    }
    session.output.warning(
        u"The passwords of the backup may be unreadable. 'velmioctl secrets verify' shows it, and "
        u"'velmioctl secrets rekey --accept-moved' reads them."_s);
}

void putInPlace(Session& session, const QString& file)
{
    const QString path = session.databasePath();
    const QString kept = withDatabaseErrors([&] {
        // confirmOtherStore() has asked.
        return DatabaseBackups(path).restore(file, DatabaseBackups::OtherStore::Allowed);
    });
    takePasswordsOver(session);
    if (session.output.json()) {
        session.output.print(QJsonObject{
            {u"path"_s, path}, {u"restoredFrom"_s, file}, {u"keptPath"_s, jsonPath(kept)}});
        return;
    }
    session.output.printText(
        u"Restored the database %1 from %2."_s.arg(quoted(path), quoted(file)));
    if (!kept.isEmpty())
        session.output.printText(u"The old file is kept as %1."_s.arg(quoted(kept)));
}

// "latest" is the newest intact backup beside the database; a file of that name is "./latest".
QString chosenBackup(Session& session, const std::string& file)
{
    if (file != "latest")
        return absolutePath(file);
    const DatabaseBackups backups(session.databasePath());
    const auto newest = withDatabaseErrors([&] { return backups.newestVerified(); });
    if (newest)
        return newest->path;
    throw CommandError(
        ExitCode::NotFound,
        u"There is no intact backup in %1. Name a backup from another place."_s.arg(
            quoted(backups.folder())));
}

void restore(Session& session, const RecoveryOptions& options)
{
    session.requireWriting();
    const QString file = chosenBackup(session, options.file);
    if (!QFileInfo::exists(file)) {
        throw CommandError(
            ExitCode::NotFound, u"The file %1 does not exist. 'velmioctl backup --list' shows the "
                                u"backups beside the database."_s.arg(quoted(file)));
    }
    withDatabaseErrors([&] { DatabaseBackups::verify(file); });
    confirmOtherStore(session, file, options.otherStore);
    session.confirm(
        options.yes,
        u"Replace the database %2 by %1? Changes since that backup are lost; the "
        u"present file is kept beside it."_s.arg(quoted(file), quoted(session.databasePath())));
    putInPlace(session, file);
}

void recoverFromBackup(Session& session, const RecoveryOptions& options)
{
    const DatabaseBackups backups(session.databasePath());
    const auto newest = backups.newestVerified();
    if (!newest) {
        throw CommandError(
            ExitCode::NotFound,
            u"No intact backup exists in %1. 'velmioctl restore FILE' uses one from another place, "
            u"and 'velmioctl recover --salvage' what can be read of the file."_s.arg(
                quoted(backups.folder())));
    }
    confirmOtherStore(session, newest->path, options.otherStore);
    const QString since = newest->hasImpossibleTime
                              ? u"that backup (its time is impossible: a clock was wrong)"_s
                              : newest->time.toString(Qt::ISODate);
    session.confirm(
        options.yes,
        u"Replace the database %2 by the backup %1? Changes since %3 are lost; the damaged file "
        u"is kept beside it."_s.arg(quoted(newest->path), quoted(session.databasePath()), since));
    putInPlace(session, newest->path);
}

QString missingIdsOf(const DatabaseBackups::SalvagedTable& table)
{
    if (table.unreadableIds.isEmpty())
        return table.complete ? u"none"_s : u"not known"_s;
    QStringList texts;
    for (const auto& [first, last] : table.unreadableIds) {
        if (last == HighestId)
            texts += u"%1 and later"_s.arg(first);
        else
            texts += first == last ? QString::number(first) : u"%1-%2"_s.arg(first).arg(last);
    }
    return texts.join(u", "_s);
}

QJsonObject objectOf(const DatabaseBackups::SalvagedTable& table)
{
    QJsonArray ranges;
    for (const auto& [first, last] : table.unreadableIds)
        ranges.append(QJsonArray{first, last});
    return {{u"rows"_s, table.rows}, {u"unreadableIds"_s, ranges}, {u"complete"_s, table.complete}};
}

void print(Session& session, const DatabaseBackups::Salvaged& salvaged)
{
    Table table({u"ROWS"_s, u"TABLE"_s, u"UNREADABLE IDS"_s});
    table.alignRight(0);
    QJsonObject tables;
    bool complete = true;
    for (const auto& entry : salvaged.tables) {
        table.addRow({QString::number(entry.rows), entry.name, missingIdsOf(entry)});
        tables.insert(entry.name, objectOf(entry));
        complete = complete && entry.complete;
    }
    session.exitCode = complete ? ExitCode::Ok : ExitCode::Findings;
    if (session.output.json()) {
        session.output.print(QJsonObject{
            {u"path"_s, session.databasePath()},
            {u"keptPath"_s, salvaged.keptPath},
            {u"complete"_s, complete},
            {u"tables"_s, tables},
        });
        return;
    }
    session.output.print(table);
    session.output.printText(
        u"The database %1 contains what could be read. The damaged file is kept as %2."_s.arg(
            quoted(session.databasePath()), quoted(salvaged.keptPath)));
}

void salvage(Session& session, bool yes)
{
    const QString path = session.databasePath();
    session.confirm(
        yes, u"Replace %1 by a new database with what can be read of it? The damaged file is kept "
             u"beside it."_s.arg(quoted(path)));
    print(session, withDatabaseErrors([&] { return DatabaseBackups(path).salvage(); }));
}

// Returns if the database is lost or damaged, or if that cannot be determined.
void requireDamage(Session& session)
{
    const QString path = session.databasePath();
    try {
        DatabaseBackups::verify(path);
    } catch (const DatabaseError& error) {
        // Opening it says what else is wrong.
        const auto cause = error.cause();
        if (cause == DatabaseError::Cause::TooNew || cause == DatabaseError::Cause::ForeignDatabase)
            session.database();
        return;
    }
    throw CommandError(
        ExitCode::Usage, u"The database %1 is intact and was not changed. 'velmioctl restore FILE' "
                         u"restores a backup."_s.arg(quoted(path)));
}

void recover(Session& session, const RecoveryOptions& options)
{
    if (options.fromBackup == options.salvage) {
        throw CommandError(
            ExitCode::Usage,
            u"Choose --from-backup, which replaces the damaged database by the newest whole "
            u"backup, or --salvage, which replaces it by a new one with what can be read of it."_s);
    }
    session.requireWriting();
    requireDamage(session);
    if (options.fromBackup)
        recoverFromBackup(session, options);
    else
        salvage(session, options.yes);
}

} // namespace

void addRecoveryCommands(Command& app, Session& session)
{
    const auto options = std::make_shared<RecoveryOptions>();
    Command* const restoreCommand =
        app.addSubcommand("restore", "Replace the database by a backup");
    restoreCommand
        ->addOption(
            "FILE", options->file, "The backup, or latest for the newest one beside the database")
        ->required()
        ->offersStored("backups");
    restoreCommand->addFlag("--yes", options->yes, "Restore without asking");
    restoreCommand->addFlag(
        "--other-store", options->otherStore, "Agree to a backup of another database");
    restoreCommand->example("velmioctl restore stick/velmio.db")
        ->example("velmioctl restore latest");
    restoreCommand->callback([&session, options] { restore(session, *options); });

    Command* const recoverCommand =
        app.addSubcommand("recover", "Replace a damaged database, which is kept beside it");
    recoverCommand->addFlag("--from-backup", options->fromBackup, "By the newest intact backup");
    recoverCommand->addFlag("--salvage", options->salvage, "By what can be read of it");
    recoverCommand->addFlag("--yes", options->yes, "Recover without asking");
    recoverCommand->addFlag(
        "--other-store", options->otherStore, "Agree to a backup of another database");
    recoverCommand->example("velmioctl recover --from-backup");
    recoverCommand->callback([&session, options] { recover(session, *options); });
}

} // namespace velmioctl
