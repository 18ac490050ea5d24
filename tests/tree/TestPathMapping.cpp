#include <tree/PathMapping.h>

#include <QTest>

using namespace Qt::StringLiterals;
using sync::tree::PathMapping;

class TestPathMapping : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void mapsWhatIsAtOrBelowThePath_data();
    void mapsWhatIsAtOrBelowThePath();
    void recognisesPathsOfWindows_data();
    void recognisesPathsOfWindows();
};

void TestPathMapping::mapsWhatIsAtOrBelowThePath_data()
{
    QTest::addColumn<QString>("from");
    QTest::addColumn<QString>("to");
    QTest::addColumn<QString>("path");
    QTest::addColumn<QString>("mapped"); // empty for a path that stays
    const auto row = [](const char* name, const QString& from, const QString& to,
                        const QString& path, const QString& mapped) {
        QTest::newRow(name) << from << to << path << mapped;
    };
    row("itself", u"/a/b"_s, u"/c"_s, u"/a/b"_s, u"/c"_s);
    row("below", u"/a/b"_s, u"/c"_s, u"/a/b/d/e"_s, u"/c/d/e"_s);
    row("sibling", u"/a/b"_s, u"/c"_s, u"/a/bc"_s, {});
    row("above", u"/a/b"_s, u"/c"_s, u"/a"_s, {});
    row("other case", u"/a/b"_s, u"/c"_s, u"/A/b/d"_s, {});
    row("backslash in a name", u"/a/b"_s, u"/c"_s, u"/a/b/d\\e"_s, u"/c/d\\e"_s);
    row("slashes at the ends", u"/a/b/"_s, u"/c//"_s, u"/a/b/d"_s, u"/c/d"_s);
    row("from everything", u"/"_s, u"/c"_s, u"/a"_s, u"/c/a"_s);
    row("to the top", u"/a"_s, u"/"_s, u"/a/b"_s, u"/b"_s);
    row("top to top", u"/a"_s, u"/"_s, u"/a"_s, u"/"_s);
    row("backslashes", u"C:\\Users\\kim\\Work"_s, u"/home/kim/Work"_s,
        u"C:\\Users\\kim\\Work\\a\\b.txt"_s, u"/home/kim/Work/a/b.txt"_s);
    row("other slashes and case", u"C:\\Users\\kim\\Work"_s, u"/Work"_s,
        u"c:/users/Kim/work/A/b.txt"_s, u"/Work/A/b.txt"_s);
    row("other drive", u"C:/Work"_s, u"/Work"_s, u"D:/Work/a"_s, {});
    row("whole drive", u"D:\\"_s, u"/media/kim/Data"_s, u"D:\\a\\b"_s, u"/media/kim/Data/a/b"_s);
    row("drive to drive", u"C:/Work"_s, u"D:\\Work"_s, u"C:\\Work\\a"_s, u"D:/Work/a"_s);
    row("to a whole drive", u"/media/kim"_s, u"D:\\"_s, u"/media/kim"_s, u"D:/"_s);
    row("server", u"\\\\nas\\share\\Work"_s, u"/mnt/Work"_s, u"//NAS/share/Work/a"_s,
        u"/mnt/Work/a"_s);
}

void TestPathMapping::mapsWhatIsAtOrBelowThePath()
{
    QFETCH(const QString, from);
    QFETCH(const QString, to);
    QFETCH(const QString, path);
    QFETCH(const QString, mapped);
    const PathMapping mapping(from, to);

    QCOMPARE(mapping.mapped(path).has_value(), !mapped.isEmpty());
    QCOMPARE(mapping.applied(path), mapped.isEmpty() ? path : mapped);
}

void TestPathMapping::recognisesPathsOfWindows_data()
{
    QTest::addColumn<QString>("path");
    QTest::addColumn<bool>("ofWindows");
    QTest::newRow("drive") << u"C:\\a"_s << true;
    QTest::newRow("small drive with a slash") << u"c:/a"_s << true;
    QTest::newRow("server") << u"\\\\nas\\share"_s << true;
    QTest::newRow("no drive") << u"1:/a"_s << false;
    QTest::newRow("relative to a drive") << u"C:a"_s << false;
    QTest::newRow("of this system") << u"/a"_s << false;
    QTest::newRow("three slashes") << u"///a"_s << false;
    QTest::newRow("relative") << u"a\\b"_s << false;
    QTest::newRow("empty") << QString() << false;
}

void TestPathMapping::recognisesPathsOfWindows()
{
    QFETCH(const QString, path);
    QTEST(sync::tree::isWindowsPath(path), "ofWindows");
}

QTEST_APPLESS_MAIN(TestPathMapping)
#include "TestPathMapping.moc"
