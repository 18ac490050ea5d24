#include <database/ErrorGuard.h>

#include <database/SqliteDatabaseFactory.h>

namespace sync::database {

ErrorGuard::ErrorGuard(const SqliteDatabaseFactory& factory)
    : factory(factory)
    , errorsAtStart(factory.errorCount())
{
}

bool ErrorGuard::failed() const
{
    return factory.errorCount() != errorsAtStart;
}

} // namespace sync::database
