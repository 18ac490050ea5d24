#include <velmioctl/bundle/Redactor.h>

#include <QTest>

using namespace Qt::StringLiterals;

namespace velmioctl::bundle {

class TestRedactor : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void messageKeepsOnlyWordsOfTheProgram_data()
    {
        QTest::addColumn<QString>("message");

        QTest::newRow("plain") << u"The database of Kim is damaged"_s;
        QTest::newRow("half of a surrogate pair") << u"The database of Kim is"_s + QChar(0xD800);
        QTest::newRow("quoted") << u"The file \"Kim"_s + QChar(0xDC00) + u"\" is damaged"_s;
    }

    void messageKeepsOnlyWordsOfTheProgram()
    {
        QFETCH(QString, message);

        const QString shown = Redactor(false).message(message);

        QVERIFY2(!shown.contains(u"Kim"), qPrintable(shown));
        QVERIFY2(shown.startsWith(u"The "), qPrintable(shown));
    }

    void messageKeepsIdsAndHidesLongerNumbers()
    {
        const QString shown =
            Redactor(false).message(u"The server 2147483647 is missing. 49301234567"_s);

        QVERIFY2(shown.startsWith(u"The server 2147483647 is missing. t-"), qPrintable(shown));
    }
};

} // namespace velmioctl::bundle

QTEST_GUILESS_MAIN(velmioctl::bundle::TestRedactor)
#include "TestRedactor.moc"
