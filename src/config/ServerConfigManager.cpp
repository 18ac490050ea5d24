#include <config/ServerConfigManager.h>

#include <config/passwords/StoredPasswords.h>
#include <config/statement/RowReader.h>
#include <config/statement/SqlText.h>
#include <config/statement/Statement.h>

#include <QSettings>

using namespace Qt::StringLiterals;

namespace sync::config {

namespace {

// Both in the order in which _PopulateServerConfig reads them.
constexpr SqlText Columns(
    u"id, alias, davUrl, webServiceUrl, nameValueProperties, binaryDiffEncoder");
constexpr SqlText JoinedColumns(
    u"SC.id, SC.alias, SC.davUrl, SC.webServiceUrl, SC.nameValueProperties, SC.binaryDiffEncoder");

constexpr auto Select = u"SELECT " + Columns + u" FROM ServerConfiguration";
constexpr auto SelectAll = Select + u";";
constexpr auto SelectById = Select + u" WHERE id = :id;";
constexpr auto SelectByServers =
    Select + u" WHERE davUrl = :davUrl AND webServiceUrl = :webServiceUrl;";

constexpr auto SelectBySignIn = u"SELECT " + JoinedColumns +
                                u" FROM ServerConfiguration AS SC"
                                u" JOIN AuthenticationConfiguration AS AC ON SC.id = AC.ServerID";
constexpr auto SelectByAuthenticationId = SelectBySignIn + u" WHERE AC.id = :id;";
constexpr auto SelectByFolder =
    SelectBySignIn + u" JOIN FolderConfiguration AS FC ON FC.authenticationId = AC.id";
constexpr auto SelectByFolderId = SelectByFolder + u" WHERE FC.id = :id;";
constexpr auto SelectByFileId =
    SelectByFolder +
    u" JOIN FileConfiguration AS FIC ON FIC.folderConfigurationId = FC.id WHERE FIC.id = :id;";

constexpr SqlText Insert(
    u"INSERT INTO ServerConfiguration"
    u" (alias, davUrl, webServiceUrl, nameValueProperties, binaryDiffEncoder)"
    u" VALUES (:alias, :davUrl, :webServiceUrl, :nameValueProperties, :binaryDiffEncoder);");
constexpr SqlText UpdateById(
    u"UPDATE ServerConfiguration SET alias = :alias, davUrl = :davUrl,"
    u" webServiceUrl = :webServiceUrl, nameValueProperties = :nameValueProperties,"
    u" binaryDiffEncoder = :binaryDiffEncoder WHERE id = :id;");
constexpr SqlText Delete(u"DELETE FROM ServerConfiguration WHERE Id = :id;");

constexpr long long FirstServerId = 1;

} // namespace

ServerConfiguration ServerConfigManager::GetServerConfigById(long long id)
{
    return _ReadOneById(SelectById, id);
}

ServerConfiguration ServerConfigManager::GetServerConfigByServers(
    QString davUrl, QString webServiceUrl)
{
    return _Prepare(SelectByServers)
        .bind(u":davUrl"_s, _ChopUrl(davUrl))
        .bind(u":webServiceUrl"_s, _ChopUrl(webServiceUrl))
        .readOne(this, &ServerConfigManager::_PopulateServerConfig);
}

std::vector<ServerConfiguration> ServerConfigManager::GetAll()
{
    return _Prepare(SelectAll)
        .readAll<ServerConfigManager, ServerConfiguration, std::vector<ServerConfiguration>>(
            this, &ServerConfigManager::_PopulateServerConfig);
}

// Intentional: stores alias and URLs unchanged, where Add stores the computed alias and the chopped
// URLs.
bool ServerConfigManager::Update(ServerConfiguration server)
{
    const auto& members = server.members;
    return writeBound(*databaseFactory, false, [&](const PasswordContexts& contexts) {
        const PasswordsOfServer passwords(*databaseFactory, contexts, members.id);
        return _Prepare(UpdateById)
                   .bind(u":id"_s, members.id)
                   .bind(u":alias"_s, members.alias)
                   .bind(u":davUrl"_s, members.davUrl)
                   .bind(u":webServiceUrl"_s, members.webServiceUrl)
                   .bind(
                       u":nameValueProperties"_s,
                       ToNameValuePropertyString(members.nameValueProperties))
                   .bind(u":binaryDiffEncoder"_s, members.binaryDiffEncoder)
                   .exec() &&
               passwords.bindAgain();
    });
}

bool ServerConfigManager::Add(ServerConfiguration& server)
{
    auto& members = server.members;
    int id = members.id;
    const bool added = writeBound(*databaseFactory, false, [&](const PasswordContexts& contexts) {
        const PasswordsOfServer passwords(*databaseFactory, contexts, std::nullopt);
        return _Prepare(Insert)
                   .bind(u":alias"_s, server.getAlias())
                   .bind(u":davUrl"_s, _ChopUrl(members.davUrl))
                   .bind(u":webServiceUrl"_s, _ChopUrl(members.webServiceUrl))
                   .bind(
                       u":nameValueProperties"_s,
                       ToNameValuePropertyString(members.nameValueProperties))
                   .bind(u":binaryDiffEncoder"_s, members.binaryDiffEncoder)
                   .execInsert(id) &&
               passwords.bindAgain();
    });
    if (added)
        members.id = id;
    return added;
}

bool ServerConfigManager::Remove(int id)
{
    return writeBound(*databaseFactory, false, [&](const PasswordContexts& contexts) {
        const PasswordsOfServer passwords(*databaseFactory, contexts, id);
        return _Prepare(Delete).bind(u":id"_s, id).exec() && passwords.bindAgain();
    });
}

ServerConfiguration ServerConfigManager::GetServerConfigByAuthenticationId(long long id)
{
    return _ReadOneById(SelectByAuthenticationId, id);
}

ServerConfiguration ServerConfigManager::GetServerConfigByFolderId(long long id)
{
    return _ReadOneById(SelectByFolderId, id);
}

ServerConfiguration ServerConfigManager::GetServerConfigByFileId(long long id)
{
    return _ReadOneById(SelectByFileId, id);
}

ServerConfiguration ServerConfigManager::GetDefaultServerConfig()
{
    QSettings settings(QSettings::UserScope, u"Corvanta"_s, u"Corvanta Sync"_s);
    settings.beginGroup(u"Velmio"_s);
    const QVariant id = settings.value(u"DefaultServerConfigurationId"_s, int(FirstServerId));
    return GetServerConfigById(id.toLongLong());
}

ServerConfiguration ServerConfigManager::_ReadOneById(const QString& sql, long long id)
{
    return _Prepare(sql)
        .bind(u":id"_s, id)
        .readOne(this, &ServerConfigManager::_PopulateServerConfig);
}

void ServerConfigManager::_PopulateServerConfig(
    const RowReader& row, ServerConfiguration& server) const
{
    if (!row.isValid())
        return;

    auto& members = server.members;
    members.id = row.integer(0);
    members.alias = row.text(1);
    members.davUrl = row.text(2);
    members.webServiceUrl = row.text(3);
    members.nameValueProperties = _NameValueProperties(row, 4);
    members.binaryDiffEncoder = row.text(5);
}

QString ServerConfigManager::_ChopUrl(QString url)
{
    // One slash only: a URL that ends in two slashes keeps one.
    if (url.endsWith(u'/'))
        url.chop(1);
    return url;
}

} // namespace sync::config
