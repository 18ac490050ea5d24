#include "CommittedStates.h"

#include "DatabaseDump.h"

#include <sqlite3.h>

#include <stdexcept>
#include <utility>

namespace sync::test {

namespace {

std::function<void()> onCommit;

int beforeCommit(void* /*context*/)
{
    if (onCommit)
        onCommit();
    return 0;
}

int watchCommits(sqlite3* database, const char** /*error*/, const sqlite3_api_routines* /*api*/)
{
    sqlite3_commit_hook(database, beforeCommit, nullptr);
    return SQLITE_OK;
}

const auto Extension = reinterpret_cast<void (*)()>(watchCommits);

} // namespace

CommittedStates::CommittedStates(QString path, std::function<qsizetype()> position)
    : path(std::move(path))
    , position(std::move(position))
{
    record(dumpOf(this->path));
    onCommit = [this] { recordBeforeCommit(); };
    sqlite3_auto_extension(Extension);
}

CommittedStates::~CommittedStates()
{
    onCommit = {};
    sqlite3_cancel_auto_extension(Extension);
}

const QList<CommittedStates::State>& CommittedStates::states()
{
    record(dumpOf(path));
    return recorded;
}

void CommittedStates::record(const QStringList& dump)
{
    if (!recorded.isEmpty() && recorded.last().dump == dump)
        return;
    recorded.append({dump, begun});
    commitBegun = false;
}

// The result of a commit is only seen at the next call. A state is therefore recorded with the
// first commit that may have produced it.
void CommittedStates::recordBeforeCommit()
{
    try {
        record(dumpOf(path));
    } catch (const std::runtime_error&) {
        // Without a WAL, the writer holds an exclusive lock at this point. It has not changed the
        // file yet.
        record(dumpOfLocked(path));
    }
    if (!std::exchange(commitBegun, true))
        begun = position();
}

} // namespace sync::test
