#include <velmioctl/records/Commands.h>

#include <config/AuthenticationConfigManager.h>
#include <config/PasswordContexts.h>
#include <config/PasswordKeys.h>
#include <config/ServerConfiguration.h>
#include <core/Crypto.h>
#include <velmioctl/cli/CommandLine.h>
#include <velmioctl/cli/Text.h>
#include <velmioctl/records/SecretRecords.h>
#include <velmioctl/store/References.h>
#include <velmioctl/store/SecretInput.h>
#include <velmioctl/store/Session.h>
#include <velmioctl/store/StoredPassword.h>
#include <velmioctl/store/WatchedDatabase.h>

using namespace Qt::StringLiterals;
using sync::config::AuthenticationConfiguration;
using sync::core::crypto::SecretText;

namespace velmioctl {

namespace {

struct SignInOptions
{
    int id = -1;
    std::optional<int> server;
    FieldOptions fields{"AuthenticationConfiguration"};
    SecretInput password{"password"};
    bool reveal = false;
    bool yes = false;
};

SecretRecords records(Session& session)
{
    return {session, "AuthenticationConfiguration", session.signIns()};
}

ColumnValues signInById(Session& session, int id)
{
    session.requireSignIn(id);
    return records(session).byId(id);
}

QString named(const ColumnValues& signIn)
{
    return u"sign-in %1 (user %2, domain %3)"_s.arg(
        signIn["id"].toString(), quoted(signIn["userName"].toString()),
        quoted(signIn["domain"].toString()));
}

// The context of its password as the server is now.
sync::core::crypto::SecretContext contextOf(Session& session, const ColumnValues& signIn)
{
    return sync::config::PasswordContexts(session.database())
        .of(signIn["domain"].toString(), signIn["userName"].toString(), signIn["serverId"].toInt());
}

// In clear, null for none. Throws CommandError when it cannot be decrypted.
SecretText revealed(Session& session, const ColumnValues& signIn)
{
    PasswordReader reader;
    const StoredPassword password =
        reader.read(signIn["encryptedPassword"], contextOf(session, signIn));
    reader.requireKey();
    if (password.isUnreadable()) {
        throw CommandError(
            ExitCode::Findings,
            u"The password of the %1 cannot be read: %2. %4 with 'velmioctl signin password %3'."_s
                .arg(
                    named(signIn), password.reason, signIn["id"].toString(),
                    password.isDisplaced()
                        ? u"Check its user and its server, and then store it again"_s
                        : u"Store it again"_s));
    }
    return password.password;
}

void show(Session& session, const SignInOptions& options)
{
    const ColumnValues signIn = signInById(session, options.id);
    if (options.reveal)
        records(session).printRevealed(signIn, u"password"_s, revealed(session, signIn).toString());
    else
        records(session).print(signIn);
}

// Throws KeyError if another kind of store keeps the keys of the stored passwords, so that
// passwords are never encrypted with keys of two stores.
void prepareToEncrypt(Session& session)
{
    const auto store = sync::core::crypto::keyStore();
    const bool usable = session.passwordKeys().use(store);
    session.database().check(usable, u"Reading the stored passwords"_s);
    const long long stored = session.database().number(
        u"SELECT count(*) FROM AuthenticationConfiguration WHERE encryptedPassword IS NOT NULL"_s);
    if (stored > 0 && store->read().isEmpty()) {
        session.output.warning(
            u"%1 has lost its key, so a new key is created. Other stored passwords stay "
            u"unreadable: 'velmioctl secrets verify' lists them. Store them again "
            u"too."_s.arg(keyPlace()));
    }
}

// The client could not tell them apart.
void refuseNamesake(
    Session& session, int id, int serverId, const QString& domain, const QString& user)
{
    const long long namesake = session.database().number(
        u"SELECT id FROM AuthenticationConfiguration WHERE serverId = :serverId"
        u" AND domain = :domain AND userName = :userName AND id <> :id"_s,
        {{u":serverId"_s, serverId},
         {u":domain"_s, domain},
         {u":userName"_s, user},
         {u":id"_s, id}});
    if (namesake == 0)
        return;
    throw CommandError(
        ExitCode::Usage,
        u"Sign-in %1 is user %2 on domain %3 at that server already. Change it with 'velmioctl "
        u"signin set %1' or 'velmioctl signin password %1'."_s.arg(
            QString::number(namesake), quoted(user), quoted(domain)));
}

void add(Session& session, const SignInOptions& options)
{
    session.writableDatabase();
    SecretText password; // outlives the record, which only refers to it
    AuthenticationConfiguration signIn;
    options.fields.apply(&signIn);
    session.server(signIn.getServerId());
    refuseNamesake(session, -1, signIn.getServerId(), signIn.getDomain(), signIn.getUserName());
    signIn.setNameValueProperties(options.fields.properties({}));
    password = options.password.read(session);
    signIn.setPassword(password.view());

    prepareToEncrypt(session);
    session.database().check(session.signIns().Add(signIn), u"Storing the sign-in"_s);
    records(session).print(signInById(session, signIn.getId()));
}

// Binds the password to what the sign-in is now.
void bindPassword(
    Session& session, const ColumnValues& before, const StoredPassword& password,
    const ColumnValues& after)
{
    const QVariant& stored = before["encryptedPassword"];
    if (stored.isNull())
        return;
    requireToTakeAlong(password, named(before));
    if (password.isUnreadable()) {
        session.output.warning(
            u"The password of the %1 could not be read, so it stays as it was stored for the %2. "
            u"Store it again with 'velmioctl signin password %3'."_s.arg(
                named(after), named(before), after["id"].toString()));
        return;
    }
    prepareToEncrypt(session);
    session.database().change(
        u"UPDATE AuthenticationConfiguration SET encryptedPassword = :value WHERE id = :id"_s,
        {{u":value"_s,
          sync::core::crypto::Encrypt(password.password.view(), contextOf(session, after))},
         {u":id"_s, after["id"]}});
}

void set(Session& session, const SignInOptions& options)
{
    session.writableDatabase();
    Transaction transaction(session.database());
    const ColumnValues before = signInById(session, options.id);
    const StoredPassword password =
        PasswordReader().read(before["encryptedPassword"], contextOf(session, before));
    if (const QVariant server = options.fields.value("serverId"); server.isValid())
        session.server(server.toInt());
    records(session).change(before, options.fields);
    const ColumnValues after = signInById(session, options.id);
    const auto isOther = [&](const char* column) { return before[column] != after[column]; };
    if (isOther("serverId") || isOther("domain") || isOther("userName")) {
        refuseNamesake(
            session, options.id, after["serverId"].toInt(), after["domain"].toString(),
            after["userName"].toString());
        bindPassword(session, before, password, after);
    }
    transaction.commit();
    records(session).print(after);
}

void changePassword(Session& session, const SignInOptions& options)
{
    session.writableDatabase();
    const ColumnValues signIn = signInById(session, options.id);
    const QString domain = signIn["domain"].toString();
    const QString user = signIn["userName"].toString();
    const SecretText password = options.password.read(session);
    prepareToEncrypt(session);
    const int changed = session.signIns().UpdatePassword(domain, user, password.view());
    session.database().check(changed >= 0, u"Storing the password"_s);
    if (changed == 0) {
        throw CommandError(
            ExitCode::NotFound,
            u"The password was not stored: the %1 was removed meanwhile, or has no domain or no "
            u"user. See 'velmioctl signin list', and set them with 'velmioctl signin set'."_s.arg(
                named(signIn)));
    }
    if (session.output.json()) {
        session.output.print(
            QJsonObject{{u"domain"_s, domain}, {u"userName"_s, user}, {u"changed"_s, changed}});
        return;
    }
    session.output.printText(u"Changed the password of user %1 on domain %2, in %3."_s.arg(
        quoted(user), quoted(domain),
        changed == 1 ? u"1 sign-in"_s : u"%1 sign-ins"_s.arg(changed)));
}

void remove(Session& session, const SignInOptions& options)
{
    session.writableDatabase();
    const QString name = named(signInById(session, options.id));
    confirmRemoval(
        session, "AuthenticationConfiguration", options.id, options.yes,
        u"Remove the %1?"_s.arg(name));

    session.database().check(session.signIns().Remove(options.id), u"Removing the sign-in"_s);
    printRemoved(session, options.id, name);
}

using Options = std::shared_ptr<SignInOptions>;

Command* addCommandOfOne(
    Command& noun, const Options& options, const std::string& name, const std::string& text)
{
    Command* const command = noun.addSubcommand(name, text);
    command->addOption("ID", options->id, "Id of the sign-in")
        ->offersStored("AuthenticationConfiguration")
        ->id()
        ->required();
    return command;
}

} // namespace

void addSignInCommands(Command& app, Session& session)
{
    Command* const signIn = app.addSubcommand("signin", "The stored users and passwords");
    signIn->requireSubcommand();
    const auto options = std::make_shared<SignInOptions>();

    auto* const addCommand =
        signIn->addSubcommand("add", "Add a sign-in, and ask for its password");
    options->fields.addTo(*addCommand, FieldOptions::Purpose::Add);
    options->password.addTo(*addCommand);
    addCommand->example("velmioctl signin add --server 1 --domain example.com --user kim "
                        "--password-stdin < password.txt");
    addCommand->callback([&session, options] { add(session, *options); });

    auto* const listCommand = signIn->addSubcommand("list", "List the sign-ins");
    listCommand->addOption("--server", options->server, "Only the sign-ins of one server")
        ->offersStored("ServerConfiguration")
        ->typeName("ID");
    listCommand->example("velmioctl signin list --server 1");
    listCommand->callback([&session, options] {
        records(session).list(
            options->server, {u"ID"_s, u"SERVER"_s, u"PASSWORD"_s, u"USER"_s, u"DOMAIN"_s},
            {"id", "serverId", "encryptedPassword", "userName", "domain"},
            u"No sign-ins match. Add one with 'velmioctl signin add'."_s);
    });

    auto* const showCommand = addCommandOfOne(*signIn, options, "show", "Show one sign-in");
    showCommand->addFlag("--reveal", options->reveal, "Show the password in clear");
    showCommand->example("velmioctl signin show 1 --reveal");
    showCommand->callback([&session, options] { show(session, *options); });

    auto* const setCommand =
        addCommandOfOne(*signIn, options, "set", "Change the given fields of a sign-in");
    options->fields.addTo(*setCommand, FieldOptions::Purpose::Change);
    setCommand->example("velmioctl signin set 1 --domain-id 77");
    setCommand->callback([&session, options] { set(session, *options); });

    auto* const passwordCommand = addCommandOfOne(
        *signIn, options, "password", "Change the password of a user on a domain in all sign-ins");
    options->password.addTo(*passwordCommand);
    passwordCommand->example("velmioctl signin password 1");
    passwordCommand->callback([&session, options] { changePassword(session, *options); });

    auto* const removeCommand = addCommandOfOne(*signIn, options, "remove", "Remove a sign-in");
    removeCommand->addFlag("--yes", options->yes, "Remove without asking");
    removeCommand->example("velmioctl signin remove 1 --yes");
    removeCommand->callback([&session, options] { remove(session, *options); });
}

} // namespace velmioctl
