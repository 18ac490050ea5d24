#include <config/FileConfiguration.h>
#include <config/xml/FileLinksXml.h>

#include <support/FileLinksDom.h>
#include <support/Repetitions.h>

#include <QRandomGenerator>
#include <QTest>

using namespace Qt::StringLiterals;
using namespace sync::config;
using sync::test::readByDom;
using sync::test::writeByDom;

namespace {

FileLink makeLink(int fileId, QString refId, QString serverFileId, QString path)
{
    FileLink link;
    link.FileId = fileId;
    link.RefId = std::move(refId);
    link.ServerFileId = std::move(serverFileId);
    link.Path = std::move(path);
    return link;
}

QString describe(const QList<FileLink>& links, const QDateTime& date)
{
    QString text = date.isNull() ? u"null"_s : date.toString(Qt::ISODateWithMs);
    text += u" time spec %1"_s.arg(int(date.timeSpec()));
    for (const FileLink& link : links) {
        text += u"\n%1 ["_s.arg(link.FileId) + link.RefId + u"] ["_s + link.ServerFileId +
                u"] ["_s + link.Path + u']';
    }
    return text;
}

QString describeRead(
    QList<FileLink> (*read)(const QString& xml, QDateTime& date), const QString& xml)
{
    QDateTime date(QDate(1999, 9, 9), QTime(9, 9, 9), Qt::LocalTime);
    const auto links = read(xml, date);
    return describe(links, date);
}

QString escaped(const QString& text)
{
    QString shown;
    for (const QChar character : text) {
        if (character >= u' ' && character <= u'~')
            shown += character;
        else
            shown += u"{%1}"_s.arg(character.unicode(), 0, 16);
    }
    return shown;
}

// The lines of a text with the attributes of each element in ascending order.
QString withSortedAttributes(const QString& xml)
{
    QStringList lines = xml.split(u'\n');
    for (QString& line : lines) {
        // Quotation marks stand only around values: in them they are escaped.
        QStringList attributes;
        QString rest;
        qsizetype from = 0;
        for (;;) {
            const qsizetype open = line.indexOf(u"=\"", from);
            if (open < 0)
                break;
            const qsizetype close = line.indexOf(u'"', open + 2);
            const qsizetype nameStart = line.lastIndexOf(u' ', open);
            rest += line.mid(from, nameStart - from);
            attributes += line.mid(nameStart, close + 1 - nameStart);
            from = close + 1;
        }
        rest += line.mid(from);
        attributes.sort();
        line = rest + attributes.join(u' ');
    }
    return lines.join(u'\n');
}

/// Generates texts from everything that is special in XML, and from plain text, with a fixed seed.
class TextGenerator
{
public:
    explicit TextGenerator(quint32 seed)
        : random(seed)
    {
    }

    int below(int bound) { return random.bounded(bound); }
    int number() { return int(random.generate()); }

    template <typename List>
    auto oneOf(const List& list)
    {
        return list[below(int(list.size()))];
    }

    QString value()
    {
        static const QStringList Pieces = {
            u"a"_s,      u"docs/a.txt"_s, u" "_s,    u"\t"_s,     u"\n"_s,       u"\r"_s,
            u"<"_s,      u">"_s,          u"&"_s,    u"\""_s,     u"'"_s,        u"]]>"_s,
            u"]"_s,      u"/>"_s,         u"&lt;"_s, u"&amp;"_s,  u"&#x9;"_s,    u"&bogus;"_s,
            u"ä"_s,      u"日本"_s,       u"😀"_s,    u"\u0085"_s, u"\u2028"_s,   u"%1"_s,
            u"\u007f"_s, u"--"_s,         u"<!--"_s, u"="_s,      u" Path=\""_s, u"\uFEFF"_s};
        QString text;
        for (int left = below(6); left > 0; --left)
            text += oneOf(Pieces);
        // Sometimes what XML cannot hold.
        if (below(20) == 0)
            text += QChar(char16_t(below(0x20)));
        if (below(20) == 0)
            text += QChar(char16_t(0xd800 + below(0x800)));
        if (below(40) == 0)
            text += QChar(char16_t(0xfffe + below(2)));
        return text;
    }

    QList<FileLink> links()
    {
        QList<FileLink> links;
        for (int left = below(5); left > 0; --left)
            links += makeLink(below(4) == 0 ? -1 : number(), value(), value(), value());
        return links;
    }

