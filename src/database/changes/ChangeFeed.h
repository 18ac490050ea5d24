#pragma once

#include <database/ChangeSource.h>
#include <database/changes/ExternalCommits.h>
#include <database/changes/OwnCommits.h>

#include <QString>

#include <functional>
#include <memory>
#include <mutex>

namespace sync::database {

/// Reports which kinds of records have changed: by the commits of a store, which know them, and by
/// those of others. Any thread may call.
///
/// `pollMutex` guards `external`. A commit never takes it, and it is never held while a listener
/// runs. It is held for some 50 ns with a WAL, and for a read of the file's first page without one.
class ChangeFeed
{
public:
    explicit ChangeFeed(const QString& path);

    /// Throws DatabaseError.
    [[nodiscard]] Listening listen(std::function<void(RecordKinds kinds)> function);

    /// Reports what the calling thread has just committed. The caller holds no lock.
    void publish(RecordKinds kinds) noexcept;

    /// Reports all kinds if others have committed since the last poll. The caller holds no lock.
    void poll() noexcept;

    /// For the connections of the store to count their commits.
    OwnCommits& ownCommits() { return own; }

private:
    const QString path;
    OwnCommits own;
    Listeners<RecordKinds> listeners;

    std::mutex pollMutex;
    std::unique_ptr<ExternalCommits> external; // since the first listener
};

} // namespace sync::database
