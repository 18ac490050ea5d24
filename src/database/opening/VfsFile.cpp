#include <database/opening/VfsFile.h>

#include <base/system/Files.h>

namespace sync::database {

bool isWalHeader(const char* header)
{
    // sqlite.org/fileformat2.html#file_format_version_numbers
    constexpr int FormatOffset = 18;
    constexpr char FormatWithWal = 2;
    return header[FormatOffset] == FormatWithWal;
}

sqlite3_file* fileOf(sqlite3* database)
{
    sqlite3_file* file = nullptr;
    sqlite3_file_control(database, "main", SQLITE_FCNTL_FILE_POINTER, &file);
    return file;
}

VfsFile::VfsFile(const QString& path)
{
    sqlite3* opened = nullptr;
    const int result = sqlite3_open_v2(
        base::pathForLibrary(path).constData(), &opened,
        SQLITE_OPEN_READWRITE | SQLITE_OPEN_NOMUTEX, nullptr);
    database.reset(opened);
    if (result == SQLITE_OK)
        file = fileOf(opened);
}

bool VfsFile::lock(int level) const
{
    return file->pMethods->xLock(file, level) == SQLITE_OK;
}

void VfsFile::unlock() const
{
    file->pMethods->xUnlock(file, SQLITE_LOCK_NONE);
}

bool VfsFile::hasWalFormat() const
{
    char header[HeaderBytes];
    return file->pMethods->xRead(file, header, HeaderBytes, 0) == SQLITE_OK && isWalHeader(header);
}

sqlite3_file* VfsFile::withSharedMemory() const
{
    return file->pMethods->iVersion >= 2 && file->pMethods->xShmMap ? file : nullptr;
}

} // namespace sync::database
