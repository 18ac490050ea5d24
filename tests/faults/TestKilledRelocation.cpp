#include "support/DatabaseDump.h"
#include "support/Managers.h"
#include "support/Trials.h"
#include "support/WatchedVfs.h"

#include <journey/VelmioctlRunner.h>

#include <QDir>
#include <QLoggingCategory>
#include <QProcess>
#include <QRandomGenerator>
#include <QTest>

#include <chrono>
#include <thread>

using namespace Qt::StringLiterals;
using namespace sync::test;

namespace {

constexpr int Files = 300;

} // namespace

/// Repeatedly moves a root folder on the disk, and kills "velmioctl folder relocate".
class TestKilledRelocation : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void killedRelocationIsDoneOrNot();

private:
    bool killRelocation(QRandomGenerator& chance);
    QByteArray judge();

    VelmioctlRunner tool;
    QStringList relocation{u"folder"_s, u"relocate"_s, u"1"_s, {}, u"--yes"_s};
    QString oldPath;
    QString newPath;
    int done = 0;
};

void TestKilledRelocation::initTestCase()
{
    QLoggingCategory::setFilterRules(u"velmio.*=false"_s);
    installWatchedVfs();
    tool.makeFolder(u"root0/sub"_s);
    for (int file = 0; file < Files; ++file)
        tool.writeFile(u"root0/sub/%1"_s.arg(file), QByteArray::number(file));
    QCOMPARE(tool.run({u"init"_s}).exitCode, 0);
    const QStringList addRoot{u"folder"_s, u"add"_s, u"root0"_s, u"--server-path"_s, u"/S"_s};
    QCOMPARE(tool.run(addRoot).exitCode, 0);
    QCOMPARE(tool.run({u"scan"_s}).exitCode, 0);
    newPath = tool.path(u"root0"_s);
}

void TestKilledRelocation::killedRelocationIsDoneOrNot()
{
    int inTime = 0;
    const int trials = runTrials(24, [&](quint32 trial) {
        QRandomGenerator chance(trial);
        const QString next = tool.path(u"root%1"_s.arg(trial));
        if (!QDir().rename(newPath, next))
            return QByteArray("the root folder cannot be renamed");
        newPath = next;
        relocation[3] = next;
        inTime += killRelocation(chance) ? 1 : 0;
        return judge();
    });
    qInfo("%d kills, %d of them in time; %d relocations were done", trials, inTime, done);
}

// Returns false if the relocation had already ended.
bool TestKilledRelocation::killRelocation(QRandomGenerator& chance)
{
    oldPath = Managers(tool.databasePath()).folders->GetFolderConfigurationById(1).getClientPath();
    QProcess process;
    process.setProcessEnvironment(tool.environment);
    process.start(
        tool.programPath(), QStringList{u"--database"_s, tool.databasePath()} + relocation);
    process.waitForStarted();
    std::this_thread::sleep_for(std::chrono::milliseconds(chance.bounded(300)));
    process.kill();
    process.waitForFinished();
    return process.exitStatus() == QProcess::CrashExit;
}

// Every path is below the same place, the old or the new one.
QByteArray TestKilledRelocation::judge()
{
    Managers managers(tool.databasePath());
    if (const QStringList findings = integrityOf(tool.databasePath()); !findings.isEmpty())
        return findings.join(u", "_s).toUtf8();
    const QString root = managers.folders->GetFolderConfigurationById(1).getClientPath();
    if (root != oldPath && root != newPath)
        return "the root is at another place";
    done += root == newPath ? 1 : 0;
    const auto files = managers.files.GetAll();
    if (files.size() != Files)
        return "records are lost";
    for (const auto& file : files) {
        if (!file.getClientPath().startsWith(root + u"/sub/"_s))
            return "a file is at another place than the root";
    }
    return brokenRule(managers);
}

QTEST_GUILESS_MAIN(TestKilledRelocation)
#include "TestKilledRelocation.moc"
