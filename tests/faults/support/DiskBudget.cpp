#include "DiskBudget.h"

#include <QFile>
#include <QFileInfo>

#include <algorithm>

namespace sync::test {

DiskBudget::DiskBudget(qint64 bytes)
    : bytesLeft(bytes)
{
}

IoFate DiskBudget::before(const IoCall& call)
{
    QByteArray path = call.path.toByteArray();
    qint64 size = 0;
    if (call.kind == IoCall::Write) {
        size = call.offset + call.bytes.size();
    } else if (call.kind == IoCall::ShmMap && call.flag) {
        path += "-shm";
        size = call.offset;
    }
    const std::lock_guard lock(mutex);
    if (grow(path, size))
        return {};
    return {call.kind == IoCall::Write ? SQLITE_FULL : SQLITE_IOERR_SHMSIZE};
}

bool DiskBudget::spend(qint64 bytes)
{
    const std::lock_guard lock(mutex);
    return take(bytes);
}

void DiskBudget::lift()
{
    const std::lock_guard lock(mutex);
    lifted = true;
}

bool DiskBudget::grow(const QByteArray& path, qint64 size)
{
    const qint64 sizeNow = QFileInfo(QFile::decodeName(path)).size();
    return take(std::max<qint64>(0, size - sizeNow));
}

bool DiskBudget::take(qint64 growth)
{
    if (growth > bytesLeft && !lifted)
        return false;
    bytesLeft -= growth;
    return true;
}

} // namespace sync::test
