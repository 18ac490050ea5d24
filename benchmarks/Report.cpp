#include "Report.h"

#include <QFile>
#include <QJsonArray>

#include <algorithm>
#include <stdexcept>

using namespace Qt::StringLiterals;

namespace velmio::benchmarks {

namespace {

constexpr QStringView PageBegin = u"<!-- measured: written by ./dev bench -->\n";
constexpr QStringView PageEnd = u"<!-- end of measured -->\n";

// A cached list is shared, not copied.
constexpr double CachedListGoalNs = 1000;
constexpr double WatchedGoal = 1.03;
constexpr double PolledGoal = 1.10;

QString decimal(double value, int decimals)
{
    return QString::number(value, 'f', decimals);
}

// Rounded to three significant digits.
QString threeDigits(double value)
{
    return decimal(value, value < 10 ? 2 : value < 100 ? 1 : 0);
}

QString timeText(double nanoseconds)
{
    if (nanoseconds < 1e3)
        return threeDigits(nanoseconds) + u" ns"_s;
    if (nanoseconds < 1e6)
        return threeDigits(nanoseconds / 1e3) + u" µs"_s;
    if (nanoseconds < 1e9)
        return threeDigits(nanoseconds / 1e6) + u" ms"_s;
    return threeDigits(nanoseconds / 1e9) + u" s"_s;
}

QString valueText(const Comparison& comparison, const QString& engine)
{
    if (!comparison.runs.contains(engine))
        return {};
    const double value = comparison.median(engine);
    return comparison.workload.value == Workload::Value::Memory
               ? threeDigits(value / 1e6) + u" MB"_s
               : timeText(value);
}

QString rateText(const Comparison& comparison, const QString& engine)
{
    const double rate = comparison.perSecond(engine);
    return rate > 0 ? decimal(rate, 0) : QString();
}

QString p99Text(const Comparison& comparison, const QString& engine)
{
    return comparison.workload.value == Workload::Value::OneOperation
               ? timeText(comparison.p99Ns(engine))
               : QString();
}

QString ratioText(const Comparison& comparison, const QString& engine, double goal)
{
    const double ratio = comparison.ratio(engine);
    if (ratio == 0)
        return {};
    const QString text = decimal(ratio, 2);
    if (goal == 0)
        return text;
    return text + u" (%1 %2)"_s.arg(ratio <= goal ? u"≤" : u"missed", decimal(goal, 2));
}

/// A Markdown table with aligned columns.
QString table(const QList<QStringList>& rows)
{
    QList<qsizetype> widths(rows.first().size(), 0);
    for (const QStringList& row : rows) {
        for (qsizetype column = 0; column < row.size(); ++column)
            widths[column] = std::max(widths[column], row[column].size());
    }
    QString text;
    const auto append = [&](const QStringList& row, QChar padding) {
        for (qsizetype column = 0; column < row.size(); ++column)
            text += u"| "_s + row[column].leftJustified(widths[column], padding) + u' ';
        text += u"|\n";
    };
    append(rows.first(), u' ');
    append(QStringList(rows.first().size(), u"-"_s), u'-');
    for (const QStringList& row : rows.mid(1))
        append(row, u' ');
    return text;
}

QString comparisonTable(const Report& report)
{
    QList<QStringList> rows{
        {u"operation"_s, u"floor"_s, u"embedded"_s, u"p99"_s, u"per second"_s, u"ratio"_s,
         u"as QVariant"_s, u"host, QtSql"_s, u"naive"_s}};
    for (const Comparison& one : report.comparisons) {
        const Workload& workload = one.workload;
        const QString embedded = u"embedded"_s;
        rows.append(
            {workload.title, valueText(one, u"floor"_s), valueText(one, embedded),
             p99Text(one, embedded), rateText(one, embedded),
             ratioText(one, embedded, workload.embeddedGoal),
             ratioText(one, u"variant"_s, workload.hostGoal),
             ratioText(one, u"host"_s, workload.hostGoal), ratioText(one, u"naive"_s, 0)});
    }
    return table(rows);
}

QList<Claim> allClaims(const Report& report)
{
    QList<Claim> claims;
    for (const Comparison& one : report.comparisons) {
        if (one.workload.name == u"folders-cached")
            claims.append(
                {one.workload.title + u", in nanoseconds"_s,
                 one.median(u"embedded"_s),
                 true,
                 CachedListGoalNs,
                 {}});
        if (one.runs.contains(u"watched"_s))
            claims.append(
                {one.workload.title + u", with a ChangeNotifier relative to without"_s,
                 one.median(u"watched"_s) / one.median(u"embedded"_s),
                 true,
                 WatchedGoal,
                 {}});
        if (one.runs.contains(u"polled"_s))
            claims.append(
                {one.workload.title + u", with a polling ChangeNotifier relative to without"_s,
                 one.median(u"polled"_s) / one.median(u"embedded"_s), true, PolledGoal,
                 u"%1 and %2"_s.arg(valueText(one, u"polled"_s), valueText(one, u"embedded"_s))});
        if (one.runs.contains(u"unchecked"_s))
            claims.append(
                {one.workload.title +
                     u", relative to a floor that does not search for duplicates"_s,
                 one.median(u"embedded"_s) / one.median(u"unchecked"_s),
                 true,
                 one.workload.embeddedGoal,
                 {}});
    }
    return claims + report.sizes.claims + report.growth + report.concurrency.claims;
}

QString claimTable(const Report& report)
{
    QList<QStringList> rows{{u"property"_s, u"measured"_s, u"goal"_s, u""_s, u"details"_s}};
    for (const Claim& claim : allClaims(report))
        rows.append(
            {claim.title, threeDigits(claim.value),
             (claim.atMost ? u"at most "_s : u"at least "_s) + decimal(claim.goal, 2),
             claim.holds() ? u"met"_s : u"missed"_s, claim.detail});
    return table(rows);
}

QString machineTable(const Report& report)
{
    QList<QStringList> rows{{u"measured on"_s, u""_s}};
    for (const auto& [name, value] : report.machine)
        rows.append({name, value});
    return table(rows);
}

QJsonObject engineJson(const Comparison& comparison, const QString& engine)
{
    QJsonArray runs;
    for (const Measurement& run : comparison.runs[engine])
        runs.append(run.toJson());
    return {
        {u"median"_s, comparison.median(engine)},
        {u"p99Ns"_s, comparison.p99Ns(engine)},
        {u"perSecond"_s, comparison.perSecond(engine)},
        {u"ratio"_s, comparison.ratio(engine)},
        {u"runs"_s, runs}};
}

QJsonObject comparisonJson(const Comparison& comparison)
{
    QJsonObject engines;
    for (const auto& [engine, runs] : comparison.runs.asKeyValueRange())
        engines[engine] = engineJson(comparison, engine);
    const bool memory = comparison.workload.value == Workload::Value::Memory;
    return {
        {u"name"_s, comparison.workload.name},
        {u"title"_s, comparison.workload.title},
        {u"unit"_s, memory ? u"bytes"_s : u"nanoseconds"_s},
        {u"goal"_s, comparison.workload.embeddedGoal},
        {u"hostGoal"_s, comparison.workload.hostGoal},
        {u"engines"_s, engines}};
}

QJsonObject claimJson(const Claim& claim)
{
    return {{u"title"_s, claim.title},   {u"value"_s, claim.value}, {u"goal"_s, claim.goal},
            {u"atMost"_s, claim.atMost}, {u"met"_s, claim.holds()}, {u"detail"_s, claim.detail}};
}

QJsonObject curveJson(const Curve& curve)
{
    QJsonArray points;
    for (const auto& [files, microseconds] : curve.points)
        points.append(QJsonArray{files, microseconds});
    return {{u"title"_s, curve.title}, {u"points"_s, points}};
}

} // namespace

QString tables(const Report& report)
{
    QString text;
    if (!report.comparisons.empty())
        text += comparisonTable(report) + u'\n';
    if (!allClaims(report).isEmpty())
        text += claimTable(report) + u'\n';
    return text + machineTable(report);
}

QJsonObject toJson(const Report& report)
{
    QJsonObject machine;
    for (const auto& [name, value] : report.machine)
        machine[name] = value;
    QJsonArray comparisons;
    for (const Comparison& comparison : report.comparisons)
        comparisons.append(comparisonJson(comparison));
    QJsonArray claims;
    for (const Claim& claim : allClaims(report))
        claims.append(claimJson(claim));
    QJsonArray curves;
    for (const Curve& curve : report.sizes.curves)
        curves.append(curveJson(curve));
    return {
        {u"machine"_s, machine},
        {u"comparisons"_s, comparisons},
        {u"claims"_s, claims},
        {u"curves"_s, curves}};
}

void updatePage(const QString& page, const QString& tables)
{
    QFile file(page);
    if (!file.open(QIODevice::ReadOnly))
        throw std::runtime_error("cannot read the page");
    QString text = QString::fromUtf8(file.readAll());
    file.close();
    const qsizetype begin = text.indexOf(PageBegin);
    const qsizetype end = text.indexOf(PageEnd);
    if (begin < 0 || end < begin)
        throw std::runtime_error("the page has no markers for the tables");
    const qsizetype first = begin + PageBegin.size();
    text.replace(first, end - first, u'\n' + tables + u'\n');
    if (!file.open(QIODevice::WriteOnly) || file.write(text.toUtf8()) < 0)
        throw std::runtime_error("cannot write the page");
}

} // namespace velmio::benchmarks
