#pragma once
#include <core/PosixSync.h>

#include <QDomDocument>
#include <QMap>

namespace sync::test {

// The meaning of a text of properties, by the DOM alone. Plain and slow, for comparison.

inline QString writeNameValueDom(const QMap<QString, QString>& properties)
{
    QDomDocument document(QStringLiteral("NameValueXml"));
    QDomElement root = document.createElement(QStringLiteral("NameValueXml"));
    document.appendChild(root);
    for (auto entry = properties.cbegin(); entry != properties.cend(); ++entry) {
        if (entry.key().isEmpty())
            continue;
        QDomElement element = document.createElement(entry.key());
        root.appendChild(element);
        element.appendChild(document.createCDATASection(entry.value()));
    }
    return document.toString(1);
}

inline QMap<QString, QString> readNameValueDom(const QString& xml)
{
    QMap<QString, QString> properties;
    QDomDocument document(QStringLiteral("NameValueXml"));
    document.setContent(xml);
    const QDomElement root = document.documentElement();
    for (QDomNode node = root.firstChild(); !node.isNull(); node = node.nextSibling())
        properties[node.nodeName()] = node.firstChild().nodeValue();
    return properties;
}

} // namespace sync::test
