#include <velmioctl/records/Commands.h>

#include <config/ProductConfigManager.h>
#include <config/ServerConfiguration.h>
#include <interf/IQSqlQueryWrapper.h>
#include <velmioctl/cli/CommandLine.h>
#include <velmioctl/cli/Table.h>
#include <velmioctl/cli/Text.h>
#include <velmioctl/records/PropertyOptions.h>
#include <velmioctl/store/Records.h>
#include <velmioctl/store/References.h>
#include <velmioctl/store/SecretInput.h>
#include <velmioctl/store/Session.h>
#include <velmioctl/store/WatchedDatabase.h>

using namespace Qt::StringLiterals;
using sync::config::ProductConfiguration;
using sync::interf::IQSqlQueryWrapper;

namespace velmioctl {

namespace {

// The manager's records come without their properties, and its Update empties the secret and the
// properties. So the tool reads all columns and changes single ones by itself.
const QString SelectAll = u"SELECT id, serverId, name, consumerKey, consumerSecret,"
                          u" nameValueProperties FROM ProductConfiguration"_s;
const QString UpdateServer = u"UPDATE ProductConfiguration SET serverId = :value WHERE id = :id"_s;
const QString UpdateName = u"UPDATE ProductConfiguration SET name = :value WHERE id = :id"_s;
const QString UpdateKey = u"UPDATE ProductConfiguration SET consumerKey = :value WHERE id = :id"_s;
const QString UpdateSecret =
    u"UPDATE ProductConfiguration SET consumerSecret = :value WHERE id = :id"_s;
const QString UpdateProperties =
    u"UPDATE ProductConfiguration SET nameValueProperties = :value WHERE id = :id"_s;

struct Product
{
    int id = -1;
    int serverId = 0;
    QString name;
    QString consumerKey;
    QString consumerSecret;
    QMap<QString, QString> properties;

