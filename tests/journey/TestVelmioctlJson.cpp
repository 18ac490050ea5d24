// With --json, every command answers as docs/velmioctl.schema.json says, without additional keys.

#include "CommandNames.h"
#include "JsonSchema.h"
#include "StoredRows.h"
#include "VelmioctlRunner.h"

#include <support/RawDatabase.h>

#include <QFile>
#include <QJsonDocument>
#include <QProcess>
#include <QSet>
#include <QTest>

using namespace Qt::StringLiterals;
using sync::test::RawDatabase;

namespace {

const QString FileLinks =
    u"<FileLinks FileDate=\"2024-03-01T08:00:00\">\n <FileLink FileId=\"29\" RefId=\"r\""
    " ServerFileId=\"s\" Path=\"p\"/>\n</FileLinks>\n"_s;

const QStringList ServerUrls{
    u"--dav-url"_s, u"https://d.example.com"_s, u"--web-service-url"_s, u"https://w.example.com"_s};

QJsonValue valueOf(const VelmioctlRun& run)
{
    const QJsonDocument document = QJsonDocument::fromJson(run.output.toUtf8());
    if (document.isArray())
        return document.array();
    return document.isObject() ? QJsonValue(document.object()) : QJsonValue(QJsonValue::Undefined);
}

} // namespace

class TestVelmioctlJson : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        tool = std::make_unique<VelmioctlRunner>();
        tool->makeFolder(u"Work/Plans"_s);
        tool->makeFolder(u"Elsewhere"_s);
        tool->writeFile(u"Work/Plans/plan.txt"_s, "plan");
        tool->writeFile(u"Work/notes.txt"_s, "notes");
        QVERIFY(!schema.root().isEmpty());
    }

    void cleanupTestCase() { tool.reset(); }

    void answerFollowsTheSchema_data()
    {
        QTest::addColumn<QString>("command");
        QTest::addColumn<QStringList>("arguments");
        QTest::addColumn<QByteArray>("input");
        addRecordSteps();
        addTreeSteps();
        addStoreSteps();
    }

    void answerFollowsTheSchema()
    {
        QFETCH(QString, command);
        QFETCH(QStringList, arguments);
        QFETCH(QByteArray, input);
        // "@" stands for the temporary folder.
        for (QString& argument : arguments) {
            if (argument.startsWith(u'@'))
                argument = path(argument.mid(1));
        }
        if (command == u"file links"_s) {
            QVERIFY(tool->execute(
                u"UPDATE FileConfiguration SET fileLinks = '%1' WHERE id = 1"_s.arg(FileLinks)));
        }

        const auto run = tool->feedJson(command.split(u' ') + arguments, input);

        check(command, run);
    }

    void watchFollowsTheSchema()
    {
        QProcess watch;
        watch.setProcessEnvironment(tool->environment);
        watch.start(
            tool->programPath(),
            {u"--json"_s, u"--database"_s, tool->databasePath(), u"watch"_s, u"--count"_s, u"1"_s});
        watch.setReadChannel(QProcess::StandardError);
        QVERIFY(watch.waitForReadyRead());
        QVERIFY(tool->execute(u"UPDATE ServerConfiguration SET alias = 'watched'"_s));
        QVERIFY(watch.waitForFinished());

        check(
            u"watch"_s,
            {watch.exitCode(), QString::fromUtf8(watch.readAllStandardOutput()), QString()});
    }

    void recoveryFollowsTheSchema()
    {
        QVERIFY(damageTable(tool->databasePath(), u"ProductConfiguration"_s));

        const auto salvaged = tool->json({u"recover"_s, u"--salvage"_s, u"--yes"_s});
        check(u"recover"_s, salvaged);

        QVERIFY(QFile::remove(tool->databasePath()));
        const auto restored = tool->json({u"recover"_s, u"--from-backup"_s, u"--yes"_s});
        check(u"recover"_s, restored);
    }

    void errorFollowsTheSchema_data()
    {
        QTest::addColumn<QStringList>("arguments");
        QTest::addColumn<int>("code");
        QTest::addColumn<QString>("cause");
        QTest::addColumn<QString>("remedy");
        const auto add = [](const char* name, const QStringList& arguments, int code,
                            const QString& cause, const QString& remedy) {
            QTest::newRow(name) << arguments << code << cause << remedy;
        };
        add("option", {u"stats"_s, u"--frob"_s}, 2, u"usage"_s, u"See 'velmioctl stats --help'."_s);
        add("record", {u"server"_s, u"show"_s, u"99"_s}, 3, u"not-found"_s,
            u"Run 'velmioctl server list' to see all servers."_s);
        add("directory", {u"stats"_s, u"--database"_s, u"."_s}, 5, u"directory"_s,
            u"Name a database file in it"_s);
        add("text file", {u"stats"_s, u"--database"_s, u"text"_s}, 5, u"not-a-database"_s,
            u"Name the right file"_s);
        add("another program's database", {u"init"_s, u"--database"_s, u"other.db"_s}, 5,
            u"foreign-database"_s, u"It was not changed. Name the right file."_s);
        add("place", {u"export"_s, u"missing/file"_s}, 8, u"input-output"_s,
            u"Give another path."_s);
    }

    void errorFollowsTheSchema()
    {
        QFETCH(QStringList, arguments);
        QFETCH(int, code);
        QFETCH(QString, cause);
        QFETCH(QString, remedy);
        tool->writeFile(u"text"_s, QByteArray(600, 't'));
        RawDatabase(tool->path(u"other.db"_s)).run(u"CREATE TABLE IF NOT EXISTS a (b)"_s);
        const bool hasDatabase = arguments.contains(u"--database"_s);

        const auto run = hasDatabase ? tool->runPlain(arguments + QStringList{u"--json"_s})
                                     : tool->json(arguments);

        tried += u"error"_s;
        const QJsonObject error = QJsonDocument::fromJson(run.errors.toUtf8()).object();
        QCOMPARE(run.exitCode, code);
        QCOMPARE(schema.violations(u"error"_s, error), QStringList());
        QCOMPARE(error[u"code"_s].toInt(), code);
        QCOMPARE(error[u"cause"_s].toString(), cause);
        QVERIFY2(error[u"remedy"_s].toString().startsWith(remedy), qPrintable(run.errors));
        QCOMPARE(run.errors.count(u'\n'), 1);
    }

    void versionNamesTheSchema()
    {
        const auto run = tool->runPlain({u"--version"_s, u"--json"_s});

        check(u"--version"_s, run);
        QCOMPARE(run.object()[u"jsonSchema"_s], schema.root()[u"version"_s]);
    }

    void everyCommandWasTried()
    {
        const QStringList described = schema.root()[u"properties"_s].toObject().keys();
        const QSet<QString> commands = commandNames() + QSet<QString>{u"--version"_s, u"error"_s};

        QCOMPARE(tried, commands);
        QCOMPARE(
            QSet<QString>(described.begin(), described.end()),
            commands + commandNames(CommandsFor::Fleet));
    }

