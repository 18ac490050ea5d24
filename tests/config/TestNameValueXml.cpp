#include <config/DatabaseConfigurationManager.h>
#include <config/xml/NameValueXml.h>
#include <support/NameValueDom.h>
#include <support/Repetitions.h>

#include <QRandomGenerator>
#include <QTest>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace sync::config {

using test::readNameValueDom;
using test::writeNameValueDom;

namespace {

using Properties = QMap<QString, QString>;

QString documentOf(const QString& entries)
{
    return u"<!DOCTYPE NameValueXml>\n<NameValueXml>\n"_s + entries + u"</NameValueXml>\n"_s;
}

QString entryOf(const QString& key, const QString& value)
{
    return u" <"_s + key + u"><![CDATA["_s + value + u"]]></"_s + key + u">\n"_s;
}

// As text in which every character shows, for the message of a difference.
QString shown(const QString& text)
{
    QString result;
    for (const QChar c : text) {
        const bool plain = c >= u' ' && c <= u'~';
        result += plain ? QString(c) : u"\\u%1"_s.arg(c.unicode(), 4, 16, QChar(u'0'));
    }
    return result;
}

QStringList shown(const Properties& properties)
{
    QStringList entries;
    for (auto entry = properties.cbegin(); entry != properties.cend(); ++entry)
        entries.append(shown(entry.key()) + u'=' + shown(entry.value()));
    return entries;
}

QString attributes(int count)
{
    QString text;
    for (int i = 0; i < count; ++i)
        text += u" a%1=\"\""_s.arg(i);
    return text;
}

QString generatedKey(QRandomGenerator& random)
{
    static const QString keys[] = {
        u"a"_s,
        u"Key"_s,
        u"_x.y-1"_s,
        u"FeatureName"_s,
        u"b"_s,
        u"xmlns"_s,
        u"xml"_s,
        u""_s,
        u"1a"_s,
        u"a b"_s,
        u"a:b"_s,
        u"-a"_s,
        u"\u00e4"_s,
        u"a<b"_s,
        u"a>"_s,
        u"a/"_s,
        u"&amp;"_s,
        u"a\n"_s,
        u"\U0001F600"_s,
        u"#text"_s,
        u"#comment"_s,
        u"a="_s,
        QString(256, u'k'),
        QString(257, u'k'),
    };
    // Mostly plain ones, so that whole documents stay plain, too.
    const int choice = random.bounded(3) ? random.bounded(5) : random.bounded(int(std::size(keys)));
    return keys[choice];
}

QString generatedValue(QRandomGenerator& random)
{
    static const QString plainPieces[] = {
        u"text"_s,         u" "_s,          u"\n"_s,
        u"\t"_s,           u"<b>"_s,        u"&amp;"_s,
        u"]]"_s,           u"]"_s,          u"<![CDATA["_s,
        u"\u00e9\u4e2d"_s, u"\U0001F600"_s, u"\ufeff"_s,
        u"\ufffd"_s,       u"\u0085"_s,     u"\u2028"_s,
        u"\u007f"_s,       u"'\"%1"_s,      u"\ud7ff\ue000"_s,
    };
    static const QString oddPieces[] = {
        u"]]>"_s,
        u">"_s,
        u"\r"_s,
        u"\r\n"_s,
        QString(QChar(0)),
        QString(QChar(0x1)),
        QString(QChar(0x1f)),
        QString(QChar(0xd800)),
        QString(QChar(0xdc00)),
        QString(QChar(0xfffe)),
        QString(QChar(0xffff)),
    };
    QString value;
    for (int count = random.bounded(5); count > 0; --count)
        value += plainPieces[random.bounded(int(std::size(plainPieces)))];
    if (!random.bounded(8))
        value += oddPieces[random.bounded(int(std::size(oddPieces)))];
    if (!random.bounded(4))
        value += u"end"_s;
    return value;
}

Properties generatedProperties(QRandomGenerator& random)
{
    Properties properties;
    for (int count = random.bounded(4); count > 0; --count) {
        const QString key = generatedKey(random);
        properties.insert(key, generatedValue(random));
    }
    return properties;
}

// A document from pieces that a writer may have put together otherwise than ours.
QString generatedDocument(QRandomGenerator& random)
{
    static const QString starts[] = {
        u"<!DOCTYPE NameValueXml>\n"_s,
        u""_s,
        u"<?xml version=\"1.0\"?>\n"_s,
        u"<!DOCTYPE NameValueXml [<!ENTITY e \"entity\">]>\n"_s,
        u" "_s,
        u"\ufeff"_s,
        u"<!DOCTYPE Other>\n"_s,
        u"<!DOCTYPE NameValueXml><!DOCTYPE NameValueXml>"_s,
        u"<!-- first -->"_s,
    };
    static const QString entries[] = {
        u"<c>plain text</c>"_s,
        u"<c/>"_s,
        u"<c></c>\n"_s,
        u"<!-- comment -->"_s,
        u"<!DOCTYPE NameValueXml>"_s,
        u"<?target instruction?>"_s,
        u"text"_s,
        u"<c>&amp;&#65;</c>"_s,
        u"<c>&e;</c>"_s,
        u"<c>\u00a0</c>\u2003"_s,
        u"<c>&unknown;</c>"_s,
        u"<c>x&e;</c>&e;"_s,
        u"<c><!-- said --></c><c><?t i?></c>"_s,
        u"<c><d>nested</d>after</c>"_s,
        u"<c>before<d/></c>"_s,
        u"<c a=\"1\"><![CDATA[x]]></c>"_s,
        u" <a><![CDATA[]]></a>\n"_s,
        u" <a><![CDATA[ \n ]]></a>\n"_s,
        u" <a> </a>\n"_s,
        u" <a ><![CDATA[x]]></a>\n"_s,
        u" <a><![CDATA[x]]></b>\n"_s,
        u" <a><![CDATA[x]]></a >\n"_s,
        u" <a><![CDATA[x]]><![CDATA[y]]></a>\n"_s,
        u" <a> <![CDATA[x]]></a>\n"_s,
        u" <a><![CDATA[x]]> </a>\n"_s,
        u"  <a><![CDATA[x]]></a>\n"_s,
        u" <a><![CDATA[x]]></a>\r\n"_s,
        u" <a><![CDATA[x\r\ny]]></a>\n"_s,
        u"<![CDATA[x]]>"_s,
        u"<n:c xmlns:n=\"u\">x</n:c>"_s,
    };
    static const QString roots[] = {u"NameValueXml"_s, u"NameValueXml"_s, u"Other"_s};
    static const QString ends[] = {u"\n"_s, u""_s, u"\n\n"_s, u"<x/>"_s, u"<!-- last -->"_s};

    const auto anyOf = [&random](const auto& choices) {
        // Half of the time the first one, which is our own form.
        return choices[random.bounded(2) ? 0 : random.bounded(int(std::size(choices)))];
    };
    const QString root = anyOf(roots);
    QString xml = anyOf(starts) + u'<' + root + u">\n"_s;
    for (int count = random.bounded(5); count > 0; --count) {
        if (random.bounded(2))
            xml += entryOf(generatedKey(random), generatedValue(random));
        else
            xml += entries[random.bounded(int(std::size(entries)))];
    }
    return xml + u"</"_s + root + u'>' + anyOf(ends);
}

} // namespace

