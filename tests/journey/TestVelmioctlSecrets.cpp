#include "PseudoTerminal.h"
#include "StoredRows.h"
#include "VelmioctlRunner.h"

#include <core/Cipher.h>
#include <core/FileKeyStore.h>
#include <core/HostKeyStore.h>

#include <support/FileBytes.h>

#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QStringEncoder>
#include <QTest>

using namespace Qt::StringLiterals;

/// Runs over server 1 and the sign-ins 1 and 2 with passwords.
namespace {

QByteArray inUtf16(QStringConverter::Encoding encoding, const QString& text)
{
    return QStringEncoder(encoding)(text);
}

// Version, kind of store, the key id 00 01 02 ... and the checksum of these.
const QString HeaderOfVersion99 = u"6301000102030405060708090a0b0c0d0e0fc967baa3"_s;
const QString HeaderOfOtherKey = u"0101000102030405060708090a0b0c0d0e0fec683d71"_s;

/// The forms in which a text may be stored.
QList<QByteArray> clearForms(const QString& text)
{
    QList<QByteArray> forms{
        text.toUtf8(),
        inUtf16(QStringConverter::Utf16LE, text),
        inUtf16(QStringConverter::Utf16BE, text),
    };
    for (qsizetype at = 0; at < 3; ++at)
        forms.append(forms[at].toBase64(QByteArray::OmitTrailingEquals));
    return forms;
}

/// Puts the password of sign-in 1 of another database in place.
void takeFirstPassword(const QString& database, const QString& other)
{
    sync::test::RawDatabase raw(database);
    raw.run(u"ATTACH '%1' AS other"_s.arg(other));
    raw.run(u"UPDATE main.AuthenticationConfiguration SET encryptedPassword ="
            u" (SELECT encryptedPassword FROM other.AuthenticationConfiguration WHERE id = 1)"
            u" WHERE id = 1"_s);
}

/// The files below a folder that contain one of the texts.
QStringList filesWith(const QString& folder, const QStringList& texts)
{
    QStringList found;
    QDirIterator files(
        folder, QDir::Files | QDir::Hidden | QDir::System, QDirIterator::Subdirectories);
    while (files.hasNext()) {
        QFile file(files.next());
        if (!file.open(QIODevice::ReadOnly))
            found += u"unreadable: "_s + file.fileName();
        const QByteArray content = file.readAll();
        for (const QString& text : texts) {
            for (const QByteArray& form : clearForms(text)) {
                if (content.contains(form))
                    found += file.fileName();
            }
        }
    }
    return found;
}

} // namespace

