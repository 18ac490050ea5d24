#pragma once

#include <QString>

namespace sync::fleet {

class Session;

/// Makes the tables of the fleet, or brings them up to date. Others may do the same at the same
/// time, and a run that was interrupted is completed by the next one. Throws DatabaseError.
void bringSchemaUpToDate(Session& session);

/// Makes the rows that every store has, unless the store exists. Throws DatabaseError.
void makeStore(Session& session, const QString& storeId);

} // namespace sync::fleet
