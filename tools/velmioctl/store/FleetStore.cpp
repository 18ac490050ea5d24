#include <velmioctl/store/FleetStore.h>

#include <database/DatabaseError.h>
#include <fleet/PostgresDatabaseFactory.h>
#include <velmioctl/cli/ExitCode.h>
#include <velmioctl/cli/Text.h>
#include <velmioctl/store/FleetConnection.h>
#include <velmioctl/store/WatchedDatabase.h>

#include <libpq-fe.h>

using namespace Qt::StringLiterals;
using sync::fleet::PostgresDatabaseFactory;

namespace velmioctl {

namespace {

using Options = std::unique_ptr<PQconninfoOption, void (*)(PQconninfoOption*)>;

Options optionsIn(const QString& place)
{
    return {PQconninfoParse(place.toUtf8().constData(), nullptr), PQconninfoFree};
}

// Empty if it is not given.
QString settingOf(const Options& options, const char* keyword)
{
    for (const auto* option = options.get(); option && option->keyword; ++option) {
        if (qstrcmp(option->keyword, keyword) == 0)
            return QString::fromUtf8(option->val);
    }
    return {};
}

} // namespace

QString checkedFleetPlace(const QString& place)
{
    const Options options = optionsIn(place);
    if (!options) {
        throw CommandError(
            ExitCode::Usage, u"The connection to the fleet cannot be read. Write it like "
                             u"postgresql://LOGIN@HOST/DATABASE."_s);
    }
    for (const char* const secret : {"password", "sslpassword"}) {
        if (!settingOf(options, secret).isEmpty()) {
            throw CommandError(
                ExitCode::Usage,
                u"The connection to the fleet has a password in it, which other users of this "
                u"machine can read in the list of processes. Put it into ~/.pgpass, a service file "
                u"or the variable PGPASSWORD, and change it if the machine has other users."_s);
        }
    }
    return place;
}

QString fleetName(const QString& place)
{
    const Options options = optionsIn(place);
    const QString host = settingOf(options, "host");
    const QString database = settingOf(options, "dbname");
    QString service = settingOf(options, "service");
    if (database.isEmpty() && host.isEmpty())
        return service;
    return host.isEmpty() ? database : host + u'/' + database;
}

std::shared_ptr<WatchedDatabase> openFleetStore(const QString& place, const QString& storeId)
{
    const QByteArray store = storeId.toUtf8();
    {
        // The library would make a store that is missing.
        fleet::Connection connection(place);
        const fleet::FleetTransaction transaction(connection, store);
        fleet::requireStore(connection, store);
    }
    try {
        return std::make_shared<WatchedDatabase>(
            PostgresDatabaseFactory::open(place, storeId),
            u"%1 of the fleet %2"_s.arg(storeId, fleetName(place)));
    } catch (const sync::database::DatabaseError& error) {
        throw commandError(error);
    }
}

} // namespace velmioctl
