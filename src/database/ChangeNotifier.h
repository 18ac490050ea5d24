#pragma once
#include <core/PosixSync.h>

#include <core/Export.h>
#include <database/ChangeSource.h>

#include <QObject>

#include <atomic>
#include <chrono>
#include <memory>

namespace sync::database {

/// Signals which kinds of records have changed, by this process or by another.
///
/// Changes by the factory's own threads are reported when they are committed. To notice the changes
/// of others it polls the factory twice a second: a poll takes about 50 ns with a WAL and never
/// waits for a writer. Its thread needs an event loop for that. It starts no thread.
///
/// It names kinds of records, not single records, and may name a kind that has not changed: read
/// again what matters. Any number of notifiers may watch one factory, and either may be destroyed
/// first.
class VELMIO_DATABASE_EXPORT ChangeNotifier : public QObject
{
    Q_OBJECT

public:
    /// Reports what is committed from now on. Throws DatabaseError when no connection can be
    /// opened.
    explicit ChangeNotifier(
        const std::shared_ptr<ChangeSource>& factory, QObject* parent = nullptr);

    /// Waits for a report in progress on another thread, which takes a few microseconds at most.
    ~ChangeNotifier() override;

    /// How often it polls. 500 ms at first; with 0 only poll() checks. @{
    std::chrono::milliseconds pollInterval() const;
    void setPollInterval(std::chrono::milliseconds value);
    ///@}

    /// Checks at once whether others have changed anything. Any thread may call.
    Q_INVOKABLE void poll();

Q_SIGNALS:
    /// Records of these kinds have changed. Emitted from the event loop of the notifier's thread,
    /// once for all commits since the last time.
    ///
    /// Names exactly what this factory has committed, and nothing that was rolled back. After a
    /// commit by others (other processes, and other factories of the same file) it names every
    /// kind, because what they changed is not known. Without a WAL
    /// (SqliteDatabaseFactory::hasWriteAheadLog()) every commit counts as one by others.
    void changed(sync::database::RecordKinds kinds);

private:
    void deliver();
    void timerEvent(QTimerEvent* event) override;

    const std::weak_ptr<ChangeSource> source;
    std::atomic<RecordKinds::Int> pending = 0; // since the last signal
    std::chrono::milliseconds interval{0};
    int timer = 0;
    const Listening listening; // ends first
};

} // namespace sync::database