    QDateTime date()
    {
        if (below(4) == 0)
            return {};
        const auto moment = QDateTime::fromSecsSinceEpoch(random.bounded(4'000'000'000LL), Qt::UTC);
        return below(2) == 0 ? moment : moment.toOffsetFromUtc(3600 * (below(25) - 12));
    }

    /// An XML text that writeFileLinksXml() would not write, or a text that is not XML.
    QString foreignText()
    {
        QString text = oneOf(QStringList{
            QString(), QString(), u"<?xml version=\"1.0\"?>\n"_s, u"<!DOCTYPE FileLinks>\n"_s,
            u"<!DOCTYPE FileLinks [<!ENTITY e \"xyz\"><!ATTLIST FileLink RefId CDATA \"d\">]>"_s,
            u"<!-- note -->"_s, u" "_s, u"\uFEFF"_s});
        const QString root = oneOf(QStringList{u"FileLinks"_s, u"FileLinks"_s, u"Other"_s});
        text += u"<"_s + root + attributes({u"FileDate"_s}) + oneOf(QStringList{u">"_s, u">\n"_s});
        for (int left = below(4); left > 0; --left)
            text += foreignChild(2);
        text += u"</"_s + root + oneOf(QStringList{u">\n"_s, u">"_s, u">junk"_s, u"><x/>"_s});
        return text;
    }

    /// The same text with one character changed, taken out or put in, or with its end cut off.
    QString damaged(QString text)
    {
        static const QString Characters =
            u"<>&\"'=/!?-[] \n\t\rax1;#F\u0001\u00e4\U0001F600\ufffe"_s;
        if (text.isEmpty())
            return text;
        const int at = below(int(text.size()));
        switch (below(4)) {
        case 0:
            return text.left(at);
        case 1:
            return text.remove(at, 1);
        case 2:
            return text.insert(at, oneOf(Characters));
        default:
            text[at] = oneOf(Characters);
            return text;
        }
    }

private:
    QString attributes(const QStringList& usual)
    {
        static const QStringList Values = {
            QString(),
            u"0"_s,
            u"-1"_s,
            u"12"_s,
            u" 12"_s,
            u"12 "_s,
            u"+12"_s,
            u"1 2"_s,
            u"0x10"_s,
            u"99999999999"_s,
            u"-2147483648"_s,
            u"2147483648"_s,
            u"abc"_s,
            u"2024-05-06T07:08:09Z"_s,
            u"2024-05-06T07:08:09+02:00"_s,
            u"2024-05-06"_s,
            u"&#65;"_s,
            u"&e;"_s,
            u"&lt;"_s,
            u"&quot;"_s,
            u"&apos;"_s,
            u"a\nb"_s,
            u"a\tb"_s,
            u"a\r\nb"_s,
            u"x>y"_s,
            u"x<y"_s,
            u"😀"_s,
            u"&#x9;"_s,
            u"&#xd;"_s};
        QStringList names = usual;
        if (below(4) == 0)
            names.removeAt(below(int(names.size())));
        if (below(8) == 0)
            names += oneOf(usual);
        if (below(4) == 0)
            names += u"Extra"_s;
        if (below(3) == 0)
            std::shuffle(names.begin(), names.end(), random);
        QString text;
        for (const QString& name : std::as_const(names)) {
            const QString quote = below(4) == 0 ? u"'"_s : u"\""_s;
            const QString gap = below(8) == 0 ? u"  "_s : u" "_s;
            text +=
                gap + name + (below(16) == 0 ? u" = "_s : u"="_s) + quote + oneOf(Values) + quote;
        }
        return text;
    }

    QString foreignChild(int depth)
    {
        switch (below(8)) {
        case 0:
            return u"<!-- a < b -->"_s;
        case 1:
            return oneOf(QStringList{
                u"text"_s, u"<![CDATA[<FileLink/>]]>"_s, u"<?pi?>"_s, u"&e;"_s, u"&amp;"_s});
        default:
            break;
        }
        const QString name = oneOf(QStringList{u"FileLink"_s, u"FileLink"_s, u"Other"_s, u"a:b"_s});
        const QString start =
            u" <"_s + name + attributes({u"FileId"_s, u"RefId"_s, u"ServerFileId"_s, u"Path"_s});
        if (depth > 0 && below(4) == 0)
            return start + u">"_s + foreignChild(depth - 1) + u"</"_s + name + u">"_s;
        return start + oneOf(QStringList{u"/>\n"_s, u"/>"_s, u" />\n"_s});
    }

    QRandomGenerator random;
};

} // namespace

class TestFileLinksXml : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void noLinksAndNoDateAreWrittenAsTheEmptyText()
    {
        QCOMPARE(writeFileLinksXml({}, {}), QString());
    }

