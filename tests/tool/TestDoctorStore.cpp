#include "DoctorSample.h"
#include <support/AsNobody.h>

#include <support/RawDatabase.h>
#include <velmioctl/doctor/Checks.h>

#include <base/system/FileRights.h>
#include <core/Crypto.h>
#include <core/FileKeyStore.h>
#include <database/DatabaseBackups.h>
#include <database/StoreInspection.h>

#include <QFileInfo>
#include <QTest>

#include <sys/stat.h>
#include <unistd.h>

using namespace Qt::StringLiterals;
using namespace sync::core::crypto;
using sync::database::DatabaseBackups;
using sync::database::StoreInspection;
using sync::test::AsNobody;
using sync::test::giveToNobody;
using sync::test::RawDatabase;

namespace velmioctl::doctor {

/// The checks of the file, of those beside it, of secrets, and of the disk.
class TestDoctorStore : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init() { setKeyStore(nullptr); }

    void unusableFileIsAFinding_data()
    {
        QTest::addColumn<QString>(
            "statement"); // In the file; "noise", "cut" or "empty" write to it.
        QTest::addColumn<QStringList>("ids");

        QTest::newRow("noise") << u"noise"_s << QStringList{u"store.no-database"_s};
        QTest::newRow("nothing") << u"empty"_s << QStringList{u"store.empty"_s};
        QTest::newRow("cut off") << u"cut"_s << QStringList{u"store.damaged"_s};
        QTest::newRow("damaged page") << u"page"_s << QStringList{u"store.damaged"_s};
        QTest::newRow("another program's")
            << u"PRAGMA application_id = 7"_s << QStringList{u"store.foreign"_s};
        QTest::newRow("impossible version")
            << u"PRAGMA user_version = -7"_s << QStringList{u"store.damaged"_s};
        QTest::newRow("newer version")
            << u"PRAGMA user_version = 1000; UPDATE StoreIdentity SET lastCompatibleVersion = 999"_s
            << QStringList{u"store.too-new"_s};
        QTest::newRow("newer version that may be used")
            << u"PRAGMA user_version = 1000; UPDATE StoreIdentity SET lastCompatibleVersion = 1"_s
            << QStringList();
        QTest::newRow("without a table")
            << u"DROP TABLE Schedules"_s << QStringList{u"store.table-missing"_s};
        QTest::newRow("without an index")
            << u"DROP INDEX SchedulesByFolder"_s << QStringList{u"schema.missing"_s};
    }

    void unusableFileIsAFinding()
    {
        QFETCH(QString, statement);
        QFETCH(QStringList, ids);
        DoctorSample sample;
        const QString path = closedCopy(sample, u"copy.db"_s);
        QFile file(path);
        QVERIFY(file.open(QIODevice::ReadWrite));
        if (statement == u"noise"_s)
            write(path, QByteArray(5000, 'x'));
        else if (statement == u"empty"_s)
            QVERIFY(file.resize(0));
        else if (statement == u"cut"_s)
            QVERIFY(file.resize(file.size() / 2));
        else if (statement == u"page"_s)
            QVERIFY(file.seek(4 * 4096) && file.write(QByteArray(4096, 'x')) == 4096);
        else
            RawDatabase(path).run(statement);
        file.close();
        QVERIFY(file.open(QIODevice::ReadOnly));
        const QByteArray before = file.readAll();

        const QStringList found = idsIn(path);

        QVERIFY(file.seek(0));
        QCOMPARE(found, ids);
        QCOMPARE(file.readAll(), before);
    }

    void damageLeadsToTheNewestWholeBackup()
    {
        DoctorSample sample;
        const QString path = closedCopy(sample, u"copy.db"_s);
        const auto backup = DatabaseBackups(path).make(DatabaseBackups::Reason::Manual);
        QFile file(path);
        QVERIFY(file.resize(8192));

        struct Collector : Examiner
        {
            void found(const Check& check, const Row&) override
            {
                if (check.id == u"store.damaged"_s)
                    remedy = check.remedy;
            }
            void fixable(const Fix&, long long) override {}
            QString remedy;
        } collector;
        examine(path, collector);

        QVERIFY2(
            collector.remedy.contains(u"'velmioctl restore \"%1\"'"_s.arg(backup.path)),
            qPrintable(collector.remedy));
    }

