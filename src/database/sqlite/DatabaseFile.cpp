#include <database/sqlite/DatabaseFile.h>

#include <database/DatabaseError.h>
#include <database/sqlite/Migrations.h>
#include <database/sqlite/SqliteError.h>
#include <database/sqlite/UncleanEnd.h>

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QUrl>
#include <QtEndian>

#include <fcntl.h>
#include <sqlite3.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <thread>

using namespace Qt::StringLiterals;

namespace sync::database {

namespace {

using Cause = DatabaseError::Cause;

// sqlite.org/fileformat2.html#the_database_header
constexpr int HeaderBytes = 100;
constexpr int UserVersionOffset = 60;
constexpr int ApplicationIdOffset = 68;
constexpr char Magic[] = "SQLite format 3";
using Header = std::array<char, HeaderBytes>;

// Up to this size, 1 MB, a check of the whole file takes a millisecond or two.
constexpr long long FullyCheckedPages = 256;

constexpr auto Tables = {"ServerConfiguration",   "AuthenticationConfiguration",
                         "ProductConfiguration",  "FolderConfiguration",
                         "FileConfiguration",     "GeneratedFileConfiguration",
                         "BaseFileConfiguration", "Schedules",
                         "StoreIdentity"};

QString systemMessage(int code)
{
    return QString::fromLocal8Bit(std::strerror(code));
}

[[noreturn]] void failAt(const QString& path, const QString& doing, int code)
{
    const QString text = doing + u" "_s + path + u": "_s + systemMessage(code) + u". "_s;
    switch (code) {
    case EACCES:
    case EPERM:
        throw DatabaseError(
            Cause::NoPermission,
            text + u"Give yourself the right to read and write it, or name another place."_s);
    case EROFS:
        throw DatabaseError(
            Cause::ReadOnly,
            text + u"The place is read-only: move the database to one that takes writes."_s);
    case ENOSPC:
    case EDQUOT:
        throw DatabaseError(Cause::DiskFull, text + u"Free some space and try again."_s);
    case EIO:
        throw DatabaseError(Cause::InputOutput, text + u"Check the disk."_s);
    default:
        throw DatabaseError(Cause::Other, text + u"Name a file in a folder that you may use."_s);
    }
}

// A new entry of a folder is on the disk when the folder is.
void syncFolder(const QString& folder)
{
    const int descriptor = ::open(QFile::encodeName(folder).constData(), O_RDONLY | O_CLOEXEC);
    if (descriptor < 0)
        return; // A folder that may be written but not read has no other way to be synced.
    ::fsync(descriptor);
    ::close(descriptor);
}

void createFolder(const QString& folder)
{
    if (QFileInfo::exists(folder))
        return;
    const QString parent = QFileInfo(folder).path();
    createFolder(parent);
    if (::mkdir(QFile::encodeName(folder).constData(), 0700) != 0 && errno != EEXIST)
        failAt(folder, u"Cannot create the folder"_s, errno);
    syncFolder(parent);
}

void createEmptyFile(const QString& path)
{
    const QString folder = QFileInfo(path).path();
    createFolder(folder);
    // Readable for the user alone: some secrets are stored in clear.
    const int descriptor =
        ::open(QFile::encodeName(path).constData(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
    if (descriptor >= 0)
        ::close(descriptor);
    else if (errno != EEXIST)
        failAt(path, u"Cannot create the database"_s, errno);
    syncFolder(folder);
}

void checkAccess(const QString& path)
{
    const QString folder = QFileInfo(path).path();
    if (::access(QFile::encodeName(path).constData(), R_OK | W_OK) != 0)
        failAt(path, u"Cannot read and write the database"_s, errno);
    if (::access(QFile::encodeName(folder).constData(), W_OK | X_OK) != 0)
        failAt(folder, u"Cannot write beside the database in"_s, errno);
}

DatabaseError notADatabase(const QString& path)
{
    return {
        Cause::NotADatabase, u"The file "_s + path +
                                 u" is not a SQLite database. Name the right file, or move this "
                                 u"one away to have a new database created."_s};
}

DatabaseError foreignDatabase(const QString& path)
{
    return {
        Cause::ForeignDatabase,
        u"The file "_s + path +
            u" is a database of another program, and is left alone. Name the right file."_s};
}

DatabaseError tooNew(const QString& path, long long version)
{
    return {
        Cause::TooNew,
        u"The database "_s + path +
            u" has schema version %1, and this program knows versions up to %2. Use the newer "
            u"program that wrote it."_s.arg(version)
                .arg(currentSchemaVersion())};
}

DatabaseError damaged(const QString& path, const QString& finding)
{
    return {
        Cause::Damaged, u"The database "_s + path + u" is damaged: "_s + finding +
                            u". Keep the file, and put a backup copy in its place."_s};
}

QString movedWarning(const QString& path)
{
    return u"The database %1 comes from another machine or account. Two copies of it that both "
           u"synchronise would undo each other's work: see that the other one is not used any "
           u"more, and make this one your own with 'velmioctl adopt'."_s.arg(path);
}

QString noLogWarning(const QString& path)
{
    return u"The database %1 is used with a journal in place of its write-ahead log, as another "
           u"program keeps it locked: writing is slower, and waits for those who read. Open it "
           u"again when that program has ended."_s.arg(path);
}

/// A connection that reads the file and neither locks it nor writes anything beside it.
///
/// It goes through SQLite, as closing a plain descriptor would drop the locks that this process
/// holds on the file (sqlite.org/howtocorrupt.html, "Posix advisory locks").
SqliteHandle openForInspection(const QString& path)
{
    const QByteArray uri = "file://" + QUrl::toPercentEncoding(path, "/") + "?mode=ro&immutable=1";
    sqlite3* opened = nullptr;
    const int result = sqlite3_open_v2(
        uri.constData(), &opened, SQLITE_OPEN_READONLY | SQLITE_OPEN_URI | SQLITE_OPEN_NOMUTEX,
        nullptr);
    SqliteHandle database(opened);
    if (result != SQLITE_OK)
        throw databaseError(opened, path);
    return database;
}

// Zeros of a file that has no whole header.
Header readHeader(sqlite3* database, const QString& path)
{
    sqlite3_file* file = nullptr;
    Header header{};
    sqlite3_file_control(database, "main", SQLITE_FCNTL_FILE_POINTER, &file);
    const int result = file->pMethods->xRead(file, header.data(), HeaderBytes, 0);
    if (result == SQLITE_IOERR_SHORT_READ)
        return {};
    if (result != SQLITE_OK)
        failAt(path, u"Cannot read the database"_s, EIO);
    return header;
}

void requireKnownVersion(sqlite3* database, long long version, const QString& path)
{
    if (version > currentSchemaVersion() && !admitsVersion(database, currentSchemaVersion(), path))
        throw tooNew(path, version);
}

// Looks at a file with content before a connection is opened that might write to it.
void inspect(const QString& path)
{
    const SqliteHandle database = openForInspection(path);
    const Header header = readHeader(database.get(), path);
    if (std::memcmp(header.data(), Magic, sizeof Magic) != 0) {
        // A power cut while the file was made can leave its length without its content.
        if (header == Header{} && isUndoneByItsJournal(path))
            return;
        throw notADatabase(path);
    }
    const auto applicationId = qFromBigEndian<qint32>(header.data() + ApplicationIdOffset);
    const auto version = qFromBigEndian<qint32>(header.data() + UserVersionOffset);
    if (applicationId == ApplicationId) {
        requireKnownVersion(database.get(), version, path);
        return;
    }
    // Without a mark it may be taken over when nobody has put anything into it, nor into a log
    // that this connection does not read.
    const bool hasLog = QFileInfo(path + u"-wal"_s).size() > 0;
    const bool hasJournal = QFileInfo(path + u"-journal"_s).size() > 0;
    if (applicationId != 0 || version != 0 || hasLog || hasJournal ||
        queryNumber(database.get(), "SELECT count(*) FROM sqlite_schema", path) != 0)
        throw foreignDatabase(path);
}

void checkPages(sqlite3* database, const QString& path)
{
    const QString finding = queryText(database, "PRAGMA quick_check(1)", path);
    if (finding != u"ok")
        throw damaged(path, finding.simplified());
}

void bringUpToDate(sqlite3* database, const QString& path, bool unclean, QStringList& warnings)
{
    const auto version = queryNumber(database, "PRAGMA user_version", path);
    // The log may hold a newer version than the header of the file.
    requireKnownVersion(database, version, path);
    if (unclean || queryNumber(database, "PRAGMA page_count", path) <= FullyCheckedPages)
        checkPages(database, path);
    if (version < currentSchemaVersion())
        migrate(database, path);
    if (version > currentSchemaVersion()) {
        warnings += u"The database %1 has schema version %2, of a newer program, which lets this "
                    u"one go on using it. Update this program when you can."_s.arg(
                        path, QString::number(version));
    }
}

void checkTables(sqlite3* database, const QString& path)
{
    for (const char* const table : Tables) {
        const auto name = QLatin1StringView(table);
        const QByteArray count =
            "SELECT count(*) FROM sqlite_schema WHERE type = 'table' AND name = '" +
            QByteArray(table) + "'";
        if (queryNumber(database, count.constData(), path) == 0)
            throw damaged(path, u"the table %1 is missing"_s.arg(name));
        // Reads the first page of the table, and finds a file that was cut off.
        const QByteArray first = "SELECT id FROM " + QByteArray(table) + " LIMIT 1";
        queryNumber(database, first.constData(), path);
    }
}

QString useWriteAheadLog(sqlite3* database, const QString& path)
{
    using namespace std::chrono_literals;
    // Longer than another process takes that creates the database at the same moment.
    const auto deadline = std::chrono::steady_clock::now() + 500ms;
    setWaiting(database, false);
    for (;;) {
        try {
            QString mode = queryText(database, "PRAGMA journal_mode = WAL", path);
            setWaiting(database, true);
            return mode;
        } catch (const DatabaseError& error) {
            if (error.cause() != Cause::Busy)
                throw;
        }
        if (std::chrono::steady_clock::now() > deadline)
            break;
        std::this_thread::sleep_for(1ms);
    }
    setWaiting(database, true);
    return queryText(database, "PRAGMA journal_mode", path);
}

} // namespace

OpenedFile prepareDatabaseFile(const QString& givenPath)
{
    // SQLite keeps its log beside the file that a symbolic link leads to.
    const QString target = QFileInfo(givenPath).canonicalFilePath();
    const QString path = target.isEmpty() ? givenPath : target;
    const QFileInfo file(path);
    if (file.isDir())
        throw DatabaseError(
            Cause::Directory, path + u" is a directory. Name a database file in it, such as "_s +
                                  QDir(path).filePath(u"configuration.db"_s) + u"."_s);
    if (!file.exists())
        createEmptyFile(path);
    else if (!file.isFile())
        throw notADatabase(path);
    checkAccess(path);
    if (QFileInfo(path).size() > 0)
        inspect(path);

    const bool unclean = endedUncleanly(path);
    OpenedFile opened;
    opened.connection = openConnection(path);
    sqlite3* const database = opened.connection.get();
    // A file that is refused stays as it is.
    setCheckpointAtClose(database, false);
    bringUpToDate(database, path, unclean, opened.warnings);
    checkTables(database, path);
    if (useWriteAheadLog(database, path) != u"wal")
        opened.warnings += noLogWarning(path);
    opened.identity = identify(database, path);
    if (opened.identity.moved)
        opened.warnings += movedWarning(path);
    setCheckpointAtClose(database, true);
    return opened;
}

} // namespace sync::database
