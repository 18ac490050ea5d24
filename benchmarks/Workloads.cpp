// The workloads that compare engines. Scaling.cpp measures scale and concurrency.
//
//   lookup          read one of 100,000 files by its client path, in random order
//   files           list all 100,000 files
//   list            list the 50 files of a folder, ordered by name
//   add             add one file in its own durable transaction
//   commit          commit a transaction of 2 ms while another factory writes to the same file
//   add-bulk        add 100,000 files in one transaction, each after a search for the same path
//   update          update one file in its own durable transaction
//   update-bulk     update 10,000 of 100,000 files in one transaction
//   folders         list 100,000 folders from the database
//   folders-cached  list the same folders from the cache
//   clean-root      remove a tree of 10,000 folders and 100,000 files by its root
//   clean-bulk      remove the same tree folder by folder, in one transaction
//   clean           remove 200 folders and 2,000 files folder by folder, each step durable
//   open            open a store of 1,000,000 files and read the first record
//   memory          memory of a list of 100,000 files
//   memory-million  memory of a list of 1,000,000 files
//   scan-first      velmioctl scan of 100,000 files into a new store, without hashing
//   scan-again      repeat the same scan

#include "Workloads.h"

#include "ScanJobs.h"
#include "Stores.h"

using namespace Qt::StringLiterals;

namespace velmio::benchmarks {

namespace {

constexpr int Million = 1'000'000;

const QStringList Both{u"floor"_s, u"embedded"_s};
const QStringList WithVariant = Both + QStringList{u"variant"_s};
const QStringList Hosts{u"host"_s, u"naive"_s};
const QStringList VariantAndHosts = QStringList{u"variant"_s} + Hosts;

QString files(Stores& stores, const Workload& workload)
{
    return stores.withFiles(workload.files);
}

QString emptyTree(Stores& stores, const Workload&)
{
    return stores.withFolders(1);
}

QString folders(Stores& stores, const Workload& workload)
{
    return stores.withFolders(workload.operations);
}

QString tree(Stores& stores, const Workload& workload)
{
    return stores.withTree(workload.operations);
}

QString diskTree(Stores& stores, const Workload& workload)
{
    makeTree(stores.folder(), workload.files);
    return stores.folder();
}

} // namespace

std::vector<Workload> allWorkloads()
{
    using enum Workload::Writes;
    using enum Workload::Value;
    const auto withWatched = VariantAndHosts + QStringList{u"watched"_s};
    const auto withUnchecked = withWatched + QStringList{u"unchecked"_s};
    constexpr int N = 100'000;
    // clang-format off
    return {
        {u"lookup"_s, u"GetFileConfigurationByClientPath, random files"_s, WithVariant, Hosts, Nothing, OneOperation, N, 10'000, 7, 1.10, 1.25, files},
        {u"files"_s, u"GetAll of files"_s, WithVariant, Hosts, Nothing, WholeRun, N, N, 7, 1.05, 1.40, files},
        {u"list"_s, u"GetFileConfigurationsByFolderId, 50 rows, ordered"_s, WithVariant, Hosts, Nothing, OneOperation, N, 1'500, 7, 1.05, 1.40, files},
        {u"add"_s, u"Add, single, durable"_s, Both, withWatched, Some, OneOperation, N, 500, 7, 1.05, 1.10, files},
        {u"commit"_s, u"commit() after 2 ms, two factories of one file"_s, {u"embedded"_s, u"polled"_s}, {}, Some, OneOperation, N, 300, 7, 0, 0, files},
        {u"add-bulk"_s, u"Add, 100,000 in one transaction"_s, Both, withUnchecked, All, WholeRun, 0, N, 7, 1.15, 1.25, emptyTree},
        {u"update"_s, u"Update, single, durable"_s, Both, VariantAndHosts, Some, OneOperation, N, 500, 7, 1.05, 1.10, files},
        {u"update-bulk"_s, u"Update, 10,000 in one transaction"_s, Both, VariantAndHosts, Some, WholeRun, N, 10'000, 7, 1.05, 1.10, files},
        {u"folders"_s, u"GetAll of 100,000 folders, uncached"_s, Both, {}, Nothing, WholeRun, 0, N, 7, 1.3, 0, folders},
        {u"folders-cached"_s, u"GetAll of 100,000 folders, cached"_s, {u"embedded"_s}, {}, Nothing, OneOperation, 0, 10'000, 7, 0, 0, folders},
        {u"clean-root"_s, u"CleanRootFolder, 10,000 folders, 100,000 files"_s, Both, {}, All, WholeRun, 0, 10'000, 7, 1.3, 0, tree},
        {u"clean-bulk"_s, u"Clean, 10,000 folders, 100,000 files, one transaction"_s, Both, {}, All, WholeRun, 0, 10'000, 7, 1.3, 0, tree},
        {u"clean"_s, u"Clean, 200 folders, 2,000 files, each step durable"_s, Both, {}, All, WholeRun, 0, 200, 7, 1.3, 0, tree},
        {u"open"_s, u"opening a store of 1,000,000 files"_s, Both, {}, Nothing, OneOperation, Million, 50, 7, 2, 0, files},
        {u"memory"_s, u"memory of 100,000 files in a list"_s, Both, {}, Nothing, Memory, N, N, 7, 1.05, 0, files},
        {u"memory-million"_s, u"memory of 1,000,000 files in a list"_s, Both, {}, Nothing, Memory, Million, Million, 3, 1.05, 0, files},
        {u"scan-first"_s, u"velmioctl scan, first, 100,000 files"_s, Both, {}, Nothing, WholeRun, N, N, 7, 1.25, 0, diskTree},
        {u"scan-again"_s, u"velmioctl scan, repeated, 100,000 files"_s, Both, {}, Nothing, WholeRun, N, N, 7, 1.3, 0, diskTree},
    };
    // clang-format on
}

} // namespace velmio::benchmarks
