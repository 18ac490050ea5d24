#include "FuzzStore.h"

#include <database/DatabaseError.h>
#include <database/StoreInspection.h>

#include <QLoggingCategory>

using namespace Qt::StringLiterals;
using namespace sync::config;
using namespace sync::database;
using namespace sync::test;

namespace {

// Statements reach no other file, and end soon.
int authorize(void* /*context*/, int action, const char*, const char*, const char*, const char*)
{
    return action == SQLITE_ATTACH ? SQLITE_DENY : SQLITE_OK;
}

int stopEndless(void* /*context*/)
{
    return 1;
}

// What the owner of the file can do to it with SQLite.
void changeSchema(const QByteArray& sql)
{
    constexpr int Instructions = 20'000;
    constexpr int LongestValue = 100'000;
    RawDatabase file(fuzzStorePath());
    sqlite3_limit(file.handle(), SQLITE_LIMIT_LENGTH, LongestValue);
    sqlite3_set_authorizer(file.handle(), authorize, nullptr);
    sqlite3_progress_handler(file.handle(), Instructions, stopEndless, nullptr);
    file.tryRun("PRAGMA writable_schema = ON");
    for (const QByteArray& statement : sql.split('\n'))
        file.tryRun(statement.constData());
}

// Nothing of the schema changes what is written.
void requireHonest(const std::shared_ptr<SqliteDatabaseFactory>& factory)
{
    ServerConfigManager servers(factory);
    ServerConfiguration server;
    server.setAlias(u"own"_s);
    server.setDavUrl(u"https://own.example/dav"_s);
    server.setWebServiceUrl(u"https://own.example/ws"_s);
    if (!servers.Add(server))
        return;
    const auto stored = servers.GetServerConfigById(server.getId());
    fuzzRequire(stored.getDavUrl() == server.getDavUrl() && stored.getAlias() == server.getAlias());
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int* /*argc*/, char*** /*argv*/)
{
    QLoggingCategory::setFilterRules(u"velmio.*=false"_s);
    return 0;
}

/// Runs each line as a statement in a store, and opens the store: it is refused with a text, or
/// shows what is written to it.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size)
{
    const QByteArray& image = fuzzImage();
    fuzzRemoveFiles();
    fuzzWrite(fuzzStorePath(), image);
    changeSchema(fuzzBytes(bytes, size));
    StoreInspection(fuzzStorePath()).schemaDifferences();
    try {
        const auto factory = SqliteDatabaseFactory::open(fuzzStorePath());
        requireHonest(factory);
        fuzzUse(factory);
    } catch (const DatabaseError& error) {
        fuzzRequire(!error.text().isEmpty());
    }
    return 0;
}
