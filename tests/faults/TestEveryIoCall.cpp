#include "support/DatabaseDump.h"
#include "support/Files.h"
#include "support/NthCallFails.h"
#include "support/Trials.h"
#include "support/WriteOperations.h"

#include <config/PasswordKeys.h>
#include <core/Crypto.h>
#include <core/FileKeyStore.h>
#include <database/DatabaseBackups.h>
#include <database/DatabaseError.h>

#include <QDir>
#include <QLoggingCategory>
#include <QScopeGuard>
#include <QTemporaryDir>
#include <QTest>

#include <algorithm>
#include <functional>
#include <memory>

using namespace Qt::StringLiterals;
using namespace sync::test;
using sync::config::PasswordKeys;
using sync::database::DatabaseBackups;
using sync::database::DatabaseError;
namespace crypto = sync::core::crypto;

namespace {

bool containsAll(const QStringList& lines, const QStringList& some)
{
    return std::all_of(
        some.begin(), some.end(), [&](const QString& line) { return lines.contains(line); });
}

/// A dump without the last assigned ids, which stay used after a failure.
QStringList rowsOf(QStringList dump)
{
    dump.removeIf([](const QString& line) { return line.startsWith(u"sqlite_sequence"); });
    return dump;
}

/// The content of a database before and after an operation.
struct Change
{
    QStringList before;
    QStringList after;
    /// The content if the operation continues after a failed read; empty if it never does.
    QStringList afterWithoutReads;

    /// True if each row of the state is either the row from before or the one from after.
    bool mayLeave(const QStringList& state) const
    {
        const QStringList rows = rowsOf(state);
        QStringList untouched = rowsOf(before);
        untouched.removeIf([this](const QString& row) { return !after.contains(row); });
        return containsAll(rows, untouched) && containsAll(before + after, rows);
    }
};

// A fault of the machine must not be reported as damage of the file.
bool isMachineFault(const DatabaseError& error)
{
    using Cause = DatabaseError::Cause;
    return error.cause() == Cause::InputOutput || error.cause() == Cause::DiskFull ||
           error.cause() == Cause::NoPermission;
}

} // namespace

/// Makes each call to the operating system fail, in each way, during each operation: the operation
/// succeeds or fails as a whole, and the next operation works.
class TestEveryIoCall : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void cleanupTestCase();

    void writeSucceedsOrReportsFailure_data();
    void writeSucceedsOrReportsFailure();
    void openingSucceedsOrReportsFailure_data();
    void openingSucceedsOrReportsFailure();
    void closingLosesNothing();
    void backupIsCompleteOrAbsent();
    void restoreSucceedsOrReportsFailure_data();
    void restoreSucceedsOrReportsFailure();
    void changingTheKeyLosesNoPassword();

private:
    /// Returns what is wrong, or an empty text.
    using Trial = std::function<QByteArray(NthCallFails&)>;

    QStringList dumpAfterKill() const;
    Change changeOf(const WriteOperation& operation);
    QByteArray tryWrite(
        const WriteOperation& operation, const Change& change, NthCallFails& failing, bool warm);
    QByteArray judgeWrite(
        const WriteOperation& operation, const Change& change, const QStringList& state,
        bool succeeded, bool errorsCounted);
    QByteArray tryOpening(
        const DatabaseFiles& files, const QStringList& expected, NthCallFails& failing);
    QByteArray tryClosing(NthCallFails& failing);
    QByteArray tryBackup(NthCallFails& failing);
    QByteArray tryRestore(const QString& backup, NthCallFails& failing);
    QByteArray tryRekey(NthCallFails& failing);
    QByteArray finishAfter(Managers& managers, QStringList state);

    void atEveryCall(const Fault& fault, const Trial& trial);
    void underEveryFault(const Trial& trial);

    QTemporaryDir directory{scratchTemplate()};
    const QString path = directory.filePath(u"configuration.db"_s);
    DatabaseFiles checkpointed;
    DatabaseFiles filled;
    QStringList samples;
    QList<WriteOperation> operations;
    sync::config::ServerConfiguration probe;
    int injected = 0;
};

