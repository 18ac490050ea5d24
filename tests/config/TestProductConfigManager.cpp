#include "RecordFields.h"
#include "Stores.h"

#include <config/ProductConfigManager.h>

#include <QMetaObject>
#include <QTest>

using namespace Qt::StringLiterals;
using sync::test::RecordingDatabaseFactory;
using sync::test::statementLog;

namespace sync::config {

namespace {

const QString Delete = u"DELETE FROM ProductConfiguration WHERE Id = :id;"_s;

const QString SampleXml =
    u"<!DOCTYPE NameValueXml>\n<NameValueXml>\n <Key><![CDATA[value]]></Key>\n</NameValueXml>\n"_s;
const QString EmptyXml = u"<!DOCTYPE NameValueXml>\n<NameValueXml/>\n"_s;
const QString BindEmptyXml = u":nameValueProperties QString '"_s + EmptyXml + u'\'';

QVariantList sampleRow(int id = 7)
{
    return {id, u"name"_s, u"key"_s, u"consumer secret"_s, 3, SampleXml};
}

using Recording = test::Recording<ProductConfigManager>;
using Store = test::Store<ProductConfigManager>;

/// Notes the lookups by id.
class NotingManager : public ProductConfigManager
{
public:
    explicit NotingManager(std::shared_ptr<RecordingDatabaseFactory> factory)
        : ProductConfigManager(factory)
        , factory(std::move(factory))
    {
    }

    ProductConfiguration GetProductConfigurationById(int id) override
    {
        factory->note(u"lookup "_s + QString::number(id));
        return {};
    }

private:
    const std::shared_ptr<RecordingDatabaseFactory> factory;
};

using Read = std::function<bool(ProductConfigManager&)>;

} // namespace

class TestProductConfigManager : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void removeReadsThroughAnOverride()
    {
        const auto factory = std::make_shared<RecordingDatabaseFactory>();
        NotingManager manager(factory);

        manager.Remove(7);

        QCOMPARE(
            factory->log(), QStringList(u"lookup 7"_s) + statementLog(Delete, {u":id int 7"_s}, 1));
    }

    void recordThatWasReadCarriesNoProperties_data()
    {
        // Each writes the returned object itself, without a copy.
        QTest::addColumn<Read>("readAndAdd");
        QTest::newRow("by id") << Read([](auto& manager) {
            auto&& product = manager.GetProductConfigurationById(7);
            return manager.Add(product);
        });
        QTest::newRow("by server and key") << Read([](auto& manager) {
            auto&& product = manager.GetProductConfigurationByServerIdAndConsumerKey(3, u"key"_s);
            return manager.Add(product);
        });
        QTest::newRow("list") << Read([](auto& manager) {
            auto&& products = manager.GetAll();
            return manager.Add(products.first());
        });
    }

    void recordThatWasReadCarriesNoProperties()
    {
        QFETCH(Read, readAndAdd);
        Recording recording;
        recording.factory->answer(u"SELECT"_s, {.rows = {sampleRow()}});

        QVERIFY(readAndAdd(recording.manager));

        QCOMPARE(
            recording.factory->log().filter(u":nameValueProperties QString"_s),
            {u"bind "_s + BindEmptyXml});
    }

    void invokablesWorkThroughTheMetaObject()
    {
        Recording recording;
        recording.factory->answerOthers({.rows = {sampleRow()}, .lastInsertId = 12});
        ProductConfigManager* const manager = &recording.manager;
        ProductConfiguration product;
        QVector<ProductConfiguration> products;
        bool updated = false;
        bool added = false;
        bool removed = false;

        QVERIFY(QMetaObject::invokeMethod(
            manager, "GetProductConfigurationById",
            Q_RETURN_ARG(sync::config::ProductConfiguration, product), Q_ARG(int, 7)));
        QVERIFY(QMetaObject::invokeMethod(
            manager, "GetAll",
            Q_RETURN_ARG(QVector<sync::config::ProductConfiguration>, products)));
        QVERIFY(QMetaObject::invokeMethod(
            manager, "Update", Q_RETURN_ARG(bool, updated),
            Q_ARG(sync::config::ProductConfiguration, product)));
        QVERIFY(QMetaObject::invokeMethod(
            manager, "Add", Q_RETURN_ARG(bool, added),
            Q_ARG(sync::config::ProductConfiguration&, product)));
        QVERIFY(QMetaObject::invokeMethod(
            manager, "Remove", Q_RETURN_ARG(bool, removed), Q_ARG(int, 7)));

        QCOMPARE(products.size(), 1);
        QCOMPARE(product.getId(), 12);
        QVERIFY(updated && added && removed);
    }

