#include <velmioctl/cli/Output.h>
#include <velmioctl/cli/Table.h>
#include <velmioctl/cli/Text.h>
#include <velmioctl/doctor/Report.h>
#include <velmioctl/exchange/StoreRows.h>
#include <velmioctl/exchange/StoreSnapshot.h>
#include <velmioctl/fleet/Fleet.h>
#include <velmioctl/fleet/StoreSummary.h>
#include <velmioctl/fleet/TablePush.h>
#include <velmioctl/store/Session.h>

#include <QSysInfo>

#include <future>
#include <map>

using namespace Qt::StringLiterals;
using namespace velmioctl::exchange;
using sync::core::crypto::SecureBytes;
using sync::interf::factory::IDatabaseFactory;

namespace velmioctl::fleet {

namespace {

/// How much doctor finds; names stay here.
class Findings : public doctor::Examiner
{
public:
    struct Finding
    {
        doctor::Check check;
        qint64 rows = 0;
    };

    void found(const doctor::Check& check, const doctor::Row&) override
    {
        Finding& finding = all.try_emplace(check.id, Finding{check}).first->second;
        ++finding.rows;
    }
    void fixable(const doctor::Fix&, long long) override {}

    std::map<QString, Finding> all; // check -> what it found
};

/// What is sent besides the rows.
struct StoreFacts
{
    QByteArray store;
    QString name;
    qint64 schemaVersion = 0;
    bool redacted = false;
    Findings findings = {};
    StoreSummary summary = {};
};

// Only this machine knows the bytes, and they are the same at each push: the key of the store's
// identity, which is made of the id of the machine and never sent.
std::unique_ptr<bundle::Redactor> redactorFor(IDatabaseFactory& database)
{
    doctor::CheckQuery query(
        database, u"SELECT machineStamp FROM StoreIdentity WHERE machineStamp IS NOT NULL"_s);
    if (!query.next()) {
        throw CommandError(
            ExitCode::Usage, u"The database was never used, so there is no key for the tokens. Run "
                             u"'velmioctl init' first."_s);
    }
    const QByteArray stamp = QByteArray::fromHex(query.text(0).toLatin1());
    return std::make_unique<bundle::Redactor>(SecureBytes::copyOf(
        {reinterpret_cast<const unsigned char*>(stamp.constData()), size_t(stamp.size())}));
}

/// The transaction of a push: from the lock of the store to what reports read.
class Push
{
public:
    Push(Connection& connection, const QByteArray& store)
        : connection(connection)
        , store(store)
        , transaction(connection, store)
    {
        connection.run(
            "INSERT INTO velmio.Stores (store, createdTime) VALUES ($1,"
            " to_char(now() AT TIME ZONE 'UTC', 'YYYY-MM-DD\"T\"HH24:MI:SS.MS'))"
            " ON CONFLICT DO NOTHING",
            {store});
        connection.run(
            "INSERT INTO velmio.Counters (store) VALUES ($1) ON CONFLICT DO NOTHING", {store});
        // Whoever writes to a store holds this row.
        changes =
            connection
                .run("SELECT changes FROM velmio.Counters WHERE store = $1 FOR UPDATE", {store})
                .number(0, 0);
        forgetDigestsOfChangedRows();
    }

    void sendTable(RowSource& source, SentRows& sent, StoreSummary& summary)
    {
        TablePush table(connection, store, source.table(), sent, counts);
        while (source.nextRow()) {
            summary.add(source.table(), source.row());
            table.add(source.row());
        }
        table.finish();
        lastIds += ", " + source.table().name + " = " +
                   QByteArray::number(std::min(source.lastId(), HighestId));
    }

    void finish(const StoreFacts& facts)
    {
        connection.run(
            "UPDATE velmio.Counters SET changes = changes + 1" + lastIds + " WHERE store = $1",
            {store});
        storePush(facts);
        storeFindings(facts.findings);
        storeHistory(facts.summary);
        transaction.commit();
    }

    bool isFirst = false;
    PushCounts counts;

private:
    // Another program has written to the copy since the last push, or it is the first one.
    void forgetDigestsOfChangedRows()
    {
        const Rows last =
            connection.run("SELECT changes FROM velmio.Pushes WHERE store = $1", {store});
        isFirst = last.count() == 0;
        if (isFirst || last.number(0, 0) != changes)
            connection.run("DELETE FROM velmio.RowDigests WHERE store = $1", {store});
    }

    void storePush(const StoreFacts& facts)
    {
        const auto number = [](qint64 value) { return QByteArray::number(value); };
        const StoreSummary& summary = facts.summary;
        connection.run(
            "INSERT INTO velmio.Pushes AS known (store, name, firstPush, lastPush, pushes, changes,"
            " libraryVersion, schemaVersion, redacted, files, bytes, folders, rootFolders,"
            " outOfSync, outOfSyncSince, lastSyncTime)"
            " VALUES ($1, $2, now(), now(), 1, $3, $4, $5, $6, $7, $8, $9, $10, $11,"
            " CASE WHEN $11::bigint > 0 THEN now() END, $12)"
            " ON CONFLICT (store) DO UPDATE SET name = excluded.name, lastPush = excluded.lastPush,"
            " pushes = known.pushes + 1, changes = excluded.changes,"
            " libraryVersion = excluded.libraryVersion, schemaVersion = excluded.schemaVersion,"
            " redacted = excluded.redacted, files = excluded.files, bytes = excluded.bytes,"
            " folders = excluded.folders, rootFolders = excluded.rootFolders,"
            " outOfSync = excluded.outOfSync, lastSyncTime = excluded.lastSyncTime,"
            " outOfSyncSince = CASE WHEN excluded.outOfSync > 0"
            " THEN coalesce(known.outOfSyncSince, excluded.outOfSyncSince) END",
            {store, facts.name.toUtf8(), number(changes + 1), QByteArray(VELMIO_VERSION),
             number(facts.schemaVersion), QByteArray(facts.redacted ? "true" : "false"),
             number(summary.files), number(summary.bytes), number(summary.folders),
             number(summary.rootFolders), number(summary.outOfSync),
             summary.lastSyncTime.isEmpty() ? std::nullopt : std::optional(summary.lastSyncTime)});
    }

