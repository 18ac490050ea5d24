#include <database/opening/StoreIdentity.h>

#include <support/CapturedWarnings.h>
#include <support/RawDatabase.h>

#include <database/SqliteDatabaseFactory.h>
#include <interf/IQSqlDatabaseWrapper.h>
#include <interf/IQSqlQueryWrapper.h>

#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>

using namespace Qt::StringLiterals;
using sync::database::machineStamp;
using sync::database::SqliteDatabaseFactory;
using sync::test::CapturedWarnings;
using sync::test::RawDatabase;

class TestStoreIdentity : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();

    void stampIsAKeyedHash();
    void stampTellsMachinesAccountsAndStoresApart();
    void withoutAMachineIdTheAccountCounts();
    void newStoreHasAnIdAndBelongsHere();
    void idsAreRandom();
    void storeOfAnotherMachineIsMovedAndWorks();
    void storeOfAnotherAccountIsMoved();
    void adoptedStoreBelongsHere();
    void adoptionThatFailsLeavesItMoved();
    void storeWithoutAStampGetsOne();
    void stampThatCannotBeWrittenStopsNobody();

private:
    // As if this store had been used on that machine by that account.
    void moveFrom(const QByteArray& machineId, qint64 userId)
    {
        RawDatabase raw(path);
        const QString stamp =
            machineStamp(machineId, userId, raw.value(u"SELECT storeId FROM StoreIdentity"_s));
        raw.run(u"UPDATE StoreIdentity SET machineStamp = '%1'"_s.arg(stamp));
    }
    QString storedStamp() const
    {
        return RawDatabase(path).value(u"SELECT machineStamp FROM StoreIdentity"_s);
    }

    std::unique_ptr<QTemporaryDir> folder;
    QString path;
};

void TestStoreIdentity::init()
{
    folder = std::make_unique<QTemporaryDir>();
    path = folder->filePath(u"store.db"_s);
}

void TestStoreIdentity::stampIsAKeyedHash()
{
    // HMAC-SHA-256 of the three lines. Another value would call every store moved.
    QCOMPARE(
        machineStamp("0123456789abcdef0123456789abcdef", 1000, u"5f00"_s),
        u"24ebe84b188b7055ff2dd3ce8bdc5376344aac8fb124757d0c21859f196b9161"_s);
}

void TestStoreIdentity::stampTellsMachinesAccountsAndStoresApart()
{
    const QString stamp = machineStamp("a", 1, u"c"_s);

    QVERIFY(machineStamp("b", 1, u"c"_s) != stamp);
    QVERIFY(machineStamp("a", 2, u"c"_s) != stamp);
    QVERIFY(machineStamp("a", 1, u"d"_s) != stamp);
    QCOMPARE(machineStamp("a", 1, u"c"_s), stamp);
}

void TestStoreIdentity::withoutAMachineIdTheAccountCounts()
{
    QVERIFY(machineStamp({}, 1, u"c"_s) != machineStamp({}, 2, u"c"_s));
    QCOMPARE(machineStamp({}, 1, u"c"_s), machineStamp(QByteArray(""), 1, u"c"_s));
}

void TestStoreIdentity::newStoreHasAnIdAndBelongsHere()
{
    const auto factory = SqliteDatabaseFactory::open(path);

    QVERIFY(!factory->isMoved());
    QVERIFY(factory->warnings().isEmpty());
    static const QRegularExpression digits(u"^[0-9a-f]{32}$"_s);
    QVERIFY(digits.match(factory->storeId()).hasMatch());
    QCOMPARE(storedStamp().size(), 64);
    RawDatabase raw(path);
    QCOMPARE(raw.value(u"SELECT count(*) FROM StoreIdentity"_s), u"1"_s);
    QCOMPARE(raw.value(u"SELECT lastCompatibleVersion FROM StoreIdentity"_s), u"1"_s);
    QCOMPARE(
        raw.value(u"SELECT julianday('now') - julianday(createdTime) BETWEEN 0 AND 0.01"
                  u" FROM StoreIdentity"_s),
        u"1"_s);
    QVERIFY(!raw.tryRun("INSERT INTO StoreIdentity VALUES (2, 'x', 'x', 'x', 1)"));
}

