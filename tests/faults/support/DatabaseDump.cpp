#include "DatabaseDump.h"

#include "WatchedVfs.h"

#include <core/Crypto.h>
#include <support/RawDatabase.h>

#include <QCryptographicHash>

#include <algorithm>
#include <iterator>

using namespace Qt::StringLiterals;

namespace sync::test {

namespace {

QString passwordMark(const QByteArray& enciphered)
{
    const QString clear = core::crypto::Decrypt(enciphered);
    const QByteArray content = clear.isNull() ? enciphered : clear.toUtf8();
    const QByteArray sum = QCryptographicHash::hash(content, QCryptographicHash::Sha256);
    return u"password "_s + QString::fromLatin1(sum.toHex().left(16));
}

// True for columns that differ between otherwise equal databases.
bool differsByStore(const char* column)
{
    constexpr const char* Names[] = {"storeId", "machineStamp", "createdTime"};
    return std::any_of(std::begin(Names), std::end(Names), [column](const char* name) {
        return qstrcmp(column, name) == 0;
    });
}

QString columnText(sqlite3_stmt* row, int column)
{
    if (differsByStore(sqlite3_column_name(row, column)))
        return u"*"_s;
    const QByteArray bytes(
        static_cast<const char*>(sqlite3_column_blob(row, column)),
        sqlite3_column_bytes(row, column));
    if (qstrcmp(sqlite3_column_name(row, column), "encryptedPassword") == 0)
        return passwordMark(bytes);
    if (sqlite3_column_type(row, column) == SQLITE_NULL)
        return u"NULL"_s;
    return QString::fromUtf8(bytes).simplified();
}

QStringList rowsOf(RawDatabase& database, const QString& table)
{
    sqlite3_stmt* select = nullptr;
    const QByteArray sql = "SELECT * FROM \"" + table.toUtf8() + "\" ORDER BY rowid";
    QStringList rows;
    int result = sqlite3_prepare_v2(database.handle(), sql.constData(), -1, &select, nullptr);
    while (result == SQLITE_OK || result == SQLITE_ROW) {
        result = sqlite3_step(select);
        if (result != SQLITE_ROW)
            break;
        QStringList columns{table};
        for (int column = 0; column < sqlite3_column_count(select); ++column)
            columns.append(columnText(select, column));
        rows.append(columns.join(u'|'));
    }
    sqlite3_finalize(select);
    if (result != SQLITE_DONE)
        rows.append(table + u" cannot be read: "_s + QLatin1StringView(sqlite3_errstr(result)));
    return rows;
}

QStringList dumpOf(RawDatabase& database)
{
    const QStringList tables =
        database.run(u"SELECT name FROM sqlite_schema WHERE type = 'table' ORDER BY name"_s);
    QStringList lines;
    for (const QString& table : tables)
        lines += rowsOf(database, table);
    return lines;
}

QStringList integrityOf(RawDatabase& database)
{
    QStringList findings = database.run(u"PRAGMA integrity_check"_s);
    findings.removeAll(u"ok"_s);
    return findings;
}

} // namespace

QStringList dumpOf(const QString& path)
{
    RawDatabase database(path, unwatchedVfs());
    return dumpOf(database);
}

QStringList dumpOfLocked(const QString& path)
{
    RawDatabase database(u"file:"_s + path + u"?immutable=1"_s, unwatchedVfs());
    return dumpOf(database);
}

QStringList checkedDumpOf(const QString& path)
{
    RawDatabase database(path, unwatchedVfs());
    return integrityOf(database) + dumpOf(database);
}

QStringList integrityOf(const QString& path)
{
    RawDatabase database(path, unwatchedVfs());
    return integrityOf(database);
}

QStringList schemaOf(const QString& path)
{
    RawDatabase database(path, unwatchedVfs());
    return database.run(u"SELECT sql FROM sqlite_schema WHERE sql IS NOT NULL ORDER BY name"_s);
}

QByteArray difference(const QStringList& actual, const QStringList& expected)
{
    QStringList lines;
    for (const QString& line : actual) {
        if (!expected.contains(line))
            lines.append(u"+ "_s + line);
    }
    for (const QString& line : expected) {
        if (!actual.contains(line))
            lines.append(u"- "_s + line);
    }
    return lines.join(u'\n').toUtf8();
}

} // namespace sync::test
