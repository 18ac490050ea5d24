#include <database/TransactionalScope.h>

#include <database/scope/ScopeParticipant.h>

#include <exception>
#include <utility>
#include <vector>

namespace sync::database {

namespace {

struct ThreadScopes
{
    int depth = 0;
    // One for each factory that has begun a transaction under the outermost scope.
    std::vector<std::shared_ptr<ScopeParticipant>> participants;
};

thread_local ThreadScopes threadScopes;

bool endTransactions(bool commit)
{
    bool ended = true;
    for (const auto& participant : std::exchange(threadScopes.participants, {})) {
        if (!participant->endScopeTransaction(commit))
            ended = false;
    }
    return ended;
}

} // namespace

void joinOutermostScope(std::shared_ptr<ScopeParticipant> participant)
{
    threadScopes.participants.push_back(std::move(participant));
}

TransactionalScope::TransactionalScope()
    : exceptionsAtStart(std::uncaught_exceptions())
{
    ++threadScopes.depth;
}

TransactionalScope::~TransactionalScope()
{
    // The transaction ends while the scope still counts, so that nothing can join it meanwhile.
    if (threadScopes.depth == 1)
        endTransactions(std::uncaught_exceptions() == exceptionsAtStart);
    --threadScopes.depth;
}

void TransactionalScope::commit()
{
    if (threadScopes.depth == 1)
        failed = !endTransactions(true);
}

int TransactionalScope::depth() noexcept
{
    return threadScopes.depth;
}

} // namespace sync::database
