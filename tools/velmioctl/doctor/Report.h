#pragma once

#include <velmioctl/doctor/Doctor.h>

#include <QJsonObject>
#include <QString>

#include <vector>

namespace velmioctl {
class Output;
}

namespace velmioctl::doctor {

/// "error", "warning" or "note".
QString wordOf(Severity severity);

/// Collects what an examination finds, to print it.
///
/// A person sees the first rows of a check. A program gets all of them, each when it is found, so
/// only a few are kept at a time.
class Report : public Examiner
{
public:
    /// A fix, and how many rows it would repair.
    struct PlannedFix
    {
        const Fix* fix;
        long long rows;

        QString toText() const;
        QJsonObject toJson() const;
    };

    /// What a check has found.
    struct Finding
    {
        Check check;
        long long count = 0;
        std::vector<Row> rows; ///< The first ones.
        std::vector<PlannedFix> fixes;
    };

    Report(Output& output, const QString& path);

    void found(const Check& check, const Row& row) override;
    void fixable(const Fix& fix, long long count) override;

    /// Prints the rest; `fix` is for programs what was or would be repaired.
    void finish(const QJsonObject& fix);

    long long count(Severity severity) const;

    /// True if a check found an error or a warning.
    bool hasFindings() const;

    /// True if rows can be repaired.
    bool storeIsSound() const;

    /// The fixes for all that was found.
    std::vector<PlannedFix> plan() const;

private:
    void printHead();
    void endFinding();
    void printJson(const QString& piece);
    void printText();
    void print(const Finding& finding);

    Output& output;
    const QString path;
    std::vector<Finding> findings;
    bool open = false; // a finding is being printed as JSON
};

} // namespace velmioctl::doctor
