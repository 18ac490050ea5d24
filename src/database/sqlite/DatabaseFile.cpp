#include <database/sqlite/DatabaseFile.h>

#include <database/DatabaseBackups.h>
#include <database/DatabaseError.h>
#include <database/sqlite/Migrations.h>
#include <database/sqlite/SqliteError.h>
#include <database/sqlite/SqliteHandle.h>
#include <database/sqlite/SystemFiles.h>
#include <database/sqlite/Tables.h>

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

Header readHeader(sqlite3* database, const QString& path)
{
    sqlite3_file* file = nullptr;
    Header header{};
    sqlite3_file_control(database, "main", SQLITE_FCNTL_FILE_POINTER, &file);
    const int result = file->pMethods->xRead(file, header.data(), HeaderBytes, 0);
    if (result != SQLITE_OK && result != SQLITE_IOERR_SHORT_READ)
        failAt(path, u"Cannot read the database"_s, EIO);
    if (result != SQLITE_OK || std::memcmp(header.data(), Magic, sizeof Magic) != 0)
        throw notADatabase(path);
    return header;
}

// Whether SQLite was interrupted while it filled a new file. Its journal says that the file was
// empty (sqlite.org/fileformat2.html#the_rollback_journal), and the next connection makes it so.
bool isHalfCreated(const QString& path)
{
    constexpr char JournalMagic[] = "\xd9\xd5\x05\xf9\x20\xa1\x63\xd7";
    constexpr qsizetype InitialPagesOffset = 16;
    QFile journal(path + u"-journal"_s);
    if (!journal.open(QIODevice::ReadOnly))
        return false;
    const QByteArray header = journal.read(HeaderBytes);
    return header.size() == HeaderBytes && header.startsWith(JournalMagic) &&
           qFromBigEndian<qint32>(header.constData() + InitialPagesOffset) == 0;
}

void requireKnownVersion(sqlite3* database, long long version, const QString& path)
{
    if (version > currentSchemaVersion() && !admitsVersion(database, currentSchemaVersion(), path))
        throw tooNew(path, version);
}

// Looks at a file with content before a connection is opened that might write to it.
void inspect(const QString& path)
{
    if (isHalfCreated(path))
        return;
    const SqliteHandle database = openForReading(path, LogBeside::Ignored);
    const Header header = readHeader(database.get(), path);
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

void bringUpToDate(sqlite3* database, const QString& path, QStringList& warnings)
{
    const auto version = queryNumber(database, "PRAGMA user_version", path);
    // The log may hold a newer version than the header of the file.
    requireKnownVersion(database, version, path);
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

void checkTable(sqlite3* database, const QByteArray& table, const QString& path)
{
    const QByteArray count =
        "SELECT count(*) FROM sqlite_schema WHERE type = 'table' AND name = '" + table + "'";
    if (queryNumber(database, count.constData(), path) == 0)
        throw damaged(path, u"the table %1 is missing"_s.arg(QLatin1StringView(table)));
    // Reads the first page of the table, and finds a file that was cut off.
    const QByteArray first = "SELECT id FROM " + table + " LIMIT 1";
    queryNumber(database, first.constData(), path);
}

// Whether a check did not get a page from the disk (btree.c, checkTreePage() and checkList()),
// which says nothing about the file.
bool isFailedRead(const QString& finding)
{
    return finding.contains(u"unable to get the page") || finding.contains(u"failed to get page");
}

void checkContent(sqlite3* database, const QString& path)
{
    for (const char* const table : Tables)
        checkTable(database, table, path);
    checkTable(database, "StoreIdentity", path);
    if (queryNumber(database, "PRAGMA page_count", path) > FullyCheckedPages)
        return;
    const QString finding = queryText(database, "PRAGMA quick_check(1)", path);
    if (isFailedRead(finding))
        failAt(path, u"Cannot read the database"_s, EIO);
    if (finding != u"ok")
        throw damaged(path, finding.simplified());
}

// Two processes that create the database at the same moment get in each other's way here, and
// SQLite does not call the busy handler for this.
void useWriteAheadLog(sqlite3* database, const QString& path)
{
    using namespace std::chrono_literals;
    const auto deadline = std::chrono::steady_clock::now() + BusyTimeout;
    for (;;) {
        try {
            queryText(database, "PRAGMA journal_mode = WAL", path);
            return;
        } catch (const DatabaseError& error) {
            if (error.cause() != Cause::Busy || std::chrono::steady_clock::now() > deadline)
                throw;
            std::this_thread::sleep_for(1ms);
        }
    }
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

OpenedFile prepareDatabaseFile(const QString& givenPath)
{
    const QString path = resolvedFilePath(givenPath);
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
    else if (QFileInfo(path + u"-wal"_s).size() > 0)
        // SQLite would delete the log, which may be all that is left.
        throw damaged(path, u"it is empty, but its log is not"_s);

    OpenedFile opened;
    const SqliteHandle database = openConnection(path);
    bringUpToDate(database.get(), path, opened.warnings);
    checkContent(database.get(), path);
    useWriteAheadLog(database.get(), path);
    opened.identity = identify(database.get(), path);
    if (opened.identity.moved)
        opened.warnings += movedWarning(path);
    return opened;
}

} // namespace sync::database
