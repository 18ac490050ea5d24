#include <database/TransactionalScope.h>

#include <database/scope/ThreadScopes.h>

#include <QtGlobal>

#include <exception>

namespace sync::database {

TransactionalScope::TransactionalScope()
    : thread(ThreadScopes::ofThisThread())
    , level(thread->open())
    , exceptionsAtStart(std::uncaught_exceptions())
{
}

TransactionalScope::~TransactionalScope()
{
    const bool isOnItsThread = thread == ThreadScopes::ofThisThread();
    if (!isOnItsThread)
        thread->endElsewhere();
    Q_ASSERT_X(isOnItsThread, "TransactionalScope", "ended on another thread than it began on");
    if (!isOnItsThread)
        return;
    Q_ASSERT_X(level == thread->depth(), "TransactionalScope", "ended before one inside it");
    thread->close(std::uncaught_exceptions() == exceptionsAtStart);
}

void TransactionalScope::commit()
{
    if (thread->depth() == 1)
        failed = !thread->endTransactions(true);
}

int TransactionalScope::depth() noexcept
{
    return ThreadScopes::ofThisThread()->depth();
}

} // namespace sync::database
