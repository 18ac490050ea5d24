#include <velmioctl/exchange/Commands.h>

#include <velmioctl/cli/CommandLine.h>
#include <velmioctl/cli/Table.h>
#include <velmioctl/cli/Text.h>
#include <velmioctl/exchange/DiffSide.h>
#include <velmioctl/exchange/Difference.h>
#include <velmioctl/exchange/Masks.h>
#include <velmioctl/store/FleetStore.h>
#include <velmioctl/store/Session.h>
#include <velmioctl/store/WatchedDatabase.h>

#include <QFileInfo>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace velmioctl::exchange {

namespace {

struct DiffOptions
{
    std::string a;
    std::string b;
};

// Empty for a secret. What differs only in what is masked looks the same.
QByteArray seen(const Column& column, const Value& value)
{
    return toJson(masked(column, value));
}

class Report : public DifferenceReport
{
public:
    explicit Report(Output& output)
        : output(output)
    {
    }

    virtual void finish() = 0;

protected:
    Output& output;
};

class TextReport : public Report
{
public:
    using Report::Report;

    void finish() override
    {
        Table summary({u"ONLY IN A"_s, u"ONLY IN B"_s, u"CHANGED"_s, u"SAME"_s, u"TABLE"_s});
        for (int column = 0; column < 4; ++column)
            summary.alignRight(column);
        for (const TableDifference& counted : tables) {
            summary.addRow(
                {QString::number(counted.onlyInA), QString::number(counted.onlyInB),
                 QString::number(counted.changed), QString::number(counted.same),
                 QString::fromLatin1(counted.table->name)});
        }
        output.print(summary);
    }

private:
    // The name of the row, if it has one.
    QString labelOf(const Row& row) const
    {
        if (const Column* const column = table().nameColumn()) {
            const Value& value = row.values[table().indexOf(column->name)];
            if (std::holds_alternative<Text>(value))
                return u" ("_s + QString::fromUtf8(seen(*column, value)) + u')';
        }
        return {};
    }
    void printRow(const Row& row, const QString& rest)
    {
        output.printText(u"%1 %2%3%4"_s.arg(
            QString::fromLatin1(table().name), QString::number(row.id), labelOf(row), rest));
    }
    void showOnly(const Row& row, char side) override
    {
        printRow(row, u": only in %1"_s.arg(QLatin1Char(side)));
    }
    void showChanged(const Row& a, const Row& b, const std::vector<size_t>& columns) override
    {
        printRow(a, u":"_s);
        for (const size_t at : columns) {
            const Column& column = table().columns[at];
            const QByteArray before = seen(column, a.values[at]);
            const QByteArray after = seen(column, b.values[at]);
            const QString change =
                before == after ? u"differs"_s : QString::fromUtf8(before + " -> " + after);
            output.printText(u"    %1: %2"_s.arg(QString::fromLatin1(column.name), change));
        }
    }
};

/// Written row by row, because there may be many.
class JsonReport : public Report
{
public:
    using Report::Report;

    void begin(const QString& a, const QString& b)
    {
        output.printBytes(
            "{\"a\": " + quotedJson(a.toUtf8()) + ", \"b\": " + quotedJson(b.toUtf8()) +
            ", \"tables\": {");
    }
    void finish() override
    {
        output.printBytes("},\n\"notCompared\": [");
        for (qsizetype at = 0; at < missing.size(); ++at)
            output.printBytes((at == 0 ? "" : ", ") + quotedJson(missing.at(at).toUtf8()));
        output.printBytes(QByteArray("], \"same\": ") + (sidesAgree() ? "true" : "false") + "}\n");
    }

private:
    void beginTable() override
    {
        output.printBytes(
            (tables.size() == 1 ? "\n" : ",\n") + quotedJson(table().name) + ": {\"rows\": [");
        anyRow = false;
    }
    void endTable() override
    {
        output.printBytes("], \"same\": " + QByteArray::number(current().same) + "}");
    }
    void printRow(const Row& row, const QByteArray& rest)
    {
        output.printBytes(
            (anyRow ? ",\n  {\"id\": " : "\n  {\"id\": ") + QByteArray::number(row.id) + rest +
            "}");
        anyRow = true;
    }
    void showOnly(const Row& row, char side) override
    {
        printRow(row, QByteArray(", \"onlyIn\": \"") + (side == 'A' ? "a" : "b") + "\"");
    }
    void showChanged(const Row& a, const Row& b, const std::vector<size_t>& columns) override
    {
        QByteArray fields;
        for (const size_t at : columns) {
            const Column& column = table().columns[at];
            fields += (fields.isEmpty() ? "" : ", ") + quotedJson(column.name) + ": ";
            const QByteArray before = seen(column, a.values[at]);
            const QByteArray after = seen(column, b.values[at]);
            fields += before == after ? QByteArray("{\"differs\": true}")
                                      : "{\"a\": " + before + ", \"b\": " + after + "}";
        }
        printRow(a, ", \"columns\": {" + fields + "}");
    }

