#include <config/xml/FileLinksXml.h>

#include <base/XmlReader.h>

#include <algorithm>
#include <optional>
#include <utility>

using namespace Qt::StringLiterals;
using sync::base::XmlReader;

namespace sync::config {

// The form that is written, and read by hand. For two links QXmlStreamReader takes 46,000
// instructions more to read (QDomDocument 82,900), where a lookup takes 25,300 in all.
//
//     <FileLinks FileDate="2024-05-06T07:08:09Z">
//      <FileLink FileId="7" RefId="r" ServerFileId="s" Path="docs/a.txt"/>
//     </FileLinks>

namespace {

/// The content of a text.
struct FileLinks
{
    QList<FileLink> links;
    QString date;
};

// Escapes the characters that QDom escapes in an attribute. It escapes ">" only after "]]".
void appendEscaped(QString& xml, const QString& value)
{
    for (qsizetype at = 0; at < value.size(); ++at) {
        const QChar character = value[at];
        switch (character.unicode()) {
        case u'<':
            xml += u"&lt;";
            break;
        case u'&':
            xml += u"&amp;";
            break;
        case u'"':
            xml += u"&quot;";
            break;
        case u'>':
            if (at >= 2 && value[at - 1] == u']' && value[at - 2] == u']')
                xml += u"&gt;";
            else
                xml += character;
            break;
        case u'\t':
            xml += u"&#x9;";
            break;
        case u'\n':
            xml += u"&#xa;";
            break;
        case u'\r':
            xml += u"&#xd;";
            break;
        default:
            xml += character;
        }
    }
}

// By hand, because QDomDocument orders attributes by a random hash, and QXmlStreamWriter escapes
// others.
void appendAttribute(QString& xml, QStringView name, const QString& value)
{
    xml += u' ';
    xml += name;
    xml += u"=\"";
    appendEscaped(xml, value);
    xml += u'"';
}

/// Reads text that writeFileLinksXml() wrote, which is nearly all text. It returns nothing for any
/// other text, which readLinksByToolkit() then reads.
class WrittenTextReader
{
public:
    explicit WrittenTextReader(QStringView xml)
        : rest(xml)
    {
    }

    std::optional<FileLinks> read()
    {
        FileLinks result;
        if (!skip(u"<FileLinks") || !readAttribute(u" FileDate=\"", result.date))
            return std::nullopt;
        if (skip(u"/>\n"))
            return atEnd(std::move(result));

        if (!skip(u">\n"))
            return std::nullopt;
        while (!skip(u"</FileLinks>\n")) {
            FileLink link;
            if (!readLink(link))
                return std::nullopt;
            if (!link.isEmpty())
                result.links.append(std::move(link));
        }
        return atEnd(std::move(result));
    }

private:
    std::optional<FileLinks> atEnd(FileLinks&& result) const
    {
        if (!rest.isEmpty())
            return std::nullopt;
        return std::move(result);
    }

    bool readLink(FileLink& link)
    {
        QString fileId;
        if (!skip(u" <FileLink") || !readAttribute(u" FileId=\"", fileId) ||
            !readAttribute(u" RefId=\"", link.RefId) ||
            !readAttribute(u" ServerFileId=\"", link.ServerFileId) ||
            !readAttribute(u" Path=\"", link.Path) || !skip(u"/>\n"))
            return false;
        link.FileId = fileId.toInt();
        return true;
    }

    /// Reads a value and the quotation mark after it.
    bool readAttribute(QStringView start, QString& value)
    {
        if (!skip(start))
            return false;
        for (;;) {
            value += takePlainCharacters();
            if (skip(u"\""))
                return true;
            if (!readEscape(value) && !readSurrogatePair(value))
                return false;
        }
    }

    QStringView takePlainCharacters()
    {
        const auto end = std::find_if_not(rest.begin(), rest.end(), isPlain);
        const QStringView plain = rest.first(end - rest.begin());
        rest = rest.sliced(plain.size());
        return plain;
    }

