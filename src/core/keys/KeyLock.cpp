#include <core/keys/KeyLock.h>

#include <base/Ownership.h>
#include <base/system/FileRights.h>
#include <core/KeyError.h>

#include <QDeadlineTimer>
#include <QFileInfo>
#include <QLockFile>
#include <QThread>

using namespace Qt::StringLiterals;

namespace sync::core::crypto {

namespace {

KeyError lockError(const QLockFile& lock, std::chrono::milliseconds limit)
{
    if (lock.error() != QLockFile::LockFailedError) {
        return {
            KeyError::Cause::NotWritable,
            u"The lock file \"%1\" of the password keys cannot be written. Make its folder "
            "writable, and make sure that its disk is not full."_s.arg(lock.fileName())};
    }
    qint64 process = 0;
    QString host;
    QString program;
    if (!lock.getLockInfo(&process, &host, &program)) {
        return {
            KeyError::Cause::Other,
            u"The lock file \"%1\" of the password keys names no process. Remove it if no other "
            "program is changing the keys."_s.arg(lock.fileName())};
    }
    // The process may have ended: that of another host cannot be seen, and another one of the same
    // program may have its id.
    return {
        KeyError::Cause::Other,
        u"The password keys are locked: process %1 (%2 on %3) has not released the lock file "
        "\"%4\" for %5 ms. Wait for that process, or end it. If it does not exist or does not "
        "change the keys, remove the lock file."_s
            .arg(QString::number(process), program, host, lock.fileName())
            .arg(limit.count())};
}

// Examined before it is read: opening a pipe would wait for its writer.
void checkLockFile(const QString& path)
{
    const QFileInfo file(path);
    const auto found = base::ExaminedFolder(file.absolutePath()).examine(file.fileName());
    if (!found)
        return;
    if (found->status.kind != base::FileKind::File) {
        throw KeyError(
            KeyError::Cause::Unsafe, u"The lock file \"%1\" of the password keys is not a regular "
                                     "file. Remove what is in its place."_s.arg(path));
    }
    const QString finding = base::ownerFinding(path, found->rights, base::currentUser());
    if (!finding.isEmpty()) {
        throw KeyError(
            KeyError::Cause::Unsafe,
            u"The password keys are locked by another user: %1."_s.arg(finding));
    }
}

} // namespace

void lockKeys(QLockFile& lock, std::chrono::milliseconds limit)
{
    // A lock is stale only if its process has ended, not because it is old.
    lock.setStaleLockTime(0);
    // Not by the time limit of tryLock(): it waits 100 ms, 200 ms and so on, so that processes that
    // start together meet again and again.
    const QDeadlineTimer deadline(limit);
    for (;;) {
        checkLockFile(lock.fileName());
        if (lock.tryLock(0))
            return;
        if (lock.error() != QLockFile::LockFailedError || deadline.hasExpired())
            throw lockError(lock, limit);
        QThread::msleep(10);
    }
}

} // namespace sync::core::crypto
