#include "RecordFields.h"

#include <QMetaProperty>
#include <QTest>

#include <type_traits>

using namespace Qt::StringLiterals;
using namespace sync::config;
using namespace sync::test;

namespace {

/// Runs a check for each record class; a failure ends the check of that class only.
template <typename Check>
void forEveryClass(Check check)
{
    check.template operator()<ServerConfiguration>();
    check.template operator()<ProductConfiguration>();
    check.template operator()<AuthenticationConfiguration>();
    check.template operator()<FolderConfiguration>();
    check.template operator()<ScheduleEntry>();
    check.template operator()<FileConfiguration>();
    check.template operator()<FileLink>();
}

/// The same for the classes that are objects.
template <typename Check>
void forEveryObject(Check check)
{
    forEveryClass([&]<typename Record>() {
        if constexpr (std::is_base_of_v<QObject, Record>)
            check.template operator()<Record>();
    });
}

// The lines of a table's column. A set status shows in the flag that it was changed.
template <typename Record>
QStringList columnOf(QVariant Field<Record>::*column)
{
    QStringList lines;
    for (const Field<Record>& field : fieldsOf<Record>()) {
        const bool isSetFlag =
            column == &Field<Record>::sample && field.name == u"SyncStatusChanged";
        lines.append(fieldLine(field, isSetFlag ? QVariant(true) : field.*column));
    }
    return lines;
}

template <typename Record>
QStringList defaultLines()
{
    return columnOf<Record>(&Field<Record>::byDefault);
}

template <typename Record>
QStringList sampleLines()
{
    return columnOf<Record>(&Field<Record>::sample);
}

const QDateTime LocalTime({2022, 8, 9}, {10, 11, 12, 13}, Qt::LocalTime);
const QDateTime LocalTimeAsUtc({2022, 8, 9}, {10, 11, 12, 13}, Qt::UTC);

} // namespace

