#pragma once

#include <config/FileLink.h>

#include <QDateTime>
#include <QList>
#include <QString>

namespace sync::config {

/// The FileLinks XML text of links and their date: the text that QDomDocument writes at indentation
/// 1, with the attributes always in the same order. Omits empty links. The text is empty without
/// links and with an invalid date.
QString writeFileLinksXml(const QList<FileLink>& links, const QDateTime& date);

/// True if a link reads back from its XML text as it is, or is empty.
bool isStorable(const FileLink& link);

/// The links and the date in an XML text, as QDomDocument reads it. An empty text has no links and
/// leaves `date` unchanged; text that is not XML has no links and a null date in UTC.
QList<FileLink> readFileLinksXml(const QString& xml, QDateTime& date);

} // namespace sync::config
