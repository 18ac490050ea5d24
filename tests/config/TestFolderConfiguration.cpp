#include <config/FolderConfiguration.h>

#include <QMetaProperty>
#include <QTest>

#include <type_traits>

using namespace Qt::StringLiterals;

namespace sync::config {

namespace {

const QDateTime OperationTime({2021, 2, 3}, {4, 5, 6, 7}, Qt::LocalTime);
const QDateTime LocalTime({2022, 8, 9}, {10, 11, 12, 13}, Qt::LocalTime);
const QDateTime LocalTimeAsUtc({2022, 8, 9}, {10, 11, 12, 13}, Qt::UTC);

FolderConfiguration sampleFolder()
{
    FolderConfiguration folder;
    folder.setAuthenticationId(2);
    folder.setProductConfigurationId(3);
    folder.setName(u"name"_s);
    folder.setRemoteShortKey(u"short"_s);
    folder.setRemoteLongKey(u"long"_s);
    folder.setClientPath(u"/client"_s);
    folder.setSyncStatus(FolderNotSynced);
    folder.setServerPath(u"/server"_s);
    folder.setLastOperationTime(OperationTime);
    folder.setParentId(4);
    folder.setLastSyncTime(LocalTime);
    folder.setFolderOption(static_cast<SynchronizationFolderOption>(5));
    folder.setLastOperationType(static_cast<FolderOperationType>(6));
    folder.setSyncDriveType(static_cast<DriveType>(7));
    folder.setRootId(8);
    folder.setSyncOption(static_cast<FolderSyncOption>(9));
    folder.setOwnerId(u"owner"_s);
    folder.setPrivileges(static_cast<FolderPrivileges>(10));
    folder.setServerRoot(u"/root"_s);
    folder.setServerFolderId(u"serverFolder"_s);
    folder.setNameValueProperties({{u"Key"_s, u"value"_s}});
    folder.setFeatureName(u"feature"_s);
    folder.setLastServerSyncRequestTime(LocalTime.addDays(1));
    return folder;
}

QString textOf(const QVariant& value)
{
    if (value.metaType().flags() & QMetaType::IsEnumeration)
        return QString::number(value.toInt());
    if (value.typeId() == QMetaType::QDateTime)
        return value.toDateTime().toString(Qt::ISODateWithMs);
    return value.toString();
}

// Every property as text, then all that has no property.
QStringList fieldsOf(const FolderConfiguration& folder)
{
    QStringList fields;
    const QMetaObject* metaObject = folder.metaObject();
    for (int i = metaObject->propertyOffset(); i < metaObject->propertyCount(); ++i)
        fields.append(textOf(metaObject->property(i).read(&folder)));
    const QMap<QString, QString> properties = folder.getNameValueProperties();
    for (auto entry = properties.cbegin(); entry != properties.cend(); ++entry)
        fields.append(entry.key() + u'=' + entry.value());
    return fields << folder.getLastServerSyncRequestTime().toString(Qt::ISODateWithMs)
                  << (folder.getSyncStatusChanged() ? u"changed"_s : u"unchanged"_s);
}

const QStringList DefaultFields{
    u"-1"_s, u"-1"_s, u"-1"_s, {},      {},     {}, {},      u"1"_s, {}, {}, u"-1"_s,        {},
    u"1"_s,  u"0"_s,  u"0"_s,  u"-1"_s, u"0"_s, {}, u"31"_s, {},     {}, {}, u"unchanged"_s,
};

const QStringList SampleFields{
    u"-1"_s,
    u"2"_s,
    u"3"_s,
    u"name"_s,
    u"short"_s,
    u"long"_s,
    u"/client"_s,
    u"2"_s,
    u"/server"_s,
    u"2021-02-03T04:05:06.007"_s,
    u"4"_s,
    u"2022-08-09T10:11:12.013Z"_s,
    u"5"_s,
    u"6"_s,
    u"7"_s,
    u"8"_s,
    u"9"_s,
    u"owner"_s,
    u"10"_s,
    u"/root"_s,
    u"serverFolder"_s,
    u"FeatureName=feature"_s,
    u"Key=value"_s,
    u"2022-08-10T10:11:12.013Z"_s,
    u"changed"_s,
};

} // namespace

class TestFolderConfiguration : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void newRecordHoldsTheDefaults();
    void settersStoreEachFieldOfItsOwn();
    void copyHoldsEveryField();
    void assignmentReplacesEveryField();
    void moveHoldsEveryFieldAndCannotThrow();
    void settingTheSameStatusMarksItChanged();
    void noOtherSetterMarksTheStatusChanged();
    void timesAreLabelledUtcWithoutConversion();
    void operationTimeKeepsItsTimeZone();
    void privilegesFollowTheWordsOfAText_data();
    void privilegesFollowTheWordsOfAText();
    void missingFeatureNameIsEmptyAndStaysMissing();
    void featureNameIsKeptAmongTheProperties();
    void onlyParentIdZeroMakesARoot();
    void propertiesAreDeclaredInOrderWithTheirTypes();
    void plainNumberReachesEverySetterOfAnEnum();
    void writingTheStatusPropertyMarksItChanged();
    void writingTheSyncTimePropertyLabelsItUtc();
};

