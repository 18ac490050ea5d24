#pragma once

#include <interf/IDatabaseFactory.h>

#include <QSqlDatabase>

/// Lets the managers work on a connection that the host has opened with Qt's SQL module.
///
/// Such a connection belongs to the thread that opened it, and so does this factory: a host with
/// several threads hands out a connection for each.
class HostDatabaseFactory : public sync::interf::factory::IDatabaseFactory
{
public:
    explicit HostDatabaseFactory(const QSqlDatabase& database);

    std::shared_ptr<sync::interf::IQSqlDatabaseWrapper> GetDatabase() override;
    std::shared_ptr<sync::interf::IQSqlQueryWrapper> CreateQuery() override;

private:
    const QSqlDatabase database;
};
