#include "support/DatabaseDump.h"
#include "support/Files.h"
#include "support/NthCallFails.h"
#include "support/Trials.h"
#include "support/WriteOperations.h"

#include <database/DatabaseError.h>

#include <QLoggingCategory>
#include <QTemporaryDir>
#include <QTest>

#include <algorithm>

using namespace Qt::StringLiterals;
using namespace sync::test;
using sync::database::DatabaseError;

namespace {

bool containsAll(const QStringList& lines, const QStringList& some)
{
    return std::all_of(
        some.begin(), some.end(), [&](const QString& line) { return lines.contains(line); });
}

/// A dump without the numbers that were handed out: those stay used.
QStringList rowsOf(QStringList dump)
{
    dump.removeIf([](const QString& line) { return line.startsWith(u"sqlite_sequence"); });
    return dump;
}

/// What an operation makes of a database.
struct Change
{
    QStringList before;
    QStringList after;
    QStringList afterWithoutReads; ///< Empty, or what comes of it when a read has failed.

    /// Whether each row is as it was before or as it is after.
    bool mayLeave(const QStringList& state) const
    {
        const QStringList rows = rowsOf(state);
        QStringList untouched = rowsOf(before);
        untouched.removeIf([this](const QString& row) { return !after.contains(row); });
        return containsAll(rows, untouched) && containsAll(before + after, rows);
    }
};

// A fault of the machine is never taken for a fault of the file.
bool isOfTheMachine(const DatabaseError& error)
{
    using Cause = DatabaseError::Cause;
    return error.cause() == Cause::InputOutput || error.cause() == Cause::DiskFull ||
           error.cause() == Cause::NoPermission;
}

} // namespace

/// Fails each call to the operating system in turn, in each way, under each operation: it happens
/// or it fails, as a whole, and what comes next works.
class TestEveryIoCall : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void cleanupTestCase();

    void aWriteHappensOrFails_data();
    void aWriteHappensOrFails();
    void openingHappensOrFails_data();
    void openingHappensOrFails();
    void closingLosesNothing();

private:
    Change changeOf(const WriteOperation& operation);
    QByteArray tryWrite(
        const WriteOperation& operation, const Change& change, NthCallFails& failing, bool warm);
    QByteArray judgeWrite(
        const WriteOperation& operation, const Change& change, const QStringList& state,
        bool succeeded, bool errorsCounted);
    QByteArray tryOpening(
        const DatabaseFiles& files, const QStringList& expected, NthCallFails& failing);
    QByteArray tryClosing(NthCallFails& failing);
    QByteArray finishAfter(Managers& managers, QStringList state);

    template <typename Try>
    void atEveryCall(const Fault& fault, Try tryIt);

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
    // The last change is in a log of its own.
    Managers managers(path);
    QVERIFY(managers.servers.Update(probe));
    filled = DatabaseFiles::read(path);
    QVERIFY(!filled.log.isEmpty());
    samples = dumpOf(path);
}

void TestEveryIoCall::cleanupTestCase()
{
    qInfo("%d faults were injected", injected);
}