    bool hasSecret() const { return !consumerSecret.isEmpty(); }
};

struct ProductOptions
{
    int id = -1;
    std::optional<int> server;
    std::optional<std::string> name;
    std::optional<std::string> consumerKey;
    PropertyOptions properties;
    SecretInput secret{"secret"};
    bool reveal = false;
    bool yes = false;
};

Product readRow(Session& session, const IQSqlQueryWrapper& row)
{
    return {
        .id = row.value(0).toInt(),
        .serverId = row.value(1).toInt(),
        .name = row.value(2).toString(),
        .consumerKey = row.value(3).toString(),
        .consumerSecret = row.value(4).toString(),
        .properties = session.products().ToNameValuePropertyMap(row.value(5).toString()),
    };
}

Product productById(Session& session, int id)
{
    session.requireProduct(id);
    const auto query =
        session.database().select(SelectAll + u" WHERE id = :id"_s, {{u":id"_s, id}});
    query->next();
    session.database().check();
    return readRow(session, *query);
}

QJsonObject toJson(const Product& product)
{
    return {
        {u"id"_s, product.id},
        {u"serverId"_s, product.serverId},
        {u"name"_s, product.name},
        {u"consumerKey"_s, product.consumerKey},
        {u"secretStored"_s, product.hasSecret()},
        {u"properties"_s, velmioctl::toJson(product.properties)},
    };
}

QString shownSecret(const Product& product, bool reveal)
{
    if (!product.hasSecret())
        return u"none"_s;
    return reveal ? product.consumerSecret : u"********"_s;
}

void print(Session& session, const Product& product, bool reveal)
{
    if (session.output.json()) {
        QJsonObject object = toJson(product);
        if (reveal) {
            object.insert(
                u"consumerSecret"_s,
                product.hasSecret() ? QJsonValue(product.consumerSecret) : QJsonValue());
        }
        session.output.print(object);
        return;
    }
    FieldList fields;
    fields.add(u"id"_s, QString::number(product.id));
    fields.add(u"server"_s, QString::number(product.serverId));
    fields.add(u"name"_s, product.name);
    fields.add(u"consumer key"_s, product.consumerKey);
    fields.add(u"consumer secret"_s, shownSecret(product, reveal));
    addProperties(fields, product.properties);
    session.output.printWhole(fields);
}

void storeProperties(Session& session, const ProductOptions& options, const Product& before)
{
    const auto properties = options.properties.applied(before.properties, session.products());
    if (properties == before.properties)
        return;
    session.database().change(
        UpdateProperties, {{u":value"_s, session.products().ToNameValuePropertyString(properties)},
                           {u":id"_s, before.id}});
}

void add(Session& session, const ProductOptions& options)
{
    session.server(*options.server);
    ProductConfiguration product;
    product.setServerId(*options.server);
    product.setName(QString::fromStdString(*options.name));
    product.setConsumerKey(QString::fromStdString(*options.consumerKey));
    product.setConsumerSecret(options.secret.read(session));

    Transaction transaction(session.database());
    session.database().check(session.products().Add(product), u"Storing the product"_s);
    storeProperties(session, options, productById(session, product.getId()));
    transaction.commit();
    print(session, productById(session, product.getId()), false);
}

void list(Session& session, const ProductOptions& options)
{
    Table table({u"ID"_s, u"SERVER"_s, u"SECRET"_s, u"CONSUMER KEY"_s, u"NAME"_s});
    table.alignRight(0).alignRight(1);
    QJsonArray array;
    const auto query = session.database().select(SelectAll + u" ORDER BY id"_s);
    while (query->next()) {
        const Product product = readRow(session, *query);
        if (options.server && product.serverId != *options.server)
            continue;
        array.append(toJson(product));
        table.addRow(
            {QString::number(product.id), QString::number(product.serverId),
             product.hasSecret() ? u"set"_s : u"none"_s, product.consumerKey, product.name});
    }
    session.database().check();
    if (session.output.json())
        session.output.print(array);
    else if (table.isEmpty())
        session.output.note(u"There are no such products: add one with 'velmioctl product add'."_s);
    else
        session.output.print(table);
}

void set(Session& session, const ProductOptions& options)
{
    productById(session, options.id);
    // Before the transaction, which keeps others from writing.
    const QString secret = options.secret.isWanted() ? options.secret.read(session) : QString();

    WatchedDatabase& database = session.database();
    const auto change = [&](const QString& sql, const QVariant& value) {
        database.change(sql, {{u":value"_s, value}, {u":id"_s, options.id}});
    };
    Transaction transaction(database);
    const Product before = productById(session, options.id);
    if (options.server) {
        session.server(*options.server);
        change(UpdateServer, *options.server);
    }
    if (options.name)
        change(UpdateName, QString::fromStdString(*options.name));
    if (options.consumerKey)
        change(UpdateKey, QString::fromStdString(*options.consumerKey));
    if (options.secret.isWanted())
        change(UpdateSecret, secret);
    storeProperties(session, options, before);
    transaction.commit();
    print(session, productById(session, options.id), false);
}

void remove(Session& session, const ProductOptions& options)
{
    const Product product = productById(session, options.id);
    WatchedDatabase& database = session.database();
    References references;
    references.find(
        database, u"folders"_s,
        u"SELECT id, clientPath FROM FolderConfiguration WHERE productConfigurationId = :id"_s,
        options.id);
    references.find(
        database, u"files"_s,
        u"SELECT id, clientPath FROM FileConfiguration WHERE productConfigurationId = :id"_s,
        options.id);
    references.find(
        database, u"generated files"_s,
        u"SELECT id, clientPath FROM GeneratedFileConfiguration"
        u" WHERE productConfigurationId = :id"_s,
        options.id);
    references.find(
        database, u"base copies"_s,
        u"SELECT id, clientPath FROM BaseFileConfiguration WHERE productConfigurationId = :id"_s,
        options.id);
    const QString named =
        u"product %1 (%2)"_s.arg(QString::number(options.id), quoted(product.name));
    references.confirmRemoval(session, options.yes, u"Remove the %1?"_s.arg(named));

    database.check(session.products().Remove(options.id), u"Removing the product"_s);
    if (session.output.json())
        session.output.print(QJsonObject{{u"id"_s, options.id}, {u"removed"_s, true}});
    else
        session.output.printText(u"Removed the %1."_s.arg(named));
}

void addFieldOptions(Command& command, ProductOptions& options, bool required)
{
    command.addOption("--server", options.server, "Id of the server that it is registered with")
        ->typeName("ID")
        ->required(required);
    command.addOption("--name", options.name, "Name to show")->typeName("NAME")->required(required);
    command.addOption("--consumer-key", options.consumerKey, "The key that goes with the secret")
        ->typeName("KEY")
        ->required(required);
    options.properties.addSetTo(command);
}

} // namespace

void addProductCommands(Command& app, Session& session)
{
    Command* const product =
        app.addSubcommand("product", "The products that are registered with servers");
    product->requireSubcommand();
    const auto options = std::make_shared<ProductOptions>();
    const auto addId = [options](Command* command) {
        command->addOption("ID", options->id, "Id of the product")->required();
    };

    auto* const addCommand = product->addSubcommand("add", "Add a product, and ask its secret");
    addFieldOptions(*addCommand, *options, true);
    options->secret.addTo(*addCommand);
    addCommand->example("velmioctl product add --server 1 --name Desktop --consumer-key desktop-7 "
                        "--secret-stdin < secret.txt");
    addCommand->callback([&session, options] { add(session, *options); });

    auto* const listCommand = product->addSubcommand("list", "List the products");
    listCommand->addOption("--server", options->server, "Only those of one server")->typeName("ID");
    listCommand->example("velmioctl product list --server 1");
    listCommand->callback([&session, options] { list(session, *options); });

    auto* const showCommand = product->addSubcommand("show", "Show one product");
    addId(showCommand);
    showCommand->addFlag("--reveal", options->reveal, "Show the consumer secret");
    showCommand->example("velmioctl product show 1");
    showCommand->callback([&session, options] {
        print(session, productById(session, options->id), options->reveal);
    });

    auto* const setCommand = product->addSubcommand("set", "Change what is given of a product");
    addId(setCommand);
    addFieldOptions(*setCommand, *options, false);
    options->secret.addOptionalTo(*setCommand);
    options->properties.addUnsetTo(*setCommand);
    setCommand->example("velmioctl product set 1 --name \"Desktop client\"");
    setCommand->callback([&session, options] { set(session, *options); });

    auto* const removeCommand = product->addSubcommand("remove", "Remove a product");
    addId(removeCommand);
    removeCommand->addFlag("--yes", options->yes, "Remove without asking");
    removeCommand->example("velmioctl product remove 1 --yes");
    removeCommand->callback([&session, options] { remove(session, *options); });
}

} // namespace velmioctl
