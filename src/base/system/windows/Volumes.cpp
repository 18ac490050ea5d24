#include <base/system/Volumes.h>

#include <base/system/windows/Status.h>

#include <array>

using namespace Qt::StringLiterals;

namespace sync::base {

namespace {

// "\\?\C:\" for what is on that drive.
std::wstring volumePathOf(const QString& path)
{
    const std::wstring name = nativePath(path);
    std::wstring volume(name.size() + 2, L'\0');
    if (!::GetVolumePathNameW(name.c_str(), volume.data(), static_cast<DWORD>(volume.size())))
        return {};
    volume.resize(volume.find(L'\0'));
    return volume;
}

} // namespace

QByteArray fileSystemTypeOf(const QString& path)
{
    const std::wstring volume = volumePathOf(path);
    if (volume.starts_with(L"\\\\?\\UNC\\") || ::GetDriveTypeW(volume.c_str()) == DRIVE_REMOTE)
        return "smb";
    std::array<wchar_t, MAX_PATH + 1> type{};
    ::GetVolumeInformationW(
        volume.c_str(), nullptr, 0, nullptr, nullptr, nullptr, type.data(), DWORD(type.size()));
    return QString::fromWCharArray(type.data()).toUtf8();
}

// A drive letter may be another one the next time.
QString volumeIdOf(const QString& path)
{
    DWORD serialNumber = 0;
    ::GetVolumeInformationW(
        volumePathOf(path).c_str(), nullptr, 0, &serialNumber, nullptr, nullptr, nullptr, 0);
    return u"serial:%1"_s.arg(serialNumber, 8, 16, QChar(u'0'));
}

} // namespace sync::base
