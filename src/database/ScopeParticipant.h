#pragma once
#include <core/PosixSync.h>

#include <core/Export.h>

#include <memory>

namespace sync::database {

/// A factory's open transaction that the outermost scope of a thread ends.
class VELMIO_DATABASE_EXPORT ScopeParticipant
{
public:
    virtual ~ScopeParticipant();

    /// Ends the transaction, on the thread that began it. False when it could not be committed and
    /// is rolled back instead.
    virtual bool endScopeTransaction(bool commit) noexcept = 0;
};

/// Makes the outermost scope of the calling thread end a transaction that the caller has just
/// begun.
///
/// A factory calls it when the first write of a thread comes with TransactionalScope::depth() of 2
/// or more and no transaction is open: see SqliteDatabaseFactory for what scopes then mean. If the
/// thread ends first, the transaction is rolled back.
VELMIO_DATABASE_EXPORT void joinOutermostScope(std::shared_ptr<ScopeParticipant> participant);

} // namespace sync::database
