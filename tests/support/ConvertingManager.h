#pragma once
#include <core/PosixSync.h>

#include <QMap>
#include <QString>

namespace sync::test {

/// What a ConvertingManager binds for properties.
inline const QString ConvertedBind =
    QStringLiteral("bind :nameValueProperties QString 'value written'");

/// A manager with its own format of properties: it writes the value of "Key", and reads the text of
/// the column as the value of "Read".
template <typename Manager>
class ConvertingManager : public Manager
{
public:
    using Manager::Manager;

    QMap<QString, QString> ToNameValuePropertyMap(QString xml) const override
    {
        ++conversions;
        return {{QStringLiteral("Read"), xml}};
    }
    QString ToNameValuePropertyString(QMap<QString, QString> properties) override
    {
        return properties.value(QStringLiteral("Key")) + QStringLiteral(" written");
    }

    /// How many texts were read.
    mutable int conversions = 0;
};

} // namespace sync::test
