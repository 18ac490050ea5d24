#include <tree/TreeStore.h>

#include <database/SqliteDatabaseFactory.h>

namespace sync::tree {

TreeStore TreeStore::of(const std::shared_ptr<database::SqliteDatabaseFactory>& factory)
{
    return {factory, factory->path(), factory->isMoved()};
}

} // namespace sync::tree
