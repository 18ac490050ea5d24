#include <fleet/changes/FleetChanges.h>

#include <base/LockGuard.h>
#include <database/DatabaseError.h>

#include <utility>

namespace sync::fleet {

using database::RecordKinds;

FleetChanges::FleetChanges(const ConnectionOptions& options, const QByteArray& store)
    : options(options)
    , store(store)
{
}

database::Listening FleetChanges::listen(std::function<void(RecordKinds kinds)> function)
{
    // Commits from before the first listener are not reported.
    if (listeners.isEmpty()) {
        const base::LockGuard lock(pollMutex);
        if (!session)
            session = Session::open(options);
        std::optional<qlonglong> now;
        while (!(now = commitsOfOthers())) {
            if (isBroken(session->handle()))
                session = Session::open(options); // throws if that is the reason
        }
        before = *now;
    }
    return listeners.add(std::move(function));
}

void FleetChanges::publish(RecordKinds kinds) noexcept
{
    Q_ASSERT(base::LockGuard::holdsNone());
    listeners.notify(kinds);
}

void FleetChanges::poll() noexcept
{
    bool anyOfOthers = false;
    if (!listeners.isEmpty()) {
        const base::LockGuard lock(pollMutex);
        const auto now = commitsOfOthers();
        anyOfOthers = now && std::exchange(before, *now) != *now;
    }
    if (anyOfOthers)
        publish(database::AllRecordKinds);
}

FleetChanges::Counts FleetChanges::counts()
{
    const base::LockGuard lock(countMutex);
    return own;
}

// Nothing while a commit of this factory runs, which the store may have counted or not, and while
// the server cannot be reached: a later call knows.
std::optional<qlonglong> FleetChanges::commitsOfOthers()
{
    constexpr int Attempts = 3;
    for (int attempt = 0; attempt < Attempts; ++attempt) {
        const Counts first = counts();
        const auto all = readCount();
        if (!all)
            return {};
        if (first.running == 0 && counts() == first)
            return *all - first.committed;
    }
    return {};
}

std::optional<qlonglong> FleetChanges::readCount()
{
    try {
        if (isBroken(session->handle()))
            session = Session::open(options);
        Parameters parameters;
        parameters.addText(store);
        const auto answers =
            session->run({{"SELECT changes FROM velmio.Counters WHERE store = $1", &parameters}});
        if (!answers.succeeded)
            return {};
        return PQntuples(answers.last()) > 0 ? ColumnValue(answers.last(), 0, 0).toLongLong() : 0;
    } catch (const database::DatabaseError&) {
        return {};
    }
}

CommitCount::CommitCount(FleetChanges& changes)
    : changes(changes)
{
    const base::LockGuard lock(changes.countMutex);
    ++changes.own.running;
}

CommitCount::~CommitCount()
{
    end(0);
}

void CommitCount::add()
{
    end(1);
}

void CommitCount::end(int commits)
{
    if (std::exchange(ended, true))
        return;
    const base::LockGuard lock(changes.countMutex);
    --changes.own.running;
    changes.own.committed += commits;
}

} // namespace sync::fleet