    void theEmptyTextHasNoLinksAndLeavesTheDate()
    {
        const QDateTime before(QDate(2001, 2, 3), QTime(4, 5, 6), Qt::LocalTime);
        QDateTime date = before;

        const auto links = readFileLinksXml({}, date);

        QVERIFY(links.isEmpty());
        QCOMPARE(date, before);
        QCOMPARE(date.timeSpec(), Qt::LocalTime);
    }

    void aDateAloneIsWrittenAsAnElementWithoutLinks()
    {
        const QDateTime date(QDate(2024, 5, 6), QTime(7, 8, 9), Qt::UTC);

        const QString xml = writeFileLinksXml({}, date);

        QCOMPARE(xml, u"<FileLinks FileDate=\"2024-05-06T07:08:09Z\"/>\n"_s);
        QDateTime readDate;
        QVERIFY(readFileLinksXml(xml, readDate).isEmpty());
        QCOMPARE(readDate, date);
        QCOMPARE(readDate.timeSpec(), Qt::UTC);
    }

    void linksAreWrittenInTheirOrderWithOrderedAttributes()
    {
        const QList<FileLink> links = {
            makeLink(7, u"r-1"_s, u"s-1"_s, u"docs/a.txt"_s), makeLink(-1, {}, {}, u"b.txt"_s)};

        const QString xml = writeFileLinksXml(links, {});

        QCOMPARE(
            xml,
            u"<FileLinks FileDate=\"\">\n"
            " <FileLink FileId=\"7\" RefId=\"r-1\" ServerFileId=\"s-1\" Path=\"docs/a.txt\"/>\n"
            " <FileLink FileId=\"-1\" RefId=\"\" ServerFileId=\"\" Path=\"b.txt\"/>\n"
            "</FileLinks>\n"_s);
    }

    void specialCharactersAreWrittenEscaped()
    {
        const QString xml =
            writeFileLinksXml({makeLink(1, u"<>&\"'"_s, u"\t\n\r"_s, u"]]>"_s)}, {});

        QCOMPARE(
            xml, u"<FileLinks FileDate=\"\">\n"
                 " <FileLink FileId=\"1\" RefId=\"&lt;>&amp;&quot;'\""
                 " ServerFileId=\"&#x9;&#xa;&#xd;\" Path=\"]]&gt;\"/>\n"
                 "</FileLinks>\n"_s);
    }

    void aLinkThatHasOnlyARefIdIsDropped()
    {
        const QDateTime date(QDate(2024, 5, 6), QTime(7, 8, 9), Qt::UTC);

        QCOMPARE(
            writeFileLinksXml({makeLink(-1, u"r-1"_s, {}, {})}, date),
            u"<FileLinks FileDate=\"2024-05-06T07:08:09Z\"/>\n"_s);
        QDateTime readDate;
        // In another program's form, and in the one that is written here.
        for (const QString& xml :
             {u"<FileLinks><FileLink FileId='-1' RefId='r'/></FileLinks>"_s,
              u"<FileLinks FileDate=\"\">\n <FileLink FileId=\"-1\" RefId=\"r\" ServerFileId=\"\" "
              u"Path=\"\"/>\n</FileLinks>\n"_s})
            QVERIFY(readFileLinksXml(xml, readDate).isEmpty());
    }

    void onlyEmptyLinksAndNoDateAreWrittenAsAnElement()
    {
        QCOMPARE(writeFileLinksXml({FileLink()}, {}), u"<FileLinks FileDate=\"\"/>\n"_s);
    }

    void anElementOfAnyNameIsRead()
    {
        QDateTime date;

        const auto links = readFileLinksXml(
            u"<Anything FileDate=\"2024-05-06T07:08:09\"><Other FileId=\"3\" Path=\"p\"/></Anything>"_s,
            date);

        QCOMPARE(describe(links, date), u"2024-05-06T07:08:09.000Z time spec 1\n3 [] [] [p]"_s);
    }

