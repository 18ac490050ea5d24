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

constexpr int FilesOfTheGates = 2000;
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

QByteArray anyBytes(qsizetype size, Chance& chance)
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
        QByteArray(PageBytes, '\0'), anyBytes(PageBytes, chance), bytes.mid(source, PageBytes)};
    bytes.replace(target, PageBytes, contents[chance.bounded(3)]);
}

QByteArray foreignFile(Chance& chance)
{
    const QByteArray contents[] = {
        "[General]\nname=value\n",
        QByteArray(PageBytes * 3, '\0'),
        anyBytes(chance.bounded(3 * PageBytes), chance),
        "SQLite format 3",
        {},
    };
    return contents[chance.bounded(5)];
}

DatabaseFiles filledDatabase(const QString& path)
{
    Managers managers(path);
    bool filled = fillWithSamples(managers);
    for (int number = 0; number < 60; ++number) {
        FileConfiguration file = sampleFile(u"/velmio-samples/a/%1"_s.arg(number), 1, 1);
        filled = managers.files.Add(file) && filled;
    }
    return filled ? DatabaseFiles::read(path) : DatabaseFiles();
}

} // namespace

/// Opens files that something has damaged: it never crashes or hangs, no error is hidden, and a
/// file that is refused stays as it is.
class TestDamagedFiles : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void noDamageCrashesHidesAnErrorOrSpreads();

private:
    DatabaseFiles damaged(Chance& chance) const;
    void damage(DatabaseFiles& files, Chance& chance) const;
    QByteArray tryFile(quint32 trial);
    QByteArray judgeRefusal(const DatabaseError& error, const DatabaseFiles& files);
    QByteArray use(Managers& managers);

    QTemporaryDir directory{scratchTemplate()};
    const QString path = directory.filePath(u"configuration.db"_s);
    DatabaseFiles checkpointed;
    DatabaseFiles withLog;
    DatabaseFiles ofAnotherStore;
    int opened = 0;
    int refused = 0;
};

void TestDamagedFiles::initTestCase()
{
    QLoggingCategory::setFilterRules(u"velmio.*=false"_s);
    installWatchedVfs();
    withLog = filledDatabase(path);
    checkpointed.database = readFile(path);
    ofAnotherStore = filledDatabase(directory.filePath(u"another.db"_s));
    QVERIFY(!withLog.log.isEmpty() && !ofAnotherStore.log.isEmpty());
}

void TestDamagedFiles::noDamageCrashesHidesAnErrorOrSpreads()
{
    const QList<quint32> trials = trialNumbers(FilesOfTheGates);
    for (const quint32 trial : trials) {
        const TrialWatch watch(trial);
        const QByteArray finding = tryFile(trial);
        QVERIFY2(finding.isEmpty(), (finding + '\n' + repeatWith(trial)).constData());
    }
    qInfo("%d files were refused, %d could be used", refused, opened);
}

DatabaseFiles TestDamagedFiles::damaged(Chance& chance) const
{
    DatabaseFiles files = chance.bounded(2) == 0 ? checkpointed : withLog;
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
        return flipBits(files.database, 100, chance); // the header
    case 2:
        return flipBits(files.log, files.log.size(), chance);
    case 3:
        return flipBits(files.log, 32, chance); // its header
    case 4:
        return cutOff(files.database, chance);
    case 5:
        return cutOff(files.log, chance);
    case 6:
        files.log = ofAnotherStore.log;
        return;
    case 7: // put back without its log, or an old one beside a newer log
        files.database = checkpointed.database;
        files.log = withLog.log;
        return;
    case 8:
        if (files.database.size() >= PageBytes)
            replacePage(files.database, chance);
        return;
    case 9:
        files.database = foreignFile(chance);
        return;
    case 10:
        files.database += anyBytes(chance.bounded(2 * PageBytes), chance);
        return;
    default:
        files.journal = anyBytes(chance.bounded(PageBytes), chance);
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
    // Its last sentence says what to do.
    static const QRegularExpression advice(u"\\b([Nn]ame|[Kk]eep|[Uu]se|[Cc]heck)\\b[^.]*\\.$"_s);
    // A journal is SQLite's to play back or, when there is nothing in it, to remove.
    if (readFile(path) != files.database || readFile(path + u"-wal"_s) != files.log)
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
        return "nobody tells of: " + unreadable.join(u", "_s).toUtf8();

    auto server = sampleServer(u"added"_s);
    const int before = managers.errors();
    if (!managers.servers.Add(server))
        return managers.errors() > before ? QByteArray()
                                          : "nobody tells why nothing can be written";
    return managers.servers.GetServerConfigById(server.getId()).getId() == server.getId()
               ? QByteArray()
               : "what was written is not there";
}

QTEST_GUILESS_MAIN(TestDamagedFiles)
#include "TestDamagedFiles.moc"
