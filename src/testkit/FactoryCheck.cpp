#include <testkit/FactoryCheck.h>

#include <testkit/checks/CheckRun.h>
#include <testkit/checks/ScratchTables.h>

#include <algorithm>
#include <exception>

using namespace Qt::StringLiterals;

namespace sync::testkit {

namespace {

const QList<Check>& allChecks()
{
    static const QList<Check> checks = placeholderChecks() + valueChecks() + timeChecks() +
                                       typedChecks() + statementChecks() + rowChecks() +
                                       errorChecks() + transactionChecks() + threadChecks();
    return checks;
}

CheckResult runOne(const Check& check, const Host& host)
{
    CheckResult result{check.name, check.promise, Outcome::Failed, {}};
    CheckRun run(host);
    try {
        makeScratchTables(host);
        check.run(run);
        result.findings = run.findings();
        result.outcome = result.findings.isEmpty() ? Outcome::Passed : Outcome::Failed;
    } catch (const Skipped& skipped) {
        result.outcome = Outcome::NotRun;
        result.findings = {skipped.reason};
    } catch (const Stopped& stopped) {
        result.findings = run.findings() + QStringList{stopped.finding};
    } catch (const std::exception& error) {
        result.findings =
            run.findings() +
            QStringList{u"an exception was thrown: "_s + QString::fromUtf8(error.what())};
    }
    dropScratchTables(host);
    return result;
}

} // namespace

FactoryCheck::FactoryCheck(Host host)
    : host(std::move(host))
{
}

QStringList FactoryCheck::names()
{
    QStringList names;
    for (const Check& check : allChecks())
        names.append(check.name);
    return names;
}

CheckReport FactoryCheck::runAll() const
{
    QList<CheckResult> results;
    for (const Check& check : allChecks())
        results.append(runOne(check, host));
    return CheckReport(std::move(results));
}

CheckResult FactoryCheck::run(const QString& name) const
{
    const auto& checks = allChecks();
    const auto found = std::find_if(
        checks.begin(), checks.end(), [&name](const Check& check) { return check.name == name; });
    if (found == checks.end())
        return {name, {}, Outcome::NotRun, {u"there is no check of this name"_s}};
    return runOne(*found, host);
}

} // namespace sync::testkit
