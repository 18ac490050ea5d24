#include <config/ProductConfigManager.h>
#include <interf/IQSqlQueryWrapper.h>

#include <support/ConvertingManager.h>
#include <support/Engines.h>
#include <support/RecordingDatabaseFactory.h>

#include <QMetaMethod>
#include <QTemporaryDir>
#include <QTest>

using namespace Qt::StringLiterals;
using sync::test::RecordingDatabaseFactory;
using sync::test::statementLog;

namespace sync::config {

namespace {

const QString SelectById =
    u"SELECT id, name, consumerKey, consumerSecret, serverId, nameValueProperties FROM ProductConfiguration WHERE id = :id"_s;
const QString SelectByKey =
    u"SELECT id, name, consumerKey, consumerSecret, serverId, nameValueProperties FROM ProductConfiguration WHERE serverId = :serverId AND consumerKey = :consumerKey"_s;
const QString SelectAll =
    u"SELECT id, name, consumerKey, consumerSecret, serverId, nameValueProperties FROM ProductConfiguration"_s;
const QString UpdateById =
    u"UPDATE ProductConfiguration SET name = :name, consumerKey = :consumerKey, consumerSecret = :consumerSecret, serverId = :serverId, nameValueProperties = :nameValueProperties WHERE id = :id"_s;
const QString Insert =
    u"INSERT INTO ProductConfiguration (name, consumerKey, consumerSecret, serverId, nameValueProperties) VALUES (:name, :consumerKey, :consumerSecret, :serverId, :nameValueProperties);"_s;
const QString Delete = u"DELETE FROM ProductConfiguration WHERE Id = :id;"_s;

const QString SampleXml =
    u"<!DOCTYPE NameValueXml>\n<NameValueXml>\n <Key><![CDATA[value]]></Key>\n</NameValueXml>\n"_s;
const QString EmptyXml = u"<!DOCTYPE NameValueXml>\n<NameValueXml/>\n"_s;
const QString BindEmptyXml = u":nameValueProperties QString '"_s + EmptyXml + u'\'';

ProductConfiguration sampleProduct()
{
    ProductConfiguration product;
    product.setName(u"name"_s);
    product.setConsumerKey(u"key"_s);
    product.setConsumerSecret(u"consumer secret"_s);
    product.setServerId(3);
    return product;
}

QVariantList sampleRow(int id = 7)
{
    return {id, u"name"_s, u"key"_s, u"consumer secret"_s, 3, SampleXml};
}

QVariantList fieldsOf(const ProductConfiguration& product)
{
    return {
        product.getId(), product.getName(), product.getConsumerKey(), product.getConsumerSecret(),
        product.getServerId()};
}

const QVariantList SampleFields{7, u"name"_s, u"key"_s, u"consumer secret"_s, 3};
const QVariantList DefaultFields{-1, QString(), QString(), QString(), 0};

QVariant columnOf(interf::factory::IDatabaseFactory& factory, const QString& column, int id)
{
    const auto query = factory.CreateQuery();
    query->prepare(u"SELECT "_s + column + u" FROM ProductConfiguration WHERE id = :id"_s);
    query->bindValue(u":id"_s, id);
    query->exec();
    query->next();
    return query->value(0);
}

bool storeProperties(interf::factory::IDatabaseFactory& factory, int id)
{
    const auto query = factory.CreateQuery();
    query->prepare(u"UPDATE ProductConfiguration SET nameValueProperties = :xml WHERE id = :id"_s);
    query->bindValue(u":xml"_s, SampleXml);
    query->bindValue(u":id"_s, id);
    return query->exec();
}

struct Recording
{
    std::shared_ptr<RecordingDatabaseFactory> factory =
        std::make_shared<RecordingDatabaseFactory>();
    ProductConfigManager manager{factory};
};

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

} // namespace

class TestProductConfigManager : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();

