#pragma once

#include <database/ChangeSource.h>
#include <fleet/connection/ConnectionOptions.h>
#include <fleet/connection/Session.h>

#include <QByteArray>

#include <functional>
#include <memory>
#include <mutex>
#include <optional>

namespace sync::fleet {

/// Reports which kinds of records have changed: by the commits of a factory, which know them, and
/// by those of others, which the store's count of changes shows. Any thread may call.
///
/// `countMutex` guards the counts of own commits, `pollMutex` the connection that reads the store's
/// count and what it read; the latter is held for a round trip. A commit never takes it. Neither is
/// held while a listener runs.
class FleetChanges
{
public:
    FleetChanges(const ConnectionOptions& options, const QByteArray& store);

    /// Throws DatabaseError.
    [[nodiscard]] database::Listening listen(
        std::function<void(database::RecordKinds kinds)> function);

    /// Reports what the calling thread has just committed. The caller holds no lock.
    void publish(database::RecordKinds kinds) noexcept;

    /// Reports all kinds if others have committed since the last poll. The caller holds no lock.
    void poll() noexcept;

private:
    friend class CommitCount;

    struct Counts
    {
        qlonglong committed = 0; // by this factory
        int running = 0;         // commits that may have reached the store and are not counted yet

        bool operator==(const Counts&) const = default;
    };

    Counts counts();
    std::optional<qlonglong> commitsOfOthers();
    std::optional<qlonglong> readCount();

    const ConnectionOptions& options;
    const QByteArray store;
    database::Listeners<database::RecordKinds> listeners;

    std::mutex countMutex;
    Counts own;

    std::mutex pollMutex;
    std::unique_ptr<Session> session; // since the first listener
    qlonglong before = 0;             // commits of others
};

/// Covers a commit of this factory, from before it is sent until its outcome is known: until add(),
/// or the end of the object.
class CommitCount
{
public:
    explicit CommitCount(FleetChanges& changes);
    ~CommitCount();
    CommitCount(const CommitCount&) = delete;
    CommitCount& operator=(const CommitCount&) = delete;

    /// It has succeeded, and the store has counted it.
    void add();

private:
    void end(int commits);

    FleetChanges& changes;
    bool ended = false;
};

} // namespace sync::fleet
