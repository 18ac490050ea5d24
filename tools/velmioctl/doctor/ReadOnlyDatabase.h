#pragma once

#include <interf/IDatabaseFactory.h>

#include <QString>

#include <memory>
#include <stdexcept>

struct sqlite3;

namespace velmioctl::doctor {

/// A file that cannot be read as a SQLite database; the text is SQLite's.
class UnreadableDatabase : public std::runtime_error
{
public:
    UnreadableDatabase(int result, const QString& text);

    /// SQLite's primary result code; SQLITE_FULL where the index of the log found no room.
    int result() const noexcept { return code; }
    QString text() const { return QString::fromUtf8(what()); }

private:
    int code;
};

/// Reads a database file as it is, also one that the engine refuses to open: no version is looked
/// at, nothing is migrated, not a byte of the file or its log is written, and no file is left
/// beside it that was not there; on a full disk an empty log may be.
///
/// All that is read between begin() and end() is of one moment. For one thread.
class ReadOnlyDatabase : public sync::interf::factory::IDatabaseFactory
{
public:
    /// Throws UnreadableDatabase.
    explicit ReadOnlyDatabase(const QString& givenPath);
    ~ReadOnlyDatabase() override;

    /// Null: there is nothing to commit here.
    std::shared_ptr<sync::interf::IQSqlDatabaseWrapper> GetDatabase() override { return nullptr; }
    std::shared_ptr<sync::interf::IQSqlQueryWrapper> CreateQuery() override;

    void begin();
    void end();

    /// False where the log could not be read, so that what it holds is not seen.
    bool readsLog() const { return logRead; }

    /// The disk had no room for the index of the log.
    bool diskFull() const { return full; }

    /// SQLite's primary result code of the last call.
    int lastResult() const;

private:
    class Query;

    struct Closer
    {
        void operator()(sqlite3* database) const noexcept;
    };

    void open(const QByteArray& mode);

    const QString path; // behind symbolic links
    const bool hadLog;
    std::unique_ptr<sqlite3, Closer> database;
    bool logRead = true;
    bool full = false;
};

} // namespace velmioctl::doctor
