#include "support/DatabaseDump.h"
#include "support/DiskRecorder.h"
#include "support/Managers.h"
#include "support/Trials.h"

#include <database/DatabaseError.h>
#include <support/RawDatabase.h>

#include <QDir>
#include <QLoggingCategory>
#include <QTemporaryDir>
#include <QTest>

using namespace Qt::StringLiterals;
using namespace sync::test;

/// Kills the migration of each earlier schema version at each of its steps, and cuts the power
/// there: the next opening carries on, and no row is lost.
class TestMigrationFaults : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void everyStepCanBeTheLast_data();
    void everyStepCanBeTheLast();

private:
    struct Migration
    {
        DatabaseFiles start;
        QList<DiskEvent> events;
        QStringList result;
    };

    Migration migrationOf(const DatabaseFiles& start);
    QByteArray carryOn(const DatabaseFiles& disk, const QStringList& expected);

    QTemporaryDir directory{scratchTemplate()};
    const QString path = directory.filePath(u"configuration.db"_s);
    QStringList currentSchema;
};

void TestMigrationFaults::initTestCase()
{
    QLoggingCategory::setFilterRules(u"velmio.*=false"_s);
    installWatchedVfs();
    const QString fresh = directory.filePath(u"fresh.db"_s);
    const Managers managers(fresh);
    currentSchema = schemaOf(fresh);
}

void TestMigrationFaults::everyStepCanBeTheLast_data()
{
    QTest::addColumn<DatabaseFiles>("start");
    const QDir earlier(QStringLiteral(VELMIO_TEST_DATA));
    const QStringList names = earlier.entryList({u"version-*.db"_s}, QDir::Files);
    QVERIFY(!names.isEmpty());
    for (const QString& name : names) {
        const DatabaseFiles closed = DatabaseFiles::read(earlier.filePath(name));
        QTest::addRow("%s", qPrintable(name)) << closed;
        closed.write(path);
        RawDatabase user(path, unwatchedVfs());
        user.run(u"UPDATE ServerConfiguration SET alias = 'in the log'"_s);
        QTest::addRow("%s with a log", qPrintable(name)) << DatabaseFiles::read(path);
    }
}

void TestMigrationFaults::everyStepCanBeTheLast()
{
    QFETCH(DatabaseFiles, start);
    const Migration migration = migrationOf(start);
    const qsizetype steps = migration.events.size();
    QVERIFY(steps > 0);

    for (int step = firstCall() - 1; step <= steps; step += everyCallStep()) {
        const auto killed = diskAfterKill(start, migration.events, step);
        QByteArray finding = carryOn(killed, migration.result);
        QRandomGenerator chance(static_cast<quint32>(step));
        if (finding.isEmpty()) {
            const auto cut = diskAfterCut(start, migration.events, step, chance);
            finding = carryOn(cut, migration.result);
        }
        QVERIFY2(
            finding.isEmpty(),
            (finding + '\n' + repeatWith(static_cast<quint32>(step + 1))).constData());
    }
    qInfo("%lld steps, with a kill and a power cut after each", qlonglong(steps));
}

TestMigrationFaults::Migration TestMigrationFaults::migrationOf(const DatabaseFiles& start)
{
    start.write(path);
    QStringList rows = dumpOf(path);
    start.write(path);
    DiskRecorder recorder(path);
    {
        const IoWatch watch(recorder);
        const Managers managers(path);
    }
    Migration migration{start, recorder.events(), dumpOf(path)};
    // Nothing but new rows.
    rows.removeIf([&](const QString& row) { return migration.result.contains(row); });
    if (!rows.isEmpty())
        qFatal("The migration itself loses rows");
    return migration;
}

QByteArray TestMigrationFaults::carryOn(const DatabaseFiles& disk, const QStringList& expected)
{
    disk.write(path);
    try {
        Managers managers(path);
        const QStringList rows = checkedDumpOf(path);
        if (rows != expected)
            return "there is:\n" + difference(rows, expected);
        if (schemaOf(path) != currentSchema)
            return "the schema is not that of a new database";
        auto server = sampleServer(u"after the migration"_s);
        return managers.servers.Add(server) ? "" : "nothing can be written";
    } catch (const sync::database::DatabaseError& error) {
        return "the database does not open: " + error.text().toUtf8();
    }
}

QTEST_GUILESS_MAIN(TestMigrationFaults)
#include "TestMigrationFaults.moc"
