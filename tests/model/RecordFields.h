#pragma once

#include <config/FileConfiguration.h>
#include <interf/FileConfigOrderByEnum.h>

#include <QDateTime>
#include <QMetaProperty>
#include <QString>
#include <QVariant>

namespace sync::test {

/// A value as text, equal only for equal values: a time with its label.
QString fieldText(const QVariant& value);

/// Empty, or the first field in which two files differ, apart from their ids.
QString fieldDifference(
    const config::FileConfiguration& expected, const config::FileConfiguration& actual);

/// The same for the records that have properties.
template <class Record>
QString fieldDifference(const Record& expected, const Record& actual)
{
    const QMetaObject& type = Record::staticMetaObject;
    for (int index = type.propertyOffset(); index < type.propertyCount(); ++index) {
        const QMetaProperty property = type.property(index);
        const QString left = fieldText(property.read(&expected));
        const QString right = fieldText(property.read(&actual));
        if (left != right && qstrcmp(property.name(), "Id") != 0)
            return QStringLiteral("%1 is \"%2\" and not \"%3\"")
                .arg(QLatin1StringView(property.name()), right, left);
    }
    if constexpr (requires { expected.getNameValueProperties(); }) {
        if (expected.getNameValueProperties() != actual.getNameValueProperties())
            return QStringLiteral("other name-value properties");
    }
    return {};
}

/// True if a list is sorted in this order; ties may stand in any order.
bool isInOrder(
    const QVector<config::FileConfiguration>& files, interf::FileConfigOrderByEnum order);

} // namespace sync::test
