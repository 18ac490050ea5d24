// Commands that only read leave no trace of themselves, whatever the store and its place are like.

#include "CommandNames.h"
#include "StoredRows.h"
#include "VelmioctlRunner.h"

#include <support/RawDatabase.h>

#include <QCryptographicHash>
#include <QDir>
#include <QFile>
#include <QSet>
#include <QTest>

using namespace Qt::StringLiterals;
using sync::test::RawDatabase;

namespace {

/// A command line; "@" stands for the temporary folder.
struct Line
{
    QString command;
    QStringList arguments = {};
    QByteArray input = {};
};

const std::vector<Line> Reading{
    {u"help"_s, {u"scan"_s}},
    {u"server list"_s},
    {u"server show"_s, {u"1"_s}},
    {u"server default"_s},
    {u"signin list"_s},
    {u"signin show"_s, {u"1"_s}},
    {u"product list"_s},
    {u"product show"_s, {u"1"_s}},
    {u"folder list"_s, {u"--all"_s}},
    {u"folder tree"_s},
    {u"folder show"_s, {u"1"_s}},
    {u"folder check"_s, {u"@Work/new"_s}},
    {u"folder check-server"_s, {u"/Team"_s, u"--signin"_s, u"1"_s}},
    {u"file list"_s},
    {u"file show"_s, {u"1"_s}},
    {u"file links"_s, {u"1"_s}},
    {u"file generated"_s, {u"1"_s}},
    {u"file base"_s, {u"1"_s}},
    {u"schedule list"_s},
    {u"schedule show"_s},
    {u"secrets verify"_s},
    {u"secrets where"_s},
    {u"secrets prune"_s, {u"--dry-run"_s}},
    {u"status"_s},
    {u"stats"_s},
    {u"doctor"_s},
    {u"doctor"_s, {u"--dry-run"_s}},
    {u"explain"_s, {u"@Work/notes.txt"_s}},
    {u"scan"_s, {u"--prune"_s, u"--dry-run"_s}},
    {u"backup"_s, {u"--list"_s}},
    {u"query"_s, {u"SELECT * FROM v1_files"_s}},
    {u"watch"_s, {u"--count"_s, u"0"_s}},
    {u"export"_s},
    {u"import"_s, {u"@export.json"_s, u"--dry-run"_s}},
    {u"diff"_s, {u"@export.json"_s}},
    {u"bundle"_s, {u"--dry-run"_s}},
};

const std::vector<Line> Writing{
    {u"init"_s},
    {u"server add"_s,
     {u"--dav-url"_s, u"https://d.example.com"_s, u"--web-service-url"_s,
      u"https://w.example.com"_s}},
    {u"server set"_s, {u"1"_s, u"--alias"_s, u"other"_s}},
    {u"server remove"_s, {u"1"_s, u"--yes"_s}},
    {u"server default"_s, {u"1"_s}},
    {u"signin add"_s,
     {u"--server"_s, u"1"_s, u"--domain"_s, u"d"_s, u"--user"_s, u"u"_s, u"--password-stdin"_s},
     "word\n"},
    {u"signin set"_s, {u"1"_s, u"--user"_s, u"other"_s}},
    {u"signin password"_s, {u"1"_s, u"--password-stdin"_s}, "word\n"},
    {u"signin remove"_s, {u"1"_s, u"--yes"_s}},
    {u"product add"_s,
     {u"--server"_s, u"1"_s, u"--name"_s, u"n"_s, u"--consumer-key"_s, u"k"_s, u"--secret-stdin"_s},
     "word\n"},
    {u"product set"_s, {u"1"_s, u"--name"_s, u"other"_s}},
    {u"product remove"_s, {u"1"_s, u"--yes"_s}},
    {u"folder add"_s, {u"@Other"_s, u"--missing-ok"_s, u"--server-path"_s, u"/Other"_s}},
    {u"folder set"_s, {u"1"_s, u"--name"_s, u"other"_s}},
    {u"folder relocate"_s, {u"1"_s, u"@Other"_s, u"--yes"_s}},
    {u"folder remove"_s, {u"1"_s, u"--yes"_s}},
    {u"folder clean"_s, {u"1"_s, u"--yes"_s}},
    {u"file add"_s, {u"@Work/new.txt"_s, u"--missing-ok"_s}},
    {u"file set"_s, {u"1"_s, u"--name"_s, u"other"_s}},
    {u"file remove"_s, {u"1"_s, u"--yes"_s}},
    {u"schedule add"_s, {u"1"_s}},
    {u"schedule set"_s, {u"1"_s, u"--interval"_s, u"5"_s}},
    {u"schedule remove"_s, {u"1"_s, u"--yes"_s}},
    {u"secrets rekey"_s},
    {u"secrets prune"_s, {u"--no-rest"_s, u"--force"_s, u"--yes"_s}},
    {u"scan"_s},
    {u"adopt"_s, {u"--yes"_s}},
    {u"backup"_s},
    {u"restore"_s, {u"@copy.db"_s, u"--yes"_s}},
    {u"recover"_s, {u"--salvage"_s, u"--yes"_s}},
    {u"import"_s, {u"@empty.json"_s, u"--replace"_s, u"--yes"_s}},
    {u"doctor"_s, {u"--fix"_s, u"--yes"_s}},
};

} // namespace

