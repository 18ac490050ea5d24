#pragma once

#include <config/FileLink.h>

#include <QDateTime>
#include <QList>
#include <QString>

namespace sync::config {

/// The FileLinks XML text of links and their date: what QDomDocument writes at indentation 1, with
/// the attributes always in the same order. Empty links are left out. No links at all and an
/// invalid date give an empty text.
QString writeFileLinksXml(const QList<FileLink>& links, const QDateTime& date);

/// The links and the date in an XML text, as QDomDocument reads it. An empty text gives no links
/// and leaves `date` untouched; text that is no XML gives no links and a null date, in UTC.
QList<FileLink> readFileLinksXml(const QString& xml, QDateTime& date);

} // namespace sync::config