class TestVelmioctlSecrets : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init()
    {
        tool = std::make_unique<VelmioctlRunner>();
        QCOMPARE(tool->run({u"init"_s}).exitCode, 0);
        QVERIFY(tool->execute(u"INSERT INTO ServerConfiguration (id) VALUES (1)"_s));
        QCOMPARE(addSignIn(u"kim"_s, "secret of kim").exitCode, 0);
        QCOMPARE(addSignIn(u"ana"_s, "secret of ana").exitCode, 0);
    }

    void cleanup() { tool.reset(); }

    void verifyReadsEveryPassword()
    {
        QVERIFY(
            tool->execute(u"INSERT INTO AuthenticationConfiguration (userName) VALUES ('none')"_s));

        const auto forPeople = run(u"verify"_s);
        const auto verified = json(u"verify"_s);

        QCOMPARE(forPeople.exitCode, 0);
        QCOMPARE(
            forPeople.output,
            u"ID  PASSWORD  USER  DOMAIN  REASON\n"
            u" 1  ok        kim   north\n"
            u" 2  ok        ana   north\n"
            u" 3  none      none\n"
            u"Passwords: 2 readable, 0 unreadable; sign-ins without a password: 1.\n"_s);
        const QJsonObject expected{
            {u"id"_s, 1},          {u"userName"_s, u"kim"_s},   {u"domain"_s, u"north"_s},
            {u"state"_s, u"ok"_s}, {u"reason"_s, QJsonValue()}, {u"keyId"_s, currentKey()},
        };
        QCOMPARE(verified.object()[u"passwords"_s][0].toObject(), expected);
        QCOMPARE(verified.object()[u"ok"_s].toInt(), 2);
        QCOMPARE(verified.object()[u"none"_s].toInt(), 1);
        QVERIFY(!(forPeople.output + verified.output).contains(u"secret of"_s));
    }

    void verifyTellsWhyAPasswordCannotBeRead_data()
    {
        QTest::addColumn<QString>("change");
        QTest::addColumn<QString>("reason");
        QTest::addColumn<QString>("text");
        QTest::newRow("damaged") << u"encryptedPassword = substr(encryptedPassword, 1, 60)"_s
                                 << u"damaged"_s << u"damaged"_s;
        QTest::newRow("empty") << u"encryptedPassword = x''"_s << u"damaged"_s << u"damaged"_s;
        QTest::newRow("version") << u"encryptedPassword = x'%1'"_s.arg(HeaderOfVersion99)
                                 << u"unknown-version"_s << u"unknown version 99"_s;
        QTest::newRow("another key")
            << u"encryptedPassword = x'%1%2'"_s.arg(HeaderOfOtherKey, QString(160, u'0'))
            << u"other-key"_s
            << u"another key, key 000102030405060708090a0b0c0d0e0f of the key file"_s;
    }

    void verifyTellsWhyAPasswordCannotBeRead()
    {
        QFETCH(QString, change);
        QFETCH(QString, reason);
        QFETCH(QString, text);
        QVERIFY(tool->execute(
            u"UPDATE AuthenticationConfiguration SET "_s + change + u" WHERE id = 2"_s));

        const auto verified = json(u"verify"_s);

        QCOMPARE(verified.exitCode, 1);
        const QJsonValue second = verified.object()[u"passwords"_s][1];
        QCOMPARE(second[u"state"_s].toString(), u"unreadable"_s);
        QCOMPARE(second[u"reason"_s].toString(), reason);
        QCOMPARE(verified.object()[u"ok"_s].toInt(), 1);
        QCOMPARE(verified.object()[u"unreadable"_s].toInt(), 1);
        QVERIFY(run(u"verify"_s).output.contains(text));
        const auto shown = tool->run({u"signin"_s, u"show"_s, u"2"_s, u"--reveal"_s});
        QCOMPARE(shown.exitCode, 1);
        QVERIFY(shown.errors.contains(text));
    }

    // By somebody who may change the database and has no key.
    void movedPasswordIsNamedAndNotShown_data()
    {
        QTest::addColumn<QString>("change");
        QTest::addColumn<QString>("reason");
        QTest::newRow("to another sign-in")
            << u"UPDATE AuthenticationConfiguration SET encryptedPassword ="
               " (SELECT encryptedPassword FROM AuthenticationConfiguration WHERE id = 2)"_s
            << u"other-record"_s;
        QTest::newRow("other address")
            << u"UPDATE ServerConfiguration SET davUrl = 'https://evil.example'"_s
            << u"other-server"_s;
        QTest::newRow("other user")
            << u"UPDATE AuthenticationConfiguration SET userName = 'eve' WHERE id = 1"_s
            << u"other-record"_s;
    }

    void movedPasswordIsNamedAndNotShown()
    {
        QFETCH(QString, change);
        QFETCH(QString, reason);
        QVERIFY(tool->execute(change));

        const auto verified = json(u"verify"_s);

        QCOMPARE(verified.exitCode, 1);
        QCOMPARE(verified.object()[u"passwords"_s][0][u"reason"_s].toString(), reason);
        const auto shown = tool->run({u"signin"_s, u"show"_s, u"1"_s, u"--reveal"_s});
        QCOMPARE(shown.exitCode, 1);
        QVERIFY(shown.errors.contains(u"Check its user and its server"_s));
        QVERIFY(!(shown.output + shown.errors).contains(u"secret of"_s));
        const auto exported = tool->feed(
            {u"export"_s, tool->path(u"e.json"_s), u"--with-secrets"_s, u"--passphrase-stdin"_s},
            "a long passphrase\n");
        QCOMPARE(exported.exitCode, 1);
    }

    void passwordOfAnotherDatabaseIsNamed()
    {
        const QString other = tool->path(u"other.db"_s);
        const QStringList database{u"--database"_s, other};
        tool->runPlain(database + QStringList{u"init"_s});
        tool->runPlain(
            database + QStringList{
                           u"server"_s, u"add"_s, u"--dav-url"_s, u"https://d.example"_s,
                           u"--web-service-url"_s, u"https://w.example"_s});
        tool->runPlain(
            database +
                QStringList{
                    u"signin"_s, u"add"_s, u"--server"_s, u"1"_s, u"--domain"_s, u"north"_s,
                    u"--user"_s, u"kim"_s, u"--password-stdin"_s},
            "other secret\n");
        takeFirstPassword(other, tool->databasePath());

        const auto verified =
            tool->runPlain(database + QStringList{u"secrets"_s, u"verify"_s, u"--json"_s});

        QCOMPARE(verified.exitCode, 1);
        QCOMPARE(verified.object()[u"passwords"_s][0][u"reason"_s].toString(), u"other-store"_s);
    }

    void passwordPutBackAfterARekeyIsNamed()
    {
        tool->run({u"backup"_s, tool->path(u"before.db"_s)});
        tool->feed({u"signin"_s, u"password"_s, u"1"_s, u"--password-stdin"_s}, "new\n");
        QCOMPARE(run(u"rekey"_s).exitCode, 0);

        takeFirstPassword(tool->databasePath(), tool->path(u"before.db"_s));

        const auto verified = json(u"verify"_s);
        QCOMPARE(verified.exitCode, 1);
        QCOMPARE(verified.object()[u"passwords"_s][0][u"reason"_s].toString(), u"outdated"_s);
        QVERIFY(revealed(1).isEmpty());
    }

    void changesOnPurposeKeepThePasswords()
    {
        const auto moved =
            tool->run({u"server"_s, u"set"_s, u"1"_s, u"--dav-url"_s, u"https://new.example"_s});
        QCOMPARE(moved.exitCode, 0);
        QVERIFY(moved.errors.contains(u"to its new address from now on: 2"_s));
        QCOMPARE(tool->run({u"signin"_s, u"set"_s, u"1"_s, u"--user"_s, u"kim two"_s}).exitCode, 0);
        const QString copy = tool->path(u"copy.db"_s);
        QVERIFY(QFile::copy(tool->databasePath(), copy));

        QCOMPARE(revealed(1), u"secret of kim"_s);
        QCOMPARE(revealed(2), u"secret of ana"_s);
        QCOMPARE(json(u"verify"_s).exitCode, 0);
        QCOMPARE(tool->runPlain({u"--database"_s, copy, u"secrets"_s, u"verify"_s}).exitCode, 0);
    }

    void unreadablePasswordIsNotTakenAlong()
    {
        QVERIFY(tool->execute(u"UPDATE ServerConfiguration SET davUrl = 'https://evil.example'"_s));

        const auto changed = tool->run({u"signin"_s, u"set"_s, u"1"_s, u"--user"_s, u"eve"_s});

        QCOMPARE(changed.exitCode, 0);
        QVERIFY(changed.errors.contains(u"velmioctl signin password 1"_s));
        QVERIFY(revealed(1).isEmpty());
    }

    void movedPasswordIsAcceptedOnlyWithAgreement()
    {
        QVERIFY(tool->execute(u"UPDATE ServerConfiguration SET davUrl = 'https://mine.example'"_s));
        const QStringList accept{u"secrets"_s, u"rekey"_s, u"--accept-moved"_s};

        const auto asked = tool->run(accept);
        QCOMPARE(asked.exitCode, 2);
        QVERIFY(asked.errors.contains(u"sign-in 2 (user \"ana\", domain \"north\") of server 1"_s));
        QVERIFY(revealed(1).isEmpty());
        const auto agreed = tool->run(accept + QStringList{u"--yes"_s});

        QCOMPARE(agreed.exitCode, 0);
        QCOMPARE(revealed(1), u"secret of kim"_s);
        QCOMPARE(run(u"rekey"_s).exitCode, 0);
    }

    void serverThatChangesBeforeTheAnswerGetsNoPassword()
    {
        QVERIFY(tool->execute(u"UPDATE ServerConfiguration SET davUrl = 'https://mine.example'"_s));

        PseudoTerminal terminal(*tool, {u"secrets"_s, u"rekey"_s, u"--accept-moved"_s});
        QVERIFY(terminal.waitFor("https://mine.example"));
        QVERIFY(terminal.waitFor("[y/N] "));
        QVERIFY(tool->execute(u"UPDATE ServerConfiguration SET davUrl = 'https://evil.example'"_s));
        terminal.type("y\n");

        QVERIFY(terminal.waitFor("since they were shown"));
        QCOMPARE(terminal.exitCode(), 4);
        QVERIFY(revealed(1).isEmpty());
    }

    void restoredBackupFromBeforeARekeyKeepsItsPasswords()
    {
        QCOMPARE(tool->run({u"backup"_s, tool->path(u"before.db"_s)}).exitCode, 0);
        QCOMPARE(run(u"rekey"_s).exitCode, 0);

        const auto restored = tool->run({u"restore"_s, tool->path(u"before.db"_s), u"--yes"_s});

        QCOMPARE(restored.exitCode, 0);
        QVERIFY(restored.errors.contains(u"Encrypted 2 passwords of the backup again"_s));
        QCOMPARE(revealed(1), u"secret of kim"_s);
        QCOMPARE(json(u"verify"_s).object()[u"ok"_s].toInt(), 2);
    }

    void salvagedDatabaseKeepsItsPasswords()
    {
        const QString id = tool->json({u"adopt"_s}).object()[u"storeId"_s].toString();
        QVERIFY(damageTable(tool->databasePath(), u"ProductConfiguration"_s));

        tool->run({u"recover"_s, u"--salvage"_s, u"--yes"_s});

        QCOMPARE(tool->json({u"adopt"_s}).object()[u"storeId"_s].toString(), id);
        QCOMPARE(revealed(1), u"secret of kim"_s);
    }

    void importBindsItsPasswordsAndTakesNoStoredOneAlong()
    {
        const QByteArray phrase = "a long passphrase\n";
        const QString file = tool->path(u"e.json"_s);
        const QStringList withSecrets{
            u"export"_s, file, u"--with-secrets"_s, u"--passphrase-stdin"_s};
        QCOMPARE(tool->feed(withSecrets, phrase).exitCode, 0);
        tool->run({u"server"_s, u"set"_s, u"1"_s, u"--dav-url"_s, u"https://new.example"_s});

        const auto without = tool->run({u"import"_s, file, u"--without-secrets"_s, u"--yes"_s});
        QCOMPARE(without.exitCode, 0);
        QVERIFY(without.errors.contains(u"cannot be used any more"_s));
        QVERIFY(without.errors.contains(u"1, 2"_s));
        QVERIFY(revealed(1).isEmpty());

        const auto with =
            tool->feed({u"import"_s, file, u"--passphrase-stdin"_s, u"--yes"_s}, phrase);
        QCOMPARE(with.exitCode, 0);
        QCOMPARE(revealed(1), u"secret of kim"_s);
        QVERIFY(!json(u"verify"_s).errors.contains(u"can be moved unnoticed"_s));
    }

    void passwordsOfAnEarlierVersionAreBoundByRekey()
    {
        using namespace sync::core::crypto;
        const QByteArray value = seal(
            u"secret of kim"_s, FileKeyStore(tool->keyPath()).read().current(), KeyBackend::File);
        const QString put =
            u"UPDATE AuthenticationConfiguration SET encryptedPassword = x'%1' WHERE id = 1"_s.arg(
                QString::fromLatin1(value.toHex()));
        QVERIFY(tool->execute(put));
        const auto before = run(u"verify"_s);
        QCOMPARE(before.exitCode, 0);
        QVERIFY(before.errors.contains(u"can be moved unnoticed: 1."_s));

        QCOMPARE(run(u"rekey"_s).exitCode, 0);

        QCOMPARE(revealed(1), u"secret of kim"_s);
        QVERIFY(!run(u"verify"_s).errors.contains(u"can be moved"_s));
        QVERIFY(tool->execute(put));
        QCOMPARE(
            json(u"verify"_s).object()[u"passwords"_s][0][u"reason"_s].toString(), u"outdated"_s);
    }

    void verifyWithoutPasswordsNeedsNoKey()
    {
        QVERIFY(tool->execute(u"DELETE FROM AuthenticationConfiguration"_s));
        QVERIFY(QFile::remove(tool->keyPath()));

        const auto verified = json(u"verify"_s);

        QCOMPARE(verified.exitCode, 0);
        QCOMPARE(verified.object()[u"passwords"_s].toArray().size(), 0);
    }

    void missingKeyEndsWithItsOwnCode_data()
    {
        QTest::addColumn<QString>("command");
        QTest::newRow("verify") << u"verify"_s;
        QTest::newRow("rekey") << u"rekey"_s;
    }

    void missingKeyEndsWithItsOwnCode()
    {
        QFETCH(QString, command);
        const QString kept = tool->path(u"kept"_s);
        QVERIFY(QFile::rename(tool->keyPath(), kept));

        const auto answer = json(command);

        QCOMPARE(answer.exitCode, 7);
        QVERIFY(answer.errors.contains(tool->keyPath()));
        QVERIFY(answer.errors.contains(u"velmioctl signin password"_s));
        // No new key prevents the restore of the old one.
        QVERIFY(QFile::rename(kept, tool->keyPath()));
        QCOMPARE(revealed(1), u"secret of kim"_s);
    }

    void openKeyFileEndsWithItsOwnCode_data()
    {
        QTest::addColumn<QString>("command");
        QTest::newRow("verify") << u"verify"_s;
        QTest::newRow("rekey") << u"rekey"_s;
        QTest::newRow("where") << u"where"_s;
    }

    void openKeyFileEndsWithItsOwnCode()
    {
        QFETCH(QString, command);
        QFile key(tool->keyPath());
        QVERIFY(key.setPermissions(QFile::ReadOwner | QFile::WriteOwner | QFile::ReadGroup));

        const auto answer = json(command);

        QCOMPARE(answer.exitCode, 7);
        QVERIFY(answer.errors.contains(tool->keyPath()));
        QVERIFY(answer.errors.contains(u"Take the rights to it from all others"_s));
    }

    void rekeyEncryptsAllPasswords()
    {
        const QString before = currentKey();

        const auto changed = json(u"rekey"_s);

        QCOMPARE(changed.exitCode, 0);
        const QString after = currentKey();
        QVERIFY(before != after);
        const QJsonObject expected{
            {u"encrypted"_s, 2},
            {u"unreadable"_s, QJsonArray()},
            {u"currentKey"_s, after},
            {u"earlierKeys"_s, 1},
        };
        QCOMPARE(changed.object(), expected);
        const QJsonObject verified = json(u"verify"_s).object();
        QCOMPARE(verified[u"ok"_s].toInt(), 2);
        QCOMPARE(verified[u"passwords"_s][0][u"keyId"_s].toString(), after);
        QCOMPARE(
            json(u"where"_s).object()[u"earlierKeys"_s].toArray(), QJsonArray{QJsonValue(before)});
        QCOMPARE(revealed(1), u"secret of kim"_s);
    }

    void pruneWithoutEarlierKeysHasNothingToDo()
    {
        const auto pruned = run(u"prune"_s);

        QCOMPARE(pruned.exitCode, 0);
        QVERIFY(pruned.output.startsWith(u"There are no earlier keys in the key file"_s));
        QCOMPARE(keysInStore(), 1);
    }

    void pruneKeepsAKeyThatWasJustReplaced()
    {
        const QString earlier = rekeyed();
        removeBackups();

        const auto pruned = json(u"prune"_s);

        QCOMPARE(pruned.exitCode, 0);
        const QJsonObject kept{
            {u"keyId"_s, earlier}, {u"reason"_s, u"recent"_s}, {u"backups"_s, QJsonArray()}};
        QCOMPARE(pruned.object()[u"kept"_s].toArray(), QJsonArray{kept});
        QVERIFY(pruned.errors.contains(u"--no-rest"_s));
        QCOMPARE(keysInStore(), 2);
    }

    void pruneDropsWhatNothingUsesAfterItWasAgreed()
    {
        const QString earlier = rekeyed();
        removeBackups();

        const auto planned = prune({u"--no-rest"_s, u"--dry-run"_s});
        const auto asked = prune({u"--no-rest"_s});
        QCOMPARE(planned.exitCode, 0);
        QCOMPARE(planned.object()[u"dropped"_s].toArray(), QJsonArray{earlier});
        QCOMPARE(planned.object()[u"done"_s].toBool(), false);
        QCOMPARE(asked.exitCode, 2);
        QVERIFY(asked.errors.contains(u"Drop 1 key"_s));
        QCOMPARE(keysInStore(), 2);
        const auto pruned = prune({u"--no-rest"_s, u"--yes"_s});

        QCOMPARE(pruned.exitCode, 0);
        QCOMPARE(pruned.object()[u"dropped"_s].toArray(), QJsonArray{earlier});
        QCOMPARE(pruned.object()[u"done"_s].toBool(), true);
        QCOMPARE(keysInStore(), 1);
        QCOMPARE(json(u"verify"_s).object()[u"ok"_s].toInt(), 2);
    }

    void pruneNamesTheBackupsThatNeedAKey()
    {
        const QString earlier = rekeyed();
        const QString elsewhere = tool->path(u"elsewhere.db"_s);
        QVERIFY(QFile::copy(backups().first(), elsewhere));

        const auto pruned = prune({u"--no-rest"_s, u"--yes"_s, elsewhere});

        QCOMPARE(pruned.exitCode, 0);
        const QJsonObject kept = pruned.object()[u"kept"_s][0].toObject();
        QCOMPARE(kept[u"keyId"_s].toString(), earlier);
        QCOMPARE(kept[u"reason"_s].toString(), u"backups"_s);
        QCOMPARE(
            kept[u"backups"_s].toArray(), QJsonArray::fromStringList({backups()[0], elsewhere}));
        QVERIFY(pruned.errors.contains(u"--rewrite-backups"_s));
        QCOMPARE(keysInStore(), 2);
        QVERIFY(
            tool->run({u"secrets"_s, u"prune"_s, u"--no-rest"_s}).output.contains(backups()[0]));
    }

    void pruneRewritesBackupsAndTheirPasswordsAreReadAfterARestore()
    {
        rekeyed();
        const QString backup = backups().first();
        const qint64 number =
            tool->json({u"backup"_s, u"--list"_s}).array()[0].toObject()[u"number"_s].toInteger();

        const auto pruned = prune({u"--no-rest"_s, u"--rewrite-backups"_s, u"--yes"_s});

        QCOMPARE(pruned.exitCode, 0);
        QCOMPARE(pruned.object()[u"rewritten"_s].toArray(), QJsonArray{backup});
        QCOMPARE(pruned.object()[u"dropped"_s].toArray().size(), 1);
        QCOMPARE(keysInStore(), 1);
        QCOMPARE(backups(), QStringList{backup});
        const auto listed = tool->json({u"backup"_s, u"--list"_s, u"--verify"_s});
        QCOMPARE(listed.exitCode, 0);
        QCOMPARE(listed.array()[0].toObject()[u"number"_s].toInteger(), number);
        QCOMPARE(QFileInfo(backup).permissions() & (QFile::ReadGroup | QFile::ReadOther), 0);
        QCOMPARE(tool->run({u"restore"_s, backup, u"--yes"_s}).exitCode, 0);
        QCOMPARE(revealed(1), u"secret of kim"_s);
        QCOMPARE(json(u"verify"_s).object()[u"ok"_s].toInt(), 2);
    }

    void pruneRemovesBackupsThatNeedAKey()
    {
        rekeyed();
        tool->run({u"backup"_s});
        const QStringList before = backups();

        const auto pruned = prune({u"--no-rest"_s, u"--remove-backups"_s, u"--yes"_s});

        QCOMPARE(pruned.exitCode, 0);
        QCOMPARE(before.size(), 2);
        QCOMPARE(backups().size(), 1);
        QVERIFY(backups().first().endsWith(u".manual.db"_s));
        QCOMPARE(keysInStore(), 1);
    }

    void pruneNeitherRemovesNorForgetsWhatItCannotRead()
    {
        rekeyed();
        removeBackups();
        tool->writeFile(u"notes.txt"_s, "not a backup");
        const QStringList all{
            u"--no-rest"_s, u"--yes"_s, u"--remove-backups"_s, u"--rewrite-backups"_s,
            tool->path(u"notes.txt"_s)};

        const auto pruned = prune(all);

        QCOMPARE(pruned.exitCode, 0);
        QVERIFY(pruned.errors.contains(u"may need any of the keys"_s));
        QVERIFY(QFile::exists(tool->path(u"notes.txt"_s)));
        QCOMPARE(keysInStore(), 2);
    }

    // Without its WAL, a rewritten file would lose changes and later get them back.
    void pruneLeavesABackupWithItsWalAsItIs()
    {
        const QString copy = tool->path(u"copy.db"_s);
        {
            sync::test::RawDatabase raw(tool->databasePath());
            raw.run(u"INSERT INTO ServerConfiguration (alias) VALUES ('in the WAL')"_s);
            QVERIFY(QFile::copy(tool->databasePath(), copy));
            QVERIFY(QFile::copy(tool->databasePath() + u"-wal"_s, copy + u"-wal"_s));
        }
        rekeyed();
        removeBackups();
        const QByteArray before = sync::test::readFile(copy);

        const auto pruned = prune(
            {u"--no-rest"_s, u"--yes"_s, u"--rewrite-backups"_s, u"--remove-backups"_s, copy});

        QCOMPARE(pruned.exitCode, 0);
        QCOMPARE(
            pruned.object()[u"kept"_s][0].toObject()[u"backups"_s].toArray(), QJsonArray{copy});
        QVERIFY(pruned.errors.contains(u"is left as it is"_s));
        QCOMPARE(sync::test::readFile(copy), before);
        QVERIFY(QFile::exists(copy + u"-wal"_s));
        QCOMPARE(keysInStore(), 2);
    }

    // Otherwise they would get what they put there encrypted with the current key.
    void pruneRewritesNoBackupThatOthersMayChange()
    {
        rekeyed();
        const QString shared = tool->makeFolder(u"shared"_s);
        const QString copy = shared + u"/copy.db"_s;
        QVERIFY(QFile::copy(backups().first(), copy));
        QVERIFY(QFile::setPermissions(
            shared, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner | QFile::WriteOther));
        removeBackups();
        const QByteArray before = sync::test::readFile(copy);

        const auto pruned = prune({u"--no-rest"_s, u"--yes"_s, u"--rewrite-backups"_s, copy});

        QVERIFY(pruned.errors.contains(u"another user could have changed it"_s));
        QCOMPARE(pruned.object()[u"rewritten"_s].toArray(), QJsonArray());
        QCOMPARE(sync::test::readFile(copy), before);
        QCOMPARE(keysInStore(), 2);
    }

    void pruneRefusesTheDatabaseAsABackup()
    {
        rekeyed();
        takeFirstPassword(tool->databasePath(), backups().first());
        QVERIFY(QFile::link(tool->databasePath(), tool->path(u"link.db"_s)));

        const auto pruned =
            prune({u"--no-rest"_s, u"--yes"_s, u"--remove-backups"_s, tool->path(u"link.db"_s)});

        QCOMPARE(pruned.exitCode, 2);
        QVERIFY(pruned.errors.contains(u"is the database itself"_s));
        QVERIFY(QFile::exists(tool->databasePath()));
    }

    void pruneWithoutEarlierKeysRemovesNoBackup()
    {
        QVERIFY(tool->execute(
            u"INSERT INTO AuthenticationConfiguration (encryptedPassword) VALUES (x'00')"_s));
        tool->run({u"backup"_s});

        const auto pruned = prune({u"--yes"_s, u"--remove-backups"_s});

        QCOMPARE(pruned.exitCode, 0);
        QCOMPARE(pruned.object()[u"removed"_s].toArray(), QJsonArray());
        QCOMPARE(backups().size(), 1);
    }

    void pruneKeepsWhatThePasswordsUseEvenByForce()
    {
        const QString earlier = rekeyed();
        tool->run({u"restore"_s, backups().first(), u"--yes"_s});
        takeFirstPassword(tool->databasePath(), backups().first());
        const QStringList all{u"--no-rest"_s, u"--yes"_s, u"--force"_s};

        const auto pruned = prune(all);

        QCOMPARE(pruned.exitCode, 0);
        QCOMPARE(pruned.object()[u"kept"_s][0].toObject()[u"reason"_s].toString(), u"database"_s);
        QVERIFY(pruned.errors.contains(u"velmioctl secrets rekey"_s));
        QCOMPARE(keysInStore(), 2);
    }

    void pruneDropsWhatBackupsNeedOnlyByForce()
    {
        rekeyed();

        const auto pruned = prune({u"--no-rest"_s, u"--yes"_s, u"--force"_s});

        QCOMPARE(pruned.exitCode, 0);
        QCOMPARE(keysInStore(), 1);
        QCOMPARE(backups().size(), 1);
        QCOMPARE(json(u"verify"_s).object()[u"ok"_s].toInt(), 2);
    }

    void pruneKeepsWhatAnotherDatabaseNeeds()
    {
        rekeyed();
        const QString other = tool->path(u"other.db"_s);
        const auto onOther = [&](const QStringList& arguments, const QByteArray& input = {}) {
            return tool->runPlain(QStringList{u"--database"_s, other} + arguments, input);
        };
        onOther({u"init"_s});
        onOther(
            {u"server"_s, u"add"_s, u"--dav-url"_s, u"https://d.example"_s, u"--web-service-url"_s,
             u"https://w.example"_s});
        onOther(
            {u"signin"_s, u"add"_s, u"--server"_s, u"1"_s, u"--domain"_s, u"north"_s, u"--user"_s,
             u"kim"_s, u"--password-stdin"_s},
            "other secret\n");
        QCOMPARE(onOther({u"secrets"_s, u"rekey"_s}).exitCode, 0);
        removeBackups();

        const auto pruned = onOther(
            {u"secrets"_s, u"prune"_s, u"--no-rest"_s, u"--yes"_s, u"--remove-backups"_s,
             u"--json"_s});

        QCOMPARE(pruned.exitCode, 0);
        QCOMPARE(
            pruned.object()[u"kept"_s][0].toObject()[u"reason"_s].toString(), u"other-databases"_s);
        QCOMPARE(pruned.object()[u"dropped"_s].toArray().size(), 1);
        QCOMPARE(json(u"verify"_s).object()[u"ok"_s].toInt(), 2);
    }

    void rekeyLeavesWhatCannotBeRead()
    {
        QVERIFY(tool->execute(
            u"UPDATE AuthenticationConfiguration SET encryptedPassword = x'00' WHERE id = 1"_s));

        const auto changed = json(u"rekey"_s);

        QCOMPARE(changed.exitCode, 1);
        QCOMPARE(changed.object()[u"encrypted"_s].toInt(), 1);
        QCOMPARE(changed.object()[u"unreadable"_s].toArray(), QJsonArray{1});
        QVERIFY(changed.errors.contains(u"velmioctl secrets verify"_s));
        QCOMPARE(revealed(2), u"secret of ana"_s);
    }

    void passwordsOfAnotherKindOfStoreAreNotMixed()
    {
        using namespace sync::core::crypto;
        HostKeyStore store(QByteArray(32, 'k'));
        const QByteArray value =
            seal(u"secret of host"_s, store.read().current(), KeyBackend::Host);
        QVERIFY(tool->execute(
            u"UPDATE AuthenticationConfiguration SET encryptedPassword = x'%1' WHERE id = 1"_s.arg(
                QString::fromLatin1(value.toHex()))));

        const auto verified = json(u"verify"_s);

        QCOMPARE(verified.exitCode, 1);
        QCOMPARE(verified.object()[u"passwords"_s][0][u"reason"_s].toString(), u"other-key"_s);
        QVERIFY(run(u"verify"_s).output.contains(u"of the host program"_s));
        QCOMPARE(run(u"rekey"_s).exitCode, 7);
        QCOMPARE(addSignIn(u"new"_s, "new secret").exitCode, 7);
    }

    void whereShowsTheKeyFile()
    {
        const auto where = json(u"where"_s);

        const QString key = where.object()[u"currentKey"_s].toString();
        QCOMPARE(key.size(), 32);
        const QJsonObject expected{
            {u"store"_s, u"the key file"_s},  {u"path"_s, tool->keyPath()},
            {u"permissions"_s, u"0600"_s},    {u"currentKey"_s, key},
            {u"earlierKeys"_s, QJsonArray()},
        };
        QCOMPARE(where.object(), expected);
        QVERIFY(run(u"where"_s).output.contains(u"current key  "_s + key));
    }

    // A backup of the folder, for example, or a synchronised one.
    void copyOfTheDatabasesFolderRevealsNoPassword()
    {
        VelmioctlRunner thief;
        const QString folder = tool->homePath() + u"/velmio"_s;
        QVERIFY(QDir().mkpath(folder));
        QVERIFY(QDir().mkpath(thief.homePath() + u"/velmio"_s));
        QCOMPARE(tool->runPlain({u"restore"_s, tool->databasePath(), u"--yes"_s}).exitCode, 0);
        // As an earlier version left it.
        QVERIFY(QFile::rename(tool->keyPath(), folder + u"/password.key"_s));

        QCOMPARE(tool->runPlain({u"secrets"_s, u"verify"_s}).exitCode, 0);
        for (const QFileInfo& file : QDir(folder).entryInfoList(QDir::Files))
            QVERIFY(
                QFile::copy(file.filePath(), thief.homePath() + u"/velmio/"_s + file.fileName()));

        QCOMPARE(thief.runPlain({u"secrets"_s, u"verify"_s}).exitCode, 7);
        QCOMPARE(tool->runPlain({u"secrets"_s, u"verify"_s}).exitCode, 0);
    }

    void whereNeedsNoDatabase()
    {
        const VelmioctlRunner empty;

        const auto where = empty.json({u"secrets"_s, u"where"_s});

        QCOMPARE(where.exitCode, 0);
        QCOMPARE(where.object()[u"currentKey"_s], QJsonValue(QJsonValue::Null));
        QCOMPARE(where.object()[u"permissions"_s], QJsonValue(QJsonValue::Null));
        QVERIFY(!QFile::exists(empty.keyPath()));
        QVERIFY(!QFile::exists(empty.databasePath()));
    }

    void wrongArgumentsAreUsageErrors()
    {
        QCOMPARE(tool->run({u"secrets"_s}).exitCode, 2);
        QCOMPARE(run(u"none"_s).exitCode, 2);
        QCOMPARE(tool->run({u"secrets"_s, u"verify"_s, u"1"_s}).exitCode, 2);
    }

    void settingsAreMadeUsedAndRemovedInOrder()
    {
        const VelmioctlRunner home;
        const auto id = [](const VelmioctlRun& answer) {
            return QString::number(answer.object()[u"id"_s].toInt(-1));
        };
        home.makeFolder(u"Work/Plans"_s);
        home.run({u"init"_s});

        const QString server = id(home.json(
            {u"server"_s, u"add"_s, u"--dav-url"_s, u"https://dav.example.com/dav"_s,
             u"--web-service-url"_s, u"https://web.example.com/ws"_s}));
        const QString signIn = id(home.feedJson(
            {u"signin"_s, u"add"_s, u"--server"_s, server, u"--domain"_s, u"north"_s, u"--user"_s,
             u"kim"_s, u"--password-stdin"_s},
            "first\n"));
        const QString product = id(home.feedJson(
            {u"product"_s, u"add"_s, u"--server"_s, server, u"--name"_s, u"Desktop"_s,
             u"--consumer-key"_s, u"ck"_s, u"--secret-stdin"_s},
            "shared\n"));
        const auto folder = home.json(
            {u"folder"_s, u"add"_s, u"Work"_s, u"--server-path"_s, u"/Work"_s, u"--signin"_s,
             signIn, u"--product"_s, product});
        QCOMPARE(folder.exitCode, 0);
        QCOMPARE(home.json({u"scan"_s}).object()[u"new"_s].toInt(), 1);
        const QStringList changePassword{u"signin"_s, u"password"_s, signIn, u"--password-stdin"_s};
        QCOMPARE(home.feedJson(changePassword, "second\n").object()[u"changed"_s].toInt(), 1);
        QCOMPARE(home.json({u"secrets"_s, u"rekey"_s}).object()[u"encrypted"_s].toInt(), 1);
        QCOMPARE(home.json({u"secrets"_s, u"verify"_s}).object()[u"ok"_s].toInt(), 1);
        const QStringList show{u"signin"_s, u"show"_s, signIn, u"--reveal"_s};
        QCOMPARE(home.json(show).object()[u"password"_s].toString(), u"second"_s);

        // Referring records before those that they refer to, so there is no warning.
        const QList<QStringList> removals{
            {u"folder"_s, u"clean"_s, id(folder), u"--yes"_s},
            {u"product"_s, u"remove"_s, product, u"--yes"_s},
            {u"signin"_s, u"remove"_s, signIn, u"--yes"_s},
            {u"server"_s, u"remove"_s, server, u"--yes"_s},
        };
        for (const QStringList& removal : removals) {
            const auto removed = home.run(removal);
            QCOMPARE(removed.exitCode, 0);
            QVERIFY(!removed.errors.contains(u"warning: "_s));
        }
        const QJsonObject rows = home.json({u"stats"_s}).object()[u"tables"_s].toObject();
        for (const QString& table : rows.keys())
            QCOMPARE(rows[table].toInt(), table == u"Schedules"_s ? 1 : 0);
    }

    void passwordsLieNowhereInClear()
    {
        const QStringList passwords{u"Canary-4711-\u00e9t\u00e9"_s, u"Goldfinch-0815-\U0001f511"_s};
        QString told;
        const auto listen = [&told](const VelmioctlRun& answer) {
            QCOMPARE(answer.exitCode, 0);
            told += answer.output + answer.errors;
        };

        listen(addSignIn(u"canary"_s, passwords[0].toUtf8()));
        listen(tool->feed(
            {u"signin"_s, u"password"_s, u"1"_s, u"--password-stdin"_s}, passwords[1].toUtf8()));
        listen(tool->run({u"signin"_s, u"list"_s}));
        listen(tool->json({u"signin"_s, u"show"_s, u"3"_s}));
        listen(tool->run({u"signin"_s, u"set"_s, u"3"_s, u"--user"_s, u"bird"_s}));
        listen(run(u"rekey"_s));
        listen(run(u"verify"_s));
        listen(run(u"where"_s));
        QCOMPARE(revealed(3), passwords[0]);
        QCOMPARE(revealed(1), passwords[1]);
        tool->writeFile(u"told"_s, told.toUtf8());

        QCOMPARE(filesWith(tool->path(u"."_s), passwords), QStringList());
        // The search finds stored text: consumer secrets are stored unencrypted.
        const QString secret = u"Sparrow-1234"_s;
        tool->feed(
            {u"product"_s, u"add"_s, u"--server"_s, u"1"_s, u"--name"_s, u"n"_s,
             u"--consumer-key"_s, u"ck"_s, u"--secret-stdin"_s},
            secret.toUtf8());
        QVERIFY(!filesWith(tool->path(u"."_s), {secret}).isEmpty());
    }

