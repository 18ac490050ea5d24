#include <velmioctl/records/Commands.h>

#include <config/AuthenticationConfigManager.h>
#include <config/PasswordKeys.h>
#include <config/ServerConfiguration.h>
#include <core/Crypto.h>
#include <interf/IQSqlQueryWrapper.h>
#include <velmioctl/cli/CommandLine.h>
#include <velmioctl/cli/Table.h>
#include <velmioctl/cli/Text.h>
#include <velmioctl/records/PropertyOptions.h>
#include <velmioctl/store/Records.h>
#include <velmioctl/store/References.h>
#include <velmioctl/store/SecretInput.h>
#include <velmioctl/store/Session.h>
#include <velmioctl/store/StoredPassword.h>
#include <velmioctl/store/WatchedDatabase.h>

using namespace Qt::StringLiterals;
using sync::config::AuthenticationConfiguration;
using sync::interf::IQSqlQueryWrapper;

namespace velmioctl {

namespace {

// The manager's reads decipher every password, and its Update writes back what it read: null for a
// password that cannot be deciphered. So the tool reads and changes the other columns by itself.
const QString SelectAll = u"SELECT id, serverId, domain, domainId, userName, nameValueProperties,"
                          u" encryptedPassword FROM AuthenticationConfiguration"_s;
const QString UpdateServer =
    u"UPDATE AuthenticationConfiguration SET serverId = :value WHERE id = :id"_s;
const QString UpdateDomain =
    u"UPDATE AuthenticationConfiguration SET domain = :value WHERE id = :id"_s;
const QString UpdateDomainId =
    u"UPDATE AuthenticationConfiguration SET domainId = :value WHERE id = :id"_s;
const QString UpdateUser =
    u"UPDATE AuthenticationConfiguration SET userName = :value WHERE id = :id"_s;
const QString UpdateProperties =
    u"UPDATE AuthenticationConfiguration SET nameValueProperties = :value WHERE id = :id"_s;

struct SignIn
{
    int id = -1;
    int serverId = 0;
    QString domain;
    QString domainId;
    QString user;
    QMap<QString, QString> properties;
    QVariant storedPassword;

