#pragma once
#include <core/PosixSync.h>

#include <config/FileLink.h>

#include <QDateTime>
#include <QDomDocument>
#include <QList>

namespace sync::test {

// The meaning of a text of links, by the DOM alone. Plain and slow, for comparison.

inline QString writeByDom(const QList<config::FileLink>& links, const QDateTime& date)
{
    if (links.isEmpty() && !date.isValid())
        return {};
    QDomDocument document;
    QDomElement root = document.createElement(QStringLiteral("FileLinks"));
    document.appendChild(root);
    root.setAttribute(QStringLiteral("FileDate"), date.toString(Qt::ISODate));
    for (const config::FileLink& link : links) {
        if (link.FileId == -1 && link.ServerFileId.isEmpty() && link.Path.isEmpty())
            continue;
        QDomElement element = document.createElement(QStringLiteral("FileLink"));
        element.setAttribute(QStringLiteral("FileId"), link.FileId);
        element.setAttribute(QStringLiteral("RefId"), link.RefId);
        element.setAttribute(QStringLiteral("ServerFileId"), link.ServerFileId);
        element.setAttribute(QStringLiteral("Path"), link.Path);
        root.appendChild(element);
    }
    return document.toString(1);
}

inline QList<config::FileLink> readByDom(const QString& xml, QDateTime& date)
{
    QList<config::FileLink> links;
    if (xml.isEmpty())
        return links;
    QDomDocument document;
    document.setContent(xml);
    const QDomElement root = document.documentElement();
    date =
        QDateTime::fromString(root.attribute(QStringLiteral("FileDate"), QString()), Qt::ISODate);
    date.setTimeSpec(Qt::UTC);
    for (QDomElement element = root.firstChildElement(); !element.isNull();
         element = element.nextSiblingElement()) {
        config::FileLink link;
        link.FileId = element.attribute(QStringLiteral("FileId")).toInt(nullptr, 10);
        link.RefId = element.attribute(QStringLiteral("RefId"));
        link.ServerFileId = element.attribute(QStringLiteral("ServerFileId"));
        link.Path = element.attribute(QStringLiteral("Path"));
        if (!(link.FileId == -1 && link.ServerFileId.isEmpty() && link.Path.isEmpty()))
            links.append(link);
    }
    return links;
}

} // namespace sync::test
