#include <velmioctl/records/Commands.h>

#include <config/ServerConfigManager.h>
#include <velmioctl/cli/CommandLine.h>
#include <velmioctl/cli/Table.h>
#include <velmioctl/cli/Text.h>
#include <velmioctl/records/PropertyOptions.h>
#include <velmioctl/store/Records.h>
#include <velmioctl/store/References.h>
#include <velmioctl/store/Session.h>
#include <velmioctl/store/WatchedDatabase.h>

#include <QSettings>
#include <QUrl>

using namespace Qt::StringLiterals;
using sync::config::ServerConfiguration;

namespace velmioctl {

namespace {

// Where ServerConfigManager::GetDefaultServerConfig() looks, and what it takes without a setting.
const QString SettingsOrganization = u"Corvanta"_s;
const QString SettingsApplication = u"Corvanta Sync"_s;
const QString DefaultServerKey = u"Velmio/DefaultServerConfigurationId"_s;
constexpr int DefaultServerId = 1;

struct ServerOptions
{
    int id = -1;
    std::optional<std::string> davUrl;
    std::optional<std::string> webServiceUrl;
    std::optional<std::string> alias;
    std::optional<std::string> encoder;
    PropertyOptions properties;
    bool yes = false;
};

QSettings userSettings()
{
    return QSettings(QSettings::UserScope, SettingsOrganization, SettingsApplication);
}

long long defaultServerId()
{
    return userSettings().value(DefaultServerKey, DefaultServerId).toLongLong();
}

QString urlFrom(const std::string& text)
{
    QString url = QString::fromStdString(text);
    const QUrl parsed(url, QUrl::StrictMode);
    if (!parsed.isValid() || parsed.scheme().isEmpty() || parsed.host().isEmpty()) {
        throw CommandError(
            ExitCode::Usage,
            u"%1 is no URL: write it as in https://sync.example.com/dav."_s.arg(quoted(url)));
    }
    // As Add stores it: otherwise a server could not be found by its URLs after a change.
    if (url.endsWith(u'/'))
        url.chop(1);
    return url;
}

void fill(ServerConfiguration& server, const ServerOptions& options, Session& session)
{
    if (options.davUrl)
        server.setDavUrl(urlFrom(*options.davUrl));
    if (options.webServiceUrl)
        server.setWebServiceUrl(urlFrom(*options.webServiceUrl));
    if (options.alias) {
        server.setAlias(QString::fromStdString(*options.alias));
        // An empty one becomes the computed one, as Add stores it.
        server.setAlias(server.getAlias());
    }
    if (options.encoder)
        server.setBinaryDiffEncoder(QString::fromStdString(*options.encoder));
    server.setNameValueProperties(
        options.properties.applied(server.getNameValueProperties(), session.servers()));
}

void print(Session& session, const ServerConfiguration& server)
{
    QJsonObject object = toJson(server);
    object.insert(u"default"_s, server.getId() == defaultServerId());
    if (session.output.json())
        session.output.print(object);
    else
        session.output.print(toFields(server));
}

void add(Session& session, const ServerOptions& options)
{
    ServerConfiguration server;
    fill(server, options, session);
    session.database().check(session.servers().Add(server), u"Storing the server"_s);
    print(session, session.server(server.getId()));
}

void list(Session& session)
{
    const auto servers = session.servers().GetAll();
    session.database().check();
    const long long defaultId = defaultServerId();

    Table table(
        {u"ID"_s, u"DEFAULT"_s, u"ALIAS"_s, u"ENCODER"_s, u"WEB SERVICE URL"_s, u"DAV URL"_s});
    table.alignRight(0);
    QJsonArray array;
    for (const ServerConfiguration& server : servers) {
        const bool isDefault = server.getId() == defaultId;
        QJsonObject object = toJson(server);
        object.insert(u"default"_s, isDefault);
        array.append(object);
        table.addRow(
            {QString::number(server.getId()), isDefault ? u"yes"_s : QString(), server.getAlias(),
             server.getBinaryDiffEncoder(), server.getWebServiceUrl(), server.getDavUrl()});
    }
    if (session.output.json())
        session.output.print(array);
    else if (servers.empty())
        session.output.note(u"There are no servers yet: add one with 'velmioctl server add'."_s);
    else
        session.output.print(table);
}

void set(Session& session, const ServerOptions& options)
{
    ServerConfiguration server = session.server(options.id);
    fill(server, options, session);
    session.database().check(session.servers().Update(server), u"Storing the server"_s);
    print(session, session.server(options.id));
}

void remove(Session& session, const ServerOptions& options)
{
    const ServerConfiguration server = session.server(options.id);
    References references;
    references.find(
        session.database(), u"sign-ins"_s,
        u"SELECT id, userName FROM AuthenticationConfiguration WHERE serverId = :id"_s, options.id);
    references.find(
        session.database(), u"products"_s,
        u"SELECT id, name FROM ProductConfiguration WHERE serverId = :id"_s, options.id);
    references.confirmRemoval(
        session, options.yes,
        u"Remove the server %1 (%2)?"_s.arg(
            QString::number(options.id), quoted(server.getAlias())));

    session.database().check(session.servers().Remove(options.id), u"Removing the server"_s);
    if (session.output.json())
        session.output.print(QJsonObject{{u"id"_s, options.id}, {u"removed"_s, true}});
    else
        session.output.printText(u"Removed the server %1."_s.arg(QString::number(options.id)));
}

void setDefault(Session& session, int id)
{
    session.server(id);
    QSettings settings = userSettings();
    settings.setValue(DefaultServerKey, id);
    settings.sync();
    if (settings.status() != QSettings::NoError) {
        throw CommandError(
            ExitCode::OtherError,
            u"The setting could not be written to %1: check that you may write that file."_s.arg(
                quoted(settings.fileName())));
    }
}

void showDefault(Session& session)
{
    const ServerConfiguration server = session.servers().GetDefaultServerConfig();
    session.database().check();
    if (server.getId() == -1) {
        throw CommandError(
            ExitCode::NotFound,
            u"The default server %1 does not exist: choose one of 'velmioctl server list' with "
            u"'velmioctl server default ID'."_s.arg(QString::number(defaultServerId())));
    }
    print(session, server);
}

void addFieldOptions(Command& command, ServerOptions& options, bool required)
{
    command.addOption("--dav-url", options.davUrl, "URL of the DAV endpoint")
        ->typeName("URL")
        ->required(required);
    command.addOption("--web-service-url", options.webServiceUrl, "URL of the web service")
        ->typeName("URL")
        ->required(required);
    command
        .addOption(
            "--alias", options.alias, "Name to show; without one the web service's host names it")
        ->typeName("NAME");
    command.addOption("--encoder", options.encoder, "Encoder for binary differences")
        ->typeName("NAME");
    options.properties.addSetTo(command);
}

} // namespace

void addServerCommands(Command& app, Session& session)
{
    Command* const server = app.addSubcommand("server", "The servers that the client knows");
    server->requireSubcommand();
    const auto options = std::make_shared<ServerOptions>();
    const auto addId = [options](Command* command) {
        return command->addOption("ID", options->id, "Id of the server");
    };

    auto* const addCommand = server->addSubcommand("add", "Add a server");
    addFieldOptions(*addCommand, *options, true);
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

    auto* const setCommand = server->addSubcommand("set", "Change what is given of a server");
    addId(setCommand)->required();
    addFieldOptions(*setCommand, *options, false);
    options->properties.addUnsetTo(*setCommand);
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
