#include <velmioctl/exchange/Commands.h>

#include <velmioctl/cli/CommandLine.h>
#include <velmioctl/cli/Text.h>
#include <velmioctl/exchange/ExportWriter.h>
#include <velmioctl/exchange/FleetRows.h>
#include <velmioctl/exchange/Masks.h>
#include <velmioctl/exchange/RowSecrets.h>
#include <velmioctl/exchange/StoreRows.h>
#include <velmioctl/exchange/StoreSnapshot.h>
#include <velmioctl/exchange/TargetFile.h>
#include <velmioctl/store/SecretInput.h>
#include <velmioctl/store/Session.h>
#include <velmioctl/store/WatchedDatabase.h>

#include <sodium.h>

#include <algorithm>
#include <string_view>

using namespace Qt::StringLiterals;
using sync::core::crypto::SecretText;
using sync::core::crypto::SecureBytes;

namespace velmioctl::exchange {

namespace {

struct ExportOptions
{
    std::optional<std::string> file;
    std::vector<std::string> tables;
    bool withSecrets = false;
    bool generatePassphrase = false;
    SecretInput passphrase{"passphrase"};
};

/// The result of an export.
struct Exported
{
    QJsonObject rows; // table -> how many
    qint64 allRows = 0;
    int unreadablePasswords = 0;
    SecretText passphrase = {}; // that was generated
};

// Who has the file can try passphrases as fast as the machine allows.
SecretText strong(const SecretText& passphrase)
{
    constexpr qsizetype LeastCharacters = 10;
    const QString text = passphrase.view();
    const auto characters =
        std::count_if(text.begin(), text.end(), [](QChar unit) { return !unit.isLowSurrogate(); });
    if (characters < LeastCharacters) {
        throw CommandError(
            ExitCode::Usage,
            u"The passphrase has fewer than %1 characters. Give a longer one, or have one made "
            u"with --generate-passphrase."_s.arg(LeastCharacters));
    }
    return passphrase;
}

// 25 characters of 5 bits, without those that look alike.
SecretText generatedPassphrase()
{
    static constexpr std::string_view Characters = "abcdefghijkmnpqrstuvwxyz23456789";
    constexpr std::size_t Groups = 5;
    constexpr std::size_t GroupCharacters = 5;
    SecureBytes passphrase(Groups * (GroupCharacters + 1) - 1);
    for (std::size_t at = 0; at < passphrase.size(); ++at) {
        const bool isBetween = at % (GroupCharacters + 1) == GroupCharacters;
        const char character = isBetween ? '-' : Characters[randombytes_uniform(Characters.size())];
        passphrase.data()[at] = static_cast<unsigned char>(character);
    }
    return *SecretText::fromUtf8(passphrase);
}

bool contains(const std::vector<std::string>& names, const TableShape& table)
{
    return std::find(names.begin(), names.end(), table.name.toStdString()) != names.end();
}

std::vector<const TableShape*> tablesOf(const std::vector<std::string>& names)
{
    std::vector<const TableShape*> tables;
    for (const TableShape& table : tableShapes()) {
        if (names.empty() || contains(names, table))
            tables.push_back(&table);
    }
    return tables;
}

void requireKnown(const std::vector<std::string>& names)
{
    QStringList known;
    for (const TableShape& table : tableShapes())
        known += QString::fromLatin1(table.name);
    for (const std::string& name : names) {
        if (const QString given = QString::fromStdString(name); !known.contains(given)) {
            throw CommandError(
                ExitCode::Usage,
                u"Unknown table %1. The tables are %2."_s.arg(quoted(given), known.join(u", "_s)));
        }
    }
}

/// With what a row is made ready for an export.
struct Preparation
{
    RowSecrets* secrets = nullptr;
    const sync::config::PasswordContexts* contexts = nullptr; ///< For the secrets.
    bool isOfFleet = false;
};

Row prepared(const TableShape& table, Row row, const Preparation& how)
{
    if (how.secrets) {
        how.secrets->seal(table, row, *how.contexts);
        return row;
    }
    // An import must not take what was never sent for what the store does not have.
    if (how.isOfFleet) {
        for (size_t at = 0; at < table.columns.size(); ++at) {
            if (table.columns[at].kind == ValueKind::Properties &&
                std::holds_alternative<Null>(row.values[at]))
                row.values[at] = Masked();
        }
    }
    for (size_t at = 0; at < table.columns.size(); ++at)
        row.values[at] = masked(table.columns[at], row.values[at]);
    return row;
}

Exported write(RowSource& rows, qint64 schemaVersion, const Preparation& how, ExportWriter& writer)
{
    Exported exported;
    ExportHeader header{.schemaVersion = schemaVersion};
    if (how.secrets)
        header.secrets = how.secrets->secretBox().parameters();
    writer.begin(header);
    while (rows.nextTable()) {
        writer.beginTable(rows.table(), rows.lastId());
        qint64 count = 0;
        for (; rows.nextRow(); ++count)
            writer.write(prepared(rows.table(), rows.row(), how));
        writer.endTable();
        exported.rows.insert(QString::fromLatin1(rows.table().name), count);
        exported.allRows += count;
    }
    writer.end();
    if (how.secrets)
        exported.unreadablePasswords = how.secrets->unreadable();
    return exported;
}

/// What is exported: a file, or a store of a fleet.
class ExportSource
{
public:
    ExportSource(Session& session, bool withSecrets)
        : session(session)
    {
        if (!session.isFleet()) {
            snapshot.emplace(session.filledDatabasePath());
            session.noteUse(snapshot->openDatabase());
        } else if (withSecrets) {
            throw CommandError(
                ExitCode::Usage, u"A store of a fleet has no secrets, because no push sends them. "
                                 u"Leave --with-secrets out."_s);
        }
    }

