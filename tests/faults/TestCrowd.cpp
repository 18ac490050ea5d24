#include "support/CrowdMember.h"
#include "support/DatabaseDump.h"
#include "support/Managers.h"
#include "support/Trials.h"
#include "support/WatchedVfs.h"

#include <database/DatabaseBackups.h>
#include <support/RawDatabase.h>

#include <QElapsedTimer>
#include <QLoggingCategory>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

#include <algorithm>
#include <cmath>
#include <memory>
#include <vector>

using namespace Qt::StringLiterals;
using namespace sync::test;
using sync::database::DatabaseBackups;

namespace {

constexpr int Processes = 4;
constexpr int StandardDurationMs = 30'000;
constexpr int LongestEndMs = 60'000;

using Process = std::unique_ptr<QProcess>;

/// What the writers have reported.
struct Reported
{
    QMap<int, int> rowsOfFolder;
    std::vector<long long> microseconds;
};

} // namespace

/// Runs writers, readers, checkpoints, backups and velmioctl on one file at the same time: no row
/// is lost, no operation fails, and none takes longer than 5 s.
class TestCrowd : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void concurrentProcessesLoseNoRowAndDoNotBlock();

private:
    Process start(const QString& role, int number, int milliseconds);
    void useDatabaseMeanwhile(int milliseconds);
    void runTool(const QStringList& arguments);
    Reported read(const Process& writer, Reported reported);
    void verifyRows(const Reported& reported);

    QTemporaryDir directory;
    const QString path = directory.filePath(u"configuration.db"_s);
    int rounds = 0;
};

void TestCrowd::initTestCase()
{
    QLoggingCategory::setFilterRules(u"velmio.*=false"_s);
    Managers managers(path);
    QVERIFY(managers.files.transaction());
    for (int folder = 1; folder <= groupFolderOf(Processes - 1, CrowdThreads - 1); ++folder) {
        auto record = sampleFolder(u"/crowd/%1"_s.arg(folder), folder == 1 ? 0 : 1, 1);
        QVERIFY(managers.folders->Add(record));
        QCOMPARE(record.getId(), folder);
    }
    QVERIFY(managers.files.commit());
}

void TestCrowd::concurrentProcessesLoseNoRowAndDoNotBlock()
{
    const int milliseconds = static_cast<int>(std::lround(StandardDurationMs * faultScale()));
    std::vector<Process> writers;
    std::vector<Process> readers;
    for (int number = 0; number < Processes; ++number) {
        writers.push_back(start(u"writer"_s, number, milliseconds));
        readers.push_back(start(u"reader"_s, number, milliseconds));
    }

    useDatabaseMeanwhile(milliseconds);

    Reported reported;
    for (const Process& writer : writers)
        reported = read(writer, std::move(reported));
    for (const Process& reader : readers)
        read(reader, {});
    if (QTest::currentTestFailed())
        return;
    verifyRows(reported);
    std::vector<long long>& took = reported.microseconds;
    QVERIFY(!took.empty());
    std::sort(took.begin(), took.end());
    qInfo(
        "%zu writes and %d rounds of backup, close and velmioctl in %d ms; "
        "a write took p50 %.2f ms, p99 %.2f ms, at most %.2f ms",
        took.size(), rounds, milliseconds, double(took[took.size() / 2]) / 1000,
        double(took[took.size() * 99 / 100]) / 1000, double(took.back()) / 1000);
}

Process TestCrowd::start(const QString& role, int number, int milliseconds)
{
    auto process = std::make_unique<QProcess>();
    process->start(
        QCoreApplication::applicationFilePath(),
        {u"--member"_s, role, path, QString::number(number), QString::number(milliseconds)});
    return process;
}

// Until the time is over: opens and closes the database, which runs a checkpoint when no other
// process writes, makes backups, and runs velmioctl.
void TestCrowd::useDatabaseMeanwhile(int milliseconds)
{
    QElapsedTimer clock;
    clock.start();
    while (clock.elapsed() < milliseconds && !QTest::currentTestFailed()) {
        const QString backup = directory.filePath(u"backup-%1.db"_s.arg(++rounds));
        {
            Managers managers(path);
            QVERIFY(managers.addServer(u"round %1"_s.arg(rounds)));
        }
        DatabaseBackups(path).makeAt(backup);
        DatabaseBackups::verify(backup);
        runTool({u"server"_s, u"list"_s});
        runTool({u"stats"_s});
        QTest::qWait(100);
    }
}

void TestCrowd::runTool(const QStringList& arguments)
{
    const QString tool = QStringLiteral(VELMIOCTL);
    if (tool.isEmpty())
        return;
    QProcess process;
    process.start(tool, QStringList{u"--database"_s, path} + arguments);
    QVERIFY(process.waitForFinished(LongestEndMs));
    QVERIFY2(process.exitCode() == 0, process.readAllStandardError().constData());
}

Reported TestCrowd::read(const Process& writer, Reported reported)
{
    // Returns false if the process has already ended.
    writer->waitForFinished(LongestEndMs);
    if (writer->state() != QProcess::NotRunning || writer->exitCode() != 0 ||
        writer->exitStatus() != QProcess::NormalExit)
        QTest::qFail(writer->readAllStandardError().constData(), __FILE__, __LINE__);
    const QList<QByteArray> lines = writer->readAllStandardOutput().split('\n');
    for (const QByteArray& line : lines) {
        const QList<QByteArray> words = line.split(' ');
        if (words[0] == "rows")
            reported.rowsOfFolder[words[1].toInt()] = words[2].toInt();
        else if (words[0] == "took")
            reported.microseconds.push_back(words[1].toLongLong());
    }
    return reported;
}

void TestCrowd::verifyRows(const Reported& reported)
{
    QCOMPARE(reported.rowsOfFolder.size(), 2 * Processes * CrowdThreads);
    RawDatabase database(path);
    QCOMPARE(database.value(u"PRAGMA integrity_check"_s), u"ok"_s);
    for (auto folder = reported.rowsOfFolder.begin(); folder != reported.rowsOfFolder.end();
         ++folder) {
        const QStringList paths = database.run(
            u"SELECT clientPath FROM FileConfiguration WHERE folderConfigurationId = %1 "
            u"ORDER BY id"_s.arg(folder.key()));
        QCOMPARE(paths.size(), folder.value());
        for (int row = 0; row < folder.value(); ++row)
            QCOMPARE(paths[row], crowdPath(folder.key(), row));
    }
}

int main(int argc, char** argv)
{
    const QCoreApplication application(argc, argv);
    const QStringList arguments = QCoreApplication::arguments();
    if (arguments.value(1) == u"--member")
        return runCrowdMember(arguments.mid(2));
    TestCrowd test;
    return QTest::qExec(&test, argc, argv);
}

#include "TestCrowd.moc"
