#include <velmioctl/tree/RootFolders.h>

#include <QTest>

using namespace Qt::StringLiterals;

namespace velmioctl {

class TestRootFolders : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void serverPathsOverlapWhenOneLiesInTheOther_data()
    {
        QTest::addColumn<QString>("one");
        QTest::addColumn<QString>("other");
        QTest::addColumn<bool>("overlap");
        QTest::newRow("the same") << u"/Team/A"_s << u"/Team/A"_s << true;
        QTest::newRow("the same but for case") << u"/Team/A"_s << u"/team/a"_s << true;
        QTest::newRow("below") << u"/Team"_s << u"/team/A"_s << true;
        QTest::newRow("below a slash") << u"/"_s << u"/Team"_s << true;
        QTest::newRow("same length") << u"/Team/A"_s << u"/Team/B"_s << false;
        QTest::newRow("same start") << u"/Team/A"_s << u"/Team/AB"_s << false;
        QTest::newRow("empty") << QString() << u"/Team"_s << false;
    }

    void serverPathsOverlapWhenOneLiesInTheOther()
    {
        QFETCH(QString, one);
        QFETCH(QString, other);
        QFETCH(bool, overlap);

        QCOMPARE(serverPathsOverlap(one, other), overlap);
        QCOMPARE(serverPathsOverlap(other, one), overlap);
    }
};

} // namespace velmioctl

QTEST_APPLESS_MAIN(velmioctl::TestRootFolders)
#include "TestRootFolders.moc"