    bool anyRow = false;
};

void compareSides(DiffSide& a, DiffSide& b, Report& report)
{
    // Beside a store of a fleet, the other side is what a push would have sent of it.
    RowsAsSent sentOfA(a.rows());
    RowsAsSent sentOfB(b.rows());
    const bool asSent = a.isFleet() || b.isFleet();
    try {
        if (asSent)
            report.compare(sentOfA, sentOfB);
        else
            report.compare(a.rows(), b.rows());
    } catch (const doctor::ReadFailure& failure) {
        a.check(failure);
        b.check(failure);
        throw;
    }
}

// With a fleet, what is no file is the id of a store.
QString nameOf(const Session& session, const std::string& argument)
{
    const QString text = QString::fromStdString(argument);
    return session.isFleet() && !QFileInfo::exists(text) ? text : absolutePath(argument);
}

DiffSide sideFor(const Session& session, const QString& name)
{
    return name.startsWith(u'/') ? DiffSide(name)
                                 : DiffSide(openFleetStore(session.fleetPlace(), name));
}

void run(Session& session, const DiffOptions& options)
{
    const QString nameOfA = nameOf(session, options.a);
    const QString nameOfB = nameOf(session, options.b);
    DiffSide a = sideFor(session, nameOfA);
    DiffSide b = sideFor(session, nameOfB);
    for (DiffSide* const side : {&a, &b}) {
        if (side->isDatabase())
            session.noteUse(side->database());
    }
    std::unique_ptr<Report> report;
    if (session.output.json()) {
        auto json = std::make_unique<JsonReport>(session.output);
        json->begin(nameOfA, nameOfB);
        report = std::move(json);
    } else {
        report = std::make_unique<TextReport>(session.output);
    }
    compareSides(a, b, *report);
    report->finish();
    if (!report->missingTables().isEmpty()) {
        session.output.note(u"Not compared, because only one of the two has them: %1."_s.arg(
            report->missingTables().join(u", "_s)));
    }
    if (a.isFleet() || b.isFleet())
        session.output.note(u"What a push does not send, such as secrets, is not compared."_s);
    else if (!a.isDatabase() || !b.isDatabase())
        session.output.note(u"The secrets in an export are not compared."_s);
    session.exitCode = report->sidesAgree() ? ExitCode::Ok : ExitCode::Findings;
}

} // namespace

} // namespace velmioctl::exchange

namespace velmioctl {

void addDiffCommand(Command& app, Session& session)
{
    Command* const command =
        app.addSubcommand("diff", "Compare two databases or exports; exit code 1 if they differ");
    const auto options = std::make_shared<exchange::DiffOptions>();
    command
        ->addOption(
            "A", options->a,
            "A database, an export, or, if --database names a fleet, the id of a store")
        ->required()
        ->offersFiles();
    command->addOption("B", options->b, "What to compare it with")->required()->offersFiles();
    command->example("velmioctl diff yesterday.json today.json");
    command->example("velmioctl diff old.db settings.json --json");
    command->callback([&session, options] { exchange::run(session, *options); });
}

} // namespace velmioctl