    void aLinkWithoutNumberIsReadAsFileZero_data()
    {
        QTest::addColumn<QString>("xml");
        QTest::newRow("missing") << u"<FileLinks><FileLink RefId=\"r\"/></FileLinks>"_s;
        QTest::newRow("no number")
            << u"<FileLinks><FileLink FileId=\"x\" RefId=\"r\"/></FileLinks>"_s;
        QTest::newRow("too large")
            << u"<FileLinks FileDate=\"\">\n <FileLink FileId=\"2147483648\" RefId=\"r\""
               " ServerFileId=\"\" Path=\"\"/>\n</FileLinks>\n"_s;
    }

    void aLinkWithoutNumberIsReadAsFileZero()
    {
        QFETCH(QString, xml);
        QDateTime date;

        const auto links = readFileLinksXml(xml, date);

        QCOMPARE(describe(links, {}), u"null time spec 0\n0 [r] [] []"_s);
    }

    void textThatIsNoXmlHasNoLinksAndANullDateInUtc()
    {
        QDateTime date(QDate(2001, 2, 3), QTime(4, 5, 6), Qt::LocalTime);

        const auto links = readFileLinksXml(u"no xml"_s, date);

        QVERIFY(links.isEmpty());
        QVERIFY(date.isNull());
        QCOMPARE(date.timeSpec(), Qt::UTC);
    }

    void anOffsetOfTheDateIsNotConverted()
    {
        QDateTime date;

        readFileLinksXml(u"<FileLinks FileDate=\"2024-05-06T07:08:09+02:00\"/>\n"_s, date);

        QCOMPARE(date, QDateTime(QDate(2024, 5, 6), QTime(7, 8, 9), Qt::UTC));
        QCOMPARE(date.timeSpec(), Qt::UTC);
    }

    void whatIsWrittenReadsBack()
    {
        const QList<FileLink> links = {
            makeLink(7, u"<&>\"'"_s, u"\t\n\r]]>"_s, u"ä/日本/😀.txt"_s), makeLink(0, {}, {}, {})};
        const QDateTime date(QDate(2024, 5, 6), QTime(7, 8, 9), Qt::UTC);

        QDateTime readDate;
        const auto read = readFileLinksXml(writeFileLinksXml(links, date), readDate);

        QCOMPARE(describe(read, readDate), describe(links, date));
    }

    void linkIsStorableIfItReadsBack_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<bool>("storable");
        QTest::newRow("plain") << u"a/\u00e4 <&>\"\t\n\r]]>"_s << true;
        QTest::newRow("control character") << u"a\u0001b"_s << false;
        QTest::newRow("no character") << QString(QChar(0xfffe)) << false;
        QTest::newRow("half of a pair") << QString(QChar(0xd800)) << false;
    }

    void linkIsStorableIfItReadsBack()
    {
        QFETCH(QString, text);
        QFETCH(bool, storable);
        for (const auto& link :
             {makeLink(1, {}, {}, text), makeLink(1, {}, text, {}), makeLink(1, text, {}, {})}) {
            FileConfiguration file;
            const QList<FileLink> links{link, makeLink(2, {}, {}, u"fine"_s)};
            file.setFileLinks(links + QList<FileLink>{FileLink()});
            QDateTime date;

            const auto read = readFileLinksXml(writeFileLinksXml(file.getFileLinks(), date), date);

            QCOMPARE(file.isStorable(), storable);
            QCOMPARE(describe(read, date) == describe(links, date), storable);
        }
    }

