#include <config/xml/NameValueDom.h>

#include <QDomDocument>

using namespace Qt::StringLiterals;

namespace sync::config {

QString writeNameValueDom(const QMap<QString, QString>& properties)
{
    QDomDocument document(u"NameValueXml"_s);
    QDomElement root = document.createElement(u"NameValueXml"_s);
    document.appendChild(root);
    for (auto entry = properties.cbegin(); entry != properties.cend(); ++entry) {
        // An element needs a name. With an empty name the toolkit would only log a warning.
        if (entry.key().isEmpty())
            continue;
        QDomElement element = document.createElement(entry.key());
        root.appendChild(element);
        element.appendChild(document.createCDATASection(entry.value()));
    }
    return document.toString(1);
}

QMap<QString, QString> readNameValueDom(const QString& xml)
{
    QMap<QString, QString> properties;
    QDomDocument document(u"NameValueXml"_s);
    document.setContent(xml);
    const QDomElement root = document.documentElement();
    for (QDomNode node = root.firstChild(); !node.isNull(); node = node.nextSibling())
        properties[node.nodeName()] = node.firstChild().nodeValue();
    return properties;
}

} // namespace sync::config
