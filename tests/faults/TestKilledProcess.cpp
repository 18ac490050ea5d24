#include "support/DatabaseDump.h"
#include "support/Files.h"
#include "support/KillableClient.h"
#include "support/Managers.h"
#include "support/Trials.h"
#include "support/WatchedVfs.h"

#include <config/PasswordKeys.h>

#include <QLoggingCategory>
#include <QProcess>
#include <QRandomGenerator>
#include <QTemporaryDir>
#include <QTest>

#include <chrono>
#include <functional>
#include <thread>

using namespace Qt::StringLiterals;
using namespace sync::config;
using namespace sync::test;

namespace {

constexpr int LongestStartMs = 60'000;
constexpr int SignIns = 20;
// The database grows with each run, and its whole content is compared after each kill.
constexpr int KillsPerDatabase = 150;

QString passwordOf(int signInId)
{
    return u"sample %1"_s.arg(signInId);
}

} // namespace

/// Repeatedly kills a program that writes to the same database: every acknowledged operation
/// survives.
class TestKilledProcess : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void cleanupTestCase();
    void acknowledgedOperationsSurvive_data();
    void acknowledgedOperationsSurvive();
    void passwordsStayReadable();
    void interruptedMigrationIsCompleted();

private:
    void makeDatabase();
    /// Runs a client, kills it, and judges the lines that it printed.
    QByteArray killClient(
        const QString& action, quint32 trial,
        const std::function<QByteArray(const QStringList&)>& judgeLines);
    QByteArray judge(const QStringList& lines);
    QByteArray readPasswords();

    QTemporaryDir directory{scratchTemplate()};
    const QString path = directory.filePath(u"configuration.db"_s);
    ClientRows expected;
    int kills = 0;
    qsizetype acknowledged = 0;
};

void TestKilledProcess::initTestCase()
{
    QLoggingCategory::setFilterRules(u"velmio.*=false"_s);
    installWatchedVfs();
    makeDatabase();
}

void TestKilledProcess::makeDatabase()
{
    DatabaseFiles().write(path);
    expected.clear();
    Managers managers(path);
    QVERIFY(managers.addFolder(u"/files"_s, 0, -1));
    for (int number = 1; number <= SignIns; ++number) {
        AuthenticationConfiguration signIn;
        signIn.setPassword(passwordOf(number));
        QVERIFY(managers.signIns.Add(signIn));
    }
}

void TestKilledProcess::cleanupTestCase()
{
    qInfo("%d kills, %lld operations acknowledged before them", kills, qlonglong(acknowledged));
}

void TestKilledProcess::acknowledgedOperationsSurvive_data()
{
    QTest::addColumn<int>("count");
    QTest::addRow("rows") << 60;
    QTest::addRow("trees") << 40;
    QTest::addRow("checkpoints") << 40;
}

void TestKilledProcess::acknowledgedOperationsSurvive()
{
    QFETCH(int, count);
    const QString action = QString::fromLatin1(QTest::currentDataTag());
    runTrials(count, [&](quint32 trial) {
        if (kills > 0 && kills % KillsPerDatabase == 0)
            makeDatabase();
        return killClient(action, trial, [this](const QStringList& lines) { return judge(lines); });
    });
}

QByteArray TestKilledProcess::killClient(
    const QString& action, quint32 trial,
    const std::function<QByteArray(const QStringList&)>& judgeLines)
{
    QRandomGenerator chance(trial);
    QProcess client;
    const QString run = QString::number(++kills);
    client.start(QCoreApplication::applicationFilePath(), {u"--client"_s, action, path, run});
    if (!client.waitForReadyRead(LongestStartMs))
        return "the client does not start";
    std::this_thread::sleep_for(std::chrono::microseconds(chance.bounded(20'000)));
    client.kill();
    client.waitForFinished();
    if (client.exitStatus() == QProcess::NormalExit)
        return "the client ended by itself: " + client.readAllStandardError();
    QString output = QString::fromUtf8(client.readAllStandardOutput());
    output.truncate(output.lastIndexOf(u'\n') + 1);
    return judgeLines(output.split(u'\n', Qt::SkipEmptyParts));
}

QByteArray TestKilledProcess::judge(const QStringList& lines)
{
    for (const QString& line : lines) {
        if (!line.startsWith(u"did "))
            continue;
        expected = after(line.mid(4), expected);
        ++acknowledged;
    }
    ClientRows possible = expected;
    if (lines.last().startsWith(u"try "))
        possible = after(lines.last().mid(4), possible);

    Managers managers(path);
    const ClientRows found = clientRowsOf(managers);
    if (found != expected && found != possible) {
        const auto rows = [](const ClientRows& of) {
            QStringList texts;
            for (auto row = of.begin(); row != of.end(); ++row)
                texts.append(row.key() + u' ' + row.value());
            return texts;
        };
        return "the rows are wrong after \"" + lines.last().toUtf8() + "\":\n" +
               difference(rows(found), rows(expected));
    }
    expected = found;
    if (const QStringList findings = integrityOf(path); !findings.isEmpty())
        return findings.join(u", "_s).toUtf8();
    return brokenRule(managers);
}

void TestKilledProcess::passwordsStayReadable()
{
    runTrials(30, [this](quint32 trial) {
        return killClient(
            u"rekey"_s, trial, [this](const QStringList&) { return readPasswords(); });
    });
}

QByteArray TestKilledProcess::readPasswords()
{
    Managers managers(path);
    const auto signIns = managers.signIns.GetAll();
    if (signIns.size() != SignIns)
        return "a sign-in is missing";
    for (const AuthenticationConfiguration& signIn : signIns) {
        if (signIn.getPassword() != passwordOf(signIn.getId()))
            return "a password cannot be read";
    }
    return {};
}

void TestKilledProcess::interruptedMigrationIsCompleted()
{
    const auto earlier = DatabaseFiles::read(QStringLiteral(VELMIO_TEST_DATA "/version-1.db"));
    const auto opened = [this] {
        const Managers managers(path);
        return checkedDumpOf(path);
    };
    earlier.write(path);
    const QStringList migrated = opened();

    runTrials(30, [&](quint32 trial) {
        earlier.write(path);
        return killClient(
            u"open"_s, trial, [&](const QStringList&) { return difference(opened(), migrated); });
    });
}

int main(int argc, char** argv)
{
    const QCoreApplication application(argc, argv);
    const QStringList arguments = QCoreApplication::arguments();
    if (arguments.value(1) == u"--client")
        return runKillableClient(arguments.mid(2));
    TestKilledProcess test;
    return QTest::qExec(&test, argc, argv);
}

#include "TestKilledProcess.moc"
