#include <config/ScheduleEntry.h>

#include <QMetaProperty>
#include <QTest>

#include <type_traits>

using namespace Qt::StringLiterals;

namespace sync::config {

namespace {

const QDateTime Start({2021, 2, 3}, {4, 5, 6, 7}, Qt::UTC);
const QDateTime Expire({2022, 8, 9}, {10, 11, 12, 13}, Qt::OffsetFromUTC, 3600);

ScheduleEntry sampleEntry()
{
    ScheduleEntry entry;
    entry.setFolderConfigId(2);
    entry.setStartTime(Start);
    entry.setExpireTime(Expire);
    entry.setSyncScheduleType(static_cast<SyncSchedule>(3));
    entry.setSyncInterval(4);
    return entry;
}

// Every property in its order.
QVariantList fieldsOf(const ScheduleEntry& entry)
{
    QVariantList fields;
    const QMetaObject* metaObject = entry.metaObject();
    for (int i = metaObject->propertyOffset(); i < metaObject->propertyCount(); ++i)
        fields.append(metaObject->property(i).read(&entry));
    return fields;
}

const QVariantList SampleFields{-1, Start, Expire, 2, QVariant::fromValue(SyncSchedule(3)), 4};

} // namespace

class TestScheduleEntry : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void newRecordHoldsTheDefaults();
    void settersStoreEachFieldOfItsOwn();
    void timesAreKeptAsGiven();
    void copyHoldsEveryFieldAndHasNoParent();
    void assignmentReplacesEveryFieldAndKeepsTheObject();
    void moveHoldsEveryFieldAndCannotThrow();
    void propertiesAreDeclaredInOrderAndAllButTheIdCanBeWritten();
    void plainNumberReachesTheScheduleType();
};

void TestScheduleEntry::newRecordHoldsTheDefaults()
{
    const ScheduleEntry entry;

    QCOMPARE(entry.getId(), -1);
    QCOMPARE(entry.getFolderConfigId(), 0);
    QVERIFY(entry.getStartTime().isNull());
    QVERIFY(entry.getExpireTime().isNull());
    QCOMPARE(int(entry.getSyncScheduleType()), 0);
    QCOMPARE(entry.getSyncInterval(), 30);
    QVERIFY(!entry.parent());
}

void TestScheduleEntry::settersStoreEachFieldOfItsOwn()
{
    const ScheduleEntry entry = sampleEntry();

    QCOMPARE(entry.getFolderConfigId(), 2);
    QCOMPARE(entry.getStartTime(), Start);
    QCOMPARE(entry.getExpireTime(), Expire);
    QCOMPARE(int(entry.getSyncScheduleType()), 3);
    QCOMPARE(entry.getSyncInterval(), 4);
}

void TestScheduleEntry::timesAreKeptAsGiven()
{
    const ScheduleEntry entry = sampleEntry();

    QCOMPARE(entry.getStartTime().timeSpec(), Qt::UTC);
    QCOMPARE(entry.getExpireTime().timeSpec(), Qt::OffsetFromUTC);
}

void TestScheduleEntry::copyHoldsEveryFieldAndHasNoParent()
{
    QObject parent;
    ScheduleEntry entry = sampleEntry();
    entry.setParent(&parent);

    const ScheduleEntry copy(entry);

    QCOMPARE(fieldsOf(copy), SampleFields);
    QVERIFY(!copy.parent());
    entry.setParent(nullptr);
}

void TestScheduleEntry::assignmentReplacesEveryFieldAndKeepsTheObject()
{
    ScheduleEntry entry;
    entry.setObjectName(u"mine"_s);

    entry = sampleEntry();
    ScheduleEntry copy;
    copy = entry;

    QCOMPARE(fieldsOf(entry), SampleFields);
    QCOMPARE(entry.objectName(), u"mine"_s);
    QCOMPARE(fieldsOf(copy), SampleFields);
}

void TestScheduleEntry::moveHoldsEveryFieldAndCannotThrow()
{
    ScheduleEntry entry = sampleEntry();

    const ScheduleEntry moved(std::move(entry));

    QCOMPARE(fieldsOf(moved), SampleFields);
    QVERIFY(std::is_nothrow_move_constructible_v<ScheduleEntry>);
    QVERIFY(std::is_nothrow_move_assignable_v<ScheduleEntry>);
}

void TestScheduleEntry::propertiesAreDeclaredInOrderAndAllButTheIdCanBeWritten()
{
    ScheduleEntry entry;
    const QMetaObject* metaObject = entry.metaObject();
    QStringList declared;

    for (int i = metaObject->propertyOffset(); i < metaObject->propertyCount(); ++i) {
        const QMetaProperty property = metaObject->property(i);
        declared.append(
            QString::fromLatin1(property.typeName()) + u' ' + QString::fromLatin1(property.name()));
        QCOMPARE(
            property.write(&entry, SampleFields.value(i - metaObject->propertyOffset())),
            property.name() != QByteArray("Id"));
    }

    QCOMPARE(
        declared, QStringList(
                      {u"int Id"_s, u"QDateTime StartTime"_s, u"QDateTime ExpireTime"_s,
                       u"int FolderConfigId"_s, u"sync::config::SyncSchedule SyncScheduleType"_s,
                       u"int SyncInterval"_s}));
    QCOMPARE(fieldsOf(entry), SampleFields);
    QCOMPARE(metaObject->methodCount(), metaObject->methodOffset());
}

void TestScheduleEntry::plainNumberReachesTheScheduleType()
{
    ScheduleEntry entry;

    QVERIFY(entry.setProperty("SyncScheduleType", 7));

    QCOMPARE(int(entry.getSyncScheduleType()), 7);
}

} // namespace sync::config

QTEST_APPLESS_MAIN(sync::config::TestScheduleEntry)
#include "TestScheduleEntry.moc"
