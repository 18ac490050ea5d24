#include <support/Engines.h>

#include <database/SqliteDatabaseFactory.h>
#include <support/QtSqlDatabaseFactory.h>

#include <QTest>

#include <functional>
#include <utility>

using namespace Qt::StringLiterals;

namespace sync::test {

namespace {

using Factory = std::shared_ptr<interf::factory::IDatabaseFactory>;

const std::pair<QString, std::function<Factory(const QString&)>> Engines[] = {
    {u"embedded"_s, database::SqliteDatabaseFactory::open},
    {u"qtsql"_s, QtSqlDatabaseFactory::open},
};

} // namespace

void addEngineRows()
{
    QTest::addColumn<QString>("engine");
    for (const auto& engine : Engines)
        QTest::addRow("%s", qPrintable(engine.first)) << engine.first;
}

Factory openEngine(const QString& engine, const QString& path)
{
    for (const auto& [name, open] : Engines) {
        if (name == engine)
            return open(path);
    }
    qFatal("There is no engine %s", qPrintable(engine));
}

} // namespace sync::test
