#pragma once

#include <database/OpenOptions.h>

class QString;

namespace sync::database {

/// Whom a user trusts with a store.
enum class Trust {
    Owner,      ///< The user and root alone may own or write to the store and its folder.
    StoreOwner, ///< Also another user to whom the store belongs, for reading it.
    Everybody,  ///< Nothing is examined.
};

/// What the options of an opening say; `otherwise` if they do not trust everybody.
Trust trustOf(const OpenOptions& options, Trust otherwise = Trust::Owner);

/// SQLite believes a WAL or a journal beside a file. So another user who may write to the folder
/// can plant one, and the store then shows their settings and hands them later passwords.
///
/// Throws DatabaseError with Cause::Untrusted if others could have changed a store or backup, or
/// exchange one that is made. What is missing is fine, and so is a folder that cannot be examined:
/// the next step says why.
void requireTrusted(const QString& path, Trust trust);

} // namespace sync::database
