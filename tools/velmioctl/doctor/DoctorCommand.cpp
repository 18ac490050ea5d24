#include <velmioctl/doctor/DoctorCommand.h>

#include <base/system/FileRights.h>
#include <database/StoreInspection.h>
#include <velmioctl/cli/CommandLine.h>
#include <velmioctl/cli/Text.h>
#include <velmioctl/doctor/Checks.h>
#include <velmioctl/doctor/Doctor.h>
#include <velmioctl/doctor/Report.h>
#include <velmioctl/store/Session.h>

#include <QFileInfo>
#include <QJsonArray>

using namespace Qt::StringLiterals;
using sync::database::StoreInspection;

namespace velmioctl::doctor {

namespace {

struct DoctorOptions
{
    bool fix = false;
    bool yes = false;
    bool dryRun = false;
};

/// What --fix will do.
struct Plan
{
    std::vector<Report::PlannedFix> records;
    QStringList files;  ///< Other users lose their rights to these.
    QStringList schema; ///< Statements.

    bool isEmpty() const { return records.empty() && files.isEmpty() && schema.isEmpty(); }
};

/// Counts the checks that still find something.
class Remainder : public Examiner
{
public:
    void found(const Check& check, const Row&) override
    {
        if (check.severity != Severity::Note && !checks.contains(check.id))
            checks += check.id;
    }
    void fixable(const Fix&, long long) override {}

