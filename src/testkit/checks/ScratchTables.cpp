#include <testkit/checks/ScratchTables.h>

#include <testkit/checks/CheckRun.h>

using namespace Qt::StringLiterals;

namespace sync::testkit {

namespace {

const QStringList& tables()
{
    static const QStringList names{u"VelmioCheck"_s, u"VelmioOther"_s};
    return names;
}

// The database's error text; empty on success.
QString define(const Host& host, const QString& sql)
{
    if (host.define)
        return host.define(sql);
    const auto query = host.factory->CreateQuery();
    if (!query)
        return u"CreateQuery() returned null"_s;
    query->prepare(sql);
    if (query->exec())
        return {};
    const QString error = query->lastError();
    return error.isEmpty() ? u"exec() failed, and lastError() is empty"_s : error;
}

} // namespace

void makeScratchTables(const Host& host)
{
    dropScratchTables(host);
    const ColumnTypes& types = host.columnTypes;
    const QStringList columns{u"id "_s + types.newId,          u"number "_s + types.wholeNumber,
                              u"fraction "_s + types.fraction, u"words "_s + types.text,
                              u"wordsMore "_s + types.text,    u"bytes "_s + types.bytes,
                              u"moment "_s + types.moment,     u"parentId "_s + types.wholeNumber};
    for (const QString& table : tables()) {
        const QString sql = u"CREATE TABLE "_s + table + u" ("_s + columns.join(u", "_s) + u')';
        if (const QString error = define(host, sql); !error.isEmpty())
            throw Stopped{
                u"the scratch table could not be created: %1 failed: %2"_s.arg(sql, error)};
    }
}

void dropScratchTables(const Host& host)
{
    for (const QString& table : tables())
        define(host, u"DROP TABLE IF EXISTS "_s + table);
}

} // namespace sync::testkit