void TestEveryIoCall::initTestCase()
{
    QLoggingCategory::setFilterRules(u"velmio.*=false"_s);
    installWatchedVfs();
    {
        Managers managers(path);
        QVERIFY(fillWithSamples(managers));
        operations = writeOperations(managers);
        probe = managers.servers.GetServerConfigById(3);
    }
    checkpointed.database = readFile(path);
    checkpointed.write(path);
    // Only the WAL contains the last change.
    Managers managers(path);
    QVERIFY(managers.servers.Update(probe));
    filled = DatabaseFiles::read(path);
    QVERIFY(!filled.wal.isEmpty());
    samples = dumpOf(path);
}

void TestEveryIoCall::cleanupTestCase()
{
    qInfo("%d faults were injected", injected);
}

void TestEveryIoCall::atEveryCall(const Fault& fault, const Trial& trial)
{
    for (int nth = firstCall();; nth += everyCallStep()) {
        NthCallFails failing(fault, nth);
        const QByteArray finding = trial(failing);
        const QByteArray where = fault.text().toUtf8() + " at call " + QByteArray::number(nth) +
                                 ", a " + failing.hit() + ": ";
        QVERIFY2(
            finding.isEmpty(),
            (where + finding + '\n' + repeatWith(static_cast<quint32>(nth))).constData());
        if (failing.hit().isEmpty())
            return;
        ++injected;
    }
}

void TestEveryIoCall::underEveryFault(const Trial& trial)
{
    for (const Fault& fault : allFaults()) {
        atEveryCall(fault, trial);
        if (QTest::currentTestFailed())
            return;
    }
}

void TestEveryIoCall::writeSucceedsOrReportsFailure_data()
{
    QTest::addColumn<int>("index");
    for (int index = 0; index < operations.size(); ++index)
        QTest::addRow("%s", qPrintable(operations[index].name)) << index;
}

void TestEveryIoCall::writeSucceedsOrReportsFailure()
{
    QFETCH(int, index);
    const WriteOperation& operation = operations[index];
    const Change change = changeOf(operation);
    QVERIFY(change.after != change.before);

    for (const Fault& fault : allFaults()) {
        // A single failure hits the first connection of a newly opened factory. A lasting failure
        // hits a connection that has already written.
        atEveryCall(fault, [&](NthCallFails& failing) {
            return tryWrite(operation, change, failing, fault.lasting);
        });
        if (QTest::currentTestFailed())
            return;
    }
}

// The content that the next process finds if this one is killed now.
QStringList TestEveryIoCall::dumpAfterKill() const
{
    const QString left = directory.filePath(u"left.db"_s);
    DatabaseFiles::read(path).write(left);
    return dumpOf(left);
}

Change TestEveryIoCall::changeOf(const WriteOperation& operation)
{
    Change change{samples, {}, {}};
    const auto after = [this](const auto& run) {
        filled.write(path);
        Managers managers(path);
        run(managers);
        return dumpOf(path);
    };
    change.after = after(operation.run);
    if (operation.runWithoutReads)
        change.afterWithoutReads = after(operation.runWithoutReads);
    return change;
}

QByteArray TestEveryIoCall::tryWrite(
    const WriteOperation& operation, const Change& change, NthCallFails& failing, bool warm)
{
    filled.write(path);
    Managers managers(path);
    if (warm && !managers.servers.Update(probe))
        return "nothing can be written";

    bool succeeded = false;
    {
        const IoWatch watch(failing);
        succeeded = operation.run(managers);
    }

    const bool errorsCounted = managers.errors() > 0;
    const QStringList killed = dumpAfterKill();
    const QStringList state = dumpOf(path);
    // If nothing works after the sync, nothing can be undone, and the text says so.
    const auto failure = managers.factory->lastFailure();
    const bool mayComeBack = failing.isLasting() && failing.hit().startsWith("sync") && failure &&
                             failure->text.contains(u"may come back");
    if (killed != state && !mayComeBack)
        return "the content changes when the process is killed:\n" + difference(killed, state);
    if (failing.hit().isEmpty() && (state != change.after || errorsCounted))
        return "the operation fails although no call failed";
    const QByteArray finding = judgeWrite(operation, change, state, succeeded, errorsCounted);
    return finding.isEmpty() ? finishAfter(managers, state) : finding;
}

