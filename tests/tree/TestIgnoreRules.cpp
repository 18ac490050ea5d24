#include <tree/IgnoreRules.h>

#include <QTest>

using namespace Qt::StringLiterals;

namespace sync::tree {

class TestIgnoreRules : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void lastMatchingLineDecides_data()
    {
        QTest::addColumn<QString>("rules");
        QTest::addColumn<QString>("path");
        QTest::addColumn<bool>("isFolder");
        QTest::addColumn<int>("line"); // 0 for what is kept
        QTest::newRow("no rules") << u""_s << u"/r/a"_s << false << 0;
        QTest::newRow("name anywhere") << u"*.tmp"_s << u"/r/a/b.tmp"_s << false << 1;
        QTest::newRow("star is not a slash") << u"a*c/d"_s << u"/r/ab/c/d"_s << false << 0;
        QTest::newRow("path") << u"a/*.tmp"_s << u"/r/a/b.tmp"_s << false << 1;
        QTest::newRow("path elsewhere") << u"a/*.tmp"_s << u"/r/x/a/b.tmp"_s << false << 0;
        QTest::newRow("only in the root") << u"/b"_s << u"/r/a/b"_s << false << 0;
        QTest::newRow("in the root") << u"/b"_s << u"/r/b"_s << false << 1;
        QTest::newRow("folders alone, file") << u"out/"_s << u"/r/out"_s << false << 0;
        QTest::newRow("folders alone, folder") << u"out/"_s << u"/r/out"_s << true << 1;
        QTest::newRow("below a folder") << u"# text\n\nout/"_s << u"/r/a/out/b/c"_s << false << 3;
        QTest::newRow("kept again") << u"*.tmp\n!keep.tmp"_s << u"/r/keep.tmp"_s << false << 0;
        QTest::newRow("left out again") << u"!a\na"_s << u"/r/a"_s << false << 2;
        QTest::newRow("one of these") << u"[ab]?"_s << u"/r/bx"_s << false << 1;
        QTest::newRow("carriage return") << u"a\r\nb\r\n"_s << u"/r/b"_s << false << 2;
        QTest::newRow("not below the root") << u"*"_s << u"/other/a"_s << false << 0;
    }

    void lastMatchingLineDecides()
    {
        QFETCH(const QString, rules);
        QFETCH(const QString, path);
        QFETCH(const bool, isFolder);
        QFETCH(const int, line);

        const auto rule = IgnoreRules(u"/r"_s, rules).ruleFor(path, isFolder);

        QCOMPARE(rule ? rule->line : 0, line);
    }

    void walkAsksForEachPathAlone()
    {
        const IgnoreRules rules(u"/r"_s, u"out/"_s);

        QVERIFY(rules(u"/r/out"_s, true));
        QVERIFY(!rules(u"/r/out/file"_s, false)); // Never asked: it does not enter the folder.
    }
};

} // namespace sync::tree

QTEST_GUILESS_MAIN(sync::tree::TestIgnoreRules)
#include "TestIgnoreRules.moc"
