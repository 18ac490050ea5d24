#include <config/passwords/StoredPasswords.h>

#include <config/statement/SqlText.h>
#include <config/statement/Statement.h>
#include <core/Cipher.h>
#include <core/Crypto.h>
#include <interf/IDatabaseFactory.h>

#include <algorithm>

using namespace Qt::StringLiterals;
using namespace sync::core::crypto;
using sync::interf::factory::IDatabaseFactory;

namespace sync::config {

namespace {

constexpr SqlText SelectPasswords(
    u"SELECT id, encryptedPassword, domain, userName, serverId FROM AuthenticationConfiguration"
    u" WHERE encryptedPassword IS NOT NULL");
constexpr auto SelectPasswordsOfServer = SelectPasswords + u" AND serverId = :serverId";
constexpr auto SelectPasswordsWithoutServer =
    SelectPasswords + u" AND serverId NOT IN (SELECT id FROM ServerConfiguration)";
// Compares the previous password too, so that it does not overwrite one that was just changed.
constexpr SqlText ReplacePassword(
    u"UPDATE AuthenticationConfiguration SET encryptedPassword = :encryptedPassword"
    u" WHERE id = :id AND encryptedPassword = :previousPassword");
// Changes no row; a write begins the transaction.
constexpr SqlText TakeWriteLock(u"UPDATE AuthenticationConfiguration SET id = id WHERE 1 = 0");

std::optional<std::vector<StoredPassword>> readAll(Statement statement)
{
    if (!statement.exec())
        return {};
    std::vector<StoredPassword> passwords;
    for (const RowReader row = statement.row(); row.next();) {
        passwords.push_back(
            {row.integer(0), row.value(1).toByteArray(), row.text(2), row.text(3), row.integer(4)});
    }
    // A list that broke off would make keys look unused that later passwords need.
    if (!statement.lastError().isEmpty())
        return {};
    return passwords;
}

} // namespace

std::optional<std::vector<StoredPassword>> readPasswords(IDatabaseFactory& factory)
{
    return readAll({factory.CreateQuery(), SelectPasswords});
}

int replacePassword(
    IDatabaseFactory& factory, const StoredPassword& password, const QByteArray& value)
{
    return Statement(factory.CreateQuery(), ReplacePassword)
        .bind(u":id"_s, password.signInId)
        .bind(u":encryptedPassword"_s, QVariant(value))
        .bind(u":previousPassword"_s, QVariant(password.value))
        .execCounting();
}

bool lockPasswords(IDatabaseFactory& factory)
{
    return Statement(factory.CreateQuery(), TakeWriteLock).exec();
}

PasswordsOfServer::PasswordsOfServer(
    IDatabaseFactory& factory, const PasswordContexts& contexts, std::optional<int> serverId)
    : factory(factory)
    , contexts(contexts)
{
    if (!contexts.areKnown())
        return;
    Statement statement(
        factory.CreateQuery(),
        serverId ? QString(SelectPasswordsOfServer) : SelectPasswordsWithoutServer);
    if (serverId)
        statement.bind(u":serverId"_s, *serverId);
    auto list = readAll(std::move(statement));
    read = list.has_value();
    for (StoredPassword& password : list.value_or(std::vector<StoredPassword>())) {
        // Only a bound password depends on the server.
        if (!unseal(password.value, {}).bound)
            continue;
        SecretContext context = password.context(contexts);
        passwords.push_back({std::move(password), std::move(context)});
    }
}

bool PasswordsOfServer::bindAgain() const
{
    try {
        const auto bind = [this](const Remembered& remembered) {
            return _BindAgain(remembered.password, remembered.context);
        };
        return read && std::all_of(passwords.begin(), passwords.end(), bind);
    } catch (const KeyError&) {
        return false;
    }
}

bool PasswordsOfServer::_BindAgain(
    const StoredPassword& password, const SecretContext& before) const
{
    const SecretContext now = password.context(contexts);
    if (now.servers == before.servers)
        return true;
    const Unsealed opened = unseal(password.value, keyStore()->read(), before);
    if (opened.outcome != Unsealed::Outcome::Read)
        return true;
    return replacePassword(factory, password, Encrypt(opened.secret.view(), now).toByteArray()) >=
           0;
}

} // namespace sync::config
