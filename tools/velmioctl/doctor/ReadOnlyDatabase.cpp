#include <velmioctl/doctor/ReadOnlyDatabase.h>

#include <interf/IQSqlQueryWrapper.h>

#include <QFile>
#include <QFileInfo>
#include <QUrl>
#include <QVariant>

#include <sqlite3.h>

using namespace Qt::StringLiterals;

namespace velmioctl::doctor {

namespace {

// A writer that recovers or shortens the log keeps readers out for a moment.
constexpr int BusyTimeoutMs = 5000;

UnreadableDatabase failure(sqlite3* database)
{
    const int error = sqlite3_extended_errcode(database);
    // The index of the log could not grow, for want of space.
    const int result = error == SQLITE_IOERR_SHMSIZE ? SQLITE_FULL : error & 0xff;
    return {
        result, u"%1 (SQLite error %2)"_s.arg(
                    QString::fromUtf8(sqlite3_errmsg(database)), QString::number(error))};
}

bool hasContent(const QString& path)
{
    return QFileInfo(path).size() > 0;
}

// Reading has made a log and its index, which a connection for reading cannot remove again. SQLite
// does, when one for writing is the last to close; with nothing in the log it writes nothing.
void removeEmptyLog(const QString& path)
{
    sqlite3* opened = nullptr;
    constexpr int Flags = SQLITE_OPEN_READWRITE | SQLITE_OPEN_NOMUTEX;
    if (sqlite3_open_v2(QFile::encodeName(path).constData(), &opened, Flags, nullptr) == SQLITE_OK)
        sqlite3_exec(opened, "PRAGMA user_version", nullptr, nullptr, nullptr);
    sqlite3_close_v2(opened);
}

} // namespace

UnreadableDatabase::UnreadableDatabase(int result, const QString& text)
    : std::runtime_error(text.toStdString())
    , code(result)
{
}

/// A SELECT of the doctor's: no more of the interface than that takes.
class ReadOnlyDatabase::Query : public sync::interf::IQSqlQueryWrapper
{
public:
    explicit Query(sqlite3* database)
        : database(database)
    {
    }
    ~Query() override { sqlite3_finalize(statement); }
    Q_DISABLE_COPY_MOVE(Query)

    QString lastError() const override { return error; }
    QString lastQuery() const override { return text; }
    bool isValid() const override { return onRow; }
    void setForwardOnly(bool) override {}
    QVariant boundValue(const QString&) const override { return {}; }
    QVariant lastInsertId() const override { return {}; }
    int numRowsAffected() const override { return -1; }

    bool prepare(const QString& sql) override
    {
        sqlite3_finalize(std::exchange(statement, nullptr));
        text = sql;
        const QByteArray bytes = sql.toUtf8();
        return succeeded(
            sqlite3_prepare_v2(
                database, bytes.constData(), int(bytes.size()), &statement, nullptr) == SQLITE_OK);
    }

    void bindValue(const QString& placeholder, const QVariant& value) override
    {
        const int index = sqlite3_bind_parameter_index(statement, placeholder.toUtf8().constData());
        if (value.typeId() == QMetaType::QString) {
            const QByteArray bytes = value.toString().toUtf8();
            sqlite3_bind_text(
                statement, index, bytes.constData(), int(bytes.size()), SQLITE_TRANSIENT);
        } else {
            sqlite3_bind_int64(statement, index, value.toLongLong());
        }
    }

    bool exec() override
    {
        onRow = false;
        return statement && succeeded(sqlite3_reset(statement) == SQLITE_OK);
    }

    bool next() override
    {
        const int result = statement ? sqlite3_step(statement) : SQLITE_MISUSE;
        onRow = result == SQLITE_ROW;
        succeeded(onRow || result == SQLITE_DONE);
        return onRow;
    }

