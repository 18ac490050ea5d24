#include <fleet/connection/ConnectionOptions.h>

#include <database/DatabaseError.h>

#include <libpq-fe.h>

#include <algorithm>
#include <memory>
#include <utility>

using namespace Qt::StringLiterals;

namespace sync::fleet {

namespace {

struct FreeOptions
{
    void operator()(PQconninfoOption* options) const { PQconninfoFree(options); }
};

// In `options` a backslash keeps a blank from ending the setting.
QByteArray sessionSetting(const char* name, QByteArray value)
{
    value.replace('\\', "\\\\").replace(' ', "\\ ");
    return "-c " + QByteArray(name) + '=' + value + ' ';
}

QByteArray transactionSetting(const char* name, QByteArray value)
{
    value.replace('\'', "''");
    return "set_config('" + QByteArray(name) + "', '" + value + "', true)";
}

} // namespace

ConnectionOptions::ConnectionOptions(const QString& connection, const QString& storeId)
{
    const std::unique_ptr<PQconninfoOption, FreeOptions> parsed(
        PQconninfoParse(connection.toUtf8().constData(), nullptr));
    if (!parsed)
        throw database::DatabaseError(
            database::DatabaseError::Cause::Other,
            u"The connection of the fleet cannot be read: write it as a URI "
            u"(postgresql://host/database) or as keywords (host=... dbname=...)."_s);
    for (const PQconninfoOption* option = parsed.get(); option->keyword; ++option) {
        if (option->val)
            options.push_back({option->keyword, option->val});
    }
    // libpq would accept any server, and would not notice that it reads in clear.
    if (!qEnvironmentVariableIsSet("PGSSLMODE"))
        setDefault("sslmode", "verify-full");
    setDefault("connect_timeout", "10");
    setDefault("application_name", "velmio");
    // A server that has vanished is noticed within half a minute.
    setDefault("tcp_user_timeout", "30000");
    setDefault("keepalives_idle", "15");
    setDefault("keepalives_interval", "5");
    setDefault("keepalives_count", "3");
    options.push_back({"client_encoding", "UTF8"});
    const std::pair<const char*, QByteArray> state[] = {
        {"statement_timeout", "60s"},
        {"lock_timeout", "5s"},
        {"velmio.store", storeId.toUtf8()},
    };
    QByteArray ours = sessionSetting("velmio.session", "kept"); // see hasSession()
    for (const auto& [name, value] : state) {
        ours += sessionSetting(name, value);
        settings += (settings.isEmpty() ? "SELECT " : ", ") + transactionSetting(name, value);
    }
    // The last of two settings counts.
    const QByteArray* const given = find("options");
    options.push_back({"options", given ? ours + *given : ours});
}

std::vector<const char*> ConnectionOptions::keywords() const
{
    std::vector<const char*> pointers;
    for (const Option& option : options)
        pointers.push_back(option.keyword.constData());
    pointers.push_back(nullptr);
    return pointers;
}

std::vector<const char*> ConnectionOptions::values() const
{
    std::vector<const char*> pointers;
    for (const Option& option : options)
        pointers.push_back(option.value.constData());
    pointers.push_back(nullptr);
    return pointers;
}

ConnectionOptions ConnectionOptions::withoutSession() const
{
    ConnectionOptions others = *this;
    std::erase_if(others.options, [](const Option& option) { return option.keyword == "options"; });
    return others;
}

const QByteArray* ConnectionOptions::find(const QByteArray& keyword) const
{
    const auto found = std::find_if(options.begin(), options.end(), [&](const Option& option) {
        return option.keyword == keyword;
    });
    return found == options.end() ? nullptr : &found->value;
}

void ConnectionOptions::setDefault(const QByteArray& keyword, const QByteArray& value)
{
    if (!find(keyword))
        options.push_back({keyword, value});
}

} // namespace sync::fleet
