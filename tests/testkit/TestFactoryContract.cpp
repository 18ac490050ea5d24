#include <support/Engines.h>
#include <support/TemporaryPlace.h>

#include <testkit/FactoryCheck.h>
#include <testkit/QtTestRows.h>

#include <QTemporaryDir>
#include <QTest>

using namespace Qt::StringLiterals;
using namespace sync;

/// Checks every engine of ours against the contract of a factory.
class TestFactoryContract : public QObject
{
    Q_OBJECT

public:
    // Where a clock reading can be one that the local clock leaves out.
    static void initMain() { qputenv("TZ", "America/New_York"); }

private Q_SLOTS:
    void theEmbeddedEngineKeepsIt_data() { testkit::addCheckRows(); }
    void theEmbeddedEngineKeepsIt() { runRow(u"embedded"_s); }
    void aFactoryOverQtSqlKeepsIt_data() { testkit::addCheckRows(); }
    void aFactoryOverQtSqlKeepsIt() { runRow(u"qtsql"_s); }

private:
    void runRow(const QString& engine)
    {
        const QTemporaryDir folder(test::temporaryPlaceInMemory());
        const QString path = folder.filePath(u"store.db"_s);
        testkit::Host host;
        host.factory = test::openEngine(engine, path);
        host.reopen = [&] { return test::openEngine(engine, path); };
        testkit::runCheckRow(host);
    }
};

QTEST_GUILESS_MAIN(TestFactoryContract)
#include "TestFactoryContract.moc"
