#include <config/AuthenticationConfiguration.h>

#include <QMetaProperty>
#include <QTest>

#include <type_traits>

using namespace Qt::StringLiterals;

namespace sync::config {

namespace {

const QMap<QString, QString> SampleProperties{{u"Key"_s, u"value"_s}};

AuthenticationConfiguration sampleSignIn()
{
    AuthenticationConfiguration signIn;
    signIn.setId(1);
    signIn.setDomain(u"domain"_s);
    signIn.setDomainId(u"domain id"_s);
    signIn.setUserName(u"user"_s);
    signIn.setPassword(u"password"_s);
    signIn.setServerId(2);
    signIn.setNameValueProperties(SampleProperties);
    return signIn;
}

// Every property in its order.
QVariantList fieldsOf(const AuthenticationConfiguration& signIn)
{
    QVariantList fields;
    const QMetaObject* metaObject = signIn.metaObject();
    for (int i = metaObject->propertyOffset(); i < metaObject->propertyCount(); ++i)
        fields.append(metaObject->property(i).read(&signIn));
    return fields;
}

const QVariantList SampleFields{1, u"domain"_s, u"domain id"_s, u"user"_s, u"password"_s, 2};

} // namespace

class TestAuthenticationConfiguration : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void newRecordHoldsTheDefaults();
    void settersStoreEachFieldOfItsOwn();
    void copyHoldsEveryFieldAndHasNoParent();
    void assignmentReplacesEveryFieldAndKeepsTheObject();
    void moveHoldsEveryFieldAndCannotThrow();
    void propertiesAreDeclaredInOrderAndCanBeWritten();
};

void TestAuthenticationConfiguration::newRecordHoldsTheDefaults()
{
    const AuthenticationConfiguration signIn;

    QCOMPARE(signIn.getId(), -1);
    QVERIFY(signIn.getDomain().isNull());
    QVERIFY(signIn.getDomainId().isNull());
    QVERIFY(signIn.getUserName().isNull());
    QVERIFY(signIn.getPassword().isNull());
    QCOMPARE(signIn.getServerId(), 0);
    QVERIFY(signIn.getNameValueProperties().isEmpty());
    QVERIFY(!signIn.parent());
}

void TestAuthenticationConfiguration::settersStoreEachFieldOfItsOwn()
{
    const AuthenticationConfiguration signIn = sampleSignIn();

    QCOMPARE(signIn.getId(), 1);
    QCOMPARE(signIn.getDomain(), u"domain"_s);
    QCOMPARE(signIn.getDomainId(), u"domain id"_s);
    QCOMPARE(signIn.getUserName(), u"user"_s);
    QCOMPARE(signIn.getPassword(), u"password"_s);
    QCOMPARE(signIn.getServerId(), 2);
    QCOMPARE(signIn.getNameValueProperties(), SampleProperties);
}

void TestAuthenticationConfiguration::copyHoldsEveryFieldAndHasNoParent()
{
    QObject parent;
    AuthenticationConfiguration signIn = sampleSignIn();
    signIn.setParent(&parent);

    const AuthenticationConfiguration copy(signIn);

    QCOMPARE(fieldsOf(copy), SampleFields);
    QCOMPARE(copy.getNameValueProperties(), SampleProperties);
    QVERIFY(!copy.parent());
    signIn.setParent(nullptr);
}

void TestAuthenticationConfiguration::assignmentReplacesEveryFieldAndKeepsTheObject()
{
    AuthenticationConfiguration signIn;
    signIn.setObjectName(u"mine"_s);
    signIn.setNameValueProperties({{u"Old"_s, u"gone"_s}});

    signIn = sampleSignIn();
    AuthenticationConfiguration copy;
    copy.setNameValueProperties({{u"Old"_s, u"gone"_s}});
    copy = signIn;

    QCOMPARE(fieldsOf(signIn), SampleFields);
    QCOMPARE(signIn.getNameValueProperties(), SampleProperties);
    QCOMPARE(signIn.objectName(), u"mine"_s);
    QCOMPARE(fieldsOf(copy), SampleFields);
    QCOMPARE(copy.getNameValueProperties(), SampleProperties);
}

void TestAuthenticationConfiguration::moveHoldsEveryFieldAndCannotThrow()
{
    AuthenticationConfiguration signIn = sampleSignIn();

    const AuthenticationConfiguration moved(std::move(signIn));

    QCOMPARE(fieldsOf(moved), SampleFields);
    QCOMPARE(moved.getNameValueProperties(), SampleProperties);
    QVERIFY(std::is_nothrow_move_constructible_v<AuthenticationConfiguration>);
    QVERIFY(std::is_nothrow_move_assignable_v<AuthenticationConfiguration>);
}

void TestAuthenticationConfiguration::propertiesAreDeclaredInOrderAndCanBeWritten()
{
    AuthenticationConfiguration signIn;
    const QMetaObject* metaObject = signIn.metaObject();
    QStringList declared;

    for (int i = metaObject->propertyOffset(); i < metaObject->propertyCount(); ++i) {
        const QMetaProperty property = metaObject->property(i);
        declared.append(
            QString::fromLatin1(property.typeName()) + u' ' + QString::fromLatin1(property.name()));
        QVERIFY(property.write(&signIn, SampleFields.value(i - metaObject->propertyOffset())));
    }

    QCOMPARE(
        declared, QStringList(
                      {u"int Id"_s, u"QString Domain"_s, u"QString DomainId"_s,
                       u"QString UserName"_s, u"QString Password"_s, u"int ServerId"_s}));
    QCOMPARE(fieldsOf(signIn), SampleFields);
    QCOMPARE(metaObject->methodCount(), metaObject->methodOffset());
}

} // namespace sync::config

QTEST_APPLESS_MAIN(sync::config::TestAuthenticationConfiguration)
#include "TestAuthenticationConfiguration.moc"
