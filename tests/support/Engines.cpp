#include <support/Engines.h>

#include <database/SqliteDatabaseFactory.h>
#include <interf/IQSqlQueryWrapper.h>
#include <support/QtSqlDatabaseFactory.h>
#ifdef VELMIO_WITH_POSTGRESQL
    #include <fleet/PostgresDatabaseFactory.h>
    #include <support/PostgresServer.h>
#endif

#include <QTest>

#include <functional>
#include <utility>

using namespace Qt::StringLiterals;

namespace sync::test {

namespace {

using Factory = std::shared_ptr<interf::factory::IDatabaseFactory>;

#ifdef VELMIO_WITH_POSTGRESQL
// The file only names the store. A login of a service, because policies do not restrict a
// superuser.
Factory openPostgres(const QString& path)
{
    static const bool prepared = [] {
        PostgresServer& server = *PostgresServer::shared();
        fleet::PostgresDatabaseFactory::open(server.connection(), u"first"_s);
        server.run(u"CREATE ROLE velmio_tests LOGIN IN ROLE velmio_service"_s);
        server.run(u"GRANT CREATE ON SCHEMA public TO velmio_tests"_s);
        return true;
    }();
    Q_ASSERT(prepared);
    return fleet::PostgresDatabaseFactory::open(
        PostgresServer::shared()->connection(u"velmio_tests"_s), path);
}
#endif

const std::pair<QString, std::function<Factory(const QString&)>> Engines[] = {
    {u"embedded"_s, database::SqliteDatabaseFactory::open},
    {u"qtsql"_s, QtSqlDatabaseFactory::open},
#ifdef VELMIO_WITH_POSTGRESQL
    {u"postgres"_s, openPostgres},
#endif
};

} // namespace

bool isAvailable([[maybe_unused]] const QString& engine)
{
#ifdef VELMIO_WITH_POSTGRESQL
    return engine != u"postgres" || PostgresServer::isInstalled();
#else
    return true;
#endif
}

void addEngineRows()
{
    QTest::addColumn<QString>("engine");
    for (const auto& engine : Engines) {
        if (isAvailable(engine.first))
            QTest::addRow("%s", qPrintable(engine.first)) << engine.first;
        else
            qWarning("not run: the tests with the engine %s", qPrintable(engine.first));
    }
}

Factory openEngine(const QString& engine, const QString& path)
{
    for (const auto& [name, open] : Engines) {
        if (name == engine)
            return open(path);
    }
    qFatal("There is no engine %s", qPrintable(engine));
}

std::shared_ptr<void> refuseRemoval(
    const QString& engine, interf::factory::IDatabaseFactory& factory, const QString& table)
{
#ifdef VELMIO_WITH_POSTGRESQL
    if (engine == u"postgres") {
        const QString right = u"DELETE ON velmio."_s + table;
        PostgresServer::shared()->run(u"REVOKE "_s + right + u" FROM velmio_service"_s);
        return {nullptr, [right](void*) {
                    PostgresServer::shared()->run(u"GRANT "_s + right + u" TO velmio_service"_s);
                }};
    }
#endif
    const auto query = factory.CreateQuery();
    query->prepare(
        u"CREATE TRIGGER KeepRows BEFORE DELETE ON %1 BEGIN SELECT RAISE(ABORT, 'kept'); END"_s.arg(
            table));
    if (!query->exec())
        qFatal("%s: %s", qPrintable(engine), qPrintable(query->lastError()));
    return {};
}

} // namespace sync::test
