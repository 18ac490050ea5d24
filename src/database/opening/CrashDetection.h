#pragma once

class QString;

namespace sync::database {

/// True if nobody, in this process or another, has a database file open in WAL mode or writes to
/// it. False also if that cannot be determined, because this process may not write to the file.
bool hasNoUser(const QString& path);

/// True if a WAL or a journal that is not empty lies beside the database file.
bool hasLog(const QString& path);

/// True if the last user of a database file ended without closing it, as in a crash or a power cut:
/// it left a WAL or a journal. False while anyone has the file open.
bool wasLeftByCrash(const QString& path);

/// True if the journal beside the file rolls back all of its content: the first transaction was
/// never finished, so nothing in it was ever acknowledged.
bool isRolledBackWhole(const QString& path);

} // namespace sync::database
