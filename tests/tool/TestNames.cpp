#include <velmioctl/cli/ExitCode.h>
#include <velmioctl/store/Names.h>

#include <QTest>

using namespace Qt::StringLiterals;

namespace velmioctl {

namespace {

template <typename Parse>
ExitCode codeOfError(Parse parse)
{
    try {
        parse();
    } catch (const CommandError& error) {
        return error.code();
    }
    return ExitCode::Ok;
}

} // namespace

class TestNames : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void statusReadsAsItIsWritten_data()
    {
        QTest::addColumn<int>("status");
        QTest::addColumn<QString>("name");
        QTest::newRow("unknown") << 0 << u"unknown"_s;
        QTest::newRow("syncing") << 1 << u"syncing"_s;
        QTest::newRow("out of sync") << 2 << u"out-of-sync"_s;
        QTest::newRow("created") << 3 << u"created"_s;
    }

    void statusReadsAsItIsWritten()
    {
        QFETCH(int, status);
        QFETCH(QString, name);

        QCOMPARE(syncStatusName(status), name);
        QCOMPARE(syncStatusFrom(name.toUpper().toStdString()), status);
        QCOMPARE(syncStatusFrom(std::to_string(status)), status);
        QCOMPARE(syncStatusName(77), u"77"_s);
    }

    void optionReadsAsItIsWritten()
    {
        for (const int option : {0, 1, 2})
            QCOMPARE(folderOptionFrom(folderOptionName(option).toStdString()), option);
        QCOMPARE(folderOptionName(1), u"top-level"_s);
    }

    void privilegesReadFromWordsAndNumbers_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<int>("privileges");
        QTest::addColumn<QString>("name");
        QTest::newRow("words") << u"view  SHARE"_s << 17 << u"view share"_s;
        QTest::newRow("commas") << u"download,update"_s << 6 << u"download update"_s;
        QTest::newRow("all") << u"all"_s << 31 << u"view download update delete share"_s;
        QTest::newRow("none") << u"none"_s << 0 << u"none"_s;
        QTest::newRow("number") << u"8"_s << 8 << u"delete"_s;
    }

    void privilegesReadFromWordsAndNumbers()
    {
        QFETCH(QString, text);
        QFETCH(int, privileges);
        QFETCH(QString, name);

        QCOMPARE(privilegesFrom(text.toStdString()), privileges);
        QCOMPARE(privilegesName(privileges), name);
        QCOMPARE(privilegesName(64), u"64"_s);
    }

    void unknownWordsAreUsageErrors()
    {
        QCOMPARE(codeOfError([] { syncStatusFrom("synched"); }), ExitCode::Usage);
        QCOMPARE(codeOfError([] { syncStatusFrom("77"); }), ExitCode::Usage);
        QCOMPARE(codeOfError([] { syncStatusFrom("-1"); }), ExitCode::Usage);
        QCOMPARE(codeOfError([] { folderOptionFrom("9"); }), ExitCode::Usage);
        QCOMPARE(codeOfError([] { folderOptionFrom(""); }), ExitCode::Usage);
        QCOMPARE(codeOfError([] { privilegesFrom("view read"); }), ExitCode::Usage);
        QCOMPARE(codeOfError([] { privilegesFrom("32"); }), ExitCode::Usage);
        QCOMPARE(codeOfError([] { privilegesFrom(" "); }), ExitCode::Usage);
    }
};

} // namespace velmioctl

QTEST_GUILESS_MAIN(velmioctl::TestNames)
#include "TestNames.moc"
