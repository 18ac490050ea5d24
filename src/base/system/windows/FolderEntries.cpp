#include <base/system/FolderEntries.h>

#include <base/system/windows/Status.h>

#include <array>
#include <cerrno>

namespace sync::base {

struct FolderReader::State
{
    State(const std::string& path, Links links)
        : folder(openNative(
              nativePath(QString::fromStdString(path)), FILE_LIST_DIRECTORY | FILE_READ_ATTRIBUTES,
              links))
    {
        const auto status = folder.isOpen() ? statusOf(folder.get()) : std::nullopt;
        if (!status || status->kind == FileKind::Folder)
            return;
        folder = FileDescriptor(-1);
        errno = status->kind == FileKind::Link ? ELOOP : ENOTDIR;
    }

    // Null at the end or on failure, with errno set.
    const FILE_ID_BOTH_DIR_INFO* next()
    {
        if (current && current->NextEntryOffset != 0) {
            const auto* const bytes = reinterpret_cast<const std::byte*>(current);
            current =
                reinterpret_cast<const FILE_ID_BOTH_DIR_INFO*>(bytes + current->NextEntryOffset);
            return current;
        }
        const auto what = std::exchange(atStart, false) ? FileIdBothDirectoryRestartInfo
                                                        : FileIdBothDirectoryInfo;
        current = nullptr;
        if (::GetFileInformationByHandleEx(
                handleOf(folder.get()), what, buffer.data(), DWORD(buffer.size())))
            current = reinterpret_cast<const FILE_ID_BOTH_DIR_INFO*>(buffer.data());
        else if (::GetLastError() == ERROR_NO_MORE_FILES)
            errno = 0;
        else
            failed();
        return current;
    }

    FileDescriptor folder;
    bool atStart = true;
    const FILE_ID_BOTH_DIR_INFO* current = nullptr;
    std::string name;
    alignas(FILE_ID_BOTH_DIR_INFO) std::array<std::byte, 64 * 1024> buffer{};
};

FolderReader::FolderReader(const std::string& path, Links links)
    : state(std::make_unique<State>(path, links))
{
}

FolderReader::~FolderReader() = default;

bool FolderReader::isOpen() const
{
    return state->folder.isOpen();
}

NativeFile FolderReader::folder() const
{
    return state->folder.get();
}

const FolderReader::Entry* FolderReader::next()
{
    do {
        const FILE_ID_BOTH_DIR_INFO* const found = state->next();
        if (!found)
            return nullptr;
        state->name = toUtf8({found->FileName, found->FileNameLength / sizeof(wchar_t)});
        // The tag of a reparse point is in the place of the size of its extended attributes.
        entry = {state->name.c_str(), kindOf(found->FileAttributes, found->EaSize)};
    } while (state->name == "." || state->name == "..");
    return &entry;
}

bool decomposesNames()
{
    return false;
}

bool createOwnFolder(const QString& path)
{
    OwnerAlone rights(OwnerAlone::For::Folder);
    return ::CreateDirectoryW(nativePath(path).c_str(), rights.attributes()) || failed();
}

// NTFS keeps a journal of its folders; what can be flushed is, and other file systems refuse it.
bool syncEntries(const QString& folder)
{
    const FileDescriptor opened = openNative(nativePath(folder), GENERIC_WRITE, Links::Follow);
    if (opened.isOpen() && syncToMedium(opened.get()))
        return true;
    return errno != EIO && errno != ENOENT;
}

bool hasFreeInode(const QString& /*folder*/)
{
    return true;
}

} // namespace sync::base
