#include <support/FileBytes.h>
#include <support/RawDatabase.h>

#include <database/SqliteDatabaseFactory.h>
#include <velmioctl/store/Names.h>

#include <QTemporaryDir>
#include <QTest>

using namespace Qt::StringLiterals;
using sync::database::SqliteDatabaseFactory;
using sync::test::RawDatabase;
using sync::test::readFile;

namespace velmioctl {

/// What other programs read from a store that the library has open.
class TestViews : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init()
    {
        folder = std::make_unique<QTemporaryDir>();
        path = folder->filePath(u"store.db"_s);
        client = SqliteDatabaseFactory::open(path);
    }

    void statusAndOptionAreTheToolsWords()
    {
        for (const int number : {0, 1, 2, 3, 77}) {
            const QString digits = QString::number(number);
            RawDatabase(path).run(
                u"INSERT INTO FolderConfiguration (syncStatus, folderOption) VALUES (%1, %1);"
                u"INSERT INTO FileConfiguration (syncStatus) VALUES (%1)"_s.arg(digits));

            QCOMPARE(newest(u"syncStatus"_s, u"v1_folders"_s), syncStatusName(number));
            QCOMPARE(newest(u"syncStatus"_s, u"v1_files"_s), syncStatusName(number));
            QCOMPARE(newest(u"folderOption"_s, u"v1_folders"_s), folderOptionName(number));
        }
    }

    void privilegesAreTheToolsWords()
    {
        for (int number = -1; number <= 32; ++number) {
            RawDatabase(path).run(
                u"INSERT INTO FolderConfiguration (privileges) VALUES (%1)"_s.arg(number));

            QCOMPARE(newest(u"privileges"_s, u"v1_folders"_s), privilegesName(number));
        }
    }

    void fileTypesAreTheToolsWords()
    {
        RawDatabase(path).run(u"INSERT INTO FileConfiguration (fileType) VALUES (0);"
                              u"INSERT INTO GeneratedFileConfiguration (fileType) VALUES (1);"
                              u"INSERT INTO BaseFileConfiguration (fileType) VALUES (2)"_s);

        QCOMPARE(
            read(u"SELECT fileType FROM v1_files"_s),
            (QStringList{fileTypeName(0), fileTypeName(1), fileTypeName(2)}));
    }

    void referencesThatLeadNowhereKeepTheirRow()
    {
        RawDatabase(path).run(
            u"INSERT INTO AuthenticationConfiguration (serverId) VALUES (9);"
            u"INSERT INTO FolderConfiguration (parentId, authenticationId) VALUES (0, 9);"
            u"INSERT INTO Schedules (folderConfigurationId) VALUES (9)"_s);

        QCOMPARE(
            read(u"SELECT count(*) FROM v1_signins WHERE serverAlias IS NULL"_s).first(), u"1"_s);
        QCOMPARE(read(u"SELECT count(*) FROM v1_roots WHERE userName IS NULL"_s).first(), u"1"_s);
        QCOMPARE(
            read(u"SELECT count(*) FROM v1_schedules WHERE clientPath IS NULL"_s).first(), u"2"_s);
    }

    void noViewShowsASecret()
    {
        RawDatabase(path).run(
            u"INSERT INTO AuthenticationConfiguration (encryptedPassword, nameValueProperties)"
            u" VALUES ('CANARY', 'CANARY');"
            u"INSERT INTO ProductConfiguration (consumerSecret) VALUES ('CANARY');"
            u"INSERT INTO ServerConfiguration (nameValueProperties) VALUES ('CANARY');"
            u"INSERT INTO FileConfiguration (nameValueProperties) VALUES ('CANARY')"_s);

        const QStringList views = read(u"SELECT name FROM sqlite_schema WHERE type = 'view'"_s);
        QCOMPARE(views.size(), 6);
        for (const QString& view : views) {
            const QStringList columns =
                read(u"SELECT 'quote(' || name || ')' FROM pragma_table_info('%1')"_s.arg(view));
            const QStringList rows =
                read(u"SELECT %1 FROM %2"_s.arg(columns.join(u" || "_s), view));
            QVERIFY2(!rows.join(u'\n').contains(u"CANARY"), qPrintable(view));
        }
    }

    // Nor keeps it a read lock after its statement has ended.
    void aReaderBesideTheClientChangesNothing()
    {
        RawDatabase(path).run(u"INSERT INTO ServerConfiguration (alias) VALUES ('in the WAL')"_s);
        const QByteArray file = readFile(path);
        const QByteArray wal = readFile(path + u"-wal"_s);
        QVERIFY(!wal.isEmpty());

        QCOMPARE(read(u"SELECT alias FROM v1_servers"_s), QStringList{u"in the WAL"_s});

        QCOMPARE(readFile(path), file);
        QCOMPARE(readFile(path + u"-wal"_s), wal);
    }

private:
    // As `sqlite3 -readonly` reads.
    QStringList read(const QString& sql) const
    {
        return RawDatabase(u"file:%1?mode=ro"_s.arg(path)).run(sql);
    }

    QString newest(const QString& column, const QString& view) const
    {
        return read(u"SELECT %1 FROM %2 ORDER BY id DESC LIMIT 1"_s.arg(column, view)).first();
    }

    std::unique_ptr<QTemporaryDir> folder;
    QString path;
    std::shared_ptr<SqliteDatabaseFactory> client;
};

} // namespace velmioctl

QTEST_GUILESS_MAIN(velmioctl::TestViews)
#include "TestViews.moc"
