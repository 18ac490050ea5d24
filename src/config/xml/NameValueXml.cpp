#include <config/xml/NameValueXml.h>

#include <base/XmlReader.h>

#include <QDomDocument>
#include <QStringView>

#include <algorithm>
#include <optional>

using namespace Qt::StringLiterals;
using sync::base::XmlReader;

namespace sync::config {

// The form that is written and read here by hand, with each entry on a line:
//
//     <!DOCTYPE NameValueXml>
//     <NameValueXml>
//      <Key><![CDATA[value]]></Key>
//     </NameValueXml>
//
// The toolkit handles every text for which its reader or writer may differ from this. For two
// properties QXmlStreamReader takes 31,800 instructions more to read (QDomDocument 42,600), where a
// lookup takes 25,300 in all, and QDomDocument 12,500 more to write, where an addition takes
// 55,500.

namespace {

constexpr QStringView DocumentStart = u"<!DOCTYPE NameValueXml>\n<NameValueXml>\n";
constexpr QStringView DocumentEnd = u"</NameValueXml>\n";
constexpr QStringView EntryStart = u" <";
constexpr QStringView ValueStart = u"><![CDATA[";
constexpr QStringView ValueEnd = u"]]>";
constexpr QStringView EndTagStart = u"</";
constexpr QStringView EndTagEnd = u">\n";

constexpr qsizetype MarkupLength =
    EntryStart.size() + ValueStart.size() + ValueEnd.size() + EndTagStart.size() + EndTagEnd.size();
constexpr qsizetype MaxKeyLength = 256;

bool isLetter(QChar c)
{
    return (c >= u'a' && c <= u'z') || (c >= u'A' && c <= u'Z') || c == u'_';
}

bool isNameCharacter(QChar c)
{
    return isLetter(c) || (c >= u'0' && c <= u'9') || c == u'-' || c == u'.';
}

// A name that is valid XML under every policy of the toolkit for invalid data.
bool isPlainKey(QStringView key)
{
    return !key.isEmpty() && key.size() <= MaxKeyLength && isLetter(key.front()) &&
           std::all_of(key.begin(), key.end(), isNameCharacter);
}

bool isSurrogatePair(QStringView text, qsizetype at)
{
    return text[at].isHighSurrogate() && at + 1 < text.size() && text[at + 1].isLowSurrogate();
}

// Valid XML characters without carriage returns, which a reader turns into line feeds.
bool isPlainText(QStringView text)
{
    for (qsizetype i = 0; i < text.size(); ++i) {
        const QChar c = text[i];
        if (c.isSurrogate()) {
            if (!isSurrogatePair(text, i))
                return false;
            ++i;
        } else if ((c < u' ' && c != u'\t' && c != u'\n') || c >= QChar(0xfffe)) {
            return false;
        }
    }
    return true;
}

bool isPlainValue(QStringView value)
{
    return isPlainText(value) && !value.contains(ValueEnd);
}

bool skip(QStringView& rest, QStringView expected)
{
    if (!rest.startsWith(expected))
        return false;
    rest = rest.sliced(expected.size());
    return true;
}

// Removes the text up to and including `end`, and returns the part before `end`.
std::optional<QStringView> takeUntil(QStringView& rest, QStringView end)
{
    const qsizetype length = rest.indexOf(end);
    if (length < 0)
        return {};
    const QStringView taken = rest.first(length);
    rest = rest.sliced(length + end.size());
    return taken;
}

bool readEntry(QStringView& rest, QMap<QString, QString>& properties)
{
    if (!skip(rest, EntryStart))
        return false;
    const auto key = takeUntil(rest, ValueStart);
    if (!key || !isPlainKey(*key))
        return false;
    const auto value = takeUntil(rest, ValueEnd);
    if (!value || !isPlainText(*value))
        return false;
    if (!skip(rest, EndTagStart) || !skip(rest, *key) || !skip(rest, EndTagEnd))
        return false;
    properties.insert(properties.cend(), key->toString(), value->toString());
    return true;
}

std::optional<QMap<QString, QString>> readPlain(QStringView xml)
{
    QMap<QString, QString> properties;
    if (xml.isEmpty() || xml == emptyNameValueXml())
        return properties;
    if (!skip(xml, DocumentStart))
        return {};
    while (xml != DocumentEnd) {
        if (!readEntry(xml, properties))
            return {};
    }
    return properties;
}

// The name that the DOM gives to a child of the root, or nothing for white space, which it drops.
QString nodeName(const XmlReader& reader)
{
    switch (reader.tokenType()) {
    case XmlReader::Comment:
        return u"#comment"_s;
    case XmlReader::Characters:
        if (reader.isCDATA())
            return u"#cdata-section"_s;
        // QChar::isSpace(), as in the DOM, takes in more than XML's white space.
        return reader.text().trimmed().isEmpty() ? QString() : u"#text"_s;
    case XmlReader::ProcessingInstruction:
        return reader.processingInstructionTarget().toString();
    case XmlReader::StartElement:
        return reader.qualifiedName().toString();
    case XmlReader::EntityReference:
        return reader.name().toString();
    default:
        return {};
    }
}

QString nodeValue(const XmlReader& reader)
{
    if (reader.isProcessingInstruction())
        return reader.processingInstructionData().toString();
    // Empty for elements and references.
    return reader.isCharacters() || reader.isComment() ? reader.text().toString() : QString();
}

// As QDomDocument reads.
QMap<QString, QString> readEntriesByToolkit(const QString& xml)
{
    QMap<QString, QString> properties;
    QString* value = nullptr; // of the last child of the root, until it has a child of its own
    XmlReader reader(xml);
    while (reader.next()) {
        const QString name = nodeName(reader);
        if (reader.depth() == 1 && reader.isEndElement()) {
            value = nullptr;
        } else if (reader.depth() == 1 && !name.isEmpty()) {
            value = &properties[name];
            value->clear();
        } else if (reader.depth() == 2 && !name.isEmpty() && value) {
            *value = nodeValue(reader);
            value = nullptr;
        }
    }
    return properties;
}

QString writeByDom(const QMap<QString, QString>& properties)
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

} // namespace

QString emptyNameValueXml()
{
    return u"<!DOCTYPE NameValueXml>\n<NameValueXml/>\n"_s;
}

QString writeNameValueXml(const QMap<QString, QString>& properties)
{
    if (properties.isEmpty())
        return emptyNameValueXml();

    qsizetype length = DocumentStart.size() + DocumentEnd.size();
    for (auto entry = properties.cbegin(); entry != properties.cend(); ++entry) {
        if (!isPlainKey(entry.key()) || !isPlainValue(entry.value()))
            return writeByDom(properties);
        length += MarkupLength + 2 * entry.key().size() + entry.value().size();
    }

    QString xml;
    xml.reserve(length);
    xml += DocumentStart;
    for (auto entry = properties.cbegin(); entry != properties.cend(); ++entry) {
        xml.append(EntryStart).append(entry.key()).append(ValueStart).append(entry.value());
        xml.append(ValueEnd).append(EndTagStart).append(entry.key()).append(EndTagEnd);
    }
    return xml += DocumentEnd;
}

bool isStorable(const QMap<QString, QString>& properties)
{
    return readNameValueXml(writeNameValueXml(properties)) == properties;
}

QMap<QString, QString> readNameValueXml(const QString& xml)
{
    if (auto properties = readPlain(xml))
        return *std::move(properties);
    return readEntriesByToolkit(xml);
}

} // namespace sync::config
