#include <testkit/CheckReport.h>

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace sync::testkit {

namespace {

QString wordFor(Outcome outcome)
{
    switch (outcome) {
    case Outcome::Passed:
        return u"passed"_s;
    case Outcome::Failed:
        return u"FAILED"_s;
    case Outcome::NotRun:
        return u"not run"_s;
    }
    return {};
}

QString keyFor(Outcome outcome)
{
    switch (outcome) {
    case Outcome::Passed:
        return u"passed"_s;
    case Outcome::Failed:
        return u"failed"_s;
    case Outcome::NotRun:
        return u"notRun"_s;
    }
    return {};
}

} // namespace

CheckReport::CheckReport(QList<CheckResult> results)
    : list(std::move(results))
{
}

qsizetype CheckReport::count(Outcome outcome) const
{
    return std::count_if(list.begin(), list.end(), [outcome](const auto& result) {
        return result.outcome == outcome;
    });
}

QString CheckReport::toText() const
{
    QString text = u"Checks passed: %1, failed: %2, not run: %3\n\n"_s.arg(count(Outcome::Passed))
                       .arg(count(Outcome::Failed))
                       .arg(count(Outcome::NotRun));
    for (const CheckResult& result : list) {
        constexpr int OutcomeWidth = 9;
        text += wordFor(result.outcome).leftJustified(OutcomeWidth) + result.promise + u'\n';
        for (const QString& finding : result.findings)
            text += QString(OutcomeWidth, u' ') + u"- "_s + finding + u'\n';
    }
    return text;
}

QByteArray CheckReport::toJson() const
{
    QJsonArray checks;
    for (const CheckResult& result : list) {
        checks.append(QJsonObject{
            {u"name"_s, result.name},
            {u"promise"_s, result.promise},
            {u"outcome"_s, keyFor(result.outcome)},
            {u"findings"_s, QJsonArray::fromStringList(result.findings)}});
    }
    const QJsonObject report{
        {u"format"_s, u"velmio-factory-check"_s},
        {u"version"_s, 1},
        {u"passed"_s, hasPassed()},
        {u"checks"_s, checks}};
    return QJsonDocument(report).toJson();
}

} // namespace sync::testkit
