#pragma once

#include <velmioctl/doctor/Doctor.h>

#include <QJsonObject>
#include <QString>

#include <vector>

namespace velmioctl {
class Output;
}

namespace velmioctl::doctor {

/// Collects what an examination finds, to print it.
///
/// Of the rows of a check a person is shown the first ones. Programs get all of them, each as it
/// comes, so that no more than a few are held at a time.
class Report : public Examiner
{
public:
    /// A fix, and how many rows it would mend.
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

    /// Prints what is still to be printed; `fix` is what was or is to be mended, for programs.
    void finish(const QJsonObject& fix);

    long long count(Severity severity) const;

    /// True when a check found something that is no mere note.
    bool hasFindings() const;

    /// True when nothing keeps rows from being mended.
    bool storeIsSound() const;

    /// What mends something of all that was found.
    std::vector<PlannedFix> plan() const;

private:
    void printHead();
    void endFinding();
    void printText();
    void print(const Finding& finding);

    Output& output;
    const QString path;
    std::vector<Finding> findings;
    bool open = false; // A finding is being printed as JSON.
};

} // namespace velmioctl::doctor