class TestNameValueXml : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void forgedPropertiesAreNotStorable()
    {
        const Properties forging{{u"k"_s, u"v]]></k><inj>EVIL</inj><k><![CDATA["_s}};
        const Properties forgingByKey{{u"k><inj>EVIL</inj></k><k"_s, u"v"_s}};

        QVERIFY(readNameValueXml(writeNameValueXml(forging)).contains(u"inj"_s));
        QVERIFY(!DatabaseConfigurationManager::IsStorable(forging));
        QVERIFY(!DatabaseConfigurationManager::IsStorable(forgingByKey));
        QVERIFY(DatabaseConfigurationManager::IsStorable({}));
        QVERIFY(DatabaseConfigurationManager::IsStorable({{u"k"_s, u" <&>\t\n]]\u00e9"_s}}));
    }

    void emptyMapIsWrittenAsEmptyRoot()
    {
        QCOMPARE(writeNameValueXml({}), u"<!DOCTYPE NameValueXml>\n<NameValueXml/>\n"_s);
    }

    void entriesAreWrittenOnALineEachInAscendingOrder()
    {
        const Properties properties{
            {u"b"_s, u"2 <&>"_s}, {u"B"_s, u"1"_s}, {u"a"_s, u""_s}, {u"a.b"_s, u" \n "_s}};

        QCOMPARE(
            writeNameValueXml(properties), u"<!DOCTYPE NameValueXml>\n"
                                           u"<NameValueXml>\n"
                                           u" <B><![CDATA[1]]></B>\n"
                                           u" <a><![CDATA[]]></a>\n"
                                           u" <a.b><![CDATA[ \n ]]></a.b>\n"
                                           u" <b><![CDATA[2 <&>]]></b>\n"
                                           u"</NameValueXml>\n"_s);
    }

    void entryWithoutNameIsLeftOut()
    {
        QCOMPARE(writeNameValueXml({{u""_s, u"value"_s}}), writeNameValueXml({}));
        QCOMPARE(
            writeNameValueXml({{u""_s, u"value"_s}, {u"a"_s, u"1"_s}}),
            documentOf(entryOf(u"a"_s, u"1"_s)));
    }

    void managerConvertsBothWays()
    {
        DatabaseConfigurationManager manager(nullptr);
        const Properties properties{{u"Key"_s, u"value"_s}};
        const QString xml = documentOf(entryOf(u"Key"_s, u"value"_s));

        QCOMPARE(manager.ToNameValuePropertyString(properties), xml);
        QCOMPARE(manager.ToNameValuePropertyMap(xml), properties);
    }

    void mapReadsBackAsItWas_data()
    {
        QTest::addColumn<Properties>("properties");

        QTest::newRow("empty") << Properties();
        QTest::newRow("one") << Properties{{u"Key"_s, u"value"_s}};
        QTest::newRow("many") << Properties{{u"c"_s, u"3"_s}, {u"a"_s, u"1"_s}, {u"b"_s, u"2"_s}};
        QTest::newRow("blanks around") << Properties{{u"Key"_s, u"  value \t "_s}};
        QTest::newRow("line breaks around") << Properties{{u"Key"_s, u"\n value\n\n"_s}};
        QTest::newRow("markup") << Properties{{u"Key"_s, u"<a b=\"c\">&amp;</a>]]"_s}};
        QTest::newRow("other alphabets") << Properties{{u"\u00e4\u03a9"_s, u"\u4e2d\U0001F600"_s}};
        QTest::newRow("placeholders") << Properties{{u"Key"_s, u"%1 :id ?"_s}};
    }

    void mapReadsBackAsItWas()
    {
        QFETCH(Properties, properties);

        QCOMPARE(readNameValueXml(writeNameValueXml(properties)), properties);
    }

    void textThatIsNoXmlReadsAsEmptyMap_data()
    {
        QTest::addColumn<QString>("text");

        QTest::newRow("null") << QString();
        QTest::newRow("empty") << u""_s;
        QTest::newRow("blanks") << u" \n "_s;
        QTest::newRow("words") << u"no xml at all"_s;
        QTest::newRow("type declaration only") << u"<!DOCTYPE NameValueXml>\n"_s;
        QTest::newRow("wrong bracket") << u">NameValueXml<"_s;
    }

    void textThatIsNoXmlReadsAsEmptyMap()
    {
        QFETCH(QString, text);

        QVERIFY(readNameValueXml(text).isEmpty());
    }

    void elementWithoutContentReadsAsEmptyValue()
    {
        const Properties expected{{u"a"_s, u""_s}, {u"b"_s, u""_s}, {u"c"_s, u""_s}};

        QCOMPARE(readNameValueXml(documentOf(u"<a/><b></b>\n <c><![CDATA[]]></c>\n"_s)), expected);
    }

    void laterElementOfTheSameNameWins()
    {
        const QString plain =
            documentOf(entryOf(u"b"_s, u"1"_s) + entryOf(u"a"_s, u"2"_s) + entryOf(u"b"_s, u"3"_s));
        const Properties expected{{u"a"_s, u"2"_s}, {u"b"_s, u"3"_s}};

        QCOMPARE(readNameValueXml(plain), expected);
        QCOMPARE(readNameValueXml(documentOf(u"<b>1</b><a>2</a><b>3</b>"_s)), expected);
    }

    void nameOfTheRootDoesNotMatter()
    {
        const Properties expected{{u"a"_s, u"1"_s}};

        QCOMPARE(readNameValueXml(u"<Other><a>1</a></Other>"_s), expected);
    }

    void commentReadsAsAnEntry()
    {
        const Properties expected{{u"#comment"_s, u""_s}, {u"a"_s, u"1"_s}};

        QCOMPARE(readNameValueXml(documentOf(u"<!-- said --><a>1</a>"_s)), expected);
    }

    void firstChildAloneMakesTheValue()
    {
        const Properties expected{{u"a"_s, u"x"_s}, {u"b"_s, u""_s}};

        QCOMPARE(
            readNameValueXml(documentOf(u"<a no=\"1\">x<n/>y</a><b><n>z</n></b>"_s)), expected);
    }

    // A reader whose time grows with the square of the length would not end.
    void hostileTextsAreReadInLinearTime_data()
    {
        QTest::addColumn<QString>("entries");
        QTest::addColumn<Properties>("expected");
        const QString nested = u"<n>"_s.repeated(400'000);
        const Properties before{{u"a"_s, u"1"_s}};

        QTest::newRow("nested") << nested + u"</n>"_s.repeated(400'000)
                                << Properties{{u"a"_s, u"1"_s}, {u"n"_s, u""_s}};
        QTest::newRow("nested without ends")
            << nested << Properties{{u"a"_s, u"1"_s}, {u"n"_s, u""_s}};
        QTest::newRow("nested by a value")
            << entryOf(u"n"_s, u"]]>"_s + nested) << Properties{{u"a"_s, u"1"_s}, {u"n"_s, u""_s}};
        QTest::newRow("attributes") << u"<n"_s + attributes(400'000) + u"/>"_s << before;
        QTest::newRow("attributes without an end") << u"<n"_s + attributes(400'000) << before;
    }

    void hostileTextsAreReadInLinearTime()
    {
        QFETCH(QString, entries);
        QFETCH(Properties, expected);

        QCOMPARE(readNameValueXml(documentOf(entryOf(u"a"_s, u"1"_s) + entries)), expected);
    }

    void declarationsAreOnlyReadInAShortText()
    {
        const QString text =
            u"<!DOCTYPE NameValueXml [<!ENTITY e \"x\">]><NameValueXml><a>&e;</a>%1</NameValueXml>"_s;

        QCOMPARE(readNameValueXml(text.arg(QString())), (Properties{{u"a"_s, u"x"_s}}));
        QCOMPARE(readNameValueXml(text.arg(QString(4096, u' '))), Properties());
    }

    // What looks like many attributes or declarations, but is none.
    void longTextsReadAsTheToolkitDoes_data()
    {
        QTest::addColumn<QString>("entries");
        const QString looksLikeMany = u"<n"_s + attributes(1000) + u"><!DOCTYPE x [ "_s;
        QTest::newRow("comment") << u"<!-- "_s + looksLikeMany + u"--><a>1</a>"_s;
        QTest::newRow("CDATA") << entryOf(u"a"_s, looksLikeMany + u'\r');
        QTest::newRow("instruction") << u"<?t "_s + looksLikeMany + u"?><a>1</a>"_s;
        QTest::newRow("attribute") << u"<n x='"_s + u">=\""_s.repeated(3000) + u"'/><a>1</a>"_s;
        QTest::newRow("text") << u"<n>"_s + attributes(1000) + u"'</n><a>1</a>"_s;
        QTest::newRow("as many as are read") << u"<n"_s + attributes(256) + u"/><a>1</a>"_s;
        QTest::newRow("end without a start") << QString(5000, u' ') + u"</x><a>1</a>"_s;
        QTest::newRow("quote without an end") << QString(5000, u' ') + u"<x a='><a>1</a>"_s;
    }

    void longTextsReadAsTheToolkitDoes()
    {
        QFETCH(QString, entries);
        // Longer than what is always read.
        const QString xml = documentOf(QString(4096, u'\n') + entries);

        QCOMPARE(shown(readNameValueXml(xml)), shown(readNameValueDom(xml)));
    }

    void aMapOf100MillionBytesReadsBack()
    {
        const Properties properties{{u"a"_s, u"<a=\"1\">\n"_s.repeated(5'555'555)}};
        const QString xml = writeNameValueXml(properties);

        QVERIFY(readNameValueXml(xml) == properties);
        // By the toolkit, because the library does not write a space there.
        QVERIFY(readNameValueXml(u' ' + xml) == properties);
    }

    void generatedMapsAreWrittenAsTheToolkitDoes()
    {
        QRandomGenerator random(1);

        for (int i = sync::test::repetitions(20000); i > 0; --i) {
            const Properties properties = generatedProperties(random);
            const QString xml = writeNameValueXml(properties);
            QCOMPARE(shown(xml), shown(writeNameValueDom(properties)));
            QCOMPARE(shown(readNameValueXml(xml)), shown(readNameValueDom(xml)));
            QVERIFY2(
                isStorable(properties) == (readNameValueDom(xml) == properties),
                qPrintable(shown(xml)));
        }
    }

    void generatedDocumentsReadAsTheToolkitDoes()
    {
        QRandomGenerator random(2);

        for (int i = sync::test::repetitions(20000); i > 0; --i) {
            const QString xml = generatedDocument(random);
            QVERIFY2(
                shown(readNameValueXml(xml)) == shown(readNameValueDom(xml)),
                qPrintable(shown(xml)));
        }
    }

    void mutatedDocumentsReadAsTheToolkitDoes()
    {
        const QString xml = documentOf(
            entryOf(u"a"_s, u"x]] y"_s) + entryOf(u"B-1"_s, u" \n"_s) + entryOf(u"c"_s, u""_s));
        const QString alphabet =
            u"<>/![]& \n\r\tax1:-.\"?\u00e9"_s + QChar(u'\0') + QChar(0xd800) + QChar(0xfffe);

        for (qsizetype i = 0; i <= xml.size(); ++i) {
            QStringList mutated{xml.first(i), xml.sliced(i)};
            for (const QChar c : alphabet) {
                mutated.append(QString(xml).insert(i, c));
                if (i < xml.size())
                    mutated.append(QString(xml).replace(i, 1, c));
            }
            if (i < xml.size())
                mutated.append(QString(xml).remove(i, 1));
            for (const QString& text : std::as_const(mutated)) {
                QVERIFY2(
                    shown(readNameValueXml(text)) == shown(readNameValueDom(text)),
                    qPrintable(shown(text)));
            }
        }
    }

    void everyCharacterIsHandledAsTheToolkitDoes()
    {
        for (int code = 0; code <= 0xffff; code += code < 0x300 ? 1 : sync::test::testStride()) {
            const QString character(QChar(static_cast<char16_t>(code)));
            const Properties asValue{{u"Key"_s, u"x"_s + character + u"y"_s}};
            const QString xml = writeNameValueXml(asValue);
            QVERIFY2(xml == writeNameValueDom(asValue), qPrintable(QString::number(code, 16)));
            QVERIFY2(
                readNameValueXml(xml) == readNameValueDom(xml),
                qPrintable(QString::number(code, 16)));
            QCOMPARE(isStorable(asValue), readNameValueDom(xml) == asValue);
            const Properties asKey{{u"K"_s + character, u"value"_s}};
            const QString keyXml = writeNameValueXml(asKey);
            QVERIFY2(keyXml == writeNameValueDom(asKey), qPrintable(QString::number(code, 16)));
            QVERIFY2(
                readNameValueXml(keyXml) == readNameValueDom(keyXml),
                qPrintable(QString::number(code, 16)));
            QCOMPARE(isStorable(asKey), readNameValueDom(keyXml) == asKey);
        }
    }
};

} // namespace sync::config

QTEST_GUILESS_MAIN(sync::config::TestNameValueXml)
#include "TestNameValueXml.moc"
