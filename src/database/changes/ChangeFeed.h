#pragma once

#include <database/changes/ExternalCommits.h>
#include <database/pool/WriterQueue.h>

#include <QString>
#include <QStringList>

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <vector>

namespace sync::database {

/// Tells those who listen which tables have changed: by the commits of a store, which names them,
/// and by those of anybody else. Any thread may call.
class ChangeFeed
{
public:
    /// Called on the thread that has committed or looked. It must neither throw nor use the feed.
    using Listener = std::function<void(const QStringList& tables)>;

    ChangeFeed(const QString& path, std::shared_ptr<WriterQueue> writers);

    ChangeFeed(const ChangeFeed&) = delete;
    ChangeFeed& operator=(const ChangeFeed&) = delete;

    /// Returns what stop() wants. Throws DatabaseError.
    int listen(Listener listener);

    /// The listener is not called any more when this returns.
    void stop(int listenerId) noexcept;

    /// Tells what the calling thread has just committed.
    void publish(const QStringList& tables) noexcept;

    /// Tells of all tables of the records when others have committed since the last look.
    void look() noexcept;

    /// For the connections of the store to count their commits.
    std::atomic<std::uint32_t>& commitCount() { return ownCommits; }

private:
    struct Registered
    {
        int id;
        Listener call;
    };

    void tell(const QStringList& tables) noexcept;

    const QString path;
    const std::shared_ptr<WriterQueue> writers;
    std::atomic<std::uint32_t> ownCommits = 0;
    std::atomic<bool> anyListener = false; // asked without the mutex, for every commit

    std::mutex mutex;
    std::vector<Registered> listeners;
    int lastId = 0;
    std::optional<ExternalCommits> foreign; // while somebody listens
};

} // namespace sync::database
