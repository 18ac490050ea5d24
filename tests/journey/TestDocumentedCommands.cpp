// velmioctl accepts the command lines in the documentation.

#include "VelmioctlRunner.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QTest>

using namespace Qt::StringLiterals;

namespace {

/// A command line of a page, and the answer that the page shows.
struct DocumentedRun
{
    QString page;
    int line = 0;
    QString command;
    QString answer;
};

QList<DocumentedRun> runsIn(const QFileInfo& page)
{
    QFile file(page.filePath());
    if (!file.open(QIODevice::ReadOnly))
        return {};
    QList<DocumentedRun> runs;
    bool inConsole = false;
    bool ours = false;
    const QStringList lines = QString::fromUtf8(file.readAll()).split(u'\n');
    for (int number = 0; number < lines.size(); ++number) {
        const QString& line = lines[number];
        if (line.startsWith(u"```")) {
            inConsole = line == u"```console";
            ours = false;
        } else if (inConsole && line.startsWith(u"$ ")) {
            ours = line.startsWith(u"$ velmioctl ");
            if (ours)
                runs.append({page.fileName(), number + 1, line.mid(2), {}});
        } else if (ours) {
            runs.last().answer += line + u'\n';
        }
    }
    return runs;
}

} // namespace

class TestDocumentedCommands : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void lineIsTaken_data()
    {
        QTest::addColumn<QString>("command");
        QTest::addColumn<QString>("answer");
        const QString root = QStringLiteral(VELMIO_SOURCE_DIRECTORY);
        QFileInfoList pages = QDir(root + u"/docs"_s).entryInfoList({u"*.md"_s});
        pages.append(QFileInfo(root + u"/README.md"_s));
        int runs = 0;
        for (const QFileInfo& page : pages) {
            for (const DocumentedRun& run : runsIn(page)) {
                ++runs;
                QTest::addRow("%s, line %d", qUtf8Printable(run.page), run.line)
                    << run.command << run.answer;
            }
        }
        QVERIFY2(runs > 50, qPrintable(QString::number(runs)));
    }

    void lineIsTaken()
    {
        QFETCH(const QString, command);
        QFETCH(const QString, answer);
        // No database exists, so a valid command line ends with another code.
        constexpr int WrongUse = 2;
        // Codes from this one on mean that the shell could not start it, or that a signal ended it.
        constexpr int NotRun = 126;
        const VelmioctlRunner tool;
        const QString home = tool.makeFolder(u"home"_s);
        for (const auto& secret : {u"password.txt"_s, u"secret.txt"_s, u"phrase"_s})
            tool.writeFile(u"home/"_s + secret, "a long secret\n");
        QProcess shell;
        auto environment = tool.environment;
        environment.insert(
            u"PATH"_s, QFileInfo(tool.programPath()).path() + u':' + environment.value(u"PATH"_s));
        environment.insert(u"VELMIO_FLEET"_s, u"postgresql:///fleet?host=/nowhere"_s);
        // As on the pages: the default places in the home folder.
        environment.remove(u"XDG_DATA_HOME"_s);
        environment.remove(u"XDG_STATE_HOME"_s);
        shell.setProcessEnvironment(environment);
        shell.setWorkingDirectory(home);
        shell.setProcessChannelMode(QProcess::MergedChannels);

        shell.start(u"sh"_s, {u"-c"_s, command});
        shell.closeWriteChannel();
        QVERIFY(shell.waitForFinished());
        const QString output = QString::fromUtf8(shell.readAll()).replace(home, u"/home/kim"_s);

        if (command.contains(u" --help") || command.contains(u" --version"))
            QCOMPARE(output, answer);
        else if (shell.exitCode() == WrongUse && !output.contains(u"does not exist"))
            // As on the page, which may continue with 'echo $?'.
            QVERIFY2(answer.startsWith(output), qPrintable(output));
        else
            QVERIFY2(shell.exitCode() < NotRun, qPrintable(output));
    }
};

QTEST_GUILESS_MAIN(TestDocumentedCommands)
#include "TestDocumentedCommands.moc"
