#pragma once

#include <memory>

namespace sync::database {

/// An engine's open transaction that the outermost scope of the thread ends.
class ScopeParticipant
{
public:
    virtual ~ScopeParticipant() = default;

    /// Ends the transaction. It does not throw: what cannot be committed is rolled back.
    virtual void endScopeTransaction(bool commit) noexcept = 0;
};

/// Has the outermost scope of the calling thread end a transaction that was just begun.
void joinOutermostScope(std::shared_ptr<ScopeParticipant> participant);

} // namespace sync::database