    QVariant value(int index) const override
    {
        switch (sqlite3_column_type(statement, index)) {
        case SQLITE_NULL:
            return {};
        case SQLITE_INTEGER:
            return qlonglong(sqlite3_column_int64(statement, index));
        case SQLITE_FLOAT:
            return sqlite3_column_double(statement, index);
        default:
            break;
        }
        const auto* const bytes = static_cast<const char*>(sqlite3_column_blob(statement, index));
        const QByteArray copy(bytes, sqlite3_column_bytes(statement, index));
        if (sqlite3_column_type(statement, index) == SQLITE_BLOB)
            return copy;
        return QString::fromUtf8(copy);
    }

private:
    bool succeeded(bool condition)
    {
        if (!condition && error.isEmpty())
            error = failure(database).text();
        return condition;
    }

    sqlite3* const database;
    sqlite3_stmt* statement = nullptr;
    QString text;
    QString error;
    bool onRow = false;
};

ReadOnlyDatabase::ReadOnlyDatabase(const QString& givenPath)
    : path(QFileInfo(givenPath).canonicalFilePath())
    , hadLog(QFileInfo::exists(path + u"-wal"_s))
{
    try {
        open("mode=ro");
    } catch (const UnreadableDatabase& error) {
        // In a folder that takes no writes, or on a full disk, there may be no index of the log to
        // be had. Then the file can only be read as if nobody ever wrote to it. Not so beside a
        // journal, without which half a transaction would be read.
        full = error.result() == SQLITE_FULL;
        const bool denied = error.result() == SQLITE_CANTOPEN || error.result() == SQLITE_READONLY;
        if (!(full || denied) || hasContent(path + u"-journal"_s))
            throw;
        open("mode=ro&immutable=1");
        logRead = !hasContent(path + u"-wal"_s);
    }
}

ReadOnlyDatabase::~ReadOnlyDatabase()
{
    database.reset();
    if (!hadLog && QFileInfo::exists(path + u"-wal"_s) && !hasContent(path + u"-wal"_s))
        removeEmptyLog(path);
}

std::shared_ptr<sync::interf::IQSqlQueryWrapper> ReadOnlyDatabase::CreateQuery()
{
    return std::make_shared<Query>(database.get());
}

void ReadOnlyDatabase::begin()
{
    sqlite3_exec(database.get(), "BEGIN", nullptr, nullptr, nullptr);
}

void ReadOnlyDatabase::end()
{
    sqlite3_exec(database.get(), "COMMIT", nullptr, nullptr, nullptr);
}

int ReadOnlyDatabase::lastResult() const
{
    return sqlite3_errcode(database.get()) & 0xff;
}

void ReadOnlyDatabase::open(const QByteArray& mode)
{
    const QByteArray uri = "file://" + QUrl::toPercentEncoding(path, "/") + '?' + mode;
    constexpr int Flags = SQLITE_OPEN_READONLY | SQLITE_OPEN_URI | SQLITE_OPEN_NOMUTEX;
    sqlite3* opened = nullptr;
    const int result = sqlite3_open_v2(uri.constData(), &opened, Flags, nullptr);
    database.reset(opened);
    if (result != SQLITE_OK)
        throw failure(opened);

    sqlite3_extended_result_codes(opened, 1);
    sqlite3_busy_timeout(opened, BusyTimeoutMs);
    // The log stays as it is, also when nobody else has the file open.
    sqlite3_db_config(opened, SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, 1, nullptr);
    // What a file of unknown origin defines is not run.
    sqlite3_db_config(opened, SQLITE_DBCONFIG_TRUSTED_SCHEMA, 0, nullptr);
    // temp_store: no copy of a setting lands in /tmp. The first read of the file tells whether it
    // is a database at all.
    const char* const settings = "PRAGMA temp_store = MEMORY; PRAGMA user_version;";
    if (sqlite3_exec(opened, settings, nullptr, nullptr, nullptr) != SQLITE_OK)
        throw failure(opened);
}

void ReadOnlyDatabase::Closer::operator()(sqlite3* opened) const noexcept
{
    sqlite3_close_v2(opened);
}

} // namespace velmioctl::doctor
