#include <testkit/checks/CheckRun.h>

#include <testkit/checks/ScratchTables.h>

#include <QDateTime>

using namespace Qt::StringLiterals;

namespace sync::testkit {

namespace {

constexpr qsizetype ShownCharacters = 60;

QString visible(const QString& text)
{
    QString result;
    for (const QChar character : text.left(ShownCharacters)) {
        if (character.unicode() >= u' ' && character.unicode() < 0x7F)
            result += character;
        else
            result += u"\\u%1"_s.arg(uint(character.unicode()), 4, 16, QChar(u'0'));
    }
    if (text.size() > ShownCharacters)
        result += u"... (%1 code units)"_s.arg(text.size());
    return result;
}

} // namespace

QString shown(const QVariant& value)
{
    if (value.isNull())
        return u"null"_s;
    if (value.typeId() == QMetaType::QDateTime)
        return value.toDateTime().toString(Qt::ISODateWithMs);
    if (value.typeId() == QMetaType::QByteArray)
        return u"the bytes "_s + visible(QString::fromLatin1(value.toByteArray().toHex()));
    if (value.typeId() == QMetaType::QString)
        return u'"' + visible(value.toString()) + u'"';
    return value.toString();
}

Database::Database(std::shared_ptr<interf::factory::IDatabaseFactory> factory)
    : factory(std::move(factory))
{
}

Query Database::prepare(const QString& sql, const Bindings& bindings) const
{
    Query query = factory->CreateQuery();
    if (!query)
        throw Stopped{u"CreateQuery() returned null"_s};
    query->prepare(sql);
    for (const auto& [placeholder, value] : bindings)
        query->bindValue(placeholder, value);
    return query;
}

Query Database::exec(const QString& sql, const Bindings& bindings) const
{
    Query query = prepare(sql, bindings);
    if (!query->exec())
        throw Stopped{u"exec() of %1 failed: %2"_s.arg(sql, query->lastError())};
    return query;
}

QVariantList Database::column(const QString& sql, const Bindings& bindings) const
{
    QVariantList values;
    const Query query = exec(sql, bindings);
    while (query->next())
        values.append(query->value(0));
    return values;
}

QVariant Database::value(const QString& sql, const Bindings& bindings) const
{
    const Query query = exec(sql, bindings);
    if (!query->next())
        throw Stopped{u"%1 found no row"_s.arg(sql)};
    return query->value(0);
}

int Database::insert(const QString& column, const QVariant& value) const
{
    return exec(
               u"INSERT INTO VelmioCheck ("_s + column + u") VALUES (:value)"_s,
               {{u":value"_s, value}})
        ->lastInsertId()
        .toInt();
}

QVariant Database::store(const QString& column, const QVariant& value) const
{
    // Not found by its id, which is a promise of its own.
    exec(u"DELETE FROM VelmioCheck"_s);
    insert(column, value);
    return this->value(u"SELECT "_s + column + u" FROM VelmioCheck"_s);
}

QStringList Database::words() const
{
    QStringList texts;
    const QVariantList values = column(u"SELECT words FROM VelmioCheck ORDER BY id"_s);
    for (const QVariant& value : values)
        texts.append(value.toString());
    return texts;
}

std::shared_ptr<interf::IQSqlDatabaseWrapper> Database::connection() const
{
    auto connection = factory->GetDatabase();
    if (!connection)
        throw Stopped{u"GetDatabase() returned null"_s};
    return connection;
}

CheckRun::CheckRun(const Host& host)
    : database(host.factory)
    , host(host)
{
}

Database CheckRun::reopened() const
{
    if (!host.reopen)
        throw Skipped{u"it needs a second factory over the same database (Host::reopen)"_s};
    return Database(host.reopen());
}

void CheckRun::needThreads() const
{
    if (!host.servesSeveralThreads)
        throw Skipped{u"only one thread uses the factory (Host::servesSeveralThreads)"_s};
}

void CheckRun::replaceTables() const
{
    makeScratchTables(host);
}

void CheckRun::expect(bool kept, const QString& finding)
{
    if (!kept)
        list.append(finding);
}

} // namespace sync::testkit
