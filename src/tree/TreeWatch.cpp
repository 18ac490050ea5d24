#include <tree/TreeWatch.h>

#include <base/FileError.h>
#include <base/system/FolderWatch.h>
#include <config/FolderConfigManager.h>
#include <tree/walk/DirectoryWalk.h>

#include <QElapsedTimer>

#include <cerrno>
#include <optional>
#include <utility>

using sync::base::FolderChanges;
using sync::base::FolderWatch;
using sync::config::FolderConfigManager;
using sync::config::FolderConfiguration;

namespace sync::tree {

namespace {

constexpr int PollMs = 500;
// What happens together, such as the unpacking of an archive, is scanned together.
constexpr int QuietMs = 100;
constexpr qint64 GatherMs = 2000;
// With more, a scan of the whole root costs less.
constexpr std::size_t MostFolders = 200;

void merge(FolderChanges& all, FolderChanges&& more)
{
    all.withFiles.merge(more.withFiles);
    all.folders = all.folders || more.folders;
    all.lost = all.lost || more.lost;
}

} // namespace

WatchObserver::~WatchObserver() = default;
void WatchObserver::limited(long long, int) {}

class TreeWatch::Run
{
public:
    Run(TreeStore givenStore, WatchObserver& observer, TreeScan::Options options, qint64 intervalMs)
        : store(std::move(givenStore))
        , observer(observer)
        , ignored(options.ignored)
        , scan(store, observer, std::move(options))
        , intervalMs(intervalMs)
    {
    }

    void run(const FolderConfiguration& root)
    {
        scanRoot(root);
        while (observer.goOn()) {
            const FolderChanges changes = gather();
            const bool due = !complete && sinceScan.hasExpired(intervalMs);
            if (due || changes.folders || changes.lost || changes.withFiles.size() > MostFolders)
                scanRoot(root);
            else
                scanFolders(root, changes);
        }
    }

private:
    // Watches first, so that no change between the scan and the watch is missed.
    void scanRoot(const FolderConfiguration& root)
    {
        watchFolders(root);
        scan.run(root, root);
        complete = complete && scan.counts().rootState == RootState::Present;
        sinceScan.start();
    }

    void watchFolders(const FolderConfiguration& root)
    {
        const bool topLevel = root.getFolderOption() == config::TopLevelOnly;
        DirectoryWalk walk(
            root.getClientPath(),
            topLevel ? DirectoryWalk::Depth::TopLevel : DirectoryWalk::Depth::All,
            [](const TreeProblem&) {}, ignored);
        if (!watch)
            watch.emplace();
        complete = true;
        qint64 watched = 0;
        while (const DirectoryWalk::Folder* const folder = walk.next()) {
            if (watch->add(folder->path.toStdString())) {
                ++watched;
                continue;
            }
            const int error = errno;
            // It went since the walk read it, or the scan cannot read it either.
            if (base::isGone(error) || error == EACCES)
                continue;
            complete = false;
            if (!std::exchange(saidLimit, true))
                observer.limited(watched, error);
            return;
        }
    }

    FolderChanges gather()
    {
        FolderChanges all = watch->wait(PollMs);
        if (all.isEmpty())
            return all;
        QElapsedTimer time;
        time.start();
        while (!time.hasExpired(GatherMs)) {
            FolderChanges more = watch->wait(QuietMs);
            if (more.isEmpty())
                break;
            merge(all, std::move(more));
        }
        return all;
    }

    void scanFolders(const FolderConfiguration& root, const FolderChanges& changes)
    {
        FolderConfiguration alone = root;
        alone.setFolderOption(config::TopLevelOnly);
        FolderConfigManager folders(store.database, nullptr);
        for (const std::string& path : changes.withFiles) {
            const auto folder =
                folders.GetFolderConfigurationByClientPath(QString::fromStdString(path));
            // One that is new, or whose record has another form of its name.
            if (folder.getId() == -1) {
                scanRoot(root);
                return;
            }
            scan.run(alone, folder);
        }
    }

    const TreeStore store;
    WatchObserver& observer;
    const IgnoreRule ignored;
    TreeScan scan;
    const qint64 intervalMs;
    std::optional<FolderWatch> watch;
    bool complete = false;
    bool saidLimit = false;
    QElapsedTimer sinceScan;
};

TreeWatch::TreeWatch(
    TreeStore store, WatchObserver& observer, TreeScan::Options options, long long intervalMs)
    : impl(std::make_unique<Run>(std::move(store), observer, std::move(options), intervalMs))
{
}

TreeWatch::~TreeWatch() = default;

void TreeWatch::run(const FolderConfiguration& root)
{
    impl->run(root);
}

} // namespace sync::tree