QByteArray TestEveryIoCall::judgeWrite(
    const WriteOperation& operation, const Change& change, const QStringList& state, bool succeeded,
    bool errorsCounted)
{
    if (state == change.after && (succeeded || !operation.reportsSuccess || errorsCounted))
        return {};
    // A failed read does not fail the operation, which continues as if nothing had been found. The
    // factory counts the error.
    const bool failureReturned = !succeeded && operation.reportsSuccess;
    const bool reported = failureReturned || (errorsCounted && operation.severalSteps) ||
                          (errorsCounted && !operation.reportsSuccess) ||
                          (errorsCounted && state == change.afterWithoutReads);
    if (!reported)
        return "the failure is not reported:\n" + difference(state, change.after);
    const bool whole = state == change.before || state == change.afterWithoutReads;
    if (whole || (operation.severalSteps && change.mayLeave(state)))
        return {};
    return "the operation was only partly done:\n" + difference(state, change.before);
}

// The next operation works, and its result is still there when the file is opened again.
QByteArray TestEveryIoCall::finishAfter(Managers& managers, QStringList state)
{
    auto next = probe;
    next.setAlias(u"written after the fault"_s);
    if (!managers.servers.Update(next))
        return "the next operation fails";
    const QStringList reopened = checkedDumpOf(path);
    state.replaceInStrings(u"|gamma|"_s, u"|written after the fault|"_s);
    return reopened == state ? QByteArray()
                             : "the content changes when the file is opened again:\n" +
                                   difference(reopened, state);
}

void TestEveryIoCall::openingSucceedsOrReportsFailure_data()
{
    QTest::addColumn<DatabaseFiles>("files");
    QTest::addRow("new database") << DatabaseFiles();
    QTest::addRow("checkpointed") << checkpointed;
    QTest::addRow("with a WAL") << filled;
    QTest::addRow("of version 1") << DatabaseFiles::read(
        QStringLiteral(VELMIO_TEST_DATA "/version-1.db"));
}

void TestEveryIoCall::openingSucceedsOrReportsFailure()
{
    QFETCH(DatabaseFiles, files);
    files.write(path);
    {
        const Managers managers(path);
    }
    const QStringList expected = dumpOf(path);

    underEveryFault([&](NthCallFails& failing) { return tryOpening(files, expected, failing); });
}

QByteArray TestEveryIoCall::tryOpening(
    const DatabaseFiles& files, const QStringList& expected, NthCallFails& failing)
{
    files.write(path);
    try {
        const IoWatch watch(failing);
        const Managers managers(path);
    } catch (const DatabaseError& error) {
        if (failing.hit().isEmpty() || !isMachineFault(error) || !error.text().contains(path))
            return "the error is: " + error.text().toUtf8();
    }

    Managers managers(path);
    auto server = sampleServer(u"written after the fault"_s);
    if (!managers.servers.Add(server) || !managers.servers.Remove(server.getId()))
        return "the next operation fails";
    const QStringList rows = rowsOf(checkedDumpOf(path));
    return rows == rowsOf(expected) ? QByteArray()
                                    : "the content is wrong:\n" + difference(rows, expected);
}

void TestEveryIoCall::closingLosesNothing()
{
    underEveryFault([this](NthCallFails& failing) { return tryClosing(failing); });
}

// Closing runs a checkpoint.
QByteArray TestEveryIoCall::tryClosing(NthCallFails& failing)
{
    filled.write(path);
    QStringList state;
    {
        auto managers = std::make_unique<Managers>(path);
        if (!managers->addServer(u"added"_s))
            return "nothing can be written";
        state = dumpOf(path);
        const IoWatch watch(failing);
        managers.reset();
    }
    Managers managers(path);
    return finishAfter(managers, state);
}

void TestEveryIoCall::backupIsCompleteOrAbsent()
{
    underEveryFault([this](NthCallFails& failing) { return tryBackup(failing); });
}

