#include <velmioctl/records/Commands.h>

#include <config/ProductConfigManager.h>
#include <config/ServerConfiguration.h>
#include <velmioctl/cli/CommandLine.h>
#include <velmioctl/cli/Text.h>
#include <velmioctl/records/SecretRecords.h>
#include <velmioctl/store/References.h>
#include <velmioctl/store/SecretInput.h>
#include <velmioctl/store/Session.h>
#include <velmioctl/store/WatchedDatabase.h>

using namespace Qt::StringLiterals;
using sync::config::ProductConfiguration;
using sync::core::crypto::SecretText;

namespace velmioctl {

namespace {

struct ProductOptions
{
    int id = -1;
    std::optional<int> server;
    FieldOptions fields{"ProductConfiguration"};
    SecretInput secret{"secret"};
    bool reveal = false;
    bool yes = false;
};

SecretRecords records(Session& session)
{
    return {session, "ProductConfiguration", session.products()};
}

ColumnValues productById(Session& session, int id)
{
    session.requireProduct(id);
    return records(session).byId(id);
}

void show(Session& session, const ProductOptions& options)
{
    const ColumnValues product = productById(session, options.id);
    const QString secret = product.hasSecret() ? product["consumerSecret"].toString() : QString();
    if (options.reveal)
        records(session).printRevealed(product, u"consumerSecret"_s, secret);
    else
        records(session).print(product);
}

void add(Session& session, const ProductOptions& options)
{
    session.writableDatabase();
    ProductConfiguration product;
    options.fields.apply(&product);
    session.server(product.getServerId());
    product.setConsumerSecret(options.secret.read(session).toString());

    Transaction transaction(session.database());
    session.database().check(session.products().Add(product), u"Storing the product"_s);
    records(session).change(productById(session, product.getId()), options.fields);
    transaction.commit();
    records(session).print(productById(session, product.getId()));
}

void set(Session& session, const ProductOptions& options)
{
    session.writableDatabase();
    productById(session, options.id);
    // Before the transaction, which keeps others from writing.
    const SecretText secret =
        options.secret.isWanted() ? options.secret.read(session) : SecretText();

    Transaction transaction(session.database());
    const ColumnValues before = productById(session, options.id);
    if (const QVariant server = options.fields.value("serverId"); server.isValid())
        session.server(server.toInt());
    records(session).change(before, options.fields);
    if (options.secret.isWanted()) {
        const TableShape& table = before.table;
        records(session).changeColumn(
            options.id, table.columns[table.indexOf("consumerSecret")], secret.toString());
    }
    transaction.commit();
    records(session).print(productById(session, options.id));
}

void remove(Session& session, const ProductOptions& options)
{
    session.writableDatabase();
    const ColumnValues product = productById(session, options.id);
    const QString named =
        u"product %1 (%2)"_s.arg(QString::number(options.id), quoted(product["name"].toString()));
    confirmRemoval(
        session, "ProductConfiguration", options.id, options.yes, u"Remove the %1?"_s.arg(named));

    session.database().check(session.products().Remove(options.id), u"Removing the product"_s);
    printRemoved(session, options.id, named);
}

} // namespace

void addProductCommands(Command& app, Session& session)
{
    Command* const product =
        app.addSubcommand("product", "The products that are registered with servers");
    product->requireSubcommand();
    const auto options = std::make_shared<ProductOptions>();
    const auto addId = [options](Command* command) {
        command->addOption("ID", options->id, "Id of the product")
            ->offersStored("ProductConfiguration")
            ->id()
            ->required();
    };

    auto* const addCommand = product->addSubcommand("add", "Add a product, and ask for its secret");
    options->fields.addTo(*addCommand, FieldOptions::Purpose::Add);
    options->secret.addTo(*addCommand);
    addCommand->example("velmioctl product add --server 1 --name Desktop --consumer-key desktop-7 "
                        "--secret-stdin < secret.txt");
    addCommand->callback([&session, options] { add(session, *options); });

    auto* const listCommand = product->addSubcommand("list", "List the products");
    listCommand->addOption("--server", options->server, "Only the products of one server")
        ->offersStored("ServerConfiguration")
        ->typeName("ID");
    listCommand->example("velmioctl product list --server 1");
    listCommand->callback([&session, options] {
        records(session).list(
            options->server, {u"ID"_s, u"SERVER"_s, u"SECRET"_s, u"CONSUMER KEY"_s, u"NAME"_s},
            {"id", "serverId", "consumerSecret", "consumerKey", "name"},
            u"No products match. Add one with 'velmioctl product add'."_s);
    });

    auto* const showCommand = product->addSubcommand("show", "Show one product");
    addId(showCommand);
    showCommand->addFlag("--reveal", options->reveal, "Show the consumer secret");
    showCommand->example("velmioctl product show 1");
    showCommand->callback([&session, options] { show(session, *options); });

    auto* const setCommand = product->addSubcommand("set", "Change the given fields of a product");
    addId(setCommand);
    options->fields.addTo(*setCommand, FieldOptions::Purpose::Change);
    options->secret.addOptionalTo(*setCommand);
    setCommand->example("velmioctl product set 1 --name \"Desktop client\"");
    setCommand->callback([&session, options] { set(session, *options); });

    auto* const removeCommand = product->addSubcommand("remove", "Remove a product");
    addId(removeCommand);
    removeCommand->addFlag("--yes", options->yes, "Remove without asking");
    removeCommand->example("velmioctl product remove 1 --yes");
    removeCommand->callback([&session, options] { remove(session, *options); });
}

} // namespace velmioctl
