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

bool define(const Host& host, const QString& sql)
{
    if (host.define)
        return host.define(sql);
    const auto query = host.factory->CreateQuery();
    if (!query)
        return false;
    query->prepare(sql);
    return query->exec();
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
        if (!define(host, sql))
            throw Stopped{u"the scratch table could not be made: "_s + sql};
    }
}

void dropScratchTables(const Host& host)
{
    for (const QString& table : tables())
        define(host, u"DROP TABLE IF EXISTS "_s + table);
}

} // namespace sync::testkit
