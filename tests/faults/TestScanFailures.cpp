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

// Counts down to the step of a statement that fails; at 0 none does.
int stepsToFailure = 0;

// Not those that sqlite3_exec() runs: it does not look at what a step has returned.
bool isOfAQuery(sqlite3_stmt* statement)
{
    const QByteArrayView sql(sqlite3_sql(statement));
    return sql.startsWith("SELECT") || sql.startsWith("INSERT") || sql.startsWith("UPDATE") ||
           sql.startsWith("DELETE");
}

} // namespace

// Found before the SQLite library's own, as the program comes first in the search for symbols.
extern "C" Q_DECL_EXPORT int sqlite3_step(sqlite3_stmt* statement)
{
    using Step = int (*)(sqlite3_stmt*);
    static const auto step = reinterpret_cast<Step>(::dlsym(RTLD_NEXT, "sqlite3_step"));
    if (stepsToFailure > 0 && isOfAQuery(statement) && --stepsToFailure == 0)
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

/// A root folder with two folders and four files that were scanned, one folder and two files of
/// which are gone from the disk since then.
class Place
{
public:
    Place()
    {
        for (const QString& name : {u"kept"_s, u"gone"_s}) {
            QDir(rootPath()).mkpath(name);
            makeFile(rootPath() + u'/' + name + u"/one"_s);
            makeFile(rootPath() + u'/' + name + u"/two"_s);
        }
        Session session(Output(stdout, stderr, {}, {}));
        session.databaseOption = databasePath().toStdString();
        session.createDatabase();
        sync::config::FolderConfiguration root;
        root.setParentId(0);
        root.setClientPath(rootPath());
        root.setServerPath(u"/server"_s);
        root.setFolderOption(sync::config::WithSubfolders);
        session.folders().Add(root);
        scan(session);
        QDir(rootPath() + u"/gone"_s).removeRecursively();
    }

    /// What `velmioctl scan --prune` does. Throws CommandError.
    void prune()
    {
        Session session(Output(stdout, stderr, {}, {}));
        session.databaseOption = databasePath().toStdString();
        scan(session);
    }

    /// The paths of the folders and files that are registered.
    QStringList registered() const
    {
        Session session(Output(stdout, stderr, {}, {}));
        session.databaseOption = databasePath().toStdString();
        const auto query =
            session.database().select(u"SELECT clientPath FROM FolderConfiguration UNION "
                                      u"SELECT clientPath FROM FileConfiguration ORDER BY 1"_s);
        QStringList paths;
        while (query->next())
            paths.append(query->value(0).toString().mid(rootPath().size()));
        return paths;
    }

private:
    QString rootPath() const { return directory.filePath(u"root"_s); }
    QString databasePath() const { return directory.filePath(u"configuration.db"_s); }

    static void scan(Session& session)
    {
        Progress progress(stderr, {});
        Scan::Options options;
        options.prune = true;
        Scan(session, progress, options, [] {
            return false;
        }).run(session.rootFolders({}).value(0));
    }

    QTemporaryDir directory{sync::test::scratchTemplate()};
};

// Empty, or what is wrong with a scan whose statement of that number fails.
QString findingOf(int failing, bool& reached)
{
    const QStringList kept{{}, u"/kept"_s, u"/kept/one"_s, u"/kept/two"_s};
    Place place;
    stepsToFailure = failing;
    bool failed = false;
    try {
        place.prune();
    } catch (const CommandError&) {
        failed = true;
    }
    reached = stepsToFailure == 0;
    stepsToFailure = 0;

    const QStringList after = place.registered();
    for (const QString& path : kept) {
        if (!after.contains(path))
            return u"the record of \"%1\" is gone"_s.arg(path);
    }
    if (!failed && after != kept)
        return u"it says that all is done, and left %1"_s.arg(after.join(u' '));
    place.prune();
    if (place.registered() != kept)
        return u"the next scan left %1"_s.arg(place.registered().join(u' '));
    return {};
}

} // namespace

/// Each step of each query fails once during `velmioctl scan --prune`, whose removals follow
/// from what it reads: no record of a file or folder that is still there is removed.
class TestScanFailures : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void scanPrunesNothingBecauseOfAFailedRead()
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
