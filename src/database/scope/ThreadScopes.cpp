#include <database/scope/ThreadScopes.h>

#include <base/PerThread.h>

#include <QtDebug>

#include <utility>

namespace sync::database {

namespace {

/// Rolls back what a thread has left open when it ends.
struct OwnScopes
{
    ~OwnScopes() { scopes->endTransactions(false); }

    const std::shared_ptr<ThreadScopes> scopes = std::make_shared<ThreadScopes>();
};

} // namespace

const std::shared_ptr<ThreadScopes>& ThreadScopes::ofThisThread()
{
    const auto& own = base::ofThisThread<OwnScopes>().scopes;
    ThreadScopes& scopes = *own;
    if (scopes.endedElsewhere != 0) {
        scopes.endTransactions(false);
        scopes.count -= scopes.endedElsewhere.exchange(0);
    }
    return own;
}

void ThreadScopes::close(bool commit)
{
    if (count == 1)
        endTransactions(commit);
    --count;
}

void ThreadScopes::endElsewhere() noexcept
{
    qCritical("A TransactionalScope has ended on another thread than it began on: what its thread "
              "has written in it is rolled back");
    ++endedElsewhere;
}

void ThreadScopes::join(std::shared_ptr<ScopeParticipant> participant)
{
    participants.push_back(std::move(participant));
}

bool ThreadScopes::endTransactions(bool commit)
{
    bool ended = true;
    for (const auto& participant : std::exchange(participants, {})) {
        if (!participant->endScopeTransaction(commit))
            ended = false;
    }
    return ended;
}

ScopeParticipant::~ScopeParticipant() = default;

void joinOutermostScope(std::shared_ptr<ScopeParticipant> participant)
{
    ThreadScopes::ofThisThread()->join(std::move(participant));
}

} // namespace sync::database