    void invokablesReachOverrides()
    {
        auto factory = std::make_shared<RecordingDatabaseFactory>();
        NotingManager manager(factory);

        QVERIFY(QMetaObject::invokeMethod(&manager, "GetProductConfigurationById", Q_ARG(int, 7)));

        QCOMPARE(factory->log(), QStringList{u"lookup 7"_s});
    }

    // Behaviour over real databases
    void addedProductReadsBack_data() { test::addEngineRows(); }
    void addedProductReadsBack()
    {
        Store store;
        ProductConfigManager& manager = store.manager;
        ProductConfiguration product = test::sampleOf<ProductConfiguration>();

        QVERIFY(manager.Add(product));

        QVERIFY(product.getId() > 0);
        QCOMPARE(
            test::linesOf(manager.GetProductConfigurationById(product.getId())),
            test::linesOf(product));
        QCOMPARE(
            test::linesOf(manager.GetProductConfigurationByServerIdAndConsumerKey(3, u"key"_s)),
            test::linesOf(product));
        QCOMPARE(manager.GetAll().size(), 1);
    }

    void updateOfAReadRecordEmptiesTheStoredProperties_data() { test::addEngineRows(); }
    void updateOfAReadRecordEmptiesTheStoredProperties()
    {
        Store store;
        ProductConfigManager& manager = store.manager;
        ProductConfiguration product = test::sampleOf<ProductConfiguration>();
        QVERIFY(manager.Add(product));
        store.run(u"UPDATE ProductConfiguration SET nameValueProperties = :v0"_s, {SampleXml});

        QVERIFY(manager.Update(manager.GetProductConfigurationById(product.getId())));

        QCOMPARE(
            store.run(u"SELECT nameValueProperties FROM ProductConfiguration"_s).toString(),
            EmptyXml);
    }

    void changedSecretIsNotShownAfterAnUpdate_data() { test::addEngineRows(); }
    void changedSecretIsNotShownAfterAnUpdate()
    {
        Store store;
        ProductConfigManager& manager = store.manager;
        ProductConfiguration product = test::sampleOf<ProductConfiguration>();
        QVERIFY(manager.Add(product));
        product.setName(u"other name"_s);
        product.setConsumerSecret(u"other secret"_s);

        QVERIFY(manager.Update(product));

        const ProductConfiguration read = manager.GetProductConfigurationById(product.getId());
        QCOMPARE(read.getName(), u"other name"_s);
        QCOMPARE(read.getConsumerSecret(), QString());
        QVERIFY(store.run(u"SELECT consumerSecret FROM ProductConfiguration"_s).isNull());
    }

    void lookupByKeyOfTwoRowsFindsTheFirst_data() { test::addEngineRows(); }
    void lookupByKeyOfTwoRowsFindsTheFirst()
    {
        Store store;
        ProductConfigManager& manager = store.manager;
        ProductConfiguration first = test::sampleOf<ProductConfiguration>();
        ProductConfiguration second = test::sampleOf<ProductConfiguration>();
        QVERIFY(manager.Add(first) && manager.Add(second));

        const auto found = manager.GetProductConfigurationByServerIdAndConsumerKey(3, u"key"_s);

        QCOMPARE(found.getId(), first.getId());
        QCOMPARE(manager.GetProductConfigurationByServerIdAndConsumerKey(3, u"KEY"_s).getId(), -1);
        QCOMPARE(manager.GetProductConfigurationByServerIdAndConsumerKey(4, u"key"_s).getId(), -1);
    }

    void removedProductIsGoneAndRemovingItAgainSucceeds_data() { test::addEngineRows(); }
    void removedProductIsGoneAndRemovingItAgainSucceeds()
    {
        Store store;
        ProductConfigManager& manager = store.manager;
        ProductConfiguration product = test::sampleOf<ProductConfiguration>();
        QVERIFY(manager.Add(product));

        QVERIFY(manager.Remove(product.getId()));

        QVERIFY(manager.GetAll().isEmpty());
        QCOMPARE(
            test::linesOf(manager.GetProductConfigurationById(product.getId())),
            test::linesOf(ProductConfiguration()));
        QVERIFY(manager.Remove(product.getId()));
    }
};

} // namespace sync::config

QTEST_APPLESS_MAIN(sync::config::TestProductConfigManager)
#include "TestProductConfigManager.moc"
