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

/// Fills the disk while a program writes: it is told so, loses nothing that was acknowledged, and
/// goes on when there is space again.
class TestFullDisk : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void aWriterGoesOnWhenThereIsSpace();
    void aTransactionIsUndoneAsAWhole();
    void openingSaysThatTheDiskIsFull_data();
    void openingSaysThatTheDiskIsFull();

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

void TestFullDisk::aWriterGoesOnWhenThereIsSpace()
{
    const QList<quint32> trials = trialNumbers(100);
    for (const quint32 trial : trials) {
        const QByteArray finding = fillDisk(trial);
        QVERIFY2(finding.isEmpty(), (finding + '\n' + repeatWith(trial)).constData());
    }
    qInfo("%lld disks were filled", qlonglong(trials.size()));
}

QByteArray TestFullDisk::fillDisk(quint32 trial)
{
    // Without the index of the log, which takes 32 kB, nothing can be read either.
    constexpr int LeastBudget = 33'000;
    constexpr int LargestBudget = 300'000;
    filled.write(path);
    Managers managers(path);
    QRandomGenerator chance(trial);
    DiskBudget disk(chance.bounded(LeastBudget, LargestBudget));
    const IoWatch watch(disk);
    const auto add = [&managers](const QString& name) {
        FileConfiguration file = sampleFile(u"/velmio-samples/b/"_s + name, 5, 5);
        return managers.files.Add(file);
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
    constexpr qsizetype SamplesThere = 1;
    return found == SamplesThere + added + 1 ? QByteArray() : "another number of rows";
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

void TestFullDisk::aTransactionIsUndoneAsAWhole()
{
    filled.write(path);
    Managers managers(path);
    DiskBudget disk(200'000);
    const IoWatch watch(disk);
    const QStringList before = dumpOf(path);

    QVERIFY(managers.files.transaction());
    for (int number = 0; number < 1000; ++number) {
        FileConfiguration file = sampleFile(u"/velmio-samples/b/%1"_s.arg(number), 5, 5);
        managers.files.Add(file);
    }
    QVERIFY(!managers.files.commit());

    QVERIFY(isFullDisk(managers.factory->lastFailure()));
    QCOMPARE(dumpOf(path), before);
    disk.lift();
    FileConfiguration file = sampleFile(u"/velmio-samples/b/after"_s, 5, 5);
    QVERIFY(managers.files.Add(file));
}

void TestFullDisk::openingSaysThatTheDiskIsFull_data()
{
    QTest::addColumn<DatabaseFiles>("files");
    QTest::addRow("new database") << DatabaseFiles();
    QTest::addRow("existing database") << filled;
    QTest::addRow("of version 1") << DatabaseFiles::read(
        QStringLiteral(VELMIO_TEST_DATA "/version-1.db"));
}

void TestFullDisk::openingSaysThatTheDiskIsFull()
{
    QFETCH(DatabaseFiles, files);
    files.write(path);
    DiskBudget disk(0);
    const IoWatch watch(disk);

    try {
        const Managers managers(path);
        QFAIL("it opens");
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
