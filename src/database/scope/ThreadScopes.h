#pragma once

#include <database/ScopeParticipant.h>

#include <atomic>
#include <memory>
#include <vector>

namespace sync::database {

/// The open scopes of one thread. That thread alone uses it, except for endElsewhere().
class ThreadScopes
{
public:
    /// The scopes of the calling thread, without those that ended elsewhere.
    static const std::shared_ptr<ThreadScopes>& ofThisThread();

    int depth() const { return count; }

    /// Opens a scope and returns its level, 1 for the outermost.
    int open() { return ++count; }

    /// Ends the innermost scope. The outermost one ends the transactions first, so that nothing can
    /// join them any more.
    void close(bool commit);

    /// Another thread has ended one of these scopes. Its transaction belongs to a connection that
    /// this thread may be using, so it is rolled back when this thread next asks for its scopes.
    void endElsewhere() noexcept;

    void join(std::shared_ptr<ScopeParticipant> participant);

    /// Ends the transactions that have joined; false when one could not be committed.
    bool endTransactions(bool commit);

private:
    int count = 0;
    // One for each factory that has begun a transaction under the outermost scope.
    std::vector<std::shared_ptr<ScopeParticipant>> participants;
    std::atomic<int> endedElsewhere = 0;
};

} // namespace sync::database
