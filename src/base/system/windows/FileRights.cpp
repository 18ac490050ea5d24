#include <base/system/FileRights.h>

#include <base/system/windows/Status.h>

#include <QFileInfo>

#include <aclapi.h>
#include <sddl.h>

#include <vector>

using namespace Qt::StringLiterals;

namespace sync::base {

namespace {

QString textOf(PSID user)
{
    LocalMemory<wchar_t*> text;
    if (!user || !::ConvertSidToStringSidW(user, text.out()))
        return {};
    return QString::fromWCharArray(text.get());
}

QString readCurrentUser()
{
    HANDLE token = nullptr;
    if (!::OpenProcessToken(::GetCurrentProcess(), TOKEN_QUERY, &token))
        return {};
    const FileDescriptor owner(fileOfHandle(token));
    DWORD size = 0;
    ::GetTokenInformation(token, TokenUser, nullptr, 0, &size);
    std::vector<std::max_align_t> user(size / sizeof(std::max_align_t) + 1);
    if (!::GetTokenInformation(token, TokenUser, user.data(), size, &size))
        return {};
    return textOf(reinterpret_cast<TOKEN_USER*>(user.data())->User.Sid);
}

// Not another user: the owner of the file, whoever that is.
bool isPlaceholder(const QString& user)
{
    return user == u"S-1-3-0" || user == u"S-1-3-4"; // CREATOR OWNER, OWNER RIGHTS
}

FileRights rightsOf(PSID ownerId, PACL entries)
{
    constexpr DWORD Writing = FILE_WRITE_DATA | FILE_APPEND_DATA | FILE_DELETE_CHILD | DELETE |
                              WRITE_DAC | WRITE_OWNER | GENERIC_WRITE | GENERIC_ALL;
    FileRights rights;
    rights.owner = textOf(ownerId);
    // Without a list, everybody may do everything.
    rights.othersMayWrite = rights.othersMayUse = !entries;
    for (DWORD at = 0; entries && at < entries->AceCount; ++at) {
        void* entry = nullptr;
        if (!::GetAce(entries, at, &entry))
            continue;
        // The kinds that allow something to one user begin alike.
        const auto* const allowed = static_cast<ACCESS_ALLOWED_ACE*>(entry);
        const bool applies = allowed->Header.AceType == ACCESS_ALLOWED_ACE_TYPE &&
                             (allowed->Header.AceFlags & INHERIT_ONLY_ACE) == 0;
        const QString user = textOf(const_cast<DWORD*>(&allowed->SidStart));
        if (!applies || user == rights.owner || isPlaceholder(user) || isSystemUser(user))
            continue;
        rights.othersMayUse = rights.othersMayUse || allowed->Mask != 0;
        rights.othersMayWrite = rights.othersMayWrite || (allowed->Mask & Writing) != 0;
    }
    return rights;
}

} // namespace

std::optional<ExaminedFile> examine(NativeFile file)
{
    const auto status = statusOf(file);
    PSID owner = nullptr;
    PACL entries = nullptr;
    LocalMemory<PSECURITY_DESCRIPTOR> descriptor;
    if (!status)
        return {};
    const DWORD result = ::GetSecurityInfo(
        handleOf(file), SE_FILE_OBJECT, OWNER_SECURITY_INFORMATION | DACL_SECURITY_INFORMATION,
        &owner, nullptr, &entries, nullptr, descriptor.out());
    if (result != ERROR_SUCCESS) {
        ::SetLastError(result);
        failed();
        return {};
    }
    return ExaminedFile{*status, rightsOf(owner, entries)};
}

ExaminedFolder::ExaminedFolder(const QString& path)
    : descriptor(openNative(nativePath(path), FILE_READ_ATTRIBUTES | READ_CONTROL, Links::Follow))
{
}

std::optional<ExaminedFile> ExaminedFolder::examine(const QString& name) const
{
    if (!descriptor.isOpen())
        return {};
    if (name.isEmpty())
        return base::examine(descriptor.get());
    const FileDescriptor file = openIn(descriptor.get(), name, FILE_READ_ATTRIBUTES | READ_CONTROL);
    return file.isOpen() ? base::examine(file.get()) : std::nullopt;
}

QString permissionsOf(const QString& /*path*/)
{
    return {};
}

bool closeToOthers(const QString& path)
{
    OwnerAlone rights(QFileInfo(path).isDir() ? OwnerAlone::For::Folder : OwnerAlone::For::File);
    return ::SetFileSecurityW(
               nativePath(path).c_str(), DACL_SECURITY_INFORMATION,
               rights.attributes()->lpSecurityDescriptor) ||
           failed();
}

// An entry of a list of rights either allows something or is not there.
QString shellCommandFor(RightsChange change)
{
    return change == RightsChange::Use
               ? u"icacls \"{name}\" /grant \"%USERNAME%:F\""_s
               : u"icacls \"{name}\" /inheritance:r /grant:r \"%USERNAME%:F\""_s;
}

QString currentUser()
{
    static const QString user = readCurrentUser();
    return user;
}

bool isSystemUser(const QString& user)
{
    // The system, the administrators, and the installer of Windows, to which its folders belong.
    return user == u"S-1-5-18" || user == u"S-1-5-32-544" ||
           user == u"S-1-5-80-956008885-3418522649-1831038044-1853292631-2271478464";
}

} // namespace sync::base
