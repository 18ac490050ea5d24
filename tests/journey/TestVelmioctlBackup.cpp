#include "PseudoTerminal.h"
#include "StoredRows.h"
#include "VelmioctlRunner.h"

#include <support/RawDatabase.h>

#include <database/SqliteDatabaseFactory.h>
#include <interf/IQSqlQueryWrapper.h>

#include <QDir>
#include <QFile>
#include <QTest>

#include <atomic>
#include <thread>

using namespace Qt::StringLiterals;
using sync::database::SqliteDatabaseFactory;
using sync::test::RawDatabase;

/// Runs over a database with the server 1, "first".
class TestVelmioctlBackup : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init()
    {
        tool = std::make_unique<VelmioctlRunner>();
        QCOMPARE(tool->run({u"init"_s}).exitCode, 0);
        QVERIFY(addServer(u"first"_s));
    }

    void cleanup() { tool.reset(); }

    void backupIsMadeAndListed()
    {
        const auto made = tool->json({u"backup"_s});
        const auto again = tool->run({u"backup"_s});
        const auto listed = tool->json({u"backup"_s, u"--list"_s, u"--verify"_s});
        const auto forPeople = tool->run({u"backup"_s, u"--list"_s, u"--verify"_s});

        QCOMPARE(made.exitCode, 0);
        const QString path = made.object()[u"path"_s].toString();
        QCOMPARE(QFileInfo(path).path(), backupFolder());
        QCOMPARE(made.object()[u"bytes"_s].toInteger(), QFileInfo(path).size());
        QCOMPARE(made.object()[u"reason"_s].toString(), u"manual"_s);
        QCOMPARE(made.object()[u"verified"_s], QJsonValue(true));
        QCOMPARE(RawDatabase(path).value(u"SELECT alias FROM ServerConfiguration"_s), u"first"_s);
        QCOMPARE(again.exitCode, 0);
        QVERIFY2(
            again.output.startsWith(u"Made and verified the backup \"%1/"_s.arg(backupFolder())),
            qPrintable(again.output));
        QVERIFY(again.output.endsWith(u" bytes.\n"_s));
        QCOMPARE(listed.exitCode, 0);
        QCOMPARE(listed.array().size(), 2);
        QCOMPARE(listed.array()[1].toObject(), made.object());
        QVERIFY(forPeople.output.startsWith(u"NUMBER  TIME "_s));
        QVERIFY2(
            forPeople.output.endsWith(u"  whole  %1\n"_s.arg(path)), qPrintable(forPeople.output));
    }

    void impossibleTimeIsNamedAndDoesNotCount()
    {
        const QString old = tool->json({u"backup"_s}).object()[u"path"_s].toString();
        const QString ahead = backupFolder() + u"/configuration.db.29310101T000000000Z.manual.db"_s;
        QVERIFY(QFile::rename(old, ahead));
        QVERIFY(addServer(u"second"_s));
        const QString newest = tool->json({u"backup"_s}).object()[u"path"_s].toString();

        const auto listed = tool->json({u"backup"_s, u"--list"_s});

        QCOMPARE(listed.exitCode, 0);
        QCOMPARE(listed.array()[0].toObject()[u"path"_s].toString(), newest);
        QCOMPARE(listed.array()[0].toObject()[u"number"_s].toInt(), 2);
        QCOMPARE(listed.array()[1].toObject()[u"timeIsImpossible"_s], QJsonValue(true));
        QVERIFY2(
            listed.errors.contains(ahead) && listed.errors.contains(u"a clock was wrong"_s),
            qPrintable(listed.errors));
        QVERIFY(QFile::remove(tool->databasePath()));
        const QString aheadToo =
            backupFolder() + u"/configuration.db.29320101T000000000Z.manual.db"_s;
        QVERIFY(QFile::rename(newest, aheadToo));
        const auto asked = tool->run({u"recover"_s, u"--from-backup"_s});
        QVERIFY2(
            asked.errors.contains(u"Changes since that backup (its time is impossible"_s),
            qPrintable(asked.errors));
        const auto recovered = tool->json({u"recover"_s, u"--from-backup"_s, u"--yes"_s});
        QCOMPARE(recovered.object()[u"restoredFrom"_s].toString(), aheadToo);
    }

    void backupGoesIntoANewFileAlone()
    {
        const auto made = tool->json({u"backup"_s, u"mine.db"_s});
        const auto again = tool->run({u"backup"_s, u"mine.db"_s});

        QCOMPARE(made.exitCode, 0);
        QCOMPARE(made.object()[u"path"_s].toString(), tool->path(u"mine.db"_s));
        QCOMPARE(again.exitCode, 8);
        QVERIFY2(again.errors.contains(u"exists already"_s), qPrintable(again.errors));
        QVERIFY(!QFile::exists(backupFolder()));
        QCOMPARE(tool->run({u"backup"_s, u"mine.db"_s, u"--list"_s}).exitCode, 2);
    }

    void backupIsMadeWhileTheDatabaseIsInUse()
    {
        std::atomic<bool> done = false;
        std::atomic<int> failures = 0;
        std::thread writer([&] {
            const auto factory = SqliteDatabaseFactory::open(tool->databasePath());
            while (!done) {
                const auto query = factory->CreateQuery();
                query->prepare(u"INSERT INTO ServerConfiguration (alias) VALUES ('more')"_s);
                failures += query->exec() ? 0 : 1;
            }
        });

        const auto made = tool->json({u"backup"_s});
        done = true;
        writer.join();

        QCOMPARE(made.exitCode, 0);
        QCOMPARE(failures.load(), 0);
        QCOMPARE(
            RawDatabase(made.object()[u"path"_s].toString()).value(u"PRAGMA integrity_check"_s),
            u"ok"_s);
    }

    void backupWithoutADatabaseIsNotFound()
    {
        const VelmioctlRunner elsewhere;

        const auto made = elsewhere.run({u"backup"_s});
        const auto listed = elsewhere.json({u"backup"_s, u"--list"_s});

        QCOMPARE(made.exitCode, 3);
        QVERIFY(made.errors.contains(u"velmioctl init"_s));
        QVERIFY(!QFile::exists(elsewhere.databasePath()));
        QCOMPARE(listed.exitCode, 0);
        QCOMPARE(listed.output, u"[\n]\n"_s);
    }

    void damagedBackupIsAFinding()
    {
        const QString older = makeBackup();
        makeBackup();
        QVERIFY(QFile::resize(older, 8192));

        const auto listed = tool->json({u"backup"_s, u"--list"_s, u"--verify"_s});

        QCOMPARE(listed.exitCode, 1);
        QCOMPARE(listed.array()[0].toObject()[u"verified"_s], QJsonValue(true));
        QCOMPARE(listed.array()[1].toObject()[u"verified"_s], QJsonValue(false));
        const auto unread = tool->json({u"backup"_s, u"--list"_s});
        QCOMPARE(unread.exitCode, 0);
        QCOMPARE(unread.array()[1].toObject()[u"verified"_s], QJsonValue());
        QVERIFY2(listed.errors.contains(older), qPrintable(listed.errors));
        QCOMPARE(
            tool->run({u"backup"_s, u"--list"_s, u"--verify"_s}).output.count(u"unusable"_s), 1);
    }

    void rekeyMakesABackupFirst()
    {
        const auto run = tool->run({u"secrets"_s, u"rekey"_s});

        QCOMPARE(run.exitCode, 0);
        const auto listed = tool->json({u"backup"_s, u"--list"_s}).array();
        QCOMPARE(listed.size(), 1);
        QCOMPARE(listed[0].toObject()[u"reason"_s].toString(), u"rekey"_s);
        QVERIFY2(
            run.errors.contains(listed[0].toObject()[u"path"_s].toString()),
            qPrintable(run.errors));
    }

    void rekeyChangesNothingWithoutABackup()
    {
        // Blocks the creation of the folder.
        tool->writeFile(QFileInfo(backupFolder()).fileName(), "x");

        const auto run = tool->run({u"secrets"_s, u"rekey"_s});

        QCOMPARE(run.exitCode, 8);
        QVERIFY2(run.errors.startsWith(u"error: Nothing was changed"_s), qPrintable(run.errors));
        QVERIFY(!QFile::exists(tool->keyPath()));
    }

    void restoreGoesBackAndKeepsWhatWasThere()
    {
        const QString backup = makeBackup();
        QVERIFY(addServer(u"second"_s));

        const auto restored = tool->json({u"restore"_s, backup, u"--yes"_s});

        QCOMPARE(restored.exitCode, 0);
        QCOMPARE(aliases(), u"first"_s);
        const QString kept = restored.object()[u"keptPath"_s].toString();
        QCOMPARE(
            restored.object(), (QJsonObject{
                                   {u"path"_s, tool->databasePath()},
                                   {u"restoredFrom"_s, backup},
                                   {u"keptPath"_s, kept}}));
        const auto back = tool->run({u"restore"_s, kept, u"--yes"_s});
        QCOMPARE(back.exitCode, 0);
        QVERIFY2(back.output.startsWith(u"Restored the database "_s), qPrintable(back.output));
        QVERIFY(back.output.contains(u"is kept as "_s));
        QCOMPARE(aliases(), u"first second"_s);
    }

    void restoreAsksFirst()
    {
        const QString backup = makeBackup();
        QVERIFY(addServer(u"second"_s));

        QCOMPARE(tool->run({u"restore"_s, backup}).exitCode, 2);
        PseudoTerminal no(*tool, {u"restore"_s, backup});
        QVERIFY2(no.waitFor("[y/N] "), no.transcript().constData());
        no.type("n\n");
        QCOMPARE(no.exitCode(), 1);
        QCOMPARE(aliases(), u"first second"_s);

        PseudoTerminal yes(*tool, {u"restore"_s, backup});
        QVERIFY2(yes.waitFor("[y/N] "), yes.transcript().constData());
        yes.type("y\n");
        QCOMPARE(yes.exitCode(), 0);
        QCOMPARE(aliases(), u"first"_s);
    }

    void restoreAsksBeforeItUsesABackupOfAnotherDatabase()
    {
        const QString other = tool->path(u"other.db"_s);
        SqliteDatabaseFactory::open(other);

        const auto refused = tool->run({u"restore"_s, other, u"--yes"_s});
        PseudoTerminal no(*tool, {u"restore"_s, other, u"--yes"_s});
        QVERIFY2(no.waitFor("[y/N] "), no.transcript().constData());
        no.type("n\n");

        QCOMPARE(refused.exitCode, 2);
        QVERIFY2(
            refused.errors.contains(u"is a backup of another database than"_s) &&
                refused.errors.contains(u"Add --other-store to agree."_s),
            qPrintable(refused.errors));
        QCOMPARE(no.exitCode(), 1);
        QCOMPARE(aliases(), u"first"_s);
        QCOMPARE(tool->run({u"restore"_s, other, u"--yes"_s, u"--other-store"_s}).exitCode, 0);
        QCOMPARE(aliases(), QString());
    }

    void restoreRefusesWhatIsNoBackup_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<int>("exitCode");
        QTest::newRow("not there") << u"nowhere.db"_s << 3;
        QTest::newRow("text") << u"text.db"_s << 5;
        QTest::newRow("damaged") << u"damaged.db"_s << 5;
        QTest::newRow("newer") << u"newer.db"_s << 6;
        QTest::newRow("another program's") << u"foreign.db"_s << 5;
        QTest::newRow("the database itself") << u"configuration.db"_s << 8;
    }

    void restoreRefusesWhatIsNoBackup()
    {
        QFETCH(QString, name);
        QFETCH(int, exitCode);
        tool->writeFile(u"text.db"_s, QByteArray(9000, 'x'));
        for (const QString& copy : {u"damaged.db"_s, u"newer.db"_s})
            QCOMPARE(tool->run({u"backup"_s, copy}).exitCode, 0);
        QVERIFY(QFile::resize(tool->path(u"damaged.db"_s), 8192));
        RawDatabase(tool->path(u"newer.db"_s))
            .run(
                u"PRAGMA user_version = 99; UPDATE StoreIdentity SET lastCompatibleVersion = 99"_s);
        RawDatabase(tool->path(u"foreign.db"_s)).run(u"CREATE TABLE a (b)"_s);

        const auto run = tool->run({u"restore"_s, name, u"--yes"_s});

        QCOMPARE(run.exitCode, exitCode);
        QVERIFY2(run.errors.contains(tool->path(name)), qPrintable(run.errors));
        QVERIFY2(!run.errors.contains(u"velmioctl recover"_s), qPrintable(run.errors));
        QCOMPARE(aliases(), u"first"_s);
        QCOMPARE(QDir(tool->path(u"."_s)).entryList({u"*replaced*"_s}), QStringList());
    }

    void restoreRefusesWhileTheDatabaseIsInUse()
    {
        const QString backup = makeBackup();
        QVERIFY(addServer(u"second"_s));
        RawDatabase other(tool->databasePath());
        other.run(u"SELECT 1 FROM Schedules"_s);

        const auto run = tool->run({u"restore"_s, backup, u"--yes"_s});

        QCOMPARE(run.exitCode, 4);
        QVERIFY2(run.errors.contains(u"is in use"_s), qPrintable(run.errors));
        QCOMPARE(aliases(), u"first second"_s);
    }

    void damageNamesTheWaysOut()
    {
        QVERIFY(damageTable(tool->databasePath(), u"ServerConfiguration"_s));

        for (const QStringList& command : {QStringList{u"server"_s, u"list"_s}, {u"backup"_s}}) {
            const auto run = tool->run(command);

            QCOMPARE(run.exitCode, 5);
            QVERIFY2(
                run.errors.contains(u"velmioctl recover --from-backup"_s), qPrintable(run.errors));
            QVERIFY2(run.errors.contains(u"velmioctl recover --salvage"_s), qPrintable(run.errors));
        }
        QVERIFY(QDir(backupFolder()).isEmpty());
    }

    void recoverTakesTheNewestWholeBackup()
    {
        makeBackup();
        QVERIFY(addServer(u"second"_s));
        const QString whole = makeBackup();
        QVERIFY(addServer(u"third"_s));
        QVERIFY(QFile::resize(makeBackup(), 8192));
        QVERIFY(damageTable(tool->databasePath(), u"FileConfiguration"_s));

        QCOMPARE(tool->run({u"recover"_s, u"--from-backup"_s}).exitCode, 2);
        const auto run = tool->json({u"recover"_s, u"--from-backup"_s, u"--yes"_s});

        QCOMPARE(run.exitCode, 0);
        QCOMPARE(run.object()[u"restoredFrom"_s].toString(), whole);
        QVERIFY(QFile::exists(run.object()[u"keptPath"_s].toString()));
        QCOMPARE(aliases(), u"first second"_s);
        QCOMPARE(tool->run({u"stats"_s}).exitCode, 0);
    }

    void recoverBringsALostDatabaseBack()
    {
        makeBackup();
        for (const char* const ending : {"", "-wal", "-shm"})
            QFile::remove(tool->databasePath() + QString::fromLatin1(ending));
        const auto missing = tool->run({u"stats"_s});

        const auto run = tool->json({u"recover"_s, u"--from-backup"_s, u"--yes"_s});

        QCOMPARE(missing.exitCode, 3);
        QVERIFY2(missing.errors.contains(u"recover --from-backup"_s), qPrintable(missing.errors));
        QCOMPARE(run.exitCode, 0);
        QCOMPARE(run.object()[u"keptPath"_s], QJsonValue(QJsonValue::Null));
        QCOMPARE(aliases(), u"first"_s);
    }

    void recoverSalvagesWhatCanBeRead()
    {
        QVERIFY(tool->execute(
            u"INSERT INTO ProductConfiguration (name) VALUES ('lost'), ('as well')"_s));
        QVERIFY(damageTable(tool->databasePath(), u"ProductConfiguration"_s));

        QCOMPARE(tool->run({u"recover"_s, u"--salvage"_s}).exitCode, 2);
        const auto run = tool->json({u"recover"_s, u"--salvage"_s, u"--yes"_s});

        QCOMPARE(run.exitCode, 1);
        const QJsonObject answer = run.object();
        QCOMPARE(answer[u"complete"_s], QJsonValue(false));
        QVERIFY(QFile::exists(answer[u"keptPath"_s].toString()));
        const QJsonObject tables = answer[u"tables"_s].toObject();
        QCOMPARE(tables.size(), 8);
        QCOMPARE(
            tables[u"ProductConfiguration"_s].toObject(),
            (QJsonObject{
                {u"rows"_s, 0},
                {u"complete"_s, false},
                {u"unreadableIds"_s, QJsonArray{QJsonValue(QJsonArray{1, 2})}}}));
        QCOMPARE(
            tables[u"ServerConfiguration"_s].toObject(),
            (QJsonObject{
                {u"rows"_s, 1}, {u"complete"_s, true}, {u"unreadableIds"_s, QJsonArray{}}}));
        QCOMPARE(aliases(), u"first"_s);
        // Again, for people.
        QVERIFY(damageTable(tool->databasePath(), u"ServerConfiguration"_s));
        const auto forPeople = tool->run({u"recover"_s, u"--salvage"_s, u"--yes"_s});
        QCOMPARE(forPeople.exitCode, 1);
        QVERIFY2(
            forPeople.output.contains(u"   0  ServerConfiguration          1\n"_s),
            qPrintable(forPeople.output));
        QVERIFY(forPeople.output.contains(u"   1  Schedules                    none\n"_s));
    }

    void recoverLeavesAWholeDatabaseAlone()
    {
        makeBackup();
        QVERIFY(addServer(u"second"_s));

        for (const QString& way : {u"--from-backup"_s, u"--salvage"_s}) {
            const auto run = tool->run({u"recover"_s, way, u"--yes"_s});

            QCOMPARE(run.exitCode, 2);
            QVERIFY2(run.errors.contains(u"is intact"_s), qPrintable(run.errors));
        }
        QCOMPARE(aliases(), u"first second"_s);
    }

    void recoverWantsOneWay()
    {
        QVERIFY(damageTable(tool->databasePath(), u"ServerConfiguration"_s));

        QCOMPARE(tool->run({u"recover"_s, u"--yes"_s}).exitCode, 2);
        QCOMPARE(
            tool->run({u"recover"_s, u"--from-backup"_s, u"--salvage"_s, u"--yes"_s}).exitCode, 2);
    }

    void recoverWithoutAnythingToTake()
    {
        QVERIFY(damageTable(tool->databasePath(), u"ServerConfiguration"_s));
        tool->writeFile(u"text.db"_s, QByteArray(9000, 'x'));

        const auto noBackup = tool->run({u"recover"_s, u"--from-backup"_s, u"--yes"_s});
        const auto noDatabase = tool->runPlain(
            {u"recover"_s, u"--salvage"_s, u"--yes"_s, u"--database"_s, u"text.db"_s});

        QCOMPARE(noBackup.exitCode, 3);
        QVERIFY2(noBackup.errors.contains(backupFolder()), qPrintable(noBackup.errors));
        QCOMPARE(noDatabase.exitCode, 5);
        QVERIFY2(
            noDatabase.errors.contains(tool->path(u"text.db"_s)), qPrintable(noDatabase.errors));
    }

    void latestBackupNeedsNoName()
    {
        const auto none = tool->run({u"restore"_s, u"latest"_s, u"--yes"_s});
        QVERIFY(addServer(u"one"_s));
        makeBackup();
        QVERIFY(addServer(u"two"_s));
        const QString newest = makeBackup();
        QVERIFY(addServer(u"three"_s));

        const auto restored = tool->json({u"restore"_s, u"latest"_s, u"--yes"_s});

        QCOMPARE(none.exitCode, 3);
        QCOMPARE(restored.object()[u"restoredFrom"_s].toString(), newest);
        QCOMPARE(aliases(), u"first one two"_s);
    }

    void completionListsIdsAndBackups()
    {
        QVERIFY(addServer(u"one"_s));
        const QString made = makeBackup();

        QCOMPARE(tool->run({u"complete"_s, u"backups"_s}).output, u"latest\n%1\n"_s.arg(made));
        QCOMPARE(
            tool->run({u"complete"_s, u"ServerConfiguration"_s}).output,
            RawDatabase(tool->databasePath())
                    .run(u"SELECT id FROM ServerConfiguration ORDER BY id"_s)
                    .join(u'\n') +
                u'\n');
        QCOMPARE(tool->run({u"complete"_s, u"sqlite_master"_s}).output, QString());
    }

    void removalMakesABackupFirst_data()
    {
        QTest::addColumn<QString>("row");
        QTest::addColumn<QStringList>("command");
        QTest::newRow("server") << u"ServerConfiguration (id) VALUES (9)"_s
                                << QStringList{u"server"_s, u"remove"_s};
        QTest::newRow("sign-in") << u"AuthenticationConfiguration (id) VALUES (9)"_s
                                 << QStringList{u"signin"_s, u"remove"_s};
        QTest::newRow("product") << u"ProductConfiguration (id) VALUES (9)"_s
                                 << QStringList{u"product"_s, u"remove"_s};
        QTest::newRow("folder") << u"FolderConfiguration (id) VALUES (9)"_s
                                << QStringList{u"folder"_s, u"remove"_s};
        QTest::newRow("tree") << u"FolderConfiguration (id) VALUES (9)"_s
                              << QStringList{u"folder"_s, u"clean"_s};
    }

    void removalMakesABackupFirst()
    {
        QFETCH(const QString, row);
        QFETCH(const QStringList, command);
        QVERIFY(tool->execute(u"INSERT INTO "_s + row));

        const auto unasked = tool->run(command + QStringList{u"9"_s});
        const auto removed = tool->run(command + QStringList{u"9"_s, u"--yes"_s});

        QCOMPARE(unasked.exitCode, 2);
        QCOMPARE(removed.exitCode, 0);
        const auto made = QDir(backupFolder()).entryList({u"*.removal.db"_s});
        QCOMPARE(made.size(), 1);
        QVERIFY(removed.errors.contains(made.first()));
        QCOMPARE(
            RawDatabase(backupFolder() + u'/' + made.first())
                .run(u"SELECT id FROM %1 WHERE id = 9"_s.arg(row.section(u' ', 0, 0))),
            QStringList{u"9"_s});
    }

private:
    QString makeBackup() const { return tool->json({u"backup"_s}).object()[u"path"_s].toString(); }
    QString backupFolder() const { return tool->databasePath() + u"-backups"_s; }
    bool addServer(const QString& alias) const
    {
        return tool->execute(u"INSERT INTO ServerConfiguration (alias) VALUES ('%1')"_s.arg(alias));
    }
    QString aliases() const
    {
        return RawDatabase(tool->databasePath())
            .run(u"SELECT alias FROM ServerConfiguration ORDER BY id"_s)
            .join(u' ');
    }

    std::unique_ptr<VelmioctlRunner> tool;
};

QTEST_GUILESS_MAIN(TestVelmioctlBackup)
#include "TestVelmioctlBackup.moc"
