// A canary stands in every column of every table and in each XML value. What a command writes is
// searched for them.

#include "CommandNames.h"
#include "Disguises.h"
#include "VelmioctlRunner.h"

#include <support/RawDatabase.h>
#include <support/Repetitions.h>
#include <velmioctl/store/Columns.h>

#include <QFile>
#include <QProcess>
#include <QTest>

using namespace Qt::StringLiterals;
using sync::test::RawDatabase;
using sync::test::testStride;

namespace {

// Of a password or a product secret, of a URL, and of a further property.
const QString SecretCanary = u"CnryPassword"_s;
const QString UrlCanary = u"CnryCredential"_s;
const QString PropertyCanary = u"CnryProperty"_s;

// What a command may show. A secret is shown by none of them.
enum class Shows {
    Nothing, ///< A report, which people give to others.
    Names,   ///< Names and paths as they are stored.
    Records, ///< Properties as well.
};

const QString Url = u"https://%1:%1@host.example/x?token=%1#%1"_s.arg(UrlCanary);

const QString Properties =
    u"<NameValueXml><!--%1--><A><![CDATA[%1]]></A><B>%1</B><C d=\"%1\"><E>%1</E></C></NameValueXml>"_s
        .arg(PropertyCanary);

const QString Links =
    u"<FileLinks FileDate=\"2024-03-01T08:00:00\"><FileLink FileId=\"%1\" RefId=\"%1\""
    " ServerFileId=\"%1\" Path=\"%1\"/></FileLinks>"_s.arg(Url);

QString planted(const QString& column)
{
    if (column == u"nameValueProperties"_s)
        return Properties;
    if (column == u"fileLinks"_s)
        return Links;
    if (column == u"consumerSecret"_s || column == u"encryptedPassword"_s)
        return SecretCanary;
    return Url;
}

} // namespace

Q_DECLARE_METATYPE(Shows)

class TestVelmioctlCanaries : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        tool = std::make_unique<VelmioctlRunner>();
        tool->makeFolder(u"Work/Plans"_s);
        tool->makeFolder(u"Other"_s);
        tool->writeFile(u"Work/Plans/plan.txt"_s, "plan");
        run({u"init"_s});
        run(
            {u"server"_s, u"add"_s, u"--dav-url"_s, u"https://d.example"_s, u"--web-service-url"_s,
             u"https://w.example"_s, u"--property"_s, u"Key="_s + PropertyCanary});
        feed(
            {u"signin"_s, u"add"_s, u"--server"_s, u"1"_s, u"--domain"_s, u"d"_s, u"--user"_s,
             u"kim"_s, u"--password-stdin"_s},
            SecretCanary.toUtf8());
        feed(
            {u"product"_s, u"add"_s, u"--server"_s, u"1"_s, u"--name"_s, u"p"_s,
             u"--consumer-key"_s, u"k"_s, u"--secret-stdin"_s},
            SecretCanary.toUtf8());
        run(
            {u"folder"_s, u"add"_s, u"Work"_s, u"--server-path"_s, u"/Work"_s, u"--signin"_s,
             u"1"_s});
        run({u"scan"_s});
        run({u"backup"_s, u"before.db"_s});
        plant();
        run({u"backup"_s, u"after.db"_s});
        feed(
            {u"export"_s, u"sealed.json"_s, u"--with-secrets"_s, u"--passphrase-stdin"_s},
            "a long phrase");
        run({u"export"_s, u"plain.json"_s});
        tool->writeFile(u"broken.json"_s, "{\"" + Url.toUtf8() + "\": \"" + Url.toUtf8() + "\"}");
        tool->writeFile(u"noise.db"_s, QByteArray(4096, 'n'));
    }

    void cleanupTestCase() { tool.reset(); }

    void init()
    {
        for (const QString& end : {u""_s, u"-wal"_s, u"-shm"_s})
            QFile::remove(tool->databasePath() + end);
        QVERIFY(QFile::copy(tool->path(u"after.db"_s), tool->databasePath()));
    }

    void commandShowsNoCanary_data()
    {
        QTest::addColumn<QString>("command");
        QTest::addColumn<QStringList>("arguments");
        QTest::addColumn<Shows>("shows");
        addReports();
        addRecords();
    }

    void commandShowsNoCanary()
    {
        QFETCH(const QString, command);
        QFETCH(const QStringList, arguments);
        QFETCH(const Shows, shows);
        tried += command;
        const QStringList words = command.split(u' ') + arguments;
        QStringList canaries{SecretCanary};
        if (shows != Shows::Records)
            canaries += PropertyCanary;
        if (shows == Shows::Nothing)
            canaries += UrlCanary;

        QByteArray all;
        const QList<QStringList> extras{
            {},
            {u"--json"_s},
            {u"--verbose"_s},
            {u"--frob"_s},
            {u"--database"_s, u"noise.db"_s},
            {u"--read-only"_s, u"--json"_s}};
        // With a stride another one in each row.
        for (qsizetype at = row++ % std::min<qsizetype>(testStride(), extras.size());
             at < extras.size(); at += testStride())
            all += written(words + extras[at]);

        for (const QString& canary : std::as_const(canaries)) {
            for (const QByteArray& disguise : disguises(canary.toUtf8()))
                QVERIFY2(!all.contains(disguise), shownAround(all, disguise).constData());
        }
    }

    void everyCommandWasTried() { QCOMPARE(tried, commandNames()); }

    void searchFindsACanary()
    {
        QVERIFY(written({u"server"_s, u"list"_s}).contains(UrlCanary.toUtf8()));
        QVERIFY(written({u"server"_s, u"show"_s, u"1"_s}).contains(PropertyCanary.toUtf8()));
        QVERIFY(written({u"signin"_s, u"show"_s, u"1"_s, u"--reveal"_s})
                    .contains(SecretCanary.toUtf8()));
    }

