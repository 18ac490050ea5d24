#include "HostDatabaseFactory.h"

#include <interf/IQSqlDatabaseWrapper.h>
#include <interf/IQSqlQueryWrapper.h>

#include <QSqlError>
#include <QSqlQuery>
#include <QTextStream>

namespace {

class HostQuery : public sync::interf::IQSqlQueryWrapper
{
public:
    explicit HostQuery(const QSqlDatabase& database)
        : query(database)
    {
        query.setForwardOnly(true);
    }

    bool prepare(const QString& sql) override { return prepared = told(query.prepare(sql)); }

    // A text that did not prepare is not tried, as that would hide why it did not.
    bool exec() override { return prepared && told(query.exec()); }

    // Placeholders come with their colon, which is how QSqlQuery names them.
    void bindValue(const QString& placeholder, const QVariant& value) override
    {
        query.bindValue(placeholder, value);
    }
    QVariant boundValue(const QString& placeholder) const override
    {
        return query.boundValue(placeholder);
    }

    bool next() override { return query.next(); }
    bool isValid() const override { return query.isValid(); }
    QVariant value(int index) const override { return query.value(index); }
    void setForwardOnly(bool forward) override { query.setForwardOnly(forward); }
    QString lastError() const override { return query.lastError().text(); }
    QString lastQuery() const override { return query.lastQuery(); }
    QVariant lastInsertId() const override { return query.lastInsertId(); }
    int numRowsAffected() const override { return query.numRowsAffected(); }

private:
    // The managers answer a failed read like an empty one, so this is where a host hears of it. It
    // does not log the bound values: there are secrets among them.
    bool told(bool done) const
    {
        if (!done)
            QTextStream(stderr) << query.lastError().text() << '\n';
        return done;
    }

    QSqlQuery query;
    bool prepared = false;
};

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

HostDatabaseFactory::HostDatabaseFactory(const QSqlDatabase& database)
    : database(database)
{
}

std::shared_ptr<sync::interf::IQSqlDatabaseWrapper> HostDatabaseFactory::GetDatabase()
{
    return std::make_shared<HostDatabase>(database);
}

std::shared_ptr<sync::interf::IQSqlQueryWrapper> HostDatabaseFactory::CreateQuery()
{
    return std::make_shared<HostQuery>(database);
}
