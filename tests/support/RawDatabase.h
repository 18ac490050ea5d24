#pragma once

#include <QFile>
#include <QString>
#include <QStringList>

#include <sqlite3.h>

#include <stdexcept>

namespace sync::test {

/// A separate access to a database file, by the plain SQLite library with its defaults.
class RawDatabase
{
public:
    /// The path may be a URI. `vfs` names a VFS other than the default one.
    explicit RawDatabase(const QString& path, const char* vfs = nullptr)
    {
        constexpr int Flags = SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_URI;
        check(sqlite3_open_v2(QFile::encodeName(path).constData(), &database, Flags, vfs));
        // Like a foreign program that leaves the WAL to the store.
        sqlite3_db_config(database, SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, 1, nullptr);
    }
    ~RawDatabase() { sqlite3_close_v2(database); }

    RawDatabase(const RawDatabase&) = delete;
    RawDatabase& operator=(const RawDatabase&) = delete;

    /// Runs statements and returns column 0 of their rows, NULL as a null text.
    QStringList run(const QString& sql)
    {
        QStringList column;
        check(sqlite3_exec(
            database, sql.toUtf8().constData(),
            [](void* list, int, char** values, char**) {
                static_cast<QStringList*>(list)->append(QString::fromUtf8(values[0]));
                return 0;
            },
            &column, nullptr));
        return column;
    }

    /// The same without throwing: false if it fails.
    bool tryRun(const char* sql)
    {
        return sqlite3_exec(database, sql, nullptr, nullptr, nullptr) == SQLITE_OK;
    }

    QString value(const QString& sql) { return run(sql).value(0); }

    sqlite3* handle() const { return database; }

private:
    void check(int result)
    {
        if (result != SQLITE_OK)
            throw std::runtime_error(sqlite3_errmsg(database));
    }

    sqlite3* database = nullptr;
};

} // namespace sync::test
