#pragma once
#include <core/PosixSync.h>

#include <core/Export.h>

#include <QByteArray>
#include <QList>
#include <QString>
#include <QStringList>

namespace sync::testkit {

/// The outcome of a check.
enum class Outcome {
    Passed, ///< The factory does what the managers rely on.
    Failed, ///< It does not.
    NotRun, ///< The check needs something that the host did not provide; nothing is known.
};

/// The result of one check.
struct CheckResult
{
    QString name;                      ///< A stable identifier, such as "keepsNulls".
    QString promise;                   ///< What is checked, as a sentence.
    Outcome outcome = Outcome::Passed; ///< Whether it passed.
    QStringList findings;              ///< What was wrong, or the one reason why it did not run.
};

/// The results of all checks of a factory.
class VELMIO_TESTKIT_EXPORT CheckReport
{
public:
    /// Holds the results unchanged, in this order.
    explicit CheckReport(QList<CheckResult> results);

    /// In the order in which they ran.
    const QList<CheckResult>& results() const { return list; }

    /// How many checks had this outcome.
    qsizetype count(Outcome outcome) const;

    /// True if no check failed. Those that did not run prove nothing: see
    /// count(Outcome::NotRun).
    bool hasPassed() const { return count(Outcome::Failed) == 0; }

    /// For people: the summary, a line for each check, and below it what was found.
    QString toText() const;

    /// For programs, as JSON: "format", "version" 1, "passed", and "checks" with "name", "promise",
    /// "outcome" ("passed", "failed" or "notRun") and "findings".
    QByteArray toJson() const;

private:
    QList<CheckResult> list;
};

} // namespace sync::testkit
