#include <base/system/FileLocks.h>

#include <base/system/Files.h>

#include <libproc.h>
#include <unistd.h>

namespace sync::base {

namespace {

// The size that the system asks for has room for every process.
std::vector<pid_t> processesUsing(const QByteArray& path)
{
    const auto list = [&path](void* buffer, int size) {
        return ::proc_listpidspath(
            PROC_ALL_PIDS, 0, path.constData(), PROC_LISTPIDSPATH_EXCLUDE_EVTONLY, buffer, size);
    };
    const int needed = list(nullptr, 0);
    if (needed <= 0)
        return {};
    std::vector<pid_t> processes(static_cast<std::size_t>(needed) / sizeof(pid_t));
    const int returned = list(processes.data(), needed);
    processes.resize(returned > 0 ? static_cast<std::size_t>(returned) / sizeof(pid_t) : 0);
    return processes;
}

} // namespace

// The system tells who has the file open. A question about its locks (F_GETLK) would have to open
// and close the file, which gives up the locks that this process holds on it.
std::vector<FileLock> locksOn(const QString& path)
{
    constexpr bool Writes = true;
    std::vector<FileLock> locks;
    for (const pid_t process : processesUsing(path.toUtf8())) {
        if (process > 0 && process != ::getpid())
            locks.push_back({process, Writes, 0, ~quint64(0)});
    }
    return locks;
}

ProcessDescription describeProcess(qint64 processId)
{
    proc_bsdinfo process{};
    const int size =
        ::proc_pidinfo(static_cast<int>(processId), PROC_PIDTBSDINFO, 0, &process, sizeof(process));
    if (size != int(sizeof(process)))
        return {};
    // The long name is empty if the program was not started from a file.
    const char* const name = process.pbi_name[0] != '\0' ? process.pbi_name : process.pbi_comm;
    return {
        QString::fromUtf8(name),
        QDateTime::fromSecsSinceEpoch(static_cast<qint64>(process.pbi_start_tvsec))};
}

} // namespace sync::base
