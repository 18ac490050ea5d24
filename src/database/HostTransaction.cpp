#include <database/HostTransaction.h>

#include <interf/IDatabaseFactory.h>
#include <interf/IQSqlDatabaseWrapper.h>

#include <utility>

namespace sync::database {

HostTransaction::HostTransaction(interf::factory::IDatabaseFactory& factory)
    : database(factory.GetDatabase())
    , open(database && database->transaction())
{
}

HostTransaction::~HostTransaction()
{
    rollback();
}

bool HostTransaction::commit()
{
    if (!open)
        return false;
    if (database->commit()) {
        open = false;
        return true;
    }
    // Some databases leave the transaction open when its commit fails.
    rollback();
    return false;
}

bool HostTransaction::rollback()
{
    return std::exchange(open, false) && database->rollback();
}

} // namespace sync::database
