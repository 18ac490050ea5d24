#include <base/WindowsNames.h>

#include <QTest>

using namespace Qt::StringLiterals;
using sync::base::windowsNameProblem;

class TestWindowsNames : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void namesThatWindowsTakesHaveNoProblem_data()
    {
        QTest::addColumn<QString>("name");
        for (const char* const name :
             {"a.txt", ".hidden", "a b", "a..b", "nullable", "con_1", "com", "com12", "lpt.x",
              "aux1"})
            QTest::newRow(name) << QString::fromLatin1(name);
        QTest::newRow("an umlaut") << u"\u00fc"_s;
    }

    void namesThatWindowsTakesHaveNoProblem()
    {
        QFETCH(QString, name);

        QCOMPARE(windowsNameProblem(name), QString());
    }

    void namesThatWindowsRefusesSayWhy_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<QString>("problem");
        QTest::newRow("dot") << u"a."_s << u"ends with a dot"_s;
        QTest::newRow("space") << u"a "_s << u"ends with a space"_s;
        QTest::newRow("colon") << u"12:30"_s << u"contains the character :"_s;
        QTest::newRow("line end") << u"a\nb"_s << u"contains a control character"_s;
        for (const char* const name :
             {"CON", "nul.txt", "Aux.tar.gz", "com1", "LPT9.x", "conin$", "prn .txt"})
            QTest::newRow(name) << QString::fromLatin1(name) << u"is that of a device"_s;
        QTest::newRow("superscript") << u"com\u00b9"_s << u"is that of a device"_s;
    }

    void namesThatWindowsRefusesSayWhy()
    {
        QFETCH(QString, name);
        QFETCH(QString, problem);

        QCOMPARE(windowsNameProblem(name), problem);
    }
};

QTEST_GUILESS_MAIN(TestWindowsNames)

#include "TestWindowsNames.moc"
