#include "support/DatabaseDump.h"
#include "support/DiskRecorder.h"
#include "support/Managers.h"
#include "support/Trials.h"

#include <database/DatabaseBackups.h>
#include <database/DatabaseError.h>
#include <support/RawDatabase.h>

#include <QDir>
#include <QLoggingCategory>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>

#include <optional>
#include <utility>

using namespace Qt::StringLiterals;
using namespace sync::test;
using sync::database::DatabaseBackups;

namespace {

/// Looks for the backup just before the first change of the database.
class BackupWatcher : public DiskRecorder
{
public:
    explicit BackupWatcher(const QString& path)
        : DiskRecorder(path)
        , path(path)
    {
    }

    IoFate before(const IoCall& call) override
    {
        const bool ofDatabase =
            call.path == path.toUtf8() || call.path == path.toUtf8() + QByteArray("-wal");
        if (call.kind == IoCall::Write && ofDatabase && !std::exchange(looked, true))
            found = DatabaseBackups(path).newestVerified();
        return {};
    }

    std::optional<DatabaseBackups::Backup> found;

private:
    const QString path;
    bool looked = false;
};

} // namespace

/// Stops the migration of each earlier schema version after each of its steps, by a kill and by a
/// power cut: the next open completes it, and no row is lost.
class TestMigrationFaults : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void backupExistsBeforeTheFirstChange_data() { addEarlierDatabases(); }
    void backupExistsBeforeTheFirstChange();
    void migrationCanStopAfterEveryStep_data() { addEarlierDatabases(); }
    void migrationCanStopAfterEveryStep();

private:
    struct Migration
    {
        DatabaseFiles start;
        QList<DiskEvent> events;
        QStringList result;
    };

    void addEarlierDatabases();
    Migration migrationOf(const DatabaseFiles& start);
    QByteArray resume(const DatabaseFiles& disk, const QStringList& expected);

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

void TestMigrationFaults::addEarlierDatabases()
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
        user.run(u"UPDATE ServerConfiguration SET alias = 'in the WAL'"_s);
        QTest::addRow("%s with a WAL", qPrintable(name)) << DatabaseFiles::read(path);
    }
}

void TestMigrationFaults::backupExistsBeforeTheFirstChange()
{
    QFETCH(DatabaseFiles, start);
    start.write(path);
    // A backup holds its own number.
    const auto rowsOf = [](const QString& file) {
        return dumpOf(file).filter(QRegularExpression(u"^(?!BackupCounter)"_s));
    };
    const QStringList rows = rowsOf(path);
    QDir(DatabaseBackups(path).folder()).removeRecursively();
    start.write(path);
    BackupWatcher watcher(path);

    {
        const IoWatch watch(watcher);
        const Managers managers(path);
    }

    QVERIFY(watcher.found);
    QCOMPARE(watcher.found->reason, DatabaseBackups::Reason::Migration);
    QCOMPARE(rowsOf(watcher.found->path), rows);
}

void TestMigrationFaults::migrationCanStopAfterEveryStep()
{
    QFETCH(DatabaseFiles, start);
    const Migration migration = migrationOf(start);
    const qsizetype steps = migration.events.size();
    QVERIFY(steps > 0);

    for (int step = firstCall() - 1; step <= steps; step += everyCallStep()) {
        const auto killed = diskAfterKill(start, migration.events, step);
        QByteArray finding = resume(killed, migration.result);
        QRandomGenerator chance(static_cast<quint32>(step));
        if (finding.isEmpty()) {
            const auto cut = diskAfterCut(start, migration.events, step, chance);
            finding = resume(cut, migration.result);
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
    // The migration may add rows but must not change one.
    rows.removeIf([&](const QString& row) { return migration.result.contains(row); });
    if (!rows.isEmpty())
        qFatal("The migration itself loses rows");
    return migration;
}

QByteArray TestMigrationFaults::resume(const DatabaseFiles& disk, const QStringList& expected)
{
    disk.write(path);
    try {
        Managers managers(path);
        const QStringList rows = checkedDumpOf(path);
        if (rows != expected)
            return "the rows are wrong:\n" + difference(rows, expected);
        if (schemaOf(path) != currentSchema)
            return "the schema is not that of a new database";
        return managers.addServer(u"after the migration"_s) ? "" : "nothing can be written";
    } catch (const sync::database::DatabaseError& error) {
        return "the database does not open: " + error.text().toUtf8();
    }
}

QTEST_GUILESS_MAIN(TestMigrationFaults)
#include "TestMigrationFaults.moc"
