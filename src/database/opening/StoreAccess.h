#pragma once

#include <QString>

#include <sys/stat.h>

namespace sync::database {

/// Who may change a store besides its user.
///
/// SQLite believes a WAL or a journal beside a file. So another user who may write to the folder
/// can plant one, and the store then shows their settings and hands them later passwords.

/// True if users other than the owner may write to a file or folder: everybody, or a group with
/// other members. Many systems give each user a group without others
/// (wiki.debian.org/UserPrivateGroups).
bool othersMayWrite(const struct stat& status);

/// True if a file or folder belongs to this user or to root, or if root asks, to `storeOwner`.
bool hasTrustedOwner(const struct stat& status, uid_t storeOwner);

/// Whom a user trusts with a store.
enum class Trust {
    Owner,      ///< The user and root alone may own or write to the store and its folder.
    StoreOwner, ///< Also another user to whom the store belongs, for reading it.
    Everybody,  ///< Nothing is examined.
};

/// Throws DatabaseError with Cause::Untrusted if others could have changed the store. What is
/// missing is fine, and so is a folder that cannot be examined: the next step of opening says why.
void requireTrusted(const QString& path, Trust trust);

} // namespace sync::database
