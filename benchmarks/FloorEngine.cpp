#include "Engine.h"
#include "FloorRecords.h"
#include "Pragmas.h"

#include <core/PathHelpers.h>

#include <QFile>
#include <QFileInfo>

#include <sqlite3.h>

#include <array>
#include <cstring>
#include <stdexcept>
#include <string>

using namespace Qt::StringLiterals;
using sync::config::FileConfiguration;
using sync::config::FolderConfiguration;

namespace velmio::benchmarks {

namespace {

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
