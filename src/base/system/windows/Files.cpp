#include <base/system/Files.h>

#include <base/system/windows/Native.h>
#include <base/system/windows/Status.h>

#include <QDeadlineTimer>
#include <QDir>
#include <QRandomGenerator>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <winternl.h>

using namespace Qt::StringLiterals;

namespace sync::base {

namespace {

constexpr DWORD ShareAll = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;
constexpr DWORD LongestTransfer = 1024 * 1024 * 1024;

FileTime toTime(LARGE_INTEGER ticks)
{
    // 100 nanoseconds since 1601.
    constexpr qint64 TicksPerSecond = 10'000'000;
    constexpr qint64 SecondsTo1970 = 11'644'473'600;
    const qint64 seconds = ticks.QuadPart / TicksPerSecond;
    return {seconds - SecondsTo1970, ticks.QuadPart % TicksPerSecond * 100};
}

FileKind kindOfHandle(HANDLE handle)
{
    if (::GetFileType(handle) != FILE_TYPE_DISK)
        return FileKind::Other;
    FILE_ATTRIBUTE_TAG_INFO found{};
    if (!::GetFileInformationByHandleEx(handle, FileAttributeTagInfo, &found, sizeof(found))) {
        BY_HANDLE_FILE_INFORMATION older{};
        ::GetFileInformationByHandle(handle, &older);
        found.FileAttributes = older.dwFileAttributes;
    }
    return kindOf(found.FileAttributes, found.ReparseTag);
}

FileId idOfHandle(HANDLE handle)
{
    BY_HANDLE_FILE_INFORMATION common{};
    ::GetFileInformationByHandle(handle, &common);
    // File systems other than NTFS and ReFS do not have the longer one.
    FILE_ID_INFO longer{};
    if (!::GetFileInformationByHandleEx(handle, FileIdInfo, &longer, sizeof(longer))) {
        return {
            common.dwVolumeSerialNumber,
            quint64(common.nFileIndexHigh) << 32 | common.nFileIndexLow};
    }
    quint64 halves[2];
    static_assert(sizeof(halves) == sizeof(longer.FileId));
    std::memcpy(halves, &longer.FileId, sizeof(halves));
    return {common.dwVolumeSerialNumber, halves[0] ^ halves[1]};
}

// A virus scanner or an indexer has a file open for a moment after it was written, without letting
// others rename or remove it.
template <typename Call>
bool withRetries(const Call& call)
{
    constexpr int LimitMs = 2000;
    const QDeadlineTimer limit(LimitMs);
    for (DWORD delayMs = 1;; delayMs = std::min<DWORD>(2 * delayMs, 50)) {
        if (call())
            return true;
        const DWORD error = ::GetLastError();
        const bool isHeld = error == ERROR_SHARING_VIOLATION || error == ERROR_ACCESS_DENIED ||
                            error == ERROR_LOCK_VIOLATION || error == ERROR_USER_MAPPED_FILE;
        if (!isHeld || limit.hasExpired()) {
            ::SetLastError(error);
            return failed();
        }
        ::Sleep(delayMs);
    }
}

bool move(const QString& from, const QString& to, DWORD flags)
{
    const std::wstring fromName = nativePath(from);
    const std::wstring toName = nativePath(to);
    // Without permission to copy: a copy, as to another drive, would not appear in one step.
    return withRetries([&] {
        return ::MoveFileExW(fromName.c_str(), toName.c_str(), flags | MOVEFILE_WRITE_THROUGH);
    });
}

} // namespace

FileKind kindOf(DWORD attributes, DWORD reparseTag)
{
    if ((attributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0 && isLinkTag(reparseTag))
        return FileKind::Link;
    return (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0 ? FileKind::Folder : FileKind::File;
}

FileDescriptor openNative(const std::wstring& path, DWORD access, Links links)
{
    constexpr DWORD Flags = FILE_FLAG_BACKUP_SEMANTICS; // for folders
    const auto open = [&](DWORD more) {
        FileDescriptor file(fileOfHandle(::CreateFileW(
            path.c_str(), access, ShareAll, nullptr, OPEN_EXISTING, Flags | more, nullptr)));
        if (!file.isOpen())
            failed();
        return file;
    };
    if (links == Links::Follow)
        return open(0);
    FileDescriptor file = open(FILE_FLAG_OPEN_REPARSE_POINT);
    FILE_ATTRIBUTE_TAG_INFO found{};
    const bool isPlaceholder =
        file.isOpen() &&
        ::GetFileInformationByHandleEx(
            handleOf(file.get()), FileAttributeTagInfo, &found, sizeof(found)) &&
        (found.FileAttributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0 && !isLinkTag(found.ReparseTag);
    return isPlaceholder ? open(0) : std::move(file);
}

FileDescriptor openIn(NativeFile folder, const QString& name, DWORD access)
{
    std::wstring text = name.toStdWString();
    const auto bytes = static_cast<USHORT>(text.size() * sizeof(wchar_t));
    UNICODE_STRING given{bytes, bytes, text.data()};
    OBJECT_ATTRIBUTES object{};
    InitializeObjectAttributes(&object, &given, 0, handleOf(folder), nullptr);
    IO_STATUS_BLOCK ignored{};
    HANDLE opened = INVALID_HANDLE_VALUE;
    constexpr ULONG OpenReparsePoint = 0x00200000; // FILE_OPEN_REPARSE_POINT, not in this header
    const NTSTATUS result = ::NtCreateFile(
        &opened, access | SYNCHRONIZE, &object, &ignored, nullptr, 0, ShareAll, FILE_OPEN,
        OpenReparsePoint, nullptr, 0);
    if (result < 0) {
        ::SetLastError(::RtlNtStatusToDosError(result));
        failed();
        return FileDescriptor(-1);
    }
    return FileDescriptor(fileOfHandle(opened));
}

void FileDescriptor::close() noexcept
{
    ::CloseHandle(handleOf(descriptor));
}

std::optional<FileStatus> statusOf(NativeFile file)
{
    const HANDLE handle = handleOf(file);
    FILE_BASIC_INFO times{};
    FILE_STANDARD_INFO sizes{};
    FileStatus status;
    status.kind = kindOfHandle(handle);
    if (status.kind == FileKind::Other)
        return status;
    if (!::GetFileInformationByHandleEx(handle, FileBasicInfo, &times, sizeof(times)) ||
        !::GetFileInformationByHandleEx(handle, FileStandardInfo, &sizes, sizeof(sizes))) {
        failed();
        return {};
    }
    status.size = sizes.EndOfFile.QuadPart;
    status.modified = toTime(times.LastWriteTime);
    status.changed = toTime(times.ChangeTime);
    if (times.CreationTime.QuadPart != 0)
        status.created = toTime(times.CreationTime);
    status.id = idOfHandle(handle);
    return status;
}

std::optional<FileStatus> statusOf(const QString& path, Links links)
{
    const FileDescriptor file = openNative(nativePath(path), FILE_READ_ATTRIBUTES, links);
    return file.isOpen() ? statusOf(file.get()) : std::nullopt;
}

std::optional<FileStatus> statusOf(NativeFile folder, const char* name)
{
    const FileDescriptor file = openIn(folder, QString::fromUtf8(name), FILE_READ_ATTRIBUTES);
    return file.isOpen() ? statusOf(file.get()) : std::nullopt;
}

FileDescriptor openForReading(const QString& path, Links links)
{
    FileDescriptor file = openNative(nativePath(path), GENERIC_READ, links);
    if (file.isOpen() && kindOfHandle(handleOf(file.get())) == FileKind::Link) {
        errno = ELOOP;
        return FileDescriptor(-1);
    }
    return file;
}

FileDescriptor createUniqueFile(QString& path)
{
    constexpr int Attempts = 100;
    constexpr qsizetype RandomCharacters = 6;
    const QString letters = u"abcdefghijklmnopqrstuvwxyz0123456789"_s;
    OwnerAlone rights(OwnerAlone::For::File);
    for (int attempt = 0; attempt < Attempts; ++attempt) {
        path.chop(RandomCharacters);
        for (qsizetype at = 0; at < RandomCharacters; ++at)
            path += letters[QRandomGenerator::system()->bounded(int(letters.size()))];
        FileDescriptor file(fileOfHandle(::CreateFileW(
            nativePath(path).c_str(), GENERIC_READ | GENERIC_WRITE, ShareAll, rights.attributes(),
            CREATE_NEW, FILE_ATTRIBUTE_NORMAL, nullptr)));
        if (file.isOpen())
            return file;
        failed();
        if (errno != EEXIST)
            break;
    }
    return FileDescriptor(-1);
}

qint64 readBytes(NativeFile file, void* bytes, std::size_t size)
{
    if (isConsole(handleOf(file)))
        return readConsole(handleOf(file), static_cast<char*>(bytes), size);
    DWORD count = 0;
    const auto wanted = static_cast<DWORD>(std::min<std::size_t>(size, LongestTransfer));
    if (::ReadFile(handleOf(file), bytes, wanted, &count, nullptr))
        return count;
    // The writer of a pipe has ended.
    if (::GetLastError() == ERROR_BROKEN_PIPE)
        return 0;
    failed();
    return -1;
}

bool writeBytes(NativeFile file, QByteArrayView bytes)
{
    while (!bytes.isEmpty()) {
        DWORD count = 0;
        const auto wanted = static_cast<DWORD>(std::min<qsizetype>(bytes.size(), LongestTransfer));
        if (!::WriteFile(handleOf(file), bytes.data(), wanted, &count, nullptr))
            return failed();
        bytes = bytes.sliced(count);
    }
    return true;
}

bool syncToMedium(NativeFile file)
{
    if (::FlushFileBuffers(handleOf(file)))
        return true;
    if (::GetLastError() != ERROR_ACCESS_DENIED)
        return failed();
    // One that was opened for reading cannot be flushed.
    const FileDescriptor writable(
        fileOfHandle(::ReOpenFile(handleOf(file), GENERIC_WRITE, ShareAll, 0)));
    return (writable.isOpen() && ::FlushFileBuffers(handleOf(writable.get()))) || failed();
}

bool renameToNew(const QString& from, const QString& to)
{
    return move(from, to, 0);
}

// Not ReplaceFileW(): it gives the new file the rights of the old one, and when it fails half-way
// neither name may exist.
bool renameOver(const QString& from, const QString& to)
{
    return move(from, to, MOVEFILE_REPLACE_EXISTING);
}

bool removeFile(const QString& path)
{
    const std::wstring name = nativePath(path);
    return withRetries([&] { return ::DeleteFileW(name.c_str()); });
}

bool mayAccess(const QString& path, int access)
{
    DWORD wanted = FILE_READ_ATTRIBUTES;
    if ((access & ReadAccess) != 0)
        wanted |= FILE_READ_DATA;
    if ((access & WriteAccess) != 0)
        wanted |= FILE_WRITE_DATA;
    if (openNative(nativePath(path), wanted, Links::Follow).isOpen())
        return true;
    // Somebody has it open for themselves alone, for now.
    return errno == EBUSY;
}

PathLimits pathLimits()
{
    // With the "\\?\" in front of it.
    return {32'767 - 8, 255, u"characters"_s, true};
}

qsizetype lengthOf(const QString& pathOrName)
{
    return pathOrName.size();
}

QByteArray pathForLibrary(const QString& path)
{
    // SQLite adds the name of a companion to it.
    constexpr qsizetype LongestCommon = MAX_PATH - 20;
    return path.size() < LongestCommon ? path.toUtf8()
                                       : QString::fromStdWString(nativePath(path)).toUtf8();
}

QString pathFromLibrary(const char* path)
{
    QString text = QDir::fromNativeSeparators(QString::fromUtf8(path));
    if (text.startsWith(u"//?/UNC/"))
        return u'/' + text.sliced(7);
    return text.startsWith(u"//?/") ? text.sliced(4) : text;
}

bool replacesOpenFiles()
{
    return false;
}

bool newFilesHaveRightsOfFolder()
{
    return true;
}

bool isOutOfSpace(int error)
{
    return error == ENOSPC;
}

} // namespace sync::base
