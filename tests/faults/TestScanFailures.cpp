#include "support/Trials.h"

#include <velmioctl/cli/ExitCode.h>
#include <velmioctl/cli/Progress.h>
#include <velmioctl/store/Session.h>
#include <velmioctl/store/WatchedDatabase.h>
#include <velmioctl/tree/Scan.h>

#include <config/FolderConfigManager.h>
#include <interf/IQSqlQueryWrapper.h>

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

#include <dlfcn.h>
#include <sqlite3.h>

#include <memory>

using namespace Qt::StringLiterals;

namespace {

// Counts down to the sqlite3_step() that fails; 0 when no step fails.
int stepsToFailure = 0;

// Leaves out the statements that sqlite3_exec() runs, because it does not check what a step
// returns.
bool isQuery(sqlite3_stmt* statement)
{
    const QByteArrayView sql(sqlite3_sql(statement));
    return sql.startsWith("SELECT") || sql.startsWith("INSERT") || sql.startsWith("UPDATE") ||
           sql.startsWith("DELETE");
}

} // namespace

// Replaces the function of the SQLite library, because symbols are looked up in the program first.
extern "C" Q_DECL_EXPORT int sqlite3_step(sqlite3_stmt* statement)
{
    using Step = int (*)(sqlite3_stmt*);
    static const auto step = reinterpret_cast<Step>(::dlsym(RTLD_NEXT, "sqlite3_step"));
    if (stepsToFailure > 0 && isQuery(statement) && --stepsToFailure == 0)
        return SQLITE_IOERR;
    return step(statement);
}

namespace velmioctl {

namespace {

void makeFile(const QString& path)
{
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write("content");
}

/// A scanned root folder with two folders and four files. One folder and its two files have since
/// been deleted from the disk.
class ScannedTree
{
public:
    ScannedTree()
    {
        for (const QString& name : {u"kept"_s, u"gone"_s}) {
            QDir(rootPath()).mkpath(name);
            makeFile(rootPath() + u'/' + name + u"/one"_s);
            makeFile(rootPath() + u'/' + name + u"/two"_s);
        }
        const auto session = newSession();
        session->createDatabase();
        sync::config::FolderConfiguration root;
        root.setParentId(0);
        root.setClientPath(rootPath());
        root.setServerPath(u"/server"_s);
        root.setFolderOption(sync::config::WithSubfolders);
        session->folders().Add(root);
        scan(*session);
        QDir(rootPath() + u"/gone"_s).removeRecursively();
    }

    /// What `velmioctl scan --prune` does. Throws CommandError.
    void prune()
    {
        const auto session = newSession();
        scan(*session);
    }

    /// The paths of all folder and file records, relative to the root.
    QStringList registered() const
    {
        const auto session = newSession();
        const auto query =
            session->database().select(u"SELECT clientPath FROM FolderConfiguration UNION "
                                       u"SELECT clientPath FROM FileConfiguration ORDER BY 1"_s);
        QStringList paths;
        while (query->next())
            paths.append(query->value(0).toString().mid(rootPath().size()));
        return paths;
    }

private:
    QString rootPath() const { return directory.filePath(u"root"_s); }
    QString databasePath() const { return directory.filePath(u"configuration.db"_s); }

    std::unique_ptr<Session> newSession() const
    {
        auto session = std::make_unique<Session>(Output(stdout, stderr, {}, {}));
        session->databaseOption = databasePath().toStdString();
        return session;
    }

    static void scan(Session& session)
    {
        session.writableDatabase();
        Progress progress(stderr, {});
        Scan::Options options;
        options.prune = true;
        const auto stop = [] { return false; };
        Scan scan(session, progress, options, stop);
        const Subtree tree = session.subtrees({}).at(0);
        scan.run(tree.root, tree.start);
        std::vector<MissingRecords> plan{scan.takeMissing()};
        Prune(session, plan).run(stop);
    }

    QTemporaryDir directory{sync::test::scratchTemplate()};
};

// Makes one step of a scan fail and returns what is wrong afterwards, or an empty text. Sets
// `reached` to false if the scan has fewer steps.
QString findingOf(int failing, bool& reached)
{
    const QStringList kept{{}, u"/kept"_s, u"/kept/one"_s, u"/kept/two"_s};
    ScannedTree tree;
    stepsToFailure = failing;
    bool failed = false;
    try {
        tree.prune();
    } catch (const CommandError&) {
        failed = true;
    }
    reached = stepsToFailure == 0;
    stepsToFailure = 0;

    const QStringList after = tree.registered();
    for (const QString& path : kept) {
        if (!after.contains(path))
            return u"the record of \"%1\" is missing"_s.arg(path);
    }
    if (!failed && after != kept)
        return u"the scan reports success and leaves %1"_s.arg(after.join(u' '));
    tree.prune();
    if (tree.registered() != kept)
        return u"the next scan leaves %1"_s.arg(tree.registered().join(u' '));
    return {};
}

} // namespace

/// Makes each step of each query fail once during `velmioctl scan --prune`, which removes records
/// depending on what it reads: it never removes the record of a file or folder that exists.
class TestScanFailures : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void failedStepPrunesNoExistingEntry()
    {
        int failing = 1;
        for (bool reached = true; reached; ++failing) {
            const QString finding = findingOf(failing, reached);
            QVERIFY2(finding.isEmpty(), qPrintable(u"step %1: %2"_s.arg(failing).arg(finding)));
        }
        QVERIFY(failing > 20);
    }
};

} // namespace velmioctl

QTEST_GUILESS_MAIN(velmioctl::TestScanFailures)
#include "TestScanFailures.moc"