    void lookupById();
    void lookupByServerAndKey();
    void lookupWithoutRowReadsAsDefaultRecord();
    void failedLookupReadsAsDefaultRecord();
    void listHoldsAllRowsInTheirOrder();
    void failedListIsEmpty();
    void updateLeavesTheSecretUnbound();
    void failedUpdateReturnsFalse();
    void addBindsTheSecretInClearAndSetsTheId();
    void failedAddLeavesTheRecordUnchanged();
    void removeReadsTheRecordBeforeItsScope();
    void removeReadsThroughAnOverride();
    void failedRemoveReturnsFalse();
    void recordThatWasReadCarriesNoProperties_data();
    void recordThatWasReadCarriesNoProperties();
    void conversionsOfAnOverrideAreUsed();
    void castsAndBasesAreThoseOfAManager();
    void invokablesAreDeclaredInOrder();
    void invokablesWorkThroughTheMetaObject();
    void invokablesReachOverrides();

    // Behaviour over real databases
    void addedProductReadsBack_data() { test::addEngineRows(); }
    void addedProductReadsBack();
    void updateOfAReadRecordEmptiesTheStoredProperties_data() { test::addEngineRows(); }
    void updateOfAReadRecordEmptiesTheStoredProperties();
    void changedSecretIsNotShownAfterAnUpdate_data() { test::addEngineRows(); }
    void changedSecretIsNotShownAfterAnUpdate();
    void lookupByKeyOfTwoRowsFindsTheFirst_data() { test::addEngineRows(); }
    void lookupByKeyOfTwoRowsFindsTheFirst();
    void unknownIdReadsAsIdMinusOne_data() { test::addEngineRows(); }
    void unknownIdReadsAsIdMinusOne();
    void removedProductIsGoneAndRemovingItAgainSucceeds_data() { test::addEngineRows(); }
    void removedProductIsGoneAndRemovingItAgainSucceeds();

private:
    std::shared_ptr<interf::factory::IDatabaseFactory> openDatabase();

    std::unique_ptr<QTemporaryDir> folder;
};

void TestProductConfigManager::init()
{
    folder = std::make_unique<QTemporaryDir>();
}

std::shared_ptr<interf::factory::IDatabaseFactory> TestProductConfigManager::openDatabase()
{
    const QString engine = *static_cast<QString*>(QTest::qData("engine", QMetaType::QString));
    return test::openEngine(engine, folder->filePath(u"configuration.db"_s));
}

void TestProductConfigManager::lookupById()
{
    Recording recording;
    recording.factory->answerOthers({.rows = {sampleRow(), sampleRow(8)}});

    const ProductConfiguration product = recording.manager.GetProductConfigurationById(7);

    QCOMPARE(recording.factory->log(), statementLog(SelectById, {u":id int 7"_s}));
    QCOMPARE(fieldsOf(product), SampleFields);
}

void TestProductConfigManager::lookupByServerAndKey()
{
    Recording recording;
    recording.factory->answerOthers({.rows = {sampleRow(), sampleRow(8)}});

    const ProductConfiguration product =
        recording.manager.GetProductConfigurationByServerIdAndConsumerKey(4, u" k%1 "_s);

    QCOMPARE(
        recording.factory->log(),
        statementLog(SelectByKey, {u":serverId int 4"_s, u":consumerKey QString ' k%1 '"_s}));
    QCOMPARE(fieldsOf(product), SampleFields);
}

void TestProductConfigManager::lookupWithoutRowReadsAsDefaultRecord()
{
    Recording recording;
    ProductConfigManager& manager = recording.manager;

    QCOMPARE(fieldsOf(manager.GetProductConfigurationById(7)), DefaultFields);
    QCOMPARE(
        fieldsOf(manager.GetProductConfigurationByServerIdAndConsumerKey(4, u"k"_s)),
        DefaultFields);
}