    void movedStoreIsFound()
    {
        DoctorSample sample;
        sample.run(u"UPDATE StoreIdentity SET machineStamp = 'elsewhere'"_s);

        QCOMPARE(sample.findings(), QStringList{u"store.moved "_s + sample.databasePath()});
    }

    void checkThatCannotReadIsAFindingOfItsOwn()
    {
        DoctorSample sample;
        sample.run(u"ALTER TABLE ProductConfiguration RENAME COLUMN serverId TO server"_s);
        sample.run(u"UPDATE FileConfiguration SET fileType = 2 WHERE id = 1"_s);

        QStringList found = sample.findings();
        found.removeIf([](const QString& finding) { return finding.startsWith(u"schema."); });
        QCOMPARE(
            found, (QStringList{
                       u"store.check-failed product.server-missing"_s,
                       u"file.wrong-type FileConfiguration 1"_s}));
    }

    void lockedStoreIsBusy()
    {
        DoctorSample sample;
        const QString path = closedCopy(sample, u"copy.db"_s);
        RawDatabase other(path);
        other.run(u"BEGIN EXCLUSIVE"_s);

        QCOMPARE(idsIn(path), QStringList{u"store.busy"_s});
    }

    void unfinishedTransactionIsNotTakenForDamage()
    {
        DoctorSample sample;
        const QString path = closedCopy(sample, u"copy.db"_s);
        RawDatabase writer(path);
        writer.run(
            u"PRAGMA journal_mode = DELETE; PRAGMA cache_size = 1; BEGIN;"
            u" WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < 2000)"
            u" INSERT INTO Schedules (folderConfigurationId, startTime)"
            u" SELECT 0, hex(randomblob(100)) FROM n"_s);
        const QString crashed = sample.path(u"crashed.db"_s);
        QVERIFY(QFile::copy(path, crashed));
        QVERIFY(QFile::copy(path + u"-journal"_s, crashed + u"-journal"_s));

        QCOMPARE(idsIn(crashed), QStringList{u"store.unfinished"_s});
    }

    void placesThatTakeNoWritesAreFound()
    {
        DoctorSample sample;
        const QString path = closedCopy(sample, u"copy.db"_s);
        QVERIFY(giveToNobody(sample.directory.path()));
        QVERIFY(setMode(path, 0400));

        const AsNobody asNobody;
        const QStringList readOnly = idsIn(path);
        QVERIFY(setMode(path, 0000));
        const QStringList unreadable = idsIn(path);

        QCOMPARE(readOnly, QStringList{u"store.not-writable"_s});
        QCOMPARE(unreadable, (QStringList{u"store.not-writable"_s, u"store.unreadable"_s}));
    }

    void storeInAPlaceWithoutWritesIsRead()
    {
        DoctorSample sample;
        QDir().mkpath(sample.path(u"locked"_s));
        const QString path = closedCopy(sample, u"locked/copy.db"_s);
        RawDatabase(path).run(u"PRAGMA journal_mode = DELETE; UPDATE FolderConfiguration SET"
                              u" authenticationId = 9 WHERE id = 4; PRAGMA journal_mode = WAL"_s);
        QFile::remove(path + u"-wal"_s);
        QFile::remove(path + u"-shm"_s);
        QVERIFY(giveToNobody(sample.directory.path()));
        QVERIFY(setMode(path, 0400) && setMode(sample.path(u"locked"_s), 0500));

        const AsNobody asNobody;
        const QStringList found = idsIn(path);
        QVERIFY(setMode(sample.path(u"locked"_s), 0700));

        QCOMPARE(found, (QStringList{u"store.not-writable"_s, u"folder.signin-missing"_s}));
    }