private:
    static void add(const QString& command, const QStringList& arguments, Shows shows)
    {
        QTest::addRow("%s %s", qPrintable(command), qPrintable(arguments.join(u' ')))
            << command << arguments << shows;
    }

    static void addReports()
    {
        const auto report = [](const QString& command, const QStringList& arguments = {}) {
            add(command, arguments, Shows::Nothing);
        };
        report(u"help"_s, {u"export"_s});
        report(u"init"_s);
        report(u"export"_s);
        report(u"export"_s, {u"out.json"_s});
        report(u"import"_s, {u"plain.json"_s, u"--dry-run"_s});
        report(u"import"_s, {u"plain.json"_s, u"--replace"_s, u"--yes"_s});
        report(u"import"_s, {u"sealed.json"_s, u"--without-secrets"_s, u"--yes"_s});
        report(u"import"_s, {u"broken.json"_s, u"--yes"_s});
        report(u"diff"_s, {u"before.db"_s, u"after.db"_s});
        report(u"diff"_s, {u"after.db"_s, u"before.db"_s});
        report(u"diff"_s, {u"plain.json"_s, u"before.db"_s});
        report(u"diff"_s, {u"sealed.json"_s, u"broken.json"_s});
        report(u"bundle"_s, {u"out.tar.gz"_s});
        report(u"bundle"_s, {u"out.tar.gz"_s, u"--keep-paths"_s});
        report(u"doctor"_s);
        report(u"doctor"_s, {u"--fix"_s, u"--yes"_s});
        report(u"backup"_s);
        report(u"backup"_s, {u"--list"_s});
        report(u"restore"_s, {u"before.db"_s, u"--yes"_s});
        report(u"recover"_s, {u"--salvage"_s, u"--yes"_s});
        report(u"adopt"_s, {u"--yes"_s});
        report(u"secrets prune"_s, {u"--yes"_s});
        report(u"secrets rekey"_s);
        report(u"secrets prune"_s, {u"--no-rest"_s, u"--rewrite-backups"_s, u"--yes"_s});
        report(u"secrets where"_s);
        report(
            u"server add"_s, {u"--dav-url"_s, Url, u"--web-service-url"_s, u"https://w.example"_s});
        report(u"server set"_s, {u"1"_s, u"--dav-url"_s, u"kim:"_s + UrlCanary + u"@host"_s});
    }

    static void addRecords()
    {
        const auto names = [](const QString& command, const QStringList& arguments = {}) {
            add(command, arguments, Shows::Names);
        };
        const auto records = [](const QString& command, const QStringList& arguments = {}) {
            add(command, arguments, Shows::Records);
        };
        names(u"stats"_s);
        names(u"stats"_s, {u"--prometheus"_s});
        names(u"secrets verify"_s);
        names(u"status"_s);
        names(u"scan"_s, {u"--prune"_s, u"--yes"_s});
        names(u"explain"_s, {u"Work/Plans/plan.txt"_s});
        names(u"query"_s, {u"SELECT * FROM v1_signins, v1_servers, v1_roots, v1_schedules"_s});
        names(u"query"_s, {u"SELECT * FROM v1_folders, v1_files"_s});
        names(u"server remove"_s, {u"71"_s, u"--yes"_s});
        names(u"signin password"_s, {u"71"_s});
        names(u"signin remove"_s, {u"71"_s, u"--yes"_s});
        names(u"product remove"_s, {u"71"_s, u"--yes"_s});
        names(u"folder add"_s, {u"Work"_s, u"--server-path"_s, u"/Work"_s});
        names(u"folder tree"_s);
        names(u"folder relocate"_s, {u"1"_s, u"Other"_s, u"--force"_s, u"--yes"_s});
        names(u"folder check"_s, {u"Work"_s});
        names(u"folder check-server"_s, {u"/Work"_s, u"--signin"_s, u"1"_s});
        names(u"folder clean"_s, {u"1"_s, u"--yes"_s});
        names(u"folder remove"_s, {u"71"_s, u"--yes"_s});
        names(u"file links"_s, {u"71"_s});
        names(u"file remove"_s, {u"71"_s, u"--yes"_s});
        names(u"schedule show"_s);
        names(u"schedule list"_s);
        names(u"schedule add"_s);
        names(u"schedule set"_s, {u"71"_s, u"--interval"_s, u"5"_s});
        names(u"schedule remove"_s, {u"71"_s, u"--yes"_s});
        records(u"server default"_s);
        records(u"server list"_s);
        records(u"server show"_s, {u"71"_s});
        records(u"signin list"_s);
        records(u"signin add"_s);
        records(u"signin show"_s, {u"71"_s});
        records(u"signin set"_s, {u"71"_s, u"--domain-id"_s, u"7"_s});
        records(u"product list"_s);
        records(u"product add"_s);
        records(u"product show"_s, {u"71"_s});
        records(u"product set"_s, {u"71"_s, u"--name"_s, u"x"_s});
        records(u"folder list"_s, {u"--all"_s});
        records(u"folder show"_s, {u"71"_s});
        records(u"folder set"_s, {u"71"_s, u"--status"_s, u"syncing"_s});
        records(u"file list"_s);
        records(u"file add"_s, {u"Work/new.txt"_s, u"--missing-ok"_s});
        records(u"file show"_s, {u"71"_s});
        records(u"file set"_s, {u"71"_s, u"--owner"_s, u"me"_s});
        records(u"file generated"_s, {u"71"_s});
        records(u"file base"_s, {u"71"_s});
        records(u"watch"_s, {u"--count"_s, u"0"_s});
    }

    void run(const QStringList& arguments) const { feed(arguments, {}); }
    void feed(const QStringList& arguments, const QByteArray& input) const
    {
        const auto done = tool->feed(arguments, input);
        // A password that is not of this program is only warned of.
        QVERIFY2(done.exitCode <= 1, qPrintable(done.errors));
    }

    // The output, the messages and the files of a run.
    QByteArray written(const QStringList& arguments) const
    {
        for (const QString& file : {u"out.json"_s, u"out.tar.gz"_s})
            QFile::remove(tool->path(file));
        const auto done = tool->feed(arguments, "a long phrase\n");
        QByteArray all = done.output.toUtf8() + done.errors.toUtf8();
        if (QFile file(tool->path(u"out.json"_s)); file.open(QIODevice::ReadOnly))
            all += file.readAll();
        QProcess tar;
        tar.start(u"tar"_s, {u"-xzOf"_s, tool->path(u"out.tar.gz"_s)});
        tar.waitForFinished();
        return all + tar.readAllStandardOutput();
    }

    static QByteArray shownAround(const QByteArray& all, const QByteArray& found)
    {
        constexpr qsizetype Around = 200;
        return all.mid(std::max<qsizetype>(0, all.indexOf(found) - Around), 2 * Around);
    }

    void plant() const
    {
        RawDatabase database(tool->databasePath());
        for (const velmioctl::TableShape& shape : velmioctl::tableShapes()) {
            const QString table = QString::fromLatin1(shape.name);
            QStringList values{u"71"_s};
            QStringList sets;
            const QStringList columns =
                database.run(u"SELECT name FROM pragma_table_info('%1')"_s.arg(table));
            for (const QString& column : columns.mid(1)) {
                values += u"'%1'"_s.arg(planted(column));
                sets += u"%1 = %2"_s.arg(column, values.last());
            }
            database.run(u"INSERT INTO %1 VALUES (%2)"_s.arg(table, values.join(u", "_s)));
            // A trigger changes columns of a row that is added.
            database.run(u"UPDATE %1 SET %2 WHERE id = 71"_s.arg(table, sets.join(u", "_s)));
        }
    }

    std::unique_ptr<VelmioctlRunner> tool;
    QSet<QString> tried;
    qsizetype row = 0;
};

QTEST_GUILESS_MAIN(TestVelmioctlCanaries)
#include "TestVelmioctlCanaries.moc"
