#include "Engine.h"
#include "Pragmas.h"

#include <config/xml/FileLinksXml.h>
#include <config/xml/NameValueXml.h>
#include <core/PathHelpers.h>

#include <QFile>
#include <QFileInfo>

#include <sqlite3.h>

#include <array>
#include <chrono>
#include <cstring>
#include <stdexcept>
#include <string>

using namespace Qt::StringLiterals;
using sync::config::FileConfiguration;
using sync::config::FolderConfiguration;

namespace velmio::benchmarks {

namespace {

const std::string FileColumns =
    "folderConfigurationId, name, clientPath, serverPath, checkSum, createdDateTime,"
    " lastModifiedDateTime, syncStatus, lastOperationType, size, nameValueProperties,"
    " lastOperationTime, rootFolderId, syncOption, parentFileId, fileType, ownerId, privileges,"
    " productConfigurationId, serverFileId, serverFileVersionId, checkSumMD5, fileLinks";
const std::string SelectFiles = "SELECT id, " + FileColumns + " FROM FileConfiguration";
const std::string SelectFolders =
    "SELECT id, authenticationId, name, remoteShortKey, remoteLongKey, clientPath, serverPath,"
    " syncStatus, nameValueProperties, parentId, lastOperationTime, lastSyncTime, folderOption,"
    " lastOperationType, syncDriveType, rootId, syncOption, ownerId, privileges, serverRoot,"
    " productConfigurationId, serverFolderId FROM FolderConfiguration";

constexpr char NoProperties[] = "<!DOCTYPE NameValueXml>\n<NameValueXml/>\n";

// Reads "yyyy-MM-ddTHH:mm:ss.zzzZ", the only format in these databases.
QDateTime readTime(const char* text)
{
    using namespace std::chrono;
    const auto number = [text](int from, int count) {
        int value = 0;
        for (int index = from; index < from + count; ++index)
            value = value * 10 + (text[index] - '0');
        return value;
    };
    const year_month_day date{
        year(number(0, 4)), month(unsigned(number(5, 2))), day(unsigned(number(8, 2)))};
    const auto time = sys_days(date) + hours(number(11, 2)) + minutes(number(14, 2)) +
                      seconds(number(17, 2)) + milliseconds(number(20, 3));
    return QDateTime::fromMSecsSinceEpoch(time.time_since_epoch().count(), Qt::UTC);
}

struct TimeText
{
    char characters[25] = "yyyy-MM-ddTHH:mm:ss.zzzZ";
};

TimeText timeText(const QDateTime& time)
{
    using namespace std::chrono;
    const milliseconds sinceEpoch(time.toMSecsSinceEpoch());
    const auto day = floor<days>(sinceEpoch);
    const year_month_day date{sys_days(day)};
    const hh_mm_ss clock(sinceEpoch - day);
    TimeText text;
    const auto write = [&text](int at, int count, int value) {
        for (int index = at + count - 1; index >= at; --index, value /= 10)
            text.characters[index] = static_cast<char>('0' + value % 10);
    };
    write(0, 4, int(date.year()));
    write(5, 2, int(unsigned(date.month())));
    write(8, 2, int(unsigned(date.day())));
    write(11, 2, int(clock.hours().count()));
    write(14, 2, int(clock.minutes().count()));
    write(17, 2, int(clock.seconds().count()));
    write(20, 3, int(clock.subseconds().count()));
    return text;
}

/// A prepared statement.
class RawStatement
{
public:
    RawStatement(sqlite3* database, const std::string& sql)
    {
        if (sqlite3_prepare_v3(
                database, sql.c_str(), int(sql.size()), SQLITE_PREPARE_PERSISTENT, &statement,
                nullptr) != SQLITE_OK)
            throw std::runtime_error(sqlite3_errmsg(database));
    }
    ~RawStatement() { sqlite3_finalize(statement); }

    RawStatement(const RawStatement&) = delete;
    RawStatement& operator=(const RawStatement&) = delete;

    void bind(qint64 value) { sqlite3_bind_int64(statement, ++parameter, value); }

    void bind(const QString& value)
    {
        QByteArray& text = texts[std::size_t(parameter)];
        text = value.toUtf8();
        bindStatic(text.constData(), int(text.size()));
    }

    void bind(const QDateTime& value)
    {
        if (!value.isValid()) {
            sqlite3_bind_null(statement, ++parameter);
            return;
        }
        TimeText& text = times[std::size_t(parameter)];
        text = timeText(value);
        bindStatic(text.characters, sizeof text.characters - 1);
    }