    void walThatCannotBeReadIsFound()
    {
        DoctorSample sample;
        QDir().mkpath(sample.path(u"locked"_s));
        const QString path = closedCopy(sample, u"locked/copy.db"_s);
        write(path + u"-wal"_s, QByteArray(100, 'x'));
        QVERIFY(giveToNobody(sample.directory.path()));
        QVERIFY(setMode(path + u"-wal"_s, 0600) && setMode(sample.path(u"locked"_s), 0500));

        const AsNobody asNobody;
        const QStringList readable = idsIn(path);
        QVERIFY(setMode(path + u"-wal"_s, 0000));
        const QStringList unreadable = idsIn(path);
        QVERIFY(setMode(sample.path(u"locked"_s), 0700));

        QCOMPARE(readable, QStringList{u"store.not-writable"_s});
        QCOMPARE(unreadable, (QStringList{u"store.not-writable"_s, u"store.log-not-read"_s}));
    }

    void aSchemaThatDiffersIsFoundAndRepaired()
    {
        DoctorSample sample;
        QCOMPARE(sample.findings(), QStringList());
        RawDatabase raw(sample.databasePath());
        raw.run(u"DROP INDEX FileConfigurationByRoot; DROP INDEX SchedulesByFolder;"
                u"CREATE INDEX SchedulesByFolder ON Schedules (id);"
                u"DROP TRIGGER FolderConfigurationRootNamesItself;"
                u"DROP VIEW v1_servers; CREATE VIEW v1_servers AS SELECT 1 AS id;"
                u"CREATE TRIGGER redirects AFTER UPDATE ON ServerConfiguration"
                u" BEGIN UPDATE ServerConfiguration SET davUrl = 'https://evil.example'; END;"
                u"CREATE TABLE notes (text); CREATE INDEX notesByText ON notes (text);"
                u"CREATE VIEW mine AS SELECT 1"_s);

        QCOMPARE(
            sample.findings(),
            (QStringList{
                u"schema.missing index FileConfigurationByRoot"_s,
                u"schema.missing trigger FolderConfigurationRootNamesItself"_s,
                u"schema.changed index SchedulesByFolder"_s, u"schema.changed view v1_servers"_s,
                u"schema.foreign trigger redirects"_s, u"schema.extra index notesByText"_s,
                u"schema.extra table notes"_s, u"schema.extra view mine"_s}));
        QStringList repairs;
        const auto differences = StoreInspection(sample.databasePath()).schemaDifferences();
        for (const auto& difference : differences)
            repairs += difference.repair;
        repair(sample.session, repairs);

        QCOMPARE(
            sample.findings(), (QStringList{
                                   u"schema.extra index notesByText"_s,
                                   u"schema.extra table notes"_s, u"schema.extra view mine"_s}));
    }

    void aLargeWalIsFound()
    {
        DoctorSample sample;
        const QString path = closedCopy(sample, u"copy.db"_s);
        RawDatabase(path).run(
            u"PRAGMA journal_mode = WAL; UPDATE Schedules SET syncInterval = 5"_s);
        QVERIFY(QFile::resize(path + u"-wal"_s, 129 * 1024 * 1024));

        QCOMPARE(idsIn(path), QStringList{u"store.wal-large"_s});
    }

    void aMissingColumnIsNamed()
    {
        DoctorSample sample;
        RawDatabase(sample.databasePath())
            .run(u"ALTER TABLE ProductConfiguration DROP COLUMN nameValueProperties"_s);

        QCOMPARE(sample.findings().value(0), u"schema.missing column nameValueProperties"_s);
    }

    void anOlderVersionIsComparedWithItsOwnSchema()
    {
        DoctorSample sample;
        const QString path = sample.path(u"version-1.db"_s);
        QVERIFY(QFile::copy(QStringLiteral(VELMIO_TEST_DATA "/version-1.db"), path));

        QCOMPARE(StoreInspection(path).schemaDifferences().size(), 0);
    }

