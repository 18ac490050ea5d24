#include <database/ChangeNotifier.h>

#include <utility>

namespace sync::database {

ChangeNotifier::ChangeNotifier(const std::shared_ptr<ChangeSource>& factory, QObject* parent)
    : QObject(parent)
    , source(factory)
    , listening(factory->onChange([this](RecordKinds kinds) {
        if (pending.fetch_or(kinds.toInt()) == 0)
            QMetaObject::invokeMethod(this, &ChangeNotifier::deliver, Qt::QueuedConnection);
    }))
{
    setPollInterval(std::chrono::milliseconds(500));
}

ChangeNotifier::~ChangeNotifier() = default;

std::chrono::milliseconds ChangeNotifier::pollInterval() const
{
    return interval;
}

void ChangeNotifier::setPollInterval(std::chrono::milliseconds value)
{
    if (timer != 0)
        killTimer(std::exchange(timer, 0));
    interval = value;
    if (value.count() > 0)
        timer = startTimer(value, Qt::CoarseTimer);
}

void ChangeNotifier::poll()
{
    if (const auto alive = source.lock())
        alive->poll();
}

void ChangeNotifier::deliver()
{
    Q_EMIT changed(RecordKinds::fromInt(pending.exchange(0)));
}

void ChangeNotifier::timerEvent(QTimerEvent* /*event*/)
{
    poll();
}

} // namespace sync::database
