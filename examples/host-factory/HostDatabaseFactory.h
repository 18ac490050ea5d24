#pragma once

#include <database/ChangeSource.h>
#include <database/FailureLog.h>
#include <interf/IDatabaseFactory.h>

#include <QSqlDatabase>

struct HostConnection;

/// Lets the managers work on a connection that the host has opened with Qt's SQL module.
///
/// Such a connection belongs to the thread that opened it, and so does this factory: a host with
/// several threads hands out a connection for each. IDatabaseFactory is all that the managers need;
/// FailureSource serves ErrorGuard, and ChangeSource serves ChangeNotifier.
class HostDatabaseFactory : public sync::interf::factory::IDatabaseFactory,
                            public sync::database::FailureSource,
                            public sync::database::ChangeSource
{
public:
    explicit HostDatabaseFactory(const QSqlDatabase& database);

    std::shared_ptr<sync::interf::IQSqlDatabaseWrapper> GetDatabase() override;
    std::shared_ptr<sync::interf::IQSqlQueryWrapper> CreateQuery() override;

    int failureCount() const override;
    std::optional<sync::database::Failure> lastFailure() const override;
    sync::database::Listening onFailure(
        std::function<void(const sync::database::Failure& failure)> function) override;

    sync::database::Listening onChange(
        std::function<void(sync::database::RecordKinds kinds)> function) override;
    void poll() override;

private:
    const std::shared_ptr<HostConnection> connection;
};