    Exported write(
        const std::vector<const TableShape*>& tables, RowSecrets* secrets, ExportWriter writer)
    {
        if (!snapshot) {
            FleetRows rows(session.database(), tables);
            return exchange::write(rows, rows.schemaVersion(), {.isOfFleet = true}, writer);
        }
        Exported exported;
        snapshot->read([&](sync::interf::factory::IDatabaseFactory& database) {
            StoreRows rows(database, tables);
            const sync::config::PasswordContexts contexts(database);
            exported = exchange::write(
                rows, snapshot->schemaVersion(), {.secrets = secrets, .contexts = &contexts},
                writer);
        });
        return exported;
    }

private:
    Session& session;
    std::optional<StoreSnapshot> snapshot;
};

void answer(Session& session, const Exported& exported, const QString& path, bool withSecrets)
{
    if (session.output.json()) {
        QJsonObject object{
            {u"path"_s, path},
            {u"rows"_s, exported.rows},
            {u"secrets"_s, withSecrets},
            {u"unreadablePasswords"_s, exported.unreadablePasswords}};
        if (!exported.passphrase.isNull())
            object.insert(u"passphrase"_s, exported.passphrase.toString());
        session.output.print(object);
        return;
    }
    session.output.printText(u"Exported %1 of %2 to %3, %4."_s.arg(
        counted(exported.allRows, u"row"_s), counted(qint64(exported.rows.size()), u"table"_s),
        quoted(path), withSecrets ? u"with secrets encrypted"_s : u"without secrets"_s));
    if (!exported.passphrase.isNull()) {
        session.output.printText(
            u"Its passphrase, which is stored nowhere: "_s + exported.passphrase.view());
    }
}

void run(Session& session, const ExportOptions& options)
{
    requireKnown(options.tables);
    ExportSource source(session, options.withSecrets);
    const auto tables = tablesOf(options.tables);
    std::optional<TargetFile> target;
    if (options.file)
        target.emplace(absolutePath(*options.file));
    const SecretText generated = options.generatePassphrase ? generatedPassphrase() : SecretText();
    std::optional<RowSecrets> secrets;
    if (options.withSecrets) {
        secrets.emplace(SecretBox::make(
            generated.isNull() ? strong(options.passphrase.read(session)) : generated));
    }
    const auto sink = [&](const QByteArray& text) {
        if (target)
            target->write(text);
        else
            session.output.printBytes(text);
    };
    std::optional<ExportSeal> seal;
    if (secrets)
        seal = secrets->secretBox().makeExportSeal();
    Exported exported =
        source.write(tables, secrets ? &*secrets : nullptr, ExportWriter(sink, std::move(seal)));
    if (target) {
        target->commit();
        exported.passphrase = generated;
        answer(session, exported, target->path(), options.withSecrets);
    }
    if (exported.unreadablePasswords == 0)
        return;
    session.exitCode = ExitCode::Findings;
    session.output.warning(u"%1 could not be read with the available keys, and left as "
                           u"stored. See 'velmioctl secrets verify'."_s.arg(
                               counted(exported.unreadablePasswords, u"password"_s)));
}

} // namespace

} // namespace velmioctl::exchange

namespace velmioctl {

namespace {

std::vector<std::string> tableNames()
{
    std::vector<std::string> names;
    for (const TableShape& table : tableShapes())
        names.push_back(table.name.toStdString());
    return names;
}

} // namespace

void addExportCommand(Command& app, Session& session)
{
    Command* const command = app.addSubcommand(
        "export", "Write the rows of the database as text that can be compared line by line");
    const auto options = std::make_shared<exchange::ExportOptions>();
    Option* const file =
        command->addOption("FILE", options->file, "The file to write; without it standard output")
            ->offersFiles();
    command->addOption("--tables", options->tables, "Only these tables, such as Schedules")
        ->repeatable()
        ->separatedBy(',')
        ->typeName("TABLE,...")
        ->offersWords(tableNames());
    Option* const withSecrets = command->addFlag(
        "--with-secrets", options->withSecrets,
        "Also write passwords, product secrets and all that is masked, encrypted with a "
        "passphrase");
    Option* const fromInput = options->passphrase.addTo(*command)->needs(withSecrets);
    Option* const fromFile =
        options->passphrase.addFileTo(*command)->needs(withSecrets)->excludes(fromInput);
    command
        ->addFlag(
            "--generate-passphrase", options->generatePassphrase,
            "Make a passphrase, and show it once")
        ->needs(withSecrets)
        ->needs(file)
        ->excludes(fromInput)
        ->excludes(fromFile);
    command->example("velmioctl export settings.json");
    command->example("velmioctl export --tables Schedules,ServerConfiguration");
    command->callback([&session, options] { exchange::run(session, *options); });
}

} // namespace velmioctl
