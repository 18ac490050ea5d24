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
#include <thread>

using namespace Qt::StringLiterals;
using namespace sync::config;
using namespace sync::test;

namespace {

constexpr int LongestStartMs = 60'000;
constexpr int SignIns = 20;
// It grows by what each of them has written, and all of it is compared after each.
constexpr int KillsOfADatabase = 150;

QString passwordOf(int signInId)
{
    return u"sample %1"_s.arg(signInId);
}

} // namespace

/// Kills a program that writes, again and again on the same database: what it has told of is there.
class TestKilledProcess : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void cleanupTestCase();
    void whatWasAcknowledgedIsThere_data();
    void whatWasAcknowledgedIsThere();
    void everyPasswordCanBeRead();
    void aMigrationIsCarriedOn();

private:
    void makeDatabase();
    QStringList linesOfAKilled(const QString& action, quint32 trial, QByteArray& finding);
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
    FolderConfiguration root = sampleFolder(u"/files"_s, 0, -1);
    QVERIFY(managers.folders->Add(root));
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

void TestKilledProcess::whatWasAcknowledgedIsThere_data()
{
    QTest::addColumn<int>("count");
    QTest::addRow("rows") << 60;
    QTest::addRow("trees") << 40;
    QTest::addRow("checkpoints") << 40;
}

void TestKilledProcess::whatWasAcknowledgedIsThere()
{
    QFETCH(int, count);
    const QList<quint32> trials = trialNumbers(count);
    for (const quint32 trial : trials) {
        if (kills > 0 && kills % KillsOfADatabase == 0)
            makeDatabase();
        QByteArray finding;
        const QStringList lines =
            linesOfAKilled(QString::fromLatin1(QTest::currentDataTag()), trial, finding);
        if (finding.isEmpty())
            finding = judge(lines);
        QVERIFY2(finding.isEmpty(), (finding + '\n' + repeatWith(trial)).constData());
    }
}

QStringList TestKilledProcess::linesOfAKilled(
    const QString& action, quint32 trial, QByteArray& finding)
{
    QRandomGenerator chance(trial);
    QProcess client;
    const QString run = QString::number(++kills);
    client.start(QCoreApplication::applicationFilePath(), {u"--client"_s, action, path, run});
    if (!client.waitForReadyRead(LongestStartMs))
        finding = "it does not begin";
    std::this_thread::sleep_for(std::chrono::microseconds(chance.bounded(20'000)));
    client.kill();
    client.waitForFinished();
    if (client.exitStatus() == QProcess::NormalExit)
        finding = "it ended by itself: " + client.readAllStandardError();
    QString output = QString::fromUtf8(client.readAllStandardOutput());
    output.truncate(output.lastIndexOf(u'\n') + 1);
    return output.split(u'\n', Qt::SkipEmptyParts);
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
        return "after \"" + lines.last().toUtf8() + "\" there is:\n" +
               difference(rows(found), rows(expected));
    }
    expected = found;
    if (const QStringList findings = integrityOf(path); !findings.isEmpty())
        return findings.join(u", "_s).toUtf8();
    return brokenRule(managers);
}

void TestKilledProcess::everyPasswordCanBeRead()
{
    const QList<quint32> trials = trialNumbers(30);
    for (const quint32 trial : trials) {
        QByteArray finding;
        linesOfAKilled(u"rekey"_s, trial, finding);
        if (finding.isEmpty())
            finding = readPasswords();
        QVERIFY2(finding.isEmpty(), (finding + '\n' + repeatWith(trial)).constData());
    }
}

QByteArray TestKilledProcess::readPasswords()
{
    Managers managers(path);
    const auto signIns = managers.signIns.GetAll();
    if (signIns.size() != SignIns)
        return "a sign-in is gone";
    for (const AuthenticationConfiguration& signIn : signIns) {
        if (signIn.getPassword() != passwordOf(signIn.getId()))
            return "a password cannot be read";
    }
    return {};
}

void TestKilledProcess::aMigrationIsCarriedOn()
{
    const auto earlier = DatabaseFiles::read(QStringLiteral(VELMIO_TEST_DATA "/version-1.db"));
    const auto opened = [this] {
        const Managers managers(path);
        return checkedDumpOf(path);
    };
    earlier.write(path);
    const QStringList migrated = opened();

    const QList<quint32> trials = trialNumbers(30);
    for (const quint32 trial : trials) {
        earlier.write(path);
        QByteArray finding;
        linesOfAKilled(u"open"_s, trial, finding);
        if (finding.isEmpty())
            finding = difference(opened(), migrated);
        QVERIFY2(finding.isEmpty(), (finding + '\n' + repeatWith(trial)).constData());
    }
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