class TestVelmioctlReadOnly : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();
    void everyCommandIsTried();
    void readingLeavesNoTrace_data();
    void readingLeavesNoTrace();
    void readingShowsWhatTheLiveWriterHasStored();
    void unfinishedTransactionIsNotRolledBackByAReader();
    void changesAreRefusedOnRequest();

private:
    // What a test does to the store before it is read.
    enum class State { Closed, Journal, LiveWriter, LeftByCrash, NotWritable, FullDisk };

    QStringList argumentsOf(const Line& line) const;
    QMap<QString, QByteArray> place() const;
    void bring(State state);
    int exitCodeOf(const Line& line) const;

    std::unique_ptr<VelmioctlRunner> tool;
    std::unique_ptr<RawDatabase> writer;
};

void TestVelmioctlReadOnly::init()
{
    tool = std::make_unique<VelmioctlRunner>();
    tool->makeFolder(u"Work"_s);
    tool->makeFolder(u"Other"_s);
    tool->writeFile(u"Work/notes.txt"_s, "notes");
    const auto run = [this](const QStringList& arguments, const QByteArray& input = {}) {
        const VelmioctlRun done = tool->feed(arguments, input);
        QVERIFY2(done.exitCode == 0, qPrintable(done.errors));
    };
    run({u"init"_s});
    for (const Line& line : Writing) {
        static const QStringList first{u"server add"_s, u"signin add"_s, u"product add"_s};
        if (first.contains(line.command))
            run(argumentsOf(line), line.input);
    }
    run({u"folder"_s, u"add"_s, u"Work"_s, u"--server-path"_s, u"/Team"_s, u"--signin"_s, u"1"_s});
    run({u"scan"_s});
    run({u"export"_s, u"export.json"_s});
    run({u"backup"_s, u"copy.db"_s});
    run({u"backup"_s});
    run({u"secrets"_s, u"rekey"_s});
    // Something for doctor to repair, and for an import to remove.
    QVERIFY(tool->execute(u"INSERT INTO BaseFileConfiguration (folderConfigurationId,"
                          u" productConfigurationId, name, clientPath, serverPath, checkSum,"
                          u" parentFileId) VALUES (1, -1, 'n', '/gone', '/n', '', 99)"_s));
    tool->writeFile(
        u"empty.json"_s,
        "{\"format\": \"velmio-configuration-export\", \"formatVersion\": 1, \"schemaVersion\": 2,"
        " \"secrets\": null, \"tables\": {\"BaseFileConfiguration\": {\"lastId\": 1,"
        " \"rows\": []}}}");
}

void TestVelmioctlReadOnly::cleanup()
{
    if (tool->asNobody)
        QVERIFY(QFile::setPermissions(tool->path({}), QFile::Permissions(0x7700)));
    writer.reset();
    tool.reset();
}

QStringList TestVelmioctlReadOnly::argumentsOf(const Line& line) const
{
    QStringList arguments = line.command.split(u' ');
    for (const QString& argument : line.arguments)
        arguments += argument.startsWith(u'@') ? tool->path(argument.mid(1)) : argument;
    if (line.command == u"diff"_s)
        arguments += tool->databasePath();
    return arguments;
}

// Everything beside the database, with its content.
QMap<QString, QByteArray> TestVelmioctlReadOnly::place() const
{
    QMap<QString, QByteArray> found;
    QDirIterator all(
        tool->path({}), QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot,
        QDirIterator::Subdirectories);
    while (all.hasNext()) {
        QFile file(all.next());
        const bool read = file.open(QIODevice::ReadOnly);
        found.insert(
            file.fileName(),
            read ? QCryptographicHash::hash(file.readAll(), QCryptographicHash::Sha256)
                 : QByteArray());
    }
    return found;
}

void TestVelmioctlReadOnly::bring(State state)
{
    const QString path = tool->databasePath();
    switch (state) {
    case State::Closed:
        break;
    case State::Journal:
        RawDatabase(path).run(u"PRAGMA journal_mode = DELETE"_s);
        break;
    case State::FullDisk:
        tool->environment.insert(u"LD_PRELOAD"_s, QStringLiteral(VELMIO_FULL_DISK_PRELOAD));
        tool->environment.insert(u"VELMIO_DISK_BUDGET"_s, u"0"_s);
        [[fallthrough]];
    case State::LeftByCrash:
        RawDatabase(path).run(u"UPDATE Schedules SET syncInterval = 7"_s);
        QFile::remove(path + u"-shm"_s);
        break;
    case State::NotWritable:
        for (const QString& file : {path, tool->path(u"export.json"_s)})
            QVERIFY(QFile::setPermissions(file, QFile::Permissions(0x4444)));
        QVERIFY(QFile::setPermissions(tool->path({}), QFile::Permissions(0x5555)));
        tool->asNobody = true;
        [[fallthrough]];
    case State::LiveWriter:
        writer = std::make_unique<RawDatabase>(path);
        writer->run(u"UPDATE Schedules SET syncInterval = 7"_s);
        break;
    }
}

