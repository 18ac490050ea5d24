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
/// What the factory's own threads change is known when it is committed. For what others change it
/// polls the factory twice a second, which takes some 50 ns with a WAL and never waits for a
/// writer; for that its thread needs an event loop. It starts no thread.
///
/// It names kinds of records and not the records, and may name one that has not changed: read again
/// what matters. Any number of notifiers may watch one factory, and either may be destroyed first.
class VELMIO_DATABASE_EXPORT ChangeNotifier : public QObject
{
    Q_OBJECT

public:
    /// Reports what is committed from now on. Throws DatabaseError when no connection can be
    /// opened.
    explicit ChangeNotifier(
        const std::shared_ptr<ChangeSource>& factory, QObject* parent = nullptr);

    /// Waits for a report in progress on another thread, which takes no more than some
    /// microseconds.
    ~ChangeNotifier() override;

    /// How often it polls; 500 ms at first, and 0 for only by poll(). @{
    std::chrono::milliseconds pollInterval() const;
    void setPollInterval(std::chrono::milliseconds value);
    ///@}

    /// Checks at once whether others have changed anything. Any thread may call.
    Q_INVOKABLE void poll();

Q_SIGNALS:
    /// Records of these kinds have changed. Sent from the event loop of the notifier's thread, once
    /// for all commits since the last time.
    ///
    /// What this factory has committed is named exactly, and never when it was rolled back. When
    /// others have committed, what they changed is not known: every kind is named. Others are other
    /// processes, and other factories of the same file. Without a WAL
    /// (SqliteDatabaseFactory::hasWriteAheadLog()) every commit counts as theirs.
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
