#include "WatchedVfs.h"

#include <atomic>
#include <iterator>

namespace sync::test {

namespace {

std::atomic<IoWatcher*> currentWatcher = nullptr;
sqlite3_vfs* realVfs = nullptr;
sqlite3_vfs watchedVfs;

// SQLite allocates it with room for the real file after it.
struct WatchedFile : sqlite3_file
{
    sqlite3_file* real;
    const char* path;
};

WatchedFile* watched(sqlite3_file* file)
{
    return static_cast<WatchedFile*>(file);
}

sqlite3_file* realOf(sqlite3_file* file)
{
    return watched(file)->real;
}

const sqlite3_io_methods* methodsOf(sqlite3_file* file)
{
    return realOf(file)->pMethods;
}

IoFate fateOf(const IoCall& call)
{
    IoWatcher* const watcher = currentWatcher;
    return watcher ? watcher->before(call) : IoFate();
}

int finished(const IoCall& call, int result)
{
    IoWatcher* const watcher = currentWatcher;
    if (watcher && result == SQLITE_OK)
        watcher->after(call);
    return result;
}

/// Makes the call unless the watcher makes it fail.
template <typename Make>
int watch(const IoCall& call, Make make)
{
    const IoFate fate = fateOf(call);
    return fate.result == SQLITE_OK ? finished(call, make()) : fate.result;
}

/// Makes a call that no watcher sees.
template <auto Method, typename... Arguments>
auto pass(sqlite3_file* file, Arguments... arguments)
{
    return (methodsOf(file)->*Method)(realOf(file), arguments...);
}

int readFile(sqlite3_file* file, void* bytes, int size, sqlite3_int64 offset)
{
    IoCall call{IoCall::Read, watched(file)->path};
    call.offset = offset;
    return watch(call, [&] { return methodsOf(file)->xRead(realOf(file), bytes, size, offset); });
}

int writeFile(sqlite3_file* file, const void* bytes, int size, sqlite3_int64 offset)
{
    IoCall call{IoCall::Write, watched(file)->path};
    call.bytes = QByteArrayView(static_cast<const char*>(bytes), size);
    call.offset = offset;
    const auto write = [&](int count) {
        return methodsOf(file)->xWrite(realOf(file), bytes, count, offset);
    };
    const IoFate fate = fateOf(call);
    if (fate.result == SQLITE_OK)
        return finished(call, write(size));
    if (fate.bytesWritten > 0)
        write(static_cast<int>(fate.bytesWritten));
    return fate.result;
}

int truncateFile(sqlite3_file* file, sqlite3_int64 size)
{
    IoCall call{IoCall::Truncate, watched(file)->path};
    call.offset = size;
    return watch(call, [&] { return methodsOf(file)->xTruncate(realOf(file), size); });
}

int syncFile(sqlite3_file* file, int /*flags*/)
{
    return watch({IoCall::Sync, watched(file)->path}, [] { return SQLITE_OK; });
}

int fileSize(sqlite3_file* file, sqlite3_int64* size)
{
    return watch({IoCall::FileSize, watched(file)->path}, [&] {
        return methodsOf(file)->xFileSize(realOf(file), size);
    });
}

int lockFile(sqlite3_file* file, int level)
{
    return watch({IoCall::Lock, watched(file)->path}, [&] {
        return methodsOf(file)->xLock(realOf(file), level);
    });
}

int mapShm(sqlite3_file* file, int region, int size, int extend, void volatile** memory)
{
    IoCall call{IoCall::ShmMap, watched(file)->path};
    call.offset = qint64(region + 1) * size;
    call.flag = extend != 0;
    return watch(
        call, [&] { return methodsOf(file)->xShmMap(realOf(file), region, size, extend, memory); });
}

int lockShm(sqlite3_file* file, int offset, int count, int flags)
{
    const auto lock = [&] { return methodsOf(file)->xShmLock(realOf(file), offset, count, flags); };
    if ((flags & SQLITE_SHM_UNLOCK) != 0)
        return lock();
    return watch({IoCall::ShmLock, watched(file)->path}, lock);
}

// Version 2 has no memory-mapped pages, which the store does not use.
const sqlite3_io_methods watchedMethods = {
    2,
    pass<&sqlite3_io_methods::xClose>,
    readFile,
    writeFile,
    truncateFile,
    syncFile,
    fileSize,
    lockFile,
    pass<&sqlite3_io_methods::xUnlock>,
    pass<&sqlite3_io_methods::xCheckReservedLock>,
    pass<&sqlite3_io_methods::xFileControl>,
    pass<&sqlite3_io_methods::xSectorSize>,
    pass<&sqlite3_io_methods::xDeviceCharacteristics>,
    mapShm,
    lockShm,
    pass<&sqlite3_io_methods::xShmBarrier>,
    pass<&sqlite3_io_methods::xShmUnmap>,
    nullptr,
    nullptr,
};

// Version 1 has no shared memory.
const sqlite3_io_methods methodsWithoutSharedMemory = [] {
    sqlite3_io_methods methods = watchedMethods;
    methods.iVersion = 1;
    return methods;
}();

bool hasSharedMemory = true;

int openFile(sqlite3_vfs*, sqlite3_filename name, sqlite3_file* file, int flags, int* outFlags)
{
    WatchedFile* const opened = watched(file);
    opened->pMethods = nullptr;
    opened->path = name ? name : "";
    opened->real = static_cast<sqlite3_file*>(static_cast<void*>(opened + 1));
    IoCall call{IoCall::Open, opened->path};
    call.flag = (flags & SQLITE_OPEN_CREATE) != 0;
    return watch(call, [&] {
        const int result = realVfs->xOpen(realVfs, name, opened->real, flags, outFlags);
        if (opened->real->pMethods)
            opened->pMethods = hasSharedMemory ? &watchedMethods : &methodsWithoutSharedMemory;
        return result;
    });
}

int deleteFile(sqlite3_vfs*, const char* path, int syncFolder)
{
    IoCall call{IoCall::Delete, path};
    call.flag = syncFolder != 0;
    return watch(call, [&] { return realVfs->xDelete(realVfs, path, 0); });
}

int accessFile(sqlite3_vfs*, const char* path, int flags, int* result)
{
    return watch(
        {IoCall::Access, path}, [&] { return realVfs->xAccess(realVfs, path, flags, result); });
}

} // namespace

QByteArray IoCall::text() const
{
    static constexpr const char* Names[] = {
        "open of", "read of",      "write to",      "sync of",   "truncate of", "size of",
        "lock on", "index map of", "index lock of", "delete of", "access to"};
    static_assert(std::size(Names) == Access + 1);
    return QByteArray(Names[kind]) + ' ' + path.sliced(path.lastIndexOf('/') + 1).toByteArray();
}

IoFate IoWatcher::before(const IoCall&)
{
    return {};
}

void IoWatcher::after(const IoCall&) {}

void installWatchedVfs()
{
    if (realVfs)
        return;
    realVfs = sqlite3_vfs_find(nullptr);
    watchedVfs = *realVfs;
    watchedVfs.zName = "watched";
    watchedVfs.szOsFile += static_cast<int>(sizeof(WatchedFile));
    watchedVfs.xOpen = openFile;
    watchedVfs.xDelete = deleteFile;
    watchedVfs.xAccess = accessFile;
    sqlite3_vfs_register(&watchedVfs, 1);
}

void setSharedMemory(bool available)
{
    hasSharedMemory = available;
}

const char* unwatchedVfs()
{
    return realVfs->zName;
}

IoWatch::IoWatch(IoWatcher& watcher)
{
    currentWatcher = &watcher;
}

IoWatch::~IoWatch()
{
    currentWatcher = nullptr;
}

} // namespace sync::test