    void bindStatic(const char* text, int size)
    {
        sqlite3_bind_text(statement, ++parameter, text, size, SQLITE_STATIC);
    }

    /// True if there is a row; resets the statement after the last one.
    bool next()
    {
        if (sqlite3_step(statement) == SQLITE_ROW)
            return true;
        reset();
        return false;
    }

    /// Runs a statement without rows.
    bool run()
    {
        const bool done = sqlite3_step(statement) == SQLITE_DONE;
        reset();
        return done;
    }

    void reset()
    {
        sqlite3_reset(statement);
        parameter = 0;
    }

    int integer(int column) const { return sqlite3_column_int(statement, column); }
    qint64 longInteger(int column) const { return sqlite3_column_int64(statement, column); }

    const char* bytes(int column) const
    {
        return reinterpret_cast<const char*>(sqlite3_column_text(statement, column));
    }

    QString text(int column) const
    {
        const char* const utf8 = bytes(column);
        return QString::fromUtf8(utf8, sqlite3_column_bytes(statement, column));
    }

    QDateTime time(int column) const
    {
        const char* const text = bytes(column);
        return text ? readTime(text) : QDateTime();
    }

    QMap<QString, QString> properties(int column) const
    {
        if (std::strcmp(bytes(column), NoProperties) == 0)
            return {};
        return sync::config::readNameValueXml(text(column));
    }

private:
    sqlite3_stmt* statement = nullptr;
    int parameter = 0;
    // Bound values must stay in place until the statement has run.
    std::array<QByteArray, 24> texts;
    std::array<TimeText, 24> times;
};

void readFile(const RawStatement& row, FileConfiguration& file)
{
    file.setId(row.integer(0));
    file.setFolderConfigurationId(row.integer(1));
    file.setName(row.text(2));
    file.setClientPath(row.text(3));
    file.setServerPath(row.text(4));
    file.setCheckSum(row.text(5));
    file.setCreatedDateTime(row.time(6));
    file.setLastModifiedDateTime(row.time(7));
    file.setSyncStatus(static_cast<sync::config::FileSynchronizationStatus>(row.integer(8)));
    file.resetSyncStatusChanged();
    file.setLastOperationType(row.integer(9));
    file.setSize(row.longInteger(10));
    file.setNameValueProperties(row.properties(11));
    file.setLastOperationTime(row.time(12));
    file.setRootFolderId(row.integer(13));
    file.setSyncOption(row.integer(14));
    file.setParentFileId(row.integer(15));
    file.setFileType(static_cast<sync::config::FileConfigurationType>(row.integer(16)));
    file.setOwnerId(row.text(17));
    file.setPrivileges(row.integer(18));
    file.setProductConfigurationId(row.integer(19));
    file.setServerFileId(row.text(20));
    file.setServerFileVersionId(row.text(21));
    file.setCheckSumMD5(row.text(22));
    if (*row.bytes(23) != '\0') {
        QDateTime date;
        file.setFileLinks(sync::config::readFileLinksXml(row.text(23), date));
        file.setFileLinksDate(date);
    }
}

// Reads all fields except the id, which only a manager can set on a folder.
void readFolder(const RawStatement& row, FolderConfiguration& folder)
{
    folder.setAuthenticationId(row.integer(1));
    folder.setName(row.text(2));
    folder.setRemoteShortKey(row.text(3));
    folder.setRemoteLongKey(row.text(4));
    folder.setClientPath(row.text(5));
    folder.setServerPath(row.text(6));
    folder.setSyncStatus(static_cast<sync::config::FolderSynchronizationStatus>(row.integer(7)));
    folder.resetSyncStatusChanged();
    folder.setNameValueProperties(row.properties(8));
    folder.setParentId(row.integer(9));
    folder.setLastOperationTime(row.time(10));
    folder.setLastSyncTime(row.time(11));
    folder.setFolderOption(static_cast<sync::config::SynchronizationFolderOption>(row.integer(12)));
    folder.setLastOperationType(static_cast<sync::config::FolderOperationType>(row.integer(13)));
    folder.setSyncDriveType(static_cast<sync::config::DriveType>(row.integer(14)));
    folder.setRootId(row.integer(15));
    folder.setSyncOption(static_cast<sync::config::FolderSyncOption>(row.integer(16)));
    folder.setOwnerId(row.text(17));
    folder.setPrivileges(static_cast<sync::config::FolderPrivileges>(row.integer(18)));
    folder.setServerRoot(row.text(19));
    folder.setProductConfigurationId(row.integer(20));
    folder.setServerFolderId(row.text(21));
}

void bindFile(RawStatement& statement, const FileConfiguration& file)
{
    statement.bind(file.getFolderConfigurationId());
    statement.bind(file.getName());
    statement.bind(file.getClientPath());
    statement.bind(file.getServerPath());
    statement.bind(file.getCheckSum());
    statement.bind(file.getCreatedDateTime());
    statement.bind(file.getLastModifiedDateTime());
    statement.bind(file.getSyncStatus());
    statement.bind(file.getLastOperationType());
    statement.bind(file.getSize());
    const auto properties = file.getNameValueProperties();
    if (properties.isEmpty())
        statement.bindStatic(NoProperties, sizeof NoProperties - 1);
    else
        statement.bind(sync::config::writeNameValueXml(properties));
    statement.bind(file.getLastOperationTime());
    statement.bind(file.getRootFolderId());
    statement.bind(file.getSyncOption());
    statement.bind(file.getParentFileId());
    statement.bind(file.getFileType());
    statement.bind(file.getOwnerId());
    statement.bind(file.getPrivileges());
    statement.bind(file.getProductConfigurationId());
    statement.bind(file.getServerFileId());
    statement.bind(file.getServerFileVersionId());
    statement.bind(file.getCheckSumMD5());
    const auto links = file.getFileLinks();
    if (links.isEmpty() && !file.getFileLinksDate().isValid())
        statement.bindStatic("", 0);
    else
        statement.bind(sync::config::writeFileLinksXml(links, file.getFileLinksDate()));
}

struct Closer
{
    void operator()(sqlite3* database) const { sqlite3_close(database); }
};
using Database = std::unique_ptr<sqlite3, Closer>;

Database openDatabase(const QString& path)
{
    sqlite3* database = nullptr;
    if (sqlite3_open_v2(
            QFile::encodeName(path).constData(), &database,
            SQLITE_OPEN_READWRITE | SQLITE_OPEN_NOMUTEX, nullptr) != SQLITE_OK)
        throw std::runtime_error(sqlite3_errmsg(database));
    for (const char* const pragma : Pragmas)
        sqlite3_exec(database, pragma, nullptr, nullptr, nullptr);
    sqlite3_busy_timeout(database, 5000);
    return Database(database);
}

std::string insertFile()
{
    std::string values = "?";
    for (int column = 1; column < 23; ++column)
        values += ",?";
    return "INSERT INTO FileConfiguration (" + FileColumns + ") VALUES (" + values + ")";
}

std::string updateFileById()
{
    std::string assignments;
    for (const char character : FileColumns)
        assignments += character == ',' ? " = ?," : std::string(1, character);
    return "UPDATE FileConfiguration SET " + assignments + " = ? WHERE id = ?";
}

class FloorEngine : public Engine
{
public:
    enum class Duplicates { Checked, Ignored };

