#include <database/opening/DatabaseFile.h>

#include <base/FileDescriptor.h>
#include <base/Folders.h>
#include <database/DatabaseBackups.h>
#include <database/DatabaseError.h>
#include <database/connection/SqliteError.h>
#include <database/opening/CrashDetection.h>
#include <database/opening/Migrations.h>
#include <database/opening/WalSupport.h>
#include <database/schema/Tables.h>

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QtEndian>

#include <fcntl.h>
#include <sqlite3.h>
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

void createEmptyFile(const QString& path)
{
    const QString folder = QFileInfo(path).path();
    base::createFolders(folder);
    // Readable for the user alone: some secrets are stored in clear.
    const base::FileDescriptor descriptor(
        ::open(QFile::encodeName(path).constData(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0600));
    if (!descriptor.isOpen() && errno != EEXIST)
        throw base::FileError(path, u"Cannot create the database"_s, errno);
    base::syncFolder(folder);
}

void checkAccess(const QString& path)
{
    const QString folder = QFileInfo(path).path();
    if (::access(QFile::encodeName(path).constData(), R_OK | W_OK) != 0)
        throw base::FileError(path, u"Cannot read and write the database"_s, errno);
    if (::access(QFile::encodeName(folder).constData(), W_OK | X_OK) != 0)
        throw base::FileError(folder, u"Cannot write beside the database in"_s, errno);
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

QString lockedWarning(const QString& path)
{
    return u"The database %1 is used with a journal in place of its write-ahead log, as another "
           u"program keeps it locked: writing is slower, and waits for those who read. Open it "
           u"again when that program has ended."_s.arg(path);
}

QString networkWarning(const QString& path, const QByteArray& fileSystem)
{
    return u"The database %1 is used with a journal in place of a write-ahead log, which is not "
           u"safe on a network file system (%2): writing is slower, and waits for those who read. "
           u"Move it to a local disk, and never use it from two machines at once."_s.arg(
               path, QString::fromLatin1(fileSystem));
}

QString noSharedMemoryWarning(const QString& path)
{
    return u"The database %1 is used with a journal in place of a write-ahead log, as its file "
           u"system does not let programs share memory: writing is slower, and waits for those who "
           u"read. Move it to a local disk."_s.arg(path);
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
        throw databaseError(base::FileError(path, u"Cannot read the database"_s, EIO));
    return header;
}

void requireKnownVersion(sqlite3* database, long long version, const QString& path)
{
    if (version < 0)
        throw damaged(path, u"its schema version is %1"_s.arg(version));
    if (version > currentSchemaVersion() && !admitsVersion(database, currentSchemaVersion(), path))
        throw tooNew(path, version);
}

// Looks at a file with content before a connection is opened that might write to it.
void inspect(const QString& path)
{
    // A power cut while the file was made can leave anything in it.
    if (isUndoneByItsJournal(path))
        return;
    const SqliteHandle database = openForReading(path, LogBeside::Ignored);
    const Header header = readHeader(database.get(), path);
    if (std::memcmp(header.data(), Magic, sizeof Magic) != 0)
        throw notADatabase(path);
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
    const QString damage = queryDamage(database, "PRAGMA quick_check(1)", path);
    if (!damage.isEmpty())
        throw damaged(path, damage);
}

void backUpBeforeMigration(const QString& path, long long version)
{
    try {
        DatabaseBackups(path).make(DatabaseBackups::Reason::Migration);
    } catch (const DatabaseError& error) {
        throw DatabaseError(
            error.cause(),
            u"The database %1 has schema version %2, and is brought to version %3 only when a "
            u"backup was made before. It was not changed. %4"_s.arg(
                path, QString::number(version), QString::number(currentSchemaVersion()),
                error.text()));
    }
}

// Returns the version of a file that may be used and is whole.
long long checkVersionAndPages(sqlite3* database, const QString& path, bool unclean)
{
    const auto version = queryNumber(database, "PRAGMA user_version", path);
    // The log may hold a newer version than the header of the file.
    requireKnownVersion(database, version, path);
    if (unclean || queryNumber(database, "PRAGMA page_count", path) <= FullyCheckedPages)
        checkPages(database, path);
    return version;
}

void bringUpToDate(sqlite3* database, long long version, const QString& path, QStringList& warnings)
{
    if (version > 0 && version < currentSchemaVersion())
        backUpBeforeMigration(path, version);
    if (version < currentSchemaVersion())
        migrate(database, path);
    if (version > currentSchemaVersion()) {
        warnings += u"The database %1 has schema version %2, of a newer program, which lets this "
                    u"one go on using it. Update this program when you can."_s.arg(
                        path, QString::number(version));
    }
}

// Reads the first page of each table, and finds a file that was cut off.
void checkTables(sqlite3* database, const QString& path)
{
    static const QByteArray sql = [] {
        // All columns that are read later, when the log is in use and it is too late to leave the
        // file as it was.
        QByteArrayList firstRows{
            "(SELECT storeId || machineStamp || lastCompatibleVersion FROM StoreIdentity)"};
        for (const char* const table : Tables)
            firstRows += "(SELECT id FROM " + QByteArray(table) + " LIMIT 1)";
        return "SELECT " + firstRows.join(", ");
    }();
    try {
        queryNumber(database, sql.constData(), path);
    } catch (const SqliteError& error) {
        // Its text names the one that is not there.
        if (error.code() == SQLITE_ERROR)
            throw damaged(path, QString::fromUtf8(sqlite3_errmsg(database)));
        throw;
    }
}

// Tries for a while, as another process that creates the database at the same moment gets in its
// way. Returns whether the database has a log now.
bool switchToLog(sqlite3* database, const QString& path)
{
    using namespace std::chrono_literals;
    const auto deadline = std::chrono::steady_clock::now() + 500ms;
    for (;;) {
        try {
            return queryText(database, "PRAGMA journal_mode = WAL", path) == u"wal";
        } catch (const DatabaseError& error) {
            if (error.cause() != Cause::Busy)
                throw;
        }
        if (std::chrono::steady_clock::now() > deadline)
            return false;
        std::this_thread::sleep_for(1ms);
    }
}

void useWriteAheadLog(OpenedFile& opened, const QString& path)
{
    sqlite3* const database = opened.connection.get();
    opened.hasLog = queryText(database, "PRAGMA journal_mode", path) == u"wal";
    if (opened.hasLog)
        return;
    if (!hasSharedMemory(path)) {
        opened.warnings += noSharedMemoryWarning(path);
        return;
    }
    setWaiting(database, false);
    opened.hasLog = switchToLog(database, path);
    setWaiting(database, true);
    if (!opened.hasLog)
        opened.warnings += lockedWarning(path);
}

void identify(OpenedFile& opened, const QString& path)
{
    opened.identity = readIdentity(opened.connection.get(), path);
    if (opened.identity.moved)
        opened.warnings += movedWarning(path);
}

OpenedFile openWithLog(const QString& path, bool unclean)
{
    OpenedFile opened;
    opened.connection = openConnection(path);
    sqlite3* const database = opened.connection.get();
    // A file that is refused stays as it is.
    setCheckpointAtClose(database, false);
    const auto version = checkVersionAndPages(database, path, unclean);
    bringUpToDate(database, version, path, opened.warnings);
    checkTables(database, path);
    useWriteAheadLog(opened, path);
    identify(opened, path);
    setCheckpointAtClose(database, true);
    return opened;
}

// Exclusive until a log is merged into the file, as it may be read without shared memory only so.
OpenedFile openWithJournal(const QString& path, bool unclean, const QString& warning)
{
    OpenedFile opened;
    opened.connection = openConnection(path, Locking::Exclusive);
    sqlite3* const database = opened.connection.get();
    setCheckpointAtClose(database, false);
    const auto version = checkVersionAndPages(database, path, unclean);
    // The lock goes with the next access, which is the last of these.
    execute(
        database, "PRAGMA journal_mode = DELETE; PRAGMA locking_mode = NORMAL; PRAGMA user_version",
        path);
    bringUpToDate(database, version, path, opened.warnings);
    checkTables(database, path);
    identify(opened, path);
    opened.warnings += warning;
    return opened;
}

} // namespace

QString absoluteFilePath(const QString& givenPath)
{
    // A ":" at the start would name a resource to Qt, and ":memory:" no file to SQLite.
    const QString path = givenPath.startsWith(u':') ? u"./"_s + givenPath : givenPath;
    return QDir::cleanPath(QFileInfo(path).absoluteFilePath());
}

QString resolvedFilePath(const QString& givenPath)
{
    const QString path = absoluteFilePath(givenPath);
    const QString target = QFileInfo(path).canonicalFilePath();
    return target.isEmpty() ? path : target;
}

OpenedFile prepareDatabaseFile(const QString& givenPath, FileSystemType fileSystemType)
{
    const QString path = resolvedFilePath(givenPath);
    const QFileInfo file(path);
    if (file.isDir())
        throw DatabaseError(
            Cause::Directory, path + u" is a directory. Name a database file in it, such as "_s +
                                  QDir(path).filePath(u"configuration.db"_s) + u"."_s);
    withFileErrors([&] {
        if (!file.exists())
            createEmptyFile(path);
        else if (!file.isFile())
            throw notADatabase(path);
        checkAccess(path);
    });
    if (QFileInfo(path).size() > 0)
        inspect(path);
    else if (QFileInfo(path + u"-wal"_s).size() > 0)
        // SQLite would delete the log, which may be all that is left.
        throw damaged(path, u"it is empty, but its log is not"_s);

    const bool unclean = endedUncleanly(path);
    if (const QByteArray type = fileSystemType(path); isNetworkFileSystem(type))
        return openWithJournal(path, unclean, networkWarning(path, type));
    try {
        return openWithLog(path, unclean);
    } catch (const SqliteError& error) {
        if (!tellsOfMissingSharedMemory(error, path))
            throw;
    }
    return openWithJournal(path, unclean, noSharedMemoryWarning(path));
}

} // namespace sync::database
