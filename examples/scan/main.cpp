// scan DATABASE FOLDER [FILES]: records the files below a folder; cancels after so many of them.
#include <config/FolderConfigManager.h>
#include <database/SqliteDatabaseFactory.h>
#include <tree/TreeScan.h>

#include <cstdio>

using namespace sync;

struct Observer : tree::ScanObserver
{
    void progress(const QString& path, const tree::ScanCounts& counts) override
    {
        seen = counts.files.seen;
        std::printf("%lld files: %s\n", seen, qPrintable(path));
    }
    long long seen = 0;
};

int main(int argc, char* argv[])
{
    if (argc < 3)
        return 2;
    auto factory = database::SqliteDatabaseFactory::open(QString::fromLocal8Bit(argv[1]));
    config::FolderConfigManager folders(factory, nullptr);
    const QString path = QString::fromLocal8Bit(argv[2]);
    config::FolderConfiguration root = folders.GetFolderConfigurationByClientPath(path);
    root.setClientPath(path);
    root.setParentId(0); // a root folder
    if (root.getId() == -1 && !folders.Add(root))
        return 1;

    Observer observer;
    const long long most = argc > 3 ? QString::fromLocal8Bit(argv[3]).toLongLong() : -1;
    tree::TreeScan scan(tree::TreeStore::of(factory), observer, {.stopRequested = [&] {
                            return observer.seen == most;
                        }});
    const bool toItsEnd = scan.run(root, root);
    std::printf("%lld new%s\n", scan.counts().files.added, toItsEnd ? "" : ", cancelled");
}
