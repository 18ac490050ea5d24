#pragma once

#include <config/AuthenticationConfiguration.h>
#include <config/FileConfiguration.h>
#include <config/FolderConfiguration.h>
#include <config/ProductConfiguration.h>
#include <config/ScheduleEntry.h>
#include <config/ServerConfiguration.h>

#include <QMetaType>
#include <QStringList>
#include <QVariant>

#include <functional>
#include <type_traits>

namespace sync::test {

/// One field of a record class: what it holds at first, and a sample that no other field has.
template <typename Record>
struct Field
{
    QString name;
    std::function<QVariant(const Record&)> get;
    std::function<void(Record&)> setSample; // null for a field without a setter
    QVariant byDefault;
    QVariant sample; // the default for a field without a setter
    QString type;    // as the meta-object names it; empty for a field without a property
};

template <typename Record, typename Value, typename Given>
Field<Record> field(
    const char* name, Value (Record::*get)() const, void (Record::*set)(Given),
    std::type_identity_t<Value> byDefault, std::type_identity_t<Value> sample,
    const char* type = "")
{
    return {
        QString::fromLatin1(name),
        [get](const Record& record) { return QVariant::fromValue((record.*get)()); },
        [set, sample](Record& record) { (record.*set)(sample); },
        QVariant::fromValue(byDefault),
        QVariant::fromValue(sample),
        QString::fromLatin1(type)};
}

template <typename Record, typename Value>
Field<Record> readOnlyField(
    const char* name, Value (Record::*get)() const, std::type_identity_t<Value> byDefault,
    const char* type = "")
{
    Field<Record> made =
        field<Record, Value, Value>(name, get, nullptr, byDefault, byDefault, type);
    made.setSample = nullptr;
    return made;
}

/// The fields of a class: those with a property first, in the order of the properties.
template <typename Record>
const QList<Field<Record>>& fieldsOf();

template <>
const QList<Field<config::ServerConfiguration>>& fieldsOf();
template <>
const QList<Field<config::ProductConfiguration>>& fieldsOf();
template <>
const QList<Field<config::AuthenticationConfiguration>>& fieldsOf();
template <>
const QList<Field<config::FolderConfiguration>>& fieldsOf();
template <>
const QList<Field<config::ScheduleEntry>>& fieldsOf();
template <>
const QList<Field<config::FileConfiguration>>& fieldsOf();
template <>
const QList<Field<config::FileLink>>& fieldsOf();

/// The name of a record class without its namespace.
template <typename Record>
QString classNameOf()
{
    return QString::fromLatin1(QMetaType::fromType<Record>().name()).section(u':', -1);
}

/// A value as text: a null text differs from an empty one, and a time shows its zone.
QString fieldText(const QVariant& value);

/// A line "Class::Field = value" for a field, so that a failed comparison names both.
template <typename Record>
QString fieldLine(const Field<Record>& field, const QVariant& value)
{
    return classNameOf<Record>() + QStringLiteral("::") + field.name + QStringLiteral(" = ") +
           fieldText(value);
}

/// The lines of all fields of a record, with other values for the fields in `changes`.
template <typename Record>
QStringList linesOf(const Record& record, const QVariantMap& changes = {})
{
    QStringList lines;
    for (const Field<Record>& field : fieldsOf<Record>())
        lines.append(fieldLine(field, changes.value(field.name, field.get(record))));
    return lines;
}

/// A record with the sample in every field that has a setter.
template <typename Record>
Record sampleOf()
{
    Record record;
    for (const Field<Record>& field : fieldsOf<Record>()) {
        if (field.setSample)
            field.setSample(record);
    }
    return record;
}

} // namespace sync::test
