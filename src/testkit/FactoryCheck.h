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

/// How the host's database writes the types of the scratch tables; as SQLite does by default.
struct ColumnTypes
{
    /// Of a column that numbers its rows, and never uses a number again.
    QString newId = QStringLiteral("INTEGER PRIMARY KEY AUTOINCREMENT");
    QString wholeNumber = QStringLiteral("INTEGER"); ///< 64 bits
    QString fraction = QStringLiteral("REAL");       ///< double precision
    QString text = QStringLiteral("TEXT");           ///< any length; compares exactly
    QString bytes = QStringLiteral("BLOB");          ///< any length
    QString moment = QStringLiteral("TEXT");         ///< what the host keeps times in
};

/// What a host hands to the checks.
struct Host
{
    /// The factory to check, over a database of which nothing is needed afterwards. The checks make
    /// and drop the tables "VelmioCheck" and "VelmioOther" in it.
    std::shared_ptr<interf::factory::IDatabaseFactory> factory;

    /// Another factory over the same database, with connections of its own: it sees what is
    /// committed, and nothing else. Without it durability is not checked.
    std::function<std::shared_ptr<interf::factory::IDatabaseFactory>()> reopen;

    /// False for a factory that only one thread will ever use.
    bool servesSeveralThreads = true;

    /// For databases whose types have other names.
    ColumnTypes columnTypes;

    /// Runs a CREATE TABLE or DROP TABLE IF EXISTS statement where the factory's own queries do
    /// not. Returns the database's text of why it failed; empty when it succeeded.
    std::function<QString(const QString& sql)> define;
};

/// Finds out whether a factory keeps what the managers rely on.
///
/// What is committed, the checks can see; whether it outlives a power cut, they cannot. One thread
/// uses the object; the checks start threads of their own and have ended them when they return.
class VELMIO_TESTKIT_EXPORT FactoryCheck
{
public:
    /// Touches nothing yet.
    explicit FactoryCheck(Host host);

    /// The names of all checks, in the order in which runAll() runs them.
    static QStringList names();

    /// Runs all checks, each on empty scratch tables. Takes a few seconds at most, unless a thread
    /// is kept waiting, which is given up after ten.
    CheckReport runAll() const;

    /// Runs one check of names(). A name that is none of them reads as Outcome::NotRun.
    CheckResult run(const QString& name) const;

private:
    Host host;
};

} // namespace sync::testkit
