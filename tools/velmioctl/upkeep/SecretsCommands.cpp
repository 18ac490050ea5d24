#include <velmioctl/upkeep/Commands.h>

#include <base/system/FileRights.h>
#include <config/PasswordContexts.h>
#include <config/PasswordKeys.h>
#include <core/Crypto.h>
#include <core/FileKeyStore.h>
#include <interf/IQSqlQueryWrapper.h>
#include <velmioctl/cli/CommandLine.h>
#include <velmioctl/cli/Table.h>
#include <velmioctl/cli/Text.h>
#include <velmioctl/store/Credentials.h>
#include <velmioctl/store/Session.h>
#include <velmioctl/store/StoredPassword.h>
#include <velmioctl/store/WatchedDatabase.h>
#include <velmioctl/upkeep/KeyPruning.h>

using namespace Qt::StringLiterals;
using namespace sync::core::crypto;

namespace velmioctl {

namespace {

/// The state of all stored passwords.
struct Verification
{
    Table table{{u"ID"_s, u"PASSWORD"_s, u"USER"_s, u"DOMAIN"_s, u"REASON"_s}};
    QJsonArray array;
    int ok = 0;
    int none = 0;
    int unreadable = 0;
    int unbound = 0;
    QStringList moved; ///< What 'rekey --accept-moved' would read.
    PasswordReader reader;
};

QJsonValue jsonOrNull(const QString& text)
{
    return text.isEmpty() ? QJsonValue() : QJsonValue(text);
}

// For programs; empty for a password that can be read.
QString reasonWord(StoredPassword::State state)
{
    switch (state) {
    case StoredPassword::State::NoKey:
        return u"no-key"_s;
    case StoredPassword::State::OtherKey:
        return u"other-key"_s;
    case StoredPassword::State::Damaged:
        return u"damaged"_s;
    case StoredPassword::State::UnknownVersion:
        return u"unknown-version"_s;
    case StoredPassword::State::OtherStore:
        return u"other-store"_s;
    case StoredPassword::State::OtherRecord:
        return u"other-record"_s;
    case StoredPassword::State::OtherServer:
        return u"other-server"_s;
    case StoredPassword::State::Outdated:
        return u"outdated"_s;
    default:
        return {};
    }
}

void addRow(
    Verification& all, const sync::interf::IQSqlQueryWrapper& row,
    const sync::config::PasswordContexts& contexts)
{
    const StoredPassword password = all.reader.read(
        row.value(3),
        contexts.of(row.value(2).toString(), row.value(1).toString(), row.value(4).toInt()));
    const bool isOk = password.state == StoredPassword::State::Ok;
    if (isOk && !password.bound)
        ++all.unbound;
    ++(password.isUnreadable() ? all.unreadable : isOk ? all.ok : all.none);
    const QString state = password.isUnreadable() ? u"unreadable"_s : isOk ? u"ok"_s : u"none"_s;
    const QString user = row.value(1).toString();
    const QString domain = row.value(2).toString();
    if (password.isDisplaced()) {
        all.moved += u"sign-in %1 (user %2, domain %3) of server %4 (%5, %6): %7"_s.arg(
            row.value(0).toString(), quoted(user), quoted(domain), row.value(4).toString(),
            quoted(urlWithoutCredentials(row.value(5).toString())),
            quoted(urlWithoutCredentials(row.value(6).toString())), password.reason);
    }
    all.array.append(QJsonObject{
        {u"id"_s, row.value(0).toInt()},
        {u"userName"_s, user},
        {u"domain"_s, domain},
        {u"state"_s, state},
        {u"reason"_s, jsonOrNull(reasonWord(password.state))},
        {u"keyId"_s, jsonOrNull(password.keyId)},
    });
    all.table.addRow({row.value(0).toString(), state, user, domain, password.reason});
}

Verification verifyAll(WatchedDatabase& database)
{
    Verification all;
    all.table.alignRight(0);
    const auto query = database.select(
        u"SELECT signIn.id, userName, domain, encryptedPassword, serverId, davUrl, webServiceUrl"
        u" FROM AuthenticationConfiguration AS signIn"
        u" LEFT JOIN ServerConfiguration AS server ON server.id = serverId ORDER BY signIn.id"_s);
    const sync::config::PasswordContexts contexts(database);
    while (query->next())
        addRow(all, *query, contexts);
    database.check();
    return all;
}

void verify(Session& session)
{
    const Verification all = verifyAll(session.database());
    if (session.output.json()) {
        session.output.print(QJsonObject{
            {u"ok"_s, all.ok},
            {u"none"_s, all.none},
            {u"unreadable"_s, all.unreadable},
            {u"passwords"_s, all.array},
        });
    } else {
        if (!all.table.isEmpty())
            session.output.print(all.table);
        session.output.printText(
            u"Passwords: %1 readable, %2 unreadable; sign-ins without a password: %3."_s.arg(all.ok)
                .arg(all.unreadable)
                .arg(all.none));
    }
    if (all.unbound > 0) {
        session.output.note(
            u"Passwords that an earlier version stored, and that can be moved unnoticed: %1. "
            u"'velmioctl secrets rekey' binds each one to its sign-in and server."_s.arg(
                all.unbound));
    }
    session.exitCode = all.unreadable == 0 ? ExitCode::Ok : ExitCode::Findings;
    all.reader.requireKey();
}

void printRekeyed(
    Session& session, const sync::config::PasswordKeys::Outcome& outcome, const KeyRing& ring)
{
    const qsizetype earlier = ring.ids().size() - 1;
    if (session.output.json()) {
        QJsonArray unreadable;
        for (const int id : outcome.unreadableIds)
            unreadable.append(id);
        session.output.print(QJsonObject{
            {u"encrypted"_s, outcome.encrypted},
            {u"unreadable"_s, unreadable},
            {u"currentKey"_s, keyText(ring.current().id())},
            {u"earlierKeys"_s, earlier},
        });
        return;
    }
    session.output.printText(u"Encrypted %1 with the key %2.\nEarlier keys kept in %3: %4."_s.arg(
        counted(outcome.encrypted, u"password"_s), keyText(ring.current().id()), keyPlace(),
        QString::number(earlier)));
}

/// What the commands below have been told.
struct SecretsOptions
{
    bool acceptMoved = false;
    bool yes = false;
};

// Throws CommandError unless the user agrees to each.
void confirmMoved(Session& session, const QStringList& moved, bool agreed)
{
    if (moved.isEmpty())
        return;
    session.output.note(
        u"Passwords that were moved, put back, or whose user or server was changed:\n%1"_s.arg(
            moved.join(u'\n')));
    session.confirm(
        agreed, u"Use each of them at the server where its sign-in is now? Agree only if you have "
                u"made these changes."_s);
}

void rekey(Session& session, const SecretsOptions& options)
{
    using Accept = sync::config::PasswordKeys::Accept;
    session.writableDatabase();
    const Verification before = verifyAll(session.database());
    // Without the current key all passwords would stay unreadable.
    before.reader.requireKey();
    if (options.acceptMoved) {
        confirmMoved(session, before.moved, options.yes);
        if (verifyAll(session.database()).moved != before.moved) {
            throw CommandError(
                ExitCode::Busy, u"Nothing was changed, because passwords or servers were changed "
                                u"since they were shown. Run the command again."_s);
        }
    }
    auto& keys = session.passwordKeys();
    session.database().check(keys.use(keyStore()), u"Reading the stored passwords"_s);
    session.backUp(sync::database::DatabaseBackups::Reason::Rekey);
    const auto outcome = keys.changeKey(options.acceptMoved ? Accept::Moved : Accept::Nothing);
    session.database().check(outcome.succeeded, u"Encrypting the passwords"_s);
    printRekeyed(session, outcome, keyStore()->read());
    if (outcome.unreadableIds.isEmpty())
        return;

    QStringList ids;
    for (const int id : outcome.unreadableIds)
        ids += QString::number(id);
    session.exitCode = ExitCode::Findings;
    session.output.warning(
        u"The passwords of these sign-ins cannot be read and were not changed: %1. See "
        u"'velmioctl secrets verify'."_s.arg(ids.join(u", "_s)));
}

void printPlace(
    Session& session, const QString& path, const QList<KeyId>& ids, const QString& withoutKey)
{
    const QString place = backendName(keyStore()->backend());
    const QString permissions = sync::base::permissionsOf(path);
    if (session.output.json()) {
        QJsonArray earlier;
        for (const KeyId& id : ids.mid(1))
            earlier.append(keyText(id));
        session.output.print(QJsonObject{
            {u"store"_s, place},
            {u"path"_s, jsonOrNull(path)},
            {u"permissions"_s, jsonOrNull(permissions)},
            {u"currentKey"_s, jsonOrNull(ids.isEmpty() ? QString() : keyText(ids.first()))},
            {u"earlierKeys"_s, earlier},
        });
        return;
    }
    FieldList fields;
    fields.add(u"store"_s, place);
    fields.add(u"path"_s, path);
    fields.add(
        u"permissions"_s, permissions.isEmpty() ? u"none: the file does not exist"_s : permissions);
    fields.add(u"current key"_s, ids.isEmpty() ? withoutKey : keyText(ids.first()));
    for (const KeyId& id : ids.mid(1))
        fields.add(u"earlier key"_s, keyText(id));
    session.output.print(fields);
}

void showPlace(Session& session)
{
    const auto store = keyStore();
    const auto* const file = dynamic_cast<const FileKeyStore*>(store.get());
    const QString path = file ? file->path() : QString();
    QList<KeyId> ids;
    try {
        ids = store->read().ids();
    } catch (const KeyError&) {
        // What is known helps to repair it.
        printPlace(session, path, {}, u"cannot be read"_s);
        throw;
    }
    printPlace(session, path, ids, u"none: it is created with the first password"_s);
}

void addPruneCommand(Command& secrets, Session& session)
{
    const auto options = std::make_shared<KeyPruningOptions>();
    Command* const prune = secrets.addSubcommand(
        "prune", "Drop the keys that nothing uses, and show what needs the others");
    prune->addOption("FILE", options->files, "Further backups, in other places")
        ->repeatable()
        ->offersFiles();
    prune->addFlag(
        "--rewrite-backups", options->rewriteBackups,
        "Encrypt the passwords in backups with the current key");
    prune->addFlag(
        "--remove-backups", options->removeBackups,
        "Remove backups that need an earlier key; with --rewrite-backups, the others");
    prune->addFlag(
        "--no-rest", options->noRest, "Also drop keys that were replaced less than a day ago");
    prune->addFlag(
        "--force", options->force, "Also drop keys that backups and other databases need");
    prune->addFlag("--dry-run", options->dryRun, "Show what would be dropped, and drop nothing");
    prune->addFlag("--yes", options->yes, "Drop without asking");
    prune->example("velmioctl secrets prune --dry-run");
    prune->example("velmioctl secrets prune --rewrite-backups");
    prune->callback([&session, options] { pruneKeys(session, *options); });
}

} // namespace

void addSecretsCommands(Command& app, Session& session)
{
    Command* const secrets =
        app.addSubcommand("secrets", "The keys that passwords are encrypted with");
    secrets->requireSubcommand();
    secrets
        ->addSubcommand("verify", "Show which stored passwords can be read, and why others cannot")
        ->example("velmioctl secrets verify --json")
        ->callback([&session] { verify(session); });
    const auto options = std::make_shared<SecretsOptions>();
    Command* const rekeyCommand =
        secrets->addSubcommand("rekey", "Create a new key, and encrypt all passwords with it");
    Option* const acceptMoved = rekeyCommand->addFlag(
        "--accept-moved", options->acceptMoved,
        "Also those that were moved or put back, for where they are now");
    rekeyCommand->addFlag("--yes", options->yes, "Accept them without asking")->needs(acceptMoved);
    rekeyCommand->example("velmioctl secrets rekey");
    rekeyCommand->callback([&session, options] { rekey(session, *options); });
    addPruneCommand(*secrets, session);
    secrets->addSubcommand("where", "Show where the keys are kept")
        ->example("velmioctl secrets where")
        ->callback([&session] { showPlace(session); });
}

} // namespace velmioctl
