#include <database/pool/CheckpointPolicy.h>

#include <algorithm>

namespace sync::database {

namespace {

// 48 MB of WAL. A checkpoint takes a hundred times as long as a durable addition of a file: this
// makes it rarer than one in a thousand. A longer WAL would cost the disk, readers and the next
// opening.
constexpr int CheckpointPages = 12288;

// While readers keep the WAL from being reused, a checkpoint follows whenever it has grown by a
// sixteenth, and delays the writers a little longer each time.
constexpr int RetryShare = 16;
constexpr std::chrono::milliseconds MaximumPatience{50};

} // namespace

CheckpointPolicy::CheckpointPolicy(const QString& path)
    : checkpointer(path)
    , dueAtPages(CheckpointPages)
{
}

void CheckpointPolicy::runIfDue(int walPages) noexcept
{
    if (walPages == 0)
        return;
    if (walPages < pagesBefore) {
        // A writer has restarted the WAL from its beginning.
        dueAtPages = CheckpointPages;
        patience = std::chrono::milliseconds(0);
    }
    pagesBefore = walPages;
    if (walPages < dueAtPages)
        return;
    checkpointer.run(patience);
    dueAtPages = walPages + std::max(walPages, CheckpointPages) / RetryShare;
    patience = std::min(std::max(2 * patience, std::chrono::milliseconds(1)), MaximumPatience);
}

} // namespace sync::database
