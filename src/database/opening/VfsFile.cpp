#include <database/opening/VfsFile.h>

#include <QFile>

namespace sync::database {

VfsFile::VfsFile(const QString& path)
{
    sqlite3* opened = nullptr;
    const int result = sqlite3_open_v2(
        QFile::encodeName(path).constData(), &opened, SQLITE_OPEN_READWRITE | SQLITE_OPEN_NOMUTEX,
        nullptr);
    database.reset(opened);
    if (result == SQLITE_OK)
        sqlite3_file_control(opened, "main", SQLITE_FCNTL_FILE_POINTER, &file);
}

bool VfsFile::lock(int level) const
{
    return file->pMethods->xLock(file, level) == SQLITE_OK;
}

void VfsFile::unlock() const
{
    file->pMethods->xUnlock(file, SQLITE_LOCK_NONE);
}

sqlite3_file* VfsFile::withSharedMemory() const
{
    return file->pMethods->iVersion >= 2 && file->pMethods->xShmMap ? file : nullptr;
}

} // namespace sync::database
