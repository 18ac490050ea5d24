#pragma once
#include <core/PosixSync.h>

#include <testkit/FactoryCheck.h>

#include <QTest>

/// \file
/// The checks as a data-driven test of Qt Test, which the test program links itself:
///
///     void keepsItsContract_data() { sync::testkit::addCheckRows(); }
///     void keepsItsContract() { sync::testkit::runCheckRow(host); }

namespace sync::testkit {

/// Adds a row for each check, in its one column "check".
inline void addCheckRows()
{
    QTest::addColumn<QString>("check");
    for (const QString& name : FactoryCheck::names())
        QTest::newRow(qPrintable(name)) << name;
}

/// Runs the check of the current row: a failure shows the findings, and a check that cannot run is
/// skipped with the reason.
inline void runCheckRow(const Host& host)
{
    QFETCH(const QString, check);
    const CheckResult result = FactoryCheck(host).run(check);
    const QString text =
        result.promise + QStringLiteral("\n - ") + result.findings.join(QStringLiteral("\n - "));
    if (result.outcome == Outcome::NotRun)
        QSKIP(qPrintable(text));
    QVERIFY2(result.outcome == Outcome::Passed, qPrintable(text));
}

} // namespace sync::testkit
