#pragma once

#include <QMap>
#include <QString>

namespace sync::config {

// The results of writeNameValueXml() and readNameValueXml() for every input, by a document tree.

QString writeNameValueDom(const QMap<QString, QString>& properties);
QMap<QString, QString> readNameValueDom(const QString& xml);

} // namespace sync::config
