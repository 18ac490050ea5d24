#pragma once

#include <interf/IDatabaseFactory.h>
#include <interf/IQSqlDatabaseWrapper.h>
#include <interf/IQSqlQueryWrapper.h>
#include <testkit/FactoryCheck.h>

#include <QList>
#include <QString>
#include <QStringList>
#include <QVariant>

#include <memory>
#include <utility>

namespace sync::testkit {

using Query = std::shared_ptr<interf::IQSqlQueryWrapper>;
using Bindings = QList<std::pair<QString, QVariant>>;

/// Ends a check at once with a finding.
struct Stopped
{
    QString finding;
};

/// Ends a check that cannot run.
struct Skipped
{
    QString reason;
};

/// The statements over a factory that a check needs to work at all: each throws Stopped if it
/// fails. Any thread may use its own.
class Database
{
public:
    explicit Database(std::shared_ptr<interf::factory::IDatabaseFactory> factory);

    /// A new query with the text prepared and the values bound. Like the managers, it ignores the
    /// result of prepare().
    Query prepare(const QString& sql, const Bindings& bindings = {}) const;

    /// The same, executed.
    Query exec(const QString& sql, const Bindings& bindings = {}) const;

    /// Column 0 of all rows, and of the first row.
    QVariantList column(const QString& sql, const Bindings& bindings = {}) const;
    QVariant value(const QString& sql, const Bindings& bindings = {}) const;

    /// Adds a row to VelmioCheck that has a value in one column, and returns its id.
    int insert(const QString& column, const QVariant& value) const;

    /// Stores a value in such a row and returns what is read back.
    QVariant store(const QString& column, const QVariant& value) const;

    /// The texts of all rows of VelmioCheck, in the order of their ids.
    QStringList words() const;

    std::shared_ptr<interf::IQSqlDatabaseWrapper> connection() const;

    interf::factory::IDatabaseFactory& engine() const { return *factory; }

private:
    std::shared_ptr<interf::factory::IDatabaseFactory> factory;
};

/// What one check is given.
class CheckRun
{
public:
    explicit CheckRun(const Host& host);

    /// The factory that is checked.
    const Database database;

    /// A second factory over the same database; throws Skipped when the host has none.
    Database reopened() const;

    /// Throws Skipped for a factory that only one thread uses.
    void needThreads() const;

    /// The optional interface of the factory; throws Skipped if the factory does not offer it.
    template <typename Source>
    Source& needs(const QString& name) const
    {
        if (auto* const source = dynamic_cast<Source*>(&database.engine()))
            return *source;
        throw Skipped{QStringLiteral("the factory is not a ") + name};
    }

    /// Drops the scratch tables and creates new ones; throws Stopped.
    void replaceTables() const;

    /// Adds the finding unless `kept`.
    void expect(bool kept, const QString& finding);

    const QStringList& findings() const { return list; }

private:
    const Host& host;
    QStringList list;
};

/// One check: its name and promise as the report has them, and how to find out.
struct Check
{
    QString name;
    QString promise;
    void (*run)(CheckRun& run);
};

/// A value in a finding, with what an eye would not see written as \u and digits.
QString shown(const QVariant& value);

QList<Check> placeholderChecks();
QList<Check> valueChecks();
QList<Check> timeChecks();
QList<Check> typedChecks();
QList<Check> statementChecks();
QList<Check> rowChecks();
QList<Check> errorChecks();
QList<Check> transactionChecks();
QList<Check> threadChecks();

} // namespace sync::testkit
