#include <config/AuthenticationConfigManager.h>

#include <config/statement/RowReader.h>
#include <config/statement/SqlText.h>
#include <config/statement/Statement.h>
#include <core/Crypto.h>
#include <database/TransactionalScope.h>

using namespace Qt::StringLiterals;
using sync::core::crypto::Decrypt;
using sync::core::crypto::Encrypt;
using sync::database::TransactionalScope;

namespace sync::config {

namespace {

// In the order in which _PopulateAuthenticationConfiguration reads them.
constexpr SqlText Columns(
    u"id, domain, domainId, userName, encryptedPassword, nameValueProperties, serverId");

constexpr auto SelectAll = u"SELECT " + Columns + u" FROM AuthenticationConfiguration";
constexpr auto SelectById = SelectAll + u" WHERE id = :id";
constexpr auto SelectByDomainAndUser =
    SelectAll + u" WHERE domain = :domain AND userName = :userName";
constexpr SqlText SelectDistinct(
    u"SELECT DISTINCT domain, userName FROM AuthenticationConfiguration");

constexpr SqlText UpdateById(
    u"UPDATE AuthenticationConfiguration SET domain = :domain, domainId = :domainId,"
    u" userName = :userName, encryptedPassword = :encryptedPassword,"
    u" nameValueProperties = :nameValueProperties, serverId = :serverId WHERE id = :id");
constexpr SqlText UpdatePasswordByDomainAndUser(
    u"UPDATE AuthenticationConfiguration SET encryptedPassword = :encryptedPassword"
    u" WHERE domain = :domain AND userName = :userName");
constexpr SqlText Insert(
    u"INSERT INTO AuthenticationConfiguration"
    u" (domain, domainId, userName, encryptedPassword, nameValueProperties, serverId)"
    u" VALUES (:domain, :domainId, :userName, :encryptedPassword, :nameValueProperties,"
    u" :serverId);");
constexpr SqlText Delete(u"DELETE FROM AuthenticationConfiguration WHERE Id = :id;");

} // namespace

AuthenticationConfigManager::AuthenticationConfigManager(
    std::shared_ptr<interf::factory::IDatabaseFactory> databaseFactory)
    : DatabaseConfigurationManager(std::move(databaseFactory))
{
}

AuthenticationConfigManager::~AuthenticationConfigManager() = default;

AuthenticationConfiguration AuthenticationConfigManager::GetAuthenticationConfigurationById(
    int authenticationConfigurationId) const
{
    return _Prepare(SelectById.toString())
        .bind(u":id"_s, authenticationConfigurationId)
        .readOne<AuthenticationConfiguration>(
            this, &AuthenticationConfigManager::_PopulateAuthenticationConfiguration);
}

AuthenticationConfiguration AuthenticationConfigManager::
    GetAuthenticationConfigurationByDomainAndUser(QString domain, QString userName) const
{
    return _Prepare(SelectByDomainAndUser.toString())
        .bind(u":domain"_s, domain)
        .bind(u":userName"_s, userName)
        .readOne<AuthenticationConfiguration>(
            this, &AuthenticationConfigManager::_PopulateAuthenticationConfiguration);
}

QVector<AuthenticationConfiguration> AuthenticationConfigManager::GetAll() const
{
    return _Prepare(SelectAll.toString())
        .readAll<QVector<AuthenticationConfiguration>>(
            this, &AuthenticationConfigManager::_PopulateAuthenticationConfigurations);
}

bool AuthenticationConfigManager::Update(AuthenticationConfiguration signIn)
{
    TransactionalScope scope;
    const auto& members = signIn.members;
    return _Prepare(UpdateById.toString())
        .bind(u":id"_s, members.id)
        .bind(u":domain"_s, members.domain)
        .bind(u":domainId"_s, members.domainId)
        .bind(u":userName"_s, members.userName)
        .bind(u":encryptedPassword"_s, Encrypt(members.password))
        .bind(u":nameValueProperties"_s, ToNameValuePropertyString(members.nameValueProperties))
        .bind(u":serverId"_s, members.serverId)
        .exec();
}

bool AuthenticationConfigManager::Add(AuthenticationConfiguration& signIn)
{
    TransactionalScope scope;
    auto& members = signIn.members;
    return _Prepare(Insert.toString())
        .bind(u":domain"_s, members.domain)
        .bind(u":domainId"_s, members.domainId)
        .bind(u":userName"_s, members.userName)
        .bind(u":encryptedPassword"_s, Encrypt(members.password))
        .bind(u":nameValueProperties"_s, ToNameValuePropertyString(members.nameValueProperties))
        .bind(u":serverId"_s, members.serverId)
        .execInsert(members.id);
}

bool AuthenticationConfigManager::Remove(int id)
{
    TransactionalScope scope;
    return _Prepare(Delete.toString()).bind(u":id"_s, id).exec();
}

QVector<AuthenticationConfiguration>
AuthenticationConfigManager::GetDistinctAuthenticationConfigurations()
{
    return _Prepare(SelectDistinct.toString())
        .readAll<QVector<AuthenticationConfiguration>>(
            this, &AuthenticationConfigManager::_PopulateDistinctAuthenticationConfigurations);
}

int AuthenticationConfigManager::UpdatePassword(QString domain, QString userName, QString password)
{
    TransactionalScope scope;
    return _Prepare(UpdatePasswordByDomainAndUser.toString())
        .bind(u":domain"_s, domain)
        .bind(u":userName"_s, userName)
        .bind(u":encryptedPassword"_s, Encrypt(password))
        .execCounting();
}

void AuthenticationConfigManager::_PopulateAuthenticationConfiguration(
    const RowReader& row, AuthenticationConfiguration& signIn) const
{
    if (!row.isValid())
        return;

    auto& members = signIn.members;
    members.id = row.integer(0);
    members.domain = row.text(1);
    members.domainId = row.text(2);
    members.userName = row.text(3);
    members.password = Decrypt(row.value(4));
    members.nameValueProperties = _NameValueProperties(row, 5);
    members.serverId = row.integer(6);
}

void AuthenticationConfigManager::_PopulateAuthenticationConfigurations(
    const RowReader& row, QVector<AuthenticationConfiguration>& signIns) const
{
    while (row.next())
        _PopulateAuthenticationConfiguration(row, signIns.emplace_back());
}

void AuthenticationConfigManager::_PopulateDistinctAuthenticationConfigurations(
    const RowReader& row, QVector<AuthenticationConfiguration>& signIns) const
{
    while (row.next()) {
        auto& members = signIns.emplace_back().members;
        members.domain = row.text(0);
        members.userName = row.text(1);
    }
}

} // namespace sync::config
