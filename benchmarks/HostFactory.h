#pragma once

#include <interf/IDatabaseFactory.h>

#include <QSqlDatabase>
#include <QSqlQuery>
#include <QString>

#include <memory>

namespace velmio::benchmarks {

/// Opens a connection of Qt's SQL module with the pragmas that all engines have; throws
/// std::runtime_error.
QSqlDatabase openQtSql(const QString& path);

/// A factory as a host may write it for one thread: one connection of Qt's SQL module, whose
/// queries stay prepared between their uses.
class HostFactory : public sync::interf::factory::IDatabaseFactory
{
public:
    static std::shared_ptr<HostFactory> open(const QString& path);

    std::shared_ptr<sync::interf::IQSqlDatabaseWrapper> GetDatabase() override;
    std::shared_ptr<sync::interf::IQSqlQueryWrapper> CreateQuery() override;

private:
    explicit HostFactory(const QString& path);

    struct Connection;
    const std::shared_ptr<Connection> connection;
    friend class HostQuery;
};

} // namespace velmio::benchmarks
