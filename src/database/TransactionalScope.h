#pragma once
#include <core/PosixSync.h>

#include <core/Export.h>

#include <memory>

namespace sync::database {

class ThreadScopes;

/// Commits the writes of one thread together when the outermost scope ends, even without commit().
///
/// A write directly in the outermost scope, not in a nested one, joins no transaction: it is
/// committed before its exec() returns, so that `true` means on the disk. From the second level on,
/// writes join one transaction, with the embedded engine and every other factory that calls
/// joinOutermostScope(); with others a scope only counts its depth.
///
/// - If the commit at the end fails, everything in the transaction is rolled back and the factory
///   reports a Failure of the kind Commit.
/// - If an exception leaves the outermost scope, the transaction is rolled back.
/// - Inside the transaction() of a host, scopes join it and end nothing.
class VELMIO_DATABASE_EXPORT TransactionalScope
{
public:
    /// Opens a scope on the calling thread. It lives on the stack, and scopes end in reverse order.
    TransactionalScope();

    /// Ends the scope, on the thread that opened it; the outermost one ends the transaction.
    ///
    /// Ended on another thread, which is a bug in the program and stops a debug build, it logs an
    /// error. The thread that opened it then rolls the transaction back at its next write or scope,
    /// or when the thread ends.
    ~TransactionalScope();

    TransactionalScope(const TransactionalScope&) = delete;
    TransactionalScope& operator=(const TransactionalScope&) = delete;

    /// Commits what was written in the outermost scope; does nothing in a nested one.
    void commit();

    /// True if commit() of this scope failed and everything in it was rolled back.
    bool commitFailed() const noexcept { return failed; }

    /// How many scopes are open on the calling thread; 0 outside any.
    static int depth() noexcept;

private:
    const std::shared_ptr<ThreadScopes> thread;
    const int level; // 1 for the outermost
    const int exceptionsAtStart;
    bool failed = false;
};

} // namespace sync::database
