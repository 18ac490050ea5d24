#include <database/ChangeNotifier.h>

#include <database/SqliteDatabaseFactory.h>
#include <database/pool/SqliteStore.h>

#include <QSet>

#include <mutex>
#include <utility>

namespace sync::database {

namespace {

constexpr int DefaultLookIntervalMs = 500;

} // namespace

/// The tables that have changed since the last signal.
class ChangeNotifier::Pending
{
public:
    /// True when these are the first ones.
    bool add(const QStringList& changed)
    {
        const std::lock_guard lock(mutex);
        const bool isFirst = tables.isEmpty();
        for (const QString& table : changed)
            tables.insert(table);
        return isFirst;
    }

    QStringList take()
    {
        const std::lock_guard lock(mutex);
        QStringList taken = std::exchange(tables, {}).values();
        taken.sort();
        return taken;
    }

private:
    std::mutex mutex;
    QSet<QString> tables;
};

ChangeNotifier::ChangeNotifier(const SqliteDatabaseFactory& factory, QObject* parent)
    : QObject(parent)
    , store(factory.store)
    , pending(std::make_unique<Pending>())
{
    listenerId = factory.store->changes().listen([this](const QStringList& tables) {
        if (pending->add(tables))
            QMetaObject::invokeMethod(this, &ChangeNotifier::deliver, Qt::QueuedConnection);
    });
    setLookInterval(DefaultLookIntervalMs);
}

ChangeNotifier::~ChangeNotifier()
{
    if (const auto alive = store.lock())
        alive->changes().stop(listenerId);
}

int ChangeNotifier::lookInterval() const
{
    return interval;
}

void ChangeNotifier::setLookInterval(int milliseconds)
{
    if (timer != 0)
        killTimer(std::exchange(timer, 0));
    interval = milliseconds;
    if (milliseconds > 0)
        timer = startTimer(milliseconds, Qt::CoarseTimer);
}

void ChangeNotifier::look()
{
    if (const auto alive = store.lock())
        alive->changes().look();
}

void ChangeNotifier::deliver()
{
    Q_EMIT changed(pending->take());
}

void ChangeNotifier::timerEvent(QTimerEvent* /*event*/)
{
    look();
}

} // namespace sync::database
