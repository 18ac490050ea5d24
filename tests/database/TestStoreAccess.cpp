#include <database/DatabaseBackups.h>
#include <database/DatabaseError.h>
#include <database/SqliteDatabaseFactory.h>

#include <QTemporaryDir>
#include <QTest>

#include <functional>
#include <sys/stat.h>
#include <unistd.h>

using namespace Qt::StringLiterals;
using namespace sync::database;

namespace {

constexpr uid_t Stranger = 65534;

} // namespace

class TestStoreAccess : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init()
    {
        folder = std::make_unique<QTemporaryDir>();
        path = folder->filePath(u"store.db"_s);
        SqliteDatabaseFactory::open(path);
    }

    void whatOthersMayWriteToIsRefused_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<int>("mode");
        QTest::newRow("file") << u"store.db"_s << 0666;
        QTest::newRow("WAL") << u"store.db-wal"_s << 0602;
        QTest::newRow("WAL index") << u"store.db-shm"_s << 0602;
        QTest::newRow("journal") << u"store.db-journal"_s << 0602;
        QTest::newRow("folder") << u"."_s << 0777;
        QTest::newRow("sticky folder") << u"."_s << 01777;
    }

    void whatOthersMayWriteToIsRefused()
    {
        QFETCH(const QString, name);
        QFETCH(const int, mode);
        const QByteArray file = QFile::encodeName(folder->filePath(name));
        QFile(folder->filePath(name)).open(QIODevice::ReadWrite);
        QCOMPARE(::chmod(file.constData(), mode_t(mode)), 0);

        const QString text = refusal();

        QVERIFY2(text.contains(u"others may write to "_s), qPrintable(text));
        QVERIFY(SqliteDatabaseFactory::openWith({.othersMayWrite = true}, path));
        QVERIFY(SqliteDatabaseFactory::openReadOnly(path));
    }

    void aPlantedCompanionIsRefused()
    {
        const QString wal = path + u"-wal"_s;
        QVERIFY(QFile(wal).open(QIODevice::ReadWrite));
        // Only root can give a file away; anybody else owns it here.
        const bool planted = ::chown(QFile::encodeName(wal).constData(), Stranger, Stranger) == 0;

        QCOMPARE(refusal().contains(wal + u" belongs to the user with the id 65534"_s), planted);
        if (planted)
            QVERIFY_THROWS_EXCEPTION(DatabaseError, SqliteDatabaseFactory::openReadOnly(path));
    }

    void aNewStoreIsNotMadeWhereOthersMayWrite()
    {
        QCOMPARE(::chmod(QFile::encodeName(folder->path()).constData(), 01777), 0);
        path = folder->filePath(u"new.db"_s);

        QVERIFY(refusal().contains(folder->path()));
        QVERIFY(!QFile::exists(path));
    }

    void backupsFollowTheSameRule()
    {
        const DatabaseBackups backups(path);
        const auto made = backups.make(DatabaseBackups::Reason::Manual);
        const QString copy = folder->filePath(u"copy.db"_s);
        QVERIFY(setMode(backups.folder(), 0777));

        const auto make = [&backups] { backups.make(DatabaseBackups::Reason::Manual); };
        QVERIFY(refusal(make).contains(backups.folder()));
        QVERIFY(refusal([&] { backups.restore(made.path); }).contains(backups.folder()));
        QVERIFY(refusal([&] { DatabaseBackups::verify(made.path); }).contains(backups.folder()));
        QVERIFY(!backups.newestVerified());
        QVERIFY(setMode(backups.folder(), 0700) && setMode(folder->path(), 01777));
        QVERIFY(refusal(make).contains(folder->path()));
        QVERIFY(refusal([&] { backups.makeAt(copy); }).contains(folder->path()));
        QVERIFY(refusal([&] { backups.restore(made.path); }).contains(folder->path()));
        QVERIFY(refusal([&] { backups.salvage(); }).contains(folder->path()));
        QVERIFY(!QFile::exists(copy));
        DatabaseBackups(path, {.othersMayWrite = true}).makeAt(copy);
    }

    void aBackupBesideAPlantedCompanionIsRefused()
    {
        const auto made = DatabaseBackups(path).make(DatabaseBackups::Reason::Manual);
        const QString wal = made.path + u"-wal"_s;
        QVERIFY(QFile(wal).open(QIODevice::ReadWrite));
        const bool planted = ::chown(QFile::encodeName(wal).constData(), Stranger, Stranger) == 0;

        const QString text = refusal([&] { DatabaseBackups(path).restore(made.path); });

        QCOMPARE(text.contains(wal + u" belongs to the user with the id 65534"_s), planted);
    }

private:
    static bool setMode(const QString& name, mode_t mode)
    {
        return ::chmod(QFile::encodeName(name).constData(), mode) == 0;
    }
    QString refusal() const
    {
        return refusal([this] { SqliteDatabaseFactory::open(path); });
    }
    static QString refusal(const std::function<void()>& work)
    {
        try {
            work();
        } catch (const DatabaseError& error) {
            return error.cause() == DatabaseError::Cause::Untrusted ? error.text() : QString();
        }
        return {};
    }

    std::unique_ptr<QTemporaryDir> folder;
    QString path;
};

QTEST_GUILESS_MAIN(TestStoreAccess)
#include "TestStoreAccess.moc"
