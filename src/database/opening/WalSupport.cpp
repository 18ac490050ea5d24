#include <database/opening/WalSupport.h>

#include <database/connection/SqliteError.h>
#include <database/opening/VfsFile.h>

#include <QByteArrayList>

#include <sqlite3.h>

namespace sync::database {

namespace {

bool isWithoutSharedMemory(int result)
{
    switch (result) {
    case SQLITE_IOERR_SHMOPEN:
    case SQLITE_IOERR_SHMLOCK:
    case SQLITE_IOERR_SHMMAP:
    case SQLITE_PROTOCOL:
        return true;
    default:
        return false;
    }
}

} // namespace

bool isNetworkFileSystem(const QByteArray& type)
{
    static const QByteArrayList names{"9p",     "afpfs",    "afs",    "beegfs", "ceph", "cifs",
                                      "coda",   "davfs",    "drvfs",  "gfs2",   "gpfs", "lustre",
                                      "ncpfs",  "nfs",      "ocfs2",  "prl_fs", "smb",  "smbfs",
                                      "vboxsf", "virtiofs", "vmhgfs", "webdav"};
    static const QByteArrayList namesInUserSpace{"ceph",      "curlftpfs",  "davfs",      "davfs2",
                                                 "glusterfs", "gvfsd-fuse", "rclone",     "s3fs",
                                                 "smbnetfs",  "sshfs",      "vmhgfs-fuse"};
    if (type.startsWith("fuse."))
        return namesInUserSpace.contains(type.mid(5));
    // A version may follow the name: nfs4, smb3.
    QByteArray name = type;
    while (name.size() > 3 && name.back() >= '0' && name.back() <= '9' && name != "gfs2" &&
           name != "ocfs2")
        name.chop(1);
    return names.contains(name);
}

bool hasSharedMemory(const QString& path)
{
    const VfsFile vfsFile(path);
    if (!vfsFile)
        return true;
    sqlite3_file* const file = vfsFile.withSharedMemory();
    if (!file)
        return false;
    // While the file is locked as shared, nobody can begin a WAL, whose index this would be.
    if (!vfsFile.lock(SQLITE_LOCK_SHARED))
        return true;
    if (vfsFile.hasWalFormat()) {
        vfsFile.unlock();
        return true;
    }
    constexpr int RegionBytes = 32 * 1024;
    constexpr int Extend = 1;
    constexpr int RemoveFile = 1;
    void volatile* region = nullptr;
    int result = file->pMethods->xShmMap(file, 0, RegionBytes, Extend, &region);
    if (result == SQLITE_OK)
        result = file->pMethods->xShmLock(file, 0, 1, SQLITE_SHM_LOCK | SQLITE_SHM_EXCLUSIVE);
    if (result == SQLITE_OK)
        file->pMethods->xShmLock(file, 0, 1, SQLITE_SHM_UNLOCK | SQLITE_SHM_EXCLUSIVE);
    file->pMethods->xShmUnmap(file, RemoveFile);
    vfsFile.unlock();
    return !isWithoutSharedMemory(result);
}

bool isMissingSharedMemory(const SqliteError& error, const QString& path)
{
    if (error.code() != SQLITE_CANTOPEN)
        return isWithoutSharedMemory(error.code());
    const VfsFile file(path);
    return file && !file.withSharedMemory();
}

} // namespace sync::database
