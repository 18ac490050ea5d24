#pragma once

#include <interf/IDatabaseFactory.h>

#include <QSqlDatabase>
#include <QSqlQuery>
#include <QString>

#include <memory>

namespace velmio::benchmarks {

/// Opens a connection of Qt's SQL module with the pragmas of all engines; throws
/// std::runtime_error.
QSqlDatabase openQtSql(const QString& path);

/// A factory that a host might write for one thread: one connection of Qt's SQL module, whose
/// queries stay prepared between uses.
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
