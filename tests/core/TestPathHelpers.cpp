#include <core/PathHelpers.h>

#include <QTest>

using namespace Qt::StringLiterals;

namespace sync::core {

class TestPathHelpers : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void relativePathIsResolvedAgainstItsBase_data()
    {
        QTest::addColumn<QString>("path");
        QTest::addColumn<QString>("base");
        QTest::addColumn<bool>("baseIsFile");
        QTest::addColumn<QString>("resolved");

        QTest::newRow("against a file") << u"b.txt"_s << u"/x/y"_s << true << u"/x/b.txt"_s;
        QTest::newRow("against a folder") << u"b.txt"_s << u"/x/y"_s << false << u"/x/y/b.txt"_s;
        QTest::newRow("upwards") << u"../docs/a.txt"_s << u"/work/proj/main.xml"_s << true
                                 << u"/work/docs/a.txt"_s;
        QTest::newRow("dots and doubled slashes")
            << u"./a//b/../c"_s << u"/x//y/./z"_s << false << u"/x/y/z/a/c"_s;
        QTest::newRow("absolute") << u"/a/../b/"_s << u"/x/y"_s << true << u"/b"_s;
        QTest::newRow("absolute, base a folder") << u"/a//b"_s << u"/x/y"_s << false << u"/a/b"_s;
        QTest::newRow("empty") << u""_s << u"/x/y"_s << true << u"/x"_s;
        QTest::newRow("above the root") << u"../../../a"_s << u"/x/y"_s << true << u"/../../a"_s;
        QTest::newRow("relative base") << u"a"_s << u"x/y"_s << false << u"x/y/a"_s;
        QTest::newRow("placeholder in the path")
            << u"%2/%1"_s << u"/x/y"_s << true << u"/x/%2/%1"_s;
        QTest::newRow("placeholder in the base")
            << u"a"_s << u"/%2/%1/y"_s << true << u"/%2/%1/a"_s;
    }

    void relativePathIsResolvedAgainstItsBase()
    {
        QFETCH(QString, path);
        QFETCH(QString, base);
        QFETCH(bool, baseIsFile);

        QTEST(RelativeToAbsolutePath(path, base, baseIsFile), "resolved");
    }

    void parentLiesStrictlyAboveItsChild_data()
    {
        QTest::addColumn<QString>("parent");
        QTest::addColumn<QString>("child");
        QTest::addColumn<bool>("isParent");

        QTest::newRow("equal") << u"/a"_s << u"/a"_s << false;
        QTest::newRow("equal when cleaned") << u"/a/"_s << u"/x/../a"_s << false;
        QTest::newRow("trailing slash") << u"/a/"_s << u"/a/b"_s << true;
        QTest::newRow("other case") << u"/A"_s << u"/a/b"_s << false;
        QTest::newRow("deep below") << u"/a"_s << u"/a/b/c/d"_s << true;
        QTest::newRow("same start") << u"/a/b"_s << u"/a/bc"_s << false;
        QTest::newRow("child above") << u"/a/b"_s << u"/a"_s << false;
        QTest::newRow("child leaves") << u"/a"_s << u"/a/../b"_s << false;
        QTest::newRow("root") << u"/"_s << u"/x"_s << true;
        QTest::newRow("root of a relative path") << u"/"_s << u"x"_s << false;
        QTest::newRow("root of itself") << u"/"_s << u"/"_s << false;
        QTest::newRow("relative") << u"a"_s << u"a/b"_s << true;
    }

    void parentLiesStrictlyAboveItsChild()
    {
        QFETCH(QString, parent);
        QFETCH(QString, child);

        QTEST(IsParentPath(parent, child), "isParent");
    }

    void pathIsMappedFromOneTreeToTheOther_data()
    {
        QTest::addColumn<QString>("path");
        QTest::addColumn<QString>("clientBase");
        QTest::addColumn<bool>("toServer");
        QTest::addColumn<QString>("mapped");

        const QString base = u"/c/root"_s;
        QTest::newRow("to the server") << u"/c/root/sub/f"_s << base << true << u"/s/R/sub/f"_s;
        QTest::newRow("to the client") << u"/s/R/sub"_s << base << false << u"/c/root/sub"_s;
        QTest::newRow("sibling with the same start")
            << u"/c/rootx/f"_s << base << true << u"/c/rootx/f"_s;
        QTest::newRow("the base itself") << u"/c/root"_s << base << true << u"/s/R"_s;
        QTest::newRow("cleaned first") << u"/c//x/../root/./f/"_s << base << true << u"/s/R/f"_s;
        QTest::newRow("elsewhere, cleaned") << u"/d//e/"_s << base << true << u"/d/e"_s;
        QTest::newRow("other case") << u"/C/root/f"_s << base << true << u"/C/root/f"_s;
        QTest::newRow("base with a slash")
            << u"/c/root/f"_s << u"/c/root/"_s << true << u"/c/root/f"_s;
        QTest::newRow("placeholders") << u"/c/root/%1"_s << base << true << u"/s/R/%1"_s;
    }

    void pathIsMappedFromOneTreeToTheOther()
    {
        QFETCH(QString, path);
        QFETCH(QString, clientBase);
        QFETCH(bool, toServer);

        QTEST(GetMappedPath(path, clientBase, u"/s/R"_s, toServer), "mapped");
    }

    void serverPathIsMappedTowardsTheServer()
    {
        QCOMPARE(GetServerPath(u"/c/root/a"_s, u"/c/root"_s, u"/s/R"_s), u"/s/R/a"_s);
        QCOMPARE(GetServerPath(u"/s/R/a"_s, u"/c/root"_s, u"/s/R"_s), u"/s/R/a"_s);
    }
};

} // namespace sync::core

QTEST_GUILESS_MAIN(sync::core::TestPathHelpers)
#include "TestPathHelpers.moc"
