#include "support/DatabaseDump.h"
#include "support/Files.h"
#include "support/Managers.h"
#include "support/TrialWatch.h"
#include "support/Trials.h"
#include "support/WatchedVfs.h"

#include <database/DatabaseError.h>
#include <support/RawDatabase.h>

#include <QLoggingCategory>
#include <QRandomGenerator>
#include <QTemporaryDir>
#include <QTest>

#include <algorithm>

using namespace Qt::StringLiterals;
using namespace sync::config;
using namespace sync::test;
using sync::database::DatabaseError;

namespace {

constexpr int StandardTrials = 2000;
constexpr int PageBytes = 4096;

using Chance = QRandomGenerator;

void flipBits(QByteArray& bytes, qsizetype within, Chance& chance)
{
    const qsizetype size = std::min(within, bytes.size());
    const int count = 1 + chance.bounded(16);
    for (int flipped = 0; flipped < count && size > 0; ++flipped) {
        char& byte = bytes[chance.bounded(int(size))];
        byte = static_cast<char>(byte ^ 1 << chance.bounded(8));
    }
}

QByteArray randomBytes(qsizetype size, Chance& chance)
{
    QByteArray bytes(size, Qt::Uninitialized);
    std::generate(
        bytes.begin(), bytes.end(), [&] { return static_cast<char>(chance.bounded(256)); });
    return bytes;
}

void cutOff(QByteArray& bytes, Chance& chance)
{
    bytes.truncate(chance.bounded(int(bytes.size()) + 1));
}

void replacePage(QByteArray& bytes, Chance& chance)
{
    const int pages = int(bytes.size()) / PageBytes;
    const qsizetype target = qsizetype(PageBytes) * chance.bounded(pages);
    const qsizetype source = qsizetype(PageBytes) * chance.bounded(pages);
    const QByteArray contents[] = {
        QByteArray(PageBytes, '\0'), randomBytes(PageBytes, chance), bytes.mid(source, PageBytes)};
    bytes.replace(target, PageBytes, contents[chance.bounded(3)]);
}

QByteArray unrelatedFile(Chance& chance)
{
    const QByteArray contents[] = {
        "[General]\nname=value\n",
        QByteArray(PageBytes * 3, '\0'),
        randomBytes(chance.bounded(3 * PageBytes), chance),
        "SQLite format 3",
        {},
    };
    return contents[chance.bounded(5)];
}

DatabaseFiles filledDatabase(const QString& path)
{
    Managers managers(path);
    bool filled = fillWithSamples(managers);
    for (int number = 0; number < 60; ++number)
        filled = managers.addFile(u"/velmio-samples/a/%1"_s.arg(number), 1, 1) && filled;
    return filled ? DatabaseFiles::read(path) : DatabaseFiles();
}

} // namespace

/// Opens damaged files: the process never crashes or hangs, no error is hidden, and a refused file
/// is left unchanged.
class TestDamagedFiles : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void damagedFileNeverCrashesOrHidesAnError();

private:
    DatabaseFiles damaged(Chance& chance) const;
    void damage(DatabaseFiles& files, Chance& chance) const;
    QByteArray tryFile(quint32 trial);
    QByteArray judgeRefusal(const DatabaseError& error, const DatabaseFiles& files);
    QByteArray use(Managers& managers);

    QTemporaryDir directory{scratchTemplate()};
    const QString path = directory.filePath(u"configuration.db"_s);
    DatabaseFiles checkpointed;
    DatabaseFiles withWal;
    DatabaseFiles otherStore;
    int opened = 0;
    int refused = 0;
};

void TestDamagedFiles::initTestCase()
{
    QLoggingCategory::setFilterRules(u"velmio.*=false"_s);
    installWatchedVfs();
    withWal = filledDatabase(path);
    checkpointed.database = readFile(path);
    otherStore = filledDatabase(directory.filePath(u"another.db"_s));
    QVERIFY(!withWal.wal.isEmpty() && !otherStore.wal.isEmpty());
}

