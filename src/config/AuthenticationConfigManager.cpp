#include <config/AuthenticationConfigManager.h>

#include <config/PasswordContexts.h>
#include <config/passwords/StoredPasswords.h>
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

AuthenticationConfiguration AuthenticationConfigManager::GetAuthenticationConfigurationById(
    int authenticationConfigurationId) const
{
    return _Prepare(SelectById)
        .bind(u":id"_s, authenticationConfigurationId)
        .readOne(this, &AuthenticationConfigManager::_PopulateAuthenticationConfiguration);
}

AuthenticationConfiguration AuthenticationConfigManager::
    GetAuthenticationConfigurationByDomainAndUser(QString domain, QString userName) const
{
    return _Prepare(SelectByDomainAndUser)
        .bind(u":domain"_s, domain)
        .bind(u":userName"_s, userName)
        .readOne(this, &AuthenticationConfigManager::_PopulateAuthenticationConfiguration);
}

QVector<AuthenticationConfiguration> AuthenticationConfigManager::GetAll() const
{
    return _Prepare(SelectAll).readAll(
        this, &AuthenticationConfigManager::_PopulateAuthenticationConfiguration);
}

bool AuthenticationConfigManager::Update(AuthenticationConfiguration signIn)
{
    const auto& members = signIn.members;
    return writeBound(*databaseFactory, false, [&](const PasswordContexts& contexts) {
        const auto context = contexts.of(members.domain, members.userName, members.serverId);
        return _Prepare(UpdateById)
            .bind(u":id"_s, members.id)
            .bind(u":domain"_s, members.domain)
            .bind(u":domainId"_s, members.domainId)
            .bind(u":userName"_s, members.userName)
            .bind(u":encryptedPassword"_s, Encrypt(members.password, context))
            .bind(u":nameValueProperties"_s, ToNameValuePropertyString(members.nameValueProperties))
            .bind(u":serverId"_s, members.serverId)
            .exec();
    });
}

bool AuthenticationConfigManager::Add(AuthenticationConfiguration& signIn)
{
    auto& members = signIn.members;
    int id = members.id;
    const bool added = writeBound(*databaseFactory, false, [&](const PasswordContexts& contexts) {
        const auto context = contexts.of(members.domain, members.userName, members.serverId);
        return _Prepare(Insert)
            .bind(u":domain"_s, members.domain)
            .bind(u":domainId"_s, members.domainId)
            .bind(u":userName"_s, members.userName)
            .bind(u":encryptedPassword"_s, Encrypt(members.password, context))
            .bind(u":nameValueProperties"_s, ToNameValuePropertyString(members.nameValueProperties))
            .bind(u":serverId"_s, members.serverId)
            .execInsert(id);
    });
    if (added)
        members.id = id;
    return added;
}

bool AuthenticationConfigManager::Remove(int id)
{
    TransactionalScope scope;
    return _Prepare(Delete).bind(u":id"_s, id).exec();
}

QVector<AuthenticationConfiguration>
AuthenticationConfigManager::GetDistinctAuthenticationConfigurations()
{
    return _Prepare(SelectDistinct)
        .readAll(this, &AuthenticationConfigManager::_PopulateDistinctAuthenticationConfiguration);
}

int AuthenticationConfigManager::UpdatePassword(QString domain, QString userName, QString password)
{
    return writeBound(*databaseFactory, -1, [&](const PasswordContexts& contexts) {
        const auto context = contexts.ofAll(domain, userName);
        return _Prepare(UpdatePasswordByDomainAndUser)
            .bind(u":domain"_s, domain)
            .bind(u":userName"_s, userName)
            .bind(u":encryptedPassword"_s, Encrypt(password, context))
            .execCounting();
    });
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
    members.serverId = row.integer(6);
    members.password = Decrypt(
        row.value(4),
        PasswordContexts(*databaseFactory).of(members.domain, members.userName, members.serverId));
    members.nameValueProperties = _NameValueProperties(row, 5);
}

void AuthenticationConfigManager::_PopulateDistinctAuthenticationConfiguration(
    const RowReader& row, AuthenticationConfiguration& signIn) const
{
    signIn.members.domain = row.text(0);
    signIn.members.userName = row.text(1);
}

} // namespace sync::config
