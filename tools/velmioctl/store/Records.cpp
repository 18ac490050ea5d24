#include <velmioctl/store/Records.h>

#include <config/FileConfiguration.h>
#include <config/FolderConfiguration.h>
#include <config/ScheduleEntry.h>
#include <config/ServerConfiguration.h>
#include <velmioctl/cli/Output.h>
#include <velmioctl/cli/Table.h>
#include <velmioctl/store/Names.h>

#include <QDateTime>

using namespace Qt::StringLiterals;

namespace velmioctl {

namespace {

using Properties = QMap<QString, QString>;

std::vector<QVariant> valuesOf(const TableShape& table, const void* record)
{
    std::vector<QVariant> values;
    for (const Column& column : table.columns)
        values.push_back(column.field.read(record));
    return values;
}

bool isPresent(const QVariant& secret)
{
    return secret.typeId() == QMetaType::QString ? !secret.toString().isEmpty() : !secret.isNull();
}

QString numbered(const QString& word, int value)
{
    return u"%1 (%2)"_s.arg(word, QString::number(value));
}

QJsonValue jsonOf(ValueKind kind, const QVariant& value)
{
    switch (kind) {
    case ValueKind::Text:
    case ValueKind::Url:
    case ValueKind::ServerPath:
        return value.toString();
    case ValueKind::Time:
    case ValueKind::LocalTime:
        return toJson(value.toDateTime());
    case ValueKind::Properties:
        return toJson(value.value<Properties>());
    case ValueKind::Secret:
        return isPresent(value);
    default:
        return value.toLongLong();
    }
}

QString textOf(ValueKind kind, const QVariant& value)
{
    const int number = value.toInt();
    switch (kind) {
    case ValueKind::LocalTime:
        if (!value.toDateTime().isValid())
            return u"none"_s;
        [[fallthrough]];
    case ValueKind::Time:
        return value.toDateTime().toString(Qt::ISODateWithMs);
    case ValueKind::Status:
        return numbered(syncStatusName(number), number);
    case ValueKind::FolderOption:
        return numbered(folderOptionName(number), number);
    case ValueKind::FileType:
        return numbered(fileTypeName(number), number);
    case ValueKind::Privileges:
        return numbered(privilegesName(number), number);
    case ValueKind::ParentFolder:
        return number == 0 ? u"none: a root folder"_s : value.toString();
    case ValueKind::DefaultFolder:
        return number == 0 ? u"none: the default"_s : value.toString();
    default:
        return value.toString();
    }
}

} // namespace

QJsonObject toJson(const Properties& properties)
{
    QJsonObject object;
    for (auto entry = properties.cbegin(); entry != properties.cend(); ++entry)
        object.insert(entry.key(), entry.value());
    return object;
}

QJsonValue toJson(const QDateTime& time)
{
    return time.isValid() ? QJsonValue(time.toString(Qt::ISODateWithMs)) : QJsonValue();
}

ColumnValues::ColumnValues(const TableShape& table, std::vector<QVariant> values)
    : table(table)
    , values(std::move(values))
{
}

ColumnValues::ColumnValues(const sync::config::ServerConfiguration& server)
    : table(*findTable("ServerConfiguration"))
    , values(valuesOf(table, &server))
{
}

ColumnValues::ColumnValues(const sync::config::FolderConfiguration& folder)
    : table(*findTable("FolderConfiguration"))
    , values(valuesOf(table, &folder))
{
}

ColumnValues::ColumnValues(const sync::config::FileConfiguration& file)
    : table(*findTable("FileConfiguration"))
    , values(valuesOf(table, &file))
{
}

ColumnValues::ColumnValues(const sync::config::ScheduleEntry& schedule)
    : table(*findTable("Schedules"))
    , values(valuesOf(table, &schedule))
{
}

bool ColumnValues::hasSecret() const
{
    for (size_t at = 0; at < values.size(); ++at) {
        if (table.columns[at].isSecret())
            return isPresent(values[at]);
    }
    return false;
}

QJsonObject toJson(const ColumnValues& record)
{
    QJsonObject object;
    for (size_t at = 0; at < record.values.size(); ++at) {
        const Column& column = record.table.columns[at];
        const QByteArray key = column.jsonKey ? column.jsonKey : column.name;
        object.insert(QString::fromLatin1(key), jsonOf(column.kind, record.values[at]));
    }
    return object;
}

QString cellOf(const ColumnValues& record, size_t column)
{
    const QVariant& value = record.values[column];
    switch (const ValueKind kind = record.table.columns[column].kind) {
    case ValueKind::Status:
        return syncStatusName(value.toInt());
    case ValueKind::Time:
        return value.toDateTime().toString(Qt::ISODate);
    default:
        return textOf(kind, value);
    }
}

FieldList toFields(const ColumnValues& record, const QString& revealed)
{
    FieldList fields;
    Properties properties;
    for (size_t at = 0; at < record.values.size(); ++at) {
        const Column& column = record.table.columns[at];
        const QString label = QString::fromLatin1(column.label);
        if (column.kind == ValueKind::Properties)
            properties = record.values[at].value<Properties>();
        else if (!column.isSecret())
            fields.add(label, textOf(column.kind, record.values[at]));
        else if (!record.hasSecret() || !revealed.isNull())
            fields.add(label, revealed.isNull() ? u"none"_s : revealed);
        else
            fields.add(label, u"********"_s);
    }
    for (auto entry = properties.cbegin(); entry != properties.cend(); ++entry)
        fields.add(u"property "_s + entry.key(), entry.value());
    return fields;
}

void print(Output& output, const ColumnValues& record)
{
    if (output.json())
        output.print(toJson(record));
    else
        output.print(toFields(record));
}

} // namespace velmioctl
