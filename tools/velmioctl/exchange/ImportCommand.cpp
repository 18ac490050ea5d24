#include <velmioctl/exchange/Commands.h>

#include <velmioctl/cli/CommandLine.h>
#include <velmioctl/cli/Table.h>
#include <velmioctl/cli/Text.h>
#include <velmioctl/exchange/ExportRows.h>
#include <velmioctl/exchange/ImportRun.h>
#include <velmioctl/exchange/StoreSnapshot.h>
#include <velmioctl/store/SecretInput.h>
#include <velmioctl/store/Session.h>
#include <velmioctl/store/WatchedDatabase.h>

#include <algorithm>

using namespace Qt::StringLiterals;
using sync::interf::factory::IDatabaseFactory;

namespace velmioctl::exchange {

namespace {

struct ImportOptions
{
    std::string file;
    bool replace = false;
    bool dryRun = false;
    bool yes = false;
    bool withoutSecrets = false;
    bool allowDangling = false;
    std::vector<std::string> maps;
    SecretInput passphrase{"passphrase"};
};

std::optional<RowSecrets> openSecrets(
    Session& session, const ImportOptions& options, const ExportHeader& header)
{
    if (!header.secrets || options.withoutSecrets)
        return {};
    auto box = SecretBox::open(*header.secrets, options.passphrase.readKnown(session));
    if (!box) {
        throw CommandError(
            ExitCode::KeyUnavailable,
            u"The passphrase is wrong, or the start of the export was changed. Nothing was "
            u"imported. Give the right one, or import the rest with --without-secrets."_s);
    }
    return RowSecrets(std::move(*box));
}

// An address that somebody else has put into an export would receive its passwords.
void requireUnchanged(Session& session, ExportFile& file, const SecretBox& box)
{
    if (file.rows().header().isSealed()) {
        file.requireSeal(box);
        return;
    }
    session.output.warning(
        u"An earlier version wrote this export, and nothing shows whether it was changed since. "
        u"See that the servers are the right ones before the imported passwords are used, and "
        u"make a new export."_s);
}

ImportPlan planOf(
    StoreSnapshot& store, ExportFile& file, ImportRun::Mode mode, RowPaths& paths,
    RowSecrets* secrets)
{
    ImportPlan plan;
    store.read([&](IDatabaseFactory& database) {
        plan = ImportRun(database, mode, paths, secrets, nullptr).run(file.rows());
    });
    return plan;
}

bool isNewStore(StoreSnapshot& store)
{
    bool answer = false;
    store.read([&answer](IDatabaseFactory& database) { answer = isNew(database); });
    return answer;
}

void requireReferences(const ImportPlan& plan, const ImportOptions& options, Output& output)
{
    if (plan.brokenReferences.isEmpty())
        return;
    constexpr qsizetype ShownReferences = 10;
    QStringList lines = plan.brokenReferences.mid(0, ShownReferences);
    if (const auto more = plan.brokenReferences.size() - lines.size(); more > 0)
        lines += u"And %1 more."_s.arg(more);
    if (options.allowDangling) {
        output.warning(u"References to missing rows are imported:\n"_s + lines.join(u'\n'));
        return;
    }
    throw CommandError(
        ExitCode::Usage,
        u"Nothing was changed, because rows would refer to missing rows:\n%1\nAdd those rows to "
        u"the export, or import the references as they are with --allow-dangling."_s.arg(
            lines.join(u'\n')));
}

void print(Output& output, const ImportPlan& plan)
{
    if (output.json())
        return;
    Table table({u"NEW"_s, u"CHANGED"_s, u"REMOVED"_s, u"SAME"_s, u"STAY"_s, u"TABLE"_s});
    for (int column = 0; column < 5; ++column)
        table.alignRight(column);
    for (const TableChanges& changes : plan.tables) {
        table.addRow(
            {QString::number(changes.added), QString::number(changes.changed),
             QString::number(changes.removed), QString::number(changes.same),
             QString::number(changes.kept), QString::fromLatin1(changes.table->name)});
    }
    output.print(table);
}

void printRemarks(Output& output, const ImportPlan& plan)
{
    if (plan.newMasked > 0) {
        output.note(u"Masked values of new rows: %1. They come without the users, passwords and "
                    u"queries of URLs, and without further properties."_s.arg(plan.newMasked));
    }
    if (plan.keptMasked.count > 0) {
        output.note(u"Masked values that differ from the stored ones, which stay: %1.\n%2"_s.arg(
            QString::number(plan.keptMasked.count), plan.keptMasked.text()));
    }
    if (plan.nestedXml.count > 0) {
        output.warning(
            u"Properties or links with elements inside of them, which no client writes: %1. "
            u"Compare these records with the server.\n%2"_s.arg(
                QString::number(plan.nestedXml.count), plan.nestedXml.text()));
    }
}

void answer(Session& session, const ImportPlan& plan, bool imported)
{
    if (!session.output.json()) {
        if (plan.isEmpty())
            session.output.printText(u"The database already holds all rows."_s);
        else if (imported)
            session.output.printText(u"Imported."_s);
        return;
    }
    QJsonObject tables;
    for (const TableChanges& changes : plan.tables) {
        tables.insert(
            QString::fromLatin1(changes.table->name), QJsonObject{
                                                          {u"new"_s, changes.added},
                                                          {u"changed"_s, changes.changed},
                                                          {u"removed"_s, changes.removed},
                                                          {u"same"_s, changes.same},
                                                          {u"stay"_s, changes.kept}});
    }
    session.output.print(QJsonObject{
        {u"tables"_s, tables},
        {u"imported"_s, imported},
        {u"newWithoutPassword"_s, plan.newWithoutPassword},
        {u"newMasked"_s, plan.newMasked},
        {u"keptMasked"_s, plan.keptMasked.count},
        {u"nestedXml"_s, plan.nestedXml.count},
        {u"mapped"_s, plan.mapped},
        {u"brokenReferences"_s, QJsonArray::fromStringList(plan.brokenReferences)}});
}

// A password is not taken along to what an import makes of its sign-in or server.
void warnOfUnreadable(Session& session, const std::vector<int>& readableBefore)
{
    const std::vector<int> readable = signInsWithPassword(session.database());
    QStringList lost;
    for (const int id : readableBefore) {
        const bool exists =
            session.database().number(
                u"SELECT count(*) FROM AuthenticationConfiguration WHERE id = :id"_s,
                {{u":id"_s, id}}) > 0;
        if (exists && !std::binary_search(readable.begin(), readable.end(), id))
            lost += QString::number(id);
    }
    if (lost.isEmpty())
        return;
    session.output.warning(
        u"The passwords of these sign-ins cannot be used any more, because the import changes "
        u"their user or the address of their server: %1. Store them again with 'velmioctl signin "
        u"password', or restore the backup."_s.arg(lost.join(u", "_s)));
}

// In one transaction; nothing is changed when this throws.
void apply(
    Session& session, ExportFile& file, ImportRun::Mode mode, RowPaths& paths, RowSecrets* secrets,
    const ImportPlan& plan)
{
    WatchedDatabase& database = session.writableDatabase();
    Transaction transaction(database);
    RowWriter writer(database, mode.withSecrets);
    const std::vector<int> readable = signInsWithPassword(database);
    ImportPlan done;
    try {
        done = ImportRun(database, mode, paths, secrets, &writer).run(file.rows());
        if (secrets)
            secrets->bindStored(database);
    } catch (const doctor::ReadFailure&) {
        database.check(false, u"Reading the database"_s);
    }
    if (done != plan) {
        throw CommandError(
            ExitCode::Busy, u"Nothing was changed, because the database or the export has changed "
                            u"since the plan was shown. Run the command again."_s);
    }
    warnOfUnreadable(session, readable);
    // An id may be that of another folder or file now. The next scan sees them again.
    for (const QString& table : {u"FolderOnDisk"_s, u"FileOnDisk"_s})
        database.change(u"DELETE FROM %1"_s.arg(table), {});
    for (const qint64 id : plan.mappedRoots) {
        database.change(
            u"INSERT OR REPLACE INTO RootFolderMark (rootId, mark, paused)"
            u" VALUES (:rootId, lower(hex(randomblob(16))), 1)"_s,
            {{u":rootId"_s, id}});
        database.change(
            u"DELETE FROM RootFolderPlace WHERE rootId = :rootId"_s, {{u":rootId"_s, id}});
    }
    transaction.commit();
}

QString questionOf(const ImportPlan& plan)
{
    qint64 added = 0;
    qint64 changed = 0;
    qint64 removed = 0;
    for (const TableChanges& changes : plan.tables) {
        added += changes.added;
        changed += changes.changed;
        removed += changes.removed;
    }
    return u"Make a backup, then add %1, change %2 and remove %3?"_s.arg(
        counted(added, u"row"_s), QString::number(changed), QString::number(removed));
}

void run(Session& session, const ImportOptions& options)
{
    const QString path = session.filledDatabasePath();
    ExportFile file(absolutePath(options.file));
    auto secrets = openSecrets(session, options, file.rows().header());
    RowSecrets* const usedSecrets = secrets ? &*secrets : nullptr;
    if (secrets)
        requireUnchanged(session, file, secrets->secretBox());
    RowPaths paths(options.maps);
    ImportRun::Mode mode{.replace = options.replace, .withSecrets = secrets.has_value()};
    ImportPlan plan;
    {
        StoreSnapshot store(path);
        // Otherwise the opening for changes says so.
        if (options.dryRun)
            session.noteUse(store.openDatabase());
        // A new database becomes a copy of the exported one, without its own default schedule.
        mode.replace = mode.replace || isNewStore(store);
        plan = planOf(store, file, mode, paths, usedSecrets);
    }
    paths.requireAllUsed();
    print(session.output, plan);
    printRemarks(session.output, plan);
    requireReferences(plan, options, session.output);
    const bool imports = !options.dryRun && !plan.isEmpty();
    if (imports) {
        session.requireWriting();
        session.confirm(options.yes, questionOf(plan));
        session.backUp(sync::database::DatabaseBackups::Reason::Import);
        file.rewind();
        apply(session, file, mode, paths, usedSecrets, plan);
    }
    answer(session, plan, imports);
    if (imports && !plan.mappedRoots.empty()) {
        session.output.note(
            u"Root folders that wait until 'velmioctl folder relocate' compares them with the "
            u"disk: %1."_s.arg(plan.mappedRoots.size()));
    }
    if (imports && plan.newWithoutPassword > 0) {
        session.output.note(
            u"New sign-ins without a password: %1. Store it with 'velmioctl signin password'."_s
                .arg(plan.newWithoutPassword));
    }
}

} // namespace

} // namespace velmioctl::exchange

