#include "support/DatabaseDump.h"
#include "support/Managers.h"
#include "support/Trials.h"
#include "support/WatchedVfs.h"

#include <journey/VelmioctlRunner.h>

#include <QDirIterator>
#include <QLoggingCategory>
#include <QProcess>
#include <QRandomGenerator>
#include <QTest>

#include <chrono>
#include <thread>

using namespace Qt::StringLiterals;
using namespace sync::test;

namespace {

constexpr int Folders = 12;
constexpr int FilesPerFolder = 25;

} // namespace

/// Repeatedly kills "velmioctl scan" on the same database while files are created and deleted.
class TestKilledScan : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void killedScanLeavesAConsistentStore();

private:
    void changeFiles(QRandomGenerator& chance);
    bool killScan(QRandomGenerator& chance);
    QByteArray judge();
    QByteArray completeScan();
    QStringList storedPaths() const;
    QStringList pathsOnDisk() const;

    VelmioctlRunner tool;
    const QStringList scan{u"scan"_s, u"--prune"_s, u"--yes"_s};
};

void TestKilledScan::initTestCase()
{
    QLoggingCategory::setFilterRules(u"velmio.*=false"_s);
    installWatchedVfs();
    for (int folder = 0; folder < Folders; ++folder)
        tool.makeFolder(u"root/%1"_s.arg(folder));
    QCOMPARE(tool.run({u"init"_s}).exitCode, 0);
    const QStringList addRoot{u"folder"_s, u"add"_s, u"root"_s, u"--server-path"_s, u"/S"_s};
    QCOMPARE(tool.run(addRoot).exitCode, 0);
}

void TestKilledScan::killedScanLeavesAConsistentStore()
{
    int inTime = 0;
    const int trials = runTrials(24, [&](quint32 trial) {
        QRandomGenerator chance(trial);
        changeFiles(chance);
        inTime += killScan(chance) ? 1 : 0;
        const QByteArray finding = judge();
        return finding.isEmpty() && trial % 4 == 0 ? completeScan() : finding;
    });
    qInfo("%d kills, %d of them before the scan had ended", trials, inTime);
}

// Creates or removes each file at random, so that about half of them exist.
void TestKilledScan::changeFiles(QRandomGenerator& chance)
{
    for (int folder = 0; folder < Folders; ++folder) {
        for (int file = 0; file < FilesPerFolder; ++file) {
            const QString name = u"root/%1/%2"_s.arg(folder).arg(file);
            if (chance.bounded(2) == 0)
                tool.writeFile(name, name.toUtf8());
            else
                QFile::remove(tool.path(name));
        }
    }
}

// Returns false if the scan had already ended.
bool TestKilledScan::killScan(QRandomGenerator& chance)
{
    QProcess process;
    process.setProcessEnvironment(tool.environment);
    process.start(tool.programPath(), QStringList{u"--database"_s, tool.databasePath()} + scan);
    process.waitForStarted();
    std::this_thread::sleep_for(std::chrono::milliseconds(chance.bounded(60)));
    process.kill();
    process.waitForFinished();
    return process.exitStatus() == QProcess::CrashExit;
}

QByteArray TestKilledScan::judge()
{
    Managers managers(tool.databasePath());
    if (const QStringList findings = integrityOf(tool.databasePath()); !findings.isEmpty())
        return findings.join(u", "_s).toUtf8();
    QStringList paths = storedPaths();
    if (paths.removeDuplicates() > 0)
        return "a path is stored twice";
    return brokenRule(managers);
}

QByteArray TestKilledScan::completeScan()
{
    const VelmioctlRun run = tool.run(scan);
    if (run.exitCode != 0)
        return "the next scan fails: " + run.errors.toUtf8();
    return difference(storedPaths(), pathsOnDisk());
}

QStringList TestKilledScan::storedPaths() const
{
    Managers managers(tool.databasePath());
    QStringList paths;
    const auto files = managers.files.GetAll();
    for (const auto& file : files)
        paths.append(file.getClientPath());
    const auto folders = managers.folders->GetAll();
    for (const auto& folder : folders)
        paths.append(folder.getClientPath());
    return paths;
}

QStringList TestKilledScan::pathsOnDisk() const
{
    const QString root = tool.path(u"root"_s);
    QStringList paths{root};
    QDirIterator entries(
        root, QDir::AllEntries | QDir::NoDotAndDotDot, QDirIterator::Subdirectories);
    while (entries.hasNext())
        paths.append(entries.next());
    return paths;
}

QTEST_GUILESS_MAIN(TestKilledScan)
#include "TestKilledScan.moc"
