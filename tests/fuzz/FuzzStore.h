#pragma once

#include "FuzzInput.h"

#include <config/FileConfigManager.h>
#include <config/FolderConfigManager.h>
#include <config/ServerConfigManager.h>
#include <config/Sha256FileHash.h>
#include <database/SqliteDatabaseFactory.h>
#include <support/RawDatabase.h>

namespace sync::test {

/// Where a fuzz target puts its store.
inline const QString& fuzzStorePath()
{
    static const QString path = fuzzFolder() + QStringLiteral("/configuration.db");
    return path;
}

/// Uses an open store as a client does. Failures have no result.
inline void fuzzUse(const std::shared_ptr<database::SqliteDatabaseFactory>& factory)
{
    config::ServerConfigManager servers(factory);
    const auto folders = std::make_shared<config::FolderConfigManager>(factory, nullptr);
    config::FileConfigManager files(
        factory, std::make_shared<config::Sha256FileHash>(), nullptr, folders);
    config::ServerConfiguration server;
    servers.Add(server);
    servers.GetAll();
    folders->GetAll();
    files.GetAll();
    files.GetFileConfigurationByClientPath(QStringLiteral("/a"));
    files.RemoveFileConfigurationAndLinkedConfigurations(1);
}

/// The bytes of a store with a few rows and the smallest pages, so that short inputs reach many.
inline const QByteArray& fuzzImage()
{
    static const QByteArray image = [] {
        fuzzUse(database::SqliteDatabaseFactory::open(fuzzStorePath()));
        RawDatabase(fuzzStorePath())
            .run(QStringLiteral("PRAGMA journal_mode = DELETE; PRAGMA page_size = 512; VACUUM"));
        QByteArray bytes = fuzzRead(fuzzStorePath());
        fuzzRemoveFiles();
        return bytes;
    }();
    return image;
}

} // namespace sync::test
