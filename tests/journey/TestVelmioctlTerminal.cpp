#include "PseudoTerminal.h"
#include "VelmioctlRunner.h"

#include <QFile>
#include <QTest>

using namespace Qt::StringLiterals;

class TestVelmioctlTerminal : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init()
    {
        tool = std::make_unique<VelmioctlRunner>();
        tool->environment.insert(u"TERM"_s, u"xterm"_s);
        tool->environment.remove(u"NO_COLOR"_s);
        const QString folder = tool->makeFolder(u"Work"_s);
        tool->writeFile(u"Work/new.txt"_s, "new");
        QCOMPARE(tool->run({u"init"_s}).exitCode, 0);
        QCOMPARE(
            tool->run({u"folder"_s, u"add"_s, folder, u"--server-path"_s, u"/Work"_s}).exitCode, 0);
        QVERIFY(tool->execute(
            u"UPDATE FolderConfiguration SET authenticationId = 9, productConfigurationId = 9"_s));
    }

    void cleanup() { tool.reset(); }

    void doctorColoursSeverities()
    {
        const QByteArray answer = shown({u"doctor"_s});

        QVERIFY2(answer.contains("\x1b[31merror\x1b[0m folder."), answer.constData());
        QVERIFY2(answer.contains("\x1b[33mwarning\x1b[0m folder."), answer.constData());
    }

    void statusColoursDifferences()
    {
        const QByteArray answer = shown({u"status"_s});

        QVERIFY2(answer.contains("  \x1b[32mnew\x1b[0m       new.txt"), answer.constData());
    }

    void errorIsColoured()
    {
        QVERIFY(shown({u"server"_s, u"show"_s, u"9"_s}).startsWith("\x1b[31merror: \x1b[0m"));
    }

    void coloursStayAwayWhereUnwelcome_data()
    {
        QTest::addColumn<QString>("variable");
        QTest::addColumn<QString>("value");
        QTest::newRow("by the user") << u"NO_COLOR"_s << u"1"_s;
        QTest::newRow("by the terminal") << u"TERM"_s << u"dumb"_s;
    }

    void coloursStayAwayWhereUnwelcome()
    {
        QFETCH(QString, variable);
        QFETCH(QString, value);
        tool->environment.insert(variable, value);

        QVERIFY(!shown({u"doctor"_s}).contains('\x1b'));
        QVERIFY(!shown({u"server"_s, u"show"_s, u"9"_s}).contains('\x1b'));
    }

    void pipeGetsNoColours()
    {
        tool->environment.insert(u"CLICOLOR_FORCE"_s, u"1"_s);

        const auto run = tool->run({u"doctor"_s});

        QVERIFY(run.output.contains(u"warning folder."_s));
        QVERIFY(!run.output.contains(u'\x1b'));
    }

    void jsonHasEscapesForWhatATerminalHides_data()
    {
        QTest::addColumn<QStringList>("arguments");
        QTest::newRow("show") << QStringList{u"server"_s, u"show"_s, u"1"_s, u"--json"_s};
        QTest::newRow("export") << QStringList{u"export"_s};
        QTest::newRow("diff") << QStringList{
            u"diff"_s, u"none.json"_s, u"configuration.db"_s, u"--json"_s};
        QTest::newRow("doctor") << QStringList{u"doctor"_s, u"--json"_s};
        QTest::newRow("query") << QStringList{
            u"query"_s, u"SELECT alias FROM v1_servers"_s, u"--json"_s};
    }

    void jsonHasEscapesForWhatATerminalHides()
    {
        QFETCH(QStringList, arguments);
        tool->writeFile(u"none.json"_s, tool->run({u"export"_s}).output.toUtf8());
        const QString odd = u"a'||char(0x9b)||char(0x202e)||char(0xe0041)||'"_s;
        QVERIFY(tool->execute(
            u"INSERT INTO ServerConfiguration (id, alias) VALUES (1, '%1')"_s.arg(odd)));
        QVERIFY(tool->execute(u"UPDATE FolderConfiguration SET clientPath = '%1'"_s.arg(odd)));

        const QByteArray answer = shown(arguments);

        QVERIFY2(answer.contains("a\\u009b\\u202e\\udb40\\udc41"), answer.constData());
        QVERIFY(std::all_of(answer.begin(), answer.end(), [](char byte) { return byte > 0; }));
    }

    void pruneShowsItsPlanBeforeItAsks_data()
    {
        QTest::addColumn<QByteArray>("answer");
        QTest::addColumn<int>("exitCode");
        QTest::addColumn<int>("left");
        QTest::newRow("yes") << QByteArray("y\r") << 0 << 1;
        QTest::newRow("no") << QByteArray("n\r") << 1 << 2;
    }

    void pruneShowsItsPlanBeforeItAsks()
    {
        QFETCH(const QByteArray, answer);
        QFETCH(const int, exitCode);
        QFETCH(const int, left);
        tool->writeFile(u"Work/gone.txt"_s, "gone");
        QCOMPARE(tool->run({u"scan"_s}).exitCode, 0);
        QVERIFY(QFile::remove(tool->path(u"Work/gone.txt"_s)));

        PseudoTerminal terminal(*tool, {u"scan"_s, u"--prune"_s});
        QVERIFY(terminal.waitFor(
            "Would remove the record of \"" + tool->path(u"Work/gone.txt"_s).toUtf8() + "\"."));
        QVERIFY(terminal.waitFor("Remove the records of 1 file and 0 folders that do not exist"));
        QVERIFY(terminal.waitFor("[y/N] "));
        terminal.type(answer);

        QCOMPARE(terminal.exitCode(), exitCode);
        QCOMPARE(tool->json({u"file"_s, u"list"_s}).array().size(), left);
    }

private:
    QByteArray shown(const QStringList& arguments) const
    {
        PseudoTerminal terminal(*tool, arguments);
        terminal.exitCode();
        return terminal.transcript();
    }

    std::unique_ptr<VelmioctlRunner> tool;
};

QTEST_GUILESS_MAIN(TestVelmioctlTerminal)
#include "TestVelmioctlTerminal.moc"