void TestProductConfigManager::failedLookupReadsAsDefaultRecord()
{
    Recording recording;
    recording.factory->answerOthers({.rows = {sampleRow()}, .fails = true});
    ProductConfigManager& manager = recording.manager;

    QCOMPARE(fieldsOf(manager.GetProductConfigurationById(7)), DefaultFields);
    QCOMPARE(
        fieldsOf(manager.GetProductConfigurationByServerIdAndConsumerKey(4, u"k"_s)),
        DefaultFields);
}

void TestProductConfigManager::listHoldsAllRowsInTheirOrder()
{
    Recording recording;
    recording.factory->answerOthers({.rows = {sampleRow(9), sampleRow(7)}});

    const QVector<ProductConfiguration> products = recording.manager.GetAll();

    QCOMPARE(recording.factory->log(), statementLog(SelectAll));
    QCOMPARE(products.size(), 2);
    QCOMPARE(products.at(0).getId(), 9);
    QCOMPARE(fieldsOf(products.at(1)), SampleFields);
}

void TestProductConfigManager::failedListIsEmpty()
{
    Recording recording;
    recording.factory->answerOthers({.rows = {sampleRow()}, .fails = true});

    QVERIFY(recording.manager.GetAll().isEmpty());
}

void TestProductConfigManager::updateLeavesTheSecretUnbound()
{
    Recording recording;

    const bool updated = recording.manager.Update(sampleProduct());

    QVERIFY(updated);
    QCOMPARE(
        recording.factory->log(),
        statementLog(
            UpdateById,
            {u":id int -1"_s, u":name QString 'name'"_s, u":consumerKey QString 'key'"_s,
             u":serverId int 3"_s, BindEmptyXml},
            1));
}

void TestProductConfigManager::failedUpdateReturnsFalse()
{
    Recording recording;
    recording.factory->answerOthers({.fails = true});

    QVERIFY(!recording.manager.Update(sampleProduct()));
}

void TestProductConfigManager::addBindsTheSecretInClearAndSetsTheId()
{
    Recording recording;
    recording.factory->answerOthers({.lastInsertId = 12});
    ProductConfiguration product = sampleProduct();

    const bool added = recording.manager.Add(product);

    QVERIFY(added);
    QCOMPARE(product.getId(), 12);
    QCOMPARE(
        recording.factory->log(),
        statementLog(
            Insert,
            {u":name QString 'name'"_s, u":consumerKey QString 'key'"_s,
             u":consumerSecret QString 'consumer secret'"_s, u":serverId int 3"_s, BindEmptyXml},
            1));
}

void TestProductConfigManager::failedAddLeavesTheRecordUnchanged()
{
    Recording recording;
    recording.factory->answerOthers({.fails = true, .lastInsertId = 12});
    ProductConfiguration product = sampleProduct();

    const bool added = recording.manager.Add(product);

    QVERIFY(!added);
    QCOMPARE(fieldsOf(product), fieldsOf(sampleProduct()));
}

void TestProductConfigManager::removeReadsTheRecordBeforeItsScope()
{
    Recording recording;

    const bool removed = recording.manager.Remove(7);

    QVERIFY(removed);
    QCOMPARE(
        recording.factory->log(),
        statementLog(SelectById, {u":id int 7"_s}) + statementLog(Delete, {u":id int 7"_s}, 1));
}

void TestProductConfigManager::removeReadsThroughAnOverride()
{
    const auto factory = std::make_shared<RecordingDatabaseFactory>();
    NotingManager manager(factory);

    manager.Remove(7);

    QCOMPARE(
        factory->log(), QStringList(u"lookup 7"_s) + statementLog(Delete, {u":id int 7"_s}, 1));
}

void TestProductConfigManager::failedRemoveReturnsFalse()
{
    Recording recording;
    recording.factory->answer(Delete, {.fails = true});

    QVERIFY(!recording.manager.Remove(7));
}

namespace {

using Read = std::function<bool(ProductConfigManager&)>;

} // namespace

