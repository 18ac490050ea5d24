#pragma once

#include <config/FileConfiguration.h>

#include <QByteArray>
#include <QString>

#include <sqlite3.h>

#include <memory>

namespace velmio::benchmarks {

/// The floor: the plain SQLite library with kept statements on the schema and pragmas of the
/// embedded engine, filling the same records. What it cannot do, no layer above SQLite can.
class RawStore
{
public:
    /// `path` is a database that the embedded engine has made.
    explicit RawStore(const QString& path);
    ~RawStore();

    RawStore(const RawStore&) = delete;
    RawStore& operator=(const RawStore&) = delete;

    sync::config::FileConfiguration fileByClientPath(const QString& clientPath);
    QVector<sync::config::FileConfiguration> filesOfFolder(int folderId);
    bool add(const sync::config::FileConfiguration& file);
    void run(const char* sql);

private:
    sqlite3_stmt* prepare(const char* sql);

    sqlite3* database = nullptr;
    sqlite3_stmt* selectByClientPath = nullptr;
    sqlite3_stmt* selectByFolder = nullptr;
    sqlite3_stmt* insert = nullptr;
};

} // namespace velmio::benchmarks
