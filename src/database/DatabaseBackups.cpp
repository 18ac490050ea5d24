#include <database/DatabaseBackups.h>

#include <base/FileError.h>
#include <base/FilePaths.h>
#include <base/Folders.h>
#include <base/PartialFile.h>
#include <base/system/Files.h>
#include <database/DatabaseError.h>
#include <database/StoreInspection.h>
#include <database/connection/SqliteError.h>
#include <database/maintenance/BackupFile.h>
#include <database/maintenance/Salvage.h>
#include <database/maintenance/StoreReplacement.h>
#include <database/opening/Migrations.h>
#include <database/opening/ReadOnlyConnection.h>
#include <database/opening/StoreAccess.h>
#include <database/opening/StoreContent.h>
#include <database/opening/StoreIdentity.h>

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QRegularExpression>
#include <QTemporaryDir>

#include <algorithm>
#include <array>
#include <cerrno>
#include <limits>
#include <tuple>

using namespace Qt::StringLiterals;

namespace sync::database {

namespace {

using Cause = DatabaseError::Cause;
using Reason = DatabaseBackups::Reason;

constexpr std::array Reasons{Reason::Manual, Reason::Migration, Reason::Rekey,
                             Reason::Import, Reason::Fix,       Reason::Removal};

// PartialFile adds a dot and this many characters to a name.
constexpr int UnfinishedSuffixSize = 6;

// What a damaged file may claim beyond it would leave no next number.
constexpr qint64 HighestBackupNumber = std::numeric_limits<int>::max();

const QString TimeFormat = u"yyyyMMdd'T'HHmmsszzz'Z'"_s;

std::optional<Reason> reasonOf(const QString& word)
{
    const auto* const found = std::find_if(Reasons.begin(), Reasons.end(), [&word](Reason reason) {
        return DatabaseBackups::wordFor(reason) == word;
    });
    return found == Reasons.end() ? std::nullopt : std::optional(*found);
}

// 0 if the file has none: it cannot be read, or its version is below 3.
qint64 backupNumberOf(const QString& path)
{
    try {
        const ReadOnlyConnection file = openReadOnlyConnection(path);
        const qint64 number =
            queryNumber(file.database.get(), "SELECT lastNumber FROM BackupCounter", path);
        return number <= HighestBackupNumber ? std::max<qint64>(number, 0) : 0;
    } catch (const DatabaseError&) {
        return 0;
    }
}

QFileInfoList filesIn(const QString& folder)
{
    return QDir(folder).entryInfoList(QDir::Files | QDir::Hidden | QDir::NoSymLinks);
}

// What the name of a file says; nothing if pathFor() does not give such a name.
std::optional<DatabaseBackups::Backup> backupOf(const QFileInfo& file, const QString& database)
{
    static const QRegularExpression ending(u"^\\.(\\d{8}T\\d{9}Z)\\.([a-z]+)\\.db$"_s);
    const QString name = file.fileName();
    if (!name.startsWith(database))
        return {};
    const auto match = ending.match(name.sliced(database.size()));
    QDateTime time = QDateTime::fromString(match.captured(1), TimeFormat);
    time.setTimeSpec(Qt::UTC);
    const auto reason = reasonOf(match.captured(2));
    if (!time.isValid() || !reason)
        return {};
    return DatabaseBackups::Backup{
        file.filePath(), time, *reason, file.size(), backupNumberOf(file.filePath())};
}

// Newest first. A time that is impossible says nothing about others.
void markImpossibleTimes(QList<DatabaseBackups::Backup>& backups)
{
    // make() counts milliseconds up where two copies would have one name.
    const QDateTime soon = QDateTime::currentDateTimeUtc().addSecs(60);
    QDateTime latest;
    for (auto backup = backups.rbegin(); backup != backups.rend(); ++backup) {
        const bool isBeforeEarlier = latest.isValid() && backup->time < latest;
        backup->hasImpossibleTime = backup->time > soon || isBeforeEarlier;
        // Those without a number are only ordered by their times.
        if (!backup->hasImpossibleTime && backup->number > 0)
            latest = backup->time;
    }
}

void requireDatabase(const QString& path)
{
    if (!QFileInfo::exists(path))
        throw DatabaseError(
            Cause::Other, u"The database %1 does not exist. Name the right file."_s.arg(path));
    const StoreInspection file(path, StoreInspection::Depth::Header);
    if (file.kind() == StoreInspection::Kind::NotAFile)
        throw DatabaseError(file.cause(), file.finding(u"The database "_s + path));
}

bool hasNoRow(const DatabaseBackups::SalvagedTable& table)
{
    return table.rows == 0;
}

// Columns of a later version would be lost.
void requireKnownVersion(qint64 version, const QString& path)
{
    if (version > currentSchemaVersion())
        throw DatabaseError(
            Cause::TooNew,
            u"The database %1 has schema version %2, and this program knows versions up to %3. Use "
            u"the newer program that wrote it."_s.arg(
                path, QString::number(version), QString::number(currentSchemaVersion())));
}

DatabaseError nothingToSalvage(const QString& path)
{
    return {
        Cause::Damaged,
        u"Nothing in the database %1 can be read. It was not changed. Put a backup copy "
        u"in its place."_s.arg(path)};
}

bool isSameFile(const QString& left, const QString& right)
{
    const auto leftStatus = base::statusOf(left, base::Links::Follow);
    const auto rightStatus = base::statusOf(right, base::Links::Follow);
    return leftStatus && rightStatus && leftStatus->id == rightStatus->id;
}

SqliteHandle openTrusted(const QString& file, const OpenOptions& options)
{
    requireTrusted(base::resolvedFilePath(file), trustOf(options));
    return openVerified(file);
}

// Also that of a damaged store, if the row can be read.
QString storeIdOf(const QString& path)
{
    static const QRegularExpression wellFormed(u"^[0-9a-f]{32}$"_s);
    if (QFileInfo(path).size() == 0)
        return {};
    try {
        const QString id = readIdentity(openReadOnlyConnection(path).database.get(), path).storeId;
        return wellFormed.match(id).hasMatch() ? id : QString();
    } catch (const DatabaseError&) {
        return {};
    }
}

} // namespace

QString DatabaseBackups::wordFor(Reason reason)
{
    switch (reason) {
    case Reason::Manual:
        return u"manual"_s;
    case Reason::Migration:
        return u"migration"_s;
    case Reason::Rekey:
        return u"rekey"_s;
    case Reason::Import:
        return u"import"_s;
    case Reason::Fix:
        return u"fix"_s;
    case Reason::Removal:
        return u"removal"_s;
    }
    Q_UNREACHABLE();
}

DatabaseBackups::DatabaseBackups(const QString& databasePath, const OpenOptions& options)
    : databasePath(base::resolvedFilePath(databasePath))
    , options(options)
{
}

QString DatabaseBackups::folder() const
{
    return databasePath + u"-backups"_s;
}

DatabaseBackups::Backup DatabaseBackups::make(Reason reason) const
{
    withFileErrors([this] { base::createFolders(folder()); });
    const auto isTaken = [this](const QDateTime& time) {
        return std::any_of(Reasons.begin(), Reasons.end(), [&](Reason other) {
            return QFileInfo::exists(pathFor(time, other));
        });
    };
    Backup made{.time = QDateTime::currentDateTimeUtc(), .reason = reason};
    const qint64 number = nextNumber();
    do {
        while (isTaken(made.time))
            made.time = made.time.addMSecs(1);
        made.path = pathFor(made.time, reason);
        // Another process may take the name while the copy is written.
    } while (!copyTo(made.path, number));
    made.bytes = QFileInfo(made.path).size();
    made.number = backupNumberOf(made.path);
    removeOldest(made);
    removeUnfinished();
    return made;
}

DatabaseBackups::Backup DatabaseBackups::makeAt(const QString& file) const
{
    requireDatabase(databasePath);
    const QString target = base::absoluteFilePath(file);
    if (QFileInfo(target).isDir())
        throw DatabaseError(
            Cause::Directory, target + u" is a directory. Name a new file in it."_s);
    const QDateTime time = QDateTime::currentDateTimeUtc();
    if (QFileInfo::exists(target) || !copyTo(target))
        throw DatabaseError(
            Cause::Other, target +
                              u" exists already, and a copy does not replace files. Name a new "
                              u"file."_s);
    return {target, time, Reason::Manual, QFileInfo(target).size(), backupNumberOf(target)};
}

// After a restore the store continues from the number of the copy, while the folder may have later
// ones.
qint64 DatabaseBackups::nextNumber() const
{
    qint64 highest = backupNumberOf(databasePath);
    for (const Backup& backup : list())
        highest = std::max(highest, backup.number);
    return highest + 1;
}

bool DatabaseBackups::copyTo(const QString& target, const std::optional<qint64>& number) const
{
    requireDatabase(databasePath);
    const bool writable = base::mayAccess(databasePath, base::WriteAccess);
    requireTrusted(databasePath, trustOf(options, writable ? Trust::Owner : Trust::StoreOwner));
    requireTrusted(base::resolvedFilePath(target), trustOf(options));
    const ReadOnlyConnection source = writable ? ReadOnlyConnection{openConnection(databasePath)}
                                               : openReadOnlyWithWal(databasePath);
    // Leaves a damaged file unchanged, and keeps the WAL that a crash has left: because of it the
    // next opening checks the file.
    setCheckpointAtClose(source.database.get(), false);
    // Waits for a program that has locked readers out; the copying itself would not wait.
    if (writable)
        execute(source.database.get(), "BEGIN", databasePath);
    queryNumber(source.database.get(), "SELECT count(*) FROM sqlite_schema", databasePath);
    try {
        base::PartialFile copy(target);
        writeVerifiedContent(source.database.get(), copy, foreignSchemaOf(options), number);
        if (source.fingerprint && *source.fingerprint != fingerprintOf(databasePath))
            throw DatabaseError(
                Cause::Busy,
                u"The database %1 was written to while it was copied: try again."_s.arg(
                    databasePath));
        copy.publish();
    } catch (const base::FileError& error) {
        if (error.code() != EEXIST)
            throw databaseError(error);
        return false;
    }
    setCheckpointAtClose(source.database.get(), writable);
    return true;
}

QList<DatabaseBackups::Backup> DatabaseBackups::list() const
{
    const QString name = QFileInfo(databasePath).fileName();
    QList<Backup> backups;
    for (const QFileInfo& file : filesIn(folder())) {
        if (const auto backup = backupOf(file, name))
            backups.append(*backup);
    }
    std::sort(backups.begin(), backups.end(), [](const Backup& left, const Backup& right) {
        return std::tie(left.number, left.time) > std::tie(right.number, right.time);
    });
    markImpossibleTimes(backups);
    return backups;
}

std::optional<DatabaseBackups::Backup> DatabaseBackups::newestVerified() const
{
    for (const Backup& backup : list()) {
        try {
            openTrusted(backup.path, options);
            return backup;
        } catch (const DatabaseError&) {
            // An older one may be whole.
        }
    }
    return {};
}

void DatabaseBackups::verify(const QString& file)
{
    openTrusted(base::absoluteFilePath(file), {});
}

bool DatabaseBackups::isOfOtherStore(const QString& file) const
{
    const QString own = storeIdOf(databasePath);
    const QString other = storeIdOf(base::resolvedFilePath(file));
    return !own.isEmpty() && !other.isEmpty() && own != other;
}

QString DatabaseBackups::restore(const QString& file, OtherStore otherStore) const
{
    const QString backupPath = base::absoluteFilePath(file);
    if (isSameFile(backupPath, databasePath))
        throw DatabaseError(
            Cause::Other, backupPath + u" is the database itself. Name a backup of it."_s);
    requireTrusted(databasePath, trustOf(options));
    const SqliteHandle backup = openTrusted(backupPath, options);
    if (otherStore == OtherStore::Refused && isOfOtherStore(backupPath))
        throw DatabaseError(
            Cause::OtherStore,
            u"The file %1 is a backup of another database than %2, which would get its records and "
            u"its identity. Name a backup of this one, or agree to that."_s.arg(
                backupPath, databasePath));
    return withFileErrors([&] { return replaceBy(backup.get()); });
}

DatabaseBackups::Salvaged DatabaseBackups::salvage() const
{
    return withFileErrors([this] { return replaceBySalvaged(); });
}

DatabaseBackups::Salvaged DatabaseBackups::replaceBySalvaged() const
{
    requireDatabase(databasePath);
    requireTrusted(databasePath, trustOf(options));
    StoreReplacement store(databasePath);
    // The folder is removed together with what SQLite leaves beside a database.
    const QTemporaryDir folder(databasePath + u".XXXXXX"_s);
    if (!folder.isValid())
        throw base::FileError(databasePath, u"Cannot create a folder beside the database"_s, errno);
    // SQLite changes what it reads: it rolls a journal back and corrects the size in the header.
    const QString copyPath = folder.filePath(u"damaged.db"_s);
    store.copyTo(copyPath);
    requireKnownVersion(prepareForSalvage(copyPath).value_or(0), databasePath);
    const QString freshPath = folder.filePath(u"salvaged.db"_s);
    const SqliteHandle fresh = createDatabase(freshPath);

    // The passwords are bound to the id.
    if (const QString id = storeIdOf(copyPath); !id.isEmpty()) {
        const QByteArray keepId = "UPDATE StoreIdentity SET storeId = '" + id.toLatin1() + "'";
        execute(fresh.get(), keepId.constData(), freshPath);
    }
    Salvaged salvaged;
    salvaged.tables = salvageTables(copyPath, fresh.get(), freshPath);
    if (std::all_of(salvaged.tables.begin(), salvaged.tables.end(), hasNoRow))
        throw nothingToSalvage(databasePath);
    salvaged.keptPath = store.keepOld();
    store.replaceBy(fresh.get());
    return salvaged;
}

QString DatabaseBackups::replaceBy(sqlite3* source) const
{
    if (QFileInfo(databasePath).size() == 0)
        setStrayWalAside(databasePath);
    if (!QFileInfo::exists(databasePath)) {
        base::createFolders(QFileInfo(databasePath).path());
        writeVerifiedCopy(source, databasePath);
        return {};
    }
    StoreReplacement store(databasePath);
    QString kept = store.keepOld();
    store.replaceBy(source);
    return kept;
}

QString DatabaseBackups::pathFor(const QDateTime& time, Reason reason) const
{
    return u"%1/%2.%3.%4.db"_s.arg(
        folder(), QFileInfo(databasePath).fileName(), time.toString(TimeFormat), wordFor(reason));
}

void DatabaseBackups::removeOldest(const Backup& made) const
{
    int newer = 1;
    for (const Backup& backup : list()) {
        // The new copy stays even if the clock was set back: it is known to be whole.
        if (backup.reason != made.reason || backup.path == made.path)
            continue;
        if (++newer > KeptPerReason)
            QFile::remove(backup.path);
    }
}

void DatabaseBackups::removeUnfinished() const
{
    // No copying takes longer.
    const QDateTime yesterday = QDateTime::currentDateTimeUtc().addDays(-1);
    for (const QFileInfo& file : filesIn(folder())) {
        // Its name is the final one, a dot, and a unique suffix.
        const QFileInfo intended(file.path() + u'/' + file.completeBaseName());
        if (backupOf(intended, QFileInfo(databasePath).fileName()) &&
            file.suffix().size() == UnfinishedSuffixSize && file.lastModified() < yesterday)
            QFile::remove(file.filePath());
    }
}

} // namespace sync::database