    void storeFindings(const Findings& findings)
    {
        connection.run("DELETE FROM velmio.Findings WHERE store = $1", {store});
        for (const auto& [check, finding] : findings.all) {
            connection.run(
                "INSERT INTO velmio.Findings (store, checkId, severity, title, rows)"
                " VALUES ($1, $2, $3, $4, $5)",
                {store, check.toUtf8(), wordOf(finding.check.severity).toUtf8(),
                 finding.check.title.toUtf8(), QByteArray::number(finding.rows)});
        }
    }

    void storeHistory(const StoreSummary& summary)
    {
        connection.run(
            "INSERT INTO velmio.History (store, day, files, bytes, outOfSync)"
            " VALUES ($1, CURRENT_DATE, $2, $3, $4) ON CONFLICT (store, day) DO UPDATE SET"
            " files = excluded.files, bytes = excluded.bytes, outOfSync = excluded.outOfSync",
            {store, QByteArray::number(summary.files), QByteArray::number(summary.bytes),
             QByteArray::number(summary.outOfSync)});
        connection.run(
            "DELETE FROM velmio.History WHERE store = $1 AND day < CURRENT_DATE - 90", {store});
    }

    Connection& connection;
    const QByteArray store;
    FleetTransaction transaction;
    qint64 changes = 0;
    QByteArray lastIds; // ", Table = 5"
};

void answer(Output& output, const StoreFacts& facts, const Push& push, qint64 changedValues)
{
    qint64 errors = 0;
    qint64 warnings = 0;
    for (const auto& [check, finding] : facts.findings.all) {
        errors += finding.check.severity == doctor::Severity::Error;
        warnings += finding.check.severity == doctor::Severity::Warning;
    }
    if (push.counts.skipped > 0) {
        output.warning(u"%1 with an id that no client uses cannot be stored, and was not sent. See "
                       u"'velmioctl doctor'."_s.arg(counted(push.counts.skipped, u"row"_s)));
    }
    if (changedValues > 0) {
        output.warning(
            u"%1 cannot be stored as they are, and were changed in the copy: text that "
            u"is not valid, or not in its place."_s.arg(counted(changedValues, u"value"_s)));
    }
    if (output.json()) {
        output.print(QJsonObject{
            {u"storeId"_s, QString::fromLatin1(facts.store)},
            {u"name"_s, facts.name},
            {u"first"_s, push.isFirst},
            {u"redacted"_s, facts.redacted},
            {u"sent"_s, push.counts.sent},
            {u"removed"_s, push.counts.removed},
            {u"same"_s, push.counts.same},
            {u"skipped"_s, push.counts.skipped},
            {u"changedValues"_s, changedValues},
            {u"errors"_s, errors},
            {u"warnings"_s, warnings}});
        return;
    }
    output.printText(u"Pushed the store %1 (%2): %3 sent, %4 removed, %5 unchanged; doctor found "
                     u"%6 and %7."_s.arg(
                         QString::fromLatin1(facts.store), facts.name,
                         counted(push.counts.sent, u"row"_s), QString::number(push.counts.removed),
                         QString::number(push.counts.same), counted(errors, u"error"_s),
                         counted(warnings, u"warning"_s)));
}

} // namespace

void push(Session& session, const FleetOptions& options)
{
    session.requireWriting();
    const QString place = placeOf(session, options);
    const QString path = session.filledDatabasePath();
    StoreSnapshot snapshot(path);
    session.noteUse(snapshot.openDatabase());
    StoreFacts facts{
        .store = snapshot.openDatabase().storeId().toLatin1(),
        .name = options.name ? QString::fromStdString(*options.name) : QSysInfo::machineHostName(),
        .schemaVersion = snapshot.schemaVersion(),
        .redacted = options.redact};
    if (facts.store.isEmpty()) {
        throw CommandError(
            ExitCode::Usage, u"The database is of version 1, which has no id yet. Run 'velmioctl "
                             u"init' to bring it up to date."_s);
    }
    // Beside the transaction, because it reads everything once more.
    std::future<void> examination =
        std::async(std::launch::async, doctor::examine, path, std::ref(facts.findings));
    snapshot.read([&](IDatabaseFactory& database) {
        const auto redactor = options.redact ? redactorFor(database) : nullptr;
        if (redactor)
            facts.name = redactor->name(facts.name);
        SentRows sent(redactor.get());
        Connection connection(place);
        Push push(connection, facts.store);
        StoreRows rows(database, allTables());
        while (rows.nextTable())
            push.sendTable(rows, sent, facts.summary);
        examination.get();
        push.finish(facts);
        answer(session.output, facts, push, sent.changedValues());
    });
}

} // namespace velmioctl::fleet
