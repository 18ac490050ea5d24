#include <database/StoreInspection.h>

#include <base/FileError.h>
#include <base/FilePaths.h>
#include <base/system/Files.h>
#include <database/connection/SqliteError.h>
#include <database/opening/CrashDetection.h>
#include <database/opening/LockHolder.h>
#include <database/opening/Migrations.h>
#include <database/opening/ReadOnlyConnection.h>
#include <database/opening/StoreContent.h>
#include <database/opening/StoreIdentity.h>
#include <database/opening/VfsFile.h>
#include <database/opening/WalDamage.h>

#include <QFileInfo>
#include <QtEndian>

#include <array>
#include <optional>

using namespace Qt::StringLiterals;

namespace sync::database {

namespace {

using Cause = DatabaseError::Cause;
using Kind = StoreInspection::Kind;

// The version in the header of a store of ours that this library knows; nothing of any other file.
std::optional<qint64> knownVersionOf(sqlite3* database)
{
    // sqlite.org/fileformat2.html#the_database_header
    constexpr int UserVersionOffset = 60;
    constexpr int ApplicationIdOffset = 68;
    std::array<char, HeaderBytes> header{};
    sqlite3_file* const file = fileOf(database);
    if (file->pMethods->xRead(file, header.data(), int(header.size()), 0) != SQLITE_OK ||
        qFromBigEndian<qint32>(header.data() + ApplicationIdOffset) != ApplicationId)
        return {};
    const auto version = qFromBigEndian<qint32>(header.data() + UserVersionOffset);
    return version >= 0 && version <= currentSchemaVersion() ? std::optional(version)
                                                             : std::nullopt;
}

} // namespace

StoreInspection::StoreInspection(const QString& path, Depth depth)
    : filePath(base::resolvedFilePath(path))
{
    const QFileInfo file(filePath);
    writable = base::mayAccess(filePath, base::ReadAccess | base::WriteAccess) &&
               base::mayAccess(file.path(), base::WriteAccess | base::EnterAccess);
    try {
        content = std::make_shared<StoreContent>(inspect(depth));
        if (depth == Depth::Whole && content->kind == Kind::Ours)
            inspectWal();
    } catch (const DatabaseError& error) {
        content = std::make_shared<StoreContent>(contentOf(error));
    }
}

StoreInspection::~StoreInspection() = default;

StoreInspection::Kind StoreInspection::kind() const
{
    return content->kind;
}

QString StoreInspection::finding(const QString& subject) const
{
    return content->sentence(subject);
}

DatabaseError::Cause StoreInspection::cause() const
{
    return content->cause;
}

qint64 StoreInspection::schemaVersion() const
{
    return content->version;
}

QStringList StoreInspection::damage() const
{
    return content->damage;
}

QStringList StoreInspection::missingTables() const
{
    return content->missingTables;
}

QList<SchemaDifference> StoreInspection::schemaDifferences() const
{
    return content->kind == Kind::Ours || content->kind == Kind::Altered
               ? content->differences
               : QList<SchemaDifference>();
}

void StoreInspection::inspectWal()
{
    bytesOfWal = QFileInfo(filePath + u"-wal"_s).size();
    if (const auto reader = bytesOfWal > 0 ? walReaderOf(filePath) : std::nullopt)
        readerOfWal = describe(*reader);
}

StoreContent StoreInspection::inspect(Depth depth)
{
    const QFileInfo file(filePath);
    if (file.isDir())
        return {Kind::Directory, u"is a directory"_s, Cause::Directory};
    if (!file.exists())
        return {Kind::Missing, u"does not exist"_s};
    if (!file.isFile())
        return {Kind::NotAFile, u"is not a regular file"_s, Cause::NotADatabase};
    // SQLite would open them, and wait for ever for the other end of a pipe.
    for (const QString& ending : {u"-wal"_s, u"-shm"_s, u"-journal"_s}) {
        const QString companion = filePath + ending;
        // In one look: another process may remove it meanwhile.
        const auto status = base::statusOf(companion, base::Links::Follow);
        if (status && status->kind != base::FileKind::File)
            return {
                Kind::NotAFile,
                u"cannot be used, because %1 is not a regular file"_s.arg(companion),
                Cause::NotADatabase};
    }
    if (file.size() > 0)
        return depth == Depth::Header ? inspectHeader() : inspectWhole();
    // SQLite would delete the WAL, which may be all that is left.
    if (QFileInfo(filePath + u"-wal"_s).size() > 0)
        return damagedStore(u"it is empty, but its WAL is not"_s);
    return emptyFile();
}

// SQLite would report damage in a file that a journal has yet to restore.
StoreContent StoreInspection::inspectHeader() const
{
    // A power cut while the file was created can leave anything in it.
    if (isRolledBackWhole(filePath))
        return unfinishedStore();
    const SqliteHandle database = openImmutable(filePath);
    if (const auto version = knownVersionOf(database.get()))
        return {.version = *version};
    StoreContent found = readMark(database.get(), filePath);
    // The part that is not read may contain tables.
    if (found.kind == Kind::Empty && hasLog(filePath))
        return foreignDatabase();
    return found;
}

StoreContent StoreInspection::inspectWhole()
{
    // A program that begins to write during a read without locks makes a whole store look damaged.
    constexpr int Attempts = 3;
    for (int attempt = 0; attempt < Attempts; ++attempt) {
        const StoreFingerprint before = fingerprintOf(filePath);
        try {
            const ReadOnlyConnection connection = openReadOnlyConnection(filePath);
            StoreContent found = readWholeOf(connection);
            const qint64 lost = walRead ? lostCommitsIn(filePath) : 0;
            const bool isUnchanged = fingerprintOf(filePath) == before;
            // In a WAL that grows, a frame may be seen half written.
            commitsLost = isUnchanged ? lost : 0;
            if (!connection.fingerprint || isUnchanged)
                return found;
        } catch (const SqliteError&) {
            if (fingerprintOf(filePath) == before)
                throw;
        }
    }
    throw DatabaseError(
        Cause::Busy, u"The database %1 is being written to: try again."_s.arg(filePath));
}

StoreContent StoreInspection::readWholeOf(const ReadOnlyConnection& connection)
{
    sqlite3* const database = connection.database.get();
    walRead = connection.readsWal;
    StoreContent found = readWhole(database, filePath);
    if (found.isOurs() && found.version >= FirstVersionWithIdentity) {
        const StoreIdentity identity = readIdentity(database, filePath);
        id = identity.storeId;
        moved = identity.moved;
    }
    return found;
}

} // namespace sync::database
