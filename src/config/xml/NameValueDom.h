#pragma once

#include <QMap>
#include <QString>

namespace sync::config {

// What writeNameValueXml() and readNameValueXml() give for every input, by way of a document tree.

QString writeNameValueDom(const QMap<QString, QString>& properties);
QMap<QString, QString> readNameValueDom(const QString& xml);

} // namespace sync::config