void TestProductConfigManager::recordThatWasReadCarriesNoProperties_data()
{
    // Each writes the returned object itself, as it came, without a copy in between.
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

void TestProductConfigManager::recordThatWasReadCarriesNoProperties()
{
    QFETCH(Read, readAndAdd);
    Recording recording;
    recording.factory->answer(u"SELECT"_s, {.rows = {sampleRow()}});

    QVERIFY(readAndAdd(recording.manager));

    QCOMPARE(
        recording.factory->log().filter(u":nameValueProperties QString"_s),
        {u"bind "_s + BindEmptyXml});
}

void TestProductConfigManager::conversionsOfAnOverrideAreUsed()
{
    auto factory = std::make_shared<RecordingDatabaseFactory>();
    factory->answerOthers({.rows = {sampleRow()}});
    test::ConvertingManager<ProductConfigManager> manager(factory);
    ProductConfiguration product = sampleProduct();

    // Read although the record that is handed out does not carry it.
    manager.GetProductConfigurationById(7);
    QCOMPARE(manager.conversions, 1);
    factory->takeLog();
    manager.Update(product);
    manager.Add(product);

    QCOMPARE(factory->log().filter(u" written"_s).size(), 2);
}

void TestProductConfigManager::castsAndBasesAreThoseOfAManager()
{
    Recording recording;
    ProductConfigManager& manager = recording.manager;

    QCOMPARE(manager.qt_metacast("sync::config::ProductConfigManager"), &manager);
    QCOMPARE(
        manager.qt_metacast("DatabaseConfigurationManager"),
        static_cast<DatabaseConfigurationManager*>(&manager));
    QCOMPARE(
        manager.qt_metacast("sync::interf::IProductConfigManager"),
        static_cast<interf::IProductConfigManager*>(&manager));
    QCOMPARE(manager.metaObject()->superClass(), &interf::IProductConfigManager::staticMetaObject);
    QVERIFY(!manager.parent());
}

void TestProductConfigManager::invokablesAreDeclaredInOrder()
{
    const QMetaObject& metaObject = ProductConfigManager::staticMetaObject;
    QStringList methods;
    for (int i = metaObject.methodOffset(); i < metaObject.methodCount(); ++i) {
        const QMetaMethod method = metaObject.method(i);
        const QByteArrayList text{
            method.typeName(), method.methodSignature(), method.parameterNames().join(',')};
        methods.append(QString::fromLatin1(text.join(' ')).trimmed());
        QCOMPARE(method.access(), QMetaMethod::Public);
        QCOMPARE(method.methodType(), QMetaMethod::Method);
    }

    // Qt 6 names a QVector as what it is an alias of.
    QCOMPARE(
        methods,
        QStringList({
            u"sync::config::ProductConfiguration GetProductConfigurationById(int) id"_s,
            u"sync::config::ProductConfiguration "
            u"GetProductConfigurationByServerIdAndConsumerKey(int,QString) serverId,consumerKey"_s,
            u"QList<sync::config::ProductConfiguration> GetAll()"_s,
            u"bool Update(sync::config::ProductConfiguration) ProductConfiguration"_s,
            u"bool Add(sync::config::ProductConfiguration&) ProductConfiguration"_s,
            u"bool Remove(int) ProductConfigurationId"_s,
        }));
}

void TestProductConfigManager::invokablesReachOverrides()
{
    auto factory = std::make_shared<RecordingDatabaseFactory>();
    NotingManager manager(factory);

    QVERIFY(QMetaObject::invokeMethod(&manager, "GetProductConfigurationById", Q_ARG(int, 7)));

    QCOMPARE(factory->log(), QStringList{u"lookup 7"_s});
}

void TestProductConfigManager::invokablesWorkThroughTheMetaObject()
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
        manager, "GetAll", Q_RETURN_ARG(QVector<sync::config::ProductConfiguration>, products)));
    QVERIFY(QMetaObject::invokeMethod(
        manager, "Update", Q_RETURN_ARG(bool, updated),
        Q_ARG(sync::config::ProductConfiguration, product)));
    QVERIFY(QMetaObject::invokeMethod(
        manager, "Add", Q_RETURN_ARG(bool, added),
        Q_ARG(sync::config::ProductConfiguration&, product)));
    QVERIFY(
        QMetaObject::invokeMethod(manager, "Remove", Q_RETURN_ARG(bool, removed), Q_ARG(int, 7)));

    QCOMPARE(products.size(), 1);
    QCOMPARE(product.getId(), 12);
    QVERIFY(updated && added && removed);
}

