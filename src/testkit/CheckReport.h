#pragma once
#include <core/PosixSync.h>

#include <core/Export.h>

#include <QByteArray>
#include <QList>
#include <QString>
#include <QStringList>

namespace sync::testkit {

/// What a check has found.
enum class Outcome {
    Kept,   ///< The factory does what the managers rely on.
    Broken, ///< It does not.
    NotRun, ///< What the check needs is not there; nothing is known.
};

/// The result of one check.
struct CheckResult
{
    QString name;                    ///< An identifier that stays, such as "keepsNulls".
    QString promise;                 ///< What is checked, as a sentence.
    Outcome outcome = Outcome::Kept; ///< What came of it.
    QStringList findings;            ///< What was wrong, or the one reason why it did not run.
};

/// The results of all checks of a factory.
class VELMIO_TESTKIT_EXPORT CheckReport
{
public:
    /// Of results that are kept as they are, in this order.
    explicit CheckReport(QList<CheckResult> results);

    /// In the order in which they ran.
    const QList<CheckResult>& results() const { return list; }

    /// How many checks had this outcome.
    qsizetype count(Outcome outcome) const;

    /// True when no check found anything wrong. Those that did not run prove nothing: see
    /// count(Outcome::NotRun).
    bool isKept() const { return count(Outcome::Broken) == 0; }

    /// For people: the summary, a line for each check, and below it what was found.
    QString toText() const;

    /// For programs, as JSON: "format", "version" 1, "kept", and "checks" with "name", "promise",
    /// "outcome" ("kept", "broken" or "notRun") and "findings".
    QByteArray toJson() const;

private:
    QList<CheckResult> list;
};

} // namespace sync::testkit