    FloorEngine(const QString& path, Duplicates duplicates)
        : database(openDatabase(path))
        , duplicates(duplicates)
    {
    }

    FileConfiguration fileByClientPath(const QString& path) override
    {
        FileConfiguration file;
        selectByClientPath.bind(path);
        if (selectByClientPath.next())
            readFile(selectByClientPath, file);
        selectByClientPath.reset();
        return file;
    }

    QVector<FileConfiguration> filesOfFolder(int folderId) override
    {
        selectByFolder.bind(folderId);
        return readFiles(selectByFolder);
    }

    QVector<FileConfiguration> allFiles() override { return readFiles(selectAll); }

    QVector<FolderConfiguration> allFolders() override { return readFolders(selectFolders); }

    bool addFile(FileConfiguration& file) override
    {
        if (duplicates == Duplicates::Checked) {
            selectByClientPath.bind(file.getClientPath());
            const auto samePath = readFiles(selectByClientPath);
            for (const FileConfiguration& stored : samePath) {
                if (stored.getFolderConfigurationId() == file.getFolderConfigurationId()) {
                    file.setId(stored.getId());
                    return updateFile(file);
                }
            }
        }
        if (!file.getFileLinks().isEmpty())
            registerLinks(file);
        bindFile(insert, file);
        if (!insert.run())
            return false;
        file.setId(int(sqlite3_last_insert_rowid(database.get())));
        return true;
    }

    bool updateFile(const FileConfiguration& file) override
    {
        if (file.getFileLinks().isEmpty()) {
            bindFile(update, file);
        } else {
            FileConfiguration registered = file;
            registerLinks(registered);
            bindFile(update, registered);
        }
        update.bind(file.getId());
        return update.run();
    }