void TestFolderConfiguration::newRecordHoldsTheDefaults()
{
    const FolderConfiguration folder;

    QCOMPARE(fieldsOf(folder), DefaultFields);
    QVERIFY(folder.getName().isNull());
    QVERIFY(folder.getLastOperationTime().isNull());
    QVERIFY(folder.getLastSyncTime().isNull());
    QVERIFY(folder.getLastServerSyncRequestTime().isNull());
    QVERIFY(!folder.isRoot());
}

void TestFolderConfiguration::settersStoreEachFieldOfItsOwn()
{
    const FolderConfiguration folder = sampleFolder();

    QCOMPARE(fieldsOf(folder), SampleFields);
    QCOMPARE(folder.getFeatureName(), u"feature"_s);
}

void TestFolderConfiguration::copyHoldsEveryField()
{
    QObject parent;
    FolderConfiguration folder = sampleFolder();
    folder.setParent(&parent);

    const FolderConfiguration copy(folder);

    QCOMPARE(fieldsOf(copy), SampleFields);
    QCOMPARE(fieldsOf(folder), SampleFields);
    QVERIFY(!copy.parent());
    folder.setParent(nullptr);
}

void TestFolderConfiguration::assignmentReplacesEveryField()
{
    FolderConfiguration folder;
    folder.setNameValueProperties({{u"Old"_s, u"goes"_s}});

    const FolderConfiguration sample = sampleFolder();
    folder = sample;

    QCOMPARE(fieldsOf(folder), SampleFields);
}

void TestFolderConfiguration::moveHoldsEveryFieldAndCannotThrow()
{
    static_assert(std::is_nothrow_move_constructible_v<FolderConfiguration>);
    static_assert(std::is_nothrow_move_assignable_v<FolderConfiguration>);
    FolderConfiguration folder = sampleFolder();
    FolderConfiguration assigned;

    FolderConfiguration constructed(std::move(folder));
    QCOMPARE(fieldsOf(constructed), SampleFields);
    assigned = std::move(constructed);

    QCOMPARE(fieldsOf(assigned), SampleFields);
}

void TestFolderConfiguration::settingTheSameStatusMarksItChanged()
{
    FolderConfiguration folder;

    folder.setSyncStatus(folder.getSyncStatus());
    QVERIFY(folder.getSyncStatusChanged());
    folder.resetSyncStatusChanged();

    QVERIFY(!folder.getSyncStatusChanged());
}

