#include <base/system/FileLocks.h>

#include <base/system/windows/Native.h>

#include <QFileInfo>

#include <restartmanager.h>

#include <limits>

namespace sync::base {

namespace {

QDateTime toDateTime(const FILETIME& time)
{
    constexpr qint64 TicksPerMs = 10'000;
    constexpr qint64 MsTo1970 = 11'644'473'600'000;
    const qint64 ticks = qint64(time.dwHighDateTime) << 32 | time.dwLowDateTime;
    return QDateTime::fromMSecsSinceEpoch(ticks / TicksPerMs - MsTo1970);
}

} // namespace

// The Restart Manager knows who has a file open, not which bytes are locked.
std::vector<FileLock> locksOn(const QString& path)
{
    DWORD session = 0;
    wchar_t key[CCH_RM_SESSION_KEY + 1]{};
    if (::RmStartSession(&session, 0, key) != ERROR_SUCCESS)
        return {};
    const std::wstring name = QString(path).replace(u'/', u'\\').toStdWString();
    const wchar_t* names[] = {name.c_str()};
    std::vector<FileLock> locks;
    if (::RmRegisterResources(session, 1, names, 0, nullptr, 0, nullptr) == ERROR_SUCCESS) {
        UINT needed = 0;
        DWORD reasons = 0;
        std::vector<RM_PROCESS_INFO> processes(16);
        auto count = static_cast<UINT>(processes.size());
        // Others than the first ones are not needed.
        const DWORD result = ::RmGetList(session, &needed, &count, processes.data(), &reasons);
        const bool listed = result == ERROR_SUCCESS || result == ERROR_MORE_DATA;
        for (UINT at = 0; listed && at < count && at < processes.size(); ++at) {
            locks.push_back(
                {processes[at].Process.dwProcessId, true, 0, std::numeric_limits<quint64>::max()});
        }
    }
    ::RmEndSession(session);
    return locks;
}

ProcessDescription describeProcess(qint64 processId)
{
    HANDLE const opened =
        ::OpenProcess(PROCESS_QUERY_LIMITED_INFORMATION, FALSE, static_cast<DWORD>(processId));
    if (!opened)
        return {};
    const FileDescriptor process(fileOfHandle(opened));
    ProcessDescription description;
    std::wstring path(32'768, L'\0');
    auto size = static_cast<DWORD>(path.size());
    if (::QueryFullProcessImageNameW(opened, 0, path.data(), &size)) {
        description.program =
            QFileInfo(QString::fromWCharArray(path.data(), int(size)).replace(u'\\', u'/'))
                .completeBaseName();
    }
    FILETIME start{};
    FILETIME ignored{};
    if (::GetProcessTimes(opened, &start, &ignored, &ignored, &ignored))
        description.runningSince = toDateTime(start);
    return description;
}

} // namespace sync::base