    bool hasPassword() const { return !storedPassword.isNull(); }
    QString named() const
    {
        return u"sign-in %1 (user %2, domain %3)"_s.arg(
            QString::number(id), quoted(user), quoted(domain));
    }
};

struct SignInOptions
{
    int id = -1;
    std::optional<int> server;
    std::optional<std::string> domain;
    std::optional<std::string> domainId;
    std::optional<std::string> user;
    PropertyOptions properties;
    SecretInput password{"password"};
    bool reveal = false;
    bool yes = false;
};

SignIn readRow(Session& session, const IQSqlQueryWrapper& row)
{
    return {
        .id = row.value(0).toInt(),
        .serverId = row.value(1).toInt(),
        .domain = row.value(2).toString(),
        .domainId = row.value(3).toString(),
        .user = row.value(4).toString(),
        .properties = session.signIns().ToNameValuePropertyMap(row.value(5).toString()),
        .storedPassword = row.value(6),
    };
}

SignIn signInById(Session& session, int id)
{
    session.requireSignIn(id);
    const auto query =
        session.database().select(SelectAll + u" WHERE id = :id"_s, {{u":id"_s, id}});
    query->next();
    session.database().check();
    return readRow(session, *query);
}

QJsonObject toJson(const SignIn& signIn)
{
    return {
        {u"id"_s, signIn.id},
        {u"serverId"_s, signIn.serverId},
        {u"domain"_s, signIn.domain},
        {u"domainId"_s, signIn.domainId},
        {u"userName"_s, signIn.user},
        {u"passwordStored"_s, signIn.hasPassword()},
        {u"properties"_s, velmioctl::toJson(signIn.properties)},
    };
}

// In clear, null for none. Throws CommandError when it cannot be deciphered.
QString revealed(const SignIn& signIn)
{
    PasswordReader reader;
    const StoredPassword password = reader.read(signIn.storedPassword);
    reader.requireKey();
    if (password.isUnreadable()) {
        throw CommandError(
            ExitCode::Findings,
            u"The password of the %1 cannot be read: %2. Store it anew with 'velmioctl signin "
            u"password %3'."_s.arg(signIn.named(), password.reason, QString::number(signIn.id)));
    }
    return password.password;
}

void print(Session& session, const SignIn& signIn, bool reveal)
{
    const QString clear = reveal ? revealed(signIn) : QString();
    if (session.output.json()) {
        QJsonObject object = toJson(signIn);
        if (reveal)
            object.insert(u"password"_s, clear.isNull() ? QJsonValue() : QJsonValue(clear));
        session.output.print(object);
        return;
    }
    FieldList fields;
    fields.add(u"id"_s, QString::number(signIn.id));
    fields.add(u"server"_s, QString::number(signIn.serverId));
    fields.add(u"domain"_s, signIn.domain);
    fields.add(u"domain id"_s, signIn.domainId);
    fields.add(u"user"_s, signIn.user);
    if (reveal)
        fields.add(u"password"_s, clear.isNull() ? u"none"_s : clear);
    else
        fields.add(u"password"_s, signIn.hasPassword() ? u"********"_s : u"none"_s);
    addProperties(fields, signIn.properties);
    session.output.printWhole(fields);
}

// Throws KeyError where the passwords lie under keys that another kind of store keeps, so that they
// never come to lie under two.
void prepareToEncrypt(Session& session)
{
    const auto store = sync::core::crypto::keyStore();
    const bool usable = session.passwordKeys().use(store);
    session.database().check(usable, u"Reading the stored passwords"_s);
    const long long stored = session.database().number(
        u"SELECT count(*) FROM AuthenticationConfiguration WHERE encryptedPassword IS NOT NULL"_s);
    if (stored > 0 && store->read().isEmpty()) {
        session.output.warning(
            u"%1 has no key any more, so a new one is made. Other stored passwords stay unreadable "
            u"('velmioctl secrets verify' names them): store them anew as well."_s.arg(keyPlace()));
    }
}

void add(Session& session, const SignInOptions& options)
{
    session.server(*options.server);
    AuthenticationConfiguration signIn;
    signIn.setServerId(*options.server);
    signIn.setDomain(QString::fromStdString(*options.domain));
    signIn.setDomainId(QString::fromStdString(options.domainId.value_or("")));
    signIn.setUserName(QString::fromStdString(*options.user));
    signIn.setNameValueProperties(options.properties.applied({}, session.signIns()));
    signIn.setPassword(options.password.read(session));

    prepareToEncrypt(session);
    session.database().check(session.signIns().Add(signIn), u"Storing the sign-in"_s);
    print(session, signInById(session, signIn.getId()), false);
}

void list(Session& session, const SignInOptions& options)
{
    Table table({u"ID"_s, u"SERVER"_s, u"PASSWORD"_s, u"USER"_s, u"DOMAIN"_s});
    table.alignRight(0).alignRight(1);
    QJsonArray array;
    const auto query = session.database().select(SelectAll + u" ORDER BY id"_s);
    while (query->next()) {
        const SignIn signIn = readRow(session, *query);
        if (options.server && signIn.serverId != *options.server)
            continue;
        array.append(toJson(signIn));
        table.addRow(
            {QString::number(signIn.id), QString::number(signIn.serverId),
             signIn.hasPassword() ? u"set"_s : u"none"_s, signIn.user, signIn.domain});
    }
    session.database().check();
    if (session.output.json())
        session.output.print(array);
    else if (table.isEmpty())
        session.output.note(u"There are no such sign-ins: add one with 'velmioctl signin add'."_s);
    else
        session.output.print(table);
}

void set(Session& session, const SignInOptions& options)
{
    WatchedDatabase& database = session.database();
    const auto change = [&](const QString& sql, const QVariant& value) {
        database.change(sql, {{u":value"_s, value}, {u":id"_s, options.id}});
    };
    Transaction transaction(database);
    const SignIn before = signInById(session, options.id);
    if (options.server) {
        session.server(*options.server);
        change(UpdateServer, *options.server);
    }
    if (options.domain)
        change(UpdateDomain, QString::fromStdString(*options.domain));
    if (options.domainId)
        change(UpdateDomainId, QString::fromStdString(*options.domainId));
    if (options.user)
        change(UpdateUser, QString::fromStdString(*options.user));
    const auto properties = options.properties.applied(before.properties, session.signIns());
    if (properties != before.properties)
        change(UpdateProperties, session.signIns().ToNameValuePropertyString(properties));
    transaction.commit();
    print(session, signInById(session, options.id), false);
}

void changePassword(Session& session, const SignInOptions& options)
{
    const SignIn signIn = signInById(session, options.id);
    const QString password = options.password.read(session);
    prepareToEncrypt(session);
    const int changed = session.signIns().UpdatePassword(signIn.domain, signIn.user, password);
    session.database().check(changed >= 0, u"Storing the password"_s);
    if (changed == 0) {
        throw CommandError(
            ExitCode::NotFound,
            u"The password was not stored: the %1 was removed meanwhile, or has no domain or no "
            u"user. See 'velmioctl signin list'; 'velmioctl signin set' gives them."_s.arg(
                signIn.named()));
    }
    if (session.output.json()) {
        session.output.print(QJsonObject{
            {u"domain"_s, signIn.domain}, {u"userName"_s, signIn.user}, {u"changed"_s, changed}});
        return;
    }
    session.output.printText(u"Changed the password of user %1 on domain %2, in %3."_s.arg(
        quoted(signIn.user), quoted(signIn.domain),
        changed == 1 ? u"1 sign-in"_s : u"%1 sign-ins"_s.arg(changed)));
}

void remove(Session& session, const SignInOptions& options)
{
    const SignIn signIn = signInById(session, options.id);
    References references;
    references.find(
        session.database(), u"folders"_s,
        u"SELECT id, clientPath FROM FolderConfiguration WHERE authenticationId = :id"_s,
        options.id);
    references.confirmRemoval(session, options.yes, u"Remove the %1?"_s.arg(signIn.named()));

    session.database().check(session.signIns().Remove(options.id), u"Removing the sign-in"_s);
    if (session.output.json())
        session.output.print(QJsonObject{{u"id"_s, options.id}, {u"removed"_s, true}});
    else
        session.output.printText(u"Removed the %1."_s.arg(signIn.named()));
}

void addFieldOptions(Command& command, SignInOptions& options, bool required)
{
    command.addOption("--server", options.server, "Id of the server to sign in to")
        ->typeName("ID")
        ->required(required);
    command.addOption("--domain", options.domain, "Domain of the user")
        ->typeName("NAME")
        ->required(required);
    command.addOption("--user", options.user, "Name of the user")
        ->typeName("NAME")
        ->required(required);
    command.addOption("--domain-id", options.domainId, "The server's id of the domain")
        ->typeName("ID");
    options.properties.addSetTo(command);
}

using Options = std::shared_ptr<SignInOptions>;

Command* addCommandOfOne(
    Command& noun, const Options& options, const std::string& name, const std::string& text)
{
    Command* const command = noun.addSubcommand(name, text);
    command->addOption("ID", options->id, "Id of the sign-in")->required();
    return command;
}

} // namespace

void addSignInCommands(Command& app, Session& session)
{
    Command* const signIn = app.addSubcommand("signin", "The stored users and passwords");
    signIn->requireSubcommand();
    const auto options = std::make_shared<SignInOptions>();

    auto* const addCommand = signIn->addSubcommand("add", "Add a sign-in, and ask its password");
    addFieldOptions(*addCommand, *options, true);
    options->password.addTo(*addCommand);
    addCommand->example("velmioctl signin add --server 1 --domain example.com --user kim "
                        "--password-stdin < password.txt");
    addCommand->callback([&session, options] { add(session, *options); });

    auto* const listCommand = signIn->addSubcommand("list", "List the sign-ins");
    listCommand->addOption("--server", options->server, "Only those of one server")->typeName("ID");
    listCommand->example("velmioctl signin list --server 1");
    listCommand->callback([&session, options] { list(session, *options); });

    auto* const showCommand = addCommandOfOne(*signIn, options, "show", "Show one sign-in");
    showCommand->addFlag("--reveal", options->reveal, "Show the password in clear");
    showCommand->example("velmioctl signin show 1 --reveal");
    showCommand->callback(
        [&session, options] { print(session, signInById(session, options->id), options->reveal); });

    auto* const setCommand =
        addCommandOfOne(*signIn, options, "set", "Change what is given of a sign-in");
    addFieldOptions(*setCommand, *options, false);
    options->properties.addUnsetTo(*setCommand);
    setCommand->example("velmioctl signin set 1 --domain-id 77");
    setCommand->callback([&session, options] { set(session, *options); });

    auto* const passwordCommand = addCommandOfOne(
        *signIn, options, "password", "Give a user on a domain a new password everywhere");
    options->password.addTo(*passwordCommand);
    passwordCommand->example("velmioctl signin password 1");
    passwordCommand->callback([&session, options] { changePassword(session, *options); });

    auto* const removeCommand = addCommandOfOne(*signIn, options, "remove", "Remove a sign-in");
    removeCommand->addFlag("--yes", options->yes, "Remove without asking");
    removeCommand->example("velmioctl signin remove 1 --yes");
    removeCommand->callback([&session, options] { remove(session, *options); });
}

} // namespace velmioctl