template <typename Try>
void TestEveryIoCall::atEveryCall(const Fault& fault, Try tryIt)
{
    for (int nth = firstCall();; nth += everyCallStep()) {
        NthCallFails failing(fault, nth);
        const QByteArray finding = tryIt(failing);
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

void TestEveryIoCall::aWriteHappensOrFails_data()
{
    QTest::addColumn<int>("index");
    for (int index = 0; index < operations.size(); ++index)
        QTest::addRow("%s", qPrintable(operations[index].name)) << index;
}

void TestEveryIoCall::aWriteHappensOrFails()
{
    QFETCH(int, index);
    const WriteOperation& operation = operations[index];
    const Change change = changeOf(operation);
    QVERIFY(change.after != change.before);

    for (const Fault& fault : allFaults()) {
        // What fails once meets a factory that has just been opened, and its first connection; what
        // lasts meets a connection that has written before.
        atEveryCall(fault, [&](NthCallFails& failing) {
            return tryWrite(operation, change, failing, fault.lasting);
        });
        if (QTest::currentTestFailed())
            return;
    }
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
    const QStringList state = dumpOf(path);
    if (failing.hit().isEmpty() && (state != change.after || errorsCounted))
        return "it fails without a fault";
    const QByteArray finding = judgeWrite(operation, change, state, succeeded, errorsCounted);
    return finding.isEmpty() ? finishAfter(managers, state) : finding;
}

QByteArray TestEveryIoCall::judgeWrite(
    const WriteOperation& operation, const Change& change, const QStringList& state, bool succeeded,
    bool errorsCounted)
{
    if (state == change.after && (succeeded || !operation.reportsSuccess || errorsCounted))
        return {};
    // A read that fails is no failure of the operation, which goes on as if there were nothing. The
    // factory has counted it.
    const bool toldByResult = !succeeded && operation.reportsSuccess;
    const bool told = toldByResult || (errorsCounted && operation.severalSteps) ||
                      (errorsCounted && !operation.reportsSuccess) ||
                      (errorsCounted && state == change.afterWithoutReads);
    if (!told)
        return "nobody tells of the failure:\n" + difference(state, change.after);
    const bool whole = state == change.before || state == change.afterWithoutReads;
    if (whole || (operation.severalSteps && change.mayLeave(state)))
        return {};
    return "the state is one between:\n" + difference(state, change.before);
}

// The next operation works, and what was there before it is there when the file is opened again.
QByteArray TestEveryIoCall::finishAfter(Managers& managers, QStringList state)
{
    auto next = probe;
    next.setAlias(u"written after the fault"_s);
    if (!managers.servers.Update(next))
        return "the next operation fails";
    const QStringList reopened = checkedDumpOf(path);
    state.replaceInStrings(u"|gamma|"_s, u"|written after the fault|"_s);
    return reopened == state ? QByteArray()
                             : "it does not stay so:\n" + difference(reopened, state);
}

void TestEveryIoCall::openingHappensOrFails_data()
{
    QTest::addColumn<DatabaseFiles>("files");
    QTest::addRow("new database") << DatabaseFiles();
    QTest::addRow("checkpointed") << checkpointed;
    QTest::addRow("with a log") << filled;
    QTest::addRow("of version 1") << DatabaseFiles::read(
        QStringLiteral(VELMIO_TEST_DATA "/version-1.db"));
}

void TestEveryIoCall::openingHappensOrFails()
{
    QFETCH(DatabaseFiles, files);
    files.write(path);
    {
        const Managers managers(path);
    }
    const QStringList expected = dumpOf(path);

    for (const Fault& fault : allFaults()) {
        atEveryCall(
            fault, [&](NthCallFails& failing) { return tryOpening(files, expected, failing); });
        if (QTest::currentTestFailed())
            return;
    }
}

QByteArray TestEveryIoCall::tryOpening(
    const DatabaseFiles& files, const QStringList& expected, NthCallFails& failing)
{
    files.write(path);
    try {
        const IoWatch watch(failing);
        const Managers managers(path);
    } catch (const DatabaseError& error) {
        if (failing.hit().isEmpty() || !isOfTheMachine(error) || !error.text().contains(path))
            return "the error is: " + error.text().toUtf8();
    }

    Managers managers(path);
    auto server = sampleServer(u"written after the fault"_s);
    if (!managers.servers.Add(server) || !managers.servers.Remove(server.getId()))
        return "the next operation fails";
    const QStringList rows = rowsOf(checkedDumpOf(path));
    return rows == rowsOf(expected) ? QByteArray()
                                    : "another state:\n" + difference(rows, expected);
}

void TestEveryIoCall::closingLosesNothing()
{
    for (const Fault& fault : allFaults()) {
        atEveryCall(fault, [this](NthCallFails& failing) { return tryClosing(failing); });
        if (QTest::currentTestFailed())
            return;
    }
}

// Closing copies the log into the database file.
QByteArray TestEveryIoCall::tryClosing(NthCallFails& failing)
{
    filled.write(path);
    QStringList state;
    {
        auto managers = std::make_unique<Managers>(path);
        auto server = sampleServer(u"added"_s);
        if (!managers->servers.Add(server))
            return "nothing can be written";
        state = dumpOf(path);
        const IoWatch watch(failing);
        managers.reset();
    }
    Managers managers(path);
    return finishAfter(managers, state);
}

QTEST_GUILESS_MAIN(TestEveryIoCall)
#include "TestEveryIoCall.moc"
