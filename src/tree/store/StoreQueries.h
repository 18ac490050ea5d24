#pragma once

#include <database/ErrorGuard.h>
#include <interf/IQSqlQueryWrapper.h>

#include <QString>
#include <QVariant>

#include <memory>
#include <optional>
#include <utility>
#include <vector>

namespace sync::interf::factory {
class IDatabaseFactory;
} // namespace sync::interf::factory

namespace sync::tree {

/// Statements on a store whose failures throw database::DatabaseError. As thread-safe as the
/// factory, which must outlive it.
class StoreQueries
{
public:
    using Binding = std::pair<QString, QVariant>;

    explicit StoreQueries(interf::factory::IDatabaseFactory& factory);

    /// Runs a SELECT. Call check() after its last row.
    std::shared_ptr<interf::IQSqlQueryWrapper> select(
        const QString& sql, const std::vector<Binding>& bindings = {}) const;

    /// Throws if the last step to a row failed.
    void check(const interf::IQSqlQueryWrapper& query) const;

    /// Runs a statement that changes rows.
    void change(const QString& sql, const std::vector<Binding>& bindings) const;

    /// Column 0 of the first row, 0 without a row.
    qint64 number(const QString& sql, const std::vector<Binding>& bindings = {}) const;

    /// For the managers, which report a failure like an empty answer. Nothing for a factory that
    /// does not count its failures.
    std::optional<database::ErrorGuard> guard() const;

    /// Throws for the last failure of the factory, with `action` if it says nothing about it.
    [[noreturn]] void fail(const QString& action) const;

private:
    interf::factory::IDatabaseFactory& factory;
};

} // namespace sync::tree
