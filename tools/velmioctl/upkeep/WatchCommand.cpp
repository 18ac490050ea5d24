#include <velmioctl/upkeep/Commands.h>

#include <base/FileError.h>
#include <database/SqliteDatabaseFactory.h>
#include <interf/IQSqlDatabaseWrapper.h>
#include <interf/IQSqlQueryWrapper.h>
#include <tree/FileState.h>
#include <tree/TreeWatch.h>
#include <velmioctl/cli/CommandLine.h>
#include <velmioctl/cli/Interruption.h>
#include <velmioctl/cli/Text.h>
#include <velmioctl/store/Columns.h>
#include <velmioctl/store/Session.h>
#include <velmioctl/store/WatchedDatabase.h>
#include <velmioctl/tree/RootFolders.h>
#include <velmioctl/tree/Scan.h>
#include <velmioctl/tree/TreeTexts.h>

#include <QJsonDocument>

#include <array>
#include <cerrno>
#include <chrono>
#include <thread>
#include <unordered_map>

using namespace Qt::StringLiterals;
using sync::database::DatabaseError;
using sync::database::SqliteDatabaseFactory;
using sync::tree::FileState;
using sync::tree::readFileState;

namespace velmioctl {

namespace {

constexpr std::chrono::milliseconds PollInterval{500};

/// What is remembered of a row, to notice a change and to name what was removed.
struct KnownRow
{
    size_t hash;
    QString name;
};
// id -> row
using Rows = std::unordered_map<long long, KnownRow>;

// Each commit changes one of the files.
std::array<std::optional<FileState>, 3> stampsOf(const QString& path)
{
    return {
        readFileState(path), readFileState(path + u"-wal"_s), readFileState(path + u"-journal"_s)};
}

Rows readRows(WatchedDatabase& database, const TableShape& table)
{
    QStringList names;
    for (const Column& column : table.columns)
        names += QString::fromLatin1(column.name);
    const Column* const nameColumn = table.nameColumn();
    const size_t nameAt = nameColumn ? table.indexOf(nameColumn->name) : 0;
    const auto query = database.select(
        u"SELECT %1 FROM %2"_s.arg(names.join(u", "_s), QString::fromLatin1(table.name)));
    Rows rows;
    while (query->next()) {
        size_t hash = 0;
        for (int at = 0; at < names.size(); ++at) {
            const QVariant value = query->value(at);
            hash = qHashMulti(hash, value.isNull(), value.toByteArray());
        }
        rows.emplace(
            query->value(0).toLongLong(),
            KnownRow{hash, nameColumn ? query->value(int(nameAt)).toString() : QString()});
    }
    database.check();
    return rows;
}

/// Prints what differs between the rows of one look at a database and the next.
class Watch : private sync::tree::WatchObserver
{
public:
    Watch(Session& session, std::optional<long long> most)
        : session(session)
        , path(session.existingDatabasePath())
        , most(most)
    {
    }

    void run()
    {
        look();
        session.output.note(u"Watching the database %1. End with Ctrl-C."_s.arg(quoted(path)));
        while (goOn())
            std::this_thread::sleep_for(PollInterval);
        session.exitCode = interruption.exitCode();
    }

    /// Also keeps the records of a root folder current.
    void runWith(const std::string& folder)
    {
        requireOwnDatabase(session.writableDatabase());
        const auto root = session.rootFolder(folder);
        look();
        session.output.note(
            u"Keeping the records of the root folder %1 current. End with Ctrl-C."_s.arg(
                described(root)));
        sync::tree::TreeWatch watch(session.treeStore(), *this, {.stopRequested = [this] {
                                        return interruption.requested();
                                    }});
        try {
            watch.run(root);
        } catch (const DatabaseError& error) {
            session.database().fail(error);
        }
        session.exitCode = interruption.exitCode();
    }

private:
    bool goOn() override
    {
        const auto stamps = stampsOf(path);
        // Once more after a change: a commit during the look may have left the same stamps.
        if (stamps != seen || std::exchange(again, false)) {
            again = stamps != seen;
            look();
        }
        return !interruption.requested() && !isDone();
    }

