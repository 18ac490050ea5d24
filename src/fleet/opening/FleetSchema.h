#pragma once

#include <QString>

#include <libpq-fe.h>

namespace sync::fleet {

/// Makes the tables of the fleet, or brings them up to date. Others may do the same at the same
/// time, and a run that was interrupted is completed by the next one. Throws DatabaseError.
void bringSchemaUpToDate(PGconn* connection);

/// Makes the rows that every store has, unless the store exists. Throws DatabaseError.
void makeStore(PGconn* connection, const QString& storeId);

} // namespace sync::fleet
