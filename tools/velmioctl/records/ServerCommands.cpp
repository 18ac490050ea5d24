#include <velmioctl/records/Commands.h>

#include <base/FileError.h>
#include <base/FilePaths.h>
#include <base/Folders.h>
#include <base/PartialFile.h>
#include <config/PasswordContexts.h>
#include <config/ServerConfigManager.h>
#include <database/SqliteDatabaseFactory.h>
#include <interf/IQSqlQueryWrapper.h>
#include <velmioctl/cli/CommandLine.h>
#include <velmioctl/cli/Table.h>
#include <velmioctl/cli/Text.h>
#include <velmioctl/records/FieldOptions.h>
#include <velmioctl/store/DefaultServer.h>
#include <velmioctl/store/Records.h>
#include <velmioctl/store/References.h>
#include <velmioctl/store/Session.h>
#include <velmioctl/store/StoredPassword.h>
#include <velmioctl/store/WatchedDatabase.h>

#include <QFile>
#include <QFileInfo>
#include <QLockFile>
#include <QSettings>

#include <cerrno>

using namespace Qt::StringLiterals;
using sync::config::ServerConfiguration;

namespace velmioctl {

namespace {

struct ServerOptions
{
    int id = -1;
    FieldOptions fields{"ServerConfiguration"};
    bool yes = false;
};

bool hasDefaultServer(const Session& session)
{
    return !session.isFleet() && defaultServerIsOf(session.databasePath());
}

bool isDefault(const Session& session, const ServerConfiguration& server)
{
    return hasDefaultServer(session) && server.getId() == defaultServerId();
}

// Where the default server comes from, for a person.
QString originOfDefault()
{
    const QSettings settings = userSettings();
    return settings.contains(DefaultServerKey)
               ? u"The default server is set in %1."_s.arg(quoted(settings.fileName()))
               : u"No default server is set in %1, so it is server %2."_s.arg(
                     quoted(settings.fileName()), QString::number(InitialDefaultServerId));
}

void fill(ServerConfiguration& server, const ServerOptions& options)
{
    options.fields.apply(&server);
    // An empty alias becomes the computed one, as Add stores it.
    server.setAlias(server.getAlias());
    server.setNameValueProperties(options.fields.properties(server.getNameValueProperties()));
}

void print(Session& session, const ServerConfiguration& server, bool isTheDefault)
{
    QJsonObject object = toJson(server);
    object.insert(u"default"_s, isTheDefault);
    if (session.output.json())
        session.output.print(object);
    else
        session.output.print(toFields(server));
}

void print(Session& session, const ServerConfiguration& server)
{
    print(session, server, isDefault(session, server));
}

void add(Session& session, const ServerOptions& options)
{
    session.writableDatabase();
    ServerConfiguration server;
    fill(server, options);
    session.database().check(session.servers().Add(server), u"Storing the server"_s);
    print(session, session.server(server.getId()));
}

void list(Session& session)
{
    const auto servers = session.servers().GetAll();
    session.database().check();
    const bool hasDefault = hasDefaultServer(session);

    QStringList headings{u"ID"_s, u"ALIAS"_s, u"ENCODER"_s, u"WEB SERVICE URL"_s, u"DAV URL"_s};
    if (hasDefault)
        headings.insert(1, u"DEFAULT"_s);
    Table table(headings);
    table.alignRight(0);
    QJsonArray array;
    for (const ServerConfiguration& server : servers) {
        QJsonObject object = toJson(server);
        object.insert(u"default"_s, isDefault(session, server));
        array.append(object);
        QStringList row{
            QString::number(server.getId()), server.getAlias(), server.getBinaryDiffEncoder(),
            server.getWebServiceUrl(), server.getDavUrl()};
        if (hasDefault)
            row.insert(1, isDefault(session, server) ? u"yes"_s : QString());
        table.addRow(row);
    }
    session.output.printList(
        array, table, u"No servers are stored yet. Add one with 'velmioctl server add'."_s);
    if (hasDefault && !table.isEmpty() && !session.output.json())
        session.output.note(originOfDefault());
}

// The number of passwords that the manager takes along to another address. Throws CommandError if
// one would be left behind.
int passwordsToTakeAlong(Session& session, const ServerConfiguration& server)
{
    WatchedDatabase& database = session.database();
    const sync::config::PasswordContexts contexts(database);
    PasswordReader reader;
    int readable = 0;
    const auto query = database.select(
        u"SELECT id, encryptedPassword, domain, userName FROM AuthenticationConfiguration"
        u" WHERE serverId = :id"_s,
        {{u":id"_s, server.getId()}});
    while (query->next()) {
        const StoredPassword password = reader.read(
            query->value(1),
            contexts.of(query->value(2).toString(), query->value(3).toString(), server.getId()));
        requireToTakeAlong(password, u"sign-in "_s + query->value(0).toString());
        readable += password.state == StoredPassword::State::Ok;
    }
    database.check();
    return readable;
}

void set(Session& session, const ServerOptions& options)
{
    session.writableDatabase();
    ServerConfiguration server = session.server(options.id);
    const ServerConfiguration before = server;
    fill(server, options);
    const bool isMoved = before.getDavUrl() != server.getDavUrl() ||
                         before.getWebServiceUrl() != server.getWebServiceUrl();
    const int passwords = isMoved ? passwordsToTakeAlong(session, before) : 0;
    session.database().check(session.servers().Update(server), u"Storing the server"_s);
    print(session, session.server(options.id));
    if (passwords > 0) {
        session.output.note(
            u"The client sends the passwords of the sign-ins at this server to its new address "
            u"from now on: %1."_s.arg(passwords));
    }
}

void remove(Session& session, const ServerOptions& options)
{
    session.writableDatabase();
    const ServerConfiguration server = session.server(options.id);
    const QString named =
        u"server %1 (%2)"_s.arg(QString::number(options.id), quoted(server.getAlias()));
    confirmRemoval(
        session, "ServerConfiguration", options.id, options.yes, u"Remove the %1?"_s.arg(named));

    session.database().check(session.servers().Remove(options.id), u"Removing the server"_s);
    printRemoved(session, options.id, named);
}

#ifdef Q_OS_DARWIN
void writeDefault(int id)
{
    QSettings settings = userSettings();
    settings.setValue(DefaultServerKey, id);
    settings.sync();
    if (settings.status() != QSettings::NoError)
        throw writingError(u"The setting cannot be written"_s, EACCES);
}
#else
// The text of a settings file with the id in place of the one it has.
QByteArray withDefault(const QByteArray& settings, int id)
{
    const QByteArray group = '[' + DefaultServerKey.section(u'/', 0, 0).toLatin1() + ']';
    const QByteArray key = DefaultServerKey.section(u'/', 1).toLatin1() + '=';
    const QByteArray entry = key + QByteArray::number(id);
    QByteArrayList lines = settings.split('\n');
    qsizetype at = lines.indexOf(group);
    if (at < 0) {
        const bool endsInLine = !settings.isEmpty() && !settings.endsWith('\n');
        return settings + (endsInLine ? "\n" : "") + group + '\n' + entry + '\n';
    }
    const qsizetype first = ++at;
    while (at < lines.size() && !lines[at].startsWith(key) && !lines[at].startsWith('['))
        ++at;
    if (at < lines.size() && lines[at].startsWith(key))
        lines[at] = entry;
    else
        lines.insert(first, entry);
    return lines.join('\n');
}

int errnoOf(QLockFile::LockError error)
{
    switch (error) {
    case QLockFile::PermissionError:
        return EACCES;
    case QLockFile::LockFailedError:
        return EBUSY;
    default:
        return ENOSPC; // What the toolkit names as the example of all others.
    }
}

// Not by QSettings, which does not notice when the end of the file does not fit on the disk: the
// other settings of the user were lost.
void writeDefault(int id)
{
    const QString path = userSettings().fileName();
    const QString failing = u"The setting cannot be written to "_s + quoted(path);
    try {
        sync::base::createFolders(QFileInfo(path).path());
        // The lock of QSettings.
        QLockFile lock(path + u".lock"_s);
        constexpr int LongestWaitMs = 5000;
        if (!lock.tryLock(LongestWaitMs))
            throw writingError(failing, errnoOf(lock.error()));
        QFile file(path);
        if (file.exists() && !file.open(QIODevice::ReadOnly))
            throw writingError(failing, EACCES);
        sync::base::PartialFile fresh(sync::base::resolvedFilePath(path));
        fresh.append(withDefault(file.isOpen() ? file.readAll() : QByteArray(), id));
        fresh.publishOver();
    } catch (const sync::base::FileError& error) {
        throw writingError(failing, error.code());
    }
}
#endif

void setDefault(Session& session, int id)
{
    session.requireWriting();
    session.server(id);
    writeDefault(id);
}

void showDefault(Session& session)
{
    const ServerConfiguration server = session.servers().GetDefaultServerConfig();
    session.database().check();
    if (server.getId() == -1) {
        throw CommandError(
            ExitCode::NotFound,
            u"The default server %1 does not exist. Choose one from 'velmioctl server list' with "
            u"'velmioctl server default ID'."_s.arg(QString::number(defaultServerId())));
    }
    print(session, server, true);
    if (!session.output.json())
        session.output.note(originOfDefault());
    if (!defaultServerIsOf(session.databasePath())) {
        session.output.warning(u"The setting is for the database %1 of this account."_s.arg(
            quoted(sync::database::SqliteDatabaseFactory::defaultPath())));
    }
}

} // namespace

void addServerCommands(Command& app, Session& session)
{
    Command* const server = app.addSubcommand("server", "The servers that the client knows");
    server->requireSubcommand();
    const auto options = std::make_shared<ServerOptions>();
    const auto addId = [options](Command* command) {
        return command->addOption("ID", options->id, "Id of the server")
            ->offersStored("ServerConfiguration")
            ->id();
    };

    auto* const addCommand = server->addSubcommand("add", "Add a server");
    options->fields.addTo(*addCommand, FieldOptions::Purpose::Add);
    addCommand->example("velmioctl server add --dav-url https://dav.example.com/dav "
                        "--web-service-url https://team.example.com/ws");
    addCommand->callback([&session, options] { add(session, *options); });

    server->addSubcommand("list", "List the servers")
        ->example("velmioctl server list --json")
        ->callback([&session] { list(session); });

    auto* const showCommand = server->addSubcommand("show", "Show one server");
    addId(showCommand)->required();
    showCommand->example("velmioctl server show 1");
    showCommand->callback([&session, options] { print(session, session.server(options->id)); });

    auto* const setCommand = server->addSubcommand("set", "Change the given fields of a server");
    addId(setCommand)->required();
    options->fields.addTo(*setCommand, FieldOptions::Purpose::Change);
    setCommand->example("velmioctl server set 1 --alias \"Team server\" --property Region=north");
    setCommand->callback([&session, options] { set(session, *options); });

    auto* const removeCommand = server->addSubcommand("remove", "Remove a server");
    addId(removeCommand)->required();
    removeCommand->addFlag("--yes", options->yes, "Remove without asking");
    removeCommand->example("velmioctl server remove 2 --yes");
    removeCommand->callback([&session, options] { remove(session, *options); });

    auto* const defaultCommand = server->addSubcommand(
        "default", "Show the default server, or make another one the default");
    auto* const newDefault = addId(defaultCommand);
    defaultCommand->example("velmioctl server default 2");
    defaultCommand->callback([&session, options, newDefault] {
        if (newDefault->isGiven())
            setDefault(session, options->id);
        showDefault(session);
    });
}

} // namespace velmioctl