    bool cleanRootFolder(int id) override
    {
        const bool begun = begin();
        const bool removed = removeFolder(id) && runWith(deleteFilesByRoot, id);
        selectFoldersByRoot.bind(id);
        readFolders(selectFoldersByRoot); // a manager notifies the file viewer of each
        return begun && removed && runWith(deleteFoldersByRoot, id) && commit();
    }

    bool cleanFolder(int id) override
    {
        QVector<int> children;
        selectFoldersByParent.bind(id);
        while (selectFoldersByParent.next()) {
            FolderConfiguration folder;
            readFolder(selectFoldersByParent, folder);
            children.append(selectFoldersByParent.integer(0));
        }
        for (const int child : std::as_const(children)) {
            if (!cleanFolder(child))
                return false;
        }
        return removeFolder(id) && runWith(deleteFilesByFolder, id);
    }

    bool begin() override { return exec("BEGIN IMMEDIATE"); }
    bool commit() override { return exec("COMMIT"); }

private:
    static QVector<FileConfiguration> readFiles(RawStatement& statement)
    {
        QVector<FileConfiguration> files;
        while (statement.next())
            readFile(statement, files.emplaceBack());
        return files;
    }

    static QVector<FolderConfiguration> readFolders(RawStatement& statement)
    {
        QVector<FolderConfiguration> folders;
        while (statement.next())
            readFolder(statement, folders.emplaceBack());
        return folders;
    }

    // No linked file of the data set exists on disk, so nothing is looked up in the database.
    void registerLinks(FileConfiguration& file)
    {
        FolderConfiguration root;
        selectFolderById.bind(file.getRootFolderId());
        if (selectFolderById.next())
            readFolder(selectFolderById, root);
        selectFolderById.reset();
        auto links = file.getFileLinks();
        for (auto& link : links) {
            const QString path =
                sync::core::RelativeToAbsolutePath(link.Path, file.getClientPath(), true);
            if (!sync::core::IsParentPath(root.getClientPath(), path) || !QFileInfo(path).isFile())
                link.FileId = -1;
        }
        file.setFileLinks(std::move(links));
    }

    bool removeFolder(int id)
    {
        FolderConfiguration folder;
        selectFolderById.bind(id);
        if (selectFolderById.next())
            readFolder(selectFolderById, folder);
        selectFolderById.reset();
        return runWith(deleteFolder, id);
    }

    static bool runWith(RawStatement& statement, int id)
    {
        statement.bind(id);
        return statement.run();
    }

    bool exec(const char* sql)
    {
        return sqlite3_exec(database.get(), sql, nullptr, nullptr, nullptr) == SQLITE_OK;
    }

    RawStatement prepare(const std::string& sql) { return {database.get(), sql}; }

    const Database database;
    const Duplicates duplicates;
    RawStatement selectAll = prepare(SelectFiles);
    RawStatement selectByClientPath = prepare(SelectFiles + " WHERE clientPath = ?");
    RawStatement selectByFolder =
        prepare(SelectFiles + " WHERE folderConfigurationId = ? ORDER BY Name");
    RawStatement insert = prepare(insertFile());
    RawStatement update = prepare(updateFileById());
    RawStatement selectFolders = prepare(SelectFolders);
    RawStatement selectFolderById = prepare(SelectFolders + " WHERE id = ?");
    RawStatement selectFoldersByParent =
        prepare(SelectFolders + " WHERE parentId = ? ORDER BY name");
    RawStatement selectFoldersByRoot = prepare(SelectFolders + " WHERE rootId = ?");
    RawStatement deleteFolder = prepare("DELETE FROM FolderConfiguration WHERE id = ?");
    RawStatement deleteFoldersByRoot = prepare("DELETE FROM FolderConfiguration WHERE rootId = ?");
    RawStatement deleteFilesByRoot =
        prepare("DELETE FROM FileConfiguration WHERE rootFolderId = ?");
    RawStatement deleteFilesByFolder =
        prepare("DELETE FROM FileConfiguration WHERE folderConfigurationId = ?");
};

} // namespace

std::unique_ptr<Engine> openFloor(const QString& path)
{
    return std::make_unique<FloorEngine>(path, FloorEngine::Duplicates::Checked);
}

std::unique_ptr<Engine> openUncheckedFloor(const QString& path)
{
    return std::make_unique<FloorEngine>(path, FloorEngine::Duplicates::Ignored);
}

FileConfiguration fileOfBareStore(const QString& store, const QString& clientPath)
{
    const Database database = openDatabase(store);
    RawStatement select(database.get(), SelectFiles + " WHERE clientPath = ?");
    select.bind(clientPath);
    FileConfiguration file;
    if (select.next())
        readFile(select, file);
    return file;
}

} // namespace velmio::benchmarks