int TestVelmioctlReadOnly::exitCodeOf(const Line& line) const
{
    return tool->run(argumentsOf(line)).exitCode;
}

void TestVelmioctlReadOnly::everyCommandIsTried()
{
    QSet<QString> tried;
    for (const auto* const lines : {&Reading, &Writing}) {
        for (const Line& line : *lines)
            tried += line.command;
    }

    QCOMPARE(tried, commandNames());
}

void TestVelmioctlReadOnly::readingLeavesNoTrace_data()
{
    QTest::addColumn<State>("state");
    QTest::newRow("closed") << State::Closed;
    QTest::newRow("with a journal") << State::Journal;
    QTest::newRow("beside a live writer") << State::LiveWriter;
    QTest::newRow("with the WAL of a crash") << State::LeftByCrash;
    QTest::newRow("without the right to write") << State::NotWritable;
    QTest::newRow("on a full disk") << State::FullDisk;
}

void TestVelmioctlReadOnly::readingLeavesNoTrace()
{
    QFETCH(State, state);
    // The same in each state; the first one shows that a closed database stays as it is.
    static std::vector<int> expected;
    if (expected.empty()) {
        const auto untouched = place();
        for (const Line& line : Reading)
            expected.push_back(exitCodeOf(line));
        QCOMPARE(place(), untouched);
    }
    bring(state);
    const auto before = place();

    for (size_t at = 0; at < Reading.size(); ++at) {
        const Line& line = Reading[at];
        const auto run = tool->run(argumentsOf(line));
        int code = expected[at];
        // Only its owner may read the key, and scan what belongs to another account.
        if (tool->asNobody && line.command.startsWith(u"secrets"_s))
            code = 7;
        else if (tool->asNobody && line.command == u"scan"_s)
            code = 8;

        QVERIFY2(place() == before, qPrintable(line.command));
        QVERIFY2(run.exitCode == code, qPrintable(line.command + u": "_s + run.errors));
    }
}

void TestVelmioctlReadOnly::readingShowsWhatTheLiveWriterHasStored()
{
    bring(State::LiveWriter);

    const auto run = tool->json({u"schedule"_s, u"show"_s});
    const auto exported = tool->run({u"export"_s});

    QVERIFY(exported.output.contains(u"\"syncInterval\": 7"));
    QVERIFY(exported.errors.contains(u"A client may have this database open"_s));
    QCOMPARE(run.object()[u"syncInterval"_s].toInt(), 7);
    QVERIFY2(
        run.errors.contains(u"A client may have this database open"_s), qPrintable(run.errors));
}

void TestVelmioctlReadOnly::unfinishedTransactionIsNotRolledBackByAReader()
{
    const QString path = tool->databasePath();
    QByteArray journal;
    {
        RawDatabase crashed(path);
        crashed.run(u"PRAGMA journal_mode = DELETE; PRAGMA cache_size = 1; BEGIN;"
                    u"UPDATE Schedules SET syncInterval = 7; PRAGMA cache_spill = 1"_s);
        // Spilled to the file before the transaction ends.
        crashed.run(u"UPDATE FileConfiguration SET name = hex(zeroblob(100000))"_s);
        QFile file(path + u"-journal"_s);
        QVERIFY(file.open(QIODevice::ReadOnly));
        journal = file.readAll();
    }
    tool->writeFile(u"configuration.db-journal"_s, journal);
    const auto before = place();

    const auto read = tool->run({u"schedule"_s, u"show"_s});
    const auto after = place();
    const auto rolledBack = tool->run({u"init"_s});
    const auto readThen = tool->run({u"schedule"_s, u"show"_s});

    QCOMPARE(read.exitCode, 8);
    QVERIFY2(read.errors.contains(u"'velmioctl init'"_s), qPrintable(read.errors));
    QCOMPARE(after, before);
    QCOMPARE(rolledBack.exitCode, 0);
    QCOMPARE(readThen.exitCode, 0);
}

void TestVelmioctlReadOnly::changesAreRefusedOnRequest()
{
    const auto before = place();

    for (const Line& line : Writing) {
        const auto run = tool->feed(QStringList{u"--read-only"_s} + argumentsOf(line), line.input);

        QVERIFY2(run.exitCode == 2, qPrintable(line.command + run.errors));
        QVERIFY2(run.errors.contains(u"--read-only"_s), qPrintable(line.command + run.errors));
        QVERIFY2(place() == before, qPrintable(line.command));
    }
    QCOMPARE(tool->run({u"--read-only"_s, u"backup"_s, u"free.db"_s}).exitCode, 0);
}

QTEST_GUILESS_MAIN(TestVelmioctlReadOnly)
#include "TestVelmioctlReadOnly.moc"
