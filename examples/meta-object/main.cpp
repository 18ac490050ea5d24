// Calls operations and reads fields by name through Qt's meta-object system, like a scripting host.
//
//     velmio-example-meta-object DATABASE

#include <config/FolderConfigManager.h>
#include <config/ProductConfigManager.h>
#include <database/DatabaseError.h>
#include <database/SqliteDatabaseFactory.h>

#include <QCoreApplication>
#include <QMetaMethod>
#include <QMetaProperty>
#include <QTextStream>

using namespace Qt::StringLiterals;
using sync::config::FolderConfiguration;
using sync::config::ProductConfiguration;

namespace {

// Prints the operations that a script can call.
void listOperations(const QObject& manager, QTextStream& out)
{
    const QMetaObject* meta = manager.metaObject();
    out << meta->className() << Qt::endl;
    for (int i = meta->methodOffset(); i < meta->methodCount(); ++i)
        out << "  " << meta->method(i).methodSignature() << Qt::endl;
}

// Prints the fields that a script can read. An enumeration reads as the name of its enumerator.
void listFields(const QObject& record, QTextStream& out)
{
    const QMetaObject* meta = record.metaObject();
    out << meta->className() << Qt::endl;
    for (int i = meta->propertyOffset(); i < meta->propertyCount(); ++i) {
        const QMetaProperty property = meta->property(i);
        out << "  " << property.name() << " = " << property.read(&record).toString() << Qt::endl;
    }
}

// The types of arguments and results must be spelled as in the manager's signatures.
bool addProduct(QObject& products, QTextStream& out)
{
    ProductConfiguration product;
    product.setProperty("Name", u"Sync"_s);
    product.setProperty("ConsumerKey", u"key"_s);
    product.setProperty("ServerId", 1);

    bool added = false;
    QMetaObject::invokeMethod(
        &products, "Add", Q_RETURN_ARG(bool, added),
        Q_ARG(sync::config::ProductConfiguration&, product));
    ProductConfiguration stored;
    QMetaObject::invokeMethod(
        &products, "GetProductConfigurationById",
        Q_RETURN_ARG(sync::config::ProductConfiguration, stored),
        Q_ARG(int, product.property("Id").toInt()));
    listFields(stored, out);
    return added;
}

bool addRootFolder(QObject& folders, QTextStream& out)
{
    FolderConfiguration root;
    root.setProperty("ClientPath", u"/home/me/Documents"_s);
    root.setProperty("ServerPath", u"/Documents"_s);
    root.setProperty("ParentId", 0);
    root.setProperty("FolderOption", u"WithSubfolders"_s); // or its number

    bool added = false;
    QMetaObject::invokeMethod(
        &folders, "Add", Q_RETURN_ARG(bool, added),
        Q_ARG(sync::config::FolderConfiguration&, root));
    int roots = 0;
    QMetaObject::invokeMethod(
        &folders, "GetRootFolderConfigurationCount", Q_RETURN_ARG(int, roots));
    listFields(root, out);
    out << "root folders: " << roots << Qt::endl;
    return added;
}

} // namespace

int main(int argc, char* argv[])
{
    const QCoreApplication application(argc, argv);
    QTextStream out(stdout);
    try {
        auto factory =
            sync::database::SqliteDatabaseFactory::open(application.arguments().value(1));
        sync::config::ProductConfigManager products(factory);
        sync::config::FolderConfigManager folders(factory, nullptr);

        listOperations(products, out);
        return addProduct(products, out) && addRootFolder(folders, out) ? 0 : 1;
    } catch (const sync::database::DatabaseError& error) {
        QTextStream(stderr) << error.text() << '\n';
        return 1;
    }
}