    QStringList checks;
};

QStringList linesOf(const Plan& plan)
{
    QStringList lines;
    for (const auto& planned : plan.records)
        lines += planned.toText();
    for (const QString& statement : plan.schema)
        lines += u"runs "_s + statement.section(u'\n', 0, 0);
    for (const QString& file : plan.files)
        lines += u"takes the rights to %1 from other users"_s.arg(quoted(file));
    return lines;
}

QString questionOf(const Plan& plan)
{
    long long rows = 0;
    for (const auto& planned : plan.records)
        rows += planned.rows;
    QStringList deeds;
    if (!plan.records.empty() || !plan.schema.isEmpty())
        deeds += u"make a backup"_s;
    if (!plan.schema.isEmpty())
        deeds += u"repair the structure of the database"_s;
    if (rows > 0)
        deeds += u"repair "_s + counted(rows, u"record"_s);
    if (!plan.files.isEmpty())
        deeds +=
            u"take the rights to %1 from other users"_s.arg(counted(plan.files.size(), u"file"_s));
    const QString question = deeds.join(u", "_s) + u'?';
    return question.at(0).toUpper() + question.mid(1);
}

void printPlan(Output& output, const QStringList& lines)
{
    if (output.json())
        return;
    output.printText(
        u"\nWith --fix, doctor does this, all records in one transaction after a backup:"_s);
    for (const QString& line : lines) {
        output.printLines(
            u"  - "_s + wrapped(line, output.answerTerminal().columns, 4).mid(4) + u'\n');
    }
}

QStringList schemaRepairsFor(const StoreInspection& store)
{
    QStringList statements;
    for (const auto& difference : store.schemaDifferences())
        statements += difference.repair;
    return statements;
}

long long repairDatabase(Session& session, const QStringList& schema)
{
    // The statements remove what is foreign before anything else runs.
    session.options.foreignSchema = true;
    session.backUp(sync::database::DatabaseBackups::Reason::Fix);
    long long rows = 0;
    for (const auto& [fix, count] : repair(session, schema))
        rows += count;
    return rows;
}

void closeFiles(Session& session, const QStringList& files)
{
    for (const QString& file : files) {
        if (!sync::base::closeToOthers(file)) {
            using namespace sync::base;
            const QString command =
                shellCommandFor(RightsChange::UserAlone).replace(u"\"{name}\""_s, quoted(file));
            session.output.warning(
                u"The rights to %1 could not be changed. Change them as its owner, with '%2'."_s
                    .arg(quoted(file), command));
        }
    }
}

QJsonObject repairAll(Session& session, const QString& path, const Plan& plan)
{
    const bool changesDatabase = !plan.records.empty() || !plan.schema.isEmpty();
    // First: what others may write to is not opened.
    closeFiles(session, plan.files);
    const long long rows = changesDatabase ? repairDatabase(session, plan.schema) : 0;
    Remainder remainder;
    examine(path, remainder);
    if (remainder.checks.isEmpty())
        session.exitCode = ExitCode::Ok;
    if (!session.output.json()) {
        QStringList repaired;
        if (!plan.schema.isEmpty())
            repaired += u"the structure of the database"_s;
        if (rows > 0 || plan.schema.isEmpty())
            repaired += counted(rows, u"record"_s);
        session.output.printText(u"\nRepaired %1. %2"_s.arg(
            repaired.join(u" and "_s),
            remainder.checks.isEmpty()
                ? u"There are no other findings."_s
                : u"Remaining findings: "_s + remainder.checks.join(u", "_s) + u'.'));
    }
    return {
        {u"records"_s, rows},
        {u"remaining"_s, QJsonArray::fromStringList(remainder.checks)},
    };
}

// What the JSON answer says of the fix.
QJsonObject fix(
    Session& session, const QString& path, const Report& report, const DoctorOptions& options)
{
    const StoreInspection store(path);
    if (!report.storeIsSound() || !isReadableWithItsSchema(store)) {
        throw CommandError(
            ExitCode::Findings,
            u"Nothing was changed: repair the database itself first, as the remedy of its finding "
            u"says."_s);
    }
    const Plan plan{report.plan(), filesOpenToOthers(path), schemaRepairsFor(store)};
    const QStringList lines = linesOf(plan);
    QJsonArray records;
    for (const auto& planned : plan.records)
        records.append(planned.toJson());
    QJsonObject answer{
        {u"records"_s, records},
        {u"files"_s, QJsonArray::fromStringList(plan.files)},
        {u"schema"_s, QJsonArray::fromStringList(plan.schema)}};
    if (plan.isEmpty()) {
        session.output.note(u"No finding can be repaired without a choice by a person."_s);
        return answer;
    }
    printPlan(session.output, lines);
    if (options.dryRun)
        return answer;
    session.requireWriting();
    session.confirm(options.yes, questionOf(plan));
    answer.insert(u"mended"_s, repairAll(session, path, plan));
    return answer;
}

void run(Session& session, const DoctorOptions& options)
{
    const QString path = session.existingDatabasePath();
    if (QFileInfo(path).isDir()) {
        throw CommandError(
            ExitCode::Usage,
            u"%1 is a directory. Name the database file in it."_s.arg(quoted(path)));
    }
    Report report(session.output, path);
    examine(path, report);
    session.exitCode = report.hasFindings() ? ExitCode::Findings : ExitCode::Ok;
    const bool json = session.output.json();
    if (!json)
        report.finish({});
    QJsonObject fixed;
    try {
        if (options.fix || options.dryRun)
            fixed = fix(session, path, report, options);
    } catch (const CommandError&) {
        if (json)
            report.finish({});
        throw;
    }
    if (json)
        report.finish(fixed);
}

} // namespace

} // namespace velmioctl::doctor

namespace velmioctl {

void addDoctorCommand(Command& app, Session& session)
{
    auto* const command =
        app.addSubcommand("doctor", "Find what is wrong with the database, and repair some of it");
    const auto options = std::make_shared<doctor::DoctorOptions>();
    auto* const fix = command->addFlag(
        "--fix", options->fix, "Repair what needs no choice by a person, after a backup");
    command->addFlag("--yes", options->yes, "Repair without asking")->needs(fix);
    command->addFlag("--dry-run", options->dryRun, "Show what --fix would do, and change nothing");
    command->example("velmioctl doctor --dry-run")->example("velmioctl doctor --fix");
    command->callback([&session, options] { doctor::run(session, *options); });
}

} // namespace velmioctl
