#pragma once

#include <QByteArray>
#include <QDateTime>
#include <QString>
#include <QVariant>

#include <variant>

namespace sync::base {

/// Why a value cannot be stored without loss, for a person.
struct Refusal
{
    QString reason;
};

/// A value in one of the types that an engine stores; nothing stands for NULL.
using StorableValue =
    std::variant<std::monostate, qlonglong, double, QString, QDateTime, QByteArray, Refusal>;

/// What an engine stores for a value; nothing for every null value, whatever its type.
StorableValue storableValue(const QVariant& value);

/// The most bytes that encodeTime() writes.
constexpr qsizetype MaximumTimeText = 32;

/// Writes the text under which a time is stored and returns its end: Qt::ISODateWithMs, with "Z" or
/// an offset only when the value has that time spec. Null for a time that has no such text, such as
/// one after year 9999.
char* encodeTime(const QDateTime& time, char* target);

/// Of a time for which encodeTime() returns null.
Refusal timeRefusal();

} // namespace sync::base