void TestFolderConfiguration::noOtherSetterMarksTheStatusChanged()
{
    FolderConfiguration folder;
    const QMetaObject* metaObject = folder.metaObject();
    const FolderConfiguration sample = sampleFolder();

    for (int i = metaObject->propertyOffset(); i < metaObject->propertyCount(); ++i) {
        const QMetaProperty property = metaObject->property(i);
        if (property.isWritable() && property.name() != "SyncStatus"_ba)
            QVERIFY(property.write(&folder, property.read(&sample)));
    }
    folder.setFeatureName(u"feature"_s);
    folder.setLastServerSyncRequestTime(LocalTime);

    QVERIFY(!folder.getSyncStatusChanged());
    QCOMPARE(folder.getServerFolderId(), u"serverFolder"_s);
}

void TestFolderConfiguration::timesAreLabelledUtcWithoutConversion()
{
    FolderConfiguration folder;

    folder.setLastSyncTime(LocalTime);
    folder.setLastServerSyncRequestTime(LocalTime.addSecs(1));

    QCOMPARE(folder.getLastSyncTime().timeSpec(), Qt::UTC);
    QCOMPARE(folder.getLastSyncTime(), LocalTimeAsUtc);
    QCOMPARE(folder.getLastServerSyncRequestTime().timeSpec(), Qt::UTC);
    QCOMPARE(folder.getLastServerSyncRequestTime(), LocalTimeAsUtc.addSecs(1));
}

void TestFolderConfiguration::operationTimeKeepsItsTimeZone()
{
    FolderConfiguration folder;
    const QDateTime offsetTime({2022, 8, 9}, {10, 11}, Qt::OffsetFromUTC, 3600);

    folder.setLastOperationTime(offsetTime);

    QCOMPARE(folder.getLastOperationTime().timeSpec(), Qt::OffsetFromUTC);
    QCOMPARE(folder.getLastOperationTime(), offsetTime);
}

void TestFolderConfiguration::privilegesFollowTheWordsOfAText_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<int>("privileges");

    QTest::newRow("empty") << u""_s << 15;
    QTest::newRow("null") << QString() << 15;
    QTest::newRow("blanks") << u"   "_s << 15;
    QTest::newRow("blank and tab") << u" \t"_s << 15;
    QTest::newRow("view") << u"view"_s << 1;
    QTest::newRow("download") << u"download"_s << 2;
    QTest::newRow("update") << u"update"_s << 4;
    QTest::newRow("delete") << u"delete"_s << 8;
    QTest::newRow("share") << u"share"_s << 16;
    QTest::newRow("any case and a run of blanks") << u"View  SHARE"_s << 17;
    QTest::newRow("all words") << u"view download update delete share"_s << 31;
    QTest::newRow("a word twice") << u"view view"_s << 1;
    QTest::newRow("blanks around") << u"  delete  "_s << 8;
    QTest::newRow("unknown word") << u"read"_s << 0;
    QTest::newRow("unknown word among known ones") << u"view read share"_s << 17;
    QTest::newRow("part of a word") << u"views shar"_s << 0;
    QTest::newRow("tab between words") << u"view\tshare"_s << 0;
    QTest::newRow("line break behind a word") << u"view\n share"_s << 16;
}

void TestFolderConfiguration::privilegesFollowTheWordsOfAText()
{
    QFETCH(QString, text);
    FolderConfiguration folder;

    folder.setPrivileges(text);

    QTEST(int(folder.getPrivileges()), "privileges");
}

void TestFolderConfiguration::missingFeatureNameIsEmptyAndStaysMissing()
{
    const FolderConfiguration folder;

    QCOMPARE(folder.getFeatureName(), QString());

    QVERIFY(folder.getNameValueProperties().isEmpty());
}

void TestFolderConfiguration::featureNameIsKeptAmongTheProperties()
{
    FolderConfiguration folder;
    folder.setNameValueProperties({{u"Key"_s, u"value"_s}});

    folder.setFeatureName(u"first"_s);
    folder.setFeatureName(u"second"_s);

    const QMap<QString, QString> expected{{u"FeatureName"_s, u"second"_s}, {u"Key"_s, u"value"_s}};
    QCOMPARE(folder.getNameValueProperties(), expected);
}

