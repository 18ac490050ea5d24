#include <config/ProductConfiguration.h>

#include <QMetaProperty>
#include <QTest>

#include <type_traits>

using namespace Qt::StringLiterals;

namespace sync::config {

namespace {

ProductConfiguration sampleProduct()
{
    ProductConfiguration product;
    product.setName(u"name"_s);
    product.setConsumerKey(u"key"_s);
    product.setConsumerSecret(u"consumer secret"_s);
    product.setServerId(2);
    return product;
}

// Every property in its order.
QVariantList fieldsOf(const ProductConfiguration& product)
{
    QVariantList fields;
    const QMetaObject* metaObject = product.metaObject();
    for (int i = metaObject->propertyOffset(); i < metaObject->propertyCount(); ++i)
        fields.append(metaObject->property(i).read(&product));
    return fields;
}

const QVariantList SampleFields{-1, u"name"_s, u"key"_s, u"consumer secret"_s, 2};

} // namespace

class TestProductConfiguration : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void newRecordHoldsTheDefaults();
    void settersStoreEachFieldOfItsOwn();
    void copyHoldsEveryPropertyAndHasNoParent();
    void assignmentReplacesEveryPropertyAndKeepsTheObject();
    void moveHoldsEveryPropertyAndCannotThrow();
    void propertiesAreDeclaredInOrderAndAllButTheIdCanBeWritten();
};

void TestProductConfiguration::newRecordHoldsTheDefaults()
{
    const ProductConfiguration product;

    QCOMPARE(product.getId(), -1);
    QVERIFY(product.getName().isNull());
    QVERIFY(product.getConsumerKey().isNull());
    QVERIFY(product.getConsumerSecret().isNull());
    QCOMPARE(product.getServerId(), 0);
    QVERIFY(!product.parent());
}

void TestProductConfiguration::settersStoreEachFieldOfItsOwn()
{
    const ProductConfiguration product = sampleProduct();

    QCOMPARE(product.getName(), u"name"_s);
    QCOMPARE(product.getConsumerKey(), u"key"_s);
    QCOMPARE(product.getConsumerSecret(), u"consumer secret"_s);
    QCOMPARE(product.getServerId(), 2);
}

void TestProductConfiguration::copyHoldsEveryPropertyAndHasNoParent()
{
    QObject parent;
    ProductConfiguration product = sampleProduct();
    product.setParent(&parent);

    const ProductConfiguration copy(product);

    QCOMPARE(fieldsOf(copy), SampleFields);
    QVERIFY(!copy.parent());
    product.setParent(nullptr);
}

void TestProductConfiguration::assignmentReplacesEveryPropertyAndKeepsTheObject()
{
    ProductConfiguration product;
    product.setObjectName(u"mine"_s);

    product = sampleProduct();
    ProductConfiguration copy;
    copy = product;

    QCOMPARE(fieldsOf(product), SampleFields);
    QCOMPARE(product.objectName(), u"mine"_s);
    QCOMPARE(fieldsOf(copy), SampleFields);
}

void TestProductConfiguration::moveHoldsEveryPropertyAndCannotThrow()
{
    ProductConfiguration product = sampleProduct();

    const ProductConfiguration moved(std::move(product));

    QCOMPARE(fieldsOf(moved), SampleFields);
    QVERIFY(std::is_nothrow_move_constructible_v<ProductConfiguration>);
    QVERIFY(std::is_nothrow_move_assignable_v<ProductConfiguration>);
}

void TestProductConfiguration::propertiesAreDeclaredInOrderAndAllButTheIdCanBeWritten()
{
    ProductConfiguration product;
    const QMetaObject* metaObject = product.metaObject();
    QStringList declared;

    for (int i = metaObject->propertyOffset(); i < metaObject->propertyCount(); ++i) {
        const QMetaProperty property = metaObject->property(i);
        declared.append(
            QString::fromLatin1(property.typeName()) + u' ' + QString::fromLatin1(property.name()));
        QCOMPARE(
            property.write(&product, SampleFields.value(i - metaObject->propertyOffset())),
            property.name() != QByteArray("Id"));
    }

    QCOMPARE(
        declared, QStringList(
                      {u"int Id"_s, u"QString Name"_s, u"QString ConsumerKey"_s,
                       u"QString ConsumerSecret"_s, u"int ServerId"_s}));
    QCOMPARE(fieldsOf(product), SampleFields);
    QCOMPARE(metaObject->methodCount(), metaObject->methodOffset());
}

} // namespace sync::config

QTEST_APPLESS_MAIN(sync::config::TestProductConfiguration)
#include "TestProductConfiguration.moc"
