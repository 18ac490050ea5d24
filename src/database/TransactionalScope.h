#pragma once
#include <core/PosixSync.h>

#include <core/Export.h>

namespace sync::database {

/// Joins the writes of one thread into a transaction for as long as it lives.
///
/// Scopes nest. It touches nothing until a factory of this library hands out a query on the same
/// thread; over a host's own factory it only counts its depth. Over the embedded engine:
///
/// - A write that runs in the outermost scope itself, and not in a nested one, is committed before
///   its exec() returns, so that a `true` means on the disk.
/// - From the second level on writes join one transaction, which the outermost scope commits when
///   it ends or by commit(). Should that commit fail, everything under it is rolled back and the
///   factory's commit failure handler is told.
/// - An outermost scope that is left by an exception rolls its transaction back.
/// - Under the transaction() of a host, scopes join it and end nothing.
class VELMIO_DATABASE_EXPORT TransactionalScope
{
public:
    /// Opens a scope on the calling thread. It lives on the stack, and scopes end in reverse order.
    TransactionalScope();

    /// Ends the scope, on the thread that opened it; the outermost one ends the transaction.
    ~TransactionalScope();

    TransactionalScope(const TransactionalScope&) = delete;
    TransactionalScope& operator=(const TransactionalScope&) = delete;

    /// Makes durable what was done under the outermost scope; in a nested one it does nothing.
    void commit();

    /// True when commit() of this scope failed, and everything under it was rolled back.
    bool commitFailed() const noexcept { return failed; }

    /// How many scopes are open on the calling thread; 0 outside any.
    static int depth() noexcept;

private:
    const int exceptionsAtStart;
    bool failed = false;
};

} // namespace sync::database
