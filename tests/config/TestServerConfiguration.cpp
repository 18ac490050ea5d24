#include <config/ServerConfiguration.h>

#include <QMetaProperty>
#include <QTest>

#include <type_traits>

using namespace Qt::StringLiterals;

namespace sync::config {

namespace {

ServerConfiguration sampleServer()
{
    ServerConfiguration server;
    server.setAlias(u"alias"_s);
    server.setDavUrl(u"dav"_s);
    server.setWebServiceUrl(u"web"_s);
    server.setBinaryDiffEncoder(u"encoder"_s);
    server.setNameValueProperties({{u"Key"_s, u"value"_s}});
    return server;
}

QStringList fieldsOf(const ServerConfiguration& server)
{
    QStringList fields{
        QString::number(server.getId()), server.getAlias(), server.getDavUrl(),
        server.getWebServiceUrl(), server.getBinaryDiffEncoder()};
    const QMap<QString, QString> properties = server.getNameValueProperties();
    for (auto entry = properties.cbegin(); entry != properties.cend(); ++entry)
        fields.append(entry.key() + u'=' + entry.value());
    return fields;
}

const QStringList SampleFields{
    u"-1"_s, u"alias"_s, u"dav"_s, u"web"_s, u"encoder"_s, u"Key=value"_s,
};

} // namespace

class TestServerConfiguration : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void newRecordHasIdMinusOneAndNothingElse();
    void settersStoreEachFieldOfItsOwn();
    void copyIsANewObjectWithTheSameFields();
    void assignmentReplacesEveryField();
    void moveHoldsEveryFieldAndCannotThrow();
    void emptyAliasIsTheFirstLabelOfTheHost_data();
    void emptyAliasIsTheFirstLabelOfTheHost();
    void aliasPropertyReadsTheComputedAndWritesTheRawOne();
    void propertiesAreDeclaredInOrderWithTheirTypes();
    void propertiesReadAndWriteTheirFields();
};

void TestServerConfiguration::newRecordHasIdMinusOneAndNothingElse()
{
    QCOMPARE(fieldsOf({}), QStringList({u"-1"_s, {}, {}, {}, {}}));
}

void TestServerConfiguration::settersStoreEachFieldOfItsOwn()
{
    QCOMPARE(fieldsOf(sampleServer()), SampleFields);
}

void TestServerConfiguration::copyIsANewObjectWithTheSameFields()
{
    QObject parent;
    ServerConfiguration server = sampleServer();
    server.setParent(&parent);

    const ServerConfiguration copy(server);

    QCOMPARE(fieldsOf(copy), SampleFields);
    QCOMPARE(fieldsOf(server), SampleFields);
    QVERIFY(!copy.parent());
    server.setParent(nullptr);
}

void TestServerConfiguration::assignmentReplacesEveryField()
{
    ServerConfiguration server;
    server.setNameValueProperties({{u"Old"_s, u"goes"_s}});

    const ServerConfiguration sample = sampleServer();
    server = sample;

    QCOMPARE(fieldsOf(server), SampleFields);
}

void TestServerConfiguration::moveHoldsEveryFieldAndCannotThrow()
{
    static_assert(std::is_nothrow_move_constructible_v<ServerConfiguration>);
    static_assert(std::is_nothrow_move_assignable_v<ServerConfiguration>);
    ServerConfiguration server = sampleServer();
    ServerConfiguration assigned;

    ServerConfiguration constructed(std::move(server));
    QCOMPARE(fieldsOf(constructed), SampleFields);
    assigned = std::move(constructed);

    QCOMPARE(fieldsOf(assigned), SampleFields);
}

void TestServerConfiguration::emptyAliasIsTheFirstLabelOfTheHost_data()
{
    QTest::addColumn<QString>("url");
    QTest::addColumn<QString>("alias");

    QTest::newRow("several labels") << u"https://files.example.com/ws/"_s << u"files"_s;
    QTest::newRow("no dot") << u"http://localhost/ws"_s << u"localhost"_s;
    QTest::newRow("port without dot") << u"http://localhost:8080/ws"_s << u"localhost:8080"_s;
    QTest::newRow("user without dot") << u"http://me@localhost:81/"_s << u"me@localhost:81"_s;
    QTest::newRow("user with dot") << u"http://me.too@host/"_s << u"me"_s;
    QTest::newRow("port behind a dot") << u"http://a.b:81"_s << u"a"_s;
    QTest::newRow("address") << u"http://192.168.0.1/"_s << u"192"_s;
    QTest::newRow("empty") << u""_s << u""_s;
    QTest::newRow("no URL") << u"just words"_s << u""_s;
    QTest::newRow("unparsable") << u"http://[broken/"_s << u""_s;
}

void TestServerConfiguration::emptyAliasIsTheFirstLabelOfTheHost()
{
    QFETCH(QString, url);
    ServerConfiguration server;
    server.setWebServiceUrl(url);

    QTEST(server.getAlias(), "alias");
}

void TestServerConfiguration::aliasPropertyReadsTheComputedAndWritesTheRawOne()
{
    ServerConfiguration server;
    server.setWebServiceUrl(u"https://files.example.com"_s);
    QCOMPARE(server.property("Alias").toString(), u"files"_s);

    QVERIFY(server.setProperty("Alias", u"mine"_s));
    QCOMPARE(server.getAlias(), u"mine"_s);
    QVERIFY(server.setProperty("Alias", QString()));

    QCOMPARE(server.getAlias(), u"files"_s);
}

void TestServerConfiguration::propertiesAreDeclaredInOrderWithTheirTypes()
{
    const QMetaObject& metaObject = ServerConfiguration::staticMetaObject;
    QStringList properties;
    for (int i = metaObject.propertyOffset(); i < metaObject.propertyCount(); ++i) {
        const QMetaProperty property = metaObject.property(i);
        properties.append(
            QLatin1StringView(property.typeName()) + u' ' + QLatin1StringView(property.name()) +
            (property.isWritable() ? u""_s : u" read-only"_s));
    }

    QCOMPARE(
        properties, QStringList(
                        {u"int Id read-only"_s, u"QString Alias"_s, u"QString DavUrl"_s,
                         u"QString WebServiceUrl"_s, u"QString BinaryDiffEncoder"_s}));
    QCOMPARE(metaObject.className(), "sync::config::ServerConfiguration");
    QCOMPARE(metaObject.superClass(), &QObject::staticMetaObject);
    QCOMPARE(metaObject.methodCount(), metaObject.methodOffset());
}

void TestServerConfiguration::propertiesReadAndWriteTheirFields()
{
    ServerConfiguration server;
    QVERIFY(server.setProperty("Alias", u"alias"_s));
    QVERIFY(server.setProperty("DavUrl", u"dav"_s));
    QVERIFY(server.setProperty("WebServiceUrl", u"web"_s));
    QVERIFY(server.setProperty("BinaryDiffEncoder", u"encoder"_s));

    QCOMPARE(fieldsOf(server), SampleFields.first(5));
    QCOMPARE(server.property("DavUrl").toString(), u"dav"_s);
    QCOMPARE(server.property("WebServiceUrl").toString(), u"web"_s);
    QCOMPARE(server.property("BinaryDiffEncoder").toString(), u"encoder"_s);
}

} // namespace sync::config

QTEST_GUILESS_MAIN(sync::config::TestServerConfiguration)
#include "TestServerConfiguration.moc"