namespace velmioctl {

void addImportCommand(Command& app, Session& session)
{
    Command* const command =
        app.addSubcommand("import", "Import the rows of an export into the database, all or none");
    const auto options = std::make_shared<exchange::ImportOptions>();
    command->addOption("FILE", options->file, "What 'velmioctl export' has written")
        ->required()
        ->offersFiles();
    command->addFlag(
        "--replace", options->replace,
        "Remove rows that the export does not have from the tables that it has");
    command
        ->addOption(
            "--map", options->maps,
            "Import paths at or below OLD as paths at or below NEW; may be repeated")
        ->typeName("OLD=NEW")
        ->repeatable();
    command->addFlag("--dry-run", options->dryRun, "Show what would change, and change nothing");
    command->addFlag("--yes", options->yes, "Import without asking");
    command->addFlag(
        "--allow-dangling", options->allowDangling, "Also import references to missing rows");
    Option* const without = command->addFlag(
        "--without-secrets", options->withoutSecrets,
        "Import without the secrets of the export, which needs no passphrase");
    Option* const fromInput = options->passphrase.addTo(*command)->excludes(without);
    options->passphrase.addFileTo(*command)->excludes(without)->excludes(fromInput);
    command->example("velmioctl import settings.json --dry-run");
    command->example("velmioctl import settings.json --replace");
    command->example("velmioctl import settings.json --map 'C:\\Users\\kim=/home/kim'");
    command->callback([&session, options] { exchange::run(session, *options); });
}

} // namespace velmioctl
