#pragma once
#include <core/PosixSync.h>

#include <core/Export.h>

#include <QObject>
#include <QStringList>

#include <memory>

namespace sync::database {

class SqliteDatabaseFactory;
class SqliteStore;

/// Tells which tables of a database have changed, by this process or by another.
///
/// What the factory's own threads change is known when it is committed. To find out about others it
/// looks twice a second, which takes some 30 ns with a write-ahead log; for that its thread
/// needs an event loop. It starts no thread.
///
/// It names tables and no rows, and may name one that is as it was: read again what matters. As
/// many as are wanted may watch one factory, and either may go first.
class VELMIO_DATABASE_EXPORT ChangeNotifier : public QObject
{
    Q_OBJECT

public:
    /// Reports what is committed from now on. Throws DatabaseError when there is no connection to
    /// be had.
    explicit ChangeNotifier(const SqliteDatabaseFactory& factory, QObject* parent = nullptr);
    ~ChangeNotifier() override;

    /// How often it looks for what others have changed, in milliseconds; 500 at first, and 0 for
    /// only by look(). @{
    int lookInterval() const;
    void setLookInterval(int milliseconds);
    ///@}

    /// Looks at once for what others have changed. On the thread of the notifier.
    Q_INVOKABLE void look();

Q_SIGNALS:
    /// Rows of these tables have changed, sorted by name. Sent from the event loop of the
    /// notifier's thread, once for all commits since the last time.
    ///
    /// What this factory has committed is named exactly, and never when it was rolled back. When
    /// others have committed, which tables it was cannot be told: all eight of the records are
    /// named. Others are other processes, and other factories of the same file. Without a
    /// write-ahead log (SqliteDatabaseFactory::hasWriteAheadLog()) every commit counts as theirs.
    void changed(const QStringList& tables);

private:
    class Pending;

    void deliver();
    void timerEvent(QTimerEvent* event) override;

    const std::weak_ptr<SqliteStore> store;
    const std::unique_ptr<Pending> pending;
    int listenerId = 0;
    int interval = 0;
    int timer = 0;
};

} // namespace sync::database