class TestRecords : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void recordsSayWhetherTheirPropertiesAreStorable()
    {
        forEveryClass([]<typename Record>() {
            if constexpr (requires(Record record) { record.setNameValueProperties({}); }) {
                Record record;
                QVERIFY(record.isStorable());
                record.setNameValueProperties({{u"key"_s, u"value"_s}});
                QVERIFY(record.isStorable());
                record.setNameValueProperties({{u"key"_s, u"v]]></key><role>admin</role>"_s}});
                QVERIFY(!record.isStorable());
            }
        });
    }

    // What all classes promise

    void samplesDifferFromDefaultsAndFromEachOther()
    {
        forEveryClass([]<typename Record>() {
            QStringList samples;
            for (const Field<Record>& field : fieldsOf<Record>()) {
                if (!field.setSample)
                    continue;
                const QString line = fieldLine(field, field.sample);
                QVERIFY2(line != fieldLine(field, field.byDefault), qPrintable(line));
                QVERIFY2(!samples.contains(fieldText(field.sample)), qPrintable(line));
                samples.append(fieldText(field.sample));
            }
        });
    }

    void newRecordHoldsTheDefaults()
    {
        forEveryClass(
            []<typename Record>() { QCOMPARE(linesOf(Record()), defaultLines<Record>()); });
    }

    void eachSetterStoresItsFieldAndNoOther()
    {
        forEveryClass([]<typename Record>() {
            const auto& fields = fieldsOf<Record>();
            for (qsizetype at = 0; at < fields.size(); ++at) {
                if (!fields[at].setSample)
                    continue;
                Record record;
                QStringList expected = linesOf(record);
                expected[at] = fieldLine(fields[at], fields[at].sample);
                if (fields[at].name == u"SyncStatus")
                    expected.replaceInStrings(
                        u"SyncStatusChanged = false"_s, u"SyncStatusChanged = true"_s);

                fields[at].setSample(record);

                QCOMPARE(linesOf(record), expected);
            }
        });
    }

    void copyHoldsEveryFieldAndLeavesTheSource()
    {
        forEveryClass([]<typename Record>() {
            const Record sample = sampleOf<Record>();
            const Record empty;

            const Record copy(sample);
            Record assigned = sampleOf<Record>();
            assigned = empty;
            QCOMPARE(linesOf(assigned), linesOf(empty));
            assigned = sample;

            QCOMPARE(linesOf(copy), sampleLines<Record>());
            QCOMPARE(linesOf(assigned), sampleLines<Record>());
            QCOMPARE(linesOf(sample), sampleLines<Record>());
            QCOMPARE(linesOf(empty), linesOf(Record()));
        });
    }

    void changingACopyLeavesTheSource()
    {
        forEveryClass([]<typename Record>() {
            const Record source;

            Record copy(source);
            for (const Field<Record>& field : fieldsOf<Record>()) {
                if (field.setSample)
                    field.setSample(copy);
            }

            QCOMPARE(linesOf(source), linesOf(Record()));
            QCOMPARE(linesOf(copy), sampleLines<Record>());
        });
    }

    void moveHoldsEveryFieldAndCannotThrow()
    {
        forEveryClass([]<typename Record>() {
            static_assert(std::is_nothrow_move_constructible_v<Record>);
            static_assert(std::is_nothrow_move_assignable_v<Record>);
            Record sample = sampleOf<Record>();
            Record assigned;

            Record constructed(std::move(sample));
            QCOMPARE(linesOf(constructed), sampleLines<Record>());
            assigned = std::move(constructed);

            QCOMPARE(linesOf(assigned), sampleLines<Record>());
        });
    }

    // What all objects promise

    void copyHasNoParentAndAssignmentKeepsTheObject()
    {
        forEveryObject([]<typename Record>() {
            QObject parent;
            Record record;
            record.setParent(&parent);
            record.setObjectName(u"mine"_s);

            const Record copy(record);
            record = sampleOf<Record>();

            QCOMPARE(Record().parent(), nullptr);
            QCOMPARE(copy.parent(), nullptr);
            QCOMPARE(record.parent(), &parent);
            QCOMPARE(record.objectName(), u"mine"_s);
            record.setParent(nullptr);
        });
    }

    void propertiesAreDeclaredInOrderWithTheirTypes()
    {
        forEveryObject([]<typename Record>() {
            const QMetaObject& metaObject = Record::staticMetaObject;
            QStringList expected;
            for (const Field<Record>& field : fieldsOf<Record>()) {
                if (!field.type.isEmpty())
                    expected.append(
                        field.type + u' ' + field.name +
                        (field.setSample ? u""_s : u" read-only"_s));
            }
            QStringList declared;
            for (int i = metaObject.propertyOffset(); i < metaObject.propertyCount(); ++i) {
                const QMetaProperty property = metaObject.property(i);
                const QString kind = property.isFlagType()   ? u" flags"_s
                                     : property.isEnumType() ? u" enum"_s
                                                             : u""_s;
                declared.append(
                    QLatin1StringView(property.typeName()) + kind + u' ' +
                    QLatin1StringView(property.name()) +
                    (property.isWritable() ? u""_s : u" read-only"_s));
            }

            QCOMPARE(declared, expected);
            QCOMPARE(metaObject.className(), "sync::config::" + classNameOf<Record>().toLatin1());
            QCOMPARE(metaObject.superClass(), &QObject::staticMetaObject);
            QCOMPARE(metaObject.methodCount(), metaObject.methodOffset());
        });
    }

    void propertiesReadAndWriteTheirFields()
    {
        forEveryObject([]<typename Record>() {
            const Record sample = sampleOf<Record>();
            for (const Field<Record>& field : fieldsOf<Record>()) {
                if (field.type.isEmpty())
                    continue;
                const QByteArray text = field.name.toLatin1();
                const char* const name = text.constData();
                Record record;

                QCOMPARE(record.setProperty(name, field.sample), bool(field.setSample));

                QCOMPARE(fieldLine(field, field.get(record)), fieldLine(field, field.sample));
                QCOMPARE(fieldLine(field, sample.property(name)), fieldLine(field, field.sample));
                const bool isNumber =
                    field.type.endsWith(u" enum") || field.type.endsWith(u" flags");
                if (isNumber) {
                    QVERIFY(record.setProperty(name, 101));
                    QCOMPARE(fieldLine(field, field.get(record)), fieldLine(field, 101));
                }
            }
        });
    }

    // What records with a status promise

    void settingTheSameStatusMarksItChanged()
    {
        FileConfiguration file;
        FolderConfiguration folder;
        FolderConfiguration written;

        file.setSyncStatus(file.getSyncStatus());
        folder.setSyncStatus(folder.getSyncStatus());
        QVERIFY(written.setProperty("SyncStatus", int(written.getSyncStatus())));

        QVERIFY(file.getSyncStatusChanged());
        QVERIFY(folder.getSyncStatusChanged());
        QVERIFY(written.getSyncStatusChanged());
    }

    void resetClearsTheMarkAndKeepsTheStatusAndCopiesFollow()
    {
        const auto check = []<typename Record>(Record record) {
            record.resetSyncStatusChanged();
            QStringList expected = sampleLines<Record>();
            expected.replaceInStrings(
                u"SyncStatusChanged = true"_s, u"SyncStatusChanged = false"_s);

            QCOMPARE(linesOf(record), expected);
            QCOMPARE(linesOf(Record(record)), expected);
        };
        check(sampleOf<FileConfiguration>());
        check(sampleOf<FolderConfiguration>());
    }

    // ServerConfiguration

    void emptyAliasIsTheFirstLabelOfTheHost_data()
    {
        QTest::addColumn<QString>("url");
        QTest::addColumn<QString>("alias");

        QTest::newRow("several labels") << u"https://files.example.com/ws/"_s << u"files"_s;
        QTest::newRow("no dot") << u"http://localhost/ws"_s << u"localhost"_s;
        QTest::newRow("port without dot") << u"http://localhost:8080/ws"_s << u"localhost:8080"_s;
        QTest::newRow("user without dot") << u"http://me@localhost:81/"_s << u"me@localhost:81"_s;
        QTest::newRow("user with dot") << u"http://me.too@host/"_s << u"me"_s;
        QTest::newRow("port after a dot") << u"http://a.b:81"_s << u"a"_s;
        QTest::newRow("address") << u"http://192.168.0.1/"_s << u"192"_s;
        QTest::newRow("empty") << u""_s << u""_s;
        QTest::newRow("not a URL") << u"just words"_s << u""_s;
        QTest::newRow("unparsable") << u"http://[broken/"_s << u""_s;
    }

    void emptyAliasIsTheFirstLabelOfTheHost()
    {
        QFETCH(QString, url);
        ServerConfiguration server;
        server.setWebServiceUrl(url);

        QTEST(server.getAlias(), "alias");
    }

    void aliasPropertyReadsTheComputedAndWritesTheRawOne()
    {
        ServerConfiguration server;
        server.setWebServiceUrl(u"https://files.example.com"_s);
        QCOMPARE(server.property("Alias").toString(), u"files"_s);

        QVERIFY(server.setProperty("Alias", u"mine"_s));
        QCOMPARE(server.getAlias(), u"mine"_s);
        QVERIFY(server.setProperty("Alias", QString()));

        QCOMPARE(server.getAlias(), u"files"_s);
    }

    // FolderConfiguration

    void timesAreLabelledUtcWithoutConversion()
    {
        FolderConfiguration folder;
        FolderConfiguration written;

        folder.setLastSyncTime(LocalTime);
        folder.setLastServerSyncRequestTime(LocalTime.addSecs(1));
        QVERIFY(written.setProperty("LastSyncTime", LocalTime));

        QCOMPARE(fieldText(folder.getLastSyncTime()), fieldText(LocalTimeAsUtc));
        QCOMPARE(
            fieldText(folder.getLastServerSyncRequestTime()), fieldText(LocalTimeAsUtc.addSecs(1)));
        QCOMPARE(fieldText(written.property("LastSyncTime")), fieldText(LocalTimeAsUtc));
    }

    void privilegesFollowTheWordsOfAText_data()
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
        QTest::newRow("line break after a word") << u"view\n share"_s << 16;
    }

    void privilegesFollowTheWordsOfAText()
    {
        QFETCH(QString, text);
        FolderConfiguration folder;

        folder.setPrivileges(text);

        QTEST(int(folder.getPrivileges()), "privileges");
    }

    void featureNameIsKeptAmongTheProperties()
    {
        FolderConfiguration folder;
        QCOMPARE(folder.getFeatureName(), QString());
        QVERIFY(folder.getNameValueProperties().isEmpty());
        folder.setNameValueProperties({{u"Key"_s, u"value"_s}});

        folder.setFeatureName(u"first"_s);
        folder.setFeatureName(u"second"_s);

        const QMap<QString, QString> expected{
            {u"FeatureName"_s, u"second"_s}, {u"Key"_s, u"value"_s}};
        QCOMPARE(folder.getNameValueProperties(), expected);
        QCOMPARE(folder.getFeatureName(), u"second"_s);
        QVERIFY(!folder.getSyncStatusChanged());
    }

    void onlyParentIdZeroMakesARoot()
    {
        FolderConfiguration folder;
        QVERIFY(!folder.isRoot());

        folder.setParentId(0);
        QVERIFY(folder.isRoot());
        folder.setParentId(1);

        QVERIFY(!folder.isRoot());
    }

    // FileConfiguration and FileLink

    void numbersWithoutANamePassThrough()
    {
        FileConfiguration file;

        file.setSyncStatus(static_cast<FileSynchronizationStatus>(4711));
        file.setFileType(static_cast<FileConfigurationType>(-3));

        QCOMPARE(int(file.getSyncStatus()), 4711);
        QCOMPARE(int(file.getFileType()), -3);
    }

    void listsMoveFilesAndLinksCheaply()
    {
        QVERIFY(QTypeInfo<FileConfiguration>::isRelocatable);
        QVERIFY(QTypeInfo<FileLink>::isRelocatable);
    }

    void recordHasNoGapsBetweenItsMembers()
    {
        const std::size_t members = sizeof(void*) + 8 * sizeof(QString) + sizeof(QList<FileLink>) +
                                    sizeof(QMap<QString, QString>) + 4 * sizeof(QDateTime) +
                                    sizeof(qint64) + 11 * sizeof(int) + sizeof(bool);

        QVERIFY(sizeof(FileConfiguration) - members < alignof(FileConfiguration));
    }

    void linkIsEmptyWithoutATarget_data()
    {
        QTest::addColumn<int>("fileId");
        QTest::addColumn<QString>("path");
        QTest::addColumn<QString>("refId");
        QTest::addColumn<QString>("serverFileId");
        QTest::addColumn<bool>("isEmpty");
        QTest::newRow("nothing") << -1 << QString() << QString() << QString() << true;
        QTest::newRow("reference alone") << -1 << QString() << u"r-1"_s << QString() << true;
        QTest::newRow("file id") << 0 << QString() << QString() << QString() << false;
        QTest::newRow("negative file id") << -2 << QString() << QString() << QString() << false;
        QTest::newRow("path") << -1 << u"a.txt"_s << QString() << QString() << false;
        QTest::newRow("server file id") << -1 << QString() << QString() << u"s-1"_s << false;
    }

    void linkIsEmptyWithoutATarget()
    {
        FileLink link;
        QFETCH(int, fileId);
        QFETCH(QString, path);
        QFETCH(QString, refId);
        QFETCH(QString, serverFileId);

        link.FileId = fileId;
        link.Path = path;
        link.RefId = refId;
        link.ServerFileId = serverFileId;

        QTEST(link.isEmpty(), "isEmpty");
    }
};

QTEST_APPLESS_MAIN(TestRecords)
#include "TestRecords.moc"
