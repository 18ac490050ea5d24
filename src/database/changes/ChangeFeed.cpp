#include <database/changes/ChangeFeed.h>

#include <database/schema/Tables.h>

#include <utility>

namespace sync::database {

namespace {

QStringList allTables()
{
    QStringList names;
    for (const char* const table : Tables)
        names.append(QLatin1StringView(table));
    return names;
}

} // namespace

ChangeFeed::ChangeFeed(const QString& path, std::shared_ptr<WriterQueue> writers)
    : path(path)
    , writers(std::move(writers))
{
}

int ChangeFeed::listen(Listener listener)
{
    const std::lock_guard lock(mutex);
    if (!foreign)
        foreign.emplace(path, ownCommits, writers);
    listeners.push_back({++lastId, std::move(listener)});
    anyListener = true;
    return lastId;
}

void ChangeFeed::stop(int listenerId) noexcept
{
    const std::lock_guard lock(mutex);
    std::erase_if(
        listeners, [listenerId](const Registered& each) { return each.id == listenerId; });
    if (!listeners.empty())
        return;
    anyListener = false;
    foreign.reset();
}

void ChangeFeed::publish(const QStringList& tables) noexcept
{
    if (!anyListener)
        return;
    const std::lock_guard lock(mutex);
    tell(tables);
}

void ChangeFeed::look() noexcept
{
    const std::lock_guard lock(mutex);
    if (foreign && foreign->anySinceLast())
        tell(allTables());
}

void ChangeFeed::tell(const QStringList& tables) noexcept
{
    for (const Registered& listener : listeners)
        listener.call(tables);
}

} // namespace sync::database
