#pragma once

#include <QMap>
#include <QString>

namespace sync::config {

/// The XML text of no properties, which most records have. The text is shared, not copied.
QString emptyNameValueXml();

/// The XML text of name-value properties, as QDomDocument writes it at indentation 1.
QString writeNameValueXml(const QMap<QString, QString>& properties);

/// True if the properties read back from their XML text as they are.
bool isStorable(const QMap<QString, QString>& properties);

/// The properties in an XML text, as QDomDocument reads it.
QMap<QString, QString> readNameValueXml(const QString& xml);

} // namespace sync::config
