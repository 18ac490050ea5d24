#pragma once

#include <QByteArray>
#include <QHash>
#include <QList>
#include <QString>

#include <memory>
#include <optional>

struct pg_conn;
struct pg_result;

namespace velmioctl::fleet {

/// The rows of an answer, all of them in memory.
class Rows
{
public:
    explicit Rows(pg_result* result);

    int count() const;
    bool isNull(int row, int column) const;
    /// Empty for NULL.
    QByteArray bytes(int row, int column) const;
    QString text(int row, int column) const { return QString::fromUtf8(bytes(row, column)); }
    /// 0 for NULL.
    qint64 number(int row, int column) const { return bytes(row, column).toLongLong(); }
    bool flag(int row, int column) const { return bytes(row, column) == "t"; }
    /// Of a bytea.
    QByteArray binary(int row, int column) const;
    /// How many rows an INSERT, UPDATE or DELETE has changed.
    qint64 changed() const;

    bool succeeded() const;
    QByteArray state() const; ///< The SQLSTATE of an error.
    QString error() const;

private:
    std::unique_ptr<pg_result, void (*)(pg_result*)> result;
};

/// A connection to the database of a fleet, for what needs more than the store of one client: COPY,
/// and what is read of all stores. All functions throw CommandError.
class Connection
{
public:
    /// A value of a statement; nothing is NULL.
    using Values = QList<std::optional<QByteArray>>;

    explicit Connection(const QString& place);
    ~Connection();

    /// Runs one statement, with the values for $1, $2 and so on.
    Rows run(const QByteArray& sql, const Values& values = {});

    /// Adds rows to a table: begins with the names of the columns, put() takes lines of COPY in its
    /// text format, and nothing else may run before endCopy().
    void beginCopy(const QByteArray& table, const QByteArray& columns);
    void put(const QByteArray& lines);
    void endCopy();

private:
    Rows checked(pg_result* result) const;
    [[noreturn]] void failAsBroken() const;
    bool isRestricted(const QByteArray& table);

    const QString name;
    const std::unique_ptr<pg_conn, void (*)(pg_conn*)> handle;
    QHash<QByteArray, bool> restricted; // table -> whether policies restrict its rows
    QByteArray insertAfterCopy;         // empty if the copy goes straight into its table
};

/// A transaction, rolled back unless commit() succeeds.
class FleetTransaction
{
public:
    /// For all stores: only reads, and one moment of them.
    explicit FleetTransaction(Connection& connection);

    /// For one store, which the policies of a service ask for.
    FleetTransaction(Connection& connection, const QByteArray& store);
    ~FleetTransaction();

    void commit();

private:
    Connection& connection;
    bool open = true;
};

/// The name that reports call a store by, in a transaction for it. Throws CommandError if the fleet
/// does not have it.
QString requireStore(Connection& connection, const QByteArray& store);

/// A list of numbers as PostgreSQL writes an array.
QByteArray arrayOf(const QList<qint64>& numbers);

} // namespace velmioctl::fleet
