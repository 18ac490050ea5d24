#include <support/RawDatabase.h>

#include <database/DatabaseError.h>
#include <database/SqliteDatabaseFactory.h>
#include <database/opening/StoreAccess.h>

#include <QTemporaryDir>
#include <QTest>

#include <grp.h>
#include <pwd.h>
#include <unistd.h>

using namespace Qt::StringLiterals;
using namespace sync::database;
using sync::test::RawDatabase;

namespace {

constexpr uid_t Stranger = 65534;

// The user that the tests run as.
struct stat ownFile(mode_t mode)
{
    struct stat status
    {
    };
    status.st_mode = S_IFREG | mode;
    status.st_uid = ::geteuid();
    status.st_gid = ::getpwuid(status.st_uid)->pw_gid;
    return status;
}

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

    void onlyTheUserAndRootAreTrustedOwners()
    {
        struct stat status = ownFile(0600);
        QVERIFY(hasTrustedOwner(status, status.st_uid));
        status.st_uid = 0;
        QVERIFY(hasTrustedOwner(status, 1));
        status.st_uid = Stranger;
        QVERIFY(!hasTrustedOwner(status, 1));
        QCOMPARE(hasTrustedOwner(status, Stranger), ::geteuid() == 0);
    }

    void anotherGroupMayNotWrite()
    {
        struct stat status = ownFile(0620);
        status.st_gid = Stranger;
        QVERIFY(othersMayWrite(status));
        status.st_mode = S_IFREG | 0644;
        QVERIFY(!othersMayWrite(status));
    }

    void theGroupOfTheUserAloneMayWrite()
    {
        const struct stat status = ownFile(0660);
        const bool isOwn =
            ::getgrgid(status.st_gid)->gr_name == QByteArray(::getpwuid(status.st_uid)->pw_name);
        QCOMPARE(othersMayWrite(status), !isOwn);
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

private:
    QString refusal() const
    {
        try {
            SqliteDatabaseFactory::open(path);
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
