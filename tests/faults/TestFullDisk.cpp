#include "support/DatabaseDump.h"
#include "support/DiskBudget.h"
#include "support/Files.h"
#include "support/Managers.h"
#include "support/Trials.h"

#include <database/DatabaseError.h>

#include <QLoggingCategory>
#include <QRandomGenerator>
#include <QTemporaryDir>
#include <QTest>

using namespace Qt::StringLiterals;
using namespace sync::config;
using namespace sync::test;
using sync::database::DatabaseError;

namespace {

bool isFullDisk(DatabaseError::Cause cause, const QString& text)
{
    return cause == DatabaseError::Cause::DiskFull &&
           text.contains(u"disk is full: free some space"_s);
}

bool isFullDisk(const std::optional<sync::database::Failure>& failure)
{
    return failure && isFullDisk(failure->cause, failure->text);
}

} // namespace

/// Fills the disk while a program writes: the program gets an error, loses nothing that was
/// acknowledged, and continues when there is space again.
class TestFullDisk : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void writerContinuesWhenThereIsSpace();
    void failedTransactionIsRolledBackCompletely();
    void openingReportsAFullDisk_data();
    void openingReportsAFullDisk();

private:
    QByteArray fillDisk(quint32 trial);
    QByteArray judgeFullDisk(Managers& managers, int added);

    QTemporaryDir directory{scratchTemplate()};
    const QString path = directory.filePath(u"configuration.db"_s);
    DatabaseFiles filled;
};

void TestFullDisk::initTestCase()
{
    QLoggingCategory::setFilterRules(u"velmio.*=false"_s);
    installWatchedVfs();
    {
        Managers managers(path);
        QVERIFY(fillWithSamples(managers));
    }
    filled.database = readFile(path);
}

void TestFullDisk::writerContinuesWhenThereIsSpace()
{
    const int trials = runTrials(100, [this](quint32 trial) { return fillDisk(trial); });
    qInfo("%d disks were filled", trials);
}

QByteArray TestFullDisk::fillDisk(quint32 trial)
{
    // Reads need the WAL index, which takes 32 kB.
    constexpr int LeastBudget = 33'000;
    constexpr int LargestBudget = 300'000;
    filled.write(path);
    Managers managers(path);
    QRandomGenerator chance(trial);
    DiskBudget disk(chance.bounded(LeastBudget, LargestBudget));
    const IoWatch watch(disk);
    const auto add = [&managers](const QString& name) {
        return managers.addFile(u"/velmio-samples/b/"_s + name, 5, 5);
    };

    constexpr int MoreThanFit = 1000;
    int added = 0;
    while (added < MoreThanFit && add(QString::number(added)))
        ++added;
    QByteArray finding = judgeFullDisk(managers, added);
    if (!finding.isEmpty())
        return finding;

    disk.lift();
    if (!add(u"after"_s))
        return "nothing can be written although there is space";
    const QStringList rows = checkedDumpOf(path).filter(u"|/velmio-samples/b/"_s);
    const qsizetype found = rows.filter(QRegularExpression(u"^FileConfiguration"_s)).size();
    constexpr qsizetype SampleFiles = 1;
    return found == SampleFiles + added + 1 ? QByteArray() : "the number of rows is wrong";
}

QByteArray TestFullDisk::judgeFullDisk(Managers& managers, int added)
{
    const auto error = managers.factory->lastFailure();
    if (!isFullDisk(error))
        return "the error is: " + (error ? error->text.toUtf8() : QByteArray());
    if (managers.folders->CleanRootFolder(1))
        return "a transaction succeeds on the full disk";
    const int errors = managers.errors();
    if (managers.files.GetFileConfigurationsByFolderId(5, sync::interf::OrderById).size() !=
            added ||
        managers.folders->GetFolderConfigurationById(1).getId() != 1 || managers.errors() > errors)
        return "nothing can be read on the full disk";
    return {};
}

void TestFullDisk::failedTransactionIsRolledBackCompletely()
{
    filled.write(path);
    Managers managers(path);
    DiskBudget disk(200'000);
    const IoWatch watch(disk);
    const QStringList before = dumpOf(path);

    QVERIFY(managers.files.transaction());
    for (int number = 0; number < 1000; ++number)
        managers.addFile(u"/velmio-samples/b/%1"_s.arg(number), 5, 5);
    QVERIFY(!managers.files.commit());

    QVERIFY(isFullDisk(managers.factory->lastFailure()));
    QCOMPARE(dumpOf(path), before);
    disk.lift();
    QVERIFY(managers.addFile(u"/velmio-samples/b/after"_s, 5, 5));
}

void TestFullDisk::openingReportsAFullDisk_data()
{
    QTest::addColumn<DatabaseFiles>("files");
    QTest::addRow("new database") << DatabaseFiles();
    QTest::addRow("existing database") << filled;
    QTest::addRow("database of version 1")
        << DatabaseFiles::read(QStringLiteral(VELMIO_TEST_DATA "/version-1.db"));
}

void TestFullDisk::openingReportsAFullDisk()
{
    QFETCH(DatabaseFiles, files);
    files.write(path);
    DiskBudget disk(0);
    const IoWatch watch(disk);

    try {
        const Managers managers(path);
        QFAIL("the database opens");
    } catch (const DatabaseError& error) {
        QVERIFY2(isFullDisk(error.cause(), error.text()), error.what());
        QVERIFY(error.text().contains(path));
    }

    QCOMPARE(readFile(path), files.database);
    disk.lift();
    const Managers managers(path);
    QVERIFY(integrityOf(path).isEmpty());
}

QTEST_GUILESS_MAIN(TestFullDisk)
#include "TestFullDisk.moc"
