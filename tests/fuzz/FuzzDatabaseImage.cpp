#include "FuzzInput.h"

#include <config/FileConfigManager.h>
#include <config/FolderConfigManager.h>
#include <config/ServerConfigManager.h>
#include <config/Sha256FileHash.h>
#include <database/DatabaseError.h>
#include <database/SqliteDatabaseFactory.h>

#include <QFile>
#include <QLoggingCategory>

using namespace Qt::StringLiterals;
using namespace sync::config;
using sync::database::DatabaseError;
using sync::database::SqliteDatabaseFactory;
using sync::test::fuzzBytes;
using sync::test::fuzzRequire;

namespace {

const QString& databasePath()
{
    static const QString path = sync::test::fuzzFolder() + u"/configuration.db"_s;
    return path;
}

void removeDatabase()
{
    for (const char* const suffix : {"", "-wal", "-shm", "-journal"})
        QFile::remove(databasePath() + QLatin1StringView(suffix));
}

QByteArray content()
{
    QFile file(databasePath());
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

void readAndWrite(const std::shared_ptr<SqliteDatabaseFactory>& factory)
{
    ServerConfigManager servers(factory);
    const auto folders = std::make_shared<FolderConfigManager>(factory, nullptr);
    FileConfigManager files(factory, std::make_shared<Sha256FileHash>(), nullptr, folders);
    ServerConfiguration server;
    servers.Add(server);
    servers.GetAll();
    folders->GetAll();
    files.GetAll();
    files.GetFileConfigurationByClientPath(u"/a"_s);
    files.RemoveFileConfigurationAndLinkedConfigurations(1);
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int* /*argc*/, char*** /*argv*/)
{
    QLoggingCategory::setFilterRules(u"velmio.*=false"_s);
    return 0;
}

/// Opens any bytes as a database file: the file opens, or is refused with a text and left
/// unchanged.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size)
{
    const QByteArray image = fuzzBytes(bytes, size);
    removeDatabase();
    {
        QFile file(databasePath());
        fuzzRequire(file.open(QIODevice::WriteOnly) && file.write(image) == image.size());
    }
    try {
        readAndWrite(SqliteDatabaseFactory::open(databasePath()));
    } catch (const DatabaseError& error) {
        fuzzRequire(!error.text().isEmpty());
        fuzzRequire(content() == image);
    }
    return 0;
}
