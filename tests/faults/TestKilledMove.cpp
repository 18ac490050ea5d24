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

/// Repeatedly renames a folder and exchanges the names of two files, and kills "velmioctl scan".
class TestKilledMove : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void killedMoveIsDoneOrNot();

private:
    void change(quint32 trial);
    bool killScan(QRandomGenerator& chance);
    QByteArray judge();
    QByteArray completeScan();
    QString place(const QString& name) const { return tool.path(u"root/"_s + name); }

    VelmioctlRunner tool;
    // The name of the folder before and after, and the ids of the records.
    QString oldName;
    QString newName = u"folder"_s;
    int folderId = -1;
    QMap<int, QByteArray> contents; // of the files, by the ids of their records
    int done = 0;
};

void TestKilledMove::initTestCase()
{
    QLoggingCategory::setFilterRules(u"velmio.*=false"_s);
    installWatchedVfs();
    tool.makeFolder(u"root/folder"_s);
    for (int file = 0; file < Files; ++file)
        tool.writeFile(u"root/folder/%1"_s.arg(file), QByteArray(file + 1, 'x'));
    QCOMPARE(tool.run({u"init"_s}).exitCode, 0);
    const QStringList addRoot{u"folder"_s, u"add"_s, u"root"_s, u"--server-path"_s, u"/S"_s};
    QCOMPARE(tool.run(addRoot).exitCode, 0);
    QCOMPARE(tool.run({u"scan"_s}).exitCode, 0);
    QCOMPARE(tool.run({u"scan"_s}).exitCode, 0);
    Managers managers(tool.databasePath());
    folderId = managers.folders->GetFolderConfigurationByClientPath(place(newName)).getId();
    const auto files = managers.files.GetAll();
    for (const auto& file : files)
        contents.insert(file.getId(), file.getCheckSum().toUtf8());
    QCOMPARE(contents.size(), Files);
}

void TestKilledMove::killedMoveIsDoneOrNot()
{
    int inTime = 0;
    const int trials = runTrials(24, [&](quint32 trial) {
        QRandomGenerator chance(trial);
        change(trial);
        inTime += killScan(chance) ? 1 : 0;
        const QByteArray finding = judge();
        return finding.isEmpty() && trial % 4 == 0 ? completeScan() : finding;
    });
    qInfo("%d kills, %d of them in time; %d moves were done", trials, inTime, done);
}

void TestKilledMove::change(quint32 trial)
{
    {
        Managers managers(tool.databasePath());
        const auto folder = managers.folders->GetFolderConfigurationById(folderId);
        oldName = folder.getName();
    }
    const QString next = u"folder%1"_s.arg(trial);
    QVERIFY(QDir().rename(place(newName), place(next)));
    newName = next;
    const QString first = place(newName + u'/' + QString::number(trial % Files));
    const QString second = place(newName + u'/' + QString::number((trial + 1) % Files));
    QVERIFY(QFile::rename(first, place(u"between"_s)));
    QVERIFY(QFile::rename(second, first));
    QVERIFY(QFile::rename(place(u"between"_s), second));
}

// Returns false if the scan had already ended.
bool TestKilledMove::killScan(QRandomGenerator& chance)
{
    QProcess process;
    process.setProcessEnvironment(tool.environment);
    process.start(tool.programPath(), {u"--database"_s, tool.databasePath(), u"scan"_s});
    process.waitForStarted();
    std::this_thread::sleep_for(std::chrono::milliseconds(chance.bounded(150)));
    process.kill();
    process.waitForFinished();
    return process.exitStatus() == QProcess::CrashExit;
}

// The folder and all its files are below one name, the old or the new one.
QByteArray TestKilledMove::judge()
{
    Managers managers(tool.databasePath());
    if (const QStringList findings = integrityOf(tool.databasePath()); !findings.isEmpty())
        return findings.join(u", "_s).toUtf8();
    const QString folder = managers.folders->GetFolderConfigurationById(folderId).getClientPath();
    if (folder != place(oldName) && folder != place(newName))
        return "the folder is at another place";
    done += folder == place(newName) ? 1 : 0;
    const auto files = managers.files.GetAll();
    QSet<QString> paths;
    for (const auto& file : files) {
        if (!file.getClientPath().startsWith(folder + u'/'))
            return "a file is at another place than its folder";
        if (contents.value(file.getId()) != file.getCheckSum().toUtf8())
            return "a record has become that of another file";
        paths.insert(file.getClientPath());
    }
    if (files.size() != Files || paths.size() != Files)
        return "records are lost or doubled";
    return brokenRule(managers);
}

QByteArray TestKilledMove::completeScan()
{
    const VelmioctlRun run = tool.run({u"scan"_s});
    if (run.exitCode != 0)
        return "the next scan fails: " + run.errors.toUtf8();
    oldName = newName;
    const VelmioctlRun status = tool.run({u"status"_s});
    return status.exitCode == 0 ? judge() : "something differs: " + status.output.toUtf8();
}

QTEST_GUILESS_MAIN(TestKilledMove)
#include "TestKilledMove.moc"
