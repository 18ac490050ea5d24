#include <velmioctl/records/SecretRecords.h>

#include <config/DatabaseConfigurationManager.h>
#include <interf/IQSqlQueryWrapper.h>
#include <velmioctl/cli/Table.h>
#include <velmioctl/store/Session.h>
#include <velmioctl/store/WatchedDatabase.h>

using namespace Qt::StringLiterals;

namespace velmioctl {

SecretRecords::SecretRecords(
    Session& session, const QByteArray& table, sync::config::DatabaseConfigurationManager& manager)
    : session(session)
    , table(*findTable(table))
    , manager(manager)
{
}

std::vector<ColumnValues> SecretRecords::read(const QString& condition, int value)
{
    QStringList names;
    for (const Column& column : table.columns)
        names += QString::fromLatin1(column.name);
    const auto query = session.database().select(
        u"SELECT %1 FROM %2 WHERE %3 ORDER BY id"_s.arg(
            names.join(u", "_s), QString::fromLatin1(table.name), condition),
        {{u":value"_s, value}});
    std::vector<ColumnValues> records;
    while (query->next()) {
        std::vector<QVariant> values;
        for (size_t at = 0; at < table.columns.size(); ++at) {
            const QVariant stored = query->value(int(at));
            values.push_back(
                table.columns[at].kind == ValueKind::Properties
                    ? QVariant::fromValue(manager.ToNameValuePropertyMap(stored.toString()))
                    : stored);
        }
        records.emplace_back(table, std::move(values));
    }
    session.database().check();
    return records;
}

ColumnValues SecretRecords::byId(int id)
{
    const auto found = read(u"id = :value"_s, id);
    if (found.empty())
        throw CommandError(
            ExitCode::NotFound,
            u"The record %1 was removed meanwhile. Run the command again."_s.arg(id));
    return found.front();
}

void SecretRecords::list(
    std::optional<int> server, const QStringList& headings, const std::vector<const char*>& shown,
    const QString& note)
{
    Table lines(headings);
    lines.alignRight(0).alignRight(1);
    QJsonArray array;
    for (const ColumnValues& record :
         read(server ? u"serverId = :value"_s : u":value = 0"_s, server.value_or(0))) {
        array.append(toJson(record));
        QStringList cells;
        for (const char* const name : shown) {
            if (table.columns[table.indexOf(name)].isSecret())
                cells += record.hasSecret() ? u"set"_s : u"none"_s;
            else
                cells += record[name].toString();
        }
        lines.addRow(cells);
    }
    session.output.printList(array, lines, note);
}

void SecretRecords::change(const ColumnValues& before, const FieldOptions& fields)
{
    const int id = before["id"].toInt();
    for (const auto& [column, value] : fields.given())
        changeColumn(id, *column, value);
    const auto properties = before["nameValueProperties"].value<QMap<QString, QString>>();
    const auto changed = fields.properties(properties);
    if (changed != properties) {
        changeColumn(
            id, table.columns[table.indexOf("nameValueProperties")],
            manager.ToNameValuePropertyString(changed));
    }
}

void SecretRecords::changeColumn(int id, const Column& column, const QVariant& value)
{
    session.database().change(
        u"UPDATE %1 SET %2 = :value WHERE id = :id"_s.arg(
            QString::fromLatin1(table.name), QString::fromLatin1(column.name)),
        {{u":value"_s, value}, {u":id"_s, id}});
}

void SecretRecords::printRevealed(
    const ColumnValues& record, const QString& key, const QString& secret)
{
    if (!session.output.json()) {
        session.output.print(toFields(record, secret.isNull() ? u"none"_s : secret));
        return;
    }
    QJsonObject object = toJson(record);
    object.insert(key, secret.isNull() ? QJsonValue() : QJsonValue(secret));
    session.output.print(object);
}

void SecretRecords::print(const ColumnValues& record)
{
    if (session.output.json())
        session.output.print(toJson(record));
    else
        session.output.print(toFields(record));
}

} // namespace velmioctl
