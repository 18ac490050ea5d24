#include <config/FileLink.h>

#include <QTest>

#include <type_traits>

using namespace Qt::StringLiterals;
using sync::config::FileLink;

class TestFileLink : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void newLinkIsEmpty()
    {
        const FileLink link;

        QCOMPARE(link.FileId, -1);
        QCOMPARE(link.Path, QString());
        QCOMPARE(link.RefId, QString());
        QCOMPARE(link.ServerFileId, QString());
        QVERIFY(link.isEmpty());
    }

    void refIdAloneLeavesLinkEmpty()
    {
        FileLink link;

        link.RefId = u"reference"_s;

        QVERIFY(link.isEmpty());
    }

    void fileIdOrPathOrServerFileIdMakesLinkCount_data()
    {
        QTest::addColumn<int>("fileId");
        QTest::addColumn<QString>("path");
        QTest::addColumn<QString>("serverFileId");
        QTest::newRow("file id") << 0 << QString() << QString();
        QTest::newRow("negative file id") << -2 << QString() << QString();
        QTest::newRow("path") << -1 << u"a.txt"_s << QString();
        QTest::newRow("server file id") << -1 << QString() << u"s-1"_s;
    }

    void fileIdOrPathOrServerFileIdMakesLinkCount()
    {
        QFETCH(int, fileId);
        QFETCH(QString, path);
        QFETCH(QString, serverFileId);
        FileLink link;

        link.FileId = fileId;
        link.Path = path;
        link.ServerFileId = serverFileId;

        QVERIFY(!link.isEmpty());
    }

    void copyHoldsEveryMember()
    {
        FileLink link;
        link.FileId = 7;
        link.Path = u"a.txt"_s;
        link.RefId = u"r-1"_s;
        link.ServerFileId = u"s-1"_s;

        const FileLink copy = link;

        QCOMPARE(copy.FileId, 7);
        QCOMPARE(copy.Path, u"a.txt"_s);
        QCOMPARE(copy.RefId, u"r-1"_s);
        QCOMPARE(copy.ServerFileId, u"s-1"_s);
    }

    void listsMoveLinksCheaply()
    {
        QVERIFY(std::is_nothrow_move_constructible_v<FileLink>);
        QVERIFY(std::is_nothrow_move_assignable_v<FileLink>);
        QVERIFY(QTypeInfo<FileLink>::isRelocatable);
    }
};

QTEST_APPLESS_MAIN(TestFileLink)
#include "TestFileLink.moc"
