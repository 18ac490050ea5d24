#pragma once
#include <core/PosixSync.h>

namespace sync::database {

/// What is allowed when a store is opened.
struct OpenOptions
{
    /// Also opens a store that other users may change. They can show it settings of their own, and
    /// read what is written later.
    bool othersMayWrite = false;

    /// Also opens a store whose schema has something foreign that could change or falsify what is
    /// stored (SchemaDifference::canAct), so that it can be repaired. Foreign triggers write
    /// nothing, but they can reject a change, and a view in the place of a table is read like the
    /// table.
    bool foreignSchema = false;
};

} // namespace sync::database