    void filesOpenToOthersAreFoundAndClosed()
    {
        DoctorSample sample;
        const QString path = sample.databasePath();
        const QString key = sample.path(u"keys/password.key"_s);
        setKeyStore(std::make_shared<FileKeyStore>(key));
        Encrypt(u"x"_s);
        const auto backup = DatabaseBackups(path).make(DatabaseBackups::Reason::Manual);
        const QString folder = DatabaseBackups(path).folder();
        QVERIFY(setMode(path, 0644) && setMode(path + u"-wal"_s, 0660) && setMode(key, 0604));
        QVERIFY(setMode(backup.path, 0640) && setMode(folder, 0755));

        const QStringList open = filesOpenToOthers(path);
        const QStringList found = sample.findings();
        for (const QString& file : open)
            QVERIFY(sync::base::closeToOthers(file));

        QCOMPARE(open, (QStringList{path, path + u"-wal"_s, key, folder, backup.path}));
        QCOMPARE(found.filter(u"store.permissions"_s).size(), 5);
        QCOMPARE(sample.findings(), QStringList());
        QCOMPARE(QFileInfo(folder).permission(QFileDevice::ExeOwner), true);
    }

    void keyFileInTheFolderOfTheDatabaseIsFound()
    {
        DoctorSample sample;
        const QString key = sample.path(u"password.key"_s);
        setKeyStore(std::make_shared<FileKeyStore>(key));
        Encrypt(u"x"_s);

        QCOMPARE(sample.findings(), QStringList{u"store.key-beside "_s + key});

        QVERIFY(QFile::remove(key));
        QCOMPARE(sample.findings(), QStringList());
    }

    void aFolderThatOthersMayChangeIsFound()
    {
        DoctorSample sample;
        const auto backup =
            DatabaseBackups(sample.databasePath()).make(DatabaseBackups::Reason::Manual);
        // Only root can give a file away; anybody else owns it here.
        const bool planted = ::chown(QFile::encodeName(backup.path).constData(), 65534, 65534) == 0;
        QVERIFY(setMode(sample.directory.path(), 01777));

        const QStringList found = sample.findings();
        QVERIFY(setMode(sample.directory.path(), 0700));

        QVERIFY(found.contains(u"store.untrusted "_s + sample.directory.path()));
        QCOMPARE(found.contains(u"store.untrusted "_s + backup.path), planted);
    }

    void logOfTheReadingIsNoOpenFile()
    {
        DoctorSample sample;
        const QString path = closedCopy(sample, u"copy.db"_s);
        RawDatabase(path).run(u"PRAGMA journal_mode = WAL"_s);
        QVERIFY(setMode(path, 0644));
        struct Collector : Examiner
        {
            void found(const Check& check, const Row& row) override
            {
                if (check.id == u"store.permissions"_s)
                    files += row.name;
            }
            void fixable(const Fix&, long long) override {}
            QStringList files;
        } collector;

        examine(path, collector);

        QCOMPARE(collector.files, QStringList{path});
    }

    void buggyVersionsOfSqliteAreKnown_data()
    {
        QTest::addColumn<QString>("version");
        QTest::addColumn<bool>("buggy");
        for (const char* const version :
             {"3.7.0", "3.40.1", "3.44.5", "3.45.0", "3.50.6", "3.51.2"})
            QTest::newRow(version) << QString::fromLatin1(version) << true;
        for (const char* const version :
             {"3.6.23", "3.44.6", "3.50.7", "3.51.3", "3.52.0", "4.0.0"})
            QTest::newRow(version) << QString::fromLatin1(version) << false;
    }

    void buggyVersionsOfSqliteAreKnown()
    {
        QFETCH(QString, version);
        QFETCH(bool, buggy);

        QCOMPARE(hasLogResetBug(version), buggy);
    }

    void passwordsWithoutTheirKeyAreFound()
    {
        DoctorSample sample;
        const QString key = sample.path(u"keys/password.key"_s);
        setKeyStore(std::make_shared<FileKeyStore>(key));
        const QVariant stored = Encrypt(u"x"_s);
        const auto query = sample.session.database().CreateQuery();
        query->prepare(u"UPDATE AuthenticationConfiguration SET encryptedPassword = :password"_s);
        query->bindValue(u":password"_s, stored);
        QVERIFY(query->exec());
        const QStringList withKey = sample.findings();
        QVERIFY(QFile::remove(key));
        setKeyStore(std::make_shared<FileKeyStore>(key));

        QCOMPARE(withKey, QStringList());
        QCOMPARE(
            sample.findings(), (QStringList{
                                   u"secrets.key-missing AuthenticationConfiguration 1"_s,
                                   u"secrets.key-missing AuthenticationConfiguration 2"_s}));
    }

