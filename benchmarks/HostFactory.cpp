#include "HostFactory.h"

#include "Pragmas.h"

#include <interf/IQSqlDatabaseWrapper.h>
#include <interf/IQSqlQueryWrapper.h>

#include <QSqlError>

#include <stdexcept>
#include <unordered_map>
#include <vector>

using namespace Qt::StringLiterals;

namespace velmio::benchmarks {

QSqlDatabase openQtSql(const QString& path)
{
    QSqlDatabase database = QSqlDatabase::addDatabase(u"QSQLITE"_s, path);
    database.setDatabaseName(path);
    if (!database.open())
        throw std::runtime_error(database.lastError().text().toStdString());
    for (const char* const pragma : Pragmas)
        QSqlQuery(QString::fromLatin1(pragma), database);
    return database;
}

using IdleQueries = std::vector<std::unique_ptr<QSqlQuery>>;

struct HostFactory::Connection
{
    explicit Connection(const QString& path)
        : database(openQtSql(path))
    {
    }

    QSqlDatabase database;
    std::unordered_map<QString, IdleQueries> prepared; // SQL -> its idle queries
};

class HostQuery : public sync::interf::IQSqlQueryWrapper
{
public:
    explicit HostQuery(std::shared_ptr<HostFactory::Connection> connection)
        : connection(std::move(connection))
    {
    }

    ~HostQuery() override
    {
        if (!query)
            return;
        query->finish();
        idle->push_back(std::move(query));
    }

    HostQuery(const HostQuery&) = delete;
    HostQuery& operator=(const HostQuery&) = delete;

    QString lastError() const override { return query->lastError().text(); }
    QString lastQuery() const override { return query->lastQuery(); }
    QVariant value(int index) const override { return query->value(index); }
    bool next() override { return query->next(); }
    bool isValid() const override { return query->isValid(); }

    bool prepare(const QString& sql) override
    {
        idle = &connection->prepared[sql];
        if (!idle->empty()) {
            query = std::move(idle->back());
            idle->pop_back();
            return true;
        }
        query = std::make_unique<QSqlQuery>(connection->database);
        query->setForwardOnly(true);
        return query->prepare(sql);
    }

    void bindValue(const QString& placeholder, const QVariant& value) override
    {
        query->bindValue(placeholder, value);
    }

    QVariant boundValue(const QString& placeholder) const override
    {
        return query->boundValue(placeholder);
    }

    void setForwardOnly(bool) override {}
    bool exec() override { return query->exec(); }
    QVariant lastInsertId() const override { return query->lastInsertId(); }
    int numRowsAffected() const override { return query->numRowsAffected(); }

private:
    const std::shared_ptr<HostFactory::Connection> connection;
    IdleQueries* idle = nullptr;
    std::unique_ptr<QSqlQuery> query;
};

namespace {

class HostDatabase : public sync::interf::IQSqlDatabaseWrapper
{
public:
    explicit HostDatabase(const QSqlDatabase& database)
        : database(database)
    {
    }

    bool transaction() override { return database.transaction(); }
    bool commit() override { return database.commit(); }
    bool rollback() override { return database.rollback(); }

private:
    QSqlDatabase database;
};

} // namespace

std::shared_ptr<HostFactory> HostFactory::open(const QString& path)
{
    return std::shared_ptr<HostFactory>(new HostFactory(path));
}

HostFactory::HostFactory(const QString& path)
    : connection(std::make_shared<Connection>(path))
{
}

std::shared_ptr<sync::interf::IQSqlDatabaseWrapper> HostFactory::GetDatabase()
{
    return std::make_shared<HostDatabase>(connection->database);
}

std::shared_ptr<sync::interf::IQSqlQueryWrapper> HostFactory::CreateQuery()
{
    return std::make_shared<HostQuery>(connection);
}

} // namespace velmio::benchmarks