void TestDamagedFiles::damagedFileNeverCrashesOrHidesAnError()
{
    runTrials(StandardTrials, [this](quint32 trial) {
        const TrialWatch watch(trial);
        return tryFile(trial);
    });
    qInfo("%d files were refused, %d were usable", refused, opened);
}

DatabaseFiles TestDamagedFiles::damaged(Chance& chance) const
{
    DatabaseFiles files = chance.bounded(2) == 0 ? checkpointed : withWal;
    const int count = 1 + chance.bounded(2);
    for (int number = 0; number < count; ++number)
        damage(files, chance);
    return files;
}

void TestDamagedFiles::damage(DatabaseFiles& files, Chance& chance) const
{
    switch (chance.bounded(12)) {
    case 0:
        return flipBits(files.database, files.database.size(), chance);
    case 1:
        return flipBits(files.database, 100, chance); // header of the database
    case 2:
        return flipBits(files.wal, files.wal.size(), chance);
    case 3:
        return flipBits(files.wal, 32, chance); // header of the WAL
    case 4:
        return cutOff(files.database, chance);
    case 5:
        return cutOff(files.wal, chance);
    case 6:
        files.wal = otherStore.wal;
        return;
    case 7: // a database that was restored without its WAL, or next to a newer one
        files.database = checkpointed.database;
        files.wal = withWal.wal;
        return;
    case 8:
        if (files.database.size() >= PageBytes)
            replacePage(files.database, chance);
        return;
    case 9:
        files.database = unrelatedFile(chance);
        return;
    case 10:
        files.database += randomBytes(chance.bounded(2 * PageBytes), chance);
        return;
    default:
        files.journal = randomBytes(chance.bounded(PageBytes), chance);
    }
}

QByteArray TestDamagedFiles::tryFile(quint32 trial)
{
    Chance chance(trial);
    const DatabaseFiles files = damaged(chance);
    files.write(path);
    if (files.database.isEmpty())
        writeFile(path, {});
    try {
        Managers managers(path);
        ++opened;
        return use(managers);
    } catch (const DatabaseError& error) {
        ++refused;
        return judgeRefusal(error, files);
    }
}

QByteArray TestDamagedFiles::judgeRefusal(const DatabaseError& error, const DatabaseFiles& files)
{
    // The last sentence of the text names a remedy.
    static const QRegularExpression advice(u"\\b([Nn]ame|[Kk]eep|[Uu]se|[Cc]heck)\\b[^.]*\\.$"_s);
    // The journal is not compared, because SQLite plays it back or, when it is empty, removes it.
    if (readFile(path) != files.database || readFile(path + u"-wal"_s) != files.wal)
        return "the refused file has changed";
    if (!error.text().contains(path) || !advice.match(error.text()).hasMatch())
        return "the error is: " + error.text().toUtf8();
    return {};
}

QByteArray TestDamagedFiles::use(Managers& managers)
{
    managers.servers.GetAll();
    managers.products.GetAll();
    managers.signIns.GetAll();
    managers.folders->GetAll();
    for (const auto type : {OrdinaryFile, GeneratedFile, BaseFile})
        managers.files.GetAll(type);
    managers.schedules.GetDefaultScheduleEntry();
    const QStringList unreadable = dumpOf(path).filter(u"cannot be read"_s);
    if (!unreadable.isEmpty() && managers.errors() == 0)
        return "no error is reported for: " + unreadable.join(u", "_s).toUtf8();

    auto server = sampleServer(u"added"_s);
    const int before = managers.errors();
    if (!managers.servers.Add(server))
        return managers.errors() > before ? QByteArray() : "a write fails and no error is reported";
    return managers.servers.GetServerConfigById(server.getId()).getId() == server.getId()
               ? QByteArray()
               : "a written record is not found";
}

QTEST_GUILESS_MAIN(TestDamagedFiles)
#include "TestDamagedFiles.moc"
