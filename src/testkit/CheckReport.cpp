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
    case Outcome::Kept:
        return u"kept"_s;
    case Outcome::Broken:
        return u"BROKEN"_s;
    case Outcome::NotRun:
        return u"not run"_s;
    }
    return {};
}

QString keyFor(Outcome outcome)
{
    switch (outcome) {
    case Outcome::Kept:
        return u"kept"_s;
    case Outcome::Broken:
        return u"broken"_s;
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
    QString text = u"%1 promises kept, %2 broken, %3 not checked\n\n"_s.arg(count(Outcome::Kept))
                       .arg(count(Outcome::Broken))
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
        {u"kept"_s, isKept()},
        {u"checks"_s, checks}};
    return QJsonDocument(report).toJson();
}

} // namespace sync::testkit