    bool readEscape(QString& value)
    {
        static constexpr std::pair<QStringView, char16_t> Escapes[] = {
            {u"&lt;", u'<'},   {u"&gt;", u'>'},   {u"&amp;", u'&'}, {u"&quot;", u'"'},
            {u"&#x9;", u'\t'}, {u"&#xa;", u'\n'}, {u"&#xd;", u'\r'}};
        for (const auto& [escape, character] : Escapes) {
            if (skip(escape)) {
                value += QChar(character);
                return true;
            }
        }
        return false;
    }

    bool readSurrogatePair(QString& value)
    {
        if (rest.size() < 2 || !rest[0].isHighSurrogate() || !rest[1].isLowSurrogate())
            return false;
        value += rest.first(2);
        rest = rest.sliced(2);
        return true;
    }

    /// True for a character that needs no escape in an attribute. The DOM refuses or replaces
    /// control characters, lone surrogates, U+FFFE and U+FFFF.
    static bool isPlain(QChar character)
    {
        return character >= u' ' && character != u'"' && character != u'&' && character != u'<' &&
               !character.isSurrogate() && character < QChar(0xfffe);
    }

    bool skip(QStringView text)
    {
        if (!rest.startsWith(text))
            return false;
        rest = rest.sliced(text.size());
        return true;
    }

    QStringView rest;
};

// As QDomDocument reads.
FileLinks readLinksByToolkit(const QString& xml)
{
    FileLinks result;
    XmlReader reader(xml);
    while (reader.next()) {
        if (!reader.isStartElement() || reader.depth() > 1)
            continue;
        const auto attributes = reader.attributes();
        if (reader.depth() == 0) {
            result.date = attributes.value(u"FileDate"_s).toString();
            continue;
        }
        // An element of any name is a link.
        FileLink link;
        // A text that is not a number reads as 0, and the link stays.
        link.FileId = attributes.value(u"FileId"_s).toInt();
        link.RefId = attributes.value(u"RefId"_s).toString();
        link.ServerFileId = attributes.value(u"ServerFileId"_s).toString();
        link.Path = attributes.value(u"Path"_s).toString();
        if (!link.isEmpty())
            result.links.append(std::move(link));
    }
    return result;
}

} // namespace

QString writeFileLinksXml(const QList<FileLink>& links, const QDateTime& date)
{
    if (links.isEmpty() && !date.isValid())
        return u""_s; // Empty, and not null: the column is stored empty.

    QString elements;
    for (const FileLink& link : links) {
        if (link.isEmpty())
            continue;
        elements += u" <FileLink";
        appendAttribute(elements, u"FileId", QString::number(link.FileId));
        appendAttribute(elements, u"RefId", link.RefId);
        appendAttribute(elements, u"ServerFileId", link.ServerFileId);
        appendAttribute(elements, u"Path", link.Path);
        elements += u"/>\n";
    }

    QString xml = u"<FileLinks"_s;
    appendAttribute(xml, u"FileDate", date.toString(Qt::ISODate));
    if (elements.isEmpty())
        return xml + u"/>\n"_s;
    return xml + u">\n"_s + elements + u"</FileLinks>\n"_s;
}

bool isStorable(const FileLink& link)
{
    if (link.isEmpty())
        return true;
    QDateTime date;
    const QList<FileLink> read = readFileLinksXml(writeFileLinksXml({link}, date), date);
    return read.size() == 1 && read[0].FileId == link.FileId && read[0].Path == link.Path &&
           read[0].RefId == link.RefId && read[0].ServerFileId == link.ServerFileId;
}

QList<FileLink> readFileLinksXml(const QString& xml, QDateTime& date)
{
    if (xml.isEmpty())
        return {};

    std::optional<FileLinks> read = WrittenTextReader(xml).read();
    if (!read)
        read = readLinksByToolkit(xml);
    date = QDateTime::fromString(read->date, Qt::ISODate);
    // Labelled, not converted: a date is a clock reading in UTC, even with an offset.
    date.setTimeSpec(Qt::UTC);
    return std::move(read->links);
}

} // namespace sync::config