    void problem(const sync::tree::TreeProblem& problem) override
    {
        session.output.warning(describe(problem));
    }

    void limited(long long watched, int error) override
    {
        const QString cause =
            error == ENOSPC
                ? u"The system reports the changes of %1 and no more. Raise "
                  u"fs.inotify.max_user_watches with sysctl."_s.arg(counted(watched, u"folder"_s))
                : u"The system reports no changes of folders: %1."_s.arg(
                      sync::base::systemErrorText(error));
        session.output.warning(cause + u" Until then, the root folder is scanned once a minute."_s);
    }

    bool isDone() const { return failed || (most && shown >= *most); }

    // Reads all tables in one moment. A database that a client is just writing is read later.
    void look()
    {
        const auto stamps = stampsOf(path);
        std::unordered_map<const TableShape*, Rows> now;
        try {
            const auto factory = SqliteDatabaseFactory::openReadOnly(path);
            WatchedDatabase database(factory);
            const auto moment = factory->GetDatabase();
            moment->transaction();
            for (const TableShape& table : tableShapes())
                now.emplace(&table, readRows(database, table));
        } catch (const DatabaseError& error) {
            if (error.cause() != DatabaseError::Cause::Busy)
                throw openingError(error);
            again = true;
            return;
        } catch (const CommandError& error) {
            if (error.code() != ExitCode::Busy)
                throw;
            again = true;
            return;
        }
        seen = stamps;
        for (const TableShape& table : tableShapes()) {
            if (!rows.empty()) // The first look has nothing to compare with.
                compare(table, rows[&table], now[&table]);
        }
        rows = std::move(now);
    }

    void compare(const TableShape& table, const Rows& before, const Rows& after)
    {
        for (const auto& [id, row] : after) {
            const auto known = before.find(id);
            if (known == before.end())
                print(u"added"_s, table, id, row.name);
            else if (known->second.hash != row.hash)
                print(u"changed"_s, table, id, row.name);
        }
        for (const auto& [id, row] : before) {
            if (!after.contains(id))
                print(u"removed"_s, table, id, row.name);
        }
    }

    void print(const QString& change, const TableShape& table, long long id, const QString& name)
    {
        if (isDone())
            return;
        ++shown;
        const QString time = QDateTime::currentDateTimeUtc().toString(Qt::ISODate);
        const QString tableName = QString::fromLatin1(table.name);
        if (session.output.json()) {
            const QJsonObject object{
                {u"time"_s, time},
                {u"change"_s, change},
                {u"table"_s, tableName},
                {u"id"_s, id},
                {u"name"_s, name}};
            session.output.printJsonLine(object);
        } else {
            const QString named = name.isEmpty() ? QString() : u' ' + quoted(name);
            session.output.printText(
                time + u"  "_s + change.leftJustified(7) + u"  "_s + tableName + u' ' +
                QString::number(id) + named);
        }
        // Each line at once. The end of the program reports a failure.
        failed = session.output.finish() != 0;
    }

    Session& session;
    const Interruption interruption;
    const QString path;
    const std::optional<long long> most;
    long long shown = 0;
    bool again = false;
    bool failed = false; // to print
    std::array<std::optional<FileState>, 3> seen;
    std::unordered_map<const TableShape*, Rows> rows;
};

} // namespace

void addWatchCommand(Command& app, Session& session)
{
    auto* const command =
        app.addSubcommand("watch", "Print which records change, as they change, until Ctrl-C");
    const auto count = std::make_shared<long long>(-1);
    command->addOption("--count", *count, "End after this many changes")
        ->typeName("NUMBER")
        ->notNegative();
    const auto folder = std::make_shared<std::optional<std::string>>();
    command
        ->addOption("FOLDER", *folder, "Id or path of a root folder whose records to keep current")
        ->offersFolders();
    command->example("velmioctl watch --json")->example("velmioctl watch Work");
    command->callback([&session, count, folder] {
        Watch watch(session, *count < 0 ? std::nullopt : std::optional(*count));
        *folder ? watch.runWith(**folder) : watch.run();
    });
}

} // namespace velmioctl
