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
    note(dumpOf(this->path));
    onCommit = [this] { noteBeforeCommit(); };
    sqlite3_auto_extension(Extension);
}

CommittedStates::~CommittedStates()
{
    onCommit = {};
    sqlite3_cancel_auto_extension(Extension);
}

const QList<CommittedStates::State>& CommittedStates::states()
{
    note(dumpOf(path));
    return noted;
}

void CommittedStates::note(const QStringList& dump)
{
    if (!noted.isEmpty() && noted.last().dump == dump)
        return;
    noted.append({dump, begun});
    commitBegun = false;
}

// The commit itself shows with the next note only: a state is noted with the first of the commits
// that may have made it.
void CommittedStates::noteBeforeCommit()
{
    try {
        note(dumpOf(path));
    } catch (const std::runtime_error&) {
        // Without a write-ahead log the writer shuts out all readers by now, and has not yet
        // changed the file.
        note(dumpOfLocked(path));
    }
    if (!std::exchange(commitBegun, true))
        begun = position();
}

} // namespace sync::test
