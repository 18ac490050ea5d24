#include <base/XmlReader.h>

#include <utility>

namespace sync::base {

namespace {

constexpr qsizetype AlwaysReadable = 4096;
constexpr int MaxAttributes = 256;

// Where a construct that starts with "<" ends, 0 if it must not be read, or -1 without an end. A
// "<" inside a tag is an error, at which the reader stops by itself.
qsizetype endOfConstruct(QStringView rest)
{
    if (rest.startsWith(u"<!--"))
        return rest.indexOf(u"-->");
    if (rest.startsWith(u"<![CDATA["))
        return rest.indexOf(u"]]>");
    if (rest.startsWith(u"<?"))
        return rest.indexOf(u"?>");

    const bool isDocumentType = rest.startsWith(u"<!");
    int attributes = 0;
    QChar quote;
    for (qsizetype at = 1; at < rest.size(); ++at) {
        const QChar c = rest[at];
        if (!quote.isNull()) {
            if (c == quote)
                quote = QChar();
        } else if (c == u'"' || c == u'\'') {
            quote = c;
        } else if (c == u'>') {
            return at;
        } else if ((c == u'[' && isDocumentType) || (c == u'=' && ++attributes > MaxAttributes)) {
            return 0;
        }
    }
    return -1;
}

QString readablePart(const QString& xml)
{
    if (xml.size() <= AlwaysReadable)
        return xml;
    for (qsizetype at = xml.indexOf(u'<'); at >= 0; at = xml.indexOf(u'<', at)) {
        const qsizetype length = endOfConstruct(QStringView(xml).sliced(at));
        if (length == 0)
            return xml.first(at);
        if (length < 0)
            break;
        at += length;
    }
    return xml;
}

} // namespace

XmlReader::XmlReader(const QString& xml)
    : QXmlStreamReader(readablePart(xml))
{
    setNamespaceProcessing(false);
}

bool XmlReader::next()
{
    if (isStartElement())
        ++openElements;
    const TokenType token = readNext();
    if (token == EndElement)
        --openElements;
    // The toolkit takes a document type anywhere, its tree only one before the root.
    if (token == DTD && !std::exchange(documentTypeMayFollow, false))
        return false;
    if (token == StartElement)
        documentTypeMayFollow = false;
    return token != EndDocument && token != Invalid;
}

} // namespace sync::base
