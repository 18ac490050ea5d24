#include <config/FileConfiguration.h>

#include <QTest>

#include <type_traits>

using namespace Qt::StringLiterals;
using namespace sync::config;

namespace {

const QDate Day(2024, 3, 1);

FileConfiguration sampleFile()
{
    FileLink link;
    link.FileId = 90;

    FileConfiguration file;
    file.setId(1);
    file.setFolderConfigurationId(2);
    file.setProductConfigurationId(3);
    file.setName(u"name"_s);
    file.setClientPath(u"/client/path"_s);
    file.setServerPath(u"/server/path"_s);
    file.setCheckSum(u"check sum"_s);
    file.setCheckSumMD5(u"md5"_s);
    file.setCreatedDateTime(QDateTime(Day, QTime(1, 0), Qt::UTC));
    file.setLastModifiedDateTime(QDateTime(Day, QTime(2, 0), Qt::LocalTime));
    file.setSize(5'000'000'000);
    file.setLastOperationType(4);
    file.setNameValueProperties({{u"key"_s, u"value"_s}});
    file.setLastOperationTime(QDateTime(Day, QTime(3, 0), Qt::OffsetFromUTC, 3600));
    file.setRootFolderId(5);
    file.setSyncOption(6);
    file.setParentFileId(7);
    file.setOwnerId(u"owner"_s);
    file.setPrivileges(8);
    file.setFileType(BaseFile);
    file.setServerFileId(u"server file"_s);
    file.setServerFileVersionId(u"version"_s);
    file.setFileLinks({link});
    file.setFileLinksDate(QDateTime(Day, QTime(4, 0), Qt::LocalTime));
    file.setSyncStatus(FileSyncing);
    file.setClientTag(9);
    return file;
}

void compareToSample(const FileConfiguration& file)
{
    QCOMPARE(file.getId(), 1);
    QCOMPARE(file.getFolderConfigurationId(), 2);
    QCOMPARE(file.getProductConfigurationId(), 3);
    QCOMPARE(file.getName(), u"name"_s);
    QCOMPARE(file.getClientPath(), u"/client/path"_s);
    QCOMPARE(file.getServerPath(), u"/server/path"_s);
    QCOMPARE(file.getCheckSum(), u"check sum"_s);
    QCOMPARE(file.getCheckSumMD5(), u"md5"_s);
    QCOMPARE(file.getCreatedDateTime(), QDateTime(Day, QTime(1, 0), Qt::UTC));
    QCOMPARE(file.getLastModifiedDateTime(), QDateTime(Day, QTime(2, 0), Qt::LocalTime));
    QCOMPARE(file.getSize(), qint64(5'000'000'000));
    QCOMPARE(file.getLastOperationType(), 4);
    QCOMPARE(file.getNameValueProperties(), (QMap<QString, QString>{{u"key"_s, u"value"_s}}));
    QCOMPARE(file.getLastOperationTime(), QDateTime(Day, QTime(3, 0), Qt::OffsetFromUTC, 3600));
    QCOMPARE(file.getRootFolderId(), 5);
    QCOMPARE(file.getSyncOption(), 6);
    QCOMPARE(file.getParentFileId(), 7);
    QCOMPARE(file.getOwnerId(), u"owner"_s);
    QCOMPARE(file.getPrivileges(), 8);
    QCOMPARE(file.getFileType(), BaseFile);
    QCOMPARE(file.getServerFileId(), u"server file"_s);
    QCOMPARE(file.getServerFileVersionId(), u"version"_s);
    QCOMPARE(file.getFileLinks().size(), 1);
    QCOMPARE(file.getFileLinks()[0].FileId, 90);
    QCOMPARE(file.getFileLinksDate(), QDateTime(Day, QTime(4, 0), Qt::LocalTime));
    QCOMPARE(file.getSyncStatus(), FileSyncing);
    QCOMPARE(file.getSyncStatusChanged(), true);
    QCOMPARE(file.getClientTag(), 9);
}

} // namespace

class TestFileConfiguration : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void newRecordHoldsTheDefaults()
    {
        const FileConfiguration file;

        QCOMPARE(file.getId(), -1);
        QCOMPARE(file.getFolderConfigurationId(), -1);
        QCOMPARE(file.getProductConfigurationId(), -1);
        QCOMPARE(file.getName(), QString());
        QCOMPARE(file.getClientPath(), QString());
        QCOMPARE(file.getServerPath(), QString());
        QCOMPARE(file.getCheckSum(), QString());
        QCOMPARE(file.getCheckSumMD5(), QString());
        QVERIFY(file.getCreatedDateTime().isNull());
        QVERIFY(file.getLastModifiedDateTime().isNull());
        QCOMPARE(file.getSize(), qint64(0));
        QCOMPARE(file.getLastOperationType(), 0);
        QVERIFY(file.getNameValueProperties().isEmpty());
        QVERIFY(file.getLastOperationTime().isNull());
        QCOMPARE(file.getRootFolderId(), -1);
        QCOMPARE(file.getSyncOption(), 0);
        QCOMPARE(file.getParentFileId(), -1);
        QCOMPARE(file.getOwnerId(), QString());
        QCOMPARE(file.getPrivileges(), 31);
        QCOMPARE(file.getFileType(), OrdinaryFile);
        QCOMPARE(file.getServerFileId(), QString());
        QCOMPARE(file.getServerFileVersionId(), QString());
        QVERIFY(file.getFileLinks().isEmpty());
        QCOMPARE(int(file.getSyncStatus()), 2);
        QVERIFY(!file.getSyncStatusChanged());
        QCOMPARE(file.getClientTag(), 0);
    }

    void newRecordsLinksDateIsNullInUtc()
    {
        const QDateTime date = FileConfiguration().getFileLinksDate();

        QVERIFY(date.isNull());
        QCOMPARE(date.timeSpec(), Qt::UTC);
    }

    void settersStoreWhatTheyAreGiven() { compareToSample(sampleFile()); }

    void settersStoreTimesWithTheirTimeSpec()
    {
        const FileConfiguration file = sampleFile();

        QCOMPARE(file.getCreatedDateTime().timeSpec(), Qt::UTC);
        QCOMPARE(file.getLastModifiedDateTime().timeSpec(), Qt::LocalTime);
        QCOMPARE(file.getLastOperationTime().timeSpec(), Qt::OffsetFromUTC);
        QCOMPARE(file.getFileLinksDate().timeSpec(), Qt::LocalTime);
    }

    void settingTheSameStatusMarksItAsChanged()
    {
        FileConfiguration file;

        file.setSyncStatus(file.getSyncStatus());

        QVERIFY(file.getSyncStatusChanged());
    }

    void resetClearsTheMarkAndKeepsTheStatus()
    {
        FileConfiguration file = sampleFile();

        file.resetSyncStatusChanged();

        QVERIFY(!file.getSyncStatusChanged());
        QCOMPARE(file.getSyncStatus(), FileSyncing);
    }

    void otherSettersDoNotMarkTheStatus()
    {
        FileConfiguration file = sampleFile();
        file.resetSyncStatusChanged();

        file.setName(u"other"_s);
        file.setFileType(GeneratedFile);
        file.setPrivileges(1);

        QVERIFY(!file.getSyncStatusChanged());
    }

    void statusesWithoutNamePassThrough()
    {
        FileConfiguration file;

        file.setSyncStatus(static_cast<FileSynchronizationStatus>(4711));
        file.setFileType(static_cast<FileConfigurationType>(-3));

        QCOMPARE(int(file.getSyncStatus()), 4711);
        QCOMPARE(int(file.getFileType()), -3);
    }

    void copyHoldsEveryMember()
    {
        const FileConfiguration file = sampleFile();

        const FileConfiguration copy(file);
        FileConfiguration assigned;
        assigned = file;

        compareToSample(copy);
        compareToSample(assigned);
        compareToSample(file);
    }

    void movedRecordHoldsEveryMember()
    {
        FileConfiguration file = sampleFile();
        FileConfiguration second = sampleFile();

        const FileConfiguration moved(std::move(file));
        FileConfiguration assigned;
        assigned = std::move(second);

        compareToSample(moved);
        compareToSample(assigned);
    }

    void copyKeepsTheStatusMarkAsItWas_data()
    {
        QTest::addColumn<bool>("changed");
        QTest::newRow("changed") << true;
        QTest::newRow("unchanged") << false;
    }

    void copyKeepsTheStatusMarkAsItWas()
    {
        QFETCH(bool, changed);
        FileConfiguration file = sampleFile();
        if (!changed)
            file.resetSyncStatusChanged();

        const FileConfiguration copy(file);

        QCOMPARE(copy.getSyncStatusChanged(), changed);
    }

    void changingACopyLeavesTheSource()
    {
        const FileConfiguration file = sampleFile();

        FileConfiguration copy(file);
        copy.setFileLinks({});
        copy.setNameValueProperties({});
        copy.setName(u"other"_s);

        compareToSample(file);
    }

    void listsMoveRecordsCheaply()
    {
        QVERIFY(std::is_nothrow_move_constructible_v<FileConfiguration>);
        QVERIFY(std::is_nothrow_move_assignable_v<FileConfiguration>);
        QVERIFY(QTypeInfo<FileConfiguration>::isRelocatable);
    }

    void recordHasNoGapsBetweenItsMembers()
    {
        const std::size_t members = sizeof(void*) + 8 * sizeof(QString) + sizeof(QList<FileLink>) +
                                    sizeof(QMap<QString, QString>) + 4 * sizeof(QDateTime) +
                                    sizeof(qint64) + 11 * sizeof(int) + sizeof(bool);

        QVERIFY(sizeof(FileConfiguration) - members < alignof(FileConfiguration));
    }
};

QTEST_APPLESS_MAIN(TestFileConfiguration)
#include "TestFileConfiguration.moc"