QByteArray TestEveryIoCall::tryBackup(NthCallFails& failing)
{
    filled.write(path);
    const QTemporaryDir folder(scratchTemplate());
    const QString backup = folder.filePath(u"backup.db"_s);
    Managers managers(path);
    try {
        const IoWatch watch(failing);
        DatabaseBackups(path).makeAt(backup);
    } catch (const DatabaseError& error) {
        if (failing.hit().isEmpty() || !isMachineFault(error))
            return "the error is: " + error.text().toUtf8();
        if (!QDir(folder.path()).isEmpty(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot))
            return "the failed backup leaves a file";
        DatabaseBackups(path).makeAt(backup);
    }
    const QStringList copied = checkedDumpOf(backup);
    return copied == samples ? finishAfter(managers, samples) : "the backup is not complete";
}

void TestEveryIoCall::restoreSucceedsOrReportsFailure_data()
{
    QTest::addColumn<bool>("sharedMemory");
    QTest::newRow("WAL") << true;
    QTest::newRow("journal") << false;
}

void TestEveryIoCall::restoreSucceedsOrReportsFailure()
{
    QFETCH(const bool, sharedMemory);
    setSharedMemory(sharedMemory);
    const auto reset = qScopeGuard([] { setSharedMemory(true); });
    filled.write(path);
    const QTemporaryDir folder(scratchTemplate());
    const QString backup = folder.filePath(u"backup.db"_s);
    {
        Managers managers(path);
        QVERIFY(managers.folders->CleanRootFolder(1));
    }
    DatabaseBackups(path).makeAt(backup);

    underEveryFault([&](NthCallFails& failing) { return tryRestore(backup, failing); });
}

QByteArray TestEveryIoCall::tryRestore(const QString& backup, NthCallFails& failing)
{
    filled.write(path);
    const QStringList restored = dumpOf(backup);
    bool succeeded = false;
    bool mayComeBack = false; // if nothing works after the sync, nothing can be undone
    QString kept;
    try {
        const IoWatch watch(failing);
        kept = DatabaseBackups(path).restore(backup);
        succeeded = true;
    } catch (const DatabaseError& error) {
        if (failing.hit().isEmpty() || !isMachineFault(error))
            return "the error is: " + error.text().toUtf8();
        mayComeBack = failing.isLasting() && failing.hit().startsWith("sync") &&
                      error.text().contains(u"may come back");
    }
    const QStringList state = dumpOf(path);
    if (!succeeded && state != samples && !(mayComeBack && state == restored))
        return "a restore that fails changes the database";
    if (succeeded && state != restored)
        return "the operation was only partly done:\n" + difference(state, samples);
    if (succeeded && checkedDumpOf(kept) != samples)
        return "the replaced database is not kept";
    if (succeeded)
        QFile::remove(kept);
    Managers managers(path);
    return finishAfter(managers, state);
}

void TestEveryIoCall::changingTheKeyLosesNoPassword()
{
    const auto previous = crypto::keyStore();
    underEveryFault([this](NthCallFails& failing) { return tryRekey(failing); });
    crypto::setKeyStore(previous);
}

QByteArray TestEveryIoCall::tryRekey(NthCallFails& failing)
{
    const QTemporaryDir folder(scratchTemplate());
    const QString keys = folder.filePath(u"password.key"_s);
    QFile::copy(crypto::FileKeyStore().path(), keys);
    crypto::setKeyStore(std::make_shared<crypto::FileKeyStore>(keys));
    filled.write(path);
    Managers managers(path);
    PasswordKeys passwordKeys(managers.factory);
    bool succeeded = false;
    {
        const IoWatch watch(failing);
        succeeded = passwordKeys.changeKey().succeeded;
    }
    if (failing.hit().isEmpty() && !succeeded)
        return "the operation fails although no call failed";
    // The dump identifies a password by its deciphered text.
    const QStringList state = dumpOf(path);
    if (state != samples)
        return "a password is lost:\n" + difference(state, samples);
    if (!passwordKeys.changeKey().succeeded)
        return "the key can no longer be changed";
    return finishAfter(managers, state);
}

QTEST_GUILESS_MAIN(TestEveryIoCall)
#include "TestEveryIoCall.moc"
