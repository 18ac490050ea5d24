#include <support/QtSqlDatabaseFactory.h>

#include <interf/IQSqlDatabaseWrapper.h>
#include <interf/IQSqlQueryWrapper.h>

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QMutex>
#include <QSet>
#include <QSqlDatabase>
#include <QSqlError>
#include <QSqlQuery>

#include <atomic>

using namespace Qt::StringLiterals;

namespace sync::test {

namespace {

class QtSqlQuery : public interf::IQSqlQueryWrapper
{
public:
    explicit QtSqlQuery(const QSqlDatabase& database)
        : query(database)
    {
        query.setForwardOnly(true);
    }

    QString lastError() const override { return query.lastError().text(); }
    QString lastQuery() const override { return query.lastQuery(); }
    QVariant value(int index) const override { return query.value(index); }
    bool next() override { return query.next(); }
    bool isValid() const override { return query.isValid(); }
    bool prepare(const QString& sql) override { return query.prepare(sql); }
    void bindValue(const QString& placeholder, const QVariant& value) override
    {
        query.bindValue(placeholder, value);
    }
    QVariant boundValue(const QString& placeholder) const override
    {
        return query.boundValue(placeholder);
    }
    void setForwardOnly(bool forward) override { query.setForwardOnly(forward); }
    bool exec() override { return query.exec(); }
    QVariant lastInsertId() const override { return query.lastInsertId(); }
    int numRowsAffected() const override { return query.numRowsAffected(); }

private:
    QSqlQuery query;
};

class QtSqlConnection : public interf::IQSqlDatabaseWrapper
{
public:
    explicit QtSqlConnection(const QSqlDatabase& database)
        : database(database)
    {
    }

    bool transaction() override { return database.transaction(); }
    bool commit() override { return database.commit(); }
    bool rollback() override { return database.rollback(); }

private:
    QSqlDatabase database;
};

// A statement ends at a ";" at the end of a line, except inside a trigger.
QStringList statementsOf(const QString& script)
{
    QStringList statements;
    QString statement;
    const QStringList lines = script.split(u'\n');
    for (const QString& line : lines) {
        const qsizetype comment = line.indexOf(u"--"_s);
        const QString code = (comment < 0 ? line : line.left(comment)).trimmed();
        if (code.isEmpty())
            continue;
        statement += code + u'\n';
        const bool insideTrigger = statement.startsWith(u"CREATE TRIGGER"_s) && code != u"END;"_s;
        if (code.endsWith(u';') && !insideTrigger)
            statements.append(std::exchange(statement, {}));
    }
    return statements;
}

void createSchema(const QSqlDatabase& database)
{
    const QDir directory(QStringLiteral(VELMIO_SCHEMA_DIRECTORY));
    const QStringList scripts = directory.entryList({u"*.sql"_s}, QDir::Files, QDir::Name);
    if (scripts.isEmpty())
        qFatal("There is no schema in %s", VELMIO_SCHEMA_DIRECTORY);
    for (const QString& name : scripts) {
        QFile script(directory.filePath(name));
        if (!script.open(QIODevice::ReadOnly))
            qFatal("Cannot read the schema %s", qPrintable(name));
        const QStringList statements = statementsOf(QString::fromUtf8(script.readAll()));
        for (const QString& sql : statements) {
            QSqlQuery query(database);
            if (!query.exec(sql))
                qFatal("%s: %s", qPrintable(sql), qPrintable(query.lastError().text()));
        }
    }
}

} // namespace

class QtSqlDatabaseFactory::Connections
{
public:
    explicit Connections(QString path)
        : path(std::move(path))
    {
    }

    ~Connections()
    {
        for (const QString& name : std::as_const(names))
            QSqlDatabase::removeDatabase(name);
    }

    Connections(const Connections&) = delete;
    Connections& operator=(const Connections&) = delete;

    QSqlDatabase ofThisThread()
    {
        // Not its address: a later thread may have the same one, and a connection stays with its
        // own thread.
        static std::atomic<int> threads = 0;
        static thread_local const int thread = ++threads;
        const QString name = u"%1 %2"_s.arg(quintptr(this)).arg(thread);
        if (QSqlDatabase::contains(name))
            return QSqlDatabase::database(name);

        QSqlDatabase database = QSqlDatabase::addDatabase(u"QSQLITE"_s, name);
        database.setDatabaseName(path);
        if (!database.open())
            qFatal("%s: %s", qPrintable(path), qPrintable(database.lastError().text()));
        // Tests do not wait for the disk: what they check must survive the process, not a power
        // cut.
        QSqlQuery(u"PRAGMA synchronous = OFF"_s, database);
        const QMutexLocker lock(&mutex);
        names.insert(name);
        return database;
    }

private:
    const QString path;
    QMutex mutex;
    QSet<QString> names;
};

QtSqlDatabaseFactory::QtSqlDatabaseFactory(std::shared_ptr<Connections> connections)
    : connections(std::move(connections))
{
}

QtSqlDatabaseFactory::~QtSqlDatabaseFactory() = default;

std::shared_ptr<QtSqlDatabaseFactory> QtSqlDatabaseFactory::open(const QString& path)
{
    const bool isNew = !QFileInfo::exists(path);
    const auto connections = std::make_shared<Connections>(path);
    if (isNew)
        createSchema(connections->ofThisThread());
    return std::shared_ptr<QtSqlDatabaseFactory>(new QtSqlDatabaseFactory(connections));
}

std::shared_ptr<interf::IQSqlDatabaseWrapper> QtSqlDatabaseFactory::GetDatabase()
{
    return std::make_shared<QtSqlConnection>(connections->ofThisThread());
}

std::shared_ptr<interf::IQSqlQueryWrapper> QtSqlDatabaseFactory::CreateQuery()
{
    return std::make_shared<QtSqlQuery>(connections->ofThisThread());
}

} // namespace sync::test
