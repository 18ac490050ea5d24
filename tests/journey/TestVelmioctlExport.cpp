#include "PseudoTerminal.h"
#include "VelmioctlRunner.h"

#include <support/RawDatabase.h>

#include <QDir>
#include <QFile>
#include <QJsonDocument>
#include <QRegularExpression>
#include <QTest>

#include <atomic>
#include <sys/stat.h>
#include <thread>

using namespace Qt::StringLiterals;
using sync::test::RawDatabase;

class TestVelmioctlExport : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init()
    {
        tool = std::make_unique<VelmioctlRunner>();
        run({u"init"_s});
    }

    void cleanup() { tool.reset(); }

    void rowsAreSortedWithOneFieldOnEachLine()
    {
        execute(u"INSERT INTO Schedules (id, folderConfigurationId, startTime, syncInterval)"
                u" VALUES (9, 0, '2024-05-06T07:08:09.000', 2)"_s);
        execute(
            u"INSERT INTO ServerConfiguration (id, alias) VALUES (4, 'four'), (2, 'a \"b\"')"_s);

        const auto answer =
            tool->run({u"export"_s, u"--tables"_s, u"ServerConfiguration,Schedules"_s});

        QCOMPARE(answer.exitCode, 0);
        QCOMPARE(answer.errors, QString());
        QCOMPARE(answer.output, twoTables());
    }

    void sameRowsGiveTheSameText()
    {
        addSecrets();

        const auto first = tool->run({u"export"_s});
        const auto second = tool->run({u"export"_s});

        QCOMPARE(first.exitCode, 0);
        QCOMPARE(first.output, second.output);
        QCOMPARE(first.object()[u"tables"_s].toObject().size(), 8);
    }

    void valuesThatJsonLacksAreTold()
    {
        execute(u"INSERT INTO ServerConfiguration (id, alias, davUrl, webServiceUrl,"
                u" nameValueProperties, binaryDiffEncoder) VALUES (1, x'0001FF', CAST(x'EDA080' AS"
                u" TEXT), CAST(x'610062' AS TEXT), '', CAST(x'1B09F09F9880' AS TEXT))"_s);
        execute(u"UPDATE Schedules SET folderConfigurationId = 9223372036854775807,"
                u" syncScheduleType = 0.1, syncInterval = -9e999"_s);

        const QString text = tool->run({u"export"_s}).output;

        QVERIFY(text.contains(u"\"alias\": {\"blob\": \"AAH/\"},\n"_s));
        QVERIFY(text.contains(u"\"davUrl\": {\"text\": \"7aCA\"},\n"_s));
        QVERIFY(text.contains(u"\"webServiceUrl\": \"a\\u0000b\",\n"_s));
        QVERIFY(text.contains(u"\"nameValueProperties\": \"\",\n"_s));
        QVERIFY(text.contains(u"\"binaryDiffEncoder\": \"\\u001b\\t\U0001F600\"\n"_s));
        QVERIFY(text.contains(u"\"folderConfigurationId\": 9223372036854775807,\n"_s));
        QVERIFY(text.contains(u"\"syncScheduleType\": 0.1,\n"_s));
        QVERIFY(text.contains(u"\"syncInterval\": {\"real\": \"-infinity\"}\n"_s));
    }

    void tablesCanBeChosen()
    {
        const auto answer = tool->json(
            {u"export"_s, u"one.json"_s, u"--tables"_s, u"Schedules"_s, u"--tables"_s,
             u"FileConfiguration"_s});

        QCOMPARE(answer.exitCode, 0);
        QCOMPARE(
            answer.object()[u"rows"_s].toObject(),
            (QJsonObject{{u"FileConfiguration"_s, 0}, {u"Schedules"_s, 1}}));
    }

    void fileIsForItsUserAlone()
    {
        const auto answer = tool->run({u"export"_s, u"one.json"_s});

        QCOMPARE(answer.exitCode, 0);
        QCOMPARE(
            answer.output, u"Exported 1 row of 8 tables to \"%1\", without secrets.\n"_s.arg(
                               tool->path(u"one.json"_s)));
        const auto mine = QFile::ReadOwner | QFile::WriteOwner | QFile::ReadUser | QFile::WriteUser;
        QCOMPARE(QFile::permissions(tool->path(u"one.json"_s)), mine);
        QVERIFY(QFile::setPermissions(tool->path(u"one.json"_s), mine | QFile::ReadOther));
        run({u"export"_s, u"one.json"_s});
        QCOMPARE(QFile::permissions(tool->path(u"one.json"_s)), mine);
    }

    void onlyAnExportIsReplaced()
    {
        tool->writeFile(u"notes"_s, "important");
        tool->makeFolder(u"folder"_s);
        const QByteArray database = tool->databaseBytes();

        for (const QString& name : {u"notes"_s, u"configuration.db"_s, u"folder"_s}) {
            const auto answer = tool->run({u"export"_s, name});
            QCOMPARE(answer.exitCode, 2);
            QVERIFY(answer.errors.contains(u"exists and is not an export"_s));
        }

        QCOMPARE(bytesOf(u"notes"_s), "important");
        QCOMPARE(tool->databaseBytes(), database);
    }

    void damagedDatabaseLeavesNoFile()
    {
        execute(u"WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < 2000)"
                u" INSERT INTO Schedules (folderConfigurationId, startTime)"
                u" SELECT 0, '2024-05-06T07:08:09.000' FROM n"_s);
        RawDatabase(tool->databasePath()).run(u"PRAGMA wal_checkpoint(TRUNCATE)"_s);
        QFile file(tool->databasePath());
        QVERIFY(file.open(QIODevice::ReadWrite));
        constexpr qint64 PageBytes = 4096;
        QVERIFY(file.seek(file.size() - 4 * PageBytes));
        QVERIFY(file.write(QByteArray(4 * PageBytes, 'x')) > 0);
        file.close();
        const QStringList before = files();

        const auto answer = tool->run({u"export"_s, u"one.json"_s});

        QCOMPARE(answer.exitCode, 5);
        QVERIFY(answer.errors.contains(u"'velmioctl doctor'"_s));
        QCOMPARE(files(), before);
    }

    void impossibleSchemaVersionIsDamage()
    {
        RawDatabase(tool->databasePath()).run(u"PRAGMA user_version = -7"_s);

        const auto answer = tool->run({u"export"_s});

        QCOMPARE(answer.exitCode, 5);
        QVERIFY2(answer.errors.contains(u"schema version is -7"_s), qPrintable(answer.errors));
    }

    void secretsAreLeftOut()
    {
        addSecrets();
        const QByteArray stored = QByteArray::fromHex(
            RawDatabase(tool->databasePath())
                .value(u"SELECT hex(encryptedPassword) FROM AuthenticationConfiguration"_s)
                .toLatin1());

        const QString text = tool->run({u"export"_s}).output;

        QVERIFY(stored.size() > 40);
        for (const QString& secret :
             {u"hidden"_s, u"deep secret"_s, u"encryptedPassword"_s, u"consumerSecret"_s,
              QString::fromLatin1(stored.toBase64().mid(0, 40)),
              QString::fromLatin1(stored.toHex())})
            QVERIFY2(!text.contains(secret, Qt::CaseInsensitive), qPrintable(secret));
        QVERIFY(text.contains(u"\"consumerKey\": \"key\""_s));
    }

    void secretsAreEncryptedUnderThePassphrase()
    {
        addSecrets();
        const QStringList command{
            u"export"_s, u"one.json"_s, u"--with-secrets"_s, u"--passphrase-stdin"_s};

        const auto answer = tool->feed(command, "open sesame\n");
        const QByteArray first = bytesOf(u"one.json"_s);
        QCOMPARE(tool->feed(command, "open sesame\n").exitCode, 0);
        const QByteArray second = bytesOf(u"one.json"_s);

        QCOMPARE(answer.exitCode, 0);
        QCOMPARE(answer.errors, QString());
        for (const char* const secret : {"hidden", "deep secret", "sesame", "ZGVlcCBzZWNyZXQ"})
            QVERIFY(!(first + answer.output.toUtf8()).contains(secret));
        QVERIFY(first.contains("\"keyDerivation\": \"argon2id13\""));
        static const QRegularExpression sealed(
            u"\"(encryptedPassword|consumerSecret)\": \\{\"secret\": \"([^\"]+)\"\\}"_s);
        QCOMPARE(QString::fromUtf8(first).count(sealed), 2);
        // A new salt and new nonces each time.
        QVERIFY(
            sealed.match(QString::fromUtf8(first)).captured(2) !=
            sealed.match(QString::fromUtf8(second)).captured(2));
    }

    void passwordsThatCannotBeReadAreWarnedOf()
    {
        addSecrets();
        QVERIFY(QFile::remove(tool->keyPath()));

        const auto answer = tool->feed(
            {u"export"_s, u"one.json"_s, u"--with-secrets"_s, u"--passphrase-stdin"_s},
            "open sesame\n");

        QCOMPARE(answer.exitCode, 1);
        QVERIFY(answer.errors.contains(u"1 password could not be read"_s));
        QVERIFY(!QFile::exists(tool->keyPath()));
    }

    void passphraseIsAskedForTwice()
    {
        PseudoTerminal terminal(*tool, {u"export"_s, u"one.json"_s, u"--with-secrets"_s});
        QVERIFY(terminal.waitFor("New passphrase: "));
        terminal.type("open sesame\n");
        QVERIFY(terminal.waitFor("Repeat it: "));
        terminal.type("open sesam\n");

        QCOMPARE(terminal.exitCode(), 2);
        QVERIFY(!terminal.transcript().contains("sesam"));
        QVERIFY(!files().contains(u"one.json"_s));
    }

    void shortPassphraseIsRefused()
    {
        const QStringList command{
            u"export"_s, u"one.json"_s, u"--with-secrets"_s, u"--passphrase-stdin"_s};

        const auto refused = tool->feed(command, "sesame \xf0\x9f\x98\x80\xc3\xa9\n");
        const auto longEnough = tool->feed(command, "sesame \xf0\x9f\x98\x80\xc3\xa9!\n");

        QCOMPARE(refused.exitCode, 2);
        QVERIFY(refused.errors.contains(u"fewer than 10 characters"_s));
        QVERIFY(refused.errors.contains(u"--generate-passphrase"_s));
        QVERIFY(!refused.errors.contains(u"sesame"_s));
        QCOMPARE(longEnough.exitCode, 0);
    }

    void generatedPassphraseOpensTheExport()
    {
        addSecrets();
        const QStringList command{
            u"export"_s, u"one.json"_s, u"--with-secrets"_s, u"--generate-passphrase"_s};

        const auto first = tool->run(command);
        const auto made = tool->json(command);
        const QString passphrase = made.object()[u"passphrase"_s].toString();
        QCOMPARE(tool->runPlain({u"--database"_s, u"other.db"_s, u"init"_s}).exitCode, 0);
        const auto taken = tool->runPlain(
            {u"--database"_s, u"other.db"_s, u"import"_s, u"one.json"_s, u"--passphrase-stdin"_s,
             u"--yes"_s},
            passphrase.toUtf8() + '\n');

        static const QRegularExpression form(uR"(\A([a-km-z2-9]{5}-){4}[a-km-z2-9]{5}\z)"_s);
        QVERIFY(form.match(passphrase).hasMatch());
        QVERIFY(first.output.contains(u"Its passphrase, which is stored nowhere: "_s));
        QVERIFY(!first.output.contains(passphrase));
        QVERIFY2(taken.exitCode == 0, qPrintable(taken.errors));
    }

    void passphraseComesFromAFile()
    {
        tool->writeFile(u"phrase"_s, "open sesame\nnot this\n");
        const QStringList command{
            u"export"_s, u"one.json"_s, u"--with-secrets"_s, u"--passphrase-file"_s};

        QCOMPARE(tool->run(command + QStringList{u"phrase"_s}).exitCode, 0);
        QCOMPARE(tool->run(command + QStringList{u"nowhere"_s}).exitCode, 3);
    }

    void passphraseIsNoArgument()
    {
        const auto answer =
            tool->run({u"export"_s, u"one.json"_s, u"sesame"_s, u"--with-secrets"_s});

        QCOMPARE(answer.exitCode, 2);
        QVERIFY(!answer.errors.contains(u"sesame"_s));
    }

    void databaseIsNotWrittenTo()
    {
        const QByteArray before = tool->databaseBytes();
        const QStringList filesBefore = files();

        run({u"export"_s});

        QCOMPARE(tool->databaseBytes(), before);
        QCOMPARE(files(), filesBefore);
    }

    void aFolderThatOthersMayChangeGetsNoFile_data()
    {
        QTest::addColumn<QString>("command");
        QTest::newRow("export") << u"export"_s;
        QTest::newRow("bundle") << u"bundle"_s;
    }

    void aFolderThatOthersMayChangeGetsNoFile()
    {
        QFETCH(const QString, command);
        const QString folder = tool->makeFolder(u"shared"_s);
        QCOMPARE(::chmod(QFile::encodeName(folder).constData(), 01777), 0);

        const auto run = tool->run({command, u"shared/file"_s});

        QCOMPARE(run.exitCode, 8);
        QVERIFY2(
            run.errors.contains(u"others may write to %1. Take that right away"_s.arg(folder)),
            qPrintable(run.errors));
        QCOMPARE(QDir(folder).entryList(QDir::AllEntries | QDir::NoDotAndDotDot), QStringList());
    }

    void othersMayWriteMeanwhile()
    {
        constexpr int Exports = 10;
        std::atomic<int> written = 0;
        std::jthread writer([&](const std::stop_token& stop) {
            RawDatabase database(tool->databasePath());
            database.run(u"PRAGMA busy_timeout = 5000"_s);
            while (!stop.stop_requested()) {
                database.run(u"BEGIN IMMEDIATE;"
                             u"INSERT INTO ServerConfiguration (alias) VALUES ('one of two');"
                             u"INSERT INTO ProductConfiguration (name) VALUES ('one of two');"
                             u"COMMIT"_s);
                ++written;
            }
        });

        for (int round = 0; round < Exports; ++round) {
            const int before = written;
            const auto answer = tool->run({u"export"_s});

            QCOMPARE(answer.exitCode, 0);
            const QJsonObject tables = answer.object()[u"tables"_s].toObject();
            const auto rowsOf = [&tables](const QString& table) {
                return tables[table].toObject()[u"rows"_s].toArray().size();
            };
            QCOMPARE(rowsOf(u"ProductConfiguration"_s), rowsOf(u"ServerConfiguration"_s));
            QVERIFY(rowsOf(u"ServerConfiguration"_s) >= before);
            QTRY_VERIFY(written > before);
        }
    }

    void wrongUseIsRefused_data()
    {
        QTest::addColumn<QStringList>("arguments");
        QTest::addColumn<int>("exitCode");
        QTest::newRow("unknown table") << QStringList{u"--tables"_s, u"StoreIdentity"_s} << 2;
        QTest::newRow("passphrase for no secrets") << QStringList{u"--passphrase-stdin"_s} << 2;
        QTest::newRow("generated passphrase without a file")
            << QStringList{u"--with-secrets"_s, u"--generate-passphrase"_s} << 2;
        QTest::newRow("nobody to ask") << QStringList{u"--with-secrets"_s} << 2;
        QTest::newRow("folder that is missing") << QStringList{u"no/where.json"_s} << 8;
    }

    void wrongUseIsRefused()
    {
        QFETCH(QStringList, arguments);
        QFETCH(int, exitCode);

        const auto answer = tool->run(QStringList{u"export"_s} + arguments);

        QCOMPARE(answer.exitCode, exitCode);
        QCOMPARE(answer.output, QString());
        QCOMPARE(tool->runPlain({u"export"_s, u"--database"_s, u"nowhere.db"_s}).exitCode, 3);
    }

