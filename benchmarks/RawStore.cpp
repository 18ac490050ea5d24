#include "RawStore.h"

#include <QFile>

#include <cstdio>
#include <stdexcept>

using namespace Qt::StringLiterals;
using sync::config::FileConfiguration;

namespace velmio::benchmarks {

namespace {

#define VELMIO_FILE_COLUMNS                                                                      \
    "folderConfigurationId, name, clientPath, serverPath, checkSum, createdDateTime,"            \
    " lastModifiedDateTime, syncStatus, lastOperationType, size, nameValueProperties,"           \
    " lastOperationTime, rootFolderId, syncOption, parentFileId, fileType, ownerId, privileges," \
    " productConfigurationId, serverFileId, serverFileVersionId, checkSumMD5, fileLinks"

QString text(sqlite3_stmt* statement, int column)
{
    const auto* const bytes = reinterpret_cast<const char*>(sqlite3_column_text(statement, column));
    return QString::fromUtf8(bytes, sqlite3_column_bytes(statement, column));
}

// "yyyy-MM-ddTHH:mm:ss.zzzZ", which is all that these databases hold.
QDateTime utcTime(sqlite3_stmt* statement, int column)
{
    const auto* const bytes = reinterpret_cast<const char*>(sqlite3_column_text(statement, column));
    if (!bytes)
        return {};
    const auto number = [bytes](int from, int count) {
        int value = 0;
        for (int index = from; index < from + count; ++index)
            value = value * 10 + (bytes[index] - '0');
        return value;
    };
    return QDateTime(
        QDate(number(0, 4), number(5, 2), number(8, 2)),
        QTime(number(11, 2), number(14, 2), number(17, 2), number(20, 3)), Qt::UTC);
}

void fill(sqlite3_stmt* row, FileConfiguration& file)
{
    const auto number = [row](int column) { return sqlite3_column_int(row, column); };
    file.setId(number(0));
    file.setFolderConfigurationId(number(1));
    file.setName(text(row, 2));
    file.setClientPath(text(row, 3));
    file.setServerPath(text(row, 4));
    file.setCheckSum(text(row, 5));
    file.setCreatedDateTime(utcTime(row, 6));
    file.setLastModifiedDateTime(utcTime(row, 7));
    file.setSyncStatus(static_cast<sync::config::FileSynchronizationStatus>(number(8)));
    file.resetSyncStatusChanged();
    file.setLastOperationType(number(9));
    file.setSize(sqlite3_column_int64(row, 10));
    const QString properties = text(row, 11); // the empty map: nothing to fill
    file.setLastOperationTime(utcTime(row, 12));
    file.setRootFolderId(number(13));
    file.setSyncOption(number(14));
    file.setParentFileId(number(15));
    file.setFileType(static_cast<sync::config::FileConfigurationType>(number(16)));
    file.setOwnerId(text(row, 17));
    file.setPrivileges(number(18));
    file.setProductConfigurationId(number(19));
    file.setServerFileId(text(row, 20));
    file.setServerFileVersionId(text(row, 21));
    file.setCheckSumMD5(text(row, 22));
    const QString links = text(row, 23); // no links: nothing to fill
}

void bindText(sqlite3_stmt* statement, int parameter, const QString& value)
{
    const QByteArray bytes = value.toUtf8();
    sqlite3_bind_text(
        statement, parameter, bytes.constData(), static_cast<int>(bytes.size()), SQLITE_TRANSIENT);
}

void bindTime(sqlite3_stmt* statement, int parameter, const QDateTime& time)
{
    if (!time.isValid()) {
        sqlite3_bind_null(statement, parameter);
        return;
    }
    // The toolkit's own writer costs more than the rest of a row.
    const QDate day = time.date();
    const QTime clock = time.time();
    char bytes[32];
    const int size = std::snprintf(
        bytes, sizeof bytes, "%04d-%02d-%02dT%02d:%02d:%02d.%03dZ", day.year(), day.month(),
        day.day(), clock.hour(), clock.minute(), clock.second(), clock.msec());
    sqlite3_bind_text(statement, parameter, bytes, size, SQLITE_TRANSIENT);
}

} // namespace

RawStore::RawStore(const QString& path)
{
    if (sqlite3_open(QFile::encodeName(path).constData(), &database) != SQLITE_OK)
        throw std::runtime_error(sqlite3_errmsg(database));
    run("PRAGMA journal_mode = WAL; PRAGMA synchronous = FULL; PRAGMA temp_store = MEMORY;"
        "PRAGMA cache_size = -16384; PRAGMA wal_autocheckpoint = 4096");
    selectByClientPath =
        prepare("SELECT id, " VELMIO_FILE_COLUMNS " FROM FileConfiguration WHERE clientPath = ?");
    selectByFolder = prepare("SELECT id, " VELMIO_FILE_COLUMNS
                             " FROM FileConfiguration WHERE folderConfigurationId = ?"
                             " ORDER BY Name");
    insert = prepare("INSERT INTO FileConfiguration (" VELMIO_FILE_COLUMNS
                     ") VALUES (?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?)");
}

RawStore::~RawStore()
{
    sqlite3_finalize(selectByClientPath);
    sqlite3_finalize(selectByFolder);
    sqlite3_finalize(insert);
    sqlite3_close(database);
}

FileConfiguration RawStore::fileByClientPath(const QString& clientPath)
{
    FileConfiguration file;
    bindText(selectByClientPath, 1, clientPath);
    if (sqlite3_step(selectByClientPath) == SQLITE_ROW)
        fill(selectByClientPath, file);
    sqlite3_reset(selectByClientPath);
    return file;
}

QVector<FileConfiguration> RawStore::filesOfFolder(int folderId)
{
    QVector<FileConfiguration> files;
    sqlite3_bind_int(selectByFolder, 1, folderId);
    while (sqlite3_step(selectByFolder) == SQLITE_ROW)
        fill(selectByFolder, files.emplaceBack());
    sqlite3_reset(selectByFolder);
    return files;
}

bool RawStore::add(const FileConfiguration& file)
{
    int parameter = 0;
    const auto number = [&](qint64 value) { sqlite3_bind_int64(insert, ++parameter, value); };
    const auto string = [&](const QString& value) { bindText(insert, ++parameter, value); };
    const auto time = [&](const QDateTime& value) { bindTime(insert, ++parameter, value); };
    number(file.getFolderConfigurationId());
    string(file.getName());
    string(file.getClientPath());
    string(file.getServerPath());
    string(file.getCheckSum());
    time(file.getCreatedDateTime());
    time(file.getLastModifiedDateTime());
    number(file.getSyncStatus());
    number(file.getLastOperationType());
    number(file.getSize());
    string(u"<!DOCTYPE NameValueXml>\n<NameValueXml/>\n"_s);
    time(file.getLastOperationTime());
    number(file.getRootFolderId());
    number(file.getSyncOption());
    number(file.getParentFileId());
    number(file.getFileType());
    string(file.getOwnerId());
    number(file.getPrivileges());
    number(file.getProductConfigurationId());
    string(file.getServerFileId());
    string(file.getServerFileVersionId());
    string(file.getCheckSumMD5());
    string(u""_s);
    const bool added = sqlite3_step(insert) == SQLITE_DONE;
    sqlite3_reset(insert);
    return added;
}

void RawStore::run(const char* sql)
{
    if (sqlite3_exec(database, sql, nullptr, nullptr, nullptr) != SQLITE_OK)
        throw std::runtime_error(sqlite3_errmsg(database));
}

sqlite3_stmt* RawStore::prepare(const char* sql)
{
    sqlite3_stmt* statement = nullptr;
    if (sqlite3_prepare_v2(database, sql, -1, &statement, nullptr) != SQLITE_OK)
        throw std::runtime_error(sqlite3_errmsg(database));
    return statement;
}

} // namespace velmio::benchmarks