private:
    VelmioctlRun run(const QString& command) const { return tool->run({u"secrets"_s, command}); }
    VelmioctlRun json(const QString& command) const { return tool->json({u"secrets"_s, command}); }
    VelmioctlRun addSignIn(const QString& user, const QByteArray& password) const
    {
        return tool->feed(
            {u"signin"_s, u"add"_s, u"--server"_s, u"1"_s, u"--domain"_s, u"north"_s, u"--user"_s,
             user, u"--password-stdin"_s},
            password + '\n');
    }
    QString revealed(int id) const
    {
        return tool->json({u"signin"_s, u"show"_s, QString::number(id), u"--reveal"_s})
            .object()[u"password"_s]
            .toString();
    }
    /// Changes the key, and returns the earlier one.
    QString rekeyed() const
    {
        QString earlier = currentKey();
        run(u"rekey"_s);
        return earlier;
    }
    VelmioctlRun prune(const QStringList& options) const
    {
        return tool->json(QStringList{u"secrets"_s, u"prune"_s} + options);
    }
    QStringList backups() const
    {
        QStringList paths;
        const QDir folder(tool->databasePath() + u"-backups"_s);
        for (const QFileInfo& file : folder.entryInfoList(QDir::Files, QDir::Name))
            paths += file.absoluteFilePath();
        return paths;
    }
    void removeBackups() const { QDir(tool->databasePath() + u"-backups"_s).removeRecursively(); }
    qsizetype keysInStore() const
    {
        return 1 + json(u"where"_s).object()[u"earlierKeys"_s].toArray().size();
    }
    QString currentKey() const { return json(u"where"_s).object()[u"currentKey"_s].toString(); }

    std::unique_ptr<VelmioctlRunner> tool;
};

QTEST_GUILESS_MAIN(TestVelmioctlSecrets)
#include "TestVelmioctlSecrets.moc"
