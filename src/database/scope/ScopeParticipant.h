#pragma once

#include <memory>

namespace sync::database {

/// An engine's open transaction that the outermost scope of the thread ends.
class ScopeParticipant
{
public:
    virtual ~ScopeParticipant() = default;

    /// Ends the transaction. False when it could not be committed and is rolled back instead.
    virtual bool endScopeTransaction(bool commit) noexcept = 0;
};

/// Has the outermost scope of the calling thread end a transaction that was just begun.
void joinOutermostScope(std::shared_ptr<ScopeParticipant> participant);

} // namespace sync::database
