#pragma once
#include <core/PosixSync.h>

#include <core/Export.h>
#include <interf/IDatabaseFactory.h>
#include <testkit/CheckReport.h>

#include <QString>
#include <QStringList>

#include <functional>
#include <memory>

namespace sync::testkit {

/// The type names of the scratch tables in the host's database; SQLite's by default.
struct ColumnTypes
{
    /// For a column that numbers its rows and never reuses a number.
    QString newId = QStringLiteral("INTEGER PRIMARY KEY AUTOINCREMENT");
    QString wholeNumber = QStringLiteral("INTEGER"); ///< 64 bits
    QString fraction = QStringLiteral("REAL");       ///< double precision
    QString text = QStringLiteral("TEXT");           ///< any length; compares exactly
    QString bytes = QStringLiteral("BLOB");          ///< any length
    QString moment = QStringLiteral("TEXT");         ///< the type in which the host stores times
};

/// What a host provides for the checks.
struct Host
{
    /// The factory to check, over a database whose content is not needed: the checks create and
    /// drop the tables "VelmioCheck" and "VelmioOther" in it.
    std::shared_ptr<interf::factory::IDatabaseFactory> factory;

    /// Another factory over the same database, with its own connections: it sees only what is
    /// committed. Without it, durability is not checked.
    std::function<std::shared_ptr<interf::factory::IDatabaseFactory>()> reopen;

    /// False for a factory that only one thread will ever use.
    bool servesSeveralThreads = true;

    /// For databases whose types have other names.
    ColumnTypes columnTypes;

    /// Runs a CREATE TABLE or DROP TABLE IF EXISTS statement if the factory's own queries cannot.
    /// Returns the database's error text; empty on success.
    std::function<QString(const QString& sql)> define;
};

/// Finds out whether a factory does what the managers rely on.
///
/// The checks see what is committed, but not whether it survives a power cut. One thread uses the
/// object; the checks start threads of their own, which have ended when they return.
class VELMIO_TESTKIT_EXPORT FactoryCheck
{
public:
    /// Accesses nothing yet.
    explicit FactoryCheck(Host host);

    /// The names of all checks, in the order in which runAll() runs them.
    static QStringList names();

    /// Runs all checks, each on empty scratch tables. Takes a few seconds at most, unless a thread
    /// is kept waiting: the check stops waiting after ten seconds.
    CheckReport runAll() const;

    /// Runs one check of names(). Any other name gives Outcome::NotRun.
    CheckResult run(const QString& name) const;

private:
    Host host;
};

} // namespace sync::testkit