    void undecipherablePasswordsAreFound()
    {
        DoctorSample sample;
        setKeyStore(std::make_shared<FileKeyStore>(sample.path(u"keys/password.key"_s)));
        sample.run(
            u"UPDATE AuthenticationConfiguration SET encryptedPassword = x'0102' WHERE id = 2"_s);

        QCOMPARE(
            sample.findings(),
            QStringList{u"signin.password-unreadable AuthenticationConfiguration 2"_s});
    }

    void passwordsThatDoNotBelongWhereTheyAreAreFound()
    {
        DoctorSample sample;
        setKeyStore(std::make_shared<FileKeyStore>(sample.path(u"keys/password.key"_s)));
        const auto query = sample.session.database().CreateQuery();
        query->prepare(
            u"UPDATE AuthenticationConfiguration SET encryptedPassword = :password WHERE id = 2"_s);
        query->bindValue(
            u":password"_s, Encrypt(u"x"_s, {u"another store"_s, "record", {"server"}}));
        QVERIFY(query->exec());

        QCOMPARE(
            sample.findings(),
            QStringList{u"signin.password-moved AuthenticationConfiguration 2"_s});
    }

    void rootOutOfReachIsOneFinding()
    {
        const DoctorSample sample;
        QVERIFY(QDir().rename(sample.path(u"root"_s), sample.path(u"moved"_s)));

        QCOMPARE(sample.findings(), QStringList{u"root.unreachable FolderConfiguration 1"_s});
    }

    void folderThatIsGoneHidesItsFiles()
    {
        const DoctorSample sample;
        QVERIFY(QDir(sample.path(u"root/a"_s)).removeRecursively());

        QCOMPARE(sample.findings(), QStringList{u"folder.gone FolderConfiguration 2"_s});
    }

    void fileThatIsGoneIsFound()
    {
        const DoctorSample sample;
        QVERIFY(QFile::remove(sample.path(u"root/a/b/one"_s)));

        QCOMPARE(sample.findings(), QStringList{u"file.gone FileConfiguration 3"_s});
    }

    void placesThatCannotBeReadAreNotGone()
    {
        DoctorSample sample;
        sample.run(u"UPDATE StoreIdentity SET machineStamp = NULL"_s);
        QVERIFY(giveToNobody(sample.directory.path()));
        QVERIFY(setMode(sample.path(u"root/a"_s), 0000));

        const AsNobody asNobody;
        const QStringList found = sample.findings();
        QVERIFY(setMode(sample.path(u"root/a"_s), 0700));

        QCOMPARE(found, QStringList());
    }

private:
    static bool setMode(const QString& path, mode_t mode)
    {
        return ::chmod(QFile::encodeName(path).constData(), mode) == 0;
    }
    static void write(const QString& path, const QByteArray& content)
    {
        QFile file(path);
        QVERIFY(file.open(QIODevice::WriteOnly));
        QCOMPARE(file.write(content), content.size());
    }
    // The sample as a file of its own, which nobody has open, and which belongs to no account yet.
    static QString closedCopy(DoctorSample& sample, const QString& name)
    {
        QString copy = sample.path(name);
        sample.run(u"UPDATE StoreIdentity SET machineStamp = NULL"_s);
        sample.run(u"VACUUM INTO '%1'"_s.arg(copy));
        setMode(copy, 0600);
        return copy;
    }
    static QStringList idsIn(const QString& path)
    {
        struct Collector : Examiner
        {
            void found(const Check& check, const Row&) override
            {
                if (check.id != u"store.sqlite-log-reset"_s && !ids.contains(check.id))
                    ids += check.id;
            }
            void fixable(const Fix&, long long) override {}
            QStringList ids;
        } collector;
        examine(path, collector);
        return collector.ids;
    }
};

} // namespace velmioctl::doctor

QTEST_GUILESS_MAIN(velmioctl::doctor::TestDoctorStore)
#include "TestDoctorStore.moc"
