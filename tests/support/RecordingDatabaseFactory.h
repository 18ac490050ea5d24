#pragma once
#include <core/PosixSync.h>

#include <interf/IDatabaseFactory.h>

#include <QList>
#include <QMap>
#include <QString>
#include <QStringList>
#include <QVariant>

#include <memory>
#include <utility>

namespace sync::test {

/// What the recording database answers to one statement.
struct Answer
{
    QList<QVariantList> rows = {};
    bool fails = false;  ///< exec() returns false.
    bool throws = false; ///< exec() throws ExecException.
    QVariant lastInsertId = {};
    int numRowsAffected = 0;
};

/// Thrown by exec() for an Answer that throws.
struct ExecException
{
};

/// A database that runs nothing: it records every call and returns the answers that were set.
///
/// The log has a line for each call, so that a test compares all of it as one list:
///
///     create query, depth 0
///     prepare SELECT ... WHERE id = :id
///     bind :id int 7
///     exec, depth 0
///     release
///
/// The depth is the number of transaction scopes that are open at that moment. Reading rows is not
/// recorded unless noteRowCalls() was called.
class RecordingDatabaseFactory : public interf::factory::IDatabaseFactory
{
public:
    RecordingDatabaseFactory();
    ~RecordingDatabaseFactory() override;

    std::shared_ptr<interf::IQSqlDatabaseWrapper> GetDatabase() override;
    std::shared_ptr<interf::IQSqlQueryWrapper> CreateQuery() override;

    /// Answers the statement that is executed as number `position`, counted from 1. Takes
    /// precedence over answers to texts.
    void answer(int position, Answer answer);

    /// Answers every statement whose text contains `sql`. The answer that was set last takes
    /// precedence.
    void answer(const QString& sql, Answer answer);

    /// Answers all other statements; by default without rows and with success.
    void answerOthers(Answer answer);

    /// What transaction(), commit() and rollback() of the connection return; true by default.
    void setTransactionResult(bool result);

    /// Also records next(), isValid() and value().
    void noteRowCalls();

    /// Everything since the start or the last takeLog().
    QStringList log() const;
    QStringList takeLog();

    /// Adds a line of the test's own, such as a call of another service.
    void note(const QString& line);

private:
    friend class RecordingQuery;
    friend class RecordingDatabase;
    struct State;
    // Shared with the queries, which may outlive the factory.
    std::shared_ptr<State> state;
};

/// The lines for one statement outside any scope, to build an expected log from.
///
/// `binds` are the texts after "bind ", such as ":id int 7".
QStringList statementLog(const QString& sql, const QStringList& binds = {}, int depth = 0);

} // namespace sync::test