    void writesWhatTheDomWritesApartFromTheOrderOfAttributes()
    {
        TextGenerator generate(20240506);

        for (int round = sync::test::repetitions(10'000); round > 0; --round) {
            const auto links = generate.links();
            const auto date = generate.date();
            const QString written = writeFileLinksXml(links, date);
            const QString byDom = writeByDom(links, date);
            QCOMPARE(escaped(withSortedAttributes(written)), escaped(withSortedAttributes(byDom)));
        }
    }

    void writesEveryCharacterAsTheDomDoes()
    {
        for (int code = 0; code <= 0xffff; code += code < 0x300 ? 1 : sync::test::testStride()) {
            const QString value = u"]]"_s + QChar(char16_t(code)) + u'>';
            const auto date = QDateTime();
            const QList<FileLink> links = {makeLink(1, {}, {}, value)};
            const QString written = writeFileLinksXml(links, date);
            QCOMPARE(
                escaped(withSortedAttributes(written)),
                escaped(withSortedAttributes(writeByDom(links, date))));
        }
    }

    void readsWrittenTextsAsTheDomDoes()
    {
        TextGenerator generate(1);

        for (int round = sync::test::repetitions(10'000); round > 0; --round)
            compareReaders(writeFileLinksXml(generate.links(), generate.date()));
    }

    void readsEveryCharacterAsTheDomDoes()
    {
        for (int code = 0; code <= 0xffff; code += code < 0x300 ? 1 : sync::test::testStride()) {
            const QString value = u"a"_s + QChar(char16_t(code)) + u'b';
            compareReaders(
                u"<FileLinks FileDate=\"\">\n <FileLink FileId=\"1\" RefId=\"\" ServerFileId=\"\""
                " Path=\""_s +
                value + u"\"/>\n</FileLinks>\n"_s);
        }
    }

    void readsDamagedTextsAsTheDomDoes()
    {
        TextGenerator generate(2);

        for (int round = sync::test::repetitions(10'000); round > 0; --round) {
            QString xml = writeFileLinksXml(generate.links(), generate.date());
            for (int left = 1 + generate.below(2); left > 0; --left)
                xml = generate.damaged(xml);
            compareReaders(xml);
        }
    }

    void readsForeignTextsAsTheDomDoes()
    {
        TextGenerator generate(3);

        for (int round = sync::test::repetitions(10'000); round > 0; --round) {
            QString xml = generate.foreignText();
            if (generate.below(4) == 0)
                xml = generate.damaged(xml);
            compareReaders(xml);
        }
    }

    // A reader whose time grows with the square of the length would not end.
    void hostileTextsAreReadInLinearTime()
    {
        const QString link = u"<FileLink FileId=\"7\" Path=\"a\"/>"_s;
        const QString start = u"<FileLinks FileDate=\"2024-05-06T07:08:09\">"_s + link;
        QString attributes;
        for (int i = 0; i < 400'000; ++i)
            attributes += u" a%1=\"\""_s.arg(i);
        QDateTime date;

        const auto nested = readFileLinksXml(start + u"<n>"_s.repeated(400'000) + link, date);
        QCOMPARE(date, QDateTime(QDate(2024, 5, 6), QTime(7, 8, 9), Qt::UTC));
        const auto attributed = readFileLinksXml(start + u"<n"_s + attributes + u"/>"_s, date);

        QCOMPARE(describe(nested, {}), u"null time spec 0\n7 [] [] [a]\n0 [] [] []"_s);
        QCOMPARE(describe(attributed, {}), u"null time spec 0\n7 [] [] [a]"_s);
    }

    void tenThousandLinksReadBack()
    {
        QList<FileLink> links;
        for (int i = 0; i < 10'000; ++i)
            links.append(makeLink(i, u"r%1\u0085"_s.arg(i), u"s<&"_s, QString(300, u'p')));
        // Also in a form that this library does not write.
        QString foreign = writeFileLinksXml(links, {});
        foreign.replace(u"/>\n"_s, u" />\n"_s);
        QDateTime date;

        const auto read = readFileLinksXml(foreign, date);

        QCOMPARE(describe(read, {}), describe(links, {}));
    }

    void readsEveryTruncationAsTheDomDoes()
    {
        const QString xml = writeFileLinksXml(
            {makeLink(7, u"<&>\"'"_s, u"\t\n\r]]>"_s, u"ä/日本/😀.txt"_s)},
            QDateTime(QDate(2024, 5, 6), QTime(7, 8, 9), Qt::UTC));

        for (qsizetype length = 0; length <= xml.size(); ++length)
            compareReaders(xml.left(length));
    }

private:
    static void compareReaders(const QString& xml)
    {
        const QString expected = describeRead(readByDom, xml);
        const QString actual = describeRead(readFileLinksXml, xml);
        if (actual != expected)
            qWarning("differs for %s", qUtf8Printable(escaped(xml)));
        QCOMPARE(escaped(actual), escaped(expected));
    }
};

QTEST_APPLESS_MAIN(TestFileLinksXml)
#include "TestFileLinksXml.moc"
