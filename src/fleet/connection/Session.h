#pragma once

#include <fleet/connection/PostgresHandle.h>
#include <fleet/connection/PostgresValues.h>

#include <QByteArray>
#include <QHash>

#include <initializer_list>
#include <memory>
#include <span>
#include <vector>

namespace sync::fleet {

/// A statement with its values.
struct Command
{
    QByteArray text;
    Parameters* parameters = nullptr; // none
};

/// A connection on which several commands take one round trip, and statements stay prepared. One
/// thread at a time may use it.
class Session
{
public:
    /// Connects, directly or through a pool. Throws DatabaseError.
    static std::unique_ptr<Session> open(const ConnectionOptions& options);

    /// Takes a connection that is idle. Behind a pool that lends a server for one transaction only,
    /// the next server knows neither prepared statements nor settings: `transactionSettings` then
    /// begins each transaction.
    explicit Session(PostgresHandle connection, const QByteArray& transactionSettings = {});

    PGconn* handle() const { return connection.get(); }

    /// What the commands of a round trip have answered.
    struct Answers
    {
        std::vector<ResultHandle> results; ///< of those that ran, a failed one at the end
        bool succeeded = false;            ///< all ran, and what they did alone is committed
        bool broke = false;                ///< the connection is gone: what ran is not known

        /// Of the last command that ran; null without one.
        const PGresult* last() const { return results.empty() ? nullptr : results.back().get(); }
    };

    /// Runs commands in order, up to the first one that fails. Outside a transaction they are a
    /// transaction by themselves. @{
    Answers run(std::span<const Command> commands);
    Answers run(std::initializer_list<Command> commands)
    {
        return run(std::span(commands.begin(), commands.size()));
    }
    ///@}

    /// False if the server has closed the connection meanwhile. Costs a system call.
    bool isAlive();

private:
    struct Prepared
    {
        QByteArray name;
        quint64 lastUse = 0;
    };

    bool send(const Command& command, std::vector<QByteArray>& preparing);
    void dropOldStatements(std::vector<QByteArray>& preparing);
    ResultHandle nextResult();
    void forgetStatement(const PGresult* failed, const QByteArray& key);

    const PostgresHandle connection;
    const QByteArray transactionSettings; // empty if the session keeps its state
    QHash<QByteArray, Prepared> prepared; // by text, and the types that are declared
    quint64 uses = 0;
    quint64 names = 0;
};

} // namespace sync::fleet