void TestFolderConfiguration::onlyParentIdZeroMakesARoot()
{
    FolderConfiguration folder;

    folder.setParentId(0);
    QVERIFY(folder.isRoot());
    folder.setParentId(1);

    QVERIFY(!folder.isRoot());
}

void TestFolderConfiguration::propertiesAreDeclaredInOrderWithTheirTypes()
{
    const QMetaObject& metaObject = FolderConfiguration::staticMetaObject;
    QStringList properties;
    for (int i = metaObject.propertyOffset(); i < metaObject.propertyCount(); ++i) {
        const QMetaProperty property = metaObject.property(i);
        properties.append(
            QLatin1StringView(property.typeName()) + u' ' + QLatin1StringView(property.name()) +
            (property.isWritable() ? u""_s : u" read-only"_s) +
            (property.isFlagType()   ? u" flags"_s
             : property.isEnumType() ? u" enum"_s
                                     : u""_s));
    }

    QCOMPARE(
        properties, QStringList({
                        u"int Id read-only"_s,
                        u"int AuthenticationId"_s,
                        u"int ProductConfigurationId"_s,
                        u"QString Name"_s,
                        u"QString RemoteShortKey"_s,
                        u"QString RemoteLongKey"_s,
                        u"QString ClientPath"_s,
                        u"sync::config::FolderSynchronizationStatus SyncStatus enum"_s,
                        u"QString ServerPath"_s,
                        u"QDateTime LastOperationTime"_s,
                        u"int ParentId"_s,
                        u"QDateTime LastSyncTime"_s,
                        u"sync::config::SynchronizationFolderOption FolderOption enum"_s,
                        u"sync::config::FolderOperationType LastOperationType enum"_s,
                        u"sync::config::DriveType SyncDriveType enum"_s,
                        u"int RootId"_s,
                        u"sync::config::FolderSyncOption SyncOption enum"_s,
                        u"QString OwnerId"_s,
                        u"sync::config::FolderPrivileges Privileges flags"_s,
                        u"QString ServerRoot"_s,
                        u"QString ServerFolderId"_s,
                    }));
    QCOMPARE(metaObject.className(), "sync::config::FolderConfiguration");
    QCOMPARE(metaObject.superClass(), &QObject::staticMetaObject);
    QCOMPARE(metaObject.methodCount(), metaObject.methodOffset());
}

void TestFolderConfiguration::plainNumberReachesEverySetterOfAnEnum()
{
    FolderConfiguration folder;

    QVERIFY(folder.setProperty("SyncStatus", 101));
    QVERIFY(folder.setProperty("FolderOption", 102));
    QVERIFY(folder.setProperty("LastOperationType", 103));
    QVERIFY(folder.setProperty("SyncDriveType", 104));
    QVERIFY(folder.setProperty("SyncOption", 105));
    QVERIFY(folder.setProperty("Privileges", 106));

    QCOMPARE(int(folder.getSyncStatus()), 101);
    QCOMPARE(int(folder.getFolderOption()), 102);
    QCOMPARE(int(folder.getLastOperationType()), 103);
    QCOMPARE(int(folder.getSyncDriveType()), 104);
    QCOMPARE(int(folder.getSyncOption()), 105);
    QCOMPARE(int(folder.getPrivileges()), 106);
}

void TestFolderConfiguration::writingTheStatusPropertyMarksItChanged()
{
    FolderConfiguration folder;

    QVERIFY(folder.setProperty("SyncStatus", 1));

    QVERIFY(folder.getSyncStatusChanged());
}

void TestFolderConfiguration::writingTheSyncTimePropertyLabelsItUtc()
{
    FolderConfiguration folder;

    QVERIFY(folder.setProperty("LastSyncTime", LocalTime));

    QCOMPARE(folder.property("LastSyncTime").toDateTime(), LocalTimeAsUtc);
}

} // namespace sync::config

QTEST_GUILESS_MAIN(sync::config::TestFolderConfiguration)
#include "TestFolderConfiguration.moc"
