#include <velmioctl/doctor/Report.h>

#include <velmioctl/cli/Output.h>
#include <velmioctl/cli/Text.h>
#include <velmioctl/store/Credentials.h>

#include <QJsonArray>
#include <QJsonDocument>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace velmioctl::doctor {

namespace {

constexpr size_t ShownRows = 10;

// A note has the colour of other text.
QString label(Severity severity, const Terminal& terminal)
{
    QString word = wordOf(severity);
    if (severity == Severity::Note)
        return word;
    return coloured(word, severity == Severity::Error ? Colour::Red : Colour::Yellow, terminal);
}

QString counted(long long count, const QString& word)
{
    return u"%1 %2%3"_s.arg(QString::number(count), word, count == 1 ? QString() : u"s"_s);
}

// With the id and name of the first row, so that the command can be copied.
QString remedyOf(const Report::Finding& finding)
{
    QString remedy = finding.check.remedy;
    const Row& first = finding.rows.front();
    return remedy.replace(u"{id}"_s, QString::number(first.id))
        .replace(u"{name}"_s, escapeControls(first.name));
}

QString text(const QJsonObject& object)
{
    return QString::fromUtf8(QJsonDocument(object).toJson(QJsonDocument::Compact));
}

QJsonObject rowJson(const Row& row)
{
    const bool isRecord = !row.table.isEmpty();
    return {
        {u"table"_s, isRecord ? QJsonValue(row.table) : QJsonValue()},
        {u"id"_s, isRecord && row.id >= 0 ? QJsonValue(row.id) : QJsonValue()},
        {u"name"_s, row.name},
        {u"detail"_s, row.detail},
    };
}

// "FolderConfiguration 7 "/path": parentId 99"
QString toText(const Row& row)
{
    QString line = row.table;
    if (row.id >= 0)
        line += u' ' + QString::number(row.id);
    if (!row.name.isEmpty())
        line += (line.isEmpty() ? QString() : u" "_s) + quoted(row.name);
    if (!row.detail.isEmpty())
        line += u": "_s + escapeControls(row.detail);
    return line;
}

} // namespace

QString wordOf(Severity severity)
{
    switch (severity) {
    case Severity::Error:
        return u"error"_s;
    case Severity::Warning:
        return u"warning"_s;
    case Severity::Note:
        break;
    }
    return u"note"_s;
}

QString Report::PlannedFix::toText() const
{
    return u"%1 (%2)"_s.arg(fix->does, QString::number(rows));
}

QJsonObject Report::PlannedFix::toJson() const
{
    return {{u"check"_s, fix->check}, {u"rows"_s, rows}, {u"does"_s, fix->does}};
}

Report::Report(Output& output, const QString& path)
    : output(output)
    , path(path)
{
    if (output.json())
        printJson(text({{u"database"_s, path}}).chopped(1) + u",\"findings\":["_s);
}

void Report::found(const Check& check, const Row& given)
{
    // A name may be a URL with a password. People send reports to others.
    Row row = given;
    row.name = withoutCredentials(row.name);
    row.detail = withoutCredentials(row.detail);
    const bool isNew = findings.empty() || findings.back().check.id != check.id;
    if (isNew) {
        endFinding();
        findings.push_back({check, 0, {row}, {}});
        if (output.json())
            printHead();
    }
    Finding& finding = findings.back();
    ++finding.count;
    if (output.json())
        printJson((isNew ? u"\n  "_s : u",\n  "_s) + text(rowJson(row)));
    else if (!isNew && finding.rows.size() < ShownRows)
        finding.rows.push_back(row);
}

void Report::fixable(const Fix& fix, long long count)
{
    findings.back().fixes.push_back({&fix, count});
}

void Report::finish(const QJsonObject& fix)
{
    if (!output.json()) {
        printText();
        return;
    }
    endFinding();
    const QJsonObject summary{
        {u"errors"_s, count(Severity::Error)},
        {u"warnings"_s, count(Severity::Warning)},
        {u"notes"_s, count(Severity::Note)},
        {u"fix"_s, fix.isEmpty() ? QJsonValue() : QJsonValue(fix)},
    };
    printJson(u"],\n"_s + text(summary).mid(1) + u'\n');
}