void TestStoreIdentity::idsAreRandom()
{
    const auto one = SqliteDatabaseFactory::open(path);
    const auto other = SqliteDatabaseFactory::open(folder->filePath(u"other.db"_s));

    QVERIFY(one->storeId() != other->storeId());
    QCOMPARE(SqliteDatabaseFactory::open(path)->storeId(), one->storeId());
}

void TestStoreIdentity::storeOfAnotherMachineIsMovedAndWorks()
{
    SqliteDatabaseFactory::open(path);
    moveFrom("another machine", ::geteuid());
    const QString stamp = storedStamp();
    const CapturedWarnings log;

    const auto factory = SqliteDatabaseFactory::open(path);

    QVERIFY(factory->isMoved());
    QCOMPARE(factory->warnings().size(), 1);
    QVERIFY(factory->warnings().constFirst().contains(path));
    QCOMPARE(log.texts(), QStringList{u"velmio.database: "_s + factory->warnings().constFirst()});
    const auto query = factory->CreateQuery();
    query->prepare(u"INSERT INTO ServerConfiguration (alias) VALUES ('a')"_s);
    QVERIFY(query->exec());
    QCOMPARE(storedStamp(), stamp);
}

void TestStoreIdentity::storeOfAnotherAccountIsMoved()
{
    SqliteDatabaseFactory::open(path);
    moveFrom(QSysInfo::machineUniqueId(), ::geteuid() + 1);
    const CapturedWarnings log;

    QVERIFY(SqliteDatabaseFactory::open(path)->isMoved());

    moveFrom(QSysInfo::machineUniqueId(), ::geteuid());
    QVERIFY(!SqliteDatabaseFactory::open(path)->isMoved());
}

void TestStoreIdentity::adoptedStoreBelongsHere()
{
    const QString id = SqliteDatabaseFactory::open(path)->storeId();
    moveFrom("another machine", 77);
    const CapturedWarnings log;
    const auto factory = SqliteDatabaseFactory::open(path);

    factory->adopt();

    QVERIFY(!factory->isMoved());
    const auto again = SqliteDatabaseFactory::open(path);
    QVERIFY(!again->isMoved());
    QCOMPARE(again->storeId(), id);
    QCOMPARE(log.texts().size(), 1);
}

void TestStoreIdentity::adoptionThatFailsLeavesItMoved()
{
    SqliteDatabaseFactory::open(path);
    moveFrom("another machine", 77);
    const CapturedWarnings log;
    const auto factory = SqliteDatabaseFactory::open(path);
    RawDatabase(path).run(u"CREATE TRIGGER refuse BEFORE UPDATE ON StoreIdentity"
                          u" BEGIN SELECT RAISE(ABORT, 'no way'); END"_s);

    QVERIFY_THROWS_EXCEPTION(sync::database::DatabaseError, factory->adopt());

    QVERIFY(factory->isMoved());
    QCOMPARE(factory->failureCount(), 1);
}

void TestStoreIdentity::storeWithoutAStampGetsOne()
{
    SqliteDatabaseFactory::open(path);
    const QString stamp = storedStamp();
    RawDatabase(path).run(u"UPDATE StoreIdentity SET machineStamp = NULL"_s);

    QVERIFY(!SqliteDatabaseFactory::open(path)->isMoved());

    QCOMPARE(storedStamp(), stamp);
}

void TestStoreIdentity::stampThatCannotBeWrittenStopsNobody()
{
    SqliteDatabaseFactory::open(path);
    RawDatabase raw(path);
    raw.run(u"UPDATE StoreIdentity SET machineStamp = NULL; PRAGMA query_only = ON"_s);

    sync::database::stamp(raw.handle(), {.storeId = u"c"_s});

    QVERIFY(storedStamp().isEmpty());
}

QTEST_GUILESS_MAIN(TestStoreIdentity)
#include "TestStoreIdentity.moc"
