#include <config/PasswordContexts.h>

#include <config/statement/SqlText.h>
#include <config/statement/Statement.h>
#include <database/IdentitySource.h>
#include <interf/IDatabaseFactory.h>

#include <QUrl>

using namespace Qt::StringLiterals;
using sync::core::crypto::SecretContext;

namespace sync::config {

namespace {

constexpr SqlText SelectUrls(
    u"SELECT davUrl, webServiceUrl FROM ServerConfiguration WHERE id = :id");
constexpr SqlText SelectServers(u"SELECT DISTINCT serverId FROM AuthenticationConfiguration"
                                u" WHERE domain = :domain AND userName = :userName");

QString storeIdOf(interf::factory::IDatabaseFactory& factory)
{
    const auto* const source = dynamic_cast<const database::IdentitySource*>(&factory);
    return source ? source->storeId() : QString();
}

// The length first, so that no two lists of texts are written alike.
void append(QByteArray& bytes, const QString& text)
{
    const QByteArray utf8 = text.toUtf8();
    bytes += QByteArray::number(utf8.size()) + ':' + utf8;
}

// The whole text of what is not certainly a URL with a host: parsers read such texts differently.
QString originOf(const QString& text)
{
    const QUrl url(text, QUrl::StrictMode);
    if (!url.isValid() || url.host().isEmpty())
        return text;
    const QString origin = url.scheme() + u"://"_s + url.host(QUrl::FullyEncoded);
    const QString scheme = url.scheme();
    const int usualPort = scheme == u"https"_s ? 443 : scheme == u"http"_s ? 80 : 0;
    return origin + u':' + QString::number(url.port(usualPort));
}

QByteArray recordOf(const QString& domain, const QString& userName)
{
    QByteArray record("AuthenticationConfiguration ");
    append(record, domain);
    append(record, userName);
    return record;
}

} // namespace

PasswordContexts::PasswordContexts(interf::factory::IDatabaseFactory& databaseFactory)
    : databaseFactory(databaseFactory)
    , identity(storeIdOf(databaseFactory))
{
}

SecretContext PasswordContexts::of(
    const QString& domain, const QString& userName, int serverId) const
{
    if (!areKnown())
        return {};
    return {identity, recordOf(domain, userName), {_Server(serverId)}};
}

SecretContext PasswordContexts::ofAll(const QString& domain, const QString& userName) const
{
    if (!areKnown())
        return {};
    SecretContext context{identity, recordOf(domain, userName)};
    Statement statement(databaseFactory.CreateQuery(), SelectServers);
    statement.bind(u":domain"_s, domain).bind(u":userName"_s, userName);
    const bool read = statement.exec();
    for (const RowReader row = statement.row(); read && row.next();)
        context.servers.append(_Server(row.integer(0)));
    anyFailure = anyFailure || !read || !statement.lastError().isEmpty();
    return context;
}

QByteArray PasswordContexts::_Server(int id) const
{
    Statement statement(databaseFactory.CreateQuery(), SelectUrls);
    statement.bind(u":id"_s, id);
    const bool read = statement.exec();
    const bool found = read && statement.row().next();
    anyFailure = anyFailure || !read || !statement.lastError().isEmpty();
    QByteArray server = QByteArray::number(id) + ' ';
    append(server, found ? originOf(statement.row().text(0)) : QString());
    append(server, found ? originOf(statement.row().text(1)) : QString());
    return server;
}

} // namespace sync::config