void TestProductConfigManager::addedProductReadsBack()
{
    ProductConfigManager manager(openDatabase());
    ProductConfiguration product = sampleProduct();

    QVERIFY(manager.Add(product));

    QVERIFY(product.getId() > 0);
    QCOMPARE(fieldsOf(manager.GetProductConfigurationById(product.getId())), fieldsOf(product));
    QCOMPARE(
        fieldsOf(manager.GetProductConfigurationByServerIdAndConsumerKey(3, u"key"_s)),
        fieldsOf(product));
    QCOMPARE(manager.GetAll().size(), 1);
}

void TestProductConfigManager::updateOfAReadRecordEmptiesTheStoredProperties()
{
    const auto database = openDatabase();
    ProductConfigManager manager(database);
    ProductConfiguration product = sampleProduct();
    QVERIFY(manager.Add(product));
    QVERIFY(storeProperties(*database, product.getId()));

    QVERIFY(manager.Update(manager.GetProductConfigurationById(product.getId())));

    QCOMPARE(columnOf(*database, u"nameValueProperties"_s, product.getId()).toString(), EmptyXml);
}

void TestProductConfigManager::changedSecretIsNotShownAfterAnUpdate()
{
    const auto database = openDatabase();
    ProductConfigManager manager(database);
    ProductConfiguration product = sampleProduct();
    QVERIFY(manager.Add(product));
    product.setName(u"other name"_s);
    product.setConsumerSecret(u"other secret"_s);

    QVERIFY(manager.Update(product));

    const ProductConfiguration read = manager.GetProductConfigurationById(product.getId());
    QCOMPARE(read.getName(), u"other name"_s);
    QCOMPARE(read.getConsumerSecret(), QString());
    QVERIFY(columnOf(*database, u"consumerSecret"_s, product.getId()).isNull());
}

void TestProductConfigManager::lookupByKeyOfTwoRowsFindsTheFirst()
{
    ProductConfigManager manager(openDatabase());
    ProductConfiguration first = sampleProduct();
    ProductConfiguration second = sampleProduct();
    QVERIFY(manager.Add(first) && manager.Add(second));

    const auto found = manager.GetProductConfigurationByServerIdAndConsumerKey(3, u"key"_s);

    QCOMPARE(found.getId(), first.getId());
    QCOMPARE(manager.GetProductConfigurationByServerIdAndConsumerKey(3, u"KEY"_s).getId(), -1);
    QCOMPARE(manager.GetProductConfigurationByServerIdAndConsumerKey(4, u"key"_s).getId(), -1);
}

void TestProductConfigManager::unknownIdReadsAsIdMinusOne()
{
    ProductConfigManager manager(openDatabase());

    QCOMPARE(fieldsOf(manager.GetProductConfigurationById(99)), DefaultFields);
}

void TestProductConfigManager::removedProductIsGoneAndRemovingItAgainSucceeds()
{
    ProductConfigManager manager(openDatabase());
    ProductConfiguration product = sampleProduct();
    QVERIFY(manager.Add(product));

    QVERIFY(manager.Remove(product.getId()));

    QVERIFY(manager.GetAll().isEmpty());
    QVERIFY(manager.Remove(product.getId()));
}

} // namespace sync::config

QTEST_APPLESS_MAIN(sync::config::TestProductConfigManager)
#include "TestProductConfigManager.moc"