private:
    // Each runs on the result of the steps before.
    static void addStep(
        const QString& command, const QStringList& arguments = {}, const QByteArray& input = {})
    {
        QTest::addRow("%s %s", qPrintable(command), qPrintable(arguments.join(u' ')))
            << command << arguments << input;
    }

    static void addRecordSteps()
    {
        const QStringList user{u"--server"_s,         u"1"_s,          u"--domain"_s,
                               u"example.com"_s,      u"--user"_s,     u"kim"_s,
                               u"--password-stdin"_s, u"--property"_s, u"Region=n"_s};
        const QStringList product{u"--server"_s,       u"1"_s, u"--name"_s,        u"Desktop"_s,
                                  u"--consumer-key"_s, u"k"_s, u"--secret-stdin"_s};
        addStep(u"help"_s, {u"init"_s});
        addStep(u"init"_s);
        addStep(u"server add"_s, ServerUrls + QStringList{u"--property"_s, u"Region=north"_s});
        addStep(u"server add"_s, ServerUrls);
        addStep(u"server list"_s);
        addStep(u"server show"_s, {u"1"_s});
        addStep(u"server set"_s, {u"1"_s, u"--alias"_s, u"team"_s});
        addStep(u"server default"_s);
        addStep(u"server remove"_s, {u"2"_s, u"--yes"_s});
        addStep(u"signin add"_s, user, "secret");
        QStringList other = user;
        other.replace(other.indexOf(u"kim"_s), u"ana"_s);
        addStep(u"signin add"_s, other, "secret");
        addStep(u"signin list"_s);
        addStep(u"signin show"_s, {u"1"_s, u"--reveal"_s});
        addStep(u"signin set"_s, {u"1"_s, u"--domain-id"_s, u"7"_s});
        addStep(u"signin password"_s, {u"1"_s, u"--password-stdin"_s}, "new");
        addStep(u"signin remove"_s, {u"2"_s, u"--yes"_s});
        addStep(u"product add"_s, product, "secret");
        addStep(u"product add"_s, product, "secret");
        addStep(u"product list"_s);
        addStep(u"product show"_s, {u"1"_s, u"--reveal"_s});
        addStep(u"product set"_s, {u"1"_s, u"--name"_s, u"Client"_s});
        addStep(u"product remove"_s, {u"2"_s, u"--yes"_s});
    }

    static void addTreeSteps()
    {
        addStep(
            u"folder add"_s, {u"@Work"_s, u"--server-path"_s, u"/Work"_s, u"--signin"_s, u"1"_s,
                              u"--product"_s, u"1"_s});
        addStep(u"status"_s);
        addStep(u"scan"_s);
        addStep(u"scan"_s, {u"--prune"_s, u"--yes"_s});
        addStep(u"folder list"_s, {u"--all"_s});
        addStep(u"folder tree"_s);
        addStep(u"folder show"_s, {u"@Work"_s});
        addStep(u"folder set"_s, {u"@Work/Plans"_s, u"--status"_s, u"syncing"_s});
        addStep(u"folder check"_s, {u"@Work/Plans"_s});
        addStep(u"folder check"_s, {u"@elsewhere"_s});
        addStep(u"folder check-server"_s, {u"/Work"_s, u"--signin"_s, u"1"_s});
        addStep(u"explain"_s, {u"@Work/notes.txt"_s});
        addStep(u"explain"_s, {u"@elsewhere"_s});
        addStep(u"file add"_s, {u"@Work/new.txt"_s, u"--missing-ok"_s});
        addStep(
            u"file add"_s,
            {u"@preview"_s, u"--type"_s, u"generated"_s, u"--parent"_s, u"1"_s, u"--missing-ok"_s});
        addStep(
            u"file add"_s,
            {u"@base"_s, u"--type"_s, u"base"_s, u"--parent"_s, u"1"_s, u"--missing-ok"_s});
        addStep(u"file list"_s);
        addStep(u"file show"_s, {u"1"_s});
        addStep(u"file set"_s, {u"1"_s, u"--owner"_s, u"me"_s, u"--property"_s, u"Colour=red"_s});
        addStep(u"file links"_s, {u"1"_s});
        addStep(u"file generated"_s, {u"1"_s});
        addStep(u"file base"_s, {u"1"_s});
        addStep(u"file remove"_s, {u"1"_s, u"--yes"_s});
        addStep(u"folder remove"_s, {u"@Work/Plans"_s, u"--yes"_s});
        addStep(u"stats"_s);
        addStep(u"doctor"_s);
        addStep(u"doctor"_s, {u"--fix"_s, u"--yes"_s});
        addStep(u"folder relocate"_s, {u"@Work"_s, u"@Elsewhere"_s, u"--force"_s, u"--yes"_s});
        addStep(u"folder clean"_s, {u"1"_s, u"--yes"_s});
    }

    static void addStoreSteps()
    {
        addStep(u"schedule show"_s);
        addStep(u"schedule list"_s);
        addStep(u"schedule set"_s, {u"1"_s, u"--start"_s, u"2026-12-01T08:30"_s});
        addStep(u"schedule remove"_s, {u"1"_s, u"--yes"_s});
        addStep(u"schedule add"_s, {u"--interval"_s, u"60"_s});
        addStep(u"query"_s, {u"SELECT * FROM v1_folders"_s});
        addStep(u"secrets verify"_s);
        addStep(u"secrets rekey"_s);
        addStep(u"secrets prune"_s);
        addStep(u"secrets where"_s);
        addStep(u"adopt"_s, {u"--yes"_s});
        addStep(u"backup"_s, {u"@copy.db"_s});
        addStep(u"backup"_s);
        addStep(u"backup"_s, {u"--list"_s});
        addStep(u"backup"_s, {u"--list"_s, u"--verify"_s});
        addStep(u"restore"_s, {u"@copy.db"_s, u"--yes"_s});
        addStep(u"export"_s, {u"@rows.json"_s});
        addStep(u"server add"_s, ServerUrls);
        addStep(u"diff"_s, {u"@copy.db"_s, u"@configuration.db"_s});
        addStep(u"server set"_s, {u"1"_s, u"--alias"_s, u"changed"_s});
        addStep(u"diff"_s, {u"@rows.json"_s, u"@configuration.db"_s});
        addStep(u"import"_s, {u"@rows.json"_s, u"--replace"_s, u"--yes"_s});
        addStep(u"bundle"_s, {u"@bundle.tar.gz"_s});
    }

    void check(const QString& command, const VelmioctlRun& run)
    {
        tried += command;
        QVERIFY2(run.exitCode == 0 || run.exitCode == 1, qPrintable(run.errors));
        const QStringList violations = schema.violations(command, valueOf(run));
        QVERIFY2(violations.isEmpty(), qPrintable(violations.join(u'\n')));
    }

    QString path(const QString& name) const { return tool->path(name); }

    std::unique_ptr<VelmioctlRunner> tool;
    const JsonSchema schema{QStringLiteral(VELMIO_SOURCE_DIRECTORY "/docs/velmioctl.schema.json")};
    QSet<QString> tried;
};

QTEST_GUILESS_MAIN(TestVelmioctlJson)
#include "TestVelmioctlJson.moc"