long long Report::count(Severity severity) const
{
    return std::count_if(findings.begin(), findings.end(), [severity](const Finding& finding) {
        return finding.check.severity == severity;
    });
}

bool Report::hasFindings() const
{
    return count(Severity::Error) + count(Severity::Warning) > 0;
}

bool Report::storeIsSound() const
{
    return std::none_of(findings.begin(), findings.end(), [](const Finding& finding) {
        return finding.check.severity == Severity::Error &&
               finding.check.id.startsWith(u"store."_s);
    });
}

std::vector<Report::PlannedFix> Report::plan() const
{
    std::vector<PlannedFix> all;
    for (const Finding& finding : findings)
        all.insert(all.end(), finding.fixes.begin(), finding.fixes.end());
    return all;
}

void Report::printHead()
{
    const Finding& finding = findings.back();
    const QJsonObject head{
        {u"check"_s, finding.check.id},    {u"severity"_s, wordOf(finding.check.severity)},
        {u"title"_s, finding.check.title}, {u"leadsTo"_s, finding.check.leadsTo},
        {u"remedy"_s, remedyOf(finding)},
    };
    printJson(
        (findings.size() == 1 ? u"\n"_s : u",\n"_s) + text(head).chopped(1) + u",\"rows\":["_s);
    open = true;
}

void Report::endFinding()
{
    if (!std::exchange(open, false))
        return;
    const Finding& finding = findings.back();
    QJsonArray fixes;
    for (const PlannedFix& fix : finding.fixes)
        fixes.append(fix.toJson());
    const QJsonObject tail{{u"count"_s, finding.count}, {u"fixes"_s, fixes}};
    printJson(u"],"_s + text(tail).mid(1));
}

void Report::printJson(const QString& piece)
{
    output.printBytes(piece.toUtf8());
}

void Report::printText()
{
    output.printText(u"%1: %2, %3, %4"_s.arg(
        escapeControls(path), counted(count(Severity::Error), u"error"_s),
        counted(count(Severity::Warning), u"warning"_s),
        counted(count(Severity::Note), u"note"_s)));
    for (const Severity severity : {Severity::Error, Severity::Warning, Severity::Note}) {
        for (const Finding& finding : findings) {
            if (finding.check.severity == severity)
                print(finding);
        }
    }
}

void Report::print(const Finding& finding)
{
    const int columns = output.answerTerminal().columns;
    const auto printWrapped = [this, columns](const QString& line, int indent) {
        output.printLines(wrapped(line, columns, indent) + u'\n');
    };
    output.printText({});
    const QString severity = wordOf(finding.check.severity);
    const QString head = wrapped(
        u"%1 %2: %3 (%4)"_s.arg(
            severity, finding.check.id, finding.check.title, QString::number(finding.count)),
        columns);
    // Coloured after it was broken into lines: escape sequences take no columns.
    output.printLines(
        label(finding.check.severity, output.answerTerminal()) + head.mid(severity.size()) + u'\n');
    for (const Row& row : finding.rows)
        printWrapped(toText(row), 4);
    const auto more = finding.count - static_cast<long long>(finding.rows.size());
    if (more > 0)
        printWrapped(u"and %1 more; --json lists them all"_s.arg(more), 4);
    printWrapped(u"Leads to: "_s + finding.check.leadsTo, 2);
    long long repaired = 0;
    for (const PlannedFix& fix : finding.fixes) {
        repaired += fix.rows;
        printWrapped(u"Remedy: 'velmioctl doctor --fix' "_s + fix.toText() + u'.', 2);
    }
    if (repaired < finding.count)
        printWrapped(u"Remedy: "_s + remedyOf(finding), 2);
}

} // namespace velmioctl::doctor
