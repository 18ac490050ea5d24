#pragma once
#include <core/PosixSync.h>

#include <interf/IDatabaseFactory.h>

#include <QString>

#include <memory>

class QSqlDatabase;

namespace sync::test {

/// A factory over Qt's SQL module as a host may write it: a connection for each thread, and
/// forward-only queries. Transaction scopes have no effect on it.
///
/// Connections are closed with the factory; threads that used it must have ended by then.
class QtSqlDatabaseFactory : public interf::factory::IDatabaseFactory
{
public:
    /// Opens the database file, and creates it and its tables if it does not exist.
    static std::shared_ptr<QtSqlDatabaseFactory> open(const QString& path);
    ~QtSqlDatabaseFactory() override;

    std::shared_ptr<interf::IQSqlDatabaseWrapper> GetDatabase() override;
    std::shared_ptr<interf::IQSqlQueryWrapper> CreateQuery() override;

private:
    class Connections;
    explicit QtSqlDatabaseFactory(std::shared_ptr<Connections> connections);

    const std::shared_ptr<Connections> connections;
};

} // namespace sync::test