private:
    void run(const QStringList& arguments) const
    {
        const auto done = tool->run(arguments);
        QVERIFY2(done.exitCode == 0, qPrintable(done.errors));
    }
    void execute(const QString& sql) const { QVERIFY(tool->execute(sql)); }
    void addSecrets() const
    {
        execute(u"INSERT INTO ServerConfiguration (id, alias) VALUES (1, 'server')"_s);
        QCOMPARE(
            tool->feed(
                    {u"signin"_s, u"add"_s, u"--server"_s, u"1"_s, u"--domain"_s, u"dom"_s,
                     u"--user"_s, u"kim"_s, u"--password-stdin"_s},
                    "well hidden\n")
                .exitCode,
            0);
        execute(u"INSERT INTO ProductConfiguration (name, consumerKey, consumerSecret, serverId)"
                u" VALUES ('p', 'key', 'deep secret', -1)"_s);
    }
    QByteArray bytesOf(const QString& name) const
    {
        QFile file(tool->path(name));
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    }
    QStringList files() const
    {
        return QDir(tool->path(u"."_s)).entryList(QDir::Files | QDir::Hidden);
    }

    static QString twoTables();

    std::unique_ptr<VelmioctlRunner> tool;
};

// After the class, because moc does not read past a raw string.
QString TestVelmioctlExport::twoTables()
{
    return uR"({
  "format": "velmio-configuration-export",
  "formatVersion": 2,
  "schemaVersion": 4,
  "secrets": null,
  "tables": {
    "Schedules": {
      "lastId": 9,
      "rows": [
        {
          "id": 1,
          "folderConfigurationId": 0,
          "startTime": null,
          "expireTime": null,
          "syncScheduleType": 0,
          "syncInterval": 30
        },
        {
          "id": 9,
          "folderConfigurationId": 0,
          "startTime": "2024-05-06T07:08:09.000",
          "expireTime": null,
          "syncScheduleType": null,
          "syncInterval": 2
        }
      ]
    },
    "ServerConfiguration": {
      "lastId": 4,
      "rows": [
        {
          "id": 2,
          "alias": "a \"b\"",
          "davUrl": null,
          "webServiceUrl": null,
          "nameValueProperties": null,
          "binaryDiffEncoder": null
        },
        {
          "id": 4,
          "alias": "four",
          "davUrl": null,
          "webServiceUrl": null,
          "nameValueProperties": null,
          "binaryDiffEncoder": null
        }
      ]
    }
  }
}
)"_s;
}

QTEST_GUILESS_MAIN(TestVelmioctlExport)
#include "TestVelmioctlExport.moc"
