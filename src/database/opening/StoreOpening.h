#pragma once

#include <base/system/Volumes.h>
#include <database/OpenOptions.h>
#include <database/connection/SqliteHandle.h>
#include <database/opening/StoreIdentity.h>
#include <database/opening/WalSupport.h>

#include <QStringList>

namespace sync::database {

/// A store that is ready for use.
struct OpenedStore
{
    SqliteHandle connection;
    StoreIdentity identity;
    bool hasWal = false;   ///< Otherwise it has a rollback journal.
    bool readOnly = false; ///< Further connections must be read-only as well.
    bool shared = false;   ///< Read-only, and another program has it open or may have.
    QStringList warnings;  ///< For a person.
};

/// Opens a store, step by step: creates it if the file is missing, checks that it is ours and
/// whole, brings its schema up to date and switches it to a WAL, or to a rollback journal where a
/// WAL is not safe or not possible.
///
/// All pages are checked if the last user ended in a crash, and if the file is small.
class StoreOpening
{
public:
    /// Returns the type of the file system that holds a file.
    using FileSystemType = QByteArray (*)(const QString& path);

    explicit StoreOpening(
        const QString& path, const OpenOptions& options = {},
        FileSystemType fileSystemType = base::fileSystemTypeOf);

    /// May be called once. Throws DatabaseError; a file that is not ours, too new, damaged or
    /// altered is unchanged then.
    OpenedStore open();

    /// Opens a store only for reading, without a trace. Throws DatabaseError.
    OpenedStore openReadOnly();

private:
    void connectReadOnly();
    void inspectFile() const;
    void createFile() const;
    void checkAccess() const;
    void openConnectionOfStore();
    void openWithWal();
    void openWithJournal(const QString& warning);
    void checkContent();
    void keepDamagedWal();
    void backUpAndMigrate();
    void backUp() const;
    void checkTables() const;
    void useWal();
    bool switchToWal() const;
    void identify();
    void closeCompanions() const;
    sqlite3* handle() const { return opened.connection.get(); }

    const QString path; // with symbolic links followed
    const OpenOptions options;
    const FileSystemType fileSystemType;
    bool leftByCrash = false;
    long long version = 0;
    OpenedStore opened;
};

} // namespace sync::database
