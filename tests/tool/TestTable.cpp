#include <velmioctl/cli/Table.h>
#include <velmioctl/cli/Terminal.h>

#include <QTest>

using namespace Qt::StringLiterals;

namespace velmioctl {

namespace {

const Terminal Pipe;

Terminal terminal(int columns, bool utf8 = true, bool colours = false)
{
    return {true, columns, utf8, colours};
}

Table sampleTable()
{
    Table table({u"ID"_s, u"NAME"_s, u"PATH"_s});
    table.alignRight(0);
    table.addRow({u"7"_s, u"\u65e5\u672c"_s, u"/home/user/first"_s});
    table.addRow({u"123"_s, u"e\u0301"_s, u"/b"_s});
    return table;
}

} // namespace

class TestTable : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void columnsLineUpByDisplayWidth()
    {
        QCOMPARE(
            sampleTable().toText(Pipe), u" ID  NAME  PATH\n"
                                        u"  7  \u65e5\u672c  /home/user/first\n"
                                        u"123  e\u0301     /b\n"_s);
    }

    void lastColumnIsShortenedInTheMiddle()
    {
        QCOMPARE(
            sampleTable().toText(terminal(20)), u" ID  NAME  PATH\n"
                                                u"  7  \u65e5\u672c  /h\u2026/first\n"
                                                u"123  e\u0301     /b\n"_s);
    }

    void whatOtherCommandsWantIsKeptWhole()
    {
        QVERIFY(sampleTable().keepWhole().toText(terminal(20)).contains(u"  /home/user/first\n"_s));
    }

    void fieldsAreNeverShortened()
    {
        FieldList fields;
        fields.add(u"path"_s, QString(100, u'p'));

        QVERIFY(fields.toText(terminal(20)).contains(QString(100, u'p')));
    }

    void asciiTerminalGetsAsciiEllipsis()
    {
        QVERIFY(sampleTable().toText(terminal(20, false)).contains(u"  .../first\n"_s));
    }

    void pipeGetsLastColumnWhole()
    {
        Terminal pipe;
        pipe.columns = 20;

        QVERIFY(sampleTable().toText(pipe).contains(u"/home/user/first\n"_s));
    }

    void narrowTerminalStillShowsSomeOfLastColumn()
    {
        QVERIFY(sampleTable().toText(terminal(5)).contains(u"  /\u2026/first\n"_s));
    }

    void controlsInCellsAreEscaped()
    {
        Table table({u"NAME"_s, u"PATH"_s});

        table.addRow({u"a\nb"_s, u"\x1b[2J"_s});

        QCOMPARE(table.toText(Pipe), u"NAME  PATH\na\\nb  \\x1b[2J\n"_s);
    }

    void headingsAreBoldOnlyWithColours()
    {
        const Table table({u"ID"_s});

        QCOMPARE(table.toText(terminal(80, true, true)), u"\x1b[1mID\x1b[0m\n"_s);
        QCOMPARE(table.toText(terminal(80, true, false)), u"ID\n"_s);
    }

    void emptyCellLeavesNoBlanksAtLineEnd()
    {
        Table table({u"ID"_s, u"PATH"_s});

        table.addRow({u"1"_s, QString()});

        QCOMPARE(table.toText(Pipe), u"ID  PATH\n1\n"_s);
    }

    void fieldsLineUpBehindTheirNames()
    {
        FieldList fields;

        fields.add(u"id"_s, u"4"_s);
        fields.add(u"client path"_s, u"/a\t"_s);
        fields.add(u"owner"_s, QString());

        QCOMPARE(fields.toText(Pipe), u"id           4\nclient path  /a\\t\nowner\n"_s);
    }
};

} // namespace velmioctl

QTEST_GUILESS_MAIN(velmioctl::TestTable)
#include "TestTable.moc"
